// Stream 2: traces, reports, links of reports to events, event enables, as the host defines them (SEMI E5).
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

bool in_range(int value, int low, int high) {
    return value >= low && value <= high;
}

bool is_list_of(const _SECS_ITEM& item, int count) {
    return item.format == SECS_FORMAT_L && item.count == count;
}

// ---- S2F23 ----

/// TIAACK of S2F24.
constexpr unsigned char too_many_svids = 1;
constexpr unsigned char bad_period_or_total = 3;
constexpr unsigned char unknown_svid = 4;
constexpr unsigned char wrong_format = 5;
constexpr unsigned char trid_out_of_range = 6;

constexpr int max_svids = 1000;

/// Reads the fields of one S2F23. Each fault is logged; the first one is answered.
class Trace_Reader {
  public:
    /// Null for a list of SVIDs that is none.
    Verdict read(const _SECS_ITEM& root) {
        read_trid(*root.children[0]);
        read_period(*root.children[1]);
        read_total(*root.children[2]);
        if (!Read_Identifier(*root.children[3], &trace.REPGSZ)) {
            OnlineLog("<REPGSZ> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
            refuse(wrong_format);
        }
        const _SECS_ITEM& svids = *root.children[4];
        if (svids.format != SECS_FORMAT_L) {
            OnlineLog("L[4] 格式错误, 必须是 L. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
            return std::nullopt;
        }
        read_svids(svids);
        return tiaack_;
    }

    TRID_STRU trace;

  private:
    void refuse(unsigned char code) {
        if (tiaack_ == Accepted) tiaack_ = code;
    }

    void read_trid(const _SECS_ITEM& item) {
        if (!Read_Identifier(item, &trace.TRID)) {
            OnlineLog("<TRID> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
            refuse(wrong_format);
        } else if (!in_range(trace.TRID, 1, 65535)) {
            OnlineLog("<TRID> 数值超限 , 范围是 [%d,%d]. [代码行:%s:%d]", 1, 65535,
                      FA_CODE_LINE("reply_S02F23"));
            refuse(trid_out_of_range);
        }
    }

    void read_period(const _SECS_ITEM& item) {
        if (item.format != SECS_FORMAT_A || item.length != 6) {
            OnlineLog("<DSPER> 格式错误 , 必须是 A(hhmmss , 6 bytes). [代码行:%s:%d]",
                      FA_CODE_LINE("reply_S02F23"));
            refuse(wrong_format);
            return;
        }
        const auto pair_at = [&](int at) { return QStr_Ext_Int_From_Str(item.value, at, 2); };
        trace.DSPER = item.value;
        trace.period = (pair_at(0) * 3600 + pair_at(2) * 60 + pair_at(4)) * 1000;
        if (trace.period < 1) {
            OnlineLog("<DSPER> 值无效 , 必须是 >= %d. [代码行:%s:%d]", 1, FA_CODE_LINE("reply_S02F23"));
            refuse(bad_period_or_total);
        }
    }

    void read_total(const _SECS_ITEM& item) {
        if (!Read_Identifier(item, &trace.TOTSMP)) {
            OnlineLog("<TOTSMP> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
            refuse(wrong_format);
        } else if (!in_range(trace.TOTSMP, 0, 2100000000)) {
            OnlineLog("<TOTSMP> 数值超限 , 范围是 [%d,%d]. [代码行:%s:%d]", 0, 2100000000,
                      FA_CODE_LINE("reply_S02F23"));
            refuse(bad_period_or_total);
        }
    }

    void read_svids(const _SECS_ITEM& list) {
        if (list.count > max_svids) {
            OnlineLog("<SVIDs> 数量超限, 必须是 <= 1000. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
            refuse(too_many_svids);
            return;
        }
        bool all_readable = true;
        trace.LINKSVID.resize(static_cast<std::size_t>(list.count));
        for (int i = 0; i < list.count; ++i) {
            if (Read_Identifier(*list.children[i], &trace.LINKSVID[static_cast<std::size_t>(i)])) continue;
            OnlineLog("<SVID%d> 格式错误 , 必须是 I()/U()/A. [代码行:%s:%d]", i,
                      FA_CODE_LINE("reply_S02F23"));
            refuse(wrong_format);
            all_readable = false;
        }
        if (!all_readable) return;
        const auto variables = SVID_List.read();
        for (int i = 0; i < list.count; ++i) {
            const int svid = trace.LINKSVID[static_cast<std::size_t>(i)];
            if (variables->find(svid) != nullptr) continue;
            OnlineLog("<SVID%d>:%d 未识别. [代码行:%s:%d]", i, svid, FA_CODE_LINE("reply_S02F23"));
            refuse(unknown_svid);
        }
    }

    unsigned char tiaack_ = Accepted;
};

/// A trace of no samples is the request to end the trace.
void add_or_remove(BC_FA& fa, TRID_STRU trace) {
    const int trid = trace.TRID;
    if (trace.TOTSMP == 0) {
        fa.QFA_Remove_TRID_List(trid);
        OnlineLog("移除 TRID:%d. [代码行:%s:%d]", trid, FA_CODE_LINE("reply_S02F23"));
        QPrint_Green(fa.Print_Tag, "%s , Remove TRID:%d.", "Talwen::BC_FA::reply_S02F23", trid);
    } else {
        fa.QFA_Add_TRID_List(std::move(trace));
        OnlineLog("添加 TRID:%d. [代码行:%s:%d]", trid, FA_CODE_LINE("reply_S02F23"));
        QPrint_Green(fa.Print_Tag, "%s , Add TRID:%d.", "Talwen::BC_FA::reply_S02F23", trid);
    }
}

}  // namespace

unsigned long BC_FA::reply_S02F23(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    if (!is_list_of(*item, 5)) {
        OnlineLog("消息头格式错误 , 必须是 L5. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
        return Format_Error;
    }
    Trace_Reader reader;
    const Verdict tiaack = reader.read(*item);
    if (tiaack == Accepted) add_or_remove(*this, std::move(reader.trace));
    return Reply_Verdict(handle, 2, 24, tiaack, msgid);
}

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
    // 0 is let through on purpose, although the message says 1.
    if (in_range(dataid, 0, 65535)) return Accepted;
    OnlineLog("<DATAID>: %d 数值超限, 有效范围[%d, %d].[代码行:%s:%d]", dataid, 1, 65535,
              FA_CODE_LINE("reply_S02F33"));
    return dataid_or_rvid_out_of_range;
}

unsigned char check_rptid(int rptid) {
    if (in_range(rptid, 1, 65535)) return Accepted;
    OnlineLog("<RPTID> 数值超限 , 有效范围[%d,%d]. [代码行:%s:%d]", 1, 65535, FA_CODE_LINE("reply_S02F33"));
    return rptid_out_of_range;
}

unsigned char check_rvid(const Definition_Run& run, int rvid) {
    if (!in_range(rvid, 1, 65535)) {
        OnlineLog("<RVID> 数值超限 , 有效范围[%d,%d]. [代码行:%s:%d]", 1, 65535,
                  FA_CODE_LINE("reply_S02F33"));
        return dataid_or_rvid_out_of_range;
    }
    // An unknown one is answered without a log line; deliberate.
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
    if (list.count > max_members) return too_many_members;  // no log line, on purpose
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
    if (!is_list_of(entry, 2)) {
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
    if (!is_list_of(root, 2)) {
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
    if (!is_list_of(*item, 2)) {
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
    // Without a log line, unlike the other faults of format; deliberate.
    if (ceids.format != SECS_FORMAT_L) return Format_Error;
    const bool enable = ceed.value[0] != 0;
    if (ceids.count == 0) {
        QFA_Enable_Or_Disable_All_CEID_List(enable);
        return Reply_Verdict(handle, 2, 38, Accepted, msgid);
    }
    return Reply_Verdict(handle, 2, 38, enable_events(ceids, enable), msgid);
}

}  // namespace Talwen
