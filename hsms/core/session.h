// The HSMS-SS session (SEMI E37, E37.1) as a state machine: events in, actions out.
//
//                      connected                    select accepted
//   NOT CONNECTED ------------------> NOT SELECTED -----------------> SELECTED
//         ^                              |   ^                          |   |
//         |   T6, T7, T8, disconnected   |   |    deselect accepted     |   |
//         +------------------------------+   +--------------------------+   |
//         +-----------------------------------------------------------------+
//                        T6, T8, Separate.req, disconnected
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "hsms/core/header.h"

namespace hsms {

using Time = std::chrono::steady_clock::time_point;
using Milliseconds = std::chrono::milliseconds;

inline constexpr std::uint32_t first_message_id = 101;

enum class Role : std::uint8_t { passive, active };
enum class SessionState : std::uint8_t { not_connected, not_selected, selected };

/// Times are above 0.
struct SessionSettings {
    Role role = Role::passive;
    std::uint16_t device_id = 0;
    Milliseconds t0{60000};  ///< linktest period
    Milliseconds t3{45000};  ///< reply time-out
    Milliseconds t6{5000};   ///< control transaction time-out
    Milliseconds t7{10000};  ///< longest time connected but not selected
    Milliseconds t8{5000};   ///< longest gap inside one message
    bool link_test = false;
};

/// What the caller has to do after an event, in this order: send, call back, close.
struct Actions {
    std::vector<Header> send;  ///< control messages (without body)
    bool selected = false;
    bool deselected = false;
    bool deliver = false;  ///< the data message that was the event goes to the user
    std::vector<std::uint32_t> reply_timeouts;
    std::string close;  ///< not empty: close the connection, for this reason
    std::string note;   ///< not empty: a line for the log
};

/// One session: the caller reports what happened and when, and carries out the Actions. Pure: no clock, no
/// sockets, no locks (one thread at a time).
class Session {
  public:
    explicit Session(const SessionSettings& settings, std::uint32_t first_id = first_message_id);

    SessionState state() const { return state_; }
    /// The id the next transaction gets, unless it is still open.
    std::uint32_t next_id() const { return next_id_; }

    Actions connected(Time now);
    /// Forgets every open transaction; says whether there was a connection.
    bool disconnected();
    Actions received(const Header& header, std::size_t body_size, Time now);
    /// After each read: whether the stream is inside a message (T8 runs).
    void inside_message(bool inside, Time now);
    /// While held the caller reads nothing, so none of its timers but T3 runs out.
    void hold(bool held, Time now);
    Actions timer(Time now);
    /// The earliest time at which timer() has something to do.
    std::optional<Time> next_deadline() const;

    /// The header of a primary to send now; none when not selected. With W-bit, T3 runs.
    std::optional<Header> send_primary(std::uint8_t stream, std::uint8_t function, bool wbit, Time now);
    /// The header of a reply to send now; none when not selected.
    std::optional<Header> send_reply(std::uint8_t stream, std::uint8_t function, std::uint32_t system) const;
    /// Ends the open primary `id` without its reply: T3 is not reported for it. False when it is not open.
    bool end_transaction(std::uint32_t id);
    Actions request_deselect(Time now);
    Actions request_linktest(Time now);
    /// Separates when selected; closes in any case.
    Actions request_separate();

  private:
    struct OpenControl {
        SType response;
        std::uint32_t id;
        Time deadline;
    };
    struct OpenPrimary {
        std::uint32_t id;
        Time deadline;
    };

    void on_data(const Header& header, Actions& actions);
    void note_foreign_device(const Header& header, Actions& actions);
    void on_select_req(const Header& header, Time now, Actions& actions);
    void on_deselect_req(const Header& header, Time now, Actions& actions);
    void on_response(const Header& header, Time now, Actions& actions);
    void on_reject(const Header& header, Actions& actions);

    void select(Time now, Actions& actions);
    void deselect(Time now, Actions& actions);
    void start_control(SType request, Time now, Actions& actions);
    bool close_control(std::uint32_t id, SType response);
    bool control_open(SType response) const;
    std::uint32_t take_id();
    bool id_open(std::uint32_t id) const;
    void drop_answered_primaries();

    SessionSettings settings_;
    SessionState state_ = SessionState::not_connected;
    std::uint32_t next_id_;
    std::vector<OpenControl> controls_;
    std::unordered_map<std::uint32_t, Time> open_primaries_;  // id -> its deadline
    std::deque<OpenPrimary> primary_deadlines_;  // in order; answered ones are dropped at the front
    std::optional<Time> t7_, t8_, linktest_;
    bool held_ = false;
    std::uint16_t foreign_device_ = 0;  // of the last note about another device id
    int foreign_notes_ = 0;             // in this connection
};

}  // namespace hsms
