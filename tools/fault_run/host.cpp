#include "tools/fault_run/host.h"

#include <utility>

#include "apps/host/link/auto_reply.h"
#include "hsms/core/item_codec.h"
#include "sml/reader.h"

namespace faults {

namespace {

hsms::LinkOptions options_for(std::uint16_t port) {
    using std::chrono::seconds;
    hsms::LinkOptions options;
    options.session.role = hsms::Role::active;
    options.session.t3 = seconds(10);
    options.session.t6 = options.session.t7 = options.session.t8 = seconds(1);
    options.t5 = seconds(1);
    options.address = "127.0.0.1";
    options.port = port;
    return options;
}

std::string encoded(const sml::Message& message) {
    std::string body;
    if (message.body) hsms::encode_item(*message.body, body);
    return body;
}

}  // namespace

Host::Host(std::uint16_t port) {
    hsms::LinkCallbacks callbacks;
    callbacks.on_selected = [this] { selected(); };
    callbacks.on_deselected = [] {};
    callbacks.on_closed = [this] { closed(); };
    callbacks.on_message = [this](const hsms::Header& header, std::string&& body) { take(header, body); };
    callbacks.on_reply_timeout = [this](std::uint32_t id) { finish(id, {Outcome::unanswered, {}}); };
    link_ = std::make_unique<hsms::Link>(options_for(port), std::move(callbacks));
    link_->start();
}

Host::~Host() {
    link_->stop();
    link_.reset();
}

void Host::selected() {
    const std::lock_guard lock(mutex_);
    ++connection_;
}

void Host::closed() {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, sml] : open_) done_[id] = {Outcome::cut, {}};
    outcomes_[Outcome::cut] += static_cast<int>(open_.size());
    open_.clear();
    changed_.notify_all();
}

void Host::take(const hsms::Header& header, const std::string& body) {
    sml::Message message{header.stream(), header.function(), header.wbit(), {}};
    hsms::Item item;
    if (!body.empty() && hsms::decode_item(body, item)) message.body = std::move(item);
    if (message.function % 2 == 0) return finish(header.system, {Outcome::answered, message});
    ++primaries_;
    record(message);
    answer(message, header.system);
}

void Host::record(const sml::Message& primary) {
    const std::lock_guard lock(mutex_);
    if (const auto number = number_in(primary)) numbered_.push_back({*number, connection_});
    if (primary.stream != 6 || primary.function != 1 || !primary.body) return;
    const std::vector<hsms::Item>& body = primary.body->children;
    if (body.size() != 4 || body[0].element_count() != 1 || body[1].element_count() != 1) return;
    const std::int64_t sample = body[1].integer(0);
    const std::int64_t before = std::exchange(samples_[body[0].integer(0)], sample);
    if (sample != 1 && sample <= before) ++samples_reordered_;  // 1: the trace was started anew
}

void Host::answer(const sml::Message& primary, std::uint32_t id) {
    if (const auto reply = host::automatic_reply(primary, host::clock_text()))
        link_->reply(reply->stream, reply->function, encoded(*reply), id);
}

void Host::finish(std::uint32_t id, Asked asked) {
    const std::lock_guard lock(mutex_);
    const auto found = open_.find(id);
    if (found == open_.end()) return;  // late, or its connection is gone
    if (asked.outcome == Outcome::unanswered) unanswered_.push_back(found->second);
    open_.erase(found);
    ++outcomes_[asked.outcome];
    done_[id] = std::move(asked);
    changed_.notify_all();
}

std::optional<Asked> Host::ask(const std::string& text) {
    const sml::Message message = sml::parse_message(text);
    std::unique_lock lock(mutex_);
    // Under the lock, so that the answer finds the entry.
    const std::uint32_t id = link_->send(message.stream, message.function, true, encoded(message));
    if (id == 0) return std::nullopt;
    open_[id] = text;
    changed_.wait(lock, [&] { return done_.contains(id); });
    return done_.extract(id).mapped();
}

bool Host::wait_selected(std::chrono::milliseconds limit) {
    return link_->await_selected(limit);
}

std::vector<Received> Host::numbered() const {
    const std::lock_guard lock(mutex_);
    return numbered_;
}

std::map<Outcome, int> Host::outcomes() const {
    const std::lock_guard lock(mutex_);
    return outcomes_;
}

std::vector<std::string> Host::unanswered() const {
    const std::lock_guard lock(mutex_);
    return unanswered_;
}

}  // namespace faults
