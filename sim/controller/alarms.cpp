#include "sim/controller/alarms.h"

#include <algorithm>
#include <utility>

#include "sim/controller/clock.h"

namespace sim {

void Alarms::add(Alarm alarm) {
    list_.push_back(std::move(alarm));
    post_times_.emplace_back();
}

const Alarms::Alarm* Alarms::at(int index) const {
    return index >= 0 && index < count() ? &list_[static_cast<std::size_t>(index)] : nullptr;
}

bool Alarms::post(int id) {
    const auto index = find(id);
    if (!index) return false;
    const std::lock_guard lock(mutex_);
    post_times_[static_cast<std::size_t>(*index)] = clock_text();
    if (std::ranges::find(queue_, *index, &Entry::index) == queue_.end())
        queue_.push_back({*index, ++posted_});
    return true;
}

bool Alarms::clear(int id) {
    const auto index = find(id);
    if (!index) return false;
    const std::lock_guard lock(mutex_);
    std::erase_if(queue_, [&](const Entry& entry) { return entry.index == *index; });
    return true;
}

int Alarms::queue_count() const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(queue_.size());
}

std::optional<Alarms::Entry> Alarms::queue_entry(int index) const {
    const std::lock_guard lock(mutex_);
    if (index < 0 || static_cast<std::size_t>(index) >= queue_.size()) return std::nullopt;
    return queue_[static_cast<std::size_t>(index)];
}

std::string Alarms::post_time(int index) const {
    const std::lock_guard lock(mutex_);
    return at(index) == nullptr ? std::string() : post_times_[static_cast<std::size_t>(index)];
}

std::optional<int> Alarms::find(int id) const {
    const auto found = std::ranges::find(list_, id, &Alarm::id);
    return found == list_.end() ? std::nullopt : std::optional(static_cast<int>(found - list_.begin()));
}

}  // namespace sim
