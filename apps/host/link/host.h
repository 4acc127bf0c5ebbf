// The host's end of one link: what was received and not yet taken, what was sent and not yet answered, and
// whether the equipment communicates.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "apps/host/link/inbox.h"
#include "apps/host/link/transactions.h"
#include "apps/host/watch/monitor.h"
#include "hsms/link/link.h"
#include "sml/message.h"

namespace hsms {
class LogFile;
}

namespace host {

using Milliseconds = std::chrono::milliseconds;

/// All functions may be called from any thread; those named wait_ or take_ block up to their time limit.
/// Messages in both directions go to the monitor as they pass.
class Host {
  public:
    /// `options` without log sink: the link's lines are printed. Primaries are answered by automatic_reply()
    /// when `automatic`. All messages are also written to the file `transcript`, unless that is empty, in the
    /// format of the equipment's communication log. The monitor outlives the host.
    Host(hsms::LinkOptions options, bool automatic, const std::string& transcript, Monitor& monitor);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    bool start() { return link_.start(); }
    void stop() { link_.stop(); }
    std::uint16_t port() const { return link_.port(); }

    /// True once selected; an earlier close no longer counts then.
    bool wait_selected(Milliseconds limit);
    /// True once the link was closed since the last wait_selected() that was true.
    bool wait_closed(Milliseconds limit);
    /// Selected, and not closed since the last wait_selected().
    bool usable() const;
    /// True once the equipment communicates: the last S1F14 of either side had COMMACK 0, or it answered a
    /// primary of the host's other than with function 0. False at once when the link is not usable().
    bool wait_communicating(Milliseconds limit);
    /// Closes the link if need be, forgets what was received and waits until it is selected again.
    bool reconnect(Milliseconds limit);

    struct Sent {
        std::uint32_t id = 0;
        std::string error;  ///< not empty: not sent, and why
    };
    /// Sends a primary, or a secondary in answer to the oldest unanswered primary of its kind.
    Sent send(const sml::Message& message);
    /// Waits while the reply to primary `id` is pending (T3 ends that, not a limit here).
    Fate wait_outcome(std::uint32_t id);
    /// Waits until no reply is pending.
    void wait_idle();

    /// Drops the replies that were not taken.
    void drop_replies();
    /// Drops replies and primaries that were not taken.
    void forget();

    /// The oldest reply of this kind; without one, once no reply is pending, the oldest of any kind.
    std::optional<Received> take_reply(std::uint8_t stream, std::uint8_t function, Milliseconds limit);
    /// The reply to primary `id`, if it came.
    std::optional<Received> take_reply_to(std::uint32_t id);
    /// The oldest primary of this kind; waits for it, up to the limit or the end of the link.
    std::optional<Received> take_primary(std::uint8_t stream, std::uint8_t function, Milliseconds limit);

  private:
    struct Unanswered {
        std::uint8_t stream;
        std::uint8_t function;
        std::uint32_t id;
    };
    using Lock = std::unique_lock<std::mutex>;

    void on_selected();
    void on_closed();
    void on_message(const hsms::Header& header, const std::string& body);
    void on_reply(const hsms::Header& header, Received received);
    void on_primary(const hsms::Header& header, Received received);
    void on_reply_timeout(std::uint32_t id);

    void note_communication(Direction direction, const sml::Message& secondary);
    void pass(Direction direction, const sml::Message& message, std::uint32_t id, std::string_view note);
    Sent send_reply(const sml::Message& message, const std::string& body);
    bool reply(const sml::Message& message, const std::string& body, std::uint32_t id, std::string_view note);
    template <class Condition>
    bool wait(Lock& lock, Milliseconds limit, Condition condition);

    Monitor& monitor_;
    Printer& printer_;
    const bool automatic_;
    const std::uint16_t device_;
    const std::unique_ptr<hsms::LogFile> transcript_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool selected_ = false;
    bool lost_ = false;  // closed since the last wait_selected()
    bool communicating_ = false;
    std::uint64_t closes_ = 0;
    Inbox primaries_, replies_;
    std::deque<Unanswered> unanswered_;
    Transactions transactions_;
    hsms::Link link_;  // last: its callbacks use what is declared above
};

}  // namespace host
