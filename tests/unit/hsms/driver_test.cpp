#include <atomic>
#include <cstring>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>

#include "fa/secs/secs_driver.h"
#include "hsms/driver/driver_config.h"
#include "peer.h"
#include "tests/support/temp_folder.h"

namespace hsms {
namespace {

using namespace Talwen;

// Callbacks are plain functions: they write to the record of the test that runs.
Record* record = nullptr;

// How the receive callback leaves: 1 and 2 are exceptions.
std::atomic<int> leaving{0};

/// Records the message, answers a primary with its own body.
unsigned long on_recv(void* handle, unsigned short device_id, unsigned long msgid, unsigned char stream,
                      unsigned char function, char* buffer, unsigned long length, bool reply_expected) {
    const int how = leaving;
    _SECS_ITEM item;
    SecsInitItem(&item);
    SecsItemLoadBuffer(&item, buffer, static_cast<int>(length));
    char text[64];
    std::snprintf(text, sizeof text, "S%uF%u %u %lu format %d count %d", stream, function, device_id, msgid,
                  item.format, item.count);
    EXPECT_TRUE(!reply_expected ||
                SecsReplyMessageItem(handle, stream, ++function, &item, 0, msgid) == msgid);
    record->add(text);
    if (how == 1) throw std::runtime_error("meant so");
    if (how == 2) throw 5;
    return 0;
}

class Driver : public testing::Test {
  protected:
    Driver() {
        record = &record_;
        std::memset(&sets, 0, sizeof sets);
        sets.t0 = sets.t3 = sets.t5 = sets.t6 = sets.t7 = sets.t8 = 5000;
        sets.device_id = 3;
        std::strcpy(sets.ip, "127.0.0.1");
        sets.on_select = [](void*) { record->add("select"); };
        sets.on_deselect = [](void*) { record->add("deselect"); };
        sets.on_close = [](void*) { record->add("close"); };
        sets.on_recv = on_recv;
        sets.on_error = [](void*, unsigned long id) {
            record->add("error " + std::to_string(id));
            return 0UL;
        };
    }
    ~Driver() override {
        SecsDestroy(handle);
        set_driver_options({});
    }
    void write_to(const std::string& log, std::function<void(std::string_view)> lines = {}) {
        DriverOptions options;
        options.online_log = log;
        options.journal = std::move(lines);
        set_driver_options(std::move(options));
    }
    void connect() {
        handle = SecsCreate(&sets);
        ASSERT_TRUE(SecsConnect(handle, sets.ip, 0));
    }

    __secs_sets sets;
    Record record_;
    void* handle = nullptr;
    std::vector<std::string> journal;  // written until the handle is destroyed
};

TEST_F(Driver, CarriesMessages) {
    connect();
    EXPECT_EQ(link_status().state, "listening");
    EXPECT_EQ(link_status().peer, "-");
    Peer peer(link_status().port);
    _SECS_ITEM* const body = SecsCreateItemU1(2);
    EXPECT_EQ(SecsSendMessageItem(handle, 6, 11, body, 1), 0U);
    peer.select();
    record_.wait(1);
    EXPECT_EQ(link_status().state, "selected");
    EXPECT_EQ(link_status().peer, "127.0.0.1");

    const unsigned long id = SecsSendMessageItem(handle, 6, 11, body, 1);
    EXPECT_GE(id, 101U);
    const std::string sent = to_hex(peer.receive_bytes(17));
    EXPECT_EQ(sent.substr(0, 29) + sent.substr(41), "00 00 00 0D 00 03 86 0B 00 00 A5 01 02");
    EXPECT_EQ(SecsSendMessageItem(handle, 1, 1, nullptr, 0), id + 1);
    EXPECT_EQ(header_of(peer.receive()), (Header{3, 1, 1, 0, 0, static_cast<std::uint32_t>(id + 1)}));

    peer.send_raw(bytes("00 00 00 0E 00 03 81 03 00 00 00 00 00 07 01 01 01 00"));
    EXPECT_EQ(to_hex(peer.receive_bytes(18)), "00 00 00 0E 00 03 01 04 00 00 00 00 00 07 01 01 01 00");
    peer.send("FFFE 0102 0000 FFFFFFFF");                     // header only, any device
    peer.send_raw(message("0003 0202 0000 65", "\x41\x05"));  // no item
    EXPECT_EQ(record_.wait(4),
              (Entries{"select", "S1F3 3 7 format 0 count 1", "S1F2 65534 4294967295 format 255 count 0",
                       "S2F2 3 101 format 255 count 0"}));
    SecsDisconnect(handle);
    EXPECT_EQ(record_.wait(5).back(), "close");
    SecsDeleteItem(body);
}

TEST_F(Driver, DeadHandlesAreHarmless) {
    connect();
    SecsDestroy(handle);
    for (void* dead : {handle, static_cast<void*>(nullptr), reinterpret_cast<void*>(12345678)}) {
        EXPECT_FALSE(SecsConnect(dead, "127.0.0.1", 0));
        EXPECT_EQ(SecsSendMessageItem(dead, 1, 1, nullptr, 1), 0U);
        EXPECT_EQ(SecsReplyMessageItem(dead, 1, 2, nullptr, 0, 7), 0U);
        SecsDisconnect(dead);
        SecsDestroy(dead);
    }
    EXPECT_EQ(SecsCreate(nullptr), nullptr);
    EXPECT_EQ(link_status().state, "stopped");
}

TEST_F(Driver, IdsGoOnOverRecreatedLinksAndTimeOut) {
    sets.t3 = 20;
    unsigned long last = 0;
    for (std::size_t i = 1; i <= 2; ++i) {
        connect();
        Peer peer(link_status().port);
        peer.select();
        const unsigned long id = SecsSendMessageItem(handle, 1, 1, nullptr, 1);
        EXPECT_GT(id, last);
        last = id;
        EXPECT_EQ(record_.wait(3 * i - 1).back(), "error " + std::to_string(id));
        SecsDestroy(handle);
        record_.wait(3 * i);
    }
}

TEST_F(Driver, SendsToTheNextConnectionWhatTheLastOneDidNotTake) {
    write_to("", [](std::string_view line) {
        if (line.starts_with("SecsSend")) record->add("send");
    });
    connect();
    Peer(link_status().port).select();
    record_.wait(2);
    auto sending =
        std::async(std::launch::async, [&] { return SecsSendMessageItem(handle, 6, 11, nullptr, 1); });
    record_.wait(3);
    Peer next(link_status().port);
    next.select();
    const unsigned long id = sending.get();
    EXPECT_GE(id, 101U);
    EXPECT_EQ(header_of(next.receive()).system, id);
    EXPECT_EQ(record_.wait(4), (Entries{"select", "close", "send", "select"}));
}

TEST_F(Driver, GoesOnAfterAnExceptionFromACallback) {
    const support::TempFolder folder;
    write_to(folder.path() / "online.log");
    sets.on_select = [](void*) {
        record->add("select");
        throw std::runtime_error("from select");
    };
    sets.device_id = 40000;
    sets.t8 = 0;
    sets.t7 = 1000;
    sets.t0 = 30;
    sets.link_test = 1;
    connect();
    Peer peer(link_status().port);
    peer.select();
    std::size_t count = 1;
    for (const int how : {1, 2, 0}) {
        record_.wait(count++);
        leaving = how;
        peer.send("9C40 0102 0000 7");
    }
    EXPECT_EQ(record_.wait(count).size(), count);
    EXPECT_EQ(peer.receive().substr(0, 14), "FFFF 0000 0005");
    SecsDisconnect(handle);
    flush_online_log();
    const std::string log = without_times(folder.read("online.log"));
    for (const char* line : {"HSMS T8 is 0 ms, SEMI E37 has 1000 to 120000; 1 ms is used",
                             "HSMS device id is 40000, SEMI E37 has 0 to 32767; 40000 is used",
                             "select callback left with an exception: from select",
                             "receive callback left with an exception: meant so",
                             "receive callback left with an exception of unknown type"})
        EXPECT_NE(log.find(std::string("TIME\n") + line + "\n"), std::string::npos) << line;
    EXPECT_EQ(log.find("HSMS T7 is"), std::string::npos);  // within the limits
}

TEST_F(Driver, LogsAndKeepsAJournal) {
    const support::TempFolder folder;
    write_to(folder.path() / "online.log", [this](std::string_view line) { journal.emplace_back(line); });
    connect();
    _SECS_ITEM* const body = SecsCreateItemAscii("ab");
    SecsSendMessageItem(handle, 1, 13, body, 1);
    _SECS_ITEM* const empty = SecsCreateItemEmpty();
    EXPECT_EQ(SecsReplyMessageItem(handle, 1, 0, empty, 0, 9), 0U);  // nobody is connected
    for (_SECS_ITEM* const item : {body, empty}) SecsDeleteItem(item);
    char broken[] = "\x41\x05";
    _SECS_ITEM item;
    EXPECT_EQ(SecsItemLoadBuffer(&item, broken, 2), 0);
    OnlineLog("%s %d", "formatted", 5);
    OnlineLog("%s|", std::string(100'000, 'x').c_str());
    std::string dump = "100% unchanged";
    OnlineLog(dump);
    flush_online_log();

    const std::string log = without_times(folder.read("online.log"));
    const std::string port = std::to_string(link_status().port);
    for (const std::string& entry :
         {"HSMS listening on 127.0.0.1 port " + port, std::string("formatted 5"), dump,
          std::string("message body of 2 bytes not understood: body ends inside an item at offset 0"),
          std::string(100'000, 'x') + "|"})
        EXPECT_NE(log.find("TIME\n" + entry + "\n"), std::string::npos) << entry;

    const std::string number = std::to_string(reinterpret_cast<std::uintptr_t>(handle));
    EXPECT_EQ(journal,
              (Entries{"SecsCreate t0=5000 t3=5000 t5=5000 t6=5000 t7=5000 t8=5000 ip=127.0.0.1 port=0 "
                       "device_id=3 conn_mode=0 link_test=0 = " +
                           number,
                       "SecsConnect " + number + " ip=127.0.0.1 port=0",
                       "SecsSendMessageItem " + number + " S1F13 body=41026162 reply_expected=1",
                       "SecsReplyMessageItem " + number + " S1F0 body=- reply_expected=0 msgid=9"}));
}

TEST_F(Driver, LogsUntilTheProcessEnds) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT((std::atexit([] { OnlineLog("late"); }), write_to("/dev/stderr"), std::exit(0)),
                testing::ExitedWithCode(0), "\nlate\n");
}

}  // namespace
}  // namespace hsms
