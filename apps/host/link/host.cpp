#include "apps/host/link/host.h"

#include <algorithm>
#include <utility>

#include "apps/host/commands/values.h"
#include "apps/host/link/auto_reply.h"
#include "hsms/core/item_codec.h"
#include "hsms/log/log_file.h"
#include "sml/log_text.h"

namespace host {
namespace {

bool is_primary(const sml::Message& message) {
    return message.function % 2 == 1;
}

// A transcript is read as a whole, so it is one file.
hsms::LogFileOptions transcript_file(const std::string& path) {
    hsms::LogFileOptions options;
    options.path = path;
    options.rotate_bytes = hsms::never_rotate;
    return options;
}

}  // namespace

Host::Host(hsms::LinkOptions options, bool automatic, const std::string& transcript, Monitor& monitor)
    : monitor_(monitor),
      printer_(monitor.printer()),
      automatic_(automatic),
      device_(options.session.device_id),
      transcript_(transcript.empty() ? nullptr
                                     : std::make_unique<hsms::LogFile>(transcript_file(transcript))),
      link_(
          [&] {
              options.log = [this](std::string_view line) { printer_.about(line); };
              return std::move(options);
          }(),
          {
              .on_selected = [this] { on_selected(); },
              .on_deselected = [this] { on_closed(); },
              .on_closed = [this] { on_closed(); },
              .on_message = [this](const hsms::Header& header,
                                   std::string&& body) { on_message(header, body); },
              .on_reply_timeout = [this](std::uint32_t id) { on_reply_timeout(id); },
          }) {}

void Host::pass(Direction direction, const sml::Message& message, std::uint32_t id, std::string_view note) {
    monitor_.message(direction, message, note);
    if (transcript_) transcript_->entry(sml::log_text(message, direction == Direction::sent, id, device_));
}

Host::~Host() {
    link_.stop();
}

template <class Condition>
bool Host::wait(Lock& lock, Milliseconds limit, Condition condition) {
    return changed_.wait_for(lock, limit, condition);
}

bool Host::wait_selected(Milliseconds limit) {
    Lock lock(mutex_);
    if (!wait(lock, limit, [&] { return selected_; })) return false;
    lost_ = false;
    return true;
}

bool Host::wait_closed(Milliseconds limit) {
    Lock lock(mutex_);
    return wait(lock, limit, [&] { return lost_; });
}

bool Host::wait_communicating(Milliseconds limit) {
    Lock lock(mutex_);
    wait(lock, limit, [&] { return communicating_ || !selected_ || lost_; });
    return communicating_ && !lost_;
}

// Function 0 may mean off-line or not communicating, so it says nothing.
void Host::note_communication(Direction direction, const sml::Message& secondary) {
    if (secondary.stream == 1 && secondary.function == 14) {
        const hsms::Item* commack = child(secondary, 0);
        communicating_ = commack != nullptr && first_number(*commack) == 0;
    } else if (direction == Direction::received && secondary.function != 0) {
        communicating_ = true;
    }
}

bool Host::usable() const {
    const Lock lock(mutex_);
    return selected_ && !lost_;
}

bool Host::reconnect(Milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    {
        Lock lock(mutex_);
        const std::uint64_t before = closes_;
        if (selected_) {
            link_.separate();
            if (!wait(lock, limit, [&] { return closes_ != before; })) return false;
        }
    }
    forget();
    const auto left = deadline - std::chrono::steady_clock::now();
    return wait_selected(std::chrono::duration_cast<Milliseconds>(left));
}

Host::Sent Host::send(const sml::Message& message) {
    std::string body;
    if (message.body && !hsms::encode_item(*message.body, body))
        return {0, "the body is too large to be sent"};
    const Lock lock(mutex_);
    if (!is_primary(message)) return send_reply(message, body);
    const std::uint32_t id = link_.send(message.stream, message.function, message.wbit, body);
    if (id == 0) return {0, "the link is not selected"};
    pass(Direction::sent, message, id, "");
    if (message.wbit) transactions_.open(id, message);
    return {id, ""};
}

Host::Sent Host::send_reply(const sml::Message& message, const std::string& body) {
    const auto primary = std::find_if(unanswered_.begin(), unanswered_.end(), [&](const Unanswered& open) {
        return open.stream == message.stream &&
               (message.function == 0 || open.function + 1 == message.function);
    });
    if (primary == unanswered_.end()) return {0, "no primary is waiting for " + name_of(message)};
    const std::uint32_t id = primary->id;
    if (!reply(message, body, id, "")) return {0, "the link is not selected"};
    unanswered_.erase(primary);
    return {id, ""};
}

bool Host::reply(const sml::Message& message, const std::string& body, std::uint32_t id,
                 std::string_view note) {
    if (!link_.reply(message.stream, message.function, body, id)) return false;
    pass(Direction::sent, message, id, note);
    note_communication(Direction::sent, message);
    changed_.notify_all();
    return true;
}

Fate Host::wait_outcome(std::uint32_t id) {
    Lock lock(mutex_);
    changed_.wait(lock, [&] { return transactions_.fate(id).outcome != Outcome::pending; });
    return transactions_.fate(id);
}

void Host::wait_idle() {
    Lock lock(mutex_);
    changed_.wait(lock, [&] { return !transactions_.any_pending(); });
}

void Host::drop_replies() {
    const Lock lock(mutex_);
    replies_.clear();
}

void Host::forget() {
    const Lock lock(mutex_);
    replies_.clear();
    primaries_.clear();
}

std::optional<Received> Host::take_reply(std::uint8_t stream, std::uint8_t function, Milliseconds limit) {
    Lock lock(mutex_);
    std::optional<Received> taken;
    wait(lock, limit, [&] {
        taken = replies_.take(stream, function);
        return taken || !transactions_.any_pending();
    });
    return taken ? taken : replies_.take_any();
}

std::optional<Received> Host::take_reply_to(std::uint32_t id) {
    const Lock lock(mutex_);
    return replies_.take(id);
}

std::optional<Received> Host::take_primary(std::uint8_t stream, std::uint8_t function, Milliseconds limit) {
    Lock lock(mutex_);
    std::optional<Received> taken;
    wait(lock, limit, [&] {
        taken = primaries_.take(stream, function);
        return taken || lost_;
    });
    return taken;
}

void Host::on_selected() {
    const Lock lock(mutex_);
    selected_ = true;
    monitor_.link(true);
    changed_.notify_all();
}

void Host::on_closed() {
    const Lock lock(mutex_);
    if (!selected_) return;  // a connection that never came to be selected, or is deselected already
    selected_ = communicating_ = false;
    lost_ = true;
    ++closes_;
    monitor_.link(false);
    unanswered_.clear();
    transactions_.lose();
    changed_.notify_all();
}

void Host::on_message(const hsms::Header& header, const std::string& body) {
    Received received = decode(header, body);
    const Lock lock(mutex_);
    pass(Direction::received, received.message, header.system, received.defect);
    if (is_primary(received.message))
        on_primary(header, std::move(received));
    else
        on_reply(header, std::move(received));
    changed_.notify_all();
}

void Host::on_reply(const hsms::Header& header, Received received) {
    if (transactions_.settle(header.system, {Outcome::replied, ""}).empty()) {
        printer_.about(name_of(received.message) + " answers nothing that is open");
        return;
    }
    note_communication(Direction::received, received.message);
    replies_.keep(std::move(received));
}

void Host::on_primary(const hsms::Header& header, Received received) {
    const sml::Message& primary = received.message;
    const std::optional<sml::Message> answer =
        automatic_ && received.defect.empty() ? automatic_reply(primary, clock_text()) : std::nullopt;
    if (answer) {
        std::string body;
        if (answer->body) hsms::encode_item(*answer->body, body);
        reply(*answer, body, header.system, "automatic");
    } else if (primary.wbit) {
        if (unanswered_.size() == Inbox::most_kept) unanswered_.pop_front();
        unanswered_.push_back({primary.stream, primary.function, header.system});
    }
    if (const auto error = read_error_report(primary))
        if (const std::string name = transactions_.refuse(*error); !name.empty()) {
            link_.end_transaction(error->subject.system);
            printer_.about(name + " (message " + std::to_string(error->subject.system) + ") ended by " +
                           error->reason);
        }
    primaries_.keep(std::move(received));
}

void Host::on_reply_timeout(std::uint32_t id) {
    const Lock lock(mutex_);
    const std::string name = transactions_.settle(id, {Outcome::timed_out, ""});
    if (name.empty()) return;
    printer_.about("no reply to " + name + " within T3 (message " + std::to_string(id) + ")");
    changed_.notify_all();
}

}  // namespace host
