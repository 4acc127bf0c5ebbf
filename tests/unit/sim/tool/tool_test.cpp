#include "sim/tool/tool.h"

#include <algorithm>
#include <future>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <sstream>
#include <thread>

#include "sim/controller/events.h"
#include "sim/machine/machine.h"
#include "sim/text.h"
#include "sim/tool/cluster.h"

namespace sim {
namespace {

const std::string tool_machine = R"(
carrier_module = [{name = 'LP1'}, {name = 'LP2'}, {name = 'LP3'}]
function = [{name = 'SCHEDULER_MAINT_CM1'}]
string = [{name = 'CM1.ReadCID'}]
analog = [{name = 'PM1.Pressure', value = 0.5, max = 100.0}]
alarm = [{id = 1000, level = 2, text = 'PM1 is hot'}, {id = 9, text = 'PM2 '}, {id = 9, text = 'PM3 '}, {id = 9, text = 'PM4 '}]
digital = [{name = 'AccessModeStatus1'}, {name = 'LP1.Clamped'}, {name = 'PM1.State', value = 1}, {name = 'Tool.LotCount'},
           {name = 'Tool.WafersInTool'}]
tool.moving = true
)";
constexpr const char* modules =
    "process_module = [{name = 'PM1'}, {name = 'PM2'}, {name = 'PM3'}, {name = 'PM4'}]\n";
constexpr const char* recipes =
    R"(recipe = [{kind = 'lot', name = 'BOTH', cluster_recipes = ['FIRST', 'SECOND']},
{kind = 'cluster', name = 'FIRST', modules = ['PM1', 'PM3'], pm_recipes = ['ETCH']},
{kind = 'cluster', name = 'SECOND', modules = ['PM3', 'PM1', 'PM1']},
{kind = 'pm', name = 'ETCH', steps = ['LIGHT', 'DARK']}])";

/// The tool without its thread: machine time passes as a script says. Its lines, with ";" after each:
///   tool SETTINGS                       a new tool, with more settings of the machine file
///   place PORT, take PORT, ready PORT   a carrier comes, goes, comes and is open with its slot map accepted
///   run, until COMMAND                  to the end, or until a command that begins so has been posted
///   ?REQUEST = RESULT                   asks the scheduler
///   #COMMAND = N                        as many commands that begin so were posted
///   POINT [CM [SLOT]] = VALUE           "-" for an empty one
class Tool {
  public:
    void play(const std::string& script) {
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line, ';');) {
            line = trim(line);
            story_ += line + "; ";
            const std::size_t at = line.rfind(" = ");
            if (at == std::string::npos || line.starts_with("tool")) {
                act(line);
            } else {
                const std::string value = value_of(line.substr(0, at));
                EXPECT_EQ(value.empty() ? "-" : value, line.substr(at + 3)) << story_;
            }
        }
    }

  private:
    void make(const std::string& settings) {
        machine().load_text(tool_machine + (settings == "# empty" ? "" : modules) + settings);
        cluster_.emplace(state(), [this](const ToolEvent& event) {
            events_.push_back(event.text);
            if (event.text.starts_with("PM_STATE 1|")) ++held_[event.text.substr(11)];
            if (event.text.starts_with("PM_STATE 2|")) --held_[event.text.substr(11)];
            for (const auto& [module, wafers] : held_) EXPECT_LE(wafers, 1) << module << story_;
        });
        events_.clear();
        held_.clear();
        story_ = settings + ": ";
    }
    long count(std::string_view command) const {
        return std::ranges::count_if(events_,
                                     [&](const std::string& text) { return text.starts_with(command); });
    }
    void act(std::string_view rest) {
        const std::string_view verb = take_word(rest);
        const int port = read_int(rest).value_or(0) - 1;
        if (verb == "tool") make(rest == "recipes" ? recipes : std::string(rest));
        if (verb == "place") cluster_->carrier_placed(port, "FOUP" + std::string(rest));
        if (verb == "take") cluster_->carrier_taken(port);
        const long before = count(rest);
        while ((verb == "run" || (verb == "until" && count(rest) == before)) && cluster_->timeline().next())
            cluster_->timeline().run_next();
        EXPECT_TRUE(verb != "until" || count(rest) > before) << story_;
        if (verb == "ready") {
            std::string script =
                "place #; run; ?ProceedWithCarrierID#(F) = 3; run; ?ProceedWithSlotMap#(F) = 3; run";
            std::ranges::replace(script, '#', rest.front());
            play(script);
        }
    }
    std::string value_of(std::string_view what) {
        if (what.starts_with('?')) return to_text(cluster_->request(what.substr(1)));
        if (what.starts_with('#')) return std::to_string(count(what.substr(1)));
        const std::string_view name = take_word(what);
        if (state().points.find(name)) return machine().io(name);
        const int cm = read_int(take_word(what)).value_or(-1);
        return machine().ctc(name, cm, read_int(what).value_or(-1));
    }

    std::string story_;
    std::vector<std::string> events_;
    std::map<std::string, int> held_;  // wafers, by process module
    std::optional<Cluster> cluster_;
};

constexpr const char* script = R"(
tool; ?START0(F) = 101; ?START4(F) = 101; ?START1 = 2; ?START(F) = 2; ?JUMP1(F) = 2; ?PAUSE1(F) = 2;
    ?ReadCarrierID1(F) = 2; ?ChangeAccessMode1(F) 2 = 2; ?ChangeAccessMode1(F) 1 = 3; AccessModeStatus1 = 1;
    #PORT_AMHS 2|0 = 1;
tool; place 1; until PORT_STATE 1|0; #CARRIER_ASSOC 1|0 = 1; until CARRIER_ID 1|0; ?START1(F) = 103; run;
    #CARRIER_ACTION 11|0 = 1; ?START1(F) = 2; ?ProceedWithSlotMap1(F) = 2; ?STOP1(F) = 2; ?ReadCarrierID1(F) = 3;
    run; ?LockWithCarrierID1(F) = 3; run; ?UnlockWithCarrierID1(F) = 3; run; ?LoadWithCarrierID1(F) = 3;
    until CARRIER_ACTION 21|0; until CARRIER_MAP 1|0; #SUBST_TRACK 0|0|4||3 = 1; run;
    ?StartProcess1(F) J,R,0,25 = 2; ?StartProcess1(F) J,R,9,8 = 2; ?StartProcess1(F) J,R,1,26 = 2;
    ?StartProcess1(F) J,R,x,8 = 2; ?StartProcess1(F) J = 2; ?RESUME1(F) = 2; ?START1(F) = 3;
    ?StartProcess1(F) J,R,1,25 = 105; ?UnloadWithCarrierID1(F) = 102; ?ChangeAccessMode1(F) 0 = 102;
// Paused, what is under way ends and nothing new begins.;
tool; ready 1; ?START1(F) = 3; until PM_STATE 1|3; ?PAUSE1(F) = 3; MAIN_CONTROL 0 = 2; run;
    #SUBST_TRACK 0|0|0||4 = 0; ?RESUME1(F) = 3; run; #PRCSJOB_STATE 3 = 1; WAFER_REAL_COUNT 0 = 25;
    #PRCSJOB_STATE 5 = 1; #EQUIPMENT_STATE = 2; MAIN_CONTROL 0 = 0;
// Stopped, what is under way comes back; also a lot that is paused.;
tool; ready 1; ?START1(F) = 3; until PM_STATE 1|0; ?PAUSE1(F) = 3; ?STOP1(F) = 3; MAIN_CONTROL 0 = 3; run;
    #PRCSJOB_STATE 6 = 1; WAFER_REAL_COUNT 0 = 2; WAFER_TARGET_COUNT 0 = 2; Tool.LotCount = 0;
    CMx_Wafer_Status 0 0 = 3; CMx_Wafer_Status 0 24 = 1; Tool.WafersInTool = 0;
// Aborted at once, by request or with the carrier; the other port's lot goes on.;
tool tool.alarm_rate = 1.0; ready 1; ready 2; ?START1(F) = 3; ?START2(F) = 3; until PM_STATE 5|0; ?ABORT1(F) = 3;
    #PRCSJOB_STATE 7|0 = 1; #PM_STATE 6|0|1 = 1; MAIN_CONTROL 0 = 0; CMx_Wafer_Status 0 0 = 4;
    CMx_Wafer_Status 0 24 = 1; run; WAFER_REAL_COUNT 1 = 25; Tool.WafersInTool = 0;
tool tool.alarm_rate = 1.0; ready 1; ?START1(F) = 3; until PM_STATE 5|0; take 1; #PRCSJOB_STATE 7|0 = 1; run;
    CMx_Wafer_Status 0 0 = 0; Tool.WafersInTool = 0; #SEND_ALARM_CLEAR 1000 = 1;
// A wafer that the robot has not picked yet has not left its slot.;
tool; ready 1; ?START1(F) = 3; ?ABORT1(F) = 3; run; #SUBST_TRACK 0|0|0||11 = 0; CMx_Wafer_Status 0 0 = 1;
    Tool.WafersInTool = 0; ready 1; ?START1(F) = 3; take 1; run; Tool.WafersInTool = 0;
// Wafers are processed once.;
tool; ready 1; ?StartProcess1(F) J,R,1,2 = 3; run; ?LoadWithCarrierID1(F) = 3; run; ?StartProcess1(F) J,R,2,3 = 3;
    WAFER_TARGET_COUNT 0 = 1; run; ?LoadWithCarrierID1(F) = 3; run; ?StartProcess1(F) J,R,1,3 = 2;
// A recipe that is known; its ways, which cross.;
tool recipes; ready 1; ?START1(F) = 2; ?StartProcess1(F) J,NONE,1,1 = 2; ?StartProcess1(F) J,BOTH,1,8 = 3;
    until PM_STATE 1; #PM_STATE 1|0 = 1; run; WAFER_REAL_COUNT 0 = 8; #PM_STATE 3 = 88; #PM_STATE 3|0|LIGHT|1 = 4;
    #PM_STATE 3|2|PUMP|1 = 8; #SUBST_TRACK 0|0|1|PM1|7 = 1;
// The id is known from its reading until the events of the removal are out.;
tool; place 1; until CARRIER_ACTION 1|0; CMx_RFID 0 = FOUP1; CMx_CarrierID 0 = -; until CARRIER_ID 1;
    CMx_CarrierID 0 = FOUP1; CM1.ReadCID = FOUP1; run; take 1; #PORT_STATE 12|0 = 1; CMx_Carrier 0 = 0;
    CMx_CarrierID 0 = FOUP1; run; CMx_CarrierID 0 = -; CM1.ReadCID = -;
// An unloaded carrier remains until somebody takes it, or the host wants it back.;
tool; ready 1; ?UnloadWithCarrierID1(F) = 3; run; CMx_Carrier 0 = 1; LP1.Clamped = 0; #CARRIER_ACTION 2|0 = 1;
    ?LockWithCarrierID1(F) = 3; run; ?UnloadWithCarrierID1(F) = 3; run; LP1.Clamped = 0; #PORT_STATE 12|0 = 0;
    ?START1(F) = 2; take 1; #PORT_STATE 12|0 = 1;
tool tool.fetch_after = 50.0; ready 1; ?START1(F) = 3; run; CMx_Carrier 0 = 1; ?UnloadWithCarrierID1(F) = 3; run;
    CMx_Carrier 0 = 0; #PORT_STATE 12|0 = 1; ready 1; ?UnloadWithCarrierID1(F) = 3; until CARRIER_ACTION 2|0;
    ?LoadWithCarrierID1(F) = 3; run; CMx_Carrier 0 = 1; ?START1(F) = 3;
// Three lots share the tool by turns.;
tool tool.alarm_rate = 0.2; ready 1; ready 2; ready 3; ?START1(F) = 3; ?START2(F) = 3; ?START3(F) = 3;
    until SUBST_TRACK 0|2|1|LP3|5; #SUBST_TRACK 0|0|1|LP1|5 = 1; #SUBST_TRACK 0|0|2|LP1|5 = 0; run;
    Tool.LotCount = 3; Tool.WafersInTool = 0; #EQUIPMENT_STATE = 2;
tool tool.alarm_rate = 1.0; ready 1; ?StartProcess1(F) J,R,1,1 = 3; until PM_STATE 5|0; PM1.State = 6;
    #SEND_ALARM_POST 1000 = 1; #ALARM_REPORT 1|1000|132|PM1 is hot = 1; until ALARM_REPORT 2|1000|4|PM1 is hot;
    PM1.State = 2;
tool; ready 1; ?StartProcess1(F) J,R,1,1 = 3; until PM_STATE 3|0|MAIN; PM1.Pressure = 25.5; run; PM1.Pressure = 0.5;
    PM1.State = 1;
// Nothing to process in, and maintenance of a port.;
tool # empty; ready 1; ?START1(F) = 2
)";

TEST(Tool, DoesWhatTheHostAsksFor) {
    Tool tool;
    tool.play(script);
    state().points.function[0].status = Talwen::FUNC_RUNNING;
    tool.play("?ReadCarrierID1(F) = 104; ?ReadCarrierID2(F) = 2");
}

TEST(ToolThread, AStepWaitsForTheModule) {
    machine().load_text(tool_machine + "tool.speed = 1000000.0");
    machine().carrier_arrives(1, "C");  // there when the tool starts
    std::vector<std::string> heard;
    std::promise<void> docked, gone;
    start_events([&](const std::string& text) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        heard.push_back(text + machine().ctc("CMx_CarrierID", 0));  // as the module reads it
        if (text == "PORT_STATE 3|0") docked.set_value();
        if (text == "PORT_STATE 12|0") gone.set_value();
    });
    start_tool();
    docked.get_future().wait();
    machine().carrier_removed(1);
    gone.get_future().wait();
    stop_tool();
    stop_events();
    EXPECT_EQ(heard[1] + heard.back(), "PORT_STATE 1|0PORT_STATE 12|0C");
}

}  // namespace
}  // namespace sim
