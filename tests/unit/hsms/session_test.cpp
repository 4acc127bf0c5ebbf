#include "hsms/core/session.h"

#include <gtest/gtest.h>

#include "bytes.h"

namespace hsms {
namespace {

/// A session on a fake clock, spoken to in bytes: 10 header bytes in, header bytes out.
class Bench {
  public:
    explicit Bench(SessionSettings settings = {}) : session(settings) {}

    Actions got(const char* header, std::size_t body_size = 0) {
        return session.received(decode_header(bytes(header).data()), body_size, now);
    }
    /// Moves to the next deadline and runs it.
    Actions next_timer() {
        EXPECT_TRUE(session.next_deadline().has_value());
        now = session.next_deadline().value_or(now);
        return session.timer(now);
    }
    Milliseconds until_next() const {
        return session.next_deadline()
                   ? std::chrono::duration_cast<Milliseconds>(*session.next_deadline() - now)
                   : Milliseconds(-1);
    }
    void select() {
        session.connected(now);
        if (session.state() != SessionState::selected) got("FF FF 00 00 00 01 00 00 00 01");
    }

    Time now{};
    Session session;
};

std::string sent(const Actions& actions) {
    std::string text;
    for (const Header& header : actions.send) {
        const HeaderBytes encoded = encode_header(header, 0);
        text += (text.empty() ? "" : " | ") + to_hex({encoded.data() + 4, header_size});
    }
    return text;
}

/// Everything but what is sent: "selected", "deselected", "deliver", "close", "timeout 101".
std::string done(const Actions& actions) {
    std::string text;
    const auto add = [&](const std::string& word) { text += (text.empty() ? "" : " ") + word; };
    if (actions.selected) add("selected");
    if (actions.deselected) add("deselected");
    if (actions.deliver) add("deliver");
    for (const std::uint32_t id : actions.reply_timeouts) add("timeout " + std::to_string(id));
    if (!actions.close.empty()) add("close");
    return text;
}

enum class In { not_selected, selected, active_selecting };

struct Row {
    In state;
    const char* received;
    std::size_t body;
    const char* sent;
    const char* done;
    SessionState after;
};

TEST(Session, AnswersEveryMessageInEveryState) {
    constexpr auto none = SessionState::not_selected;
    constexpr auto sel = SessionState::selected;
    const Row rows[] = {
        // select
        {In::not_selected, "FF FF 00 00 00 01 00 00 00 07", 0, "FF FF 00 00 00 02 00 00 00 07", "selected",
         sel},
        {In::not_selected, "00 05 00 00 00 01 00 00 00 07", 0, "00 05 00 00 00 02 00 00 00 07", "selected",
         sel},
        {In::selected, "FF FF 00 00 00 01 00 00 00 07", 0, "FF FF 00 01 00 02 00 00 00 07", "", sel},
        {In::active_selecting, "FF FF 00 00 00 02 00 00 00 65", 0, "", "selected", sel},
        {In::active_selecting, "FF FF 00 01 00 02 00 00 00 65", 0, "", "close", none},
        {In::active_selecting, "FF FF 00 00 00 01 00 00 00 09", 0, "FF FF 00 00 00 02 00 00 00 09",
         "selected", sel},
        // responses nobody waits for
        {In::active_selecting, "FF FF 00 00 00 02 00 00 00 66", 0, "FF FF 02 03 00 07 00 00 00 66", "", none},
        {In::active_selecting, "FF FF 00 00 00 06 00 00 00 65", 0, "FF FF 06 03 00 07 00 00 00 65", "", none},
        {In::not_selected, "FF FF 00 00 00 02 00 00 00 07", 0, "FF FF 02 03 00 07 00 00 00 07", "", none},
        {In::selected, "FF FF 00 00 00 04 00 00 00 07", 0, "FF FF 04 03 00 07 00 00 00 07", "", sel},
        {In::selected, "FF FF 00 00 00 06 00 00 00 07", 0, "FF FF 06 03 00 07 00 00 00 07", "", sel},
        // deselect
        {In::not_selected, "FF FF 00 00 00 03 00 00 00 07", 0, "FF FF 00 01 00 04 00 00 00 07", "", none},
        {In::selected, "FF FF 00 00 00 03 00 00 00 07", 0, "FF FF 00 00 00 04 00 00 00 07", "deselected",
         none},
        // linktest
        {In::not_selected, "FF FF 00 00 00 05 00 00 00 07", 0, "FF FF 00 00 00 06 00 00 00 07", "", none},
        {In::selected, "FF FF 00 00 00 05 00 00 00 07", 0, "FF FF 00 00 00 06 00 00 00 07", "", sel},
        // reject, separate
        {In::selected, "FF FF 00 03 00 07 00 00 00 07", 0, "", "", sel},
        {In::active_selecting, "FF FF 01 01 00 07 00 00 00 65", 0, "", "close", none},
        {In::not_selected, "FF FF 00 00 00 09 00 00 00 07", 0, "", "", none},
        {In::selected, "FF FF 00 00 00 09 00 00 00 07", 0, "", "close", sel},
        // data
        {In::not_selected, "00 05 81 01 00 00 00 00 00 07", 0, "00 05 00 04 00 07 00 00 00 07", "", none},
        {In::selected, "00 05 81 01 00 00 00 00 00 07", 0, "", "deliver", sel},
        {In::selected, "12 34 06 0C 00 00 00 00 00 07", 9, "", "deliver", sel},
        // what E37 does not know
        {In::selected, "00 05 81 01 01 00 00 00 00 07", 0, "00 05 01 02 00 07 00 00 00 07", "", sel},
        {In::not_selected, "FF FF 00 00 05 01 00 00 00 07", 3, "FF FF 05 02 00 07 00 00 00 07", "", none},
        {In::selected, "FF FF 00 00 00 08 00 00 00 07", 0, "FF FF 08 01 00 07 00 00 00 07", "", sel},
        {In::selected, "FF FF 00 00 00 0A 00 00 00 07", 0, "FF FF 0A 01 00 07 00 00 00 07", "", sel},
        {In::not_selected, "FF FF 00 00 00 FF 00 00 00 07", 5, "FF FF FF 01 00 07 00 00 00 07", "", none},
        // control messages with a body
        {In::not_selected, "FF FF 00 00 00 01 00 00 00 07", 1, "", "close", none},
        {In::selected, "FF FF 00 00 00 05 00 00 00 07", 4, "", "close", sel},
        {In::selected, "FF FF 00 00 00 09 00 00 00 07", 1, "", "close", sel},
    };
    for (const Row& row : rows) {
        SessionSettings settings;
        if (row.state == In::active_selecting) settings.role = Role::active;
        Bench bench(settings);
        if (row.state == In::selected)
            bench.select();
        else
            bench.session.connected(bench.now);
        const Actions actions = bench.got(row.received, row.body);
        EXPECT_EQ(sent(actions), row.sent) << row.received;
        EXPECT_EQ(done(actions), row.done) << row.received;
        EXPECT_EQ(bench.session.state(), row.after) << row.received;
    }
}

TEST(Session, DoesNothingWhenNotConnected) {
    Bench bench;
    for (const char* message : {"FF FF 00 00 00 01 00 00 00 07", "00 05 81 01 00 00 00 00 00 07"}) {
        const Actions actions = bench.got(message);
        EXPECT_EQ(sent(actions) + done(actions), "");
    }
    EXPECT_FALSE(bench.session.next_deadline());
    EXPECT_FALSE(bench.session.send_primary(1, 1, true, bench.now));
    EXPECT_EQ(done(bench.session.request_separate()), "");
    EXPECT_FALSE(bench.session.disconnected());
}

TEST(Session, ActiveSelects) {
    Bench bench({.role = Role::active});
    EXPECT_EQ(sent(bench.session.connected(bench.now)), "FF FF 00 00 00 01 00 00 00 65");
    EXPECT_EQ(bench.until_next(), Milliseconds(5000));
    EXPECT_EQ(done(bench.next_timer()), "close");  // T6
}

TEST(Session, ClosesWhenNotSelectedWithinT7) {
    Bench bench;
    bench.session.connected(bench.now);
    EXPECT_EQ(bench.until_next(), Milliseconds(10000));
    bench.now += Milliseconds(9999);
    EXPECT_EQ(done(bench.session.timer(bench.now)), "");
    EXPECT_EQ(done(bench.next_timer()), "close");

    Bench deselected;
    deselected.select();
    EXPECT_FALSE(deselected.session.next_deadline());
    deselected.got("FF FF 00 00 00 03 00 00 00 07");
    EXPECT_EQ(deselected.until_next(), Milliseconds(10000));
    EXPECT_EQ(done(deselected.next_timer()), "close");
}

TEST(Session, ClosesOnAGapInsideAMessage) {
    Bench bench;
    bench.select();
    bench.session.inside_message(true, bench.now);
    bench.now += Milliseconds(4000);
    bench.session.inside_message(true, bench.now);
    EXPECT_EQ(bench.until_next(), Milliseconds(5000));
    bench.session.inside_message(false, bench.now);
    EXPECT_FALSE(bench.session.next_deadline());
    bench.session.inside_message(true, bench.now);
    EXPECT_EQ(done(bench.next_timer()), "close");
}

TEST(Session, RepliesEndTheirTransactionsOnly) {
    Bench bench({.device_id = 5, .t3 = Milliseconds(1000)});
    bench.select();
    const auto first = bench.session.send_primary(6, 11, true, bench.now);
    EXPECT_EQ(to_hex({encode_header(*first, 3).data(), 14}), "00 00 00 0D 00 05 86 0B 00 00 00 00 00 65");
    bench.now += Milliseconds(100);
    EXPECT_EQ(bench.session.send_primary(6, 11, false, bench.now)->system, 102U);
    EXPECT_EQ(bench.session.send_primary(1, 1, true, bench.now)->system, 103U);
    EXPECT_EQ(bench.session.send_primary(2, 17, true, bench.now)->system, 104U);
    EXPECT_EQ(bench.until_next(), Milliseconds(900));
    bench.got("00 05 01 02 00 00 00 00 00 67");  // S1F2 for 103
    bench.got("00 05 81 0D 00 00 00 00 00 65");  // a primary of the peer with the number of ours
    EXPECT_EQ(done(bench.next_timer()), "timeout 101");
    EXPECT_EQ(done(bench.next_timer()), "timeout 104");
    EXPECT_FALSE(bench.session.next_deadline());
    EXPECT_EQ(bench.session.state(), SessionState::selected);
    EXPECT_EQ(done(bench.got("00 05 06 0C 00 00 00 00 00 65")), "deliver");  // late reply
}

TEST(Session, IdsWrapAndSkipOpenOnes) {
    Session session(SessionSettings{}, 0xFFFFFFFE);
    const Time now{};
    session.connected(now);
    session.received(decode_header(bytes("FF FF 00 00 00 01 00 00 00 07").data()), 0, now);
    EXPECT_EQ(session.send_primary(1, 1, false, now)->system, 0xFFFFFFFEU);
    EXPECT_EQ(session.send_primary(1, 1, true, now)->system, 0xFFFFFFFFU);
    EXPECT_EQ(session.send_primary(1, 1, true, now)->system, 101U);

    Session other(SessionSettings{}, 0);
    other.connected(now);
    other.received(decode_header(bytes("FF FF 00 00 00 01 00 00 00 07").data()), 0, now);
    EXPECT_EQ(other.send_primary(1, 1, false, now)->system, 101U);
}

TEST(Session, TestsTheLink) {
    Bench bench({.t0 = Milliseconds(60000), .link_test = true});
    bench.select();
    EXPECT_EQ(bench.until_next(), Milliseconds(60000));
    EXPECT_EQ(sent(bench.next_timer()), "FF FF 00 00 00 05 00 00 00 65");
    EXPECT_EQ(bench.until_next(), Milliseconds(5000));
    EXPECT_EQ(sent(bench.got("FF FF 00 00 00 06 00 00 00 65")), "");
    EXPECT_EQ(bench.until_next(), Milliseconds(60000));
    EXPECT_EQ(sent(bench.next_timer()), "FF FF 00 00 00 05 00 00 00 66");
    EXPECT_EQ(done(bench.next_timer()), "close");
}

TEST(Session, HoldsItsTimersWhileNothingIsRead) {
    Bench bench({.t3 = Milliseconds(20000)});
    bench.select();
    bench.session.inside_message(true, bench.now);
    bench.session.request_linktest(bench.now);
    bench.session.send_primary(1, 1, true, bench.now);
    bench.session.hold(true, bench.now);
    EXPECT_EQ(bench.until_next(), Milliseconds(20000));
    bench.now += Milliseconds(15000);
    EXPECT_EQ(done(bench.session.timer(bench.now)), "");
    bench.session.hold(false, bench.now);
    EXPECT_EQ(bench.until_next(), Milliseconds(5000));
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
    EXPECT_EQ(done(bench.got("FF FF 00 02 00 04 00 00 00 66")), "");  // refused
    EXPECT_EQ(sent(bench.session.request_deselect(bench.now)), "FF FF 00 00 00 03 00 00 00 67");
    EXPECT_EQ(done(bench.got("FF FF 00 00 00 04 00 00 00 67")), "deselected");
    bench.got("FF FF 00 00 00 01 00 00 00 02");
    const Actions separate = bench.session.request_separate();
    EXPECT_EQ(sent(separate), "FF FF 00 00 00 09 00 00 00 68");
    EXPECT_EQ(done(separate), "close");
}

TEST(Session, ForgetsEverythingAtTheEnd) {
    Bench bench({.link_test = true});
    bench.select();
    bench.session.send_primary(1, 1, true, bench.now);
    bench.session.request_linktest(bench.now);
    bench.session.inside_message(true, bench.now);
    EXPECT_TRUE(bench.session.disconnected());
    EXPECT_FALSE(bench.session.next_deadline());
    EXPECT_EQ(bench.session.state(), SessionState::not_connected);
}

}  // namespace
}  // namespace hsms
