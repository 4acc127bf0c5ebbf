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

#include "hsms/link/outbox.h"
#include "peer.h"
#include "tests/support/eventually.h"

namespace hsms {
namespace {

const char* const s1f1 = "00 00 00 0A 00 00 81 01 00 00 00 00 00 07";
const char* const select_req = "00 00 00 0A FF FF 00 00 00 01 00 00 00 01";
const char* const select_rsp = "00 00 00 0A FF FF 00 00 00 02 00 00 00 01";
const char* const linktest = "00 00 00 0A FF FF 00 00 00 05 00 00 00 08";
const char* const linktest_answer = "00 00 00 0A FF FF 00 00 00 06 00 00 00 08";
const char* const separate_101 = "00 00 00 0A FF FF 00 00 00 09 00 00 00 65";

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
        callbacks.on_message = [this](const Header& header, std::string&& body) {
            record.add("S" + std::to_string(header.stream()) + "F" + std::to_string(header.function()) + " " +
                       to_hex(body));
        };
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
    EXPECT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 05 00 00 00 65");
    peer.send("00 00 00 0A FF FF 00 00 00 06 00 00 00 65");
    link->deselect();
    EXPECT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 03 00 00 00 66");
    peer.send("00 00 00 0A FF FF 00 00 00 04 00 00 00 66");
    EXPECT_EQ(record.wait(2).back(), "deselected");
    EXPECT_EQ(link->state(), LinkState::connected);
    peer.select();
    EXPECT_EQ(peer.ask("00 00 00 0A FF FF 00 00 00 03 00 00 00 02"),
              "00 00 00 0A FF FF 00 00 00 04 00 00 00 02");
    EXPECT_EQ(link->send(1, 1, true, ""), 0U);
    peer.select();
    link->separate();
    EXPECT_EQ(peer.receive_to_end(), "00 00 00 0A FF FF 00 00 00 09 00 00 00 67");
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
        int t7;
        const char *sent, *reason;
    } rows[] = {
        {false, 40, "", "T7: not selected in time"},
        {true, 40, "00 00 00 0A FF FF", "T8: message broken off"},
        {false, 60000, "00 00 00 0A FF FF", "T8: message broken off"},
        {false, 60000, "00 00 00 09", "impossible message length 9"},
        {false, 60000, "7F FF FF FF", "impossible message length 2147483647"},
        {false, 60000, "00 00 00 0B FF FF 00 00 00 01 00 00 00 01 00",
         "control message (SType 1) with a body of 1 bytes"},
    };
    for (const auto& row : rows) {
        const std::size_t before = record.wait(0).size();
        options.session.t7 = Milliseconds(row.t7);
        Peer peer(start());
        if (row.select) peer.select();
        peer.send(row.sent);
        EXPECT_EQ(peer.receive_to_end(), "");
        EXPECT_EQ(record.wait(before + 1 + (row.select ? 1 : 0)).back(), "closed") << row.reason;
        EXPECT_EQ(log.wait(0).back(), std::string("connection with 127.0.0.1 closed: ") + row.reason);
    }
}

TEST_F(Links, RefuseASecondConnectionWithoutHarm) {
    SelectedPeer first(start());
    for (int i = 0; i < 13; ++i) {
        EXPECT_EQ(Peer(link->port()).receive_to_end(), "");
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
    Entries expected{"selected", "closed"};
    for (int i = 0; i < 1000; ++i) {
        const bool selects = i % 2 == 0;
        Peer peer(port);
        if (selects) {
            ASSERT_EQ(peer.ask(select_req), select_rsp) << i;
            expected.emplace_back("selected");
        }
        expected.emplace_back("closed");
    }
    const SelectedPeer last(port);
    expected.emplace_back("selected");
    EXPECT_EQ(record.wait(expected.size()), expected);
    // The last one's sockets, and its io_context's.
    EXPECT_TRUE(support::eventually([&] { return entries_in("/proc/self/fd") <= files + 5; }));
    EXPECT_TRUE(support::eventually([] { return entries_in("/proc/self/task") <= 8; }));
}

TEST_F(Links, SendWhatWasSaidBeforeStoppingAndTakeTheSameFreePortAgain) {
    std::uint16_t port = 0;
    for (int round = 0; round < 20; ++round) {
        const std::size_t before = record.wait(0).size();
        SelectedPeer peer(start());
        EXPECT_TRUE(port == 0 || link->port() == port);
        port = link->port();
        peer.send(s1f1);
        record.wait(before + 2);
        const std::string body(200000, 'x');
        ASSERT_TRUE(link->reply(1, 2, body, 7));
        peer.send(s1f1);  // unread input must not make the peer lose the reply
        std::thread stopper([&] { link->stop(); });
        const std::string received = peer.receive_bytes(1'000'000);
        peer.close();
        stopper.join();
        EXPECT_EQ(received.size(), 14 + body.size() + 14);
        EXPECT_TRUE(received.ends_with(bytes(separate_101)));
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
        EXPECT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 01 00 00 00 " + id);
        if (id == "65") continue;  // gone in the middle of the select, then of its answer
        peer.send(id == "66" ? "00 00 00 0A FF FF 00" : "00 00 00 0A FF FF 00 00 00 02 00 00 00 " + id);
        if (id == "66") continue;
        record.wait(id == "67" ? 3 : 5);
        EXPECT_EQ(link->state(), LinkState::selected);
    }
    EXPECT_EQ(record.wait(6), (Entries{"closed", "closed", "selected", "closed", "selected", "closed"}));
}

TEST_F(Links, LetOnlyTheirPeerIn) {
    const Entries others{"192.0.2.7", "127.0.0.9"};
    const struct {
        const char *address, *listen_address;
        Entries allowed;
        const char *from, *line;
    } rows[] = {
        {"", "", others, "127.0.0.1", "connection from 127.0.0.1 refused: not an allowed address"},
        {"localhost", "", {"192.0.2.7", "127.0.0.1"}, "127.0.0.1", "connected with 127.0.0.1"},
        // no address of this machine
        {"192.0.2.1", "127.0.0.1", {}, "127.0.0.1", "connection from 127.0.0.1 refused: not the peer"},
        {"127.0.0.2", "127.0.0.1", {}, "127.0.0.1", "connection from 127.0.0.1 refused: not the peer"},
        {"127.0.0.2", "127.0.0.1", {}, "127.0.0.2", "connected with 127.0.0.2"},
        {"127.0.0.2", "127.0.0.1", others, "127.0.0.2",
         "connection from 127.0.0.2 refused: not an allowed address"},
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
class NoThreads {
  public:
    NoThreads() {
        pthread_getattr_default_np(&usual_);
        pthread_attr_t endless = usual_;
        pthread_attr_setstacksize(&endless, std::size_t{1} << 46U);
        pthread_setattr_default_np(&endless);
    }
    ~NoThreads() { pthread_setattr_default_np(&usual_); }

  private:
    pthread_attr_t usual_;
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
    EXPECT_EQ((NoThreads(), Peer(link->port()).receive_to_end()), "");
    EXPECT_TRUE(log.wait(4).back().starts_with("connection closed: cannot start its callback thread: "));
    const SelectedPeer peer(link->port());
    EXPECT_EQ(record.wait(1), Entries{"selected"});
}

TEST_F(Links, GoOnWithoutMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers need room for themselves";
#endif
    SelectedPeer peer(start());
    const HeaderBytes head = encode_header(data_header(0, 7, 3, false, 9), 60'000'000);
    const std::string message = std::string(head.data(), head.size()) + std::string(60'000'000, 'x');
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    {
        const Limit memory(RLIMIT_AS, pages * 4096 + 20'000'000);
        EXPECT_THROW(peer.send_raw(message), std::system_error);
        EXPECT_EQ(record.wait(2).back(), "closed");
    }
    EXPECT_EQ(log.wait(4).back(), "connection with 127.0.0.1 closed: out of memory");
    const SelectedPeer again(link->port());
    EXPECT_EQ(record.wait(3).back(), "selected");
}

// Or a sender with a full queue would lose all of it between the end of the link and the news of it.
class AwaitClose : public Links, public testing::WithParamInterface<bool> {};

TEST_P(AwaitClose, ReturnsBehindTheCallbackOfTheClose) {
    const bool peer_is_back = GetParam();
    callbacks.on_message = [this](const Header&, std::string&&) {
        record.add("message");
        open.wait();
    };
    const std::uint16_t port = start();
    link->await_close();  // there was no connection yet
    SelectedPeer peer(port);
    peer.send(s1f1);
    record.wait(2);
    link->await_close();  // one is up
    peer.close();
    while (link->send(1, 1, true, {}) != 0) std::this_thread::yield();
    std::optional<Peer> next;
    if (peer_is_back) next.emplace(port);
    while (peer_is_back && link->state() != LinkState::connected) std::this_thread::yield();
    EXPECT_EQ(link->send(1, 1, true, {}), 0U);
    link->await_close();
    EXPECT_EQ(record.wait(0), (Entries{"selected", "message", "closed"}));  // waits for none
    gate.set_value();
}

INSTANTIATE_TEST_SUITE_P(Peer, AwaitClose, testing::Bool());

TEST_F(Links, DropAPeerThatDoesNotRead) {
    options.max_send_buffer = 1 << 20;
    const SelectedPeer peer(start());
    record.wait(1);
    const std::string body(1 << 20, 'x');
    int sent = 0;
    while (link->send(6, 11, false, body) != 0 && sent < 100) ++sent;
    EXPECT_GT(sent, 1);
    EXPECT_LT(sent, 100);
    EXPECT_EQ(record.wait(2).back(), "closed");
}

TEST_F(Links, CarryLargeMessagesBothWaysAtOnce) {
    std::string body(10'000'000, '\0');
    for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 3U);
    callbacks.on_message = [&](const Header&, std::string&& received) {
        record.add(received == body ? "the same" : "another");
    };
    SelectedPeer peer(start());
    std::thread sender([&] { EXPECT_NE(link->send(7, 3, false, body), 0U); });
    auto received = std::async(std::launch::async, [&] { return peer.receive_bytes(14 + body.size()); });
    const HeaderBytes head = encode_header(data_header(0, 7, 3, false, 9), body.size());
    peer.send_raw(std::string(head.data(), head.size()) + body);
    sender.join();
    EXPECT_TRUE(received.get().ends_with(body));
    EXPECT_EQ(record.wait(2).back(), "the same");
    link.reset();
}

TEST_F(Links, GiveUpACallbackThatAFullQueueWaitsFor) {
    options.session.t6 = Milliseconds(100);
    callbacks.on_message = [this](auto&, auto&&) { open.wait(); };
    SelectedPeer peer(start());
    std::string many;
    for (int i = 0; i < 70000; ++i) many += bytes(s1f1);
    peer.send_raw(many);
    peer.close();  // not noticed while nothing is read
    EXPECT_EQ(log.wait(4).back(),
              "connection with 127.0.0.1 closed: callback queue full and its callback does not end");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "closed"}));
    gate.set_value();
    link.reset();
}

TEST_F(Links, BoundWhatWaitsForCallbacks) {
    std::atomic<std::size_t> count{0};
    callbacks.on_message = [&](auto&, auto&&) {
        open.wait();
        if (++count == 2'000'000) record.add("last");
    };
    SelectedPeer peer(start());
    std::string many;
    for (int i = 0; i < 1000; ++i) many += bytes(s1f1);
    std::atomic<int> written{0};
    std::thread writer([&] {  // far more than the queue holds: the writes stop until callbacks go on
        for (; written < 2000; ++written) peer.send_raw(many);
    });
    for (int before = -1; before != written;) {
        before = written;
        std::this_thread::sleep_for(Milliseconds(300));
    }
    EXPECT_LT(written, 2000);
    gate.set_value();
    writer.join();
    EXPECT_EQ(record.wait(2).back(), "last");
    link.reset();
}

TEST(Outbox, DoesNotSayThatALostMessageWasSent) {
    asio::io_context io;
    asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    asio::ip::tcp::socket peer(io);
    peer.connect(acceptor.local_endpoint());
    const auto outbox = std::make_shared<Outbox>(io, acceptor.accept(), 1000);
    peer.set_option(asio::socket_base::linger(true, 0));
    peer.close();
    asio::error_code reset;
    char byte = 0;
    asio::read(outbox->socket(), asio::buffer(&byte, 1), reset);
    EXPECT_TRUE(reset);
    EXPECT_FALSE(outbox->write({}, "body"));
    EXPECT_FALSE(outbox->writable());
}

TEST_F(Links, AStuckCallbackCostsItsConnectionAlone) {
    std::promise<bool> late_reply;
    std::promise<void> returned;
    callbacks.on_message = [&](const Header& header, std::string&&) {
        record.add("S" + std::to_string(header.stream()));
        if (header.stream() != 9) return;
        open.wait();
        if (header.system == 7) late_reply.set_value(link->reply(9, 2, "", header.system));
        if (header.system == 8) returned.set_value();
    };
    SelectedPeer first(start());
    first.send("00 00 00 0A 00 00 89 01 00 00 00 00 00 07");
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

    gate = {};
    open = gate.get_future().share();
    second.send("00 00 00 0A 00 00 89 01 00 00 00 00 00 08");
    record.wait(6);
    link.reset();  // does not wait for a stuck callback
    EXPECT_EQ(record.wait(7).back(), "closed");
    gate.set_value();
    returned.get_future().wait();
}

TEST_F(Links, CanBeStoppedFromTheirOwnCallback) {
    callbacks.on_message = [this](auto&, auto&&) {
        link->stop();
        record.add("stopped");
    };
    SelectedPeer peer(start());
    peer.send(s1f1);
    EXPECT_EQ(peer.receive_to_end(), separate_101);
    EXPECT_EQ(record.wait(3), (Entries{"selected", "stopped", "closed"}));
    EXPECT_TRUE(link->start());
    const SelectedPeer again(link->port());
    EXPECT_EQ(record.wait(4).back(), "selected");
}

}  // namespace
}  // namespace hsms
