#include "sim/tool/tool.h"

#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "../recorder.h"
#include "sim/controller/calls.h"
#include "sim/controller/events.h"
#include "sim/machine/machine.h"
#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {
namespace {

/// The text for each number from 1 to `last`, which takes the place of #.
std::string each(int last, const std::string& text) {
    std::string all;
    for (int i = 1; i <= last; ++i)
        for (const char c : text) all += c == '#' ? std::to_string(i) : std::string(1, c);
    return all;
}

constexpr const char* recipes =
    "recipe = [{kind = 'lot', name = 'BOTH', cluster_recipes = ['FIRST', 'SECOND']}, "
    "{kind = 'cluster', name = 'FIRST', modules = ['PM1', 'PM3'], pm_recipes = ['ETCH']}, "
    "{kind = 'cluster', name = 'SECOND', modules = ['PM3', 'PM1', 'PM1']}, "
    "{kind = 'pm', name = 'ETCH', steps = ['LIGHT', 'DARK']}]\n";

std::string tool_machine(const std::string& settings, int chambers = 4) {
    return "carrier_module = [" + each(3, "{name = 'LP#'}, ") + "]\nfunction = [" +
           each(3, "{name = 'SCHEDULER_INTERFACE_CM#'}, {name = 'SCHEDULER_MAINT_CM#'}, ") + "]\nstring = [" +
           each(3, "{name = 'CM#.ReadCID'}, {name = 'CM#.PPID'}, ") + "]\nprocess_module = [" +
           each(chambers, "{name = 'PM#'}, ") + "]\nanalog = [" +
           each(chambers, "{name = 'PM#.Pressure', value = 0.5, max = 100.0, decimals = 3}, ") +
           "]\nalarm = [" + each(chambers, "{id = #000, level = 2, text = 'PM# is hot'}, ") +
           "]\ndigital = [" + each(3, "{name = 'AccessModeStatus#'}, {name = 'LP#.Clamped'}, ") +
           each(chambers, "{name = 'PM#.State', value = 1}, ") +
           "{name = 'Tool.LotCount'}, {name = 'Tool.WafersInTool'}, {name = 'SignalTower.Red'}]\n"
           "tool.moving = true\n" +
           settings;
}

/// The tool without its thread: machine time passes as a script says. Its lines, with ";" between them:
///   place PORT, take PORT, ready PORT   a carrier comes, goes, comes and is open with its slot map accepted
///   run, until COMMAND                  to the end, or until a command that begins so has been posted
///   ?REQUEST = RESULT                   asks the scheduler
///   #COMMAND = N                        as many commands that begin so were posted
///   POINT [CM [SLOT]] = VALUE           "-" for an empty one
class Tool {
  public:
    explicit Tool(const std::string& settings = "", int chambers = 4) {
        machine().load_text(tool_machine(settings, chambers));
        cluster_.emplace(state(), [this](const ToolEvent& event) { events.push_back(event); });
    }

    void play(const std::string& script) {
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line, ';');) {
            line = trim(line);
            const std::size_t at = line.rfind(" = ");
            if (at == std::string::npos) {
                act(line);
            } else {
                const std::string value = value_of(line.substr(0, at));
                EXPECT_EQ(value.empty() ? "-" : value, line.substr(at + 3)) << line << "\nof " << script;
            }
        }
    }
    Timeline& timeline() { return cluster_->timeline(); }

    int count(const std::string& command) const {
        return static_cast<int>(std::ranges::count_if(
            events, [&](const ToolEvent& event) { return event.text.starts_with(command); }));
    }
    /// The commands of one wafer, or of all, that begin so.
    std::string told(const std::string& command, std::optional<int> slot = {}) const {
        std::string text;
        for (const ToolEvent& event : events)
            if (event.text.starts_with(command) && (!slot || event.slot == *slot))
                text += (text.empty() ? "" : "; ") + event.text;
        return text;
    }

    std::vector<ToolEvent> events;

  private:
    void act(std::string_view rest) {
        const std::string_view verb = take_word(rest);
        const int port = read_int(rest).value_or(0) - 1;
        const std::string number = to_text(port + 1);
        if (verb == "place") cluster_->carrier_placed(port, "FOUP" + number);
        if (verb == "take") cluster_->carrier_taken(port);
        if (verb == "run")
            while (timeline().next()) timeline().run_next();
        if (verb == "until") {
            const int before = count(std::string(rest));
            while (count(std::string(rest)) == before && timeline().next()) timeline().run_next();
            EXPECT_GT(count(std::string(rest)), before) << rest << " never came";
        }
        if (verb == "ready")
            play("place " + number + "; run; ?ProceedWithCarrierID" + number +
                 "(F) = 3; run; ?ProceedWithSlotMap" + number + "(F) = 3; run");
    }
    std::string value_of(std::string_view what) {
        if (what.starts_with('?')) return to_text(cluster_->request(what.substr(1)));
        if (what.starts_with('#')) return to_text(count(std::string(what.substr(1))));
        const std::string_view name = take_word(what);
        if (state().points.find(name)) return machine().io(name);
        const int cm = read_int(take_word(what)).value_or(-1);
        return machine().ctc(name, cm, read_int(what).value_or(-1));
    }

    std::optional<Cluster> cluster_;
};

TEST(Tool, DoesWhatTheHostAsksFor) {
    const std::pair<std::string, const char*> scripts[] = {
        {"",
         "?START0(F) = 101; ?START4(F) = 101; ?START1 = 2; ?START(F) = 2; ?JUMP1(F) = 2; ?PAUSE1(F) = 2;"
         "?ReadCarrierID1(F) = 2; ?ChangeAccessMode1(F) 2 = 2; ?ChangeAccessMode1(F) 1 = 3;"
         "AccessModeStatus1 = 1; #PORT_AMHS 2|0 = 1"},
        {"",
         "place 1; ?START1(F) = 103; run; ?START1(F) = 2; ?ProceedWithSlotMap1(F) = 2; ?STOP1(F) = 2;"
         "?ReadCarrierID1(F) = 3; run; ?LockWithCarrierID1(F) = 3; run; ?UnlockWithCarrierID1(F) = 3; run;"
         "?LoadWithCarrierID1(F) = 3; run; ?StartProcess1(F) J,R,0,25 = 2; ?StartProcess1(F) J,R,9,8 = 2;"
         "?StartProcess1(F) J,R,1,26 = 2; ?StartProcess1(F) J,R,x,8 = 2; ?StartProcess1(F) J = 2;"
         "?RESUME1(F) = 2; ?START1(F) = 3; ?StartProcess1(F) J,R,1,25 = 105; ?RESUME1(F) = 2;"
         "?UnloadWithCarrierID1(F) = 102; ?ChangeAccessMode1(F) 0 = 102; ?PAUSE2(F) = 2"},
        // Paused, what is under way ends and nothing new begins.
        {"",
         "ready 1; ?START1(F) = 3; until PM_STATE 1|3; ?PAUSE1(F) = 3; MAIN_CONTROL 0 = 2; run;"
         "#SUBST_TRACK 0|0|24||4 = 0; #PRCSJOB_STATE 5 = 0; ?RESUME1(F) = 3; run;"
         "#PRCSJOB_STATE 3 = 1; WAFER_REAL_COUNT 0 = 25; #PRCSJOB_STATE 5 = 1; Tool.LotCount = 1"},
        // Stopped, what is under way comes back; also a lot that is paused.
        {"",
         "ready 1; ?START1(F) = 3; until PM_STATE 1|0; ?PAUSE1(F) = 3; ?STOP1(F) = 3; MAIN_CONTROL 0 = 3;"
         "run; #PRCSJOB_STATE 6 = 1; WAFER_REAL_COUNT 0 = 2; WAFER_TARGET_COUNT 0 = 2; Tool.LotCount = 0;"
         "CMx_Wafer_Status 0 0 = 3; CMx_Wafer_Status 0 24 = 1; Tool.WafersInTool = 0"},
        // Aborted at once, by request or with the carrier; the other port's lot goes on.
        {"tool.alarm_rate = 1.0",
         "ready 1; ready 2; ?START1(F) = 3; ?START2(F) = 3; until PM_STATE 5|0;"
         "?ABORT1(F) = 3; #PRCSJOB_STATE 7|0 = 1; #PM_STATE 6|0|1 = 1; MAIN_CONTROL 0 = 0;"
         "CMx_Wafer_Status 0 0 = 4; CMx_Wafer_Status 0 24 = 1; run; #PRCSJOB_STATE 5|1 = 1;"
         "WAFER_REAL_COUNT 1 = 25; Tool.WafersInTool = 0"},
        {"tool.alarm_rate = 1.0",
         "ready 1; ?START1(F) = 3; until PM_STATE 5|0; take 1; #PRCSJOB_STATE 7|0 = 1; run;"
         "CMx_Wafer_Status 0 0 = 0; Tool.WafersInTool = 0; #SEND_ALARM_CLEAR 1000 = 1"},
        // A wafer that the robot has not picked yet has not left its slot.
        {"",
         "ready 1; ?START1(F) = 3; ?ABORT1(F) = 3; run; #SUBST_TRACK 0|0|0||11 = 0;"
         "CMx_Wafer_Status 0 0 = 1; Tool.WafersInTool = 0"},
        {"", "ready 1; ?START1(F) = 3; take 1; run; #SUBST_TRACK 0|0|0||11 = 0; Tool.WafersInTool = 0"},
        // Wafers are processed once.
        {"",
         "ready 1; ?StartProcess1(F) J,R,1,2 = 3; run; ?LoadWithCarrierID1(F) = 3; run;"
         "?StartProcess1(F) J,R,2,3 = 3; WAFER_TARGET_COUNT 0 = 1; run; ?LoadWithCarrierID1(F) = 3; run;"
         "?StartProcess1(F) J,R,1,3 = 2"},
        {recipes,
         "ready 1; ?START1(F) = 2; ?StartProcess1(F) J,NONE,1,1 = 2; ?StartProcess1(F) J,BOTH,1,1 = 3"},
        // The id is known from its reading until the events of the removal are out.
        {"",
         "place 1; until CARRIER_ACTION 1|0; CMx_RFID 0 = FOUP1; CMx_CarrierID 0 = -; until CARRIER_ID 1;"
         "CMx_CarrierID 0 = FOUP1; CM1.ReadCID = FOUP1; run; take 1; #PORT_STATE 12|0 = 1; CMx_Carrier 0 = 0;"
         "CMx_CarrierID 0 = FOUP1; run; CMx_CarrierID 0 = -; CM1.ReadCID = -"},
        // An unloaded carrier remains until somebody takes it, or the host wants it back.
        {"",
         "ready 1; ?UnloadWithCarrierID1(F) = 3; run; CMx_Carrier 0 = 1; LP1.Clamped = 0;"
         "#CARRIER_ACTION 2|0 = 1; ?LockWithCarrierID1(F) = 3; run; ?UnloadWithCarrierID1(F) = 3; run;"
         "LP1.Clamped = 0; #PORT_STATE 12|0 = 0; ?START1(F) = 2; take 1; #PORT_STATE 12|0 = 1"},
        {"tool.fetch_after = 50.0",
         "ready 1; ?START1(F) = 3; run; CMx_Carrier 0 = 1; ?UnloadWithCarrierID1(F) = 3;"
         "run; CMx_Carrier 0 = 0; #PORT_STATE 12|0 = 1"},
        {"tool.fetch_after = 50.0",
         "ready 1; ?UnloadWithCarrierID1(F) = 3; until CARRIER_ACTION 2|0;"
         "?LoadWithCarrierID1(F) = 3; run; CMx_Carrier 0 = 1; ?START1(F) = 3"},
    };
    for (const auto& [settings, script] : scripts) Tool(settings).play(script);
    Tool("", 0).play("ready 1; ?START1(F) = 2");  // no process module
    Tool tool;
    state().points.function[1].status = Talwen::FUNC_RUNNING;
    tool.play("?ReadCarrierID1(F) = 104; ?ReadCarrierID2(F) = 2");  // maintenance, of the one port
}

TEST(Tool, ThreeLotsShareIt) {
    Tool tool("tool.alarm_rate = 0.2\n");
    tool.play(
        "ready 1; ready 2; ready 3; ?START1(F) = 3; ?START2(F) = 3; ?START3(F) = 3; run;"
        "Tool.LotCount = 3; Tool.WafersInTool = 0; #EQUIPMENT_STATE = 2");
    // No module ever holds two wafers, and the ports take turns.
    std::map<std::string, int> held;
    std::vector<int> turns;
    for (const ToolEvent& event : tool.events) {
        if (event.step == ToolStep::wafer_left_carrier) turns.push_back(event.port);
        if (event.text.starts_with("PM_STATE 1|")) {
            EXPECT_EQ(++held[event.text.substr(11)], 1);
        }
        if (event.text.starts_with("PM_STATE 2|")) --held[event.text.substr(11)];
    }
    for (std::size_t i = 3; i < 12; ++i) EXPECT_EQ(turns[i], turns[i - 3]);
    EXPECT_EQ(std::set<int>(turns.begin(), turns.begin() + 3).size(), 3U);
}

TEST(Tool, FollowsTheRecipesPath) {
    Tool tool(recipes);
    tool.play(
        "ready 1; ?StartProcess1(F) J,BOTH,1,8 = 3; run; WAFER_REAL_COUNT 0 = 8");  // the two ways cross
    for (int slot = 0; slot < 8; ++slot) {
        const std::string moves = tool.told("SUBST_TRACK", slot);
        EXPECT_EQ(moves.find("|PM1|") < moves.find("|PM3|"), slot % 2 == 0) << moves;
        EXPECT_EQ(std::ranges::count(tool.told("PM_STATE 3", slot), ';') + 1, slot % 2 == 0 ? 2 + 5 : 3 * 5);
    }
    EXPECT_TRUE(
        tool.told("PM_STATE 3", 0).starts_with("PM_STATE 3|0|LIGHT|1; PM_STATE 3|0|DARK|2; PM_STATE 3|2|"));
}

TEST(Tool, TheSeedAloneDecides) {
    const auto events_of = [](const char* settings) {
        Tool tool(settings);
        tool.play("ready 1; ?START1(F) = 3; run");
        EXPECT_NEAR(static_cast<double>(tool.events.back().time) / 60000, 71, 11) << "a little over an hour";
        return tool.events;
    };
    const auto first = events_of("tool.seed = 5\ntool.alarm_rate = 0.3\n");
    EXPECT_EQ(first, events_of("tool.seed = 5\ntool.alarm_rate = 0.3\ntool.speed = 7000.0\n"))
        << "speed only scales";
    EXPECT_NE(first, events_of("tool.seed = 6\ntool.alarm_rate = 0.3\n"));
}

TEST(Tool, AnAlarmHoldsItsModuleAndPointsFollowTheRecipe) {
    Tool tool("tool.alarm_rate = 1.0\n", 1);
    tool.play("ready 1; ?StartProcess1(F) J,R,1,3 = 3; until PM_STATE 3|0|MAIN; PM1.Pressure = 25.5");
    std::set<std::string> seen;
    for (int i = 0; i < 20; ++i) {
        tool.timeline().run_next();
        seen.insert(machine().io("PM1.Pressure"));
    }
    EXPECT_GT(seen.size(), 10U) << "noise";
    tool.play(
        "run; PM1.State = 1; PM1.Pressure = 0.5; #ALARM_REPORT 1|1000|132|PM1 is hot = 3;"
        "#SEND_ALARM_POST 1000 = 3; #ALARM_REPORT 2|1000|4|PM1 is hot = 3; WAFER_REAL_COUNT 0 = 3");
    const auto held = std::ranges::find(tool.events, ToolStep::step_held, &ToolEvent::step);
    const auto cleared = std::ranges::find(tool.events, ToolStep::alarm_cleared, &ToolEvent::step);
    EXPECT_NEAR(static_cast<double>(cleared->time - held->time), 30000, 15000);
}

TEST(ToolThread, MovesOnlyWhenItIsToAndAResultThatIsSetWins) {
    for (const bool moves : {false, true}) {
        machine().load_text(tool_machine(moves ? "tool.speed = 10000.0\n" : "tool.speed = 0\n"));
        machine().carrier_arrives(2, "EARLY");  // there when the tool starts
        Recorder module;
        ModuleRunner runner(module);
        runner.start();
        if (moves) module.wait_for("PORT_STATE 3|1");
        set_result("QSCH_RUN_F_SCHEDULER", 103);
        EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("ChangeAccessMode1(F) 1"), 103);
        set_result("QSCH_RUN_F_SCHEDULER", 3);
        EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("START1(F)"), 3) << "though no carrier is there";
        EXPECT_EQ(machine().io("AccessModeStatus1"), "0");
        EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("ChangeAccessMode1(F) 1"), 3);
        EXPECT_EQ(machine().io("AccessModeStatus1"), moves ? "1" : "0");
        EXPECT_TRUE(module.QSCH_EVENT_F_MAIN_MONITOR("$FA SIGNALTOWER  RED:%d|GREEN:%d", 2, 0));
        runner.stop();
        EXPECT_EQ(machine().io("SignalTower.Red"), "2");
        EXPECT_EQ(module.heard().empty(), !moves);
    }
}

/// Reads at every event what the event is about.
class SlowReader : public Recorder {
  public:
    void QProgram_Event_Code(const char* text) override {
        Talwen::QTime_MSleep(1);
        Recorder::QProgram_Event_Code((std::string(text) + QIO_Get_CTC_CMx_CarrierID(0)).c_str());
    }
};

TEST(ToolThread, AStepWaitsForTheModule) {
    machine().load_text(tool_machine("tool.speed = 1000000.0\n"));
    SlowReader module;
    ModuleRunner runner(module);
    runner.start();
    machine().carrier_arrives(1, "C");
    module.wait_for("PORT_STATE 3|0C");
    machine().carrier_removed(1);
    module.wait_for("PORT_STATE 12|0C");
    runner.stop();
    EXPECT_EQ(module.heard()[1], "PORT_STATE 1|0") << "its id has not been read yet";
}

}  // namespace
}  // namespace sim
