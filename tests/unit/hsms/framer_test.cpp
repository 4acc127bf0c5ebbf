#include "hsms/core/framer.h"

#include <gtest/gtest.h>
#include <vector>

#include "tests/support/bytes.h"

namespace hsms {
namespace {

TEST(Framer, CutsAtEverySplitAndTakesSingleBytes) {
    const std::string first = bytes("00 00 00 0A  FF FF 00 00 00 01 00 00 00 07");
    const std::string both = first + bytes("00 00 00 0E  00 05 81 03 00 00 12 34 56 78  A9 02 03 E9");
    for (std::size_t split = 0; split <= both.size(); ++split) {
        Framer framer(1000);
        std::vector<Message> messages;
        const auto feed = [&](std::string_view input) {
            Message message;
            while (framer.next(input, message) == Framer::Result::message)
                messages.push_back(std::move(message));
            EXPECT_TRUE(input.empty());
        };
        feed(both.substr(0, split));
        EXPECT_EQ(framer.inside_message(), split != 0 && split != first.size() && split != both.size());
        const std::size_t step = split == 0 ? 1 : both.size();
        for (std::size_t at = split; at < both.size(); at += step) feed(both.substr(at, step));
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
    const std::pair<const char*, Framer::Result> rows[] = {
        {"00 00 00 00", Framer::Result::bad_length}, {"00 00 00 09", Framer::Result::bad_length},
        {"00 00 00 0A", Framer::Result::need_more},  {"00 00 03 E8", Framer::Result::need_more},
        {"00 00 03 E9", Framer::Result::bad_length}, {"FF FF FF FF", Framer::Result::bad_length},
    };
    for (const auto& [text, result] : rows) {
        Framer framer(1000);
        const std::string input = bytes(text);
        std::string_view view = input;
        Message message;
        EXPECT_EQ(framer.next(view, message), result) << text;
    }
}

}  // namespace
}  // namespace hsms
