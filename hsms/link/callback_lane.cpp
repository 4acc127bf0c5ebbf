#include "hsms/link/callback_lane.h"

#include <utility>

#include "hsms/link/thread_reaper.h"

namespace hsms {
namespace {

// Above either of these reading stops, until the queue is down to half.
constexpr std::size_t max_queued_bytes = std::size_t{64} << 20U;
constexpr std::size_t max_queued_events = 65536;

thread_local const CallbackLane* current_lane = nullptr;

}  // namespace

CallbackLane::CallbackLane(std::shared_ptr<const LinkCallbacks> callbacks,
                           std::shared_ptr<CallbackLane> predecessor, Hook progress)
    : callbacks_(std::move(callbacks)),
      predecessor_(std::move(predecessor)),
      progress_(std::move(progress)) {}

void CallbackLane::start() {
    start_thread(generation_);
}

void CallbackLane::start_thread(std::uint64_t generation) {
    spawn_thread([self = shared_from_this(), generation] { self->run(generation); });
}

bool CallbackLane::push(LaneEvent event) {
    std::unique_lock lock(mutex_);
    if (closing_) return true;
    const std::size_t size = event.body.size();
    queue_.push_back(std::move(event));
    queued_bytes_ += size;
    full_ = full_ || queued_bytes_ > max_queued_bytes || queue_.size() > max_queued_events;
    const bool room = !full_;
    lock.unlock();  // or the thread that is woken would run into the lock
    wake_.notify_one();
    return room;
}

bool CallbackLane::full() const {
    const std::lock_guard lock(mutex_);
    return full_;
}

void CallbackLane::close() {
    const std::lock_guard lock(mutex_);
    closing_ = true;
    wake_.notify_one();
}

void CallbackLane::drop_queued() {
    const std::lock_guard lock(mutex_);
    queue_.clear();
    queued_bytes_ = 0;
}

std::uint64_t CallbackLane::current_callback() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

void CallbackLane::take_over(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    if (!running_ || calls_ != number || closed_delivered_) return;
    if (!close_begun_) start_thread(generation_ + 1);
    ++generation_;
    queue_.clear();
    queued_bytes_ = 0;
    running_ = false;
    if (close_begun_) mark_delivered();
}

bool CallbackLane::closed_delivered() const {
    const std::lock_guard lock(mutex_);
    return closed_delivered_;
}

void CallbackLane::wait_closed_delivered() {
    std::unique_lock lock(mutex_);
    delivered_.wait(lock, [this] { return closed_delivered_; });
}

bool CallbackLane::wait_closed_delivered(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return delivered_.wait_for(lock, limit, [this] { return closed_delivered_; });
}

void CallbackLane::mute() {
    const std::lock_guard lock(mutex_);
    muted_ = true;
    progress_ = nullptr;
}

const CallbackLane* CallbackLane::current() {
    return current_lane;
}

/// The next event; the close comes last.
LaneEvent CallbackLane::take(std::unique_lock<std::mutex>& lock) {
    wake_.wait(lock, [&] { return !queue_.empty() || closing_; });
    if (queue_.empty()) {
        close_begun_ = true;
        return {LaneEvent::Kind::closed, {}, {}};
    }
    LaneEvent event = std::move(queue_.front());
    queue_.pop_front();
    queued_bytes_ -= event.body.size();
    if (full_ && queued_bytes_ <= max_queued_bytes / 2 && queue_.size() <= max_queued_events / 2) {
        full_ = false;
        if (progress_) progress_();
    }
    return event;
}

void CallbackLane::run(std::uint64_t generation) {
    current_lane = this;
    if (const auto predecessor = std::exchange(predecessor_, nullptr)) predecessor->wait_closed_delivered();
    std::unique_lock lock(mutex_);
    for (;;) {
        LaneEvent event = take(lock);
        ++calls_;
        running_ = true;
        const bool muted = muted_;
        lock.unlock();
        if (!muted) call(event);
        lock.lock();
        if (generation_ != generation) return;  // taken over meanwhile
        running_ = false;
        if (event.kind == LaneEvent::Kind::closed) break;
    }
    mark_delivered();
}

void CallbackLane::call(LaneEvent& event) const {
    switch (event.kind) {
        case LaneEvent::Kind::selected:
            if (callbacks_->on_selected) callbacks_->on_selected();
            break;
        case LaneEvent::Kind::deselected:
            if (callbacks_->on_deselected) callbacks_->on_deselected();
            break;
        case LaneEvent::Kind::closed:
            if (callbacks_->on_closed) callbacks_->on_closed();
            break;
        case LaneEvent::Kind::message:
            if (callbacks_->on_message) callbacks_->on_message(event.header, std::move(event.body));
            break;
        case LaneEvent::Kind::reply_timeout:
            if (callbacks_->on_reply_timeout) callbacks_->on_reply_timeout(event.header.system);
            break;
    }
}

void CallbackLane::mark_delivered() {
    closed_delivered_ = true;
    delivered_.notify_all();
    if (progress_) progress_();
}

}  // namespace hsms
