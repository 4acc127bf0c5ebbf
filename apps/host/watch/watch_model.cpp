#include "apps/host/watch/watch_model.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "apps/host/commands/values.h"

namespace host {
namespace {

using std::chrono::seconds;

constexpr std::size_t events_shown = 12;
constexpr std::size_t most_wafers = 200;  // more than any tool holds; a wrong report adds no more
constexpr seconds rate_window{5};

// Substrate tracking: what an event says of the wafer of its PortID and SlotID.
enum class Place : std::uint8_t {
    source,  // in the slot it came from
    target,  // where ToMdlName and ToMdlSlotID say
    same,
};
struct TrackingRow {
    std::uint32_t ceid;
    Place place;
    std::string_view state;
};
constexpr std::array tracking{
    TrackingRow{30101, Place::same, "id read"},     TrackingRow{30102, Place::same, "id not read"},
    TrackingRow{30201, Place::source, "waiting"},   TrackingRow{30202, Place::source, "done"},
    TrackingRow{30301, Place::target, "taken out"}, TrackingRow{30302, Place::target, "placed"},
    TrackingRow{30303, Place::target, "picked"},    TrackingRow{30304, Place::target, "put back"},
    TrackingRow{30401, Place::same, "in process"},  TrackingRow{30402, Place::same, "processed"},
    TrackingRow{30403, Place::same, "aborted"},     TrackingRow{30501, Place::same, "event 30501"},
    TrackingRow{30502, Place::same, "event 30502"}, TrackingRow{30601, Place::same, "aligned"},
    TrackingRow{30701, Place::same, "event 30701"},
};

// Events that report the control state.
struct ControlRow {
    std::uint32_t ceid;
    std::string_view state;
};
constexpr std::array control_events{
    ControlRow{10101, "off-line"},
    ControlRow{10103, "on-line local"},
    ControlRow{10104, "on-line remote"},
};

}  // namespace

void WatchModel::link(bool selected) {
    selected_ = selected;
    control_ = "unknown";
}

void WatchModel::message(Direction direction, const sml::Message& message, const Names& names, Time now,
                         const std::string& clock) {
    passed_.emplace_back(now, direction);
    while (passed_.front().first + rate_window < now) passed_.pop_front();
    if (direction == Direction::sent) return;
    control(message);
    alarms(message);
    if (const auto report = read_event(message, names)) event(*report);
    if (const std::string line = summary(message, names); !line.empty()) {
        events_.push_front(clock + " " + line);
        if (events_.size() > events_shown) events_.pop_back();
    }
}

void WatchModel::control(const sml::Message& message) {
    const auto acknowledged = [&](std::uint64_t least, std::uint64_t most) {
        const auto code = message.body ? first_number(*message.body) : std::nullopt;
        return code && *code >= least && *code <= most;
    };
    if (message.function == 0) control_ = "off-line";  // what is asked off-line is aborted
    if (message.stream != 1) return;
    if (message.function == 16 && acknowledged(0, 0)) control_ = "off-line";
    if (message.function == 18 && (acknowledged(0, 0) || acknowledged(2, 2))) control_ = "on-line";
    if ((message.function == 13 || message.function == 14) && control_ == "unknown")
        control_ = "communicating";
}

void WatchModel::event(const EventReport& event) {
    for (const ControlRow& row : control_events)
        if (row.ceid == event.ceid) control_ = row.state;
    track(event);
}

void WatchModel::track(const EventReport& event) {
    const auto* row = std::ranges::find(tracking, event.ceid, &TrackingRow::ceid);
    std::uint64_t port = 0;
    std::uint64_t slot = 0;
    const auto number = [&](std::string_view name, std::uint64_t& value) {
        const auto read = first_number(hsms::Item::ascii(event.value(name)));
        value = read.value_or(0);
        return read.has_value();
    };
    if (row == tracking.end() || !number("PortID", port) || !number("SlotID", slot)) return;
    const Key key{port, slot};
    if (wafers_.size() >= most_wafers && wafers_.count(key) == 0) return;
    Wafer& wafer = wafers_[key];
    const std::string source = fmt::format("port {} slot {}", port, slot);
    if (row->ceid == 30201) wafer = {};  // the first event of a wafer
    if (row->place == Place::source || wafer.place.empty()) wafer.place = source;
    if (const std::string module = event.value("ToMdlName"); row->place == Place::target && !module.empty())
        wafer.place = module + " " + event.value("ToMdlSlotID");
    wafer.state = row->state;
    // At its source a wafer is not read yet; the report has the id of the wafer before.
    if (const std::string id = event.value("WaferID"); row->place != Place::source && !id.empty())
        wafer.id = id;
    if (const std::string lot = event.value("LotID"); !lot.empty()) lot_ = lot;
}

void WatchModel::keep(const AlarmReport& alarm) {
    if (alarm.set())
        alarms_[alarm.alid] = alarm.text;
    else
        alarms_.erase(alarm.alid);
}

void WatchModel::alarms(const sml::Message& message) {
    if (message.stream != 5 || !message.body) return;
    if (message.function == 1) {
        if (const auto alarm = read_alarm(*message.body)) keep(*alarm);
    } else if (message.function == 6) {
        for (const hsms::Item& row : message.body->children)
            if (const auto alarm = read_alarm(row)) keep(*alarm);
    }
}

std::string WatchModel::text(Time now) const {
    const auto rate = [&](Direction direction) {
        const auto count = std::ranges::count_if(passed_, [&](const auto& entry) {
            return entry.second == direction && entry.first + rate_window >= now;
        });
        return static_cast<double>(count) / static_cast<double>(rate_window.count());
    };
    std::string text = fmt::format("link {}, control state {}, {:.1f} messages/s received, {:.1f} sent\n",
                                   selected_ ? "selected" : "not selected", control_,
                                   rate(Direction::received), rate(Direction::sent));
    text += fmt::format("wafers{}: {}\n", lot_.empty() ? "" : " of lot " + lot_, wafers_.size());
    for (const auto& [key, wafer] : wafers_)
        text += fmt::format("  {}.{:<3} {:<16} {:<20} {}\n", key.first, key.second, wafer.id, wafer.place,
                            wafer.state);
    text += fmt::format("alarms set: {}\n", alarms_.size());
    for (const auto& [alid, alarm] : alarms_) text += fmt::format("  {} {}\n", alid, alarm);
    text += "last events:\n";
    for (const std::string& line : events_) text += "  " + line + "\n";
    return text;
}

}  // namespace host
