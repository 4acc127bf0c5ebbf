// The callbacks of one connection: a bounded queue and the thread that makes them in order.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "hsms/core/header.h"
#include "hsms/link/link.h"

namespace hsms {

struct LaneEvent {
    enum class Kind : std::uint8_t { selected, deselected, message, reply_timeout, closed };
    Kind kind = Kind::message;
    Header header;  ///< message; header.system alone for reply_timeout
    std::string body;
};

/// The thread ends after on_closed. Functions are safe from any thread.
class CallbackLane : public std::enable_shared_from_this<CallbackLane> {
  public:
    using Hook = std::function<void()>;

    /// No callback is made before `predecessor` (may be null) has delivered its on_closed. `progress` is
    /// called when a full queue has room again and when on_closed was delivered; it must not block.
    CallbackLane(std::shared_ptr<const LinkCallbacks> callbacks, std::shared_ptr<CallbackLane> predecessor,
                 Hook progress);

    /// Starts the thread, before anything else is called; std::system_error when the system has none left.
    void start();

    /// False when the queue is full from now on: the caller stops reading until `progress`.
    bool push(LaneEvent event);
    bool full() const;

    /// on_closed follows as the last event, once.
    void close();
    /// Drops what is queued; on_closed still follows.
    void drop_queued();
    /// Number of the callback that runs or ran last; a watch that finds the same one later calls take_over().
    std::uint64_t current_callback() const;
    /// When callback `number` is still running: drops the queue and delivers on_closed from a new thread.
    /// Without a thread for it (std::system_error) nothing has changed.
    void take_over(std::uint64_t number);
    bool closed_delivered() const;
    void wait_closed_delivered();
    /// The same; false when it has not been within `limit`.
    bool wait_closed_delivered(std::chrono::milliseconds limit);

    /// Begins no further callback, and calls `progress` no more.
    void mute();

    /// The lane whose callback runs on the calling thread, or null.
    static const CallbackLane* current();
    bool belongs_to(const LinkCallbacks& callbacks) const { return callbacks_.get() == &callbacks; }

  private:
    void run(std::uint64_t generation);
    LaneEvent take(std::unique_lock<std::mutex>& lock);
    void start_thread(std::uint64_t generation);
    void call(LaneEvent& event) const;
    void mark_delivered();

    const std::shared_ptr<const LinkCallbacks> callbacks_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable delivered_;
    std::shared_ptr<CallbackLane> predecessor_;
    Hook progress_;
    std::deque<LaneEvent> queue_;
    std::size_t queued_bytes_ = 0;
    std::uint64_t generation_ = 1;  // of the thread that serves the queue
    std::uint64_t calls_ = 0;
    bool running_ = false;
    bool full_ = false;
    bool closing_ = false;
    bool close_begun_ = false;
    bool closed_delivered_ = false;
    bool muted_ = false;
};

}  // namespace hsms
