#include "fault_host.h"

#include "equipment.h"
#include "hsms/core/item_codec.h"
#include "sml/reader.h"
#include "sml/writer.h"

namespace faults {

namespace {

/// The number in a report of the numbered event, if the body is one: DATAID, CEID, one report whose first
/// value is the alarm number.
std::optional<int> number_in(const hsms::Item& body) {
    if (body.children.size() != 3 || body.children[1].element_count() != 1) return std::nullopt;
    if (body.children[1].integer(0) != numbered_ceid) return std::nullopt;
    for (const hsms::Item& report : body.children[2].children)
        if (report.children.size() == 2)
            for (const hsms::Item& value : report.children[1].children)
                if (value.format == hsms::Format::u4 && value.element_count() == 1 &&
                    value.integer(0) >= first_number)
                    return static_cast<int>(value.integer(0));
    return std::nullopt;
}

std::string answer_to(const hsms::Header& primary) {
    if (primary.stream() == 1 && primary.function() == 13) return {"\x01\x02\x21\x01\x00\x01\x00", 7};
    if (primary.stream() == 1 && primary.function() == 1) return {"\x01\x00", 2};
    if (primary.stream() == 2 && primary.function() == 17)
        return std::string("\x41\x10", 2) + "2026010112000000";
    return {"\x21\x01\x00", 3};
}

}  // namespace

FaultHost::FaultHost(std::uint16_t port, std::chrono::milliseconds t3) {
    using std::chrono::seconds;
    hsms::LinkOptions options;
    options.session.role = hsms::Role::active;
    options.session.t3 = t3;
    options.session.t6 = options.session.t7 = options.session.t8 = seconds(1);
    options.t5 = seconds(1);
    options.address = "127.0.0.1";
    options.port = port;
    hsms::LinkCallbacks callbacks;
    callbacks.on_selected = [this] {
        {
            const std::lock_guard lock(mutex_);
            selected_ = true;
            ++connection_;
        }
        changed_.notify_all();
    };
    callbacks.on_deselected = [] {};
    callbacks.on_closed = [this] {
        {
            const std::lock_guard lock(mutex_);
            selected_ = false;
            for (auto& [id, asked] : open_) {
                asked.outcome = Outcome::cut;
                ++outcomes_[Outcome::cut];
                done_.emplace(id, std::move(asked));
            }
            open_.clear();
        }
        changed_.notify_all();
    };
    callbacks.on_message = [this](const hsms::Header& header, std::string&& body) { take(header, body); };
    callbacks.on_reply_timeout = [this](std::uint32_t id) { finish(id, Outcome::unanswered, ""); };
    link_ = std::make_unique<hsms::Link>(std::move(options), std::move(callbacks));
    link_->start();
}

FaultHost::~FaultHost() {
    link_->stop();
    link_.reset();
}

void FaultHost::take(const hsms::Header& header, const std::string& body) {
    hsms::Item item;
    const bool has_item = !body.empty() && hsms::decode_item(body, item);
    if ((header.function() & 1) == 0) {
        sml::Message reply{static_cast<std::uint8_t>(header.stream()),
                           static_cast<std::uint8_t>(header.function()), false, std::nullopt};
        if (has_item) reply.body = std::move(item);
        finish(header.system, Outcome::answered, sml::one_line(reply));
        return;
    }
    ++primaries_;
    if (has_item && header.stream() == 6 && header.function() == 11) {
        if (const auto number = number_in(item)) {
            const std::lock_guard lock(mutex_);
            numbered_.push_back({*number, connection_});
        }
    }
    if (header.wbit())
        link_->reply(header.stream(), static_cast<std::uint8_t>(header.function() + 1), answer_to(header),
                     header.system);
}

void FaultHost::finish(std::uint32_t id, Outcome outcome, std::string reply) {
    {
        const std::lock_guard lock(mutex_);
        const auto found = open_.find(id);
        if (found == open_.end()) return;  // late, or its connection is gone
        Asked asked = std::move(found->second);
        open_.erase(found);
        asked.outcome = outcome;
        asked.reply = std::move(reply);
        ++outcomes_[outcome];
        if (outcome == Outcome::unanswered) unanswered_.push_back(asked.sml);
        done_.emplace(id, std::move(asked));
    }
    changed_.notify_all();
}

std::optional<Asked> FaultHost::ask(const std::string& text) {
    const sml::Message message = sml::parse_message(text);
    std::string body;
    if (message.body) hsms::encode_item(*message.body, body);
    std::unique_lock lock(mutex_);
    if (!selected_) return std::nullopt;
    // Under the lock, so that the answer finds the entry.
    const std::uint32_t id = link_->send(message.stream, message.function, true, body);
    if (id == 0) return std::nullopt;
    open_[id] = {text, Outcome::open, {}};
    changed_.wait(lock, [&] { return done_.count(id) != 0; });
    Asked asked = std::move(done_.at(id));
    done_.erase(id);
    return asked;
}

bool FaultHost::wait_selected(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return selected_; });
}

std::vector<Numbered> FaultHost::numbered() const {
    const std::lock_guard lock(mutex_);
    return numbered_;
}

std::map<Outcome, int> FaultHost::outcomes() const {
    const std::lock_guard lock(mutex_);
    return outcomes_;
}

std::vector<std::string> FaultHost::unanswered() const {
    const std::lock_guard lock(mutex_);
    return unanswered_;
}

}  // namespace faults
