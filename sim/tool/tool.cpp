#include "sim/tool/tool.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "sim/controller/events.h"
#include "sim/machine/state.h"
#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

std::mutex mutex;
std::condition_variable changed;
std::unique_ptr<Cluster> cluster;  // while the tool runs; guarded by mutex, like those below
std::size_t unheard = 0;           // events that were posted and that the module has not handled yet
bool stopping = false;
Clock::time_point anchor;                // the machine time anchor_time was, or is, at this moment
Timeline::Milliseconds anchor_time = 0;  // both move on when the tool was idle
std::thread thread;                      // started and joined by the thread that runs the module

void post(const ToolEvent& event) {
    ++unheard;
    post_event(event.text, [] {
        const std::lock_guard lock(mutex);
        if (--unheard == 0) changed.notify_all();
    });
}

Clock::time_point due(Timeline::Milliseconds time) {
    const std::chrono::duration<double, std::milli> real((static_cast<double>(time - anchor_time)) /
                                                         speed_of(state()));
    return anchor + std::chrono::duration_cast<Clock::duration>(real);
}

/// Brings machine time up to this moment before a request; from idle it goes on where it was.
void pass_time() {
    Timeline& timeline = cluster->timeline();
    const Clock::time_point now = Clock::now();
    if (timeline.next()) {
        const std::chrono::duration<double, std::milli> real = now - anchor;
        timeline.pass(anchor_time + static_cast<Timeline::Milliseconds>(real.count() * speed_of(state())));
    } else {
        anchor = now;
        anchor_time = timeline.now();
    }
}

/// Gives the request to the tool, if it runs.
template <class Request>
void with_tool(Request request) {
    const std::lock_guard lock(mutex);
    if (!cluster) return;
    pass_time();
    request(*cluster);
    changed.notify_all();
}

/// The next step waits until the module has handled the events of the last one: what it reads for them is
/// still true then, however fast the tool runs.
void run() {
    std::unique_lock lock(mutex);
    while (!stopping) {
        const auto next = cluster->timeline().next();
        if (!next || unheard > 0) {
            changed.wait(lock);
        } else if (const auto when = due(*next); when > Clock::now()) {
            changed.wait_until(lock, when);
        } else {
            cluster->timeline().run_next();
        }
    }
}

/// Carriers that were there before the tool.
void place_standing_carriers() {
    int port = 0;
    for (CarrierModule& module : state().carrier_modules) {
        if (module.points.number(static_cast<std::size_t>(Ctc::CMx_Carrier)) != 0) {
            set_carrier_id(module, "");
            cluster->carrier_placed(port, module.points.get(static_cast<std::size_t>(Ctc::CMx_RFID)));
        }
        ++port;
    }
}

/// The number after `name` and a colon.
std::optional<int> lamp(std::string_view event, std::string_view name) {
    const std::size_t at = event.find(std::string(name) + ":");
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view rest = event.substr(at + name.size() + 1);
    return read_int(trim(rest.substr(0, rest.find('|'))));
}

}  // namespace

void start_tool() {
    const std::lock_guard lock(mutex);
    if (cluster || !state().tool.moving || !(state().tool.speed > 0)) return;
    unheard = 0;
    stopping = false;
    cluster = std::make_unique<Cluster>(state(), post);
    anchor = Clock::now();
    anchor_time = 0;
    place_standing_carriers();
    thread = std::thread(run);
}

void stop_tool() {
    {
        const std::lock_guard lock(mutex);
        if (!cluster) return;
        stopping = true;
    }
    changed.notify_all();
    thread.join();
    const std::lock_guard lock(mutex);
    cluster.reset();
}

std::optional<int> ask_tool(std::string_view request) {
    std::optional<int> result;
    with_tool([&](Cluster& tool) { result = tool.request(request); });
    return result;
}

void tell_main_monitor(std::string_view event) {
    if (!state().tool.moving || !event.starts_with("$FA SIGNALTOWER")) return;
    constexpr std::array<std::pair<const char*, const char*>, 5> lamps = {{
        {"RED", "Red"},
        {"GREEN", "Green"},
        {"YELLOW", "Yellow"},
        {"BLUE", "Blue"},
        {"BUZZER", "Buzzer"},
    }};
    for (const auto& [name, point] : lamps) {
        if (const auto value = lamp(event, name)) put_point(state(), "SignalTower", point, *value);
    }
}

bool tool_places_carrier(int port, std::string_view id) {
    bool placed = false;
    with_tool([&](Cluster& tool) {
        tool.carrier_placed(port, id);
        placed = true;
    });
    return placed;
}

bool tool_takes_carrier(int port) {
    bool taken = false;
    with_tool([&](Cluster& tool) {
        tool.carrier_taken(port);
        taken = true;
    });
    return taken;
}

}  // namespace sim
