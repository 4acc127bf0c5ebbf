// Stream 2: reports, links of reports to events, event enables, as the host defines them (SEMI E5).
#include <cstddef>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

// ---- S2F33 and S2F35 ----
//
// L[2] <DATAID> L[a] L[2] <number> L[b] <member>...
//
// One of the two: a report and its variables, or an event and its reports. Entries are carried out as they
// are read. The first fault ends the message, and what was done for the entries before it stays.

namespace {

/// DRACK of S2F34, LRACK of S2F36.
constexpr unsigned char too_many_members = 1;
constexpr unsigned char already_defined = 3;
constexpr unsigned char unknown_rvid = 4;
constexpr unsigned char unknown_ceid = 4;
constexpr unsigned char rptid_out_of_range = 5;
constexpr unsigned char unknown_rptid = 5;
constexpr unsigned char dataid_or_rvid_out_of_range = 6;

constexpr int max_members = 50;

struct Definition_Run;

/// What the two messages differ in. Each function gives the code to answer.
struct Definition_Message {
    const char* handler;
    const char* bad_dataid;
    const char* bad_entry;
    const char* bad_number;
    const char* bad_member;
    unsigned char (*check_dataid)(int dataid);
    unsigned char (*check_number)(int number);
    unsigned char (*check_member)(const Definition_Run& run, int member);
    void (*remove_all)(BC_FA& fa, int dataid);
    unsigned char (*remove)(Definition_Run& run, int number);
    bool (*add)(BC_FA& fa, int dataid, int number, std::vector<int> members);
};

/// One message on its way.
struct Definition_Run {
    BC_FA& fa;
    const Definition_Message& message;
    int dataid = 0;
    Variable_Table<RVID_STRU>::Pointer variables = RVID_List.read();
    std::unordered_set<int> removed_reports = {};  ///< to be unlinked from their events, in one go at the end
};

unsigned char no_check(int /*number*/) {
    return Accepted;
}

unsigned char check_report_dataid(int dataid) {
    // K25: 0 passes (docs/kept-behaviour.md).
    if (Between(dataid, 0, 65535)) return Accepted;
    OnlineLog("<DATAID>: %d 数值超限, 有效范围[%d, %d].[代码行:%s:%d]", dataid, 1, 65535,
              FA_CODE_LINE("reply_S02F33"));
    return dataid_or_rvid_out_of_range;
}

unsigned char check_rptid(int rptid) {
    if (Between(rptid, 1, 65535)) return Accepted;
    OnlineLog("<RPTID> 数值超限 , 有效范围[%d,%d]. [代码行:%s:%d]", 1, 65535, FA_CODE_LINE("reply_S02F33"));
    return rptid_out_of_range;
}

unsigned char check_rvid(const Definition_Run& run, int rvid) {
    if (!Between(rvid, 1, 65535)) {
        OnlineLog("<RVID> 数值超限 , 有效范围[%d,%d]. [代码行:%s:%d]", 1, 65535,
                  FA_CODE_LINE("reply_S02F33"));
        return dataid_or_rvid_out_of_range;
    }
    // K26: no log line for an unknown one (docs/kept-behaviour.md).
    return run.variables->find(rvid) != nullptr ? Accepted : unknown_rvid;
}

unsigned char check_linked_rptid(const Definition_Run& /*run*/, int rptid) {
    return RPTID_List.find(rptid) != nullptr ? Accepted : unknown_rptid;
}

// An empty message undoes what the same DATAID defined, not what others did.
void remove_all_reports(BC_FA& fa, int dataid) {
    fa.QFA_Remove_All_RPTID_From_CEID_List(dataid);
    fa.QFA_Remove_All_RPTID_List(dataid);
}
void remove_all_links(BC_FA& fa, int dataid) {
    fa.QFA_Remove_All_CEID_List(dataid);
}

unsigned char remove_report(Definition_Run& run, int rptid) {
    run.fa.QFA_Remove_RPTID_List(rptid);
    run.removed_reports.insert(rptid);
    return Accepted;
}
unsigned char remove_link(Definition_Run& run, int ceid) {
    if (!run.fa.QFA_Check_CEID_Exist(ceid)) return unknown_ceid;
    run.fa.QFA_Remove_CEID_List(ceid);
    return Accepted;
}

bool add_report(BC_FA& fa, int dataid, int rptid, std::vector<int> rvids) {
    RPTID_STRU record;
    record.DATAID = dataid;
    record.RPTID = rptid;
    record.LINKVID = std::move(rvids);
    return fa.QFA_Add_RPTID_List(std::move(record));
}
bool add_link(BC_FA& fa, int dataid, int ceid, std::vector<int> rptids) {
    CEID_STRU record;
    record.DATAID = dataid;
    record.CEID = ceid;
    record.LINKRPTID = std::move(rptids);
    return fa.QFA_Add_CEID_List(std::move(record));
}

constexpr Definition_Message define_report = {
    "Talwen::BC_FA::reply_S02F33",
    "<DATAID> 格式错误 , I()/U()/A. [代码行:%s:%d]",
    "L[1][%d] RPTIDn 格式错误 , 必须是 L2. [代码行:%s:%d]",
    "L[1][%d][0]<RPTID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]",
    "L[1][%d][1][%d]<RVID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]",
    check_report_dataid,
    check_rptid,
    check_rvid,
    remove_all_reports,
    remove_report,
    add_report,
};

constexpr Definition_Message link_event = {
    "Talwen::BC_FA::reply_S02F35",
    "<DATAID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]",
    "L[1][%d] 格式错误 , 必须是 L2. [代码行:%s:%d]",
    "L[1][%d][0] <CEID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]",
    "L[1][%d][1] <RPTID>[%d] 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]",
    no_check,
    no_check,
    check_linked_rptid,
    remove_all_links,
    remove_link,
    add_link,
};

/// Reads the members of entry `i` and adds its record.
Verdict define_members(Definition_Run& run, int i, int number, const _SECS_ITEM& list) {
    if (list.count > max_members) return too_many_members;  // K26 (docs/kept-behaviour.md)
    std::vector<int> members(static_cast<std::size_t>(list.count));
    for (int j = 0; j < list.count; ++j) {
        int& member = members[static_cast<std::size_t>(j)];
        if (!Read_Identifier(*list.children[j], &member)) {
            OnlineLog(run.message.bad_member, i, j, run.message.handler, __LINE__);
            return std::nullopt;
        }
        if (const unsigned char refusal = run.message.check_member(run, member)) return refusal;
    }
    return run.message.add(run.fa, run.dataid, number, std::move(members)) ? Accepted : already_defined;
}

Verdict carry_out_entry(Definition_Run& run, int i, const _SECS_ITEM& entry) {
    const Definition_Message& message = run.message;
    if (!Is_List_Of(entry, 2)) {
        OnlineLog(message.bad_entry, i, message.handler, __LINE__);
        return std::nullopt;
    }
    int number = 0;
    if (!Read_Identifier(*entry.children[0], &number)) {
        OnlineLog(message.bad_number, i, message.handler, __LINE__);
        return std::nullopt;
    }
    if (const unsigned char refusal = message.check_number(number)) return refusal;
    const _SECS_ITEM& members = *entry.children[1];
    if (members.format != SECS_FORMAT_L) {
        OnlineLog("L[1][%d][1] 格式错误 , 必须是 L. [代码行:%s:%d]", i, message.handler, __LINE__);
        return std::nullopt;
    }
    if (members.count == 0) return message.remove(run, number);
    return define_members(run, i, number, members);
}

Verdict carry_out(Definition_Run& run, const _SECS_ITEM& root) {
    const Definition_Message& message = run.message;
    if (!Is_List_Of(root, 2)) {
        OnlineLog("消息头格式错误 , 必须是 L2. [代码行:%s:%d]", message.handler, __LINE__);
        return std::nullopt;
    }
    if (!Read_Identifier(*root.children[0], &run.dataid)) {
        OnlineLog(message.bad_dataid, message.handler, __LINE__);
        return std::nullopt;
    }
    if (const unsigned char refusal = message.check_dataid(run.dataid)) return refusal;
    const _SECS_ITEM& entries = *root.children[1];
    if (entries.format != SECS_FORMAT_L) {
        OnlineLog("L[1] 格式错误 , 必须是 L. [代码行:%s:%d]", message.handler, __LINE__);
        return std::nullopt;
    }
    if (entries.count == 0) message.remove_all(run.fa, run.dataid);
    for (int i = 0; i < entries.count; ++i) {
        const Verdict code = carry_out_entry(run, i, *entries.children[i]);
        if (code != Accepted) return code;
    }
    return Accepted;
}

Verdict carry_out(BC_FA& fa, const Definition_Message& message, const _SECS_ITEM& root) {
    Definition_Run run{fa, message};
    try {
        const Verdict verdict = carry_out(run, root);
        Unlink_Reports(run.removed_reports);
        return verdict;
    } catch (...) {
        Unlink_Reports(run.removed_reports);
        throw;
    }
}

}  // namespace

unsigned long BC_FA::reply_S02F33(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    return Reply_Verdict(handle, 2, 34, carry_out(*this, define_report, *item), msgid);
}

unsigned long BC_FA::reply_S02F35(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    return Reply_Verdict(handle, 2, 36, carry_out(*this, link_event, *item), msgid);
}

// ---- S2F37 ----

namespace {

/// ERACK of S2F38.
constexpr unsigned char event_not_defined = 1;
constexpr unsigned char ceed_not_boolean = 2;

/// All of the events or none.
Verdict enable_events(const _SECS_ITEM& list, bool enable) {
    std::vector<int> ceids(static_cast<std::size_t>(list.count));
    for (int i = 0; i < list.count; ++i) {
        if (Read_Identifier(*list.children[i], &ceids[static_cast<std::size_t>(i)])) continue;
        OnlineLog("L[1][%d] 格式错误 , Must U()/I()/A . [代码行:%s:%d]", i, FA_CODE_LINE("reply_S02F37"));
        return std::nullopt;
    }
    const bool all_known =
        CEID_List.change_all_of(ceids, [enable](CEID_STRU& event) { event.enable = enable; });
    return all_known ? Accepted : event_not_defined;
}

}  // namespace

unsigned long BC_FA::reply_S02F37(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (!Is_List_Of(*item, 2)) {
        OnlineLog("消息头格式错误 , 必须是 L2. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F37"));
        return Format_Error;
    }
    const _SECS_ITEM& ceed = *item->children[0];
    const _SECS_ITEM& ceids = *item->children[1];
    // Unlike other faults of format this one is answered.
    if (ceed.format != SECS_FORMAT_BOOLEAN) {
        OnlineLog("<CEED> 格式错误 , 必须是 Boolean [代码行:%s:%d]", FA_CODE_LINE("reply_S02F37"));
        return Reply_Verdict(handle, 2, 38, ceed_not_boolean, msgid);
    }
    // K26: no log line (docs/kept-behaviour.md).
    if (ceids.format != SECS_FORMAT_L) return Format_Error;
    const bool enable = ceed.value[0] != 0;
    if (ceids.count == 0) {
        QFA_Enable_Or_Disable_All_CEID_List(enable);
        return Reply_Verdict(handle, 2, 38, Accepted, msgid);
    }
    return Reply_Verdict(handle, 2, 38, enable_events(ceids, enable), msgid);
}

}  // namespace Talwen
