#include "hsms/link/link.h"

#include <atomic>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "peer.h"

namespace hsms {
namespace {

const char* const s1f1 = "00 00 00 0A 00 00 81 01 00 00 00 00 00 07";
const char* const linktest = "00 00 00 0A FF FF 00 00 00 05 00 00 00 08";
const char* const linktest_answer = "00 00 00 0A FF FF 00 00 00 06 00 00 00 08";
const char* const separate_101 = "00 00 00 0A FF FF 00 00 00 09 00 00 00 65";

std::ptrdiff_t entries_in(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

TEST(Link, CarriesMessagesBothWays) {
    Record record;
    LinkOptions options = passive_options();
    options.session.device_id = 5;
    Link link(options, recording(record));
    EXPECT_EQ(link.state(), LinkState::stopped);
    ASSERT_TRUE(link.start());
    EXPECT_FALSE(link.start());
    EXPECT_EQ(link.state(), LinkState::listening);
    Peer peer(link.port());
    EXPECT_EQ(link.send(1, 1, true, ""), 0U);
    peer.send("00 00 00 0A FF FF 00 00 00 01 00 00 00 01");
    EXPECT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 02 00 00 00 01");
    peer.send("00 00 00 0C 00 05 81 03 00 00 00 00 00 07 01 00");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "S1F3 01 00"}));
    EXPECT_EQ(link.state(), LinkState::selected);
    EXPECT_EQ(link.peer(), "127.0.0.1");
    EXPECT_TRUE(link.reply(1, 4, bytes("01 00"), 7));
    EXPECT_EQ(peer.receive(16), "00 00 00 0C 00 05 01 04 00 00 00 00 00 07 01 00");
    EXPECT_EQ(link.send(6, 11, true, bytes("A5 01 02")), 101U);
    EXPECT_EQ(peer.receive(17), "00 00 00 0D 00 05 86 0B 00 00 00 00 00 65 A5 01 02");
    peer.send("00 00 00 0A FF FF 00 00 00 03 00 00 00 02");
    EXPECT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 04 00 00 00 02");
    EXPECT_EQ(record.wait(3).back(), "deselected");
    EXPECT_EQ(link.state(), LinkState::connected);
    peer.close();
    EXPECT_EQ(record.wait(4).back(), "closed");
    EXPECT_EQ(link.state(), LinkState::listening);
}

TEST(Link, ReportsRepliesThatDoNotCome) {
    Record record;
    LinkOptions options = passive_options();
    options.session.t3 = Milliseconds(30);
    Link link(options, recording(record));
    link.start();
    Peer peer(link.port());
    peer.select();
    link.send(1, 1, true, "");
    link.send(1, 1, false, "");
    link.send(1, 1, true, "");
    EXPECT_EQ(record.wait(3), (Entries{"selected", "timeout 101", "timeout 103"}));
    EXPECT_EQ(link.state(), LinkState::selected);
}

TEST(Link, ClosesABrokenOrSilentConnection) {
    const struct {
        const char* what;
        std::string sent;
    } rows[] = {
        {"T7: never selects", ""},
        {"T8: stops inside a message", "00 00 00 0A FF FF"},
        {"length below 10", "00 00 00 09"},
        {"length above the limit", "7F FF FF FF"},
        {"control message with a body", "00 00 00 0B FF FF 00 00 00 01 00 00 00 01 00"},
    };
    for (const auto& row : rows) {
        Record record;
        LinkOptions options = passive_options();
        options.session.t7 = options.session.t8 = Milliseconds(40);
        Link link(options, recording(record));
        link.start();
        Peer peer(link.port());
        peer.send(row.sent);
        EXPECT_EQ(peer.receive_to_end(), "") << row.what;
        EXPECT_EQ(record.wait(1), Entries{"closed"}) << row.what;
    }
}

TEST(Link, RefusesASecondConnectionWithoutHarm) {
    Record record;
    Link link(passive_options(), recording(record));
    link.start();
    Peer first(link.port());
    first.select();
    for (int i = 0; i < 3; ++i) {
        Peer second(link.port());
        EXPECT_EQ(second.receive_to_end(), "");
        first.send(linktest);
        EXPECT_EQ(first.receive(14), linktest_answer);
    }
}

TEST(Link, LetsAPeerInAgainAtOnce) {
    Record record;
    Link link(passive_options(), recording(record));
    link.start();
    for (int i = 0; i < 1000; ++i) {
        Peer peer(link.port());
        peer.send("00 00 00 0A FF FF 00 00 00 01 00 00 00 01");
        ASSERT_EQ(peer.receive(14), "00 00 00 0A FF FF 00 00 00 02 00 00 00 01") << i;
    }
    const Entries entries = record.wait(2000);
    ASSERT_EQ(entries.size(), 2000U);
    for (std::size_t i = 0; i < entries.size(); ++i)
        EXPECT_EQ(entries[i], i % 2 == 0 ? "selected" : "closed");
}

TEST(Link, LeavesNothingBehindDroppedConnections) {
    Record record;
    Link link(passive_options(), recording(record));
    link.start();
    { Peer warm_up(link.port()); }
    record.wait(1);
    const auto files = entries_in("/proc/self/fd");
    for (int i = 0; i < 1000; ++i) Peer peer(link.port());
    Peer last(link.port());
    last.select();
    const Entries entries = record.wait(1002);
    EXPECT_EQ(entries.back(), "selected");
    EXPECT_LE(entries_in("/proc/self/fd"),
              files + 5);  // the last connection: both sockets, and three of its io_context
    EXPECT_LE(entries_in("/proc/self/task"), 8);
}

TEST(Link, SendsWhatWasSaidBeforeStopping) {
    for (int round = 0; round < 20; ++round) {
        Record record;
        Link link(passive_options(), recording(record));
        link.start();
        Peer peer(link.port());
        peer.select();
        peer.send(s1f1);
        record.wait(2);
        const std::string body(200000, 'x');
        ASSERT_TRUE(link.reply(1, 2, body, 7));
        peer.send(s1f1);  // unread input must not make the peer lose the reply
        std::thread stopper([&] { link.stop(); });
        const std::string received = peer.receive_to_end();
        peer.close();
        stopper.join();
        EXPECT_EQ(received.size(), (14 + body.size() + 14) * 3 - 1);
        EXPECT_EQ(received.substr(received.size() - 41), separate_101);
        EXPECT_EQ(record.wait(3).back(), "closed");
    }
}

TEST(Link, TakesTheSameFreePortAgain) {
    std::uint16_t port = 0;
    for (int i = 0; i < 3; ++i) {
        Record record;
        Link link(passive_options(), recording(record));
        ASSERT_TRUE(link.start());
        EXPECT_TRUE(port == 0 || link.port() == port);
        port = link.port();
        Peer peer(port);
        peer.select();
    }
}

TEST(Link, ConnectsAndTriesAgain) {
    asio::io_context io;
    asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    const std::uint16_t port = acceptor.local_endpoint().port();
    acceptor.close();

    Record record;
    Record log;
    LinkOptions options;
    options.session.role = Role::active;
    options.address = "127.0.0.1";
    options.port = port;
    options.t5 = Milliseconds(30);
    options.log = [&](std::string_view line) { log.add(std::string(line)); };
    Link link(options, recording(record));
    ASSERT_TRUE(link.start());
    log.wait(1);  // refused
    EXPECT_EQ(link.state(), LinkState::connecting);

    acceptor = asio::ip::tcp::acceptor(io, {asio::ip::address_v4::loopback(), port});
    for (int id : {0x65, 0x66}) {
        Peer peer(acceptor);
        EXPECT_EQ(peer.receive(14),
                  "00 00 00 0A FF FF 00 00 00 01 00 00 00 " + to_hex({reinterpret_cast<char*>(&id), 1}));
        peer.send("00 00 00 0A FF FF 00 00 00 02 00 00 00 " + to_hex({reinterpret_cast<char*>(&id), 1}));
        record.wait(id == 0x65 ? 1 : 3);
        EXPECT_EQ(link.state(), LinkState::selected);
    }
    EXPECT_EQ(record.wait(4), (Entries{"selected", "closed", "selected", "closed"}));
}

TEST(Link, LetsOnlyAllowedAddressesIn) {
    for (const bool allowed : {false, true}) {
        Record record;
        Record log;
        LinkOptions options = passive_options();
        options.allowed_peers = {"192.0.2.7", allowed ? "127.0.0.1" : "127.0.0.9"};
        options.log = [&](std::string_view line) { log.add(std::string(line)); };
        Link link(options, recording(record));
        ASSERT_TRUE(link.start());
        Peer peer(link.port());
        if (allowed) {
            peer.select();
            EXPECT_EQ(record.wait(1), Entries{"selected"});
        } else {
            EXPECT_EQ(peer.receive_to_end(), "");
            EXPECT_EQ(log.wait(2).at(1), "connection from 127.0.0.1 refused: not an allowed address");
        }
    }
}

// Or a sender with a full queue would lose all of it between the end of the link and the news of it.
void expect_await_close_returns_behind_the_callback(bool peer_is_back) {
    SCOPED_TRACE(peer_is_back);
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    Record record;
    LinkCallbacks callbacks = recording(record);
    // By value: the thread of a callback that does not return in time may outlive the link.
    callbacks.on_message = [&record, released](const Header&, std::string&&) {
        record.add("message");
        released.wait();
    };
    Link link(passive_options(), std::move(callbacks));
    link.start();
    link.await_close();  // there was no connection yet
    Peer peer(link.port());
    peer.select();
    peer.send(s1f1);
    record.wait(2);
    link.await_close();  // one stands
    peer.close();
    while (link.send(1, 1, true, {}) != 0) std::this_thread::yield();
    std::optional<Peer> next;
    if (peer_is_back) next.emplace(link.port());
    while (peer_is_back && link.state() != LinkState::connected) std::this_thread::yield();
    EXPECT_EQ(link.send(1, 1, true, {}), 0U);
    link.await_close();
    EXPECT_EQ(record.wait(0), (Entries{"selected", "message", "closed"}));  // waits for none
    release.set_value();
}

TEST(Link, AwaitCloseReturnsBehindTheCallbackOfTheClose) {
    expect_await_close_returns_behind_the_callback(false);
    expect_await_close_returns_behind_the_callback(true);
}

TEST(Link, DropsAPeerThatDoesNotRead) {
    Record record;
    LinkOptions options = passive_options();
    options.max_send_buffer = 1 << 20;
    Link link(options, recording(record));
    link.start();
    Peer peer(link.port());
    peer.select();
    record.wait(1);
    const std::string body(1 << 20, 'x');
    int sent = 0;
    while (link.send(6, 11, false, body) != 0 && sent < 100) ++sent;
    EXPECT_GT(sent, 1);
    EXPECT_LT(sent, 100);
    EXPECT_EQ(record.wait(2).back(), "closed");
}

TEST(Link, CarriesLargeMessagesBothWaysAtOnce) {
    Record record;
    LinkCallbacks callbacks = recording(record);
    callbacks.on_message = [&](const Header&, std::string&& body) {
        record.add(std::to_string(body.size()) + body.front() + body.back());
    };
    Link link(passive_options(), callbacks);
    link.start();
    Peer peer(link.port());
    peer.select();
    const std::string body(10'000'000, 'z');
    std::thread sender([&] { EXPECT_NE(link.send(7, 3, false, body), 0U); });
    auto received = std::async(std::launch::async, [&] { return peer.receive(14 + body.size()).size(); });
    Header header = data_header(0, 7, 3, false, 9);
    const HeaderBytes head = encode_header(header, body.size());
    peer.send_raw(std::string(head.data(), head.size()) + body);
    sender.join();
    EXPECT_EQ(received.get(), (14 + body.size()) * 3 - 1);
    EXPECT_EQ(record.wait(2).back(), "10000000zz");
}

TEST(Link, BoundsWhatWaitsForCallbacks) {
    std::promise<void> gate;
    std::shared_future<void> open = gate.get_future().share();
    std::atomic<std::size_t> count{0};
    Record record;
    LinkCallbacks callbacks;
    callbacks.on_message = [&](const Header& header, std::string&&) {
        open.wait();
        ++count;
        if (header.stream() == 2) record.add("last");
    };
    Link link(passive_options(), callbacks);
    link.start();
    Peer peer(link.port());
    peer.select();
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
}

TEST(Link, AStuckCallbackCostsItsConnectionAlone) {
    std::promise<void> gate;
    std::shared_future<void> open = gate.get_future().share();
    Record record;
    Link* self = nullptr;
    std::promise<bool> late_reply;
    LinkCallbacks callbacks = recording(record);
    callbacks.on_message = [&](const Header& header, std::string&&) {
        record.add("S" + std::to_string(header.stream()));
        if (header.stream() != 9) return;
        open.wait();
        late_reply.set_value(self->reply(9, 2, "", header.system));
    };
    Link link(passive_options(), callbacks);
    self = &link;
    link.start();

    Peer first(link.port());
    first.select();
    first.send("00 00 00 0A 00 00 89 01 00 00 00 00 00 07");
    EXPECT_EQ(record.wait(2), (Entries{"selected", "S9"}));
    first.send(s1f1);  // waits behind the stuck one and is dropped
    first.send(linktest);
    EXPECT_EQ(first.receive(14), linktest_answer);
    first.close();
    Peer second(link.port());
    second.select();
    second.send(s1f1);
    EXPECT_EQ(record.wait(5), (Entries{"selected", "S9", "closed", "selected", "S1"}));
    gate.set_value();
    EXPECT_FALSE(late_reply.get_future().get());
    second.send(linktest);
    EXPECT_EQ(second.receive(14), linktest_answer);  // and nothing of the late reply
}

TEST(Link, DestroyingDoesNotWaitForAStuckCallback) {
    auto gate = std::make_shared<std::promise<void>>();
    Record record;
    std::promise<void> returned;
    {
        LinkCallbacks callbacks;
        callbacks.on_closed = [&] { record.add("closed"); };
        callbacks.on_message = [&, open = gate->get_future().share()](auto&, auto&&) {
            record.add("message");
            open.wait();
            returned.set_value();
        };
        Link link(passive_options(), callbacks);
        link.start();
        Peer peer(link.port());
        peer.select();
        peer.send(s1f1);
        record.wait(1);
    }
    EXPECT_EQ(record.wait(2), (Entries{"message", "closed"}));
    gate->set_value();
    returned.get_future().wait();
}

TEST(Link, CanBeStoppedFromItsOwnCallback) {
    Record record;
    Link* self = nullptr;
    LinkCallbacks callbacks = recording(record);
    callbacks.on_message = [&](auto&, auto&&) {
        self->stop();
        record.add("stopped");
    };
    Link link(passive_options(), callbacks);
    self = &link;
    link.start();
    Peer peer(link.port());
    peer.select();
    peer.send(s1f1);
    EXPECT_EQ(peer.receive_to_end(), separate_101);
    EXPECT_EQ(record.wait(3), (Entries{"selected", "stopped", "closed"}));
    EXPECT_TRUE(link.start());
    Peer again(link.port());
    again.select();
    EXPECT_EQ(record.wait(4).back(), "selected");
}

TEST(Link, SeparateKeepsListening) {
    Record record;
    Link link(passive_options(), recording(record));
    link.start();
    Peer peer(link.port());
    peer.select();
    link.separate();
    EXPECT_EQ(peer.receive_to_end(), separate_101);
    Peer again(link.port());
    again.select();
    EXPECT_EQ(record.wait(3), (Entries{"selected", "closed", "selected"}));
}

}  // namespace
}  // namespace hsms
