#include "hsms/core/framer.h"

#include <gtest/gtest.h>
#include <vector>

#include "bytes.h"

namespace hsms {
namespace {

constexpr std::size_t limit = 1000;

const std::string select_req = bytes("00 00 00 0A  FF FF 00 00 00 01 00 00 00 07");
const std::string s1f3 = bytes("00 00 00 0E  00 05 81 03 00 00 12 34 56 78  A9 02 03 E9");

std::vector<Message> feed(Framer& framer, std::string_view input) {
    std::vector<Message> messages;
    Message message;
    while (framer.next(input, message) == Framer::Result::message) messages.push_back(message);
    EXPECT_TRUE(input.empty());
    return messages;
}

void expect_both(const std::vector<Message>& messages) {
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].header, (Header{0xFFFF, 0, 0, 0, 1, 7}));
    EXPECT_EQ(messages[0].body, "");
    EXPECT_EQ(messages[1].header, (Header{5, 0x81, 3, 0, 0, 0x12345678}));
    EXPECT_TRUE(messages[1].header.wbit());
    EXPECT_EQ(messages[1].header.stream(), 1);
    EXPECT_EQ(messages[1].header.function(), 3);
    EXPECT_EQ(messages[1].body, bytes("A9 02 03 E9"));
}

TEST(Framer, CutsAtEverySplit) {
    const std::string both = select_req + s1f3;
    for (std::size_t split = 0; split <= both.size(); ++split) {
        Framer framer(limit);
        std::vector<Message> messages = feed(framer, std::string_view(both).substr(0, split));
        const bool at_boundary = split == 0 || split == select_req.size() || split == both.size();
        EXPECT_EQ(framer.inside_message(), !at_boundary) << split;
        for (Message& message : feed(framer, std::string_view(both).substr(split)))
            messages.push_back(std::move(message));
        expect_both(messages);
        EXPECT_FALSE(framer.inside_message());
    }
}

TEST(Framer, TakesSingleBytes) {
    Framer framer(limit);
    std::vector<Message> messages;
    for (const char c : select_req + s1f3)
        for (Message& message : feed(framer, {&c, 1})) messages.push_back(std::move(message));
    expect_both(messages);
}

TEST(Framer, RefusesImpossibleLengths) {
    const struct {
        const char* input;
        Framer::Result result;
    } rows[] = {
        {"00 00 00 00", Framer::Result::bad_length},  {"00 00 00 09", Framer::Result::bad_length},
        {"00 00 00 0A", Framer::Result::need_more},   {"00 00 03 E8", Framer::Result::need_more},
        {"00 00 03 E9", Framer::Result::bad_length},  {"FF FF FF FF", Framer::Result::bad_length},
        {"'GET / HTTP'", Framer::Result::bad_length},
    };
    for (const auto& row : rows) {
        Framer framer(limit);
        const std::string input = bytes(row.input);
        std::string_view view = input;
        Message message;
        EXPECT_EQ(framer.next(view, message), row.result) << row.input;
    }
}

TEST(Framer, KeepsLargeBodiesWhole) {
    const std::size_t size = std::size_t{10} << 20U;
    std::string body(size, '\0');
    for (std::size_t i = 0; i < size; ++i) body[i] = static_cast<char>(i * 31 >> 3U);
    Header header;
    header.system = 1;
    const HeaderBytes head = encode_header(header, size);
    const std::string wire = std::string(head.data(), head.size()) + body + select_req;
    Framer framer(std::size_t{64} << 20U);
    std::vector<Message> messages;
    for (std::size_t at = 0; at < wire.size(); at += 65521)
        for (Message& message : feed(framer, std::string_view(wire).substr(at, 65521)))
            messages.push_back(std::move(message));
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_TRUE(messages[0].body == body);
}

}  // namespace
}  // namespace hsms
