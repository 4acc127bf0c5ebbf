// Broken frames and bodies of 200 kinds, in order and at random: after each the equipment answers the next
// good message, on the same connection where the fault allows it, on a new one otherwise.
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <set>

#include "support/bytes.h"
#include "support/equipment_process.h"
#include "support/host.h"

namespace {

using support::data;
using support::frame;
using support::Host;

struct Fault {
    std::string bytes;
    bool unselected = false;  ///< sent before Select.req
    bool cut_after = false;   ///< the host closes right after it
    bool reset = false;       ///< with RST
};

const std::string empty_list = bytes("01 00");

/// Bodies that are no single well-formed item (SEMI E5 section 9).
void add_broken_bodies(std::vector<Fault>& faults) {
    const char* const bodies =
        "01; 00; 40 01; 01 02 A5 01 07; 03 FF FF FF; 02 FF FF 01 00; A5 01 07 00; A5 01 07 A5 01 08; "
        "01 00 01 00; 41 05 'ab'; 43 FF FF FF 'x'; 21 02 01; B1 03 00 00 01; B1 05 00 00 00 00 01; "
        "A1 04 00 00 00 01; 69 01 01; 91 02 00 00; 81 09 00 00 00 00 00 00 00 00 00; 49 03 00 'a' 00; "
        "42 01; 43 00 01";
    for (const std::string& body : split(bodies, ';'))
        for (const auto& [stream, function] : {std::pair(1, 3), std::pair(1, 13), std::pair(6, 12)})
            faults.push_back({data(stream, function, 50, bytes(body))});
    const std::set<int> defined{0, 010, 011, 020, 021, 022, 030, 031, 032, 034, 040, 044, 050, 051, 052, 054};
    for (int code = 0; code < 64; ++code)
        if (!defined.contains(code))
            faults.push_back({data(1, 3, 50, {static_cast<char>(code * 4 + 1), '\0'})});
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += "\x01\x01";
    for (const std::string& nested :
         {std::string(400000, '\x01'), std::string(199999, '\x01'), deep + empty_list})
        faults.push_back({data(1, 3, 50, nested)});
}

void add_broken_frames(std::vector<Fault>& faults) {
    const std::string good = data(1, 3, 50, empty_list);
    for (std::size_t cut = 1; cut < good.size(); ++cut)
        faults.push_back({good.substr(0, cut), false, true, cut % 2 == 0});
    for (const std::uint32_t length : {0U, 1U, 4U, 9U, 0x04000001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        std::string impossible = frame(0, 0x81, 1, 0, 0, 50);
        for (unsigned i = 0; i < 4; ++i) impossible[i] = static_cast<char>(length >> (24 - 8 * i));
        for (const bool unselected : {false, true}) faults.push_back({impossible, unselected});
    }
    for (const unsigned p_type : {1U, 2U, 127U, 255U}) faults.push_back({frame(0, 0x81, 1, p_type, 0, 50)});
    // Unknown ones; unexpected responses and an unexpected reject; separate, deselect, a second select.
    for (const unsigned s_type : {8U, 10U, 11U, 127U, 128U, 255U, 2U, 4U, 6U, 7U, 9U, 3U, 1U})
        faults.push_back({frame(0xFFFF, 0, s_type == 7 ? 4 : 0, 0, s_type, 50)});
    for (const unsigned s_type : {1U, 5U}) faults.push_back({frame(0xFFFF, 0, 0, 0, s_type, 50, "body")});
    for (const unsigned s_type : {3U, 9U, 5U}) faults.push_back({frame(0xFFFF, 0, 0, 0, s_type, 50), true});
    for (const unsigned session : {1U, 77U, 0x7FFFU, 0x8000U, 0xFFFFU}) {
        faults.push_back({frame(session, 0x81, 3, 0, 0, 50, empty_list)});
        faults.push_back({frame(session, 0, 0, 0, 5, 50)});
    }
    const std::string http = "GET / HTTP/1.1\r\nHost: fab\r\n\r\n";
    const std::string tls_hello = bytes("16 03 01 02 00 01 00 01 FC 03 03") + std::string(64, 'r');
    for (const auto& first : {good, http, tls_hello, std::string(64, '\0')}) faults.push_back({first, true});
    for (const auto& next : {http, std::string(64, '\xFF')}) faults.push_back({next});
    for (const bool reset : {false, true}) faults.push_back({"", true, true, reset});
    for (const int stream : {0, 4, 8, 11, 12, 15, 17, 19, 127}) faults.push_back({data(stream, 1, 50)});
    for (const int function : {0, 5, 7, 99, 255}) faults.push_back({data(3, function, 50)});
    faults.push_back({data(1, 14, 50, empty_list)});
    faults.push_back({data(1, 14, 50)});
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
            host = std::make_unique<Host>(equipment().port());
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
        return reply && reply->stream == 1 && reply->function == 2;
    }
    void inflict(const Fault& fault) {
        SCOPED_TRACE(testing::PrintToString(fault.bytes.substr(0, 30)));
        if (fault.unselected)
            host = std::make_unique<Host>(equipment().port());
        else if (!host || !answers())
            connect();
        host->send(fault.bytes);
        if (fault.cut_after) host->close(fault.reset);
        if (!fault.unselected && !fault.cut_after && answers()) return;
        connect();
        ASSERT_TRUE(answers());
    }
    std::unique_ptr<Host> host;
};

TEST_F(BadInput, EveryKindInOrderAndAtRandom) {
    std::vector<Fault> faults;
    add_broken_frames(faults);
    add_broken_bodies(faults);
    EXPECT_GE(faults.size(), 200U);
    for (const Fault& fault : faults) ASSERT_NO_FATAL_FAILURE(inflict(fault));
    std::mt19937 random(20260101);
    for (int i = 0; i < 300; ++i) ASSERT_NO_FATAL_FAILURE(inflict(faults[random() % faults.size()]));
}

TEST_F(BadInput, AnnouncedLengthBeyondTheLimitClosesWithOneLineAndWithoutItsMemory) {
    connect();
    const auto before = equipment().footprint();
    host->send(bytes("7F FF FF FF") + std::string(1000, 'x'));
    EXPECT_TRUE(host->closed_by_peer());
    EXPECT_EQ(before.growth(8 * 1024), "");
    connect();
    EXPECT_TRUE(answers());
}

TEST_F(BadInput, ConnectAndDropLeavesNothingBehind) {
    connect();
    ASSERT_TRUE(answers());
    host.reset();
    const auto before = equipment().footprint();
    const int rounds = std::getenv("FA_SOAK") != nullptr ? 10000 : 2000;
    for (int i = 0; i < rounds; ++i) Host(equipment().port()).close(i % 2 == 0);
    connect();
    EXPECT_TRUE(answers());
    EXPECT_EQ(before.growth(8 * 1024, 2), "");
}

// A host that asks and never reads: the send buffer is bounded, then the connection is dropped.
TEST_F(BadInput, SlowReaderIsDropped) {
    connect();
    ASSERT_TRUE(answers());
    const std::string everything = data(1, 11, 60, empty_list);  // about 20 kB a reply
    std::string burst;
    for (int i = 0; i < 100; ++i) burst += everything;
    const auto before = equipment().footprint();
    for (int i = 0; i < 100; ++i) host->send(burst);
    EXPECT_TRUE(support::eventually([&] { return !host->send(support::linktest_req(1)); }));
    EXPECT_EQ(before.growth(128 * 1024, 2), "");
    connect();
    EXPECT_TRUE(answers());
}

}  // namespace
