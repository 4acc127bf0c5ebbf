#include <string>
#include <utility>
#include <vector>

#include "fa/config/alarm_table.h"
#include "fa/config/config_file.h"
#include "fa/events/event_command.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/primaries.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/spool_table.h"

namespace Talwen {

namespace {

constexpr unsigned char alarm_set = 128;  // ALCD: the alarm is set, not cleared

/// Queues S5F1 of an alarm that was set or cleared: one byte of ALCD, the ALID, the text.
void send_alarm(BC_FA& fa, const Event_Command& command, bool set) {
    const int alid = Config_Int(command.arguments);
    ALID_STRU* alarm = nullptr;
    if (!fa.QFA_Get_ALID_Stru(alid, &alarm)) {
        // K38: clearing an unknown alarm leaves no log line (docs/kept-behaviour.md).
        if (set) OnlineLog("%s , AlarmID 未识别 , 不能向主机端传送!", "Talwen::BC_FA::QProgram_Event_Code");
        return;
    }
    if (!alarm->enable) return;
    const unsigned char alcd = set ? (alarm->ALCD |= alarm_set) : (alarm->ALCD &= 127);
    char buffer[512] = "";
    fa.QAlarm_Get_Text_Full(alarm->index, buffer);
    Queue_Alarm_Report(alcd, alid, buffer);
}

/// Off-line only S1F13 goes out, and only with the newer settings: with the older ones the gate refuses every
/// SEND while off-line. Without communication only what may be spooled is queued.
bool may_queue(BC_FA& fa, unsigned char stream, unsigned char function) {
    const bool on_line = Get_Control_State(fa) >= Control_State::local;
    if (Get_Link_State(fa) == Link_State::communicating) return on_line || (stream == 1 && function == 13);
    return on_line && QFA_Get_Spool_Enable(stream, function);
}

/// SxxFyy|parameter,parameter ...
void send_primary(BC_FA& fa, const Event_Command& command) {
    if (Get_Link_State(fa) == Link_State::disabled) return;
    std::string name;
    std::string parameters;
    Split_Fields(command.arguments, '|', {&name, &parameters});
    unsigned char stream = 0;
    unsigned char function = 0;
    if (!QStr_Check_SxxFxx(name.c_str(), &stream, &function) || !QFA_Is_Spool_Candidate(stream, function)) {
        fa.QSystem_Log(LOG_NORMAL, "消息: %s 不支持!", command.text);
        return;
    }
    if (!may_queue(fa, stream, function)) {
        Log_Refused_Command(fa, command);
        return;
    }
    std::vector<std::string> p(5);
    Split_Fields(parameters, ',', {&p[0], &p[1], &p[2], &p[3], &p[4]});
    Queue_Primary(stream, function, std::move(p));
}

}  // namespace

void Run_Send_Command(BC_FA& fa, const Event_Command& command) {
    if (command.is("ALARM_POST"))
        send_alarm(fa, command, true);
    else if (command.is("ALARM_CLEAR"))
        send_alarm(fa, command, false);
    else if (command.is("PRIMIRY"))  // the controller's spelling
        send_primary(fa, command);
}

}  // namespace Talwen
