#include "fa/module/bc_fa.h"

#include <atomic>

#include "fa/framework/qtime.h"
#include "fa/module/module_data.h"
#include "fa/module/module_threads.h"
#include "fa/module/point_table.h"
#include "fa/secs/module_state.h"

namespace Talwen {

BC_FA::BC_FA() : points_(std::make_shared<Point_Table>()) {
    The_Module_Data().FA_Instance = this;  // a static object may come before the short names are bound
}

// K1: copies share the point table (docs/kept-behaviour.md).
BC_FA::BC_FA(const BC_FA& other) = default;
BC_FA& BC_FA::operator=(const BC_FA& other) = default;

BC_FA::~BC_FA() {
    QSequence* self = this;
    FA_Instance.compare_exchange_strong(self, nullptr);
    End_Module_Threads();
}

bool BC_FA::QProgram_Init_Code() {
    QFunction_Set_Regist_Info("V20250101");
    return true;
}

bool BC_FA::QProgram_Enter_Code(const char* /*argument*/) {
    int failures = 0;
    for (int cm = 0; cm < QSCH_Get_CM_Count(); ++cm) {
        for (std::size_t list = 0; list < Point_List_Count; ++list) {
            // A seventh carrier module has no element in the lists; its points are looked up (and counted
            // when missing) all the same, and forgotten.
            int outside = Point_Unbound;
            const auto element = static_cast<std::size_t>(cm);
            int* point = element < Point_Module_Limit ? &points_->lists[list][element] : &outside;
            const Point_Binding& binding = Point_Bindings[list];
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
            if (!QIO_Find_PointF(point, binding.type, binding.pattern, cm + 1)) ++failures;
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
        }
    }
    using Loader = bool (BC_FA::*)();
    constexpr Loader loaders[] = {
        &BC_FA::FILE_SYSTEM_SETUP,     &BC_FA::FILE_GET_ALL_ECID,   &BC_FA::FILE_GET_ALL_SVID,
        &BC_FA::FILE_GET_ALL_RVID,     &BC_FA::FILE_GET_ALL_RPTID,  &BC_FA::FILE_GET_ALL_CEID,
        &BC_FA::FILE_GET_ALL_TRID,     &BC_FA::FILE_GET_ALL_TMSG,   &BC_FA::QFA_Get_All_ALID_List,
        &BC_FA::FILE_GET_ALL_SPOOLING, &BC_FA::FILE_READ_ECID_SAVE,
    };
    for (const Loader load : loaders)
        if (!(this->*load)()) ++failures;
    return failures == 0;
}

FUNC_STATUS BC_FA::QProgram_Main_Code(const char* /*argument*/) {
    Start_Module_Threads(*this);
    while (Stop_Request == 0) {
        QTime_MSleep(1000);
        if (!Main_Monitor_Running && !TRID_Monitor_Running) break;
    }
    return FUNC_FINISHED;
}

void BC_FA::QProgram_Exit_Code() {}

unsigned long BC_FA::Unique_DATAID() {
    std::atomic<std::uint32_t>& counter = The_Module_Data().Last_DATAID;
    std::uint32_t last = counter;
    std::uint32_t next = 0;
    do {
        next = last + 1 > 65535U ? 0 : last + 1;
    } while (!counter.compare_exchange_weak(last, next));
    return next;
}

int BC_FA::Point_F_LP_CONTROL(int cm) {
    return points_->point(F_LP_CONTROL, cm);
}
int BC_FA::Point_S_CM_CID(int cm) {
    return points_->point(S_CM_CID, cm);
}
int BC_FA::Point_S_CM_LOTID(int cm) {
    return points_->point(S_CM_LOTID, cm);
}
int BC_FA::Point_S_CM_PPID(int cm) {
    return points_->point(S_CM_PPID, cm);
}
int BC_FA::Point_D_CM_AccessMode(int cm) {
    return points_->point(D_CM_AccessMode, cm);
}
int BC_FA::Point_D_CM_PortTransferPreStatus(int cm) {
    return points_->point(D_CM_PortTransferPreStatus, cm);
}
int BC_FA::Point_D_CM_PortTransferCurStatus(int cm) {
    return points_->point(D_CM_PortTransferCurStatus, cm);
}
int BC_FA::Point_S_CM_AccessModeDealCode(int cm) {
    return points_->point(S_CM_AccessModeDealCode, cm);
}
int BC_FA::Point_S_CM_AccessModeDealMsg(int cm) {
    return points_->point(S_CM_AccessModeDealMsg, cm);
}

}  // namespace Talwen
