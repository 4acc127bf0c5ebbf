#include "fa/module/handler_routes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "fa/secs/handler_results.h"
#include "fa/secs/message_handlers.h"

namespace Talwen {

namespace {

constexpr std::size_t streams = 19;
constexpr std::size_t functions = 256;

/// "01" is 1 and "08" is 8: the list writes at least two digits, which C++ would read as octal.
constexpr unsigned number(std::string_view digits) {
    unsigned value = 0;
    for (const char c : digits) value = value * 10 + static_cast<unsigned>(c - '0');
    return value;
}

template <class Member>
struct Route {
    unsigned stream;
    unsigned function;
    Member member;
};

#define FA_ROUTE(ss, ff, name) {number(#ss), number(#ff), &BC_FA::name},

constexpr Route<Message_Builder> builders[] = {
#define FA_ROUTE_send(ss, ff) FA_ROUTE(ss, ff, send_S##ss##F##ff)
#define FA_ROUTE_recv(ss, ff)
#define FA_ROUTE_reply(ss, ff)
#define FA_HANDLER(kind, stream, function, support) FA_ROUTE_##kind(stream, function)
#include "fa/module/handlers.def"
#undef FA_ROUTE_send
#undef FA_ROUTE_recv
#undef FA_ROUTE_reply
};

constexpr Route<Message_Handler> handlers[] = {
#define FA_ROUTE_send(ss, ff)
#define FA_ROUTE_recv(ss, ff) FA_ROUTE(ss, ff, recv_S##ss##F##ff)
#define FA_ROUTE_reply(ss, ff) FA_ROUTE(ss, ff, reply_S##ss##F##ff)
#include "fa/module/handlers.def"
#undef FA_ROUTE_send
#undef FA_ROUTE_recv
#undef FA_ROUTE_reply
#undef FA_HANDLER
};

/// Row number plus one of each stream and function, 0 for none.
using Index = std::array<std::array<std::uint8_t, functions>, streams>;

template <class Rows>
constexpr Index make_index(const Rows& rows) {
    Index index{};
    std::uint8_t row = 0;
    for (const auto& route : rows) index[route.stream][route.function] = ++row;
    return index;
}

constexpr Index builder_index = make_index(builders);
constexpr Index handler_index = make_index(handlers);

/// How many pairs the index knows: fewer than there are rows when two rows have one pair.
constexpr std::size_t pairs(const Index& index) {
    std::size_t count = 0;
    for (const auto& row : index)
        for (const auto number : row) count += number != 0 ? 1 : 0;
    return count;
}

static_assert(std::size(builders) <= 255 && std::size(handlers) <= 255, "row numbers fit the index");
static_assert(pairs(builder_index) == std::size(builders) && pairs(handler_index) == std::size(handlers),
              "each pair once");

template <class Rows>
auto find(const Rows& rows, const Index& index, unsigned char stream, unsigned char function)
    -> decltype(rows[0].member) {
    const std::size_t row = stream < streams ? index[stream][function] : 0;
    return row == 0 ? nullptr : rows[row - 1].member;
}

}  // namespace

Message_Builder Find_Builder(unsigned char stream, unsigned char function) {
    return find(builders, builder_index, stream, function);
}

Message_Handler Find_Handler(unsigned char stream, unsigned char function) {
    return find(handlers, handler_index, stream, function);
}

_SECS_ITEM* Build_Message(QSequence& module, void* handle, unsigned char stream, unsigned char function,
                          void* param) {
    auto& fa = static_cast<BC_FA&>(module);
    if (const Message_Builder builder = Find_Builder(stream, function)) return (fa.*builder)(handle, param);
    return fa.send_SxxFxx(handle, stream, function, param);
}

unsigned long Handle_Message(QSequence& module, const Received_Message& m) {
    auto& fa = static_cast<BC_FA&>(module);
    // K5: S9F0 reaches no handler, not even the fallback (docs/kept-behaviour.md).
    if (m.stream == 9 && m.function == 0) return Not_Handled;
    if (const Message_Handler handler = Find_Handler(m.stream, m.function))
        return (fa.*handler)(m.handle, m.item, m.msgid);
    if (m.function == 0) return fa.recv_SxxF00(m.handle, m.stream, m.function, m.item, m.msgid);
    if (m.is_primary()) return fa.reply_SxxFxx(m.handle, m.stream, m.function, m.item, m.msgid);
    return fa.recv_SxxFxx(m.handle, m.stream, m.function, m.item, m.msgid);
}

unsigned long Refuse_Message(QSequence& module, const Received_Message& m) {
    return static_cast<BC_FA&>(module).reply_SxxF00(m.handle, m.stream, m.function, m.item, m.msgid);
}

}  // namespace Talwen
