// Stream 2: traces as the host defines them, S2F23 (SEMI E5).
#include <cstddef>
#include <optional>
#include <utility>

#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/handlers/handler_support.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/secs_driver.h"

namespace Talwen {

namespace {

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
    /// Null when the SVIDs are not a list.
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
        } else if (!Between(trace.TRID, 1, 65535)) {
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
        } else if (!Between(trace.TOTSMP, 0, 2100000000)) {
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
    if (!Is_List_Of(*item, 5)) {
        OnlineLog("消息头格式错误 , 必须是 L5. [代码行:%s:%d]", FA_CODE_LINE("reply_S02F23"));
        return Format_Error;
    }
    Trace_Reader reader;
    const Verdict tiaack = reader.read(*item);
    if (tiaack == Accepted) add_or_remove(*this, std::move(reader.trace));
    return Reply_Verdict(handle, 2, 24, tiaack, msgid);
}

}  // namespace Talwen
