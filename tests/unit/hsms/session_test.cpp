#include "hsms/core/session.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace hsms {
namespace {

std::string sent(const Actions& actions) {
    std::string text;
    for (const Header& header : actions.send) {
        const HeaderBytes encoded = encode_header(header, 0);
        text += (text.empty() ? "" : " | ") + to_hex({encoded.data() + 4, header_size});
    }
    return text;
}

/// Everything but what is sent: "selected", "deselected", "deliver", "close", "timeout 101"; notes in
/// figures' text.
std::string done(const Actions& actions) {
    std::string text;
    if (actions.selected) text += " selected";
    if (actions.deselected) text += " deselected";
    if (actions.deliver) text += " deliver";
    for (const std::uint32_t id : actions.reply_timeouts) text += " timeout " + std::to_string(id);
    if (!actions.close.empty()) text += " close";
    if (!actions.note.empty()) text += " " + actions.note;
    return text.empty() ? text : text.substr(1);
}

/// A session on a fake clock, spoken to in bytes: 10 header bytes in; what it sends, or what else it does,
/// out.
class Bench {
  public:
    explicit Bench(SessionSettings settings = {}, std::uint32_t first_id = 101)
        : session(settings, first_id) {}

    Actions got(const char* header, std::size_t body_size = 0) {
        return session.received(decode_header(bytes(header).data()), body_size, now);
    }
    /// Moves to the next deadline and runs it: after how many milliseconds which actions, "never" without
    /// one.
    std::string next() {
        if (!session.next_deadline()) return "never";
        const std::string after = std::to_string(until_next()) + " ";
        now = *session.next_deadline();
        const Actions actions = session.timer(now);
        return after + sent(actions) + done(actions);
    }
    long until_next() const {
        return session.next_deadline() ? (*session.next_deadline() - now) / Milliseconds(1) : -1;
    }
    Bench& select() {
        session.connected(now);
        got("FF FF 00 00 00 01 00 00 00 01");
        return *this;
    }
    std::uint32_t send(int stream, int function, bool wbit) {
        const auto header = session.send_primary(static_cast<std::uint8_t>(stream),
                                                 static_cast<std::uint8_t>(function), wbit, now);
        return header ? header->system : 0;
    }

    Time now{};
    Session session;
};

TEST(Session, AnswersEveryMessageInEveryState) {
    enum { idle, sel, act };  // passive and not selected, selected, active with its Select.req 0x65 sent
    const struct {
        int state;
        const char* received;
        std::size_t body;
        const char *sent, *done;
        int after;
    } rows[] = {
        // select
        {idle, "FF FF 00 00 00 01 00 00 00 07", 0, "FF FF 00 00 00 02 00 00 00 07", "selected", sel},
        {idle, "00 05 00 00 00 01 00 00 00 07", 0, "00 05 00 00 00 02 00 00 00 07", "selected", sel},
        {sel, "FF FF 00 00 00 01 00 00 00 07", 0, "FF FF 00 01 00 02 00 00 00 07", "", sel},
        {act, "FF FF 00 00 00 02 00 00 00 65", 0, "", "selected", sel},
        {act, "FF FF 00 01 00 02 00 00 00 65", 0, "", "close", idle},
        {act, "FF FF 00 00 00 01 00 00 00 09", 0, "FF FF 00 00 00 02 00 00 00 09", "selected", sel},
        // unexpected responses
        {act, "FF FF 00 00 00 02 00 00 00 66", 0, "FF FF 02 03 00 07 00 00 00 66", "", idle},
        {act, "FF FF 00 00 00 06 00 00 00 65", 0, "FF FF 06 03 00 07 00 00 00 65", "", idle},
        {idle, "FF FF 00 00 00 02 00 00 00 07", 0, "FF FF 02 03 00 07 00 00 00 07", "", idle},
        {sel, "FF FF 00 00 00 04 00 00 00 07", 0, "FF FF 04 03 00 07 00 00 00 07", "", sel},
        {sel, "FF FF 00 00 00 06 00 00 00 07", 0, "FF FF 06 03 00 07 00 00 00 07", "", sel},
        // deselect
        {idle, "FF FF 00 00 00 03 00 00 00 07", 0, "FF FF 00 01 00 04 00 00 00 07", "", idle},
        {sel, "FF FF 00 00 00 03 00 00 00 07", 0, "FF FF 00 00 00 04 00 00 00 07", "deselected", idle},
        // linktest
        {idle, "FF FF 00 00 00 05 00 00 00 07", 0, "FF FF 00 00 00 06 00 00 00 07", "", idle},
        {sel, "FF FF 00 00 00 05 00 00 00 07", 0, "FF FF 00 00 00 06 00 00 00 07", "", sel},
        // reject, separate
        {sel, "FF FF 00 03 00 07 00 00 00 07", 0, "", "message 7 rejected by the peer, reason 3", sel},
        {act, "FF FF 01 01 00 07 00 00 00 65", 0, "", "close message 101 rejected by the peer, reason 1",
         idle},
        {idle, "FF FF 00 00 00 09 00 00 00 07", 0, "", "", idle},
        {sel, "FF FF 00 00 00 09 00 00 00 07", 0, "", "close", sel},
        // data
        {idle, "00 05 81 01 00 00 00 00 00 07", 0, "00 05 00 04 00 07 00 00 00 07", "", idle},
        {sel, "00 00 81 01 00 00 00 00 00 07", 0, "", "deliver", sel},
        {sel, "12 34 06 0C 00 00 00 00 00 07", 9, "", "deliver S6F12 came with device 4660, expected 0", sel},
        // what E37 does not know
        {sel, "00 05 81 01 01 00 00 00 00 07", 0, "00 05 01 02 00 07 00 00 00 07", "", sel},
        {idle, "FF FF 00 00 05 01 00 00 00 07", 3, "FF FF 05 02 00 07 00 00 00 07", "", idle},
        {sel, "FF FF 00 00 00 08 00 00 00 07", 0, "FF FF 08 01 00 07 00 00 00 07", "", sel},
        {sel, "FF FF 00 00 00 0A 00 00 00 07", 0, "FF FF 0A 01 00 07 00 00 00 07", "", sel},
        {idle, "FF FF 00 00 00 FF 00 00 00 07", 5, "FF FF FF 01 00 07 00 00 00 07", "", idle},
        // control messages with a body
        {idle, "FF FF 00 00 00 01 00 00 00 07", 1, "", "close", idle},
        {sel, "FF FF 00 00 00 05 00 00 00 07", 4, "", "close", sel},
        {sel, "FF FF 00 00 00 09 00 00 00 07", 1, "", "close", sel},
    };
    for (const auto& row : rows) {
        Bench bench({.role = row.state == act ? Role::active : Role::passive});
        EXPECT_EQ(sent(bench.got(row.received, row.body)), "") << "not connected";
        bench.session.connected(bench.now);
        if (row.state == sel) bench.select();
        const Actions actions = bench.got(row.received, row.body);
        EXPECT_EQ(sent(actions), row.sent) << row.received;
        EXPECT_EQ(done(actions), row.done) << row.received;
        EXPECT_EQ(bench.session.state() == SessionState::selected, row.after == sel) << row.received;
    }
}

TEST(Session, DoesNothingWhenNotConnected) {
    Bench bench({.link_test = true});
    for (const bool forgotten : {false, true}) {
        EXPECT_EQ(bench.until_next(), -1);
        EXPECT_EQ(bench.send(1, 1, true), 0U);
        EXPECT_EQ(done(bench.session.request_separate()), "");
        EXPECT_FALSE(bench.session.disconnected());
        if (forgotten) continue;
        bench.select().send(1, 1, true);
        bench.session.request_linktest(bench.now);
        bench.session.inside_message(true, bench.now);
        EXPECT_TRUE(bench.session.disconnected());
        EXPECT_EQ(bench.session.state(), SessionState::not_connected);
    }
}

TEST(Session, ClosesWhenItsTimersRunOut) {
    Bench active({.role = Role::active});
    EXPECT_EQ(sent(active.session.connected(active.now)), "FF FF 00 00 00 01 00 00 00 65");
    EXPECT_EQ(active.next(), "5000 close");  // T6

    Bench passive;
    passive.session.connected(passive.now);
    passive.now += Milliseconds(9999);
    EXPECT_EQ(done(passive.session.timer(passive.now)), "");
    EXPECT_EQ(passive.next(), "1 close");  // T7

    Bench deselected({.t0 = Milliseconds(9000), .link_test = true});
    deselected.select().got("FF FF 00 00 00 03 00 00 00 07");
    EXPECT_EQ(deselected.next(), "10000 close");  // T7 again, and no more link tests

    Bench broken_off;
    broken_off.select().session.inside_message(true, broken_off.now);
    broken_off.session.inside_message(false, broken_off.now);
    EXPECT_EQ(broken_off.next(), "never");
    broken_off.session.inside_message(true, broken_off.now);
    broken_off.now += Milliseconds(4000);
    broken_off.session.inside_message(true, broken_off.now);
    EXPECT_EQ(broken_off.next(), "5000 close");  // T8
}

TEST(Session, RepliesEndTheirTransactionsOnly) {
    Bench bench({.device_id = 5, .t3 = Milliseconds(1000)});
    bench.select();
    const auto first = bench.session.send_primary(6, 11, true, bench.now);
    EXPECT_EQ(to_hex({encode_header(*first, 3).data(), 14}), "00 00 00 0D 00 05 86 0B 00 00 00 00 00 65");
    bench.now += Milliseconds(100);
    EXPECT_EQ(bench.send(6, 11, false), 102U);
    EXPECT_EQ(bench.send(1, 1, true), 103U);
    EXPECT_EQ(bench.send(2, 17, true), 104U);
    EXPECT_EQ(bench.send(1, 13, true), 105U);
    EXPECT_TRUE(bench.session.end_transaction(105));
    bench.got("00 05 01 02 00 00 00 00 00 67");  // S1F2 for 103
    bench.got("00 05 81 0D 00 00 00 00 00 65");  // a primary of the peer with the number of ours
    EXPECT_EQ(bench.next(), "900 timeout 101");
    EXPECT_EQ(bench.next(), "100 timeout 104");
    EXPECT_EQ(bench.until_next(), -1);
    EXPECT_FALSE(bench.session.end_transaction(104));
    EXPECT_EQ(done(bench.got("00 05 06 0C 00 00 00 00 00 65")), "deliver");  // late reply
    for (const auto& [device, note] : {std::pair("07", " S6F12 came with device 7, expected 5"),
                                       {"07", ""},
                                       {"08", " S6F12 came with device 8, expected 5"}})
        EXPECT_EQ(done(bench.got((std::string("00 ") + device + " 06 0C 00 00 00 00 00 65").c_str())),
                  std::string("deliver") + note);
}

TEST(Session, IdsWrapTo101) {
    Bench bench({}, 0xFFFFFFFE);
    bench.select();
    EXPECT_EQ(bench.send(1, 1, false), 0xFFFFFFFEU);
    EXPECT_EQ(bench.send(1, 1, true), 0xFFFFFFFFU);
    EXPECT_EQ(bench.send(1, 1, true), 101U);
    EXPECT_EQ(Bench({}, 0).select().send(1, 1, false), 101U);
}

TEST(Session, TestsTheLink) {
    Bench bench({.t0 = Milliseconds(60000), .link_test = true});
    bench.select();
    EXPECT_EQ(bench.next(), "60000 FF FF 00 00 00 05 00 00 00 65");
    EXPECT_EQ(bench.until_next(), 5000);
    EXPECT_EQ(sent(bench.got("FF FF 00 00 00 06 00 00 00 65")), "");
    EXPECT_EQ(bench.next(), "60000 FF FF 00 00 00 05 00 00 00 66");
    EXPECT_EQ(bench.next(), "5000 close");
}

TEST(Session, HoldsItsTimersWhileNothingIsRead) {
    Bench bench({.t3 = Milliseconds(20000)});
    bench.select().session.inside_message(true, bench.now);
    bench.session.request_linktest(bench.now);
    bench.send(1, 1, true);
    bench.session.hold(true, bench.now);
    EXPECT_EQ(bench.until_next(), 20000);
    bench.now += Milliseconds(15000);
    EXPECT_EQ(done(bench.session.timer(bench.now)), "");
    bench.session.hold(false, bench.now);
    EXPECT_EQ(bench.until_next(), 5000);
}

TEST(Session, UserRequests) {
    Bench bench;
    bench.session.connected(bench.now);
    EXPECT_EQ(sent(bench.session.request_deselect(bench.now)), "");
    EXPECT_EQ(done(bench.session.request_separate()), "close");
    bench.got("FF FF 00 00 00 01 00 00 00 01");
    EXPECT_EQ(sent(bench.session.request_linktest(bench.now)), "FF FF 00 00 00 05 00 00 00 65");
    EXPECT_EQ(sent(bench.session.request_linktest(bench.now)), "");  // one at a time
    EXPECT_EQ(sent(bench.session.request_deselect(bench.now)), "FF FF 00 00 00 03 00 00 00 66");
    EXPECT_EQ(done(bench.got("FF FF 00 02 00 04 00 00 00 66")), "deselect refused with status 2");
    EXPECT_EQ(sent(bench.session.request_deselect(bench.now)), "FF FF 00 00 00 03 00 00 00 67");
    EXPECT_EQ(done(bench.got("FF FF 00 00 00 04 00 00 00 67")), "deselected");
    bench.got("FF FF 00 00 00 01 00 00 00 02");
    const Actions separate = bench.session.request_separate();
    EXPECT_EQ(sent(separate) + " " + done(separate), "FF FF 00 00 00 09 00 00 00 68 close");
}

}  // namespace
}  // namespace hsms
