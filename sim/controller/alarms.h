// The machine's alarm list (fixed once loaded) and its queue of posted alarms. Any thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "fa/framework/framework_types.h"

namespace sim {

class Alarms {
  public:
    struct Alarm {
        int id = 0;
        Talwen::ALARM_LEVEL level = Talwen::ALARM_NONE;
        std::string text;
    };
    struct Entry {
        int index;   ///< in the alarm list
        int number;  ///< alarms posted since the loading, this one included
    };

    /// While loading. Alarms may share an id; post() and clear() take the first of them.
    void add(Alarm alarm);
    int count() const { return static_cast<int>(list_.size()); }
    /// Null for a bad index.
    const Alarm* at(int index) const;

    /// Puts an alarm at the queue's end with the clock's time; one that is on the queue keeps its place and
    /// gets the new time. False for an id that is not in the list.
    bool post(int id);
    /// Takes an alarm off the queue, if it is on it; false for an id that is not in the list.
    bool clear(int id);
    int queue_count() const;
    std::optional<Entry> queue_entry(int index) const;
    /// When the alarm was posted last, as the clock's 16 characters; empty before.
    std::string post_time(int index) const;

  private:
    std::optional<int> find(int id) const;

    std::vector<Alarm> list_;
    mutable std::mutex mutex_;
    std::vector<std::string> post_times_;  // by list index, guarded by mutex_
    std::vector<Entry> queue_;             // guarded by mutex_
    int posted_ = 0;                       // guarded by mutex_
};

}  // namespace sim
