#include "hsms/core/session.h"

#include <algorithm>

namespace hsms {
namespace {

constexpr std::uint16_t control_session_id = 0xFFFF;
// Changes of a wrong device id that are noted in one connection.
constexpr int most_foreign_notes = 10;

enum SelectStatus : std::uint8_t { communication_established = 0, communication_already_active = 1 };
enum DeselectStatus : std::uint8_t { communication_ended = 0, communication_not_established = 1 };

Header control(SType type, std::uint32_t system) {
    return {control_session_id, 0, 0, 0, static_cast<std::uint8_t>(type), system};
}

Header response(SType type, const Header& request, std::uint8_t status = 0) {
    return {request.session_id, 0, status, 0, static_cast<std::uint8_t>(type), request.system};
}

Header reject(const Header& rejected, RejectReason reason) {
    const std::uint8_t subject =
        reason == RejectReason::ptype_not_supported ? rejected.ptype : rejected.stype;
    return {rejected.session_id,
            subject,
            static_cast<std::uint8_t>(reason),
            0,
            static_cast<std::uint8_t>(SType::reject_req),
            rejected.system};
}

const char* name_of(SType response) {
    switch (response) {
        case SType::select_rsp: return "select";
        case SType::deselect_rsp: return "deselect";
        case SType::linktest_rsp: return "linktest";
        default: return "control message";
    }
}

bool is_known(std::uint8_t stype) {
    return stype <= 7 || stype == 9;
}

}  // namespace

Session::Session(const SessionSettings& settings, std::uint32_t first_id)
    : settings_(settings), next_id_(std::max(first_id, first_message_id)) {}

Actions Session::connected(Time now) {
    Actions actions;
    state_ = SessionState::not_selected;
    t7_ = now + settings_.t7;
    if (settings_.role == Role::active) start_control(SType::select_req, now, actions);
    return actions;
}

bool Session::disconnected() {
    const bool was_connected = state_ != SessionState::not_connected;
    state_ = SessionState::not_connected;
    controls_.clear();
    open_primaries_.clear();
    primary_deadlines_.clear();
    t7_ = t8_ = linktest_ = std::nullopt;
    held_ = false;
    foreign_notes_ = 0;
    return was_connected;
}

Actions Session::received(const Header& header, std::size_t body_size, Time now) {
    Actions actions;
    if (state_ == SessionState::not_connected) return actions;
    if (header.ptype != 0) {
        actions.send.push_back(reject(header, RejectReason::ptype_not_supported));
        return actions;
    }
    if (!is_known(header.stype)) {
        actions.send.push_back(reject(header, RejectReason::stype_not_supported));
        return actions;
    }
    if (header.type() != SType::data && body_size > 0) {
        actions.close = "control message (SType " + std::to_string(header.stype) + ") with a body of " +
                        std::to_string(body_size) + " bytes";
        return actions;
    }
    switch (header.type()) {
        case SType::data: on_data(header, actions); break;
        case SType::select_req: on_select_req(header, now, actions); break;
        case SType::deselect_req: on_deselect_req(header, now, actions); break;
        case SType::linktest_req: actions.send.push_back(response(SType::linktest_rsp, header)); break;
        case SType::select_rsp:
        case SType::deselect_rsp:
        case SType::linktest_rsp: on_response(header, now, actions); break;
        case SType::reject_req: on_reject(header, actions); break;
        case SType::separate_req:
            if (state_ == SessionState::selected) actions.close = "separated by the peer";
            break;
    }
    return actions;
}

void Session::on_data(const Header& header, Actions& actions) {
    if (state_ != SessionState::selected) {
        actions.send.push_back(reject(header, RejectReason::not_selected));
        return;
    }
    actions.deliver = true;
    if (header.session_id != settings_.device_id) note_foreign_device(header, actions);
    const bool secondary = header.function() % 2 == 0;
    if (secondary) end_transaction(header.system);
}

/// Once for each change of the id: a wrongly configured peer sends it in every message.
void Session::note_foreign_device(const Header& header, Actions& actions) {
    if (foreign_notes_ == most_foreign_notes) return;
    if (foreign_notes_ > 0 && header.session_id == foreign_device_) return;
    ++foreign_notes_;
    foreign_device_ = header.session_id;
    actions.note = "S" + std::to_string(header.stream()) + "F" + std::to_string(header.function()) +
                   " came with device " + std::to_string(header.session_id) + ", expected " +
                   std::to_string(settings_.device_id);
}

bool Session::end_transaction(std::uint32_t id) {
    const bool open = open_primaries_.erase(id) > 0;
    if (open) drop_answered_primaries();
    return open;
}

void Session::on_select_req(const Header& header, Time now, Actions& actions) {
    const bool already = state_ == SessionState::selected;
    actions.send.push_back(response(SType::select_rsp, header,
                                    already ? communication_already_active : communication_established));
    if (!already) select(now, actions);
}

void Session::on_deselect_req(const Header& header, Time now, Actions& actions) {
    const bool selected = state_ == SessionState::selected;
    actions.send.push_back(response(SType::deselect_rsp, header,
                                    selected ? communication_ended : communication_not_established));
    if (selected) deselect(now, actions);
}

void Session::on_response(const Header& header, Time now, Actions& actions) {
    if (!close_control(header.system, header.type())) {
        actions.send.push_back(reject(header, RejectReason::transaction_not_open));
        return;
    }
    const std::uint8_t status = header.byte3;
    if (header.type() == SType::select_rsp && state_ == SessionState::not_selected) {
        if (status == communication_established)
            select(now, actions);
        else
            actions.close = "select refused with status " + std::to_string(status);
    } else if (header.type() == SType::deselect_rsp && state_ == SessionState::selected) {
        if (status == communication_ended)
            deselect(now, actions);
        else
            actions.note = "deselect refused with status " + std::to_string(status);
    }
}

// A rejected primary is left to T3: its sender learns of it as of any primary without a reply.
void Session::on_reject(const Header& header, Actions& actions) {
    actions.note = "message " + std::to_string(header.system) + " rejected by the peer, reason " +
                   std::to_string(header.byte3);
    if (close_control(header.system, SType::select_rsp)) actions.close = "select rejected by the peer";
    close_control(header.system, SType::deselect_rsp);
    close_control(header.system, SType::linktest_rsp);
}

void Session::select(Time now, Actions& actions) {
    state_ = SessionState::selected;
    t7_.reset();
    if (settings_.link_test) linktest_ = now + settings_.t0;
    actions.selected = true;
}

void Session::deselect(Time now, Actions& actions) {
    state_ = SessionState::not_selected;
    t7_ = now + settings_.t7;
    linktest_.reset();
    actions.deselected = true;
}

void Session::start_control(SType request, Time now, Actions& actions) {
    const auto expected = static_cast<SType>(static_cast<std::uint8_t>(request) + 1);
    if (control_open(expected)) return;
    const std::uint32_t id = take_id();
    controls_.push_back({expected, id, now + settings_.t6});
    actions.send.push_back(control(request, id));
}

bool Session::close_control(std::uint32_t id, SType response) {
    return std::erase_if(controls_, [&](const OpenControl& open) {
               return open.id == id && open.response == response;
           }) > 0;
}

bool Session::control_open(SType response) const {
    return std::any_of(controls_.begin(), controls_.end(),
                       [&](const OpenControl& open) { return open.response == response; });
}

std::uint32_t Session::take_id() {
    while (id_open(next_id_)) next_id_ = std::max(next_id_ + 1, first_message_id);
    const std::uint32_t id = next_id_;
    next_id_ = std::max(next_id_ + 1, first_message_id);
    return id;
}

bool Session::id_open(std::uint32_t id) const {
    return open_primaries_.contains(id) ||
           std::any_of(controls_.begin(), controls_.end(),
                       [&](const OpenControl& open) { return open.id == id; });
}

void Session::drop_answered_primaries() {
    while (!primary_deadlines_.empty()) {
        const OpenPrimary& first = primary_deadlines_.front();
        const auto open = open_primaries_.find(first.id);
        if (open != open_primaries_.end() && open->second == first.deadline) return;
        primary_deadlines_.pop_front();
    }
}

void Session::inside_message(bool inside, Time now) {
    if (inside)
        t8_ = now + settings_.t8;
    else
        t8_.reset();
}

void Session::hold(bool held, Time now) {
    if (held_ && !held) {
        for (OpenControl& open : controls_) open.deadline = now + settings_.t6;
        if (t7_) t7_ = now + settings_.t7;
        if (t8_) t8_ = now + settings_.t8;
        if (linktest_) linktest_ = now + settings_.t0;
    }
    held_ = held;
}

std::optional<Time> Session::next_deadline() const {
    std::optional<Time> earliest;
    const auto consider = [&](const std::optional<Time>& deadline) {
        if (deadline && (!earliest || *deadline < *earliest)) earliest = deadline;
    };
    if (!primary_deadlines_.empty()) consider(primary_deadlines_.front().deadline);
    if (held_) return earliest;
    for (const OpenControl& open : controls_) consider(open.deadline);
    consider(t7_);
    consider(t8_);
    consider(linktest_);
    return earliest;
}

Actions Session::timer(Time now) {
    Actions actions;
    while (!primary_deadlines_.empty() && primary_deadlines_.front().deadline <= now) {
        const std::uint32_t id = primary_deadlines_.front().id;
        primary_deadlines_.pop_front();
        open_primaries_.erase(id);
        actions.reply_timeouts.push_back(id);
        drop_answered_primaries();
    }
    if (held_) return actions;

    const auto late = std::find_if(controls_.begin(), controls_.end(),
                                   [&](const OpenControl& open) { return open.deadline <= now; });
    if (late != controls_.end()) {
        actions.close = std::string("T6: no answer to ") + name_of(late->response);
    } else if (t8_ && *t8_ <= now) {
        actions.close = "T8: message broken off";
    } else if (t7_ && *t7_ <= now) {
        actions.close = "T7: not selected in time";
    } else if (linktest_ && *linktest_ <= now) {
        linktest_ = now + settings_.t0;
        start_control(SType::linktest_req, now, actions);
    }
    return actions;
}

std::optional<Header> Session::send_primary(std::uint8_t stream, std::uint8_t function, bool wbit, Time now) {
    if (state_ != SessionState::selected) return std::nullopt;
    const std::uint32_t id = take_id();
    if (wbit) {
        const Time deadline = now + settings_.t3;
        open_primaries_.emplace(id, deadline);
        primary_deadlines_.push_back({id, deadline});
    }
    return data_header(settings_.device_id, stream, function, wbit, id);
}

std::optional<Header> Session::send_reply(std::uint8_t stream, std::uint8_t function,
                                          std::uint32_t system) const {
    if (state_ != SessionState::selected) return std::nullopt;
    return data_header(settings_.device_id, stream, function, false, system);
}

Actions Session::request_deselect(Time now) {
    Actions actions;
    if (state_ == SessionState::selected) start_control(SType::deselect_req, now, actions);
    return actions;
}

Actions Session::request_linktest(Time now) {
    Actions actions;
    if (state_ != SessionState::not_connected) start_control(SType::linktest_req, now, actions);
    return actions;
}

Actions Session::request_separate() {
    Actions actions;
    if (state_ == SessionState::selected) actions.send.push_back(control(SType::separate_req, take_id()));
    if (state_ != SessionState::not_connected) actions.close = "disconnected by the user";
    return actions;
}

}  // namespace hsms
