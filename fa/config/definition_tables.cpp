#include "fa/config/definition_tables.h"

#include <algorithm>

#include "fa/module/bc_fa.h"

namespace Talwen {

namespace {

/// Hands out a plain pointer, kept good until the same thread looks up another record of the list.
template <class Record>
bool get(const Definition_List<Record>& list, int number, Record** out) {
    thread_local std::shared_ptr<Record> handed_out;
    std::shared_ptr<Record> record = list.find(number);
    if (record == nullptr) return false;
    handed_out = std::move(record);
    *out = handed_out.get();
    return true;
}

template <class Record>
auto of_message(int dataid) {
    return [dataid](const Record& record) { return record.DATAID == dataid; };
}

}  // namespace

void Unlink_Reports(const std::unordered_set<int>& rptids) {
    if (rptids.empty()) return;
    const auto is_one = [&rptids](int rptid) { return rptids.count(rptid) != 0; };
    CEID_List.replace_if([&](const CEID_STRU& event) { return std::ranges::any_of(event.LINKRPTID, is_one); },
                         [&](CEID_STRU& event) { std::erase_if(event.LINKRPTID, is_one); });
}

bool BC_FA::QFA_Add_RPTID_List(RPTID_STRU record) {
    return RPTID_List.append(std::move(record));
}

bool BC_FA::QFA_Add_CEID_List(CEID_STRU record) {
    record.enable = false;
    return CEID_List.append(std::move(record));
}

bool BC_FA::QFA_Add_TRID_List(TRID_STRU record) {
    TRID_List.append_or_replace(std::move(record));
    return true;
}

bool BC_FA::QFA_Get_RPTID_Stru(int rptid, RPTID_STRU** out) {
    return get(RPTID_List, rptid, out);
}
bool BC_FA::QFA_Get_CEID_Stru(int ceid, CEID_STRU** out) {
    return get(CEID_List, ceid, out);
}
bool BC_FA::QFA_Get_TRID_Stru(int trid, TRID_STRU** out) {
    return get(TRID_List, trid, out);
}

bool BC_FA::QFA_Check_CEID_Exist(int ceid) {
    return CEID_List.find(ceid) != nullptr;
}

bool BC_FA::QFA_Enable_Or_Disable_All_CEID_List(bool enable) {
    CEID_List.for_each([enable](CEID_STRU& event) { event.enable = enable; });
    return true;
}

bool BC_FA::QFA_Remove_RPTID_List(int rptid) {
    RPTID_List.remove(rptid);
    return true;
}

// K18: the three "All" operations take the DATAID of the defining message (docs/kept-behaviour.md).
bool BC_FA::QFA_Remove_All_RPTID_List(int dataid) {
    RPTID_List.remove_if(of_message<RPTID_STRU>(dataid));
    return true;
}

bool BC_FA::QFA_Remove_CEID_List(int ceid) {
    CEID_List.remove(ceid);
    return true;
}

bool BC_FA::QFA_Remove_All_CEID_List(int dataid) {
    CEID_List.remove_if(of_message<CEID_STRU>(dataid));
    return true;
}

bool BC_FA::QFA_Remove_RPTID_From_CEID_List(int rptid) {
    Unlink_Reports({rptid});
    return true;
}

bool BC_FA::QFA_Remove_All_RPTID_From_CEID_List(int dataid) {
    CEID_List.replace_if(of_message<CEID_STRU>(dataid), [](CEID_STRU& event) { event.LINKRPTID.clear(); });
    return true;
}

bool BC_FA::QFA_Remove_All_RPTID_From_CEID_Stru(int ceid) {
    CEID_List.replace_if([ceid](const CEID_STRU& event) { return event.CEID == ceid; },
                         [](CEID_STRU& event) { event.LINKRPTID.clear(); });
    return true;
}

bool BC_FA::QFA_Remove_TRID_List(int trid) {
    TRID_List.remove(trid);
    return true;
}

}  // namespace Talwen
