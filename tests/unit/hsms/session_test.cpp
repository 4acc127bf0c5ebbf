#include "hsms/core/session.h"

#include <gtest/gtest.h>

#include "peer.h"

namespace hsms {
namespace {

/// What is sent and done, in one text.
std::string text_of(const Actions& actions) {
    std::string text;
    for (const Header& header : actions.send) text += " " + text_of(header);
    if (actions.selected) text += " selected";
    if (actions.deselected) text += " deselected";
    if (actions.deliver) text += " deliver";
    for (const std::uint32_t id : actions.reply_timeouts) text += " timeout " + std::to_string(id);
    if (!actions.close.empty()) text += " close";
    if (!actions.note.empty()) text += " " + actions.note;
    return text.empty() ? text : text.substr(1);
}

/// A session on a fake clock: a header in, what it sends and does out.
struct Bench : Session {
    explicit Bench(SessionSettings settings = {}, std::uint32_t first_id = 101)
        : Session(settings, first_id) {}

    std::string got(const std::string& header, std::size_t body_size = 0) {
        return text_of(received(header_of(header), body_size, now));
    }
    /// Moves to the next deadline and runs it: after how many milliseconds what happens; "never" without one.
    std::string next() {
        const long after = until_next();
        if (after < 0) return "never";
        now = *next_deadline();
        return std::to_string(after) + " " + text_of(timer(now));
    }
    long until_next() const { return next_deadline() ? (*next_deadline() - now) / Milliseconds(1) : -1; }
    void pass(int milliseconds) {
        now += Milliseconds(milliseconds);
        EXPECT_EQ(text_of(timer(now)), "");
    }
    Bench& select() {
        connected(now);
        got(select_req);
        return *this;
    }
    std::uint32_t send(std::uint8_t stream, std::uint8_t function, bool wbit) {
        const auto header = send_primary(stream, function, wbit, now);
        return header ? header->system : 0;
    }

    Time now{};
};

TEST(Session, AnswersEveryMessageInEveryState) {
    // Passive and not selected, selected; active with its Select.req 0x65 sent, and selected by the peer too.
    enum State { idle, sel, act, both };
    const struct {
        State state;
        const char *received, *result;
        std::size_t body = 0;
    } rows[] = {
        // select
        {idle, "FFFF 0000 0001 7", "FFFF 0000 0002 7 selected"},
        {idle, "0005 0000 0001 7", "0005 0000 0002 7 selected"},
        {sel, "FFFF 0000 0001 7", "FFFF 0001 0002 7"},
        {act, "FFFF 0000 0002 65", "selected"},
        {act, "FFFF 0001 0002 65", "close"},
        {act, "FFFF 0000 0001 9", "FFFF 0000 0002 9 selected"},
        {both, "FFFF 0001 0002 65", ""},
        // unexpected responses
        {act, "FFFF 0000 0002 66", "FFFF 0203 0007 66"},
        {act, "FFFF 0000 0006 65", "FFFF 0603 0007 65"},
        {idle, "FFFF 0000 0002 7", "FFFF 0203 0007 7"},
        {sel, "FFFF 0000 0004 7", "FFFF 0403 0007 7"},
        // deselect, linktest, reject, separate
        {idle, "FFFF 0000 0003 7", "FFFF 0001 0004 7"},
        {sel, "FFFF 0000 0003 7", "FFFF 0000 0004 7 deselected"},
        {idle, "FFFF 0000 0005 7", "FFFF 0000 0006 7"},
        {sel, "FFFF 0000 0005 7", "FFFF 0000 0006 7"},
        {sel, "FFFF 0003 0007 7", "message 7 rejected by the peer, reason 3"},
        {act, "FFFF 0101 0007 65", "close message 101 rejected by the peer, reason 1"},
        {idle, "FFFF 0000 0009 7", ""},
        {sel, "FFFF 0000 0009 7", "close"},
        // data
        {idle, "0005 8101 0000 7", "0005 0004 0007 7"},
        {sel, "0000 8101 0000 7", "deliver"},
        {sel, "1234 060C 0000 7", "deliver S6F12 came with device 4660, expected 0", 9},
        // what E37 does not know
        {sel, "0005 8101 0100 7", "0005 0102 0007 7"},
        {idle, "FFFF 0000 0501 7", "FFFF 0502 0007 7", 3},
        {sel, "FFFF 0000 0008 7", "FFFF 0801 0007 7"},
        {sel, "FFFF 0000 000A 7", "FFFF 0A01 0007 7"},
        {idle, "FFFF 0000 00FF 7", "FFFF FF01 0007 7", 5},
        // control messages with a body
        {idle, "FFFF 0000 0001 7", "close", 1},
        {sel, "FFFF 0000 0009 7", "close", 1},
    };
    for (const auto& row : rows) {
        Bench bench({.role = row.state >= act ? Role::active : Role::passive});
        EXPECT_EQ(bench.got(row.received, row.body), "") << "not connected";
        bench.connected(bench.now);
        if (row.state == sel || row.state == both) bench.got(select_req);
        const bool before = bench.state() == SessionState::selected;
        EXPECT_EQ(bench.got(row.received, row.body), row.result) << row.state << " " << row.received;
        const std::string result = row.result;
        const bool after = result.ends_with("deselected") ? false : before || result.ends_with("selected");
        EXPECT_EQ(bench.state() == SessionState::selected, after) << row.received;
    }
}

TEST(Session, DoesNothingWhenNotConnected) {
    Bench bench({.link_test = true});
    for (const bool forgotten : {false, true}) {
        EXPECT_EQ(bench.until_next(), -1);
        EXPECT_EQ(bench.send(1, 1, true), 0U);
        EXPECT_EQ(text_of(bench.request_separate()), "");
        EXPECT_FALSE(bench.disconnected());
        if (forgotten) continue;
        bench.select().send(1, 1, true);
        bench.request_linktest(bench.now);
        bench.inside_message(true, bench.now);
        bench.hold(true, bench.now);
        EXPECT_TRUE(bench.disconnected());
        EXPECT_EQ(bench.state(), SessionState::not_connected);
    }
    bench.connected(bench.now);
    EXPECT_EQ(bench.until_next(), 10000);
}

TEST(Session, ClosesWhenItsTimersRunOut) {
    Bench active({.role = Role::active});
    EXPECT_EQ(text_of(active.connected(active.now)), "FFFF 0000 0001 65");
    EXPECT_EQ(active.next(), "5000 close");  // T6

    Bench passive;
    passive.connected(passive.now);
    passive.pass(9999);
    EXPECT_EQ(passive.next(), "1 close");  // T7

    Bench deselected({.t0 = Milliseconds(9000), .link_test = true});
    deselected.select().got("FFFF 0000 0003 7");
    EXPECT_EQ(deselected.next(), "10000 close");  // T7 again, and no more link tests

    Bench broken_off;
    broken_off.select().inside_message(true, broken_off.now);
    broken_off.inside_message(false, broken_off.now);
    EXPECT_EQ(broken_off.next(), "never");
    broken_off.inside_message(true, broken_off.now);
    broken_off.pass(4000);
    broken_off.inside_message(true, broken_off.now);
    EXPECT_EQ(broken_off.next(), "5000 close");  // T8
}

TEST(Session, RepliesEndTheirTransactionsOnly) {
    Bench bench({.device_id = 5, .t3 = Milliseconds(1000)});
    bench.select();
    const auto first = bench.send_primary(6, 11, true, bench.now);
    EXPECT_EQ(to_hex({encode_header(*first, 3).data(), 14}), "00 00 00 0D 00 05 86 0B 00 00 00 00 00 65");
    bench.pass(100);
    EXPECT_EQ(bench.send(6, 11, false), 102U);
    for (const std::uint32_t id : {103U, 104U, 105U}) EXPECT_EQ(bench.send(1, 1, true), id);
    EXPECT_TRUE(bench.end_transaction(105));
    bench.got("0005 0102 0000 67");  // S1F2 for 103
    bench.got("0005 810D 0000 65");  // a primary of the peer with the number of ours
    EXPECT_EQ(bench.next(), "900 timeout 101");
    EXPECT_EQ(bench.next(), "100 timeout 104");
    EXPECT_EQ(bench.next(), "never");
    EXPECT_FALSE(bench.end_transaction(104));
    EXPECT_EQ(bench.got("0005 060C 0000 65"), "deliver");  // late reply
    EXPECT_EQ(bench.got("0007 060C 0000 65"), "deliver S6F12 came with device 7, expected 5");
    EXPECT_EQ(bench.got("0007 060C 0000 65"), "deliver");
    EXPECT_EQ(bench.got("0008 060C 0000 65"), "deliver S6F12 came with device 8, expected 5");
}

TEST(Session, IdsWrapTo101) {
    Bench bench({}, 0xFFFFFFFE);
    bench.select();
    for (const std::uint32_t id : {0xFFFFFFFEU, 0xFFFFFFFFU, 101U}) EXPECT_EQ(bench.send(1, 1, true), id);
    EXPECT_EQ(Bench({}, 0).select().send(1, 1, false), 101U);
}

TEST(Session, TestsTheLink) {
    Bench bench({.link_test = true});
    bench.select();
    EXPECT_EQ(bench.next(), "60000 FFFF 0000 0005 65");
    EXPECT_EQ(bench.until_next(), 5000);
    EXPECT_EQ(bench.got("FFFF 0000 0006 65"), "");
    EXPECT_EQ(bench.next(), "60000 FFFF 0000 0005 66");
    EXPECT_EQ(bench.next(), "5000 close");
}

TEST(Session, HoldsItsTimersWhileNothingIsRead) {
    Bench bench({.t3 = Milliseconds(20000)});
    bench.select().inside_message(true, bench.now);
    bench.request_linktest(bench.now);
    bench.send(1, 1, true);
    bench.hold(true, bench.now);
    EXPECT_EQ(bench.until_next(), 20000);
    bench.pass(15000);
    bench.hold(false, bench.now);
    EXPECT_EQ(bench.until_next(), 5000);

    Bench tested({.link_test = true});
    tested.select().hold(true, tested.now);
    tested.pass(15000);
    tested.hold(false, tested.now);
    EXPECT_EQ(tested.until_next(), 60000);
}

TEST(Session, UserRequests) {
    Bench bench;
    bench.connected(bench.now);
    EXPECT_EQ(text_of(bench.request_deselect(bench.now)), "");
    EXPECT_EQ(text_of(bench.request_separate()), "close");
    bench.got(select_req);
    EXPECT_EQ(text_of(bench.request_linktest(bench.now)), "FFFF 0000 0005 65");
    EXPECT_EQ(text_of(bench.request_linktest(bench.now)), "");  // one at a time
    EXPECT_EQ(text_of(bench.request_deselect(bench.now)), "FFFF 0000 0003 66");
    EXPECT_EQ(bench.got("FFFF 0002 0004 66"), "deselect refused with status 2");
    EXPECT_EQ(text_of(bench.request_deselect(bench.now)), "FFFF 0000 0003 67");
    EXPECT_EQ(bench.got("FFFF 0000 0004 67"), "deselected");
    bench.got(select_req);
    EXPECT_EQ(text_of(bench.request_separate()), "FFFF 0000 0009 68 close");
}

}  // namespace
}  // namespace hsms
