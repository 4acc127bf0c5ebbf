// Stream 2: reset spooling (SEMI E5 S2F43, S2F44).
#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "fa/handlers/handler_support.h"
#include "fa/handlers/value_items.h"
#include "fa/module/bc_fa.h"
#include "fa/module/handler_routes.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/spool_table.h"

namespace Talwen {

namespace {

/// STRACK of S2F44.
enum : unsigned char {
    spooling_not_allowed = 1,
    unknown_stream = 2,
    unknown_function = 3,
    secondary_function = 4,
};

constexpr char handler[] = "Talwen::BC_FA::reply_S02F43";

/// One L[2] of the request.
struct Stream_Request {
    unsigned char stream;
    std::vector<unsigned char> functions;  ///< none for all of the stream
};

/// One L[3] of the answer.
struct Refusal {
    unsigned char stream;
    unsigned char strack;
    std::vector<unsigned char> functions;  ///< none where the stream itself is refused
};

/// The new state of every pair.
using Spool_Flags = std::array<std::array<bool, Spool_Functions>, Spool_Streams>;

bool read_stream(const _SECS_ITEM& entry, int i, Stream_Request& request) {
    if (!Is_List_Of(entry, 2)) {
        OnlineLog("%s , L[%d] 格式错误 , 必须是 L2.", handler, i);
        return false;
    }
    const _SECS_ITEM& stream = *entry.children[0];
    const _SECS_ITEM& functions = *entry.children[1];
    if (stream.format != SECS_FORMAT_U1) {
        OnlineLog("%s , L[%d][0]<STRID> 格式错误 , 必须是 U1.", handler, i);
        return false;
    }
    if (functions.format != SECS_FORMAT_L) {
        OnlineLog("%s , L[%d][1] 格式错误 , 必须是 L.", handler, i);
        return false;
    }
    request.stream = static_cast<unsigned char>(stream.value[0]);
    for (int j = 0; j < functions.count; ++j) {
        const _SECS_ITEM& function = *functions.children[j];
        if (function.format != SECS_FORMAT_U1) {
            OnlineLog("%s , L[%d][1]<FCNID%d> 格式错误 , 必须是 U1.", handler, i, j);
            return false;
        }
        request.functions.push_back(static_cast<unsigned char>(function.value[0]));
    }
    return true;
}

bool read_request(const _SECS_ITEM& root, std::vector<Stream_Request>& requests) {
    if (root.format != SECS_FORMAT_L) {
        OnlineLog("%s , Header 格式错误 , 必须是 L.", handler);
        return false;
    }
    requests.resize(static_cast<std::size_t>(root.count));
    for (int i = 0; i < root.count; ++i)
        if (!read_stream(*root.children[i], i, requests[static_cast<std::size_t>(i)])) return false;
    return true;
}

std::vector<unsigned char> candidates_of(unsigned char stream) {
    std::vector<unsigned char> functions;
    for (int function = 0; function < Spool_Functions; ++function)
        if (QFA_Is_Spool_Candidate(stream, function))
            functions.push_back(static_cast<unsigned char>(function));
    return functions;
}

bool stream_is_known(unsigned char stream) {
    for (int f = 0; f < 256; ++f) {
        const auto function = static_cast<unsigned char>(f);
        if (Find_Handler(stream, function) != nullptr || Find_Builder(stream, function) != nullptr)
            return true;
    }
    return false;
}

/// Sets the flags that one entry asks for and adds what of it is refused: one refusal per reason.
void plan(const Stream_Request& request, Spool_Flags& flags, std::vector<Refusal>& refusals) {
    const std::vector<unsigned char> candidates = candidates_of(request.stream);
    if (candidates.empty()) {
        refusals.push_back(
            {request.stream, stream_is_known(request.stream) ? spooling_not_allowed : unknown_stream, {}});
        return;
    }
    Refusal unknown{request.stream, unknown_function, {}};
    Refusal secondary{request.stream, secondary_function, {}};
    for (const unsigned char function : request.functions.empty() ? candidates : request.functions) {
        if (QFA_Is_Spool_Candidate(request.stream, function))
            flags[request.stream][function] = true;
        else
            (function % 2 == 0 ? secondary : unknown).functions.push_back(function);
    }
    for (Refusal& refusal : {std::ref(unknown), std::ref(secondary)})
        if (!refusal.functions.empty()) refusals.push_back(std::move(refusal));
}

/// Pair by pair, never cleared first: a pair that stays enabled is enabled all the time, and no queued
/// message of it is purged by the sender meanwhile.
void replace_spool_table(const Spool_Flags& flags) {
    for (int stream = 0; stream < Spool_Streams; ++stream)
        for (int function = 0; function < Spool_Functions; ++function)
            QFA_Set_Spool_Enable(stream, function,
                                 flags[static_cast<std::size_t>(stream)][static_cast<std::size_t>(function)]);
}

/// L[2] <B RSPACK> L[m] L[3] <U1 STRID> <B STRACK> L[n] <U1 FCNID>
Item_Owner answer(const std::vector<Refusal>& refusals) {
    const auto u1 = [](unsigned char value) { return Integer_Item(SECS_FORMAT_U1, value); };
    Item_Owner streams = Empty_List(refusals.size());
    for (const Refusal& refusal : refusals) {
        Item_Owner functions = Empty_List(refusal.functions.size());
        for (const unsigned char function : refusal.functions) Append_Item(functions, u1(function));
        Append_Item(streams,
                    List_Item{u1(refusal.stream), Acknowledge_Item(refusal.strack), std::move(functions)});
    }
    return List_Item{Acknowledge_Item(refusals.empty() ? 0 : 1), std::move(streams)};
}

}  // namespace

// The request is the whole new list: what it does not name is no longer spooled, and nothing changes when any
// of it is refused.
unsigned long BC_FA::reply_S02F43(void* handle, _SECS_ITEM* item, unsigned long msgid) {
    std::vector<Stream_Request> requests;
    if (!read_request(*item, requests)) return Format_Error;
    Spool_Flags flags{};
    std::vector<Refusal> refusals;
    for (const Stream_Request& request : requests) plan(request, flags, refusals);
    if (refusals.empty()) {
        replace_spool_table(flags);
        if (!FILE_SAVE_ALL_SPOOLING()) OnlineLog("SPOOLING.inf 保存失败!");
    }
    return Reply_And_Log(handle, 2, 44, answer(refusals), msgid);
}

}  // namespace Talwen
