#include "hsms/link/link.h"

#include <atomic>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

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

TEST_F(Links, CarryMessagesBothWays) {
    options.session.device_id = 5;
    const std::uint16_t port = start();
    EXPECT_FALSE(link->start());
    EXPECT_EQ(link->state(), LinkState::listening);
    Peer peer(port);
    EXPECT_EQ(link->send(1, 1, true, ""), 0U);
    peer.send(select_req);
    EXPECT_EQ(peer.receive(14), select_rsp);
    peer.send("00 00 00 0C 00 05 81 03 00 00 00 00 00 07 01 00");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "S1F3 01 00"}));
    EXPECT_EQ(link->state(), LinkState::selected);
    EXPECT_EQ(link->peer(), "127.0.0.1");
    EXPECT_TRUE(link->reply(1, 4, bytes("01 00"), 7));
    EXPECT_EQ(peer.receive(16), "00 00 00 0C 00 05 01 04 00 00 00 00 00 07 01 00");
    EXPECT_EQ(link->send(6, 11, true, bytes("A5 01 02")), 101U);
    EXPECT_EQ(peer.receive(17), "00 00 00 0D 00 05 86 0B 00 00 00 00 00 65 A5 01 02");
    peer.send("00 00 00 0A FF FF 00 00 00 03 00 00 00 02");
    EXPECT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 04 00 00 00 02");
    EXPECT_EQ(record.wait(3).back(), "deselected");
    EXPECT_EQ(link->state(), LinkState::connected);
    peer.close();
    EXPECT_EQ(record.wait(4).back(), "closed");
    EXPECT_EQ(link->state(), LinkState::listening);
}

TEST_F(Links, ReportRepliesThatDoNotCome) {
    options.session.t3 = Milliseconds(30);
    const SelectedPeer peer(start());
    for (const bool wbit : {true, false, true}) link->send(1, 1, wbit, "");
    EXPECT_EQ(record.wait(3), (Entries{"selected", "timeout 101", "timeout 103"}));
    EXPECT_EQ(link->state(), LinkState::selected);
}

TEST_F(Links, CloseABrokenOrSilentConnection) {
    options.session.t7 = options.session.t8 = Milliseconds(40);
    const std::uint16_t port = start();
    const char* const rows[] = {
        "",                                              // T7: never selects
        "00 00 00 0A FF FF",                             // T8: stops inside a message
        "00 00 00 09",                                   // length below 10
        "7F FF FF FF",                                   // length above the limit
        "00 00 00 0B FF FF 00 00 00 01 00 00 00 01 00",  // control message with a body
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        Peer peer(port);
        peer.send(rows[i]);
        EXPECT_EQ(peer.receive_to_end(), "") << rows[i];
        EXPECT_EQ(record.wait(i + 1), Entries(i + 1, "closed")) << rows[i];
    }
}

TEST_F(Links, RefuseASecondConnectionWithoutHarm) {
    SelectedPeer first(start());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Peer(link->port()).receive_to_end(), "");
        first.send(linktest);
        EXPECT_EQ(first.receive(14), linktest_answer);
    }
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
            peer.send(select_req);
            ASSERT_EQ(peer.receive(14), select_rsp) << i;
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
        const std::string received = peer.receive_raw(1'000'000);
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

TEST_F(Links, LetOnlyAllowedAddressesIn) {
    options.allowed_peers = {"192.0.2.7", "127.0.0.9"};
    EXPECT_EQ(Peer(start()).receive_to_end(), "");
    EXPECT_EQ(log.wait(2).at(1), "connection from 127.0.0.1 refused: not an allowed address");
    options.allowed_peers = {"192.0.2.7", "127.0.0.1"};
    const SelectedPeer peer(start());
    EXPECT_EQ(record.wait(1), Entries{"selected"});
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
    link->await_close();  // one stands
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
    auto received = std::async(std::launch::async, [&] { return peer.receive_raw(14 + body.size()); });
    const HeaderBytes head = encode_header(data_header(0, 7, 3, false, 9), body.size());
    peer.send_raw(std::string(head.data(), head.size()) + body);
    sender.join();
    EXPECT_TRUE(received.get().ends_with(body));
    EXPECT_EQ(record.wait(2).back(), "the same");
    link.reset();
}

TEST_F(Links, BoundWhatWaitsForCallbacks) {
    std::atomic<std::size_t> count{0};
    callbacks.on_selected = nullptr;
    callbacks.on_message = [&](const Header& header, std::string&&) {
        open.wait();
        ++count;
        if (header.stream() == 2) record.add("last");
    };
    SelectedPeer peer(start());
    // Far more than the queue holds: the peer's writes stop until callbacks go on.
    std::string many;
    for (int i = 0; i < 1000; ++i) many += bytes(s1f1);
    std::atomic<int> written{0};
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i, ++written) peer.send_raw(many);
        peer.send("00 00 00 0A 00 00 02 11 00 00 00 00 00 07");
    });
    for (int before = -1; before != written;) {
        before = written;
        std::this_thread::sleep_for(Milliseconds(300));
    }
    EXPECT_LT(written, 2000);
    gate.set_value();
    writer.join();
    record.wait(1);
    EXPECT_EQ(count, 2'000'001U);
    link.reset();
}

TEST_F(Links, AStuckCallbackCostsItsConnectionAlone) {
    std::promise<bool> late_reply;
    callbacks.on_message = [&](const Header& header, std::string&&) {
        record.add("S" + std::to_string(header.stream()));
        if (header.stream() != 9) return;
        open.wait();
        late_reply.set_value(link->reply(9, 2, "", header.system));
    };
    SelectedPeer first(start());
    first.send("00 00 00 0A 00 00 89 01 00 00 00 00 00 07");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "S9"}));
    first.send(s1f1);  // waits behind the stuck one and is dropped
    first.send(linktest);
    EXPECT_EQ(first.receive(14), linktest_answer);
    first.close();
    SelectedPeer second(link->port());
    second.send(s1f1);
    EXPECT_EQ(record.wait(5), (Entries{"selected", "S9", "closed", "selected", "S1"}));
    gate.set_value();
    EXPECT_FALSE(late_reply.get_future().get());
    second.send(linktest);
    EXPECT_EQ(second.receive(14), linktest_answer);  // and nothing of the late reply
    link.reset();
}

TEST_F(Links, DestroyingDoesNotWaitForAStuckCallback) {
    std::promise<void> returned;
    callbacks.on_message = [&](auto&, auto&&) {
        record.add("message");
        open.wait();
        returned.set_value();
    };
    SelectedPeer peer(start());
    peer.send(s1f1);
    record.wait(2);
    link.reset();
    EXPECT_EQ(record.wait(3), (Entries{"selected", "message", "closed"}));
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

TEST_F(Links, SeparateKeepsListening) {
    SelectedPeer peer(start());
    link->separate();
    EXPECT_EQ(peer.receive_to_end(), separate_101);
    const SelectedPeer again(link->port());
    EXPECT_EQ(record.wait(3), (Entries{"selected", "closed", "selected"}));
}

}  // namespace
}  // namespace hsms
