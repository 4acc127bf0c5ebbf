// The cluster tool's load ports: what a scheduler request may do, and the sequences of a carrier's coming and
// going.
#include <algorithm>
#include <string>

#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {

namespace {

// Of PortTransferCurStatus.
constexpr int transfer_blocked = 1, ready_to_load = 2, ready_to_unload = 3;

bool has_lot(PortState state) {
    return state == PortState::running || state == PortState::paused || state == PortState::stopping;
}

/// The result for a request that no row of the table allows in this state.
int refusal(std::string_view word, PortState state) {
    using Does = PortRequest::Does;
    const auto known = std::ranges::find(port_requests, word, &PortRequest::word);
    if (known == port_requests.end() || !has_lot(state)) return Talwen::FUNC_FAILED;
    if (known->does == Does::start_lot) return lot_runs;
    if (known->does == Does::sequence || known->does == Does::set_access_mode) return running_automatically;
    return Talwen::FUNC_FAILED;
}

}  // namespace

std::optional<Cluster::Words> Cluster::read_request(std::string_view text) {
    const std::size_t mark = text.find("(F)");
    if (mark == std::string_view::npos) return std::nullopt;
    const std::string_view head = text.substr(0, mark);
    const std::size_t digits = head.find_last_not_of("0123456789") + 1;
    const auto port = read_int(head.substr(digits));
    if (!port) return std::nullopt;
    return Words{head.substr(0, digits), trim(text.substr(mark + 3)), *port - 1};
}

int Cluster::request(std::string_view text) {
    const auto words = read_request(text);
    if (!words) return Talwen::FUNC_FAILED;
    if (words->port < 0 || static_cast<std::size_t>(words->port) >= ports_.size()) return no_such_port;
    const PortState state = port_at(words->port).state;
    if (routine_runs("SCHEDULER_MAINT_CM", words->port)) return maintenance_busy;
    if (state == PortState::busy || routine_runs("SCHEDULER_INTERFACE_CM", words->port))
        return interface_busy;
    const auto row = std::ranges::find_if(port_requests, [&](const PortRequest& request) {
        return request.word == words->word && request.in == state;
    });
    if (row == port_requests.end()) return refusal(words->word, state);
    return carry_out(*row, words->port, words->arguments);
}

int Cluster::carry_out(const PortRequest& request, int port, std::string_view arguments) {
    switch (request.does) {
        case PortRequest::Does::sequence: start_sequence(port, request.steps, request.then); break;
        case PortRequest::Does::start_lot: return start_lot(port, arguments);
        case PortRequest::Does::pause_lot: change_lot(port, PortState::paused, ToolStep::lot_paused); break;
        case PortRequest::Does::resume_lot:
            change_lot(port, PortState::running, ToolStep::lot_resumed);
            break;
        case PortRequest::Does::stop_lot:
            change_lot(port, PortState::stopping, ToolStep::lot_stopping);
            break;
        case PortRequest::Does::abort_lot: abort_lot(port); break;
        case PortRequest::Does::set_access_mode: return set_access_mode(port, arguments);
    }
    return Talwen::FUNC_FINISHED;
}

void Cluster::start_sequence(int port, std::span<const PortStep> steps, PortState then) {
    port_at(port).state = PortState::busy;
    set_routine(port, Talwen::FUNC_RUNNING);
    next_port_step(port, steps, then);
}

void Cluster::next_port_step(int port, std::span<const PortStep> steps, PortState then) {
    if (steps.empty()) {
        port_at(port).state = then;
        set_routine(port, Talwen::FUNC_FINISHED);
        if (then == PortState::unloaded) await_fetch(port);
        return;
    }
    after(steps.front().seconds, port, [this, port, steps, then] {
        put_points(machine_, carrier_module(port).name, steps.front().points);
        port_step_done(port, steps.front().step);
        next_port_step(port, steps.subspan(1), then);
    });
}

/// What a step does beside the port's points; then its events are posted.
void Cluster::port_step_done(int port, ToolStep step) {
    const std::string cm = "CM" + to_text(port + 1);
    switch (step) {
        case ToolStep::carrier_placed:
            transfer_state(port, transfer_blocked);
            count_point(machine_, carrier_module(port).name, "CarrierCount");
            break;
        case ToolStep::carrier_id_read:
            set_ctc(Ctc::CMx_CarrierID, port, -1, ctc_text(Ctc::CMx_RFID, port, -1));
            put_point(machine_, cm, "ReadCID", ctc_text(Ctc::CMx_RFID, port, -1));
            break;
        case ToolStep::slot_map_read: map_slots(port); break;
        case ToolStep::carrier_unclamped: transfer_state(port, ready_to_unload); break;
        case ToolStep::carrier_removed:
            take_carrier(carrier_module(port));
            transfer_state(port, ready_to_load);
            break;
        default: break;
    }
    tell_port(step, port);
    if (step != ToolStep::slot_map_read) return;
    for (int slot = 0; slot < carrier_module(port).slots; ++slot) {
        if (ctc_number(Ctc::CMx_Wafer_Status, port, slot) != no_wafer)
            tell(ToolStep::wafer_at_source, {.port = port, .slot = slot});
    }
}

void Cluster::map_slots(int port) {
    std::string map;
    for (int slot = 0; slot < carrier_module(port).slots; ++slot) {
        map += ctc_number(Ctc::CMx_Wafer_Status, port, slot) != no_wafer ? '1' : '0';
    }
    const auto wafers = static_cast<int>(std::ranges::count(map, '1'));
    put_point(machine_, carrier_module(port).name, "SlotMap", map);
    put_point(machine_, carrier_module(port).name, "WaferCount", wafers);
}

void Cluster::carrier_placed(int port, std::string_view id) {
    if (port_at(port).state != PortState::empty) vacate(port);
    put_carrier(carrier_module(port), id);
    start_sequence(port, arrival, PortState::identified);
}

void Cluster::carrier_taken(int port) {
    if (port_at(port).state != PortState::empty) vacate(port);
}

/// A simulated operator comes for the carrier that the host has unloaded.
void Cluster::await_fetch(int port) {
    if (!(machine_.tool.fetch_after > 0)) return;
    const std::uint64_t unload = ++port_at(port).unloads;
    after(std::min(machine_.tool.fetch_after, 1e9), port, [this, port, unload] {
        if (port_at(port).state == PortState::unloaded && port_at(port).unloads == unload) vacate(port);
    });
}

/// The carrier is gone; a lot or a sequence at the port ends.
void Cluster::vacate(int port) {
    if (port_at(port).lot) abort_lot(port);
    ++port_at(port).epoch;
    port_at(port).state = PortState::empty;
    set_routine(port, Talwen::FUNC_FINISHED);
    put_points(machine_, carrier_module(port).name, empty_port);
    port_step_done(port, ToolStep::carrier_removed);
    after(0, port, [this, port] { forget_carrier(port); });
}

/// One step after the removal, so that its events still carry the carrier's data.
void Cluster::forget_carrier(int port) {
    const std::string cm = "CM" + to_text(port + 1);
    for (const char* point : {"ReadCID", "LotID", "PPID"}) put_point(machine_, cm, point, "");
    put_point(machine_, carrier_module(port).name, "SlotMap", "");
    for (const Ctc point : {Ctc::CMx_CarrierID, Ctc::JOB_ID, Ctc::JOB_NAME, Ctc::LOT_RECIPE})
        set_ctc(point, port, -1, "");
    for (const Ctc point : {Ctc::WAFER_REAL_COUNT, Ctc::WAFER_TARGET_COUNT}) set_ctc(point, port, -1, 0);
}

int Cluster::set_access_mode(int port, std::string_view mode) {
    if (mode != "0" && mode != "1") return Talwen::FUNC_FAILED;
    put_point(machine_, "", "AccessModeStatus" + to_text(port + 1), mode);
    tell_port(ToolStep::access_mode_changed, port, mode == "0" ? 1 : 2);
    return Talwen::FUNC_FINISHED;
}

void Cluster::transfer_state(int port, int state) {
    const std::string number = to_text(port + 1);
    put_point(machine_, "", "PortTransferPreStatus" + number,
              memory_of(machine_, "PortTransferCurStatus" + number));
    put_point(machine_, "", "PortTransferCurStatus" + number, state);
}

bool Cluster::routine_runs(const char* name, int port) const {
    const auto point = machine_.points.find(name + to_text(port + 1));
    return point && point->type == Talwen::IO_FUNCTION &&
           machine_.points.function[static_cast<std::size_t>(point->index)].status == Talwen::FUNC_RUNNING;
}

void Cluster::set_routine(int port, Talwen::FUNC_STATUS status) {
    const auto point = machine_.points.find("SCHEDULER_INTERFACE_CM" + to_text(port + 1));
    if (!point || point->type != Talwen::IO_FUNCTION) return;
    machine_.points.function[static_cast<std::size_t>(point->index)].status = status;
}

}  // namespace sim
