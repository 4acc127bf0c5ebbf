#include "sim/tool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fa/framework/qsequence.h"
#include "fa/framework/qtime.h"
#include "sim/calls.h"
#include "sim/events.h"
#include "sim/machine.h"
#include "sim/module_runner.h"
#include "sim/tool_cluster.h"

namespace sim {
namespace {

using Texts = std::vector<std::string>;
using enum ToolStep;

std::string tool_machine(const std::string& settings, int chambers = 4) {
    std::string text = "[tool]\nmoving = true\n" + settings;
    for (const std::string n : {"1", "2", "3"}) {
        text += "\n[[carrier_module]]\nname = \"LP" + n + "\"\n";
        text += "[[function]]\nname = \"SCHEDULER_INTERFACE_CM" + n + "\"\n";
        text += "[[function]]\nname = \"SCHEDULER_MAINT_CM" + n + "\"\n";
        for (const char* point : {"ReadCID", "LotID", "PPID"})
            text += "[[string]]\nname = \"CM" + n + "." + point + "\"\n";
        text += "[[digital]]\nname = \"AccessModeStatus" + n + "\"\n";
    }
    for (int i = 1; i <= chambers; ++i) {
        const std::string name = "PM" + std::to_string(i);
        text += "\n[[process_module]]\nname = \"" + name + "\"\n";
        text += "[[analog]]\nname = \"" + name + ".Pressure\"\nvalue = 0.5\nmax = 100.0\ndecimals = 3\n";
        text += "[[digital]]\nname = \"" + name + ".State\"\nvalue = 1\n";
        text +=
            "[[alarm]]\nid = " + std::to_string(1000 * i) + "\nlevel = 2\ntext = \"" + name + " is hot\"\n";
    }
    text += "[[digital]]\nname = \"Tool.LotCount\"\n[[digital]]\nname = \"Tool.WafersInTool\"\n";
    text += "[[digital]]\nname = \"SignalTower.Red\"\n[[digital]]\nname = \"SignalTower.Buzzer\"\n";
    text += "[[recipe]]\nkind = \"lot\"\nname = \"BOTH\"\ncluster_recipes = [\"FIRST\", \"SECOND\"]\n";
    text +=
        "[[recipe]]\nkind = \"cluster\"\nname = \"FIRST\"\nmodules = [\"PM1\", \"PM3\"]\npm_recipes = "
        "[\"ETCH\"]\n";
    text += "[[recipe]]\nkind = \"cluster\"\nname = \"SECOND\"\nmodules = [\"PM3\", \"PM1\", \"PM1\"]\n";
    text += "[[recipe]]\nkind = \"pm\"\nname = \"ETCH\"\nsteps = [\"LIGHT\", \"DARK\"]\n";
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
        while (cluster_->timeline().next()) cluster_->timeline().run_next();
    }
    /// Until a step of that kind has been told, or nothing is left to do.
    bool run_until(ToolStep step) {
        const std::size_t before = count(step);
        while (count(step) == before && cluster_->timeline().next()) cluster_->timeline().run_next();
        return count(step) > before;
    }
    void place(int port, const std::string& id) { cluster_->carrier_placed(port - 1, id); }
    void take(int port) { cluster_->carrier_taken(port - 1); }
    /// A carrier that is open, its slot map accepted.
    void make_ready(int port, const std::string& id) {
        const std::string rest = std::to_string(port) + "(F)";
        place(port, id);
        run();
        EXPECT_EQ(ask("ProceedWithCarrierID" + rest), 3);
        run();
        EXPECT_EQ(ask("ProceedWithSlotMap" + rest), 3);
        run();
    }
    Timeline& timeline() { return cluster_->timeline(); }
    PortState port_state(int port) const { return cluster_->port_state(port - 1); }
    double minutes() { return static_cast<double>(cluster_->timeline().now()) / 60000.0; }

    std::size_t count(ToolStep step) const {
        return static_cast<std::size_t>(std::ranges::count(events, step, &ToolEvent::step));
    }
    Texts texts(ToolStep step) const {
        Texts found;
        for (const ToolEvent& event : events)
            if (event.step == step) found.push_back(event.text);
        return found;
    }
    /// What happened to a wafer, each step once however many commands it posted.
    std::vector<ToolStep> story(int port, int slot) const {
        std::vector<ToolStep> steps;
        const ToolEvent* last = nullptr;
        for (const ToolEvent& event : events) {
            if (event.port != port - 1 || event.slot != slot) continue;
            if (last == nullptr || last->step != event.step || last->time != event.time)
                steps.push_back(event.step);
            last = &event;
        }
        return steps;
    }

    std::vector<ToolEvent> events;

  private:
    std::optional<Cluster> cluster_;
};

void append(std::vector<ToolStep>& story, std::initializer_list<ToolStep> steps, int times = 1) {
    for (int i = 0; i < times; ++i) story.insert(story.end(), steps);
}

/// A wafer's way through the tool, with so many recipe steps at each of its stays in a process module.
std::vector<ToolStep> whole_story(const std::vector<int>& stays) {
    std::vector<ToolStep> story = {wafer_at_source, wafer_left_carrier, wafer_placed, wafer_aligned,
                                   wafer_id_read,   wafer_picked,       wafer_placed};
    for (const int steps : stays) {
        append(story, {wafer_picked, wafer_placed, process_started});
        append(story, {step_started, step_ended}, steps);
        append(story, {process_ended, wafer_processed, chamber_idle});
    }
    append(story, {wafer_picked, wafer_placed, wafer_picked, wafer_into_carrier, wafer_at_destination});
    return story;
}

TEST(Tool, RunsALotOfTwentyFiveWafersInLittleOverAnHour) {
    Tool tool;
    tool.make_ready(1, "FOUP7");
    const double began = tool.minutes();
    machine().set_mem("CM1.LotID", "LOT7");
    ASSERT_EQ(tool.ask("StartProcess1(F) JOB7,RECIPE7,1,25"), 3);
    EXPECT_EQ(machine().ctc("MAIN_CONTROL", 0), "1");
    EXPECT_EQ(machine().ctc("RUN_CONTROL"), "1");
    EXPECT_EQ(machine().ctc("JOB_ID", 0), "JOB7");
    EXPECT_EQ(machine().ctc("LOT_RECIPE", 0), "RECIPE7");
    EXPECT_EQ(machine().ctc("WAFER_TARGET_COUNT", 0), "25");
    EXPECT_EQ(machine().ctc("WAFER_REAL_COUNT", 0), "0");
    EXPECT_EQ(machine().io("CM1.LotID"), "LOT7");
    ASSERT_TRUE(tool.run_until(process_started));
    EXPECT_EQ(machine().ctc("CMx_Wafer_Status", 0, 0), "2");
    tool.run();
    EXPECT_GT(tool.minutes() - began, 60);
    EXPECT_LT(tool.minutes() - began, 80);
    const auto expected = whole_story({5});
    for (int slot = 0; slot < 25; ++slot) {
        EXPECT_EQ(tool.story(1, slot), expected) << slot;
        EXPECT_EQ(machine().ctc("CMx_Wafer_Status", 0, slot), "3");
    }
    EXPECT_EQ(machine().ctc("MAIN_CONTROL", 0), "0");
    EXPECT_EQ(machine().ctc("RUN_CONTROL"), "0");
    EXPECT_EQ(machine().ctc("WAFER_REAL_COUNT", 0), "25");
    EXPECT_EQ(machine().io("Tool.LotCount"), "1");
    EXPECT_EQ(machine().io("Tool.WafersInTool"), "0");
    EXPECT_EQ(machine().io("CM1.ReadCID"), "FOUP7");
    EXPECT_EQ(tool.texts(lot_completed),
              (Texts{"PRCSJOB_STATE 5|0", "CARRIER_ACCESS 3|0", "PORT_STATE 8|0"}));
    EXPECT_EQ(tool.port_state(1), PortState::undocked);
    EXPECT_EQ(tool.ask("UnloadWithCarrierID1(F)"), 3);
    tool.run();
    EXPECT_EQ(tool.port_state(1), PortState::empty);
    EXPECT_EQ(machine().ctc("CMx_CarrierID", 0), "");
}

TEST(Tool, PostsTheCommandsOfEachStep) {
    Tool tool("", 1);
    tool.make_ready(2, "FOUP");
    ASSERT_EQ(tool.ask("StartProcess2(F) J,R,4,4"), 3);
    tool.run();
    Texts texts;
    for (const ToolEvent& event : tool.events) texts.push_back(event.text);
    const Texts expected = {"PORT_MATERIAL 1|1",   "PORT_STATE 1|1",  "CARRIER_ASSOC 1|1",
                            "CARRIER_ACTION 1|1",  "PORT_STATE 2|1",  "CARRIER_ID 1|1",
                            "CARRIER_ACTION 11|1", "PORT_STATE 3|1",  "CARRIER_ID 2|1",
                            "CARRIER_ACTION 21|1", "CARRIER_MAP 1|1", "PORT_STATE 4|1"};
    ASSERT_GT(texts.size(), expected.size());
    EXPECT_EQ(Texts(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(expected.size())), expected);
    const auto started = std::ranges::find(texts, "EQUIPMENT_STATE 2");
    EXPECT_EQ(Texts(started, texts.end()), (Texts{"EQUIPMENT_STATE 2",
                                                  "PRCSJOB_STATE 1|1",
                                                  "PORT_STATE 5|1",
                                                  "CARRIER_ACCESS 2|1",
                                                  "SUBST_TRACK 0|1|3|LP2|5|3|EFEM|0",
                                                  "SUBST_TRACK 0|1|3|EFEM|6|0|Aligner|0",
                                                  "SUBST_TRACK 0|1|3||14|||",
                                                  "SUBST_OCR 1|1|3",
                                                  "SUBST_TRACK 0|1|3|Aligner|7|0|EFEM|0",
                                                  "SUBST_TRACK 0|1|3|EFEM|6|0|LL1|0",
                                                  "SUBST_TRACK 0|1|3|LL1|7|0|TM|0",
                                                  "SUBST_TRACK 0|1|3|TM|6|0|PM1|0",
                                                  "PM_STATE 1|0",
                                                  "SUBST_TRACK 0|1|3||9|||",
                                                  "PM_STATE 3|0|PUMP|1",
                                                  "PM_STATE 4|0|PUMP|1",
                                                  "PM_STATE 3|0|STABLE|2",
                                                  "PM_STATE 4|0|STABLE|2",
                                                  "PM_STATE 3|0|MAIN|3",
                                                  "PM_STATE 4|0|MAIN|3",
                                                  "PM_STATE 3|0|OVER|4",
                                                  "PM_STATE 4|0|OVER|4",
                                                  "PM_STATE 3|0|PURGE|5",
                                                  "PM_STATE 4|0|PURGE|5",
                                                  "PM_STATE 6|0|0",
                                                  "SUBST_TRACK 0|1|3||10|||",
                                                  "PM_STATE 2|0",
                                                  "SUBST_TRACK 0|1|3|PM1|7|0|TM|0",
                                                  "SUBST_TRACK 0|1|3|TM|6|0|LL2|0",
                                                  "SUBST_TRACK 0|1|3|LL2|7|0|EFEM|0",
                                                  "SUBST_TRACK 0|1|3|EFEM|8|0|LP2|3",
                                                  "SUBST_TRACK 0|1|3||4|||",
                                                  "PRCSJOB_STATE 5|1",
                                                  "CARRIER_ACCESS 3|1",
                                                  "PORT_STATE 8|1",
                                                  "EQUIPMENT_STATE 1",
                                                  "CARRIER_ACTION 22|1",
                                                  "CARRIER_ACTION 12|1",
                                                  "CARRIER_ACTION 2|1"}));
}

TEST(Tool, ThreeLotsAtOnceShareIt) {
    Tool tool("alarm_rate = 0.2\n");
    for (const int port : {1, 2, 3}) tool.make_ready(port, "FOUP" + std::to_string(port));
    for (const int port : {1, 2, 3}) ASSERT_EQ(tool.ask("START" + std::to_string(port) + "(F)"), 3);
    tool.run();
    EXPECT_EQ(machine().io("Tool.LotCount"), "3");
    EXPECT_EQ(tool.count(wafer_at_destination), 75U);
    EXPECT_EQ(tool.texts(equipment_idle).size(), 1U);
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
    tool.make_ready(1, "FOUP");
    ASSERT_EQ(tool.ask("StartProcess1(F) J,BOTH,1,8"), 3);  // the two ways through PM1 and PM3 cross
    tool.run();
    auto stays_in_pm1_twice = whole_story({5, 5});
    const auto last_move = stays_in_pm1_twice.end() - 5;
    stays_in_pm1_twice.insert(last_move, {process_started, step_started, step_ended, step_started, step_ended,
                                          step_started, step_ended, step_started, step_ended, step_started,
                                          step_ended, process_ended, wafer_processed, chamber_idle});
    for (int slot = 0; slot < 8; ++slot)
        EXPECT_EQ(tool.story(1, slot), slot % 2 == 0 ? whole_story({2, 5}) : stays_in_pm1_twice) << slot;
    EXPECT_EQ(tool.texts(step_started)[0], "PM_STATE 3|0|LIGHT|1");
}

std::vector<ToolEvent> events_of(const std::string& settings) {
    Tool tool(settings);
    tool.make_ready(1, "FOUP");
    tool.ask("START1(F)");
    tool.run();
    return tool.events;
}

TEST(Tool, TheSeedAloneDecides) {
    const auto first = events_of("seed = 5\nalarm_rate = 0.3\n");
    EXPECT_EQ(first, events_of("seed = 5\nalarm_rate = 0.3\nspeed = 7000.0\n")) << "speed only scales";
    EXPECT_NE(first, events_of("seed = 6\nalarm_rate = 0.3\n"));
    EXPECT_EQ(events_of("seed = 5\n"), events_of("seed = 6\n"));
}

TEST(Tool, AnAlarmHoldsItsModuleAndClears) {
    Tool tool("alarm_rate = 1.0\n", 1);
    tool.make_ready(1, "FOUP");
    tool.ask("StartProcess1(F) J,R,1,3");
    ASSERT_TRUE(tool.run_until(step_held));
    EXPECT_EQ(tool.texts(alarm_set), (Texts{"SEND_ALARM_POST 1000", "ALARM_REPORT 1|1000|132|PM1 is hot"}));
    EXPECT_EQ(state().alarms.queue_count(), 1);
    EXPECT_EQ(machine().io("PM1.State"), "6");
    const auto struck = tool.events.back().time;
    ASSERT_TRUE(tool.run_until(alarm_cleared));
    EXPECT_GE(tool.events.back().time - struck, 15000);
    EXPECT_LE(tool.events.back().time - struck, 45000);
    EXPECT_EQ(tool.texts(alarm_cleared),
              (Texts{"SEND_ALARM_CLEAR 1000", "ALARM_REPORT 2|1000|4|PM1 is hot"}));
    EXPECT_EQ(state().alarms.queue_count(), 0);
    tool.run();
    EXPECT_EQ(tool.count(alarm_set), 6U) << "two commands for each of three wafers";
    EXPECT_EQ(tool.count(wafer_at_destination), 3U);
}

TEST(Tool, PointsFollowTheRecipeAndRestAfterwards) {
    Tool tool;
    tool.make_ready(1, "FOUP");
    tool.ask("StartProcess1(F) J,R,1,1");
    while (tool.texts(step_started).size() < 3) ASSERT_TRUE(tool.run_until(step_started));
    EXPECT_EQ(machine().io("PM1.Pressure"), "25.5") << "rest value and a quarter of the range";
    std::set<std::string> seen;
    Timeline& timeline = tool.timeline();
    for (int i = 0; i < 20; ++i) {
        timeline.run_next();
        seen.insert(machine().io("PM1.Pressure"));
        EXPECT_NEAR(std::stod(machine().io("PM1.Pressure")), 25.5, 0.5);
    }
    EXPECT_GT(seen.size(), 10U);
    EXPECT_EQ(machine().io("PM1.State"), "2");
    tool.run();
    EXPECT_EQ(machine().io("PM1.Pressure"), "0.5");
    EXPECT_EQ(machine().io("PM1.State"), "1");
}

TEST(Tool, PauseHoldsNewMovesAndResumeGoesOn) {
    Tool tool;
    tool.make_ready(1, "FOUP");
    tool.ask("START1(F)");
    while (tool.count(process_started) < 4) ASSERT_TRUE(tool.run_until(process_started));
    EXPECT_EQ(tool.ask("PAUSE1(F)"), 3);
    EXPECT_EQ(machine().ctc("MAIN_CONTROL", 0), "2");
    const std::size_t released = tool.count(wafer_left_carrier);
    tool.run();  // what is under way ends
    EXPECT_LE(tool.count(wafer_left_carrier), released + 1);
    EXPECT_EQ(tool.count(wafer_at_destination), 0U);
    EXPECT_EQ(tool.count(process_started), tool.count(process_ended) * 2);
    EXPECT_EQ(tool.ask("RESUME1(F)"), 3);
    tool.run();
    EXPECT_EQ(tool.count(wafer_at_destination), 25U);
    EXPECT_EQ(tool.texts(lot_paused), (Texts{"PRCSJOB_STATE 2|0", "PORT_STATE 6|0"}));
    EXPECT_EQ(tool.texts(lot_resumed), (Texts{"PRCSJOB_STATE 3|0", "PORT_STATE 7|0"}));
}

TEST(Tool, StopBringsBackWhatIsUnderWay) {
    Tool tool;
    tool.make_ready(1, "FOUP");
    tool.ask("START1(F)");
    ASSERT_TRUE(tool.run_until(process_started));
    tool.ask("PAUSE1(F)");
    EXPECT_EQ(tool.ask("STOP1(F)"), 3) << "also a lot that is paused";
    EXPECT_EQ(machine().ctc("MAIN_CONTROL", 0), "3");
    const std::size_t released = tool.count(wafer_left_carrier);
    tool.run();
    EXPECT_GT(released, 1U);
    EXPECT_EQ(tool.count(wafer_at_destination), tool.count(wafer_left_carrier));
    EXPECT_LE(tool.count(wafer_left_carrier), released + 1) << "one may have been on its way to the robot";
    EXPECT_EQ(tool.texts(lot_stopped), (Texts{"PRCSJOB_STATE 6|0", "CARRIER_ACCESS 4|0", "PORT_STATE 9|0"}));
    EXPECT_EQ(machine().ctc("WAFER_TARGET_COUNT", 0), machine().ctc("WAFER_REAL_COUNT", 0));
    EXPECT_EQ(machine().ctc("CMx_Wafer_Status", 0, 24), "1");
    EXPECT_EQ(machine().io("Tool.LotCount"), "0");
    EXPECT_EQ(tool.port_state(1), PortState::undocked);
}

TEST(Tool, AbortEndsAtOnceAndLeavesTheToolToOthers) {
    for (const bool carrier_taken : {false, true}) {
        Tool tool("alarm_rate = 1.0\n");
        for (const int port : {1, 2}) tool.make_ready(port, "FOUP" + std::to_string(port));
        tool.ask("START1(F)");
        tool.ask("START2(F)");
        ASSERT_TRUE(tool.run_until(step_held));  // with an alarm set
        if (carrier_taken) {
            tool.take(1);
        } else {
            EXPECT_EQ(tool.ask("ABORT1(F)"), 3);
        }
        EXPECT_EQ(tool.texts(lot_aborted),
                  (Texts{"PRCSJOB_STATE 7|0", "CARRIER_ACCESS 4|0", "PORT_STATE 10|0"}));
        EXPECT_GE(tool.count(wafer_aborted), 1U);
        EXPECT_EQ(tool.texts(process_ended).at(0), "PM_STATE 6|0|1");
        EXPECT_EQ(state().alarms.queue_count(), 0);
        EXPECT_EQ(machine().ctc("MAIN_CONTROL", 0), "0");
        EXPECT_EQ(machine().ctc("CMx_Wafer_Status", 0, 0), carrier_taken ? "0" : "4");
        EXPECT_EQ(machine().ctc("CMx_Wafer_Status", 0, 24), carrier_taken ? "0" : "1");
        tool.run();
        EXPECT_EQ(tool.count(wafer_at_destination), 25U) << "the other port's lot";
        EXPECT_EQ(machine().io("Tool.WafersInTool"), "0");
        EXPECT_EQ(tool.port_state(1), carrier_taken ? PortState::empty : PortState::undocked);
    }
}

TEST(Tool, RefusesWhatTheStateDoesNotAllow) {
    Tool tool("", 4);
    const auto answers = [&](std::initializer_list<std::pair<const char*, int>> cases,
                             const char* state_name) {
        for (const auto& [request, result] : cases)
            EXPECT_EQ(tool.ask(request), result) << request << state_name;
    };
    answers({{"START0(F)", 101},
             {"START4(F)", 101},
             {"START1(F)", 2},
             {"START1", 2},
             {"START(F)", 2},
             {"JUMP1(F)", 2},
             {"PAUSE1(F)", 2},
             {"ABORT1(F)", 2},
             {"ReadCarrierID1(F)", 2},
             {"ProceedWithCarrierID1(F)", 2},
             {"ChangeAccessMode1(F) 2", 2},
             {"ChangeAccessMode1(F)", 2},
             {"ChangeAccessMode1(F) 1", 3}},
            " without a carrier");
    EXPECT_EQ(machine().io("AccessModeStatus1"), "1");
    EXPECT_EQ(tool.texts(access_mode_changed), Texts{"PORT_AMHS 2|0"});
    tool.place(1, "FOUP");
    answers({{"START1(F)", 103}, {"UnloadWithCarrierID1(F)", 103}, {"JUMP1(F)", 103}}, " while it docks");
    tool.run();
    answers(
        {{"START1(F)", 2}, {"StartProcess1(F) J,R,1,25", 2}, {"ProceedWithSlotMap1(F)", 2}, {"STOP1(F)", 2}},
        " before the slot map");
    state().points.function[1].status = Talwen::FUNC_RUNNING;
    answers({{"ReadCarrierID1(F)", 104}, {"ReadCarrierID2(F)", 2}}, " during maintenance");
    state().points.function[1].status = Talwen::FUNC_FINISHED;
    for (const char* request :
         {"ReadCarrierID1(F)", "UnlockWithCarrierID1(F)", "LockWithCarrierID1(F)", "LoadWithCarrierID1(F)"}) {
        EXPECT_EQ(tool.ask(request), 3) << request;
        tool.run();
    }
    answers({{"StartProcess1(F) J,R,0,25", 2},
             {"StartProcess1(F) J,R,1,26", 2},
             {"StartProcess1(F) J,R,9,8", 2},
             {"StartProcess1(F) J,R,x,8", 2},
             {"StartProcess1(F) J", 2},
             {"RESUME1(F)", 2}},
            " with an open carrier");
    EXPECT_EQ(tool.ask("START1(F)"), 3) << "the slot map is read; the start accepts it";
    answers({{"START1(F)", 105},
             {"StartProcess1(F) J,R,1,25", 105},
             {"UnloadWithCarrierID1(F)", 102},
             {"ChangeAccessMode1(F) 0", 102},
             {"RESUME1(F)", 2},
             {"PAUSE2(F)", 2}},
            " while the lot runs");
    Tool bare("", 0);
    bare.make_ready(1, "FOUP");
    EXPECT_EQ(bare.ask("START1(F)"), 2) << "no process module";
}

/// Takes the events of a tool that runs beside it, as the module does.
class Listener : public Talwen::QSequence {
  public:
    Talwen::FUNC_STATUS QProgram_Main_Code(const char*) override {
        while (Stop_Request == 0) Talwen::QTime_MSleep(1);
        return Talwen::FUNC_FINISHED;
    }
    void QProgram_Event_Code(const char* text) override {
        const std::lock_guard lock(mutex_);
        heard_.emplace_back(text);
        changed_.notify_all();
    }
    void wait_for(const std::string& text, std::ptrdiff_t times = 1) {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [&] {
            return std::ranges::count(heard_, text) >= times;
        })) << text;
    }
    Texts heard() {
        const std::lock_guard lock(mutex_);
        return heard_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Texts heard_;
};

std::vector<ToolEvent> run_beside_a_module(const std::string& settings) {
    take_posted_events();
    machine().load_text(tool_machine("speed = 10000.0\nalarm_rate = 0.3\n" + settings));
    Listener module;
    ModuleRunner runner(module);
    runner.start();
    machine().carrier_arrives(1, "FOUP");
    module.wait_for("PORT_STATE 3|0");
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("ProceedWithCarrierID%d(F)", 1), 3);
    module.wait_for("PORT_STATE 4|0");
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("START%d(F)", 1), 3);
    module.wait_for("CARRIER_ACTION 2|0");
    runner.stop();
    std::vector<ToolEvent> history = tool_history();
    Texts posted;
    for (const ToolEvent& event : history) posted.push_back(event.text);
    EXPECT_EQ(module.heard(), posted) << "every event, in order";
    return history;
}

TEST(ToolThread, OneSeedGivesOneHistory) {
    const auto first = run_beside_a_module("seed = 3\n");
    EXPECT_EQ(std::ranges::count(first, wafer_at_destination, &ToolEvent::step), 25);
    EXPECT_EQ(first, run_beside_a_module("seed = 3\n"));
    EXPECT_NE(first, run_beside_a_module("seed = 4\n"));
}

TEST(ToolThread, StandsStillUnlessItIsToMove) {
    machine().load_text(
        "[tool]\nmoving = false\n[[carrier_module]]\nname = \"LP1\"\n"
        "[[digital]]\nname = \"SignalTower.Red\"\n");
    Listener module;
    ModuleRunner runner(module);
    runner.start();
    machine().carrier_arrives(1, "FOUP");
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("START1(F)"), 3);
    set_result("QSCH_RUN_F_SCHEDULER", 104);
    EXPECT_EQ(module.QSCH_RUN_F_SCHEDULER("START1(F)"), 104);
    EXPECT_TRUE(
        module.QSCH_EVENT_F_MAIN_MONITOR("$FA SIGNALTOWER  RED:%d|GREEN:%d|YELLOW:%d|BLUE:%d", 2, 0, 0, 0));
    runner.stop();
    EXPECT_EQ(machine().io("SignalTower.Red"), "0");
    EXPECT_EQ(machine().ctc("CMx_CarrierID", 0), "FOUP");
    EXPECT_TRUE(module.heard().empty());
}

TEST(ToolThread, AResultThatIsSetWins) {
    machine().load_text(tool_machine("speed = 10000.0\n"));
    machine().carrier_arrives(2, "EARLY");  // stands there when the tool starts
    Listener module;
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
    EXPECT_TRUE(
        module.QSCH_EVENT_F_MAIN_MONITOR("$FA SIGNALTOWER  RED:%d|GREEN:%d|YELLOW:%d|BLUE:%d", 2, 0, 1, 0));
    EXPECT_TRUE(module.QSCH_EVENT_F_MAIN_MONITOR("$FA SIGNALTOWER  BUZZER:%d", 1));
    EXPECT_EQ(machine().io("SignalTower.Red") + machine().io("SignalTower.Buzzer"), "21");
    runner.stop();
}

}  // namespace
}  // namespace sim
