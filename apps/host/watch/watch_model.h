// What the live screen shows, kept up to date by the messages that pass. Without clock, link or terminal.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "apps/host/console/printer.h"
#include "apps/host/watch/reports.h"

namespace host {

/// One thread at a time.
class WatchModel {
  public:
    using Time = std::chrono::steady_clock::time_point;

    void link(bool selected);
    /// `clock` is the time of day as text, shown beside events.
    void message(Direction direction, const sml::Message& message, const Names& names, Time now,
                 const std::string& clock);
    /// Lines of text; every one ends with a newline.
    std::string text(Time now) const;

  private:
    struct Wafer {
        std::string id, place, state;
    };
    using Key = std::pair<std::uint64_t, std::uint64_t>;  // load port and slot that it came from

    void control(const sml::Message& message);
    void event(const EventReport& event);
    void track(const EventReport& event);
    void alarms(const sml::Message& message);
    void keep(const AlarmReport& alarm);

    bool selected_ = false;
    std::string control_ = "unknown";
    std::string lot_;
    std::map<Key, Wafer> wafers_;
    std::map<std::uint32_t, std::string> alarms_;  // set, by ALID
    std::deque<std::string> events_;               // the last ones, the newest first
    std::deque<std::pair<Time, Direction>> passed_;
};

}  // namespace host
