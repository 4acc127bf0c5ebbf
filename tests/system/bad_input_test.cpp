// Broken frames and bodies of 200 kinds, in order and at random: after each the equipment answers the next
// good message, on the same connection where the fault allows it, on a new one otherwise.
#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <random>

#include "support/equipment_process.h"
#include "support/raw_host.h"

namespace {

using support::data;
using support::frame;
using support::RawHost;

struct Fault {
    std::string name;
    std::string bytes;
    bool unselected = false;  ///< sent before Select.req
    bool cut_after = false;   ///< the host closes right behind it
    bool reset = false;       ///< with RST
};

std::string chars(std::initializer_list<int> bytes) {
    std::string text;
    for (const int b : bytes) text += static_cast<char>(b);
    return text;
}

/// Bodies that are no single well-formed item (SEMI E5 section 9).
std::vector<Fault> broken_bodies() {
    const std::pair<const char*, std::string> bodies[] = {
        {"no length byte", chars({0x01})},
        {"zero length bytes", chars({0x00})},
        {"zero length bytes of A", chars({0x40, 0x01})},
        {"list of 2 with 1", chars({0x01, 0x02, 0xA5, 0x01, 0x07})},
        {"list of 16 million", chars({0x03, 0xFF, 0xFF, 0xFF})},
        {"list of 65535", chars({0x02, 0xFF, 0xFF, 0x01, 0x00})},
        {"trailing byte", chars({0xA5, 0x01, 0x07, 0x00})},
        {"two items", chars({0xA5, 0x01, 0x07, 0xA5, 0x01, 0x08})},
        {"empty list and more", chars({0x01, 0x00, 0x01, 0x00})},
        {"A longer than the body", chars({0x41, 0x05, 'a', 'b'})},
        {"A of 16 MB announced", chars({0x43, 0xFF, 0xFF, 0xFF, 'x'})},
        {"B cut", chars({0x21, 0x02, 0x01})},
        {"U4 of 3 bytes", chars({0xB1, 0x03, 0, 0, 1})},
        {"U4 of 5 bytes", chars({0xB1, 0x05, 0, 0, 0, 0, 1})},
        {"U8 of 4 bytes", chars({0xA1, 0x04, 0, 0, 0, 1})},
        {"I2 of 1 byte", chars({0x69, 0x01, 1})},
        {"F4 of 2 bytes", chars({0x91, 0x02, 0, 0})},
        {"F8 of 9 bytes", chars({0x81, 0x09, 0, 0, 0, 0, 0, 0, 0, 0, 0})},
        {"two-byte text of 3 bytes", chars({0x49, 0x03, 0, 'a', 0})},
        {"2 length bytes, 1 there", chars({0x42, 0x01})},
        {"3 length bytes, 2 there", chars({0x43, 0x00, 0x01})},
    };
    std::vector<Fault> faults;
    for (const auto& [name, body] : bodies) {
        faults.push_back({std::string("S1F3 ") + name, data(1, 3, 50, body)});
        faults.push_back({std::string("S1F13 ") + name, data(1, 13, 50, body)});
        faults.push_back({std::string("S6F12 ") + name, data(6, 12, 50, body)});
    }
    // Format codes that SEMI E5 does not define.
    for (int code = 0; code < 64; ++code) {
        constexpr int defined[] = {0,   010, 011, 020, 021, 022, 030, 031,
                                   032, 034, 040, 044, 050, 051, 052, 054};
        if (std::find(std::begin(defined), std::end(defined), code) != std::end(defined)) continue;
        faults.push_back({"format code " + std::to_string(code), data(1, 3, 50, chars({code * 4 + 1, 0}))});
    }
    std::string nested(400000, '\x01');
    faults.push_back({"200,000 nested lists", data(1, 3, 50, nested)});
    faults.push_back({"200,000 nested lists without end", data(1, 3, 50, std::string(200000, '\x01'))});
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += chars({0x01, 0x01});
    faults.push_back({"5,000 deep and closed", data(1, 3, 50, deep + chars({0x01, 0x00}))});
    return faults;
}

std::vector<Fault> broken_frames() {
    std::vector<Fault> faults;
    const std::string good = data(1, 3, 50, chars({0x01, 0x00}));
    for (std::size_t cut = 1; cut < good.size(); ++cut)
        faults.push_back(
            {"cut after " + std::to_string(cut), good.substr(0, cut), false, true, cut % 2 == 0});
    for (const std::uint32_t length : {0U, 1U, 4U, 9U, 0x04000001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        std::string bytes = frame(0, 0x81, 1, 0, 0, 50);
        for (int i = 0; i < 4; ++i)
            bytes[static_cast<std::size_t>(i)] = static_cast<char>(length >> (24 - 8 * i));
        faults.push_back({"length " + std::to_string(length), bytes});
        faults.push_back({"length " + std::to_string(length) + " unselected", bytes, true});
    }
    for (const unsigned p_type : {1U, 2U, 127U, 255U})
        faults.push_back({"PType " + std::to_string(p_type), frame(0, 0x81, 1, p_type, 0, 50)});
    for (const unsigned s_type : {8U, 10U, 11U, 127U, 128U, 255U})
        faults.push_back({"SType " + std::to_string(s_type), frame(0xFFFF, 0, 0, 0, s_type, 50)});
    for (const unsigned s_type : {2U, 4U, 6U})
        faults.push_back({"unasked response " + std::to_string(s_type), frame(0xFFFF, 0, 0, 0, s_type, 50)});
    faults.push_back({"unasked reject", frame(0xFFFF, 0, 4, 0, 7, 50)});
    faults.push_back({"separate", frame(0xFFFF, 0, 0, 0, 9, 50)});
    faults.push_back({"deselect", frame(0xFFFF, 0, 0, 0, 3, 50)});
    faults.push_back({"second select", frame(0xFFFF, 0, 0, 0, 1, 50)});
    faults.push_back({"select with a body", frame(0xFFFF, 0, 0, 0, 1, 50, "body")});
    faults.push_back({"linktest with a body", frame(0xFFFF, 0, 0, 0, 5, 50, "x")});
    for (const unsigned session : {1U, 77U, 0x7FFFU, 0x8000U, 0xFFFFU}) {
        faults.push_back(
            {"session " + std::to_string(session), frame(session, 0x81, 3, 0, 0, 50, chars({1, 0}))});
        faults.push_back({"linktest of session " + std::to_string(session), frame(session, 0, 0, 0, 5, 50)});
    }
    faults.push_back({"data before select", good, true});
    faults.push_back({"deselect before select", frame(0xFFFF, 0, 0, 0, 3, 50), true});
    faults.push_back({"separate before select", frame(0xFFFF, 0, 0, 0, 9, 50), true});
    faults.push_back({"linktest before select", frame(0xFFFF, 0, 0, 0, 5, 50), true});
    faults.push_back({"HTTP", "GET / HTTP/1.1\r\nHost: fab\r\n\r\n", true});
    faults.push_back({"HTTP when selected", "GET / HTTP/1.1\r\nHost: fab\r\n\r\n"});
    faults.push_back(
        {"TLS hello", chars({0x16, 3, 1, 2, 0, 1, 0, 1, 0xFC, 3, 3}) + std::string(64, 'r'), true});
    faults.push_back({"zeros", std::string(64, '\0'), true});
    faults.push_back({"ones", std::string(64, '\xFF')});
    faults.push_back({"nothing", "", true, true});
    faults.push_back({"nothing, reset", "", true, true, true});
    for (const int stream : {0, 4, 8, 11, 12, 15, 17, 19, 127})
        faults.push_back({"stream " + std::to_string(stream), data(stream, 1, 50)});
    for (const int function : {0, 5, 7, 99, 255})
        faults.push_back({"S3F" + std::to_string(function), data(3, function, 50)});
    faults.push_back({"secondary nobody asked for", data(1, 14, 50, chars({0x01, 0x00}))});
    faults.push_back({"S1F14 without a body", data(1, 14, 50)});
    return faults;
}

class BadInput : public ::testing::Test {
  protected:
    static support::EquipmentProcess& equipment() {
        static support::EquipmentProcess process(
            {.settings = {{"T7_PRM", "2"}, {"T8_PRM", "1"}}, .machine = {}});
        return process;
    }
    static void TearDownTestSuite() { EXPECT_EQ(equipment().quit(), 0); }

    void connect() {
        host.reset();
        for (int attempt = 0; attempt < 100; ++attempt) {
            host = std::make_unique<RawHost>(equipment().port());
            if (host->select() == 0) return;
        }
        FAIL() << "the equipment does not take a good host any more";
    }
    /// S1F1 is answered, by an equipment that was not started anew.
    bool answers() {
        static std::uint32_t system = 100000;
        ++system;
        if (!host->send(data(1, 1, system))) return false;
        const auto reply = host->reply_to(system);
        return reply && reply->stream() == 1 && reply->function() == 2;
    }
    void inflict(const Fault& fault) {
        SCOPED_TRACE(fault.name);
        if (fault.unselected) {
            host = std::make_unique<RawHost>(equipment().port());
            host->send(fault.bytes);
        } else {
            if (!host || !answers()) connect();
            host->send(fault.bytes);
        }
        if (fault.cut_after) host->close(fault.reset);
        if (!fault.unselected && !fault.cut_after && answers()) return;
        connect();
        ASSERT_TRUE(answers());
    }
    std::unique_ptr<RawHost> host;
};

TEST_F(BadInput, EveryKindInOrderAndAtRandom) {
    std::vector<Fault> faults = broken_frames();
    for (const Fault& fault : broken_bodies()) faults.push_back(fault);
    EXPECT_GE(faults.size(), 200U);
    RecordProperty("kinds", static_cast<int>(faults.size()));
    for (const Fault& fault : faults) ASSERT_NO_FATAL_FAILURE(inflict(fault));
    std::mt19937 random(20260101);
    for (int i = 0; i < 300; ++i) ASSERT_NO_FATAL_FAILURE(inflict(faults[random() % faults.size()]));
}

TEST_F(BadInput, AnnouncedLengthBeyondTheLimitClosesWithOneLineAndWithoutItsMemory) {
    connect();
    const long before = equipment().resident_kb();
    host->send(chars({0x7F, 0xFF, 0xFF, 0xFF}) + std::string(1000, 'x'));
    EXPECT_TRUE(host->closed_by_peer());
    if (!support::sanitized) {
        EXPECT_LT(equipment().resident_kb() - before, 8 * 1024);
    }
    connect();
    EXPECT_TRUE(answers());
}

TEST_F(BadInput, ConnectAndDropLeavesNothingBehind) {
    connect();
    ASSERT_TRUE(answers());
    host.reset();
    const int descriptors = equipment().descriptors();
    const int threads = equipment().threads();
    const int rounds = std::getenv("FA_SOAK") != nullptr ? 10000 : 2000;
    for (int i = 0; i < rounds; ++i) RawHost(equipment().port()).close(i % 2 == 0);
    connect();
    EXPECT_TRUE(answers());
    EXPECT_LE(equipment().descriptors(), descriptors + 2);
    EXPECT_LE(equipment().threads(), threads + 2);
}

// A host that asks and never reads: the send buffer is bounded, then the connection is dropped.
TEST_F(BadInput, SlowReaderIsDropped) {
    connect();
    ASSERT_TRUE(answers());
    const std::string everything = data(1, 11, 60, chars({0x01, 0x00}));  // about 20 kB a reply
    std::string burst;
    for (int i = 0; i < 100; ++i) burst += everything;
    const long before = equipment().resident_kb();
    for (int i = 0; i < 100; ++i) host->send(burst);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    bool dropped = false;
    while (!dropped && std::chrono::steady_clock::now() < deadline)
        dropped = !host->send(support::linktest_req(1));
    EXPECT_TRUE(dropped);
    if (!support::sanitized) {
        EXPECT_LT(equipment().resident_kb() - before, 128 * 1024);
    }
    connect();
    EXPECT_TRUE(answers());
}

}  // namespace
