// Framer and session together: what a peer sends, cut anywhere, between user calls and time-outs on a clock
// of our own.
//
// The input is a program. Its first byte holds the settings; then each byte is an instruction:
//   00 to 7F   the next 1 to 128 bytes arrive from the peer in one piece
//   80 to FF   what `run` below says; some take one more byte
#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "hsms/core/framer.h"
#include "hsms/core/session.h"

namespace {

using namespace hsms;

constexpr std::size_t max_length = 4096;

SessionSettings settings_of(std::uint8_t bits) {
    SessionSettings settings;
    settings.role = (bits & 1U) != 0 ? hsms::Role::active : hsms::Role::passive;
    settings.link_test = (bits & 2U) != 0;
    settings.device_id = static_cast<std::uint16_t>(bits >> 2U);
    return settings;
}

/// One connection after the other on one session, with a model of the transactions that are open.
class Runner {
  public:
    Runner(const SessionSettings& settings, std::string_view program)
        : session_(settings), program_(program) {}

    void run() {
        connect();
        while (!program_.empty()) {
            const std::uint8_t instruction = take();
            if (instruction < 0x80)
                arrive(take(std::size_t{instruction} + 1));
            else
                run(instruction);
            require(selected_ == (session_.state() == SessionState::selected), "the user knows the state");
        }
        check_split();
    }

  private:
    std::uint8_t take() {
        if (program_.empty()) return 0;
        const auto byte = static_cast<std::uint8_t>(program_.front());
        program_.remove_prefix(1);
        return byte;
    }
    std::string_view take(std::size_t size) {
        const std::string_view taken = program_.substr(0, size);
        program_.remove_prefix(taken.size());
        return taken;
    }

    void run(std::uint8_t instruction) {
        switch (instruction & 7U) {
            case 0: pass(Milliseconds(take() * 100)); break;
            case 1: pass_to_deadline(); break;
            case 2: send_primary(take()); break;
            case 3: send_reply(take()); break;
            case 4: perform(session_.request_deselect(now_)); break;
            case 5: perform(session_.request_linktest(now_)); break;
            case 6: perform(session_.request_separate()); break;
            default:
                held_ = !held_;
                session_.hold(held_, now_);
                break;
        }
    }

    void connect() {
        framer_ = Framer(max_length);
        whole_.clear();
        messages_.clear();
        held_ = false;
        perform(session_.connected(now_));
    }

    void close() {
        check_split();
        session_.disconnected();
        open_.clear();
        selected_ = false;
        require(session_.state() == SessionState::not_connected, "a closed session is not connected");
        require(!session_.next_deadline(), "a closed session waits for nothing");
        require(!session_.send_primary(1, 1, true, now_), "nothing is sent without a connection");
        connect();
    }

    /// The messages, laid end to end again, are what came, however it was cut.
    void check_split() {
        std::string laid;
        for (const Message& message : messages_) {
            const HeaderBytes head = encode_header(message.header, message.body.size());
            laid.append(head.data(), head.size()).append(message.body);
        }
        require(whole_.starts_with(laid), "the messages are the stream");
    }

    void arrive(std::string_view bytes) {
        whole_.append(bytes);
        for (;;) {
            Message message;
            const Framer::Result result = framer_.next(bytes, message);
            if (result == Framer::Result::bad_length) return close();
            if (result == Framer::Result::need_more) break;
            messages_.push_back(message);
            const bool was_selected = session_.state() == SessionState::selected;
            const Actions actions = session_.received(message.header, message.body.size(), now_);
            require(!actions.deliver || was_selected, "only a selected session delivers");
            if (actions.deliver && message.header.function() % 2 == 0) open_.erase(message.header.system);
            if (perform(actions)) return;
        }
        require(bytes.empty(), "a framer that wants more has taken everything");
        session_.inside_message(framer_.inside_message(), now_);
    }

    void pass(Milliseconds time) {
        now_ += time;
        perform(session_.timer(now_));
    }

    void pass_to_deadline() {
        const auto deadline = session_.next_deadline();
        if (!deadline) return;
        now_ = std::max(now_, *deadline);
        const bool closed = perform(session_.timer(now_));
        const auto next = session_.next_deadline();
        require(closed || !next || *next > now_, "a deadline that was handled does not come back");
    }

    void send_primary(std::uint8_t bits) {
        const bool wbit = (bits & 1U) != 0;
        const auto header = session_.send_primary(1, 3, wbit, now_);
        require(header.has_value() == (session_.state() == SessionState::selected),
                "a selected session sends, and no other");
        if (!header) return;
        require(header->wbit() == wbit && header->system >= first_message_id, "the header is right");
        require(!wbit || open_.insert(header->system).second, "no two open primaries have one id");
    }

    void send_reply(std::uint8_t system) {
        const auto header = session_.send_reply(1, 4, system);
        require(header.has_value() == (session_.state() == SessionState::selected), "the same for replies");
    }

    /// True when the connection was closed, and the next one made.
    bool perform(const Actions& actions) {
        for (const Header& header : actions.send) {
            require(header.ptype == 0, "what the session sends is SECS-II or control");
            const HeaderBytes bytes = encode_header(header, 0);
            require(decode_header(bytes.data() + length_size) == header, "headers go through");
        }
        for (const std::uint32_t id : actions.reply_timeouts)
            require(open_.erase(id) == 1, "only an open primary runs out, and once");
        if (actions.selected || actions.deselected) {
            require(actions.selected != selected_, "select and deselect take turns");
            selected_ = actions.selected;
        }
        if (actions.close.empty()) return false;
        close();
        return true;
    }

    Session session_;
    Framer framer_{max_length};
    std::string_view program_;
    Time now_{};
    std::string whole_;  // of this connection's stream
    std::vector<Message> messages_;
    std::set<std::uint32_t> open_;
    bool selected_ = false;
    bool held_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view program(reinterpret_cast<const char*>(data) + 1, size - 1);
    Runner(settings_of(data[0]), program).run();
    return 0;
}
