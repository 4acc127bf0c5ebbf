#include "hsms/link/link.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <pthread.h>
#include <thread>

#include "hsms/link/callback_lane.h"
#include "hsms/link/outbox.h"
#include "peer.h"
#include "tests/support/eventually.h"

namespace hsms {
namespace {

const char* const s1f1 = "0000 8101 0000 7";
const char* const linktest = "FFFF 0000 0005 8";
const char* const linktest_answer = "FFFF 0000 0006 8";
const char* const separate_101 = "FFFF 0000 0009 65";

std::ptrdiff_t entries_in(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

struct SelectedPeer : Peer {
    explicit SelectedPeer(std::uint16_t port) : Peer(port) { select(); }
};

/// A link on a free port whose callbacks are recorded.
class Links : public testing::Test {
  protected:
    Links() {
        options.port = 0;
        options.log = [this](std::string_view line) { log.add(std::string(line)); };
        callbacks.on_selected = [this] { record.add("selected"); };
        callbacks.on_deselected = [this] { record.add("deselected"); };
        callbacks.on_closed = [this] { record.add("closed"); };
        callbacks.on_message = [this](const Header& header, std::string&&) { record.add(text_of(header)); };
        callbacks.on_reply_timeout = [this](std::uint32_t id) {
            record.add("timeout " + std::to_string(id));
        };
    }
    std::uint16_t start() {
        link.emplace(options, callbacks);
        EXPECT_TRUE(link->start());
        return link->port();
    }

    Record record, log;
    std::promise<void> gate;  // for callbacks that hang
    std::shared_future<void> open = gate.get_future().share();
    LinkOptions options;
    LinkCallbacks callbacks;
    std::optional<Link> link;
};

TEST_F(Links, PassOnWhatEitherSideRequests) {
    const std::uint16_t port = start();
    EXPECT_FALSE(link->start());
    SelectedPeer peer(port);
    record.wait(1);
    link->linktest();
    EXPECT_EQ(peer.receive(), "FFFF 0000 0005 65");
    peer.send("FFFF 0000 0006 65");
    link->deselect();
    EXPECT_EQ(peer.receive(), "FFFF 0000 0003 66");
    peer.send("FFFF 0000 0004 66");
    EXPECT_EQ(record.wait(2).back(), "deselected");
    EXPECT_EQ(link->state(), LinkState::connected);
    EXPECT_FALSE(link->await_selected(Milliseconds(0)));
    peer.select();
    EXPECT_TRUE(link->await_selected(Milliseconds(20000)));
    EXPECT_EQ(peer.ask("FFFF 0000 0003 2"), "FFFF 0000 0004 2");
    EXPECT_EQ(link->send(1, 1, true, ""), 0U);
    peer.select();
    link->separate();
    EXPECT_EQ(peer.receive(), "FFFF 0000 0009 67");
    EXPECT_EQ(peer.receive_bytes(1), "");
    EXPECT_EQ(record.wait(6),
              (Entries{"selected", "deselected", "selected", "deselected", "selected", "closed"}));
    const SelectedPeer again(port);
    EXPECT_EQ(record.wait(7).back(), "selected");
}

TEST_F(Links, ReportRepliesThatDoNotCome) {
    options.session.t3 = Milliseconds(30);
    const SelectedPeer peer(start());
    for (const bool wbit : {true, true, false, true}) link->send(1, 1, wbit, "");
    EXPECT_TRUE(link->end_transaction(101));
    EXPECT_EQ(record.wait(3), (Entries{"selected", "timeout 102", "timeout 104"}));
    EXPECT_FALSE(link->end_transaction(102));
    EXPECT_EQ(link->state(), LinkState::selected);
}

TEST_F(Links, CloseABrokenOrSilentConnection) {
    options.session.t8 = Milliseconds(40);
    const struct {
        bool select;
        const char *sent, *reason;
    } rows[] = {
        {false, "", "T7: not selected in time"},
        {true, "00 00 00 0A FF FF", "T8: message broken off"},
        {false, "00 00 00 0A FF FF", "T8: message broken off"},
        {false, "7F FF FF FF", "impossible message length 2147483647"},
        {false, "00 00 00 0B FF FF 00 00 00 01 00 00 00 01 00",
         "control message (SType 1) with a body of 1 bytes"},
    };
    for (const auto& row : rows) {
        const std::size_t before = record.wait(0).size();
        options.session.t7 = Milliseconds(*row.sent == '\0' ? 40 : 60000);
        Peer peer(start());
        if (row.select) peer.select();
        peer.send_raw(bytes(row.sent));
        EXPECT_EQ(peer.receive(), "");
        EXPECT_EQ(record.wait(before + 1 + (row.select ? 1 : 0)).back(), "closed") << row.reason;
        EXPECT_EQ(log.wait(0).back(), std::string("connection with 127.0.0.1 closed: ") + row.reason);
    }
}

TEST_F(Links, RefuseASecondConnectionWithoutHarm) {
    SelectedPeer first(start());
    for (int i = 0; i < 13; ++i) {
        EXPECT_EQ(Peer(link->port()).receive(), "");
        EXPECT_EQ(first.ask(linktest), linktest_answer);
    }
    link->separate();
    record.wait(2);
    link->stop();
    const Entries lines = log.wait(0);
    EXPECT_EQ(std::ranges::count(lines, "connection from 127.0.0.1 refused: one is up"), 10);
    EXPECT_EQ(lines.back(), "3 more connections refused");
}

TEST_F(Links, LetAPeerInAgainAtOnceAndLeaveNothingBehind) {
    const std::uint16_t port = start();
    { const SelectedPeer warm_up(port); }
    record.wait(2);
    const auto files = entries_in("/proc/self/fd");
    for (int i = 0; i < 1000; ++i) {
        Peer peer(port);
        ASSERT_TRUE(i % 2 != 0 || peer.ask(select_req) == "FFFF 0000 0002 1") << i;
    }
    const SelectedPeer last(port);
    EXPECT_EQ(std::ranges::count(record.wait(1503), "closed"), 1001);
    EXPECT_EQ(record.wait(0).back(), "selected");
    // The last one's sockets, and its io_context's.
    EXPECT_TRUE(support::eventually([&] { return entries_in("/proc/self/fd") <= files + 5; }));
    EXPECT_TRUE(support::eventually([] { return entries_in("/proc/self/task") <= 8; }));
    link->stop();
    EXPECT_EQ(log.wait(0).rbegin()[1], "992 more connections, the last with 127.0.0.1 is selected");
}

TEST_F(Links, SendWhatWasSaidBeforeStoppingAndTakeTheSameFreePortAgain) {
    std::string body(14'000'000, 'x');  // far more than a socket takes
    for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 3U);
    std::uint16_t port = 0;
    for (int round = 0; round < 5; ++round) {
        const std::size_t before = record.wait(0).size();
        SelectedPeer peer(start());
        EXPECT_TRUE(port == 0 || link->port() == port);
        port = link->port();
        peer.send(s1f1);
        record.wait(before + 2);
        ASSERT_TRUE(link->reply(1, 2, body, 7));
        peer.send(s1f1);  // unread input must not make the peer lose the reply
        auto stopping = std::async(std::launch::async, [&] { link->stop(); });
        EXPECT_TRUE(peer.receive_bytes(14 + body.size()) == message("0000 0102 0000 7", body));
        EXPECT_EQ(peer.receive(), separate_101);
        EXPECT_EQ(peer.receive_bytes(1), "");
        peer.close();
        stopping.get();
        EXPECT_EQ(record.wait(before + 3).back(), "closed");
    }
}

TEST_F(Links, ConnectAndTryAgain) {
    asio::io_context io;
    asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    options.session.role = Role::active;
    options.address = "127.0.0.1";
    options.port = acceptor.local_endpoint().port();
    options.t5 = Milliseconds(30);
    acceptor.close();
    start();
    log.wait(1);  // refused
    EXPECT_EQ(link->state(), LinkState::connecting);

    acceptor = asio::ip::tcp::acceptor(io, {asio::ip::address_v4::loopback(), options.port});
    for (const std::string id : {"65", "66", "67", "68"}) {
        Peer peer(acceptor);
        EXPECT_EQ(peer.receive(), "FFFF 0000 0001 " + id);
        if (id == "66") peer.send_raw(bytes("00 00 00 0A FF FF 00"));
        if (id < "67") continue;  // gone in the middle of the select, then of its answer
        peer.send("FFFF 0000 0002 " + id);
        record.wait(id == "67" ? 3 : 5);
        EXPECT_EQ(link->state(), LinkState::selected);
        if (id == "68") acceptor.close();
    }
    EXPECT_EQ(record.wait(6), (Entries{"closed", "closed", "selected", "closed", "selected", "closed"}));
    const std::string refused = "cannot connect to 127.0.0.1 port " + std::to_string(options.port) +
                                ": Connection refused";  // one line each time
    EXPECT_TRUE(support::eventually([&] { return std::ranges::count(log.wait(0), refused) == 2; }));
}

TEST_F(Links, LetOnlyTheirPeerIn) {
    const struct {
        const char *address, *listen_address;
        Entries allowed;
        const char *from, *line;
    } rows[] = {
        {"127.0.0.2",
         "127.0.0.1",
         {"192.0.2.7"},
         "127.0.0.2",
         "connection from 127.0.0.2 refused: not an allowed address"},
        {"localhost", "", {"192.0.2.7", "127.0.0.1"}, "127.0.0.1", "connected with 127.0.0.1"},
        // no address of this machine
        {"192.0.2.1", "127.0.0.1", {}, "127.0.0.1", "connection from 127.0.0.1 refused: not the peer"},
        {"127.0.0.2", "127.0.0.1", {}, "127.0.0.1", "connection from 127.0.0.1 refused: not the peer"},
        {"127.0.0.2", "127.0.0.1", {}, "127.0.0.2", "connected with 127.0.0.2"},
    };
    for (const auto& row : rows) {
        const std::size_t before = log.wait(0).size();
        options.address = row.address;
        options.listen_address = row.listen_address;
        options.allowed_peers = row.allowed;
        const Peer peer(start(), row.from);
        EXPECT_EQ(log.wait(before + 2).at(before + 1), row.line) << row.address;
        link.reset();
    }
}

TEST_F(Links, TryToListenAgain) {
    asio::io_context io;
    asio::ip::tcp::acceptor other(io, {asio::ip::address_v4::loopback(), 0});
    options.port = other.local_endpoint().port();
    options.t5 = Milliseconds(20);
    link.emplace(options, callbacks);
    EXPECT_FALSE(link->start());
    EXPECT_EQ(link->state(), LinkState::stopped);
    log.wait(2);  // twice in vain
    other.close();
    EXPECT_TRUE(support::eventually([&] { return log.wait(0).back().starts_with("listening"); }));
    const SelectedPeer peer(options.port);
}

/// While it lives no thread can be started: none has room for such a stack.
struct NoThreads {
    NoThreads() {
        pthread_getattr_default_np(&usual);
        pthread_attr_t endless = usual;
        pthread_attr_setstacksize(&endless, std::size_t{1} << 46U);
        pthread_setattr_default_np(&endless);
    }
    ~NoThreads() { pthread_setattr_default_np(&usual); }
    pthread_attr_t usual;
};

TEST_F(Links, GoOnWithoutAThread) {
    link.emplace(options, callbacks);
    EXPECT_FALSE((NoThreads(), link->start()));
    EXPECT_EQ(link->state(), LinkState::stopped);
    const Entries lines = log.wait(2);
    EXPECT_TRUE(lines.back().starts_with("cannot start the I/O thread: ")) << lines.back();
    const auto port = static_cast<std::uint16_t>(std::stoi(lines[0].substr(lines[0].rfind(' '))));
    EXPECT_THROW(Peer{port}, std::system_error);  // rather than connected and never answered
    EXPECT_TRUE(link->start());
    EXPECT_EQ((NoThreads(), Peer(link->port()).receive()), "");
    EXPECT_TRUE(log.wait(4).back().starts_with("connection closed: cannot start its callback thread: "));
    const SelectedPeer peer(link->port());
    EXPECT_EQ(record.wait(1), Entries{"selected"});
}

TEST_F(Links, GoOnWithoutMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers need room for themselves";
#endif
    SelectedPeer peer(start());
    const std::string large = message("0000 0703 0000 9", std::string(60'000'000, 'x'));
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    {
        const Limit memory(RLIMIT_AS, pages * 4096 + 20'000'000);
        EXPECT_THROW(peer.send_raw(large), std::system_error);
        EXPECT_EQ(record.wait(2).back(), "closed");
    }
    EXPECT_EQ(log.wait(4).back(), "connection with 127.0.0.1 closed: out of memory");
    const SelectedPeer again(link->port());
    EXPECT_EQ(record.wait(3).back(), "selected");
}

// Or a sender with a full queue would lose all of it between the end of the link and the news of it.
TEST_F(Links, CanBeAskedToAwaitTheCallbackOfTheClose) {
    options.log = nullptr;
    callbacks.on_message = [this](auto&, auto&&) {
        record.add("message");
        open.wait();
    };
    for (const bool peer_is_back : {false, true}) {
        const std::size_t before = record.wait(0).size();
        link.emplace(options, callbacks);
        link->await_close();  // not started
        EXPECT_TRUE(link->start());
        link->await_close();  // there was no connection yet
        SelectedPeer peer(link->port());
        peer.send(s1f1);
        record.wait(before + 2);
        link->await_close();  // one is up
        peer.close();
        while (link->send(1, 1, true, {}) != 0) std::this_thread::yield();
        std::optional<Peer> next;
        if (peer_is_back) next.emplace(link->port());
        while (peer_is_back && link->state() != LinkState::connected) std::this_thread::yield();
        link->await_close();
        EXPECT_EQ(record.wait(0).size(), before + 3);  // waits for none
        EXPECT_EQ(record.wait(0).back(), "closed");
    }
    gate.set_value();
    link.reset();
}

TEST_F(Links, DropAPeerThatDoesNotRead) {
    options.max_send_buffer = 1 << 20;
    const SelectedPeer peer(start());
    EXPECT_TRUE(link->await_selected(Milliseconds(20000)));
    int sent = 0;
    while (link->send(6, 11, false, std::string(1 << 20, 'x')) != 0 && sent < 100) ++sent;
    EXPECT_TRUE(sent > 1 && sent < 100) << sent;
    EXPECT_EQ(record.wait(2).back(), "closed");
}

TEST_F(Links, GiveUpACallbackThatAFullQueueWaitsFor) {
    options.session.t6 = Milliseconds(100);
    callbacks.on_message = [this](auto&, auto&&) { open.wait(); };
    SelectedPeer peer(start());
    std::string many;
    for (int i = 0; i < 70000; ++i) many += message(s1f1);
    peer.send_raw(many);
    peer.close();  // not noticed while nothing is read
    EXPECT_EQ(log.wait(4).back(),
              "connection with 127.0.0.1 closed: callback queue full and its callback does not end");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "closed"}));
    gate.set_value();
    link.reset();
}

TEST_F(Links, BoundWhatWaitsForCallbacks) {
    const std::string body(1'000'000, 'x'), large = message("0000 0703 0000 9", body);
    int count = 0;
    callbacks.on_message = [&](auto&, auto&& received) {
        open.wait();
        count += received == body ? 1 : 0;
        if (count == 200) record.add("last");
    };
    SelectedPeer peer(start());
    std::atomic<int> written{0};
    std::thread writer([&] {  // far more than the queue holds: the writes stop until callbacks go on
        for (; written < 200; ++written) peer.send_raw(large);
    });
    for (int before = -1; before != written;) {
        before = written;
        std::this_thread::sleep_for(Milliseconds(200));
    }
    EXPECT_LT(written, 200);
    gate.set_value();
    writer.join();
    EXPECT_EQ(record.wait(2).back(), "last");
    link.reset();
}

TEST(CallbackLane, HasRoomAgainWhenHalfIsDelivered) {
    for (const auto& [size, most] : {std::pair(std::size_t{1} << 20U, 64U), {0, 65536}}) {
        std::shared_ptr<CallbackLane> lane;
        unsigned pushed = 1, delivered = 0, room_after = 0;
        const auto callbacks = std::make_shared<LinkCallbacks>();
        callbacks->on_message = [&](auto&, auto&&) {
            ++delivered;
            if (room_after == 0 && !lane->full()) room_after = delivered;
        };
        lane = std::make_shared<CallbackLane>(callbacks, nullptr, nullptr);
        for (; lane->push({LaneEvent::Kind::message, {}, std::string(size, 'x')}); ++pushed) continue;
        lane->close();
        lane->start();
        lane->wait_closed_delivered();
        EXPECT_EQ(pushed, most + 1);
        EXPECT_EQ(room_after, most / 2 + 1);
    }
}

TEST(CallbackLane, DeliversTheCloseBesideAStuckCallback) {
    std::promise<void> begun, end, progress;
    const auto callbacks = std::make_shared<LinkCallbacks>();
    callbacks->on_message = [&, ended = end.get_future().share()](auto&, auto&&) {
        begun.set_value();
        ended.wait();
    };
    const auto lane = std::make_shared<CallbackLane>(callbacks, nullptr, [&] { progress.set_value(); });
    lane->push({});
    lane->start();
    begun.get_future().wait();
    lane->close();
    lane->take_over(lane->current_callback());
    EXPECT_TRUE(lane->wait_closed_delivered(Milliseconds(20000)));
    EXPECT_EQ(progress.get_future().wait_for(Milliseconds(20000)), std::future_status::ready);
    end.set_value();
}

/// An outbox and the socket at its other end.
struct OutboxTest : testing::Test {
    OutboxTest() {
        asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
        peer.connect(acceptor.local_endpoint());
        outbox = std::make_shared<Outbox>(io, acceptor.accept(), 8'000'000);
        outbox->socket().non_blocking(true);
    }
    void read(std::size_t size) {
        std::string buffer(100'000, '\0');
        for (; size > 0; io.poll())
            size -= peer.read_some(asio::buffer(buffer, std::min(size, buffer.size())));
    }
    asio::io_context io;
    asio::ip::tcp::socket peer{io};
    std::shared_ptr<Outbox> outbox;
};

TEST_F(OutboxTest, CountsOnlyWhatItsPeerHasNotTakenYet) {
    const auto work = asio::make_work_guard(io);
    const std::string body(20'000'000, 'x');
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(outbox->write({}, body));
        io.poll();
        read(16'000'000);
        EXPECT_TRUE(outbox->write({}, "more"));
        read(14 + body.size() + 14 + 4 - 16'000'000);
    }
}

TEST_F(OutboxTest, DoesNotSayThatALostMessageWasSent) {
    peer.set_option(asio::socket_base::linger(true, 0));
    peer.close();
    outbox->socket().wait(asio::ip::tcp::socket::wait_read);
    char byte = 0;
    asio::error_code reset;
    outbox->socket().read_some(asio::buffer(&byte, 1), reset);
    EXPECT_TRUE(reset);
    EXPECT_FALSE(outbox->write({}, "body"));
    EXPECT_FALSE(outbox->writable());
}

TEST_F(Links, AStuckCallbackCostsItsConnectionAlone) {
    std::promise<bool> late_reply;
    std::promise<void> end;
    const std::shared_future<void> ended = end.get_future().share();
    std::atomic<int> running{0}, closes{0};
    callbacks.on_message = [&](const Header& header, auto&&) {
        ++running;
        record.add("S" + std::to_string(header.stream()));
        if (header.stream() == 9) (header.system == 7 ? open : ended).wait();
        if (header.stream() == 9 && header.system == 7) late_reply.set_value(link->reply(9, 2, "", 7));
        --running;
    };
    callbacks.on_closed = [&] {
        ++running;
        const int close = ++closes;
        if (close == 1) std::this_thread::sleep_for(Milliseconds(100));  // slow, but not stuck
        record.add("closed");
        if (close == 2) ended.wait();
        --running;
    };
    SelectedPeer first(start());
    first.send("0000 8901 0000 7");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "S9"}));
    first.send(s1f1);  // waits after the stuck one and is dropped
    EXPECT_EQ(first.ask(linktest), linktest_answer);
    first.close();
    SelectedPeer second(link->port());
    second.send(s1f1);
    EXPECT_EQ(record.wait(5), (Entries{"selected", "S9", "closed", "selected", "S1"}));
    gate.set_value();
    EXPECT_FALSE(late_reply.get_future().get());
    EXPECT_EQ(second.ask(linktest), linktest_answer);  // and nothing of the late reply

    second.send("0000 8901 0000 8");  // stuck, and the close after it too
    record.wait(6);
    second.close();
    SelectedPeer third(link->port());
    third.send("0000 8901 0000 8");
    EXPECT_EQ(record.wait(9),
              (Entries{"selected", "S9", "closed", "selected", "S1", "S9", "closed", "selected", "S9"}));
    link.reset();  // does not wait for a stuck callback
    EXPECT_EQ(record.wait(10).back(), "closed");
    end.set_value();
    EXPECT_TRUE(support::eventually([&] { return running == 0; }));
}

TEST_F(Links, CanBeStoppedFromTheirOwnCallback) {
    callbacks.on_message = [this](auto&, auto&&) {
        link->separate();
        while (link->state() != LinkState::listening) std::this_thread::yield();
        link->await_close();  // would wait for itself
        EXPECT_FALSE(link->await_selected(Milliseconds(20000)));
        link->stop();
        record.add("stopped");
    };
    SelectedPeer peer(start());
    peer.send(s1f1);
    EXPECT_EQ(peer.receive(), separate_101);
    peer.close();
    EXPECT_EQ(record.wait(3), (Entries{"selected", "stopped", "closed"}));
    EXPECT_TRUE(link->start());
    const SelectedPeer again(link->port());
    EXPECT_EQ(record.wait(4).back(), "selected");
}

}  // namespace
}  // namespace hsms
