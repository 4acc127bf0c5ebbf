#include "sim/tool/tool.h"

#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "recorder.h"
#include "sim/controller/calls.h"
#include "sim/controller/events.h"
#include "sim/machine/machine.h"
#include "sim/tool/cluster.h"

namespace sim {
namespace {

using enum ToolStep;

/// The row for each number from 1 to `last`, which stands for #.
std::string each(int last, const std::string& row) {
    std::string rows;
    for (int i = 1; i <= last; ++i)
        for (const char c : row) rows += c == '#' ? std::to_string(i) : std::string(1, c);
    return rows;
}

std::string tool_machine(const std::string& settings, int chambers = 4) {
    return "carrier_module = [" + each(3, "{name = 'LP#'}, ") + "]\nfunction = [" +
           each(3, "{name = 'SCHEDULER_INTERFACE_CM#'}, {name = 'SCHEDULER_MAINT_CM#'}, ") + "]\nstring = [" +
           each(3, "{name = 'CM#.ReadCID'}, {name = 'CM#.LotID'}, {name = 'CM#.PPID'}, ") +
           "]\nprocess_module = [" + each(chambers, "{name = 'PM#'}, ") + "]\nanalog = [" +
           each(chambers, "{name = 'PM#.Pressure', value = 0.5, max = 100.0, decimals = 3}, ") +
           "]\nalarm = [" + each(chambers, "{id = #000, level = 2, text = 'PM# is hot'}, ") +
           "]\ndigital = [" + each(3, "{name = 'AccessModeStatus#'}, ") +
           each(chambers, "{name = 'PM#.State', value = 1}, ") +
           "{name = 'Tool.LotCount'}, {name = 'Tool.WafersInTool'}, {name = 'SignalTower.Red'}, "
           "{name = 'SignalTower.Buzzer'}]\n"
           "recipe = [{kind = 'lot', name = 'BOTH', cluster_recipes = ['FIRST', 'SECOND']}, "
           "{kind = 'cluster', name = 'FIRST', modules = ['PM1', 'PM3'], pm_recipes = ['ETCH']}, "
           "{kind = 'cluster', name = 'SECOND', modules = ['PM3', 'PM1', 'PM1']}, "
           "{kind = 'pm', name = 'ETCH', steps = ['LIGHT', 'DARK']}]\n[tool]\nmoving = true\n" +
           settings;
}

/// Values of points, those of the controller's with their module and slot.
std::string values(std::initializer_list<const char*> points) {
    std::string text;
    for (const char* point : points) {
        std::istringstream words(point);
        std::string name;
        int place = -1;
        int slot = -1;
        words >> name >> place >> slot;
        const bool io = name.find('.') != std::string::npos;
        text += (text.empty() ? "" : " ") + (io ? machine().io(name) : machine().ctc(name, place, slot));
    }
    return text;
}

/// The tool without its thread: machine time passes when the test says so.
class Tool {
  public:
    explicit Tool(const std::string& settings = "", int chambers = 4) {
        machine().load_text(tool_machine(settings, chambers));
        cluster_.emplace(state(), [this](const ToolEvent& event) { events.push_back(event); });
    }

    int ask(const std::string& request) { return cluster_->request(request); }
    void run() {
        while (timeline().next()) timeline().run_next();
    }
    /// Until a step of that kind has been told, or nothing is left to do.
    bool run_until(ToolStep step) {
        const std::size_t before = count(step);
        while (count(step) == before && timeline().next()) timeline().run_next();
        return count(step) > before;
    }
    void place(int port, const std::string& id) { cluster_->carrier_placed(port - 1, id); }
    int take(int port) { return cluster_->carrier_taken(port - 1), 3; }
    /// A carrier that is open, its slot map accepted.
    void make_ready(int port) {
        place(port, "FOUP" + std::to_string(port));
        run();
        for (const std::string request : {"ProceedWithCarrierID", "ProceedWithSlotMap"}) {
            EXPECT_EQ(ask(request + std::to_string(port) + "(F)"), 3);
            run();
        }
    }
    /// Starts a lot of a carrier that is ready then; of the whole carrier without arguments.
    void start(int port, const std::string& arguments = "") {
        make_ready(port);
        const std::string rest = std::to_string(port) + "(F)";
        EXPECT_EQ(ask(arguments.empty() ? "START" + rest : "StartProcess" + rest + " " + arguments), 3);
    }
    Timeline& timeline() { return cluster_->timeline(); }
    PortState port_state(int port) const { return cluster_->port_state(port - 1); }

    std::size_t count(ToolStep step) const {
        return static_cast<std::size_t>(std::ranges::count(events, step, &ToolEvent::step));
    }
    /// The commands that were posted, of one kind of step or of all, of one wafer or of all.
    std::string told(std::optional<ToolStep> step = {}, std::optional<int> slot = {}) const {
        std::string text;
        for (const ToolEvent& event : events)
            if ((!step || event.step == *step) && (!slot || event.slot == *slot))
                text += (text.empty() ? "" : "; ") + event.text;
        return text;
    }

    std::vector<ToolEvent> events;

  private:
    std::optional<Cluster> cluster_;
};

TEST(Tool, RunsALotOfTwentyFiveWafersInLittleOverAnHour) {
    Tool tool;
    machine().set_mem("CM1.LotID", "LOT7");
    tool.start(1, "JOB7,RECIPE7,1,25");
    const auto began = tool.timeline().now();
    EXPECT_EQ(values({"MAIN_CONTROL 0", "RUN_CONTROL", "JOB_ID 0", "LOT_RECIPE 0", "WAFER_TARGET_COUNT 0",
                      "WAFER_REAL_COUNT 0", "CM1.LotID"}),
              "1 1 JOB7 RECIPE7 25 0 LOT7");
    ASSERT_TRUE(tool.run_until(process_started));
    EXPECT_EQ(values({"CMx_Wafer_Status 0 0"}), "2");
    tool.run();
    EXPECT_NEAR(static_cast<double>(tool.timeline().now() - began) / 60000.0, 70, 10);
    for (int slot = 0; slot < 25; ++slot) {
        EXPECT_EQ(std::ranges::count(tool.events, slot, &ToolEvent::slot), 29) << slot;
        EXPECT_EQ(machine().ctc("CMx_Wafer_Status", 0, slot), "3");
    }
    EXPECT_EQ(values({"MAIN_CONTROL 0", "RUN_CONTROL", "WAFER_REAL_COUNT 0", "Tool.LotCount",
                      "Tool.WafersInTool", "CM1.ReadCID"}),
              "0 0 25 1 0 FOUP1");
    EXPECT_EQ(tool.told(lot_completed), "PRCSJOB_STATE 5|0; CARRIER_ACCESS 3|0; PORT_STATE 8|0");
    EXPECT_EQ(tool.port_state(1), PortState::undocked);
    EXPECT_EQ(tool.ask("UnloadWithCarrierID1(F)"), 3);
    tool.run();
    EXPECT_EQ(tool.port_state(1), PortState::empty);
    EXPECT_EQ(values({"CMx_CarrierID 0"}), "");
}

TEST(Tool, PostsTheCommandsOfEachStep) {
    Tool tool("", 1);
    tool.make_ready(2);
    EXPECT_TRUE(tool.told().starts_with(
        "PORT_MATERIAL 1|1; PORT_STATE 1|1; CARRIER_ASSOC 1|1; CARRIER_ACTION 1|1; PORT_STATE 2|1; "
        "CARRIER_ID 1|1; CARRIER_ACTION 11|1; PORT_STATE 3|1; CARRIER_ID 2|1; CARRIER_ACTION 21|1; "
        "CARRIER_MAP 1|1; PORT_STATE 4|1; "))
        << tool.told();
    tool.events.clear();
    ASSERT_EQ(tool.ask("StartProcess2(F) J,R,4,4"), 3);
    tool.run();
    EXPECT_EQ(tool.told(),
              "EQUIPMENT_STATE 2; PRCSJOB_STATE 1|1; PORT_STATE 5|1; CARRIER_ACCESS 2|1; "
              "SUBST_TRACK 0|1|3|LP2|5|3|EFEM|0; SUBST_TRACK 0|1|3|EFEM|6|0|Aligner|0; "
              "SUBST_TRACK 0|1|3||14|||; SUBST_OCR 1|1|3; SUBST_TRACK 0|1|3|Aligner|7|0|EFEM|0; "
              "SUBST_TRACK 0|1|3|EFEM|6|0|LL1|0; SUBST_TRACK 0|1|3|LL1|7|0|TM|0; "
              "SUBST_TRACK 0|1|3|TM|6|0|PM1|0; PM_STATE 1|0; SUBST_TRACK 0|1|3||9|||; "
              "PM_STATE 3|0|PUMP|1; PM_STATE 4|0|PUMP|1; PM_STATE 3|0|STABLE|2; PM_STATE 4|0|STABLE|2; "
              "PM_STATE 3|0|MAIN|3; PM_STATE 4|0|MAIN|3; PM_STATE 3|0|OVER|4; PM_STATE 4|0|OVER|4; "
              "PM_STATE 3|0|PURGE|5; PM_STATE 4|0|PURGE|5; PM_STATE 6|0|0; SUBST_TRACK 0|1|3||10|||; "
              "PM_STATE 2|0; SUBST_TRACK 0|1|3|PM1|7|0|TM|0; SUBST_TRACK 0|1|3|TM|6|0|LL2|0; "
              "SUBST_TRACK 0|1|3|LL2|7|0|EFEM|0; SUBST_TRACK 0|1|3|EFEM|8|0|LP2|3; "
              "SUBST_TRACK 0|1|3||4|||; PRCSJOB_STATE 5|1; CARRIER_ACCESS 3|1; PORT_STATE 8|1; "
              "EQUIPMENT_STATE 1; CARRIER_ACTION 22|1; CARRIER_ACTION 12|1; CARRIER_ACTION 2|1");
}

TEST(Tool, ThreeLotsAtOnceShareIt) {
    Tool tool("alarm_rate = 0.2\n");
    for (const int port : {1, 2, 3}) tool.make_ready(port);
    for (const char* start : {"START1(F)", "START2(F)", "START3(F)"}) ASSERT_EQ(tool.ask(start), 3);
    tool.run();
    EXPECT_EQ(values({"Tool.LotCount"}), "3");
    EXPECT_EQ(tool.count(wafer_at_destination), 75U);
    EXPECT_EQ(tool.count(equipment_running) + tool.count(equipment_idle), 2U);
    // No place ever holds two wafers, and each of the first twelve released is another port's turn.
    std::map<std::string, int> held;
    std::vector<int> turns;
    for (const ToolEvent& event : tool.events) {
        if (event.step == wafer_left_carrier) turns.push_back(event.port);
        if (event.step == process_started && event.text.starts_with("PM")) {
            EXPECT_EQ(++held[event.text.substr(11)], 1);
        }
        if (event.step == chamber_idle) --held[event.text.substr(11)];
    }
    for (std::size_t i = 3; i < 12; ++i) EXPECT_EQ(turns[i], turns[i - 3]);
    EXPECT_EQ(std::set<int>(turns.begin(), turns.begin() + 3).size(), 3U);
}

TEST(Tool, FollowsTheRecipesPath) {
    Tool tool;
    tool.start(1, "J,BOTH,1,8");  // the two ways through PM1 and PM3 cross
    tool.run();
    for (int slot = 0; slot < 8; ++slot) {
        const bool first = slot % 2 == 0;
        const std::string picked = tool.told(wafer_picked, slot);
        EXPECT_EQ(picked.find("|PM1|") < picked.find("|PM3|"), first) << picked;
        EXPECT_EQ(std::ranges::count(picked, ';'), 4) << "none between two processes in PM1";
        EXPECT_EQ(std::ranges::count(tool.told(step_started, slot), ';') + 1, first ? 2 + 5 : 3 * 5) << slot;
    }
    EXPECT_TRUE(tool.told(step_started, 0)
                    .starts_with("PM_STATE 3|0|LIGHT|1; PM_STATE 3|0|DARK|2; PM_STATE 3|2|PUMP|1; "));
}

TEST(Tool, TheSeedAloneDecides) {
    const auto events_of = [](const char* settings) {
        Tool tool(settings);
        tool.start(1);
        tool.run();
        return tool.events;
    };
    const auto first = events_of("seed = 5\nalarm_rate = 0.3\n");
    EXPECT_EQ(first, events_of("seed = 5\nalarm_rate = 0.3\nspeed = 7000.0\n")) << "speed only scales";
    EXPECT_NE(first, events_of("seed = 6\nalarm_rate = 0.3\n"));
    EXPECT_EQ(events_of("seed = 5\n"), events_of("seed = 6\n"));
}

TEST(Tool, AnAlarmHoldsItsModuleAndClears) {
    Tool tool("alarm_rate = 1.0\n", 1);
    tool.start(1, "J,R,1,3");
    ASSERT_TRUE(tool.run_until(step_held));
    EXPECT_EQ(tool.told(alarm_set), "SEND_ALARM_POST 1000; ALARM_REPORT 1|1000|132|PM1 is hot");
    EXPECT_EQ(state().alarms.queue_count(), 1);
    EXPECT_EQ(values({"PM1.State"}), "6");
    const auto struck = tool.events.back().time;
    ASSERT_TRUE(tool.run_until(alarm_cleared));
    EXPECT_NEAR(static_cast<double>(tool.events.back().time - struck), 30000, 15000);
    EXPECT_EQ(tool.told(alarm_cleared), "SEND_ALARM_CLEAR 1000; ALARM_REPORT 2|1000|4|PM1 is hot");
    EXPECT_EQ(state().alarms.queue_count(), 0);
    tool.run();
    EXPECT_EQ(tool.count(alarm_set), 6U) << "two commands for each of three wafers";
    EXPECT_EQ(tool.count(wafer_at_destination), 3U);
}

TEST(Tool, PointsFollowTheRecipeAndRestAfterwards) {
    Tool tool;
    tool.start(1, "J,R,1,1");
    while (tool.count(step_started) < 3) ASSERT_TRUE(tool.run_until(step_started));
    EXPECT_EQ(values({"PM1.Pressure"}), "25.5") << "rest value and a quarter of the range";
    std::set<std::string> seen;
    for (int i = 0; i < 20; ++i) {
        tool.timeline().run_next();
        seen.insert(values({"PM1.Pressure"}));
        EXPECT_NEAR(std::stod(values({"PM1.Pressure"})), 25.5, 0.5);
    }
    EXPECT_GT(seen.size(), 10U);
    EXPECT_EQ(values({"PM1.State"}), "2");
    tool.run();
    EXPECT_EQ(values({"PM1.Pressure", "PM1.State"}), "0.5 1");
}

TEST(Tool, PauseHoldsNewMovesAndResumeGoesOn) {
    Tool tool;
    tool.start(1);
    while (tool.count(process_started) < 4) ASSERT_TRUE(tool.run_until(process_started));
    EXPECT_EQ(tool.ask("PAUSE1(F)"), 3);
    EXPECT_EQ(values({"MAIN_CONTROL 0"}), "2");
    const std::size_t released = tool.count(wafer_left_carrier);
    tool.run();  // what is under way ends
    EXPECT_LE(tool.count(wafer_left_carrier), released + 1);
    EXPECT_EQ(tool.count(wafer_at_destination), 0U);
    EXPECT_EQ(tool.count(process_started), tool.count(process_ended) * 2);
    EXPECT_EQ(tool.ask("RESUME1(F)"), 3);
    tool.run();
    EXPECT_EQ(tool.count(wafer_at_destination), 25U);
    EXPECT_EQ(tool.told(lot_paused), "PRCSJOB_STATE 2|0; PORT_STATE 6|0");
    EXPECT_EQ(tool.told(lot_resumed), "PRCSJOB_STATE 3|0; PORT_STATE 7|0");
}

TEST(Tool, StopBringsBackWhatIsUnderWay) {
    Tool tool;
    tool.start(1);
    ASSERT_TRUE(tool.run_until(process_started));
    tool.ask("PAUSE1(F)");
    EXPECT_EQ(tool.ask("STOP1(F)"), 3) << "also a lot that is paused";
    EXPECT_EQ(values({"MAIN_CONTROL 0"}), "3");
    const std::size_t released = tool.count(wafer_left_carrier);
    tool.run();
    EXPECT_GT(released, 1U);
    EXPECT_EQ(tool.count(wafer_at_destination), tool.count(wafer_left_carrier));
    EXPECT_LE(tool.count(wafer_left_carrier), released + 1) << "one may have been on its way to the robot";
    EXPECT_EQ(tool.told(lot_stopped), "PRCSJOB_STATE 6|0; CARRIER_ACCESS 4|0; PORT_STATE 9|0");
    EXPECT_EQ(values({"WAFER_TARGET_COUNT 0"}), values({"WAFER_REAL_COUNT 0"}));
    EXPECT_EQ(values({"CMx_Wafer_Status 0 24", "Tool.LotCount"}), "1 0");
    EXPECT_EQ(tool.port_state(1), PortState::undocked);
}

TEST(Tool, AbortEndsAtOnceAndLeavesTheToolToOthers) {
    for (const bool carrier_taken : {false, true}) {
        Tool tool("alarm_rate = 1.0\n");
        for (const int port : {1, 2}) tool.make_ready(port);
        for (const char* start : {"START1(F)", "START2(F)"}) tool.ask(start);
        ASSERT_TRUE(tool.run_until(step_held));  // with an alarm set
        EXPECT_EQ(carrier_taken ? tool.take(1) : tool.ask("ABORT1(F)"), 3);
        EXPECT_EQ(tool.told(lot_aborted), "PRCSJOB_STATE 7|0; CARRIER_ACCESS 4|0; PORT_STATE 10|0");
        EXPECT_GE(tool.count(wafer_aborted), 1U);
        EXPECT_TRUE(tool.told(process_ended).starts_with("PM_STATE 6|0|1"));
        EXPECT_EQ(state().alarms.queue_count(), 0);
        EXPECT_EQ(values({"MAIN_CONTROL 0", "CMx_Wafer_Status 0 0", "CMx_Wafer_Status 0 24"}),
                  carrier_taken ? "0 0 0" : "0 4 1");
        tool.run();
        EXPECT_EQ(tool.count(wafer_at_destination), 25U) << "the other port's lot";
        EXPECT_EQ(values({"Tool.WafersInTool"}), "0");
        EXPECT_EQ(tool.port_state(1), carrier_taken ? PortState::empty : PortState::undocked);
    }
}

TEST(Tool, RefusesWhatTheStateDoesNotAllow) {
    Tool tool("", 4);
    const auto answers = [&](const char* state_name, int result,
                             std::initializer_list<const char*> requests) {
        for (const char* request : requests) EXPECT_EQ(tool.ask(request), result) << request << state_name;
    };
    answers(" without a carrier", 101, {"START0(F)", "START4(F)"});
    answers(" without a carrier", 2,
            {"START1(F)", "START1", "START(F)", "JUMP1(F)", "PAUSE1(F)", "ABORT1(F)", "ReadCarrierID1(F)",
             "ProceedWithCarrierID1(F)", "ChangeAccessMode1(F) 2", "ChangeAccessMode1(F)"});
    answers(" without a carrier", 3, {"ChangeAccessMode1(F) 1"});
    EXPECT_EQ(machine().io("AccessModeStatus1"), "1");
    EXPECT_EQ(tool.told(access_mode_changed), "PORT_AMHS 2|0");
    tool.place(1, "FOUP");
    answers(" while it docks", 103, {"START1(F)", "UnloadWithCarrierID1(F)", "JUMP1(F)"});
    tool.run();
    answers(" before the slot map", 2,
            {"START1(F)", "StartProcess1(F) J,R,1,25", "ProceedWithSlotMap1(F)", "STOP1(F)"});
    state().points.function[1].status = Talwen::FUNC_RUNNING;
    answers(" during maintenance", 104, {"ReadCarrierID1(F)"});
    answers(" during the other port's maintenance", 2, {"ReadCarrierID2(F)"});
    state().points.function[1].status = Talwen::FUNC_FINISHED;
    for (const char* request :
         {"ReadCarrierID1(F)", "UnlockWithCarrierID1(F)", "LockWithCarrierID1(F)", "LoadWithCarrierID1(F)"}) {
        answers(" in its turn", 3, {request});
        tool.run();
    }
    answers(" with an open carrier", 2,
            {"StartProcess1(F) J,R,0,25", "StartProcess1(F) J,R,1,26", "StartProcess1(F) J,R,9,8",
             "StartProcess1(F) J,R,x,8", "StartProcess1(F) J", "RESUME1(F)"});
    answers(" with a slot map that the start accepts", 3, {"START1(F)"});
    answers(" while the lot runs", 105, {"START1(F)", "StartProcess1(F) J,R,1,25"});
    answers(" while the lot runs", 102, {"UnloadWithCarrierID1(F)", "ChangeAccessMode1(F) 0"});
    answers(" while the lot runs", 2, {"RESUME1(F)", "PAUSE2(F)"});
    Tool bare("", 0);
    bare.make_ready(1);
    EXPECT_EQ(bare.ask("START1(F)"), 2) << "no process module";
}

constexpr const char* lights = "$FA SIGNALTOWER  RED:%d|GREEN:%d|YELLOW:%d|BLUE:%d";

TEST(ToolThread, StandsStillUnlessItIsToMove) {
    machine().load_text("carrier_module = [{name = 'LP1'}]\ndigital = [{name = 'SignalTower.Red'}]\n");
    Recorder module;
    ModuleRunner runner(module);
    runner.start();
    machine().carrier_arrives(1, "FOUP");
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("START1(F)"), 3);

    EXPECT_TRUE(module.QSCH_EVENT_F_MAIN_MONITOR(lights, 2, 0, 0, 0));
    runner.stop();
    EXPECT_EQ(values({"SignalTower.Red", "CMx_CarrierID 0"}), "0 FOUP");
    EXPECT_TRUE(module.heard().empty());
}

TEST(ToolThread, AResultThatIsSetWins) {
    machine().load_text(tool_machine("speed = 10000.0\n"));
    machine().carrier_arrives(2, "EARLY");  // stands there when the tool starts
    Recorder module;
    ModuleRunner runner(module);
    runner.start();
    module.wait_for("PORT_STATE 3|1");
    set_result("QSCH_RUN_F_SCHEDULER", 103);
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("ChangeAccessMode1(F) 1"), 103);
    EXPECT_EQ(machine().io("AccessModeStatus1"), "0") << "and the tool does nothing";
    set_result("QSCH_RUN_F_SCHEDULER", 3);
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("START1(F)"), 3) << "though no carrier is there";
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("ChangeAccessMode1(F) 1"), 3);
    EXPECT_EQ(machine().io("AccessModeStatus1"), "1");
    EXPECT_TRUE(module.QSCH_EVENT_F_MAIN_MONITOR(lights, 2, 0, 1, 0));
    EXPECT_TRUE(module.QSCH_EVENT_F_MAIN_MONITOR("$FA SIGNALTOWER  BUZZER:%d", 1));
    EXPECT_EQ(values({"SignalTower.Red", "SignalTower.Buzzer"}), "2 1");
}

}  // namespace
}  // namespace sim
