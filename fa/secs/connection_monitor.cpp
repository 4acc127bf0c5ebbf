#include "fa/secs/connection_monitor.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "fa/framework/qprint.h"
#include "fa/framework/qsequence.h"
#include "fa/framework/qtime.h"
#include "fa/secs/communication_state.h"
#include "fa/secs/dispatch.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "fa/secs/primaries.h"
#include "fa/secs/reply_wait.h"
#include "fa/secs/secs_data.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

constexpr unsigned int disabled_poll_ms = 100;
constexpr unsigned int idle_poll_ms = 15;
constexpr unsigned int not_ready_poll_ms = 1000;

/// The link settings of one pass, read from the authoritative side and written to the other.
struct Link_Settings {
    std::string ip;
    int port = 0;
    int device = 0;
    int mode = 0;
    bool link_test = false;
    bool enable = false;
};

/// A controller may have no text.
std::string text_or_empty(const char* text) {
    return text != nullptr ? text : "";
}

Link_Settings mirror_from_gem(QSequence& fa) {
    Link_Settings s{text_or_empty(fa.QIO_Get_GEM_Comm_IP()),
                    fa.QIO_Get_GEM_Comm_Port(),
                    fa.QIO_Get_GEM_Device_ID(),
                    fa.QIO_Get_GEM_Comm_Try(),
                    fa.QIO_Get_GEM_LinkTest_Enable() != 0,
                    Enabled_At_Start(fa)};
    fa.QFA_Set_Remote_IP(s.ip.c_str());
    fa.QFA_Set_Remote_Port(s.port);
    fa.QFA_Set_Local_Port(s.port);
    fa.QFA_Set_Device_ID(s.device);
    fa.QFA_Set_ConnMD(s.mode);
    fa.QFA_Set_LinkTest(s.link_test ? 1 : 0);
    Mirror_Start_State(fa, s.enable);
    return s;
}

Link_Settings mirror_from_fa(QSequence& fa) {
    Link_Settings s{text_or_empty(fa.QFA_Get_Remote_IP()),
                    fa.QFA_Get_Remote_Port(),
                    fa.QFA_Get_Device_ID(),
                    fa.QFA_Get_ConnMD(),
                    fa.QFA_Get_LinkTest() != 0,
                    Enabled_At_Start(fa)};
    fa.QIO_Set_GEM_Comm_IP(s.ip.c_str());
    fa.QIO_Set_GEM_Comm_Port(s.port);
    fa.QIO_Set_GEM_Device_ID(s.device);
    fa.QIO_Set_GEM_Comm_Try(s.mode);
    fa.QIO_Set_GEM_LinkTest_Enable(s.link_test ? 1 : 0);
    Mirror_Start_State(fa, s.enable);
    return s;
}

std::uint32_t milliseconds(int seconds, std::uint32_t when_zero) {
    const auto ms = static_cast<std::uint32_t>(seconds) * 1000U;
    return ms == 0 ? when_zero : ms;
}

void fill_settings(QSequence& fa, const Link_Settings& from) {
    __secs_sets& sets = Secs.Secs_Settings;
    sets = {};
    sets.t0 = milliseconds(fa.QFA_Get_T0(), 60000);
    sets.t3 = milliseconds(fa.QFA_Get_T3(), 5000);
    sets.t5 = milliseconds(fa.QFA_Get_T5(), 10000);
    sets.t6 = milliseconds(fa.QFA_Get_T6(), 5000);
    sets.t7 = milliseconds(fa.QFA_Get_T7(), 10000);
    sets.t8 = milliseconds(fa.QFA_Get_T8(), 5000);
    std::snprintf(sets.ip, sizeof sets.ip, "%s", from.ip.c_str());
    sets.port = static_cast<std::uint16_t>(from.port);
    sets.device_id = static_cast<std::uint16_t>(from.device);
    sets.conn_mode = from.mode;
    sets.link_test = from.link_test ? 1 : 0;
    sets.on_select = OnSelect;
    sets.on_deselect = OnDeselect;
    sets.on_close = OnClose;
    sets.on_recv = OnRecvMessageBuffer;
    sets.on_error = OnError;
    Set_Link_Device_Id(sets.device_id);
}

void destroy_link() {
    SecsDisconnect(Secs.Secs_Handle);
    SecsDestroy(Secs.Secs_Handle);
    Secs.Secs_Handle = nullptr;
    Link_Is_Gone();
}

/// Sends what is queued, one message at a time, until the queue is empty or there is something else to do.
void send_queue(QSequence& fa) {
    while (!Module_Stopping(fa)) {
        if (!Communication_Enabled(fa)) {
            QFA_Message_Clear();
            Reconnect = false;
            return;
        }
        const std::uint64_t mark = QFA_Message_Queue_Mark();
        if (!Link_Is_Up(fa)) {
            QFA_Message_Purge_Unspooled(mark);
            QTime_MSleep(not_ready_poll_ms);
            if (Reconnect) return;
            continue;
        }
        FA_Message entry;
        if (!QFA_Message_PopFront(&entry)) return;
        QPrint_Cyan(fa.Print_Tag, "准备发送:S%d,F%d", entry.stream, entry.function);
        const unsigned long msgid = QFA_Message_Send(Secs.Secs_Handle, &entry);
        QFA_Wait_Reply(entry.stream, entry.function, msgid, Secs.Secs_Settings.t7);
        // K7: sent, timed out or failed, it is not sent again (docs/kept-behaviour.md).
        QFA_Message_RemoveFront();
    }
}

/// Keeps one handle until it has to be torn down or the module ends.
void run_connection(QSequence& fa) {
    while (!Module_Stopping(fa)) {
        const bool enabled = Communication_Enabled(fa);
        if (!enabled) Communication_Found_Disabled(fa);
        if (!enabled || Reconnect) {
            destroy_link();
            Reconnect = false;
            return;
        }
        QTime_MSleep(idle_poll_ms);
        send_queue(fa);
    }
}

/// One connection attempt and the life of its link.
void one_pass(QSequence& fa) {
    const Link_Settings settings = Comm_New_Version ? mirror_from_gem(fa) : mirror_from_fa(fa);
    Apply_Start_State(fa);
    if (!Communication_Enabled(fa)) {
        Communication_Found_Disabled(fa);
        QTime_MSleep(disabled_poll_ms);
        return;
    }
    QPrint_Cyan(fa.Print_Tag, "DeviceID:%d", settings.device);
    Connection_Begins(fa);
    fill_settings(fa, settings);
    if (Secs.Secs_Handle != nullptr) destroy_link();  // an exception ended the pass before this one
    Secs.Secs_Handle = SecsCreate(&Secs.Secs_Settings);
    if (Secs.Secs_Handle == nullptr) {
        QPrint_Red(fa.Print_Tag, "SecsCreate failed... ...");
        OnlineLog("SecsCreate failed... ...");
        Sleep_Unless_Stopping(fa, Secs.Secs_Settings.t5);
        return;
    }
    QPrint_Yellow(fa.Print_Tag, "COMM_IP:%s , COMM_PORT:%d", Secs.Secs_Settings.ip, settings.port);
    // A host may select at once: what its select makes the equipment queue is not part of this purge.
    const std::uint64_t mark = QFA_Message_Queue_Mark();
    SecsConnect(Secs.Secs_Handle, Secs.Secs_Settings.ip, Secs.Secs_Settings.port);
    QFA_Message_Purge_Unspooled(mark);
    run_connection(fa);
}

void report_exception(QSequence& fa, const std::runtime_error& error) {
    QPrint_Red(fa.Print_Tag, "%s , 捕捉到异常:%s.", "Talwen::BC_FA::Thread_FA_Main_Monitor", error.what());
}

}  // namespace

void Run_Connection_Monitor(QSequence& fa) {
    QFA_Message_Queue_Init();  // first: what is queued once the flag is up stays queued
    Main_Monitor_Running = true;
    QPrint_Yellow(fa.Print_Tag, "Thread_FA_Main_Monitor 启动... ...");
    while (!Module_Stopping(fa)) {
        try {
            one_pass(fa);
        } catch (const std::runtime_error& error) {
            report_exception(fa, error);
        }
    }
    try {
        QPrint_Yellow(fa.Print_Tag, "Thread_FA_Main_Monitor 退出... ...");
        Main_Monitor_Running = false;
        QFA_Message_Queue_Release();
        destroy_link();
    } catch (const std::runtime_error& error) {
        report_exception(fa, error);
    }
    QFA_Message_Clear();  // what callbacks queued until the link was gone
}

}  // namespace Talwen
