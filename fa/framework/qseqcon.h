// QSeqCon: the equipment controller as the module sees it (declarations; the framework that the
// executable links provides the bodies).
//
// Every operation may be called from any thread at once; each read or write of a state is atomic by itself.
// A returned text stays good until the same thread has read some dozens of further texts: use it or copy it
// at once. `bool` results are true on success.
#pragma once

#include "fa/framework/framework_types.h"

namespace Talwen {

class QSeqCon {
  public:
    // IO points. `point` is an index from 0 within its kind; a read of a bad index gives 0 or "".
    // The plain operations act on the live value, the _Mem ones on the value held in memory.
    int QDigital_Read(int point);
    int QDigital_Read_Mem(int point);
    bool QDigital_Write(int point, int value);
    void QDigital_Write_Mem(int point, int value);
    const char* QDigital_Get_Name(int point);
    const char* QDigital_Get_Unit(int point);
    int QDigital_Get_Max(int point);
    int QDigital_Get_Min(int point);
    double QAnalog_Read(int point);
    double QAnalog_Read_Mem(int point);
    bool QAnalog_Write(int point, double value);
    void QAnalog_Write_Mem(int point, double value);
    const char* QAnalog_Get_Name(int point);
    const char* QAnalog_Get_Unit(int point);
    double QAnalog_Get_Max(int point);
    double QAnalog_Get_Min(int point);
    int QAnalog_Get_Decimal(int point);
    const char* QString_Read(int point);
    const char* QString_Read_Mem(int point);
    bool QString_Write(int point, const char* value);
    void QString_Write_Mem(int point, const char* value);
    const char* QString_Get_Name(int point);
    int QSystem_Get_Digital_Count();
    int QSystem_Get_Analog_Count();
    int QSystem_Get_String_Count();

    /// Finds a point by name: of any kind, of the given kind, by a printf-formed name, or its kind alone.
    /// False, with the outputs untouched, when there is none.
    bool QIO_Find(int* point, IO_TYPE* type, const char* name);
    bool QIO_Find_Point(int* point, IO_TYPE type, const char* name);
    bool QIO_Find_PointF(int* point, IO_TYPE type, const char* format, ...) FA_PRINTF_FORMAT(4, 5);
    bool QIO_Find_Type(IO_TYPE* type, const char* name);

    // GEM status points, FA settings and data variables: one list each names them.
#define FA_GET_INT(prefix, name) int prefix##name();
#define FA_GET_TEXT(prefix, name) const char* prefix##name();
#define FA_SET_INT(prefix, name) bool prefix##name(int value);
#define FA_SET_TEXT(prefix, name) bool prefix##name(const char* value);
#define FA_GEM_RW(type, name) FA_GET_##type(QIO_Get_GEM_, name) FA_SET_##type(QIO_Set_GEM_, name)
#define FA_GEM_RO(type, name) FA_GET_##type(QIO_Get_GEM_, name)
#define FA_GEM_WO(type, name) FA_SET_##type(QIO_Set_GEM_, name)
#define FA_GEM(type, access, name) FA_GEM_##access(type, name)
#include "fa/framework/gem_points.def"
#undef FA_GEM
#define FA_SETTING(type, name) FA_GET_##type(QFA_Get_, name) FA_SET_##type(QFA_Set_, name)
#include "fa/framework/fa_settings.def"
#undef FA_SETTING
#define FA_DVID(type, name) FA_SET_##type(QFA_Set_DVID_, name)
#include "fa/framework/dvid_setters.def"
#undef FA_DVID
#undef FA_GEM_WO
#undef FA_GEM_RO
#undef FA_GEM_RW
#undef FA_SET_TEXT
#undef FA_SET_INT
#undef FA_GET_TEXT
#undef FA_GET_INT

    // Control requests: the framework moves the equipment there and answers through events of its own.
    bool QFA_Request_Offline();
    bool QFA_Request_Local();
    bool QFA_Request_Remote();
    // The framework raises the collection event of that control-state change.
    bool QFA_Report_Event_ONLINE_LOCAL();
    bool QFA_Report_Event_ONLINE_REMOTE();
    bool QFA_Report_Event_EQUIP_OFFLINE();
    bool QFA_Report_Event_HOST_OFFLINE();

    // Cluster tool controller; `cm` carrier module, `slot`, `pm` process module, all from 0.
    int QIO_Get_CTC_CMx_Carrier(int cm);
    const char* QIO_Get_CTC_CMx_CarrierID(int cm);
    const char* QIO_Get_CTC_CMx_RFID(int cm);
    const char* QIO_Get_CTC_CMx_WAFER_ID(int cm, int slot);
    int QIO_Get_CTC_CMx_Wafer_Status(int cm, int slot);
    const char* QIO_Get_CTC_JOB_ID(int cm);
    const char* QIO_Get_CTC_JOB_NAME(int cm);
    const char* QIO_Get_CTC_LOT_RECIPE(int cm);
    int QIO_Get_CTC_MAIN_CONTROL(int cm);
    int QIO_Get_CTC_WAFER_REAL_COUNT(int cm);
    int QIO_Get_CTC_WAFER_TARGET_COUNT(int cm);
    int QIO_Get_CTC_RUN_CONTROL();
    bool QIO_Set_CTC_CMx_CarrierID(int cm, const char* value);
    bool QIO_Set_CTC_CMx_LOT_ID(int cm, int slot, const char* value);
    bool QIO_Set_CTC_CMx_WAFER_ID(int cm, int slot, const char* value);

    // Scheduler.
    int QSCH_Get_CM_Count();
    int QSCH_Get_CM_Slot_Count(int cm);
    int QSCH_Get_PM_Count();
    const char* QSCH_Get_PM_Module_Name(int pm);
    const char* QSCH_Get_PM_Module_ID(int pm);
    bool QSCH_Get_PM_Enable(int pm);
    FUNC_STATUS QSCH_RUN_F_SCHEDULER(const char* format, ...) FA_PRINTF_FORMAT(2, 3);
    bool QSCH_EVENT_F_MAIN_MONITOR(const char* format, ...) FA_PRINTF_FORMAT(2, 3);

    // Modules, system and functions.
    const char* QModule_Get_Name(const char* module);
    const char* QModule_Get_ID(const char* module);
    int QModule_Get_PM_Side(char* module);
    const char* QSystem_Get_User_Name();
    const char* QSystem_Get_Group_Name();
    int QSystem_Get_PM_Count();
    int QSystem_Get_Alarm_Count();
    bool QSystem_Get_Simulation();
    FUNC_STATUS QFunction_Run(int function, const char* argument);
    FUNC_STATUS QFunction_Get_Run_Status(int function);
    void QFunction_Set_Regist_Info(const char* version);

    // Alarms: `index` counts the framework's alarm list from 0.
    int QAlarm_Get_ID(int index);
    ALARM_LEVEL QAlarm_Get_Level(int index);
    const char* QAlarm_Get_Post_Time(int index);
    /// Copies the alarm's text, at most 511 bytes and a NUL.
    bool QAlarm_Get_Text_Full(int index, char* text);
    int QAlarm_Queue_Count();
    /// Entry `index` of the alarm queue: `*a` is the alarm's index in the alarm list, `*b` the entry's
    /// number.
    bool QAlarm_Queue_Point(int index, int* a, int* b);

    /// One framework log line (printf rules).
    void QSystem_Log(LOG_TYPE type, const char* format, ...) FA_PRINTF_FORMAT(3, 4);
    /// Shows a text to the operator.
    bool QGui_Display_Message(const char* text);
};

}  // namespace Talwen
