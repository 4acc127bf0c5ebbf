// BC_FA: the one class of the factory-automation communication module (equipment side of SEMI E30 GEM).
//
// The framework creates one object and drives it through the QProgram_... operations; driver callbacks and
// the free functions of the module reach it through the instance pointer (fa/secs/module_state.h).
#pragma once

#include <memory>
#include <string>

#include "fa/framework/qsequence.h"
#include "fa/secs/secs_item.h"

namespace Talwen {

struct Point_Table;
struct SVID_STRU;
struct ECID_STRU;
struct RVID_STRU;
struct DVID_STRU;
struct ALID_STRU;
struct RPTID_STRU;
struct CEID_STRU;
struct TRID_STRU;

class BC_FA : public QSequence {
  public:
    /// Creates the point table and becomes the module's instance. Starts nothing.
    BC_FA();
    /// Copies share one point table.
    BC_FA(const BC_FA& other);
    BC_FA& operator=(const BC_FA& other);
    /// Ends both module threads at their next safe point and waits for them and for running driver callbacks.
    ~BC_FA() override;

    /// Binds the carrier-module points and loads every configuration file. True only when every step
    /// succeeded; a failing step stops nothing. Framework thread, before QProgram_Main_Code.
    bool QProgram_Enter_Code(const char* argument) override;
    /// Registers the module's version. Framework thread.
    bool QProgram_Init_Code() override;
    void QProgram_Exit_Code() override;
    /// Takes one text command of the equipment controller (fa/events/). Any framework thread, at any time.
    void QProgram_Event_Code(const char* text) override;
    /// Starts the module's threads and stays until a stop request or until both have ended. Returns 3.
    FUNC_STATUS QProgram_Main_Code(const char* argument) override;

    // The message handlers (signatures: fa/module/handlers.def).
#define FA_DECLARE_send(ss, ff) virtual _SECS_ITEM* send_S##ss##F##ff(void* handle, void* param);
#define FA_DECLARE_recv(ss, ff) \
    virtual unsigned long recv_S##ss##F##ff(void* handle, _SECS_ITEM* item, unsigned long msgid);
#define FA_DECLARE_reply(ss, ff) \
    virtual unsigned long reply_S##ss##F##ff(void* handle, _SECS_ITEM* item, unsigned long msgid);
#define FA_HANDLER(kind, stream, function, support) FA_DECLARE_##kind(stream, function)
#include "fa/module/handlers.def"
#undef FA_HANDLER
#undef FA_DECLARE_send
#undef FA_DECLARE_recv
#undef FA_DECLARE_reply

    /// Messages without a handler of their own: an unknown primary to build (null), an unknown secondary
    /// (-5), an abort (function 0) from the host, an unknown host primary (-5, no answer), the function-0
    /// refusal of a host primary.
    virtual _SECS_ITEM* send_SxxFxx(void* handle, unsigned char stream, unsigned char function, void* param);
    virtual unsigned long recv_SxxFxx(void* handle, unsigned char stream, unsigned char function,
                                      _SECS_ITEM* item, unsigned long msgid);
    virtual unsigned long recv_SxxF00(void* handle, unsigned char stream, unsigned char function,
                                      _SECS_ITEM* item, unsigned long msgid);
    virtual unsigned long reply_SxxFxx(void* handle, unsigned char stream, unsigned char function,
                                       _SECS_ITEM* item, unsigned long msgid);
    virtual unsigned long reply_SxxF00(void* handle, unsigned char stream, unsigned char function,
                                       _SECS_ITEM* item, unsigned long msgid);

    // Carrier-module points: the IO point index bound to carrier module `cm` (from 0), -99999999 when none is
    // bound or `cm` is outside 0 to 5.
    int Point_F_LP_CONTROL(int cm);
    int Point_S_CM_CID(int cm);
    int Point_S_CM_LOTID(int cm);
    int Point_S_CM_PPID(int cm);
    int Point_D_CM_AccessMode(int cm);
    int Point_D_CM_PortTransferPreStatus(int cm);
    int Point_D_CM_PortTransferCurStatus(int cm);
    int Point_S_CM_AccessModeDealCode(int cm);
    int Point_S_CM_AccessModeDealMsg(int cm);

    // Variable tables (fa/config/variable_tables.h).
    //
    // QFA_Add_...: records "id&point&iotype&max&min&dev&description", joined by "|"; the text is consumed; a
    // record replaces an earlier one of its id; always true. Any thread, at any time: a reader goes on with
    // the table as it was.
    bool QFA_Add_SVID_List(char* text);
    bool QFA_Add_ECID_List(char* text);
    bool QFA_Add_RVID_List(char* text);
    bool QFA_Add_DVID_List(char* text);
    /// Looks a record up; false, `*out` untouched, when there is none. The pointer is good until the same
    /// thread looks up another record of the table.
    bool QFA_Get_SVID_Stru(int id, SVID_STRU** out);
    bool QFA_Get_ECID_Stru(int id, ECID_STRU** out);
    bool QFA_Get_RVID_Stru(int id, RVID_STRU** out);
    bool QFA_Get_DVID_Stru(int id, DVID_STRU** out);
    /// The record of the smallest id whose point name is exactly `name`.
    bool QFA_Get_RVID_Stru(const char* name, RVID_STRU** out);
    /// True; the tables are loaded by QProgram_Enter_Code, not here.
    bool QFA_Get_All_SVID_List();
    bool QFA_Get_All_ECID_List();
    bool QFA_Get_All_RVID_List();
    bool QFA_Get_All_DVID_List();
    bool QFA_Remove_All_SVID_List();
    bool QFA_Remove_All_ECID_List();
    bool QFA_Remove_All_RVID_List();
    bool QFA_Remove_All_DVID_List();

    // Alarm table (fa/config/alarm_table.h).
    /// Builds the table from the framework's alarm list unless it already has as many records. True.
    bool QFA_Get_All_ALID_List();
    bool QFA_Get_ALID_Stru(int alid, ALID_STRU** out);
    /// False for an unknown alarm.
    bool QFA_Set_ALID_Enable(int alid, bool enable);
    void QFA_Set_All_ALID_Enable(bool enable);

    // Reports, events and traces (fa/config/definition_tables.h). Any thread.
    /// False when the number is there already. An added event starts disabled; a trace replaces one of its
    /// number.
    bool QFA_Add_RPTID_List(RPTID_STRU record);
    bool QFA_Add_CEID_List(CEID_STRU record);
    bool QFA_Add_TRID_List(TRID_STRU record);
    /// Looks a record up; false, `*out` untouched, when there is none. The pointer is good until the same
    /// thread looks up another record of the list. It is for reading: when the host changes the links
    /// meanwhile, a new record takes this one's place, and what was written through the pointer may be lost.
    bool QFA_Get_RPTID_Stru(int rptid, RPTID_STRU** out);
    bool QFA_Get_CEID_Stru(int ceid, CEID_STRU** out);
    bool QFA_Get_TRID_Stru(int trid, TRID_STRU** out);
    bool QFA_Check_CEID_Exist(int ceid);
    bool QFA_Enable_Or_Disable_All_CEID_List(bool enable);
    /// Removing a report leaves it linked to its events. Each of these returns true, whether there was
    /// something to remove or not.
    bool QFA_Remove_RPTID_List(int rptid);
    bool QFA_Remove_CEID_List(int ceid);
    bool QFA_Remove_TRID_List(int trid);
    /// All that the message `dataid` defined.
    bool QFA_Remove_All_RPTID_List(int dataid);
    bool QFA_Remove_All_CEID_List(int dataid);
    /// Unlinks a report from every event; every report from the events that message `dataid` defined; every
    /// report from one event.
    bool QFA_Remove_RPTID_From_CEID_List(int rptid);
    bool QFA_Remove_All_RPTID_From_CEID_List(int dataid);
    bool QFA_Remove_All_RPTID_From_CEID_Stru(int ceid);

    // Configuration files; each loader is one step of QProgram_Enter_Code and reports on the console.
    bool FILE_SYSTEM_SETUP();
    bool FILE_SAVE_SYSTEM_SETUP();
    bool FILE_GET_ALL_SVID();
    bool FILE_GET_ALL_ECID();
    bool FILE_GET_ALL_RVID();
    bool FILE_SAVE_ALL_SVID();
    bool FILE_SAVE_ALL_ECID();
    bool FILE_SAVE_ALL_RVID();
    bool FILE_GET_ALL_RPTID();
    bool FILE_GET_ALL_CEID();
    bool FILE_GET_ALL_TRID();
    bool FILE_GET_ALL_TMSG();
    bool FILE_SAVE_ALL_RPTID();
    bool FILE_SAVE_ALL_CEID();
    bool FILE_SAVE_ALL_TRID();
    bool FILE_SAVE_ALL_TMSG();
    bool FILE_GET_ALL_SPOOLING();
    bool FILE_SAVE_ALL_SPOOLING();
    /// Restores the constants' saved values. Throws std::out_of_range when the ECIDs are not numbered from 0
    /// without a gap, and what std::stoi and std::stod throw for a value that is no number.
    bool FILE_READ_ECID_SAVE();
    bool FILE_SAVE_ECID_SAVE();

    /// Asks the system for the process's right to set the clock; it keeps it. Any thread.
    bool Enable_Systemtime_Privilege();

    /// Thread body: owns the link, sends the queued primaries one at a time (fa/secs/connection_monitor.cpp).
    void Thread_FA_Main_Monitor();
    /// Thread body: samples the traces.
    void Thread_FA_TRID_Monitor();

    /// 0, 1, 2 ... 65535, 0 ... Any thread.
    unsigned long Unique_DATAID();

  private:
    std::shared_ptr<Point_Table> points_;
};

}  // namespace Talwen
