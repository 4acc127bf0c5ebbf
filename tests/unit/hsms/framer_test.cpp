#include "hsms/core/framer.h"

#include <gtest/gtest.h>
#include <vector>

#include "tests/support/bytes.h"

namespace hsms {
namespace {

constexpr std::size_t limit = 1000;

void feed(Framer& framer, std::string_view input, std::vector<Message>& messages) {
    Message message;
    while (framer.next(input, message) == Framer::Result::message) messages.push_back(std::move(message));
    EXPECT_TRUE(input.empty());
}

TEST(Framer, CutsAtEverySplitAndTakesSingleBytes) {
    const std::string select_req = bytes("00 00 00 0A  FF FF 00 00 00 01 00 00 00 07");
    const std::string both = select_req + bytes("00 00 00 0E  00 05 81 03 00 00 12 34 56 78  A9 02 03 E9");
    for (std::size_t split = 0; split <= both.size() + 1; ++split) {
        Framer framer(limit);
        std::vector<Message> messages;
        if (split > both.size()) {
            for (const char c : both) feed(framer, {&c, 1}, messages);
        } else {
            feed(framer, std::string_view(both).substr(0, split), messages);
            const bool at_boundary = split == 0 || split == select_req.size() || split == both.size();
            EXPECT_EQ(framer.inside_message(), !at_boundary) << split;
            feed(framer, std::string_view(both).substr(split), messages);
        }
        EXPECT_FALSE(framer.inside_message());
        ASSERT_EQ(messages.size(), 2U);
        EXPECT_EQ(messages[0].header, (Header{0xFFFF, 0, 0, 0, 1, 7}));
        EXPECT_EQ(messages[0].body, "");
        EXPECT_EQ(messages[1].header, (Header{5, 0x81, 3, 0, 0, 0x12345678}));
        EXPECT_TRUE(messages[1].header.wbit() && messages[1].header.stream() == 1);
        EXPECT_EQ(messages[1].body, bytes("A9 02 03 E9"));
    }
}

TEST(Framer, RefusesImpossibleLengths) {
    const std::pair<const char*, bool> rows[] = {
        {"00 00 00 00", false}, {"00 00 00 09", false}, {"00 00 00 0A", true},   {"00 00 03 E8", true},
        {"00 00 03 E9", false}, {"FF FF FF FF", false}, {"'GET / HTTP'", false},
    };
    for (const auto& [text, possible] : rows) {
        Framer framer(limit);
        const std::string input = bytes(text);
        std::string_view view = input;
        Message message;
        EXPECT_EQ(framer.next(view, message),
                  possible ? Framer::Result::need_more : Framer::Result::bad_length)
            << text;
    }
}

}  // namespace
}  // namespace hsms
