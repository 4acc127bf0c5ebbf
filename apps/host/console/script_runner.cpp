#include "apps/host/console/script_runner.h"

#include <thread>

#include "apps/host/commands/commands.h"
#include "apps/host/commands/values.h"
#include "sml/match.h"
#include "sml/writer.h"

namespace host {
namespace {

using sml::Action;
using sml::Step;

using Failure = std::optional<std::string>;  // what was expected and got instead

std::string in_milliseconds(Milliseconds time) {
    return std::to_string(time.count()) + " ms";
}

// What may follow a primary that is not to be answered.
bool expects_no_reply(const Step& step) {
    const bool expects = step.action == Action::expect || step.action == Action::await;
    return step.action == Action::expect_timeout || (expects && step.pattern.stream == 9);
}

class Runner {
  public:
    Runner(Host& host, Monitor& monitor, const RunSettings& settings)
        : host_(host),
          desk_(host, monitor, settings.link_timeout, nullptr),
          link_timeout_(settings.link_timeout),
          message_timeout_(settings.message_timeout) {}

    Failure run(const Step& step, const Step* next) {
        switch (step.action) {
            case Action::send: return send(step.message, next != nullptr && expects_no_reply(*next));
            case Action::send_only: return send_only(step.message);
            case Action::expect: return expect(step.pattern, false);
            case Action::await: return expect(step.pattern, true);
            case Action::expect_timeout: return expect_timeout();
            case Action::pause: std::this_thread::sleep_for(step.duration); return {};
            case Action::wait_selected: return wait_selected();
            case Action::wait_closed: return wait_closed();
            case Action::wait_communicating: return work(&Desk::establish);
            case Action::reconnect:
                if (host_.reconnect(link_timeout_)) return {};
                return "expected the link to be selected again, got nothing in " +
                       in_milliseconds(link_timeout_);
            case Action::clear: host_.forget(); return {};
            case Action::timeout: message_timeout_ = step.duration; return {};
            case Action::command: return work([&](Desk& desk) { prepare(step, true)(desk); });
            case Action::quit: return {};
        }
        return {};
    }

    Failure wait_selected() {
        if (host_.wait_selected(link_timeout_)) return {};
        return "expected the link to be selected, got nothing in " + in_milliseconds(link_timeout_);
    }

  private:
    Failure wait_closed() {
        if (host_.wait_closed(link_timeout_)) return {};
        return "expected the link to be closed, got none of it in " + in_milliseconds(link_timeout_);
    }

    Failure work(const Job& job) {
        try {
            job(desk_);
            return {};
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    Failure send_only(const sml::Message& message) {
        if (!host_.usable()) return "expected to send " + name_of(message) + ", got a closed link";
        const Host::Sent sent = host_.send(message);
        if (!sent.error.empty()) return "expected to send " + name_of(message) + ", but " + sent.error;
        if (message.function % 2 == 1 && message.wbit) last_ = {sent.id, message};
        return {};
    }

    Failure send(const sml::Message& message, bool no_reply_expected) {
        const bool wants_reply = message.function % 2 == 1 && message.wbit;
        if (wants_reply) host_.drop_replies();
        if (Failure failure = send_only(message)) return failure;
        if (!wants_reply || no_reply_expected) return {};
        const std::string expected = "expected a reply to " + name_of(message) + ", got ";
        const Fate fate = host_.wait_outcome(last_.id);
        switch (fate.outcome) {
            case Outcome::timed_out: return expected + "none within T3";
            case Outcome::refused: return expected + fate.reason;
            case Outcome::lost: return expected + "a closed link";
            default: return {};
        }
    }

    Failure expect_timeout() {
        if (last_.id == 0) return "expected no reply, but no primary was sent before";
        const Outcome outcome = host_.wait_outcome(last_.id).outcome;
        if (outcome == Outcome::timed_out || outcome == Outcome::refused) return {};
        const std::string expected = "expected no reply to " + name_of(last_.message) + ", got ";
        if (outcome == Outcome::lost) return expected + "a closed link";
        const auto function = static_cast<std::uint8_t>(last_.message.function + 1);
        const auto reply = host_.take_reply(last_.message.stream, function, Milliseconds(0));
        return expected + (reply ? sml::one_line(reply->message) : "one");
    }

    // The difference of one message, its expectation in front when the difference does not say it all.
    static Failure compare(const sml::MessagePattern& pattern, const Received& received) {
        Failure found = received.defect.empty()
                            ? sml::difference(pattern, received.message)
                            : "got a " + name_of(received.message) + " whose " + received.defect;
        if (!found) return {};
        return sml::one_line(pattern, 60) + " " + *found;
    }

    Failure expect(const sml::MessagePattern& pattern, bool skip_others) {
        const bool primary = pattern.function % 2 == 1;
        const auto deadline = std::chrono::steady_clock::now() + message_timeout_;
        Failure last_difference;
        for (;;) {
            const auto left =
                std::chrono::duration_cast<Milliseconds>(deadline - std::chrono::steady_clock::now());
            const auto received = primary ? host_.take_primary(pattern.stream, pattern.function, left)
                                          : host_.take_reply(pattern.stream, pattern.function, left);
            if (!received) return last_difference ? last_difference : nothing_came(pattern);
            last_difference = compare(pattern, *received);
            if (!last_difference || !skip_others) return last_difference;
        }
    }

    Failure nothing_came(const sml::MessagePattern& pattern) const {
        const std::string expected = "expected " + sml::one_line(pattern) + ", got ";
        if (!host_.usable()) return expected + "a closed link";
        if (pattern.function % 2 == 0) return expected + "no reply";
        return expected + "nothing in " + in_milliseconds(message_timeout_);
    }

    struct LastPrimary {
        std::uint32_t id = 0;
        sml::Message message;
    };

    Host& host_;
    Desk desk_;
    const Milliseconds link_timeout_;
    Milliseconds message_timeout_;
    LastPrimary last_;
};

}  // namespace

std::optional<std::string> run_script(Host& host, Monitor& monitor, const std::vector<Step>& steps,
                                      const RunSettings& settings) {
    Runner runner(host, monitor, settings);
    if (const Failure failure = runner.wait_selected()) return settings.file + ": " + *failure;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i].action == Action::quit) break;
        const Step* next = i + 1 < steps.size() ? &steps[i + 1] : nullptr;
        if (const Failure failure = runner.run(steps[i], next))
            return settings.file + ":" + std::to_string(steps[i].place.line) + ": " + *failure;
    }
    return std::nullopt;
}

}  // namespace host
