#include "apps/host/link/auto_reply.h"

#include <chrono>
#include <fmt/chrono.h>

namespace host {
namespace {

using hsms::Item;

enum class Body : std::uint8_t {
    accepted,       // <B 0>
    empty_list,     // <L>: a host has no model and revision
    communicating,  // <L <B 0> <L>>
    clock,          // <A "YYYYMMDDhhmmsscc">
    same,           // what came
};

struct Row {
    std::uint8_t stream;
    std::uint8_t function;
    Body body;
};

constexpr Row replies[] = {
    {1, 1, Body::empty_list}, {1, 13, Body::communicating}, {2, 17, Body::clock},    {2, 25, Body::same},
    {5, 1, Body::accepted},   {6, 1, Body::accepted},       {6, 3, Body::accepted},  {6, 9, Body::accepted},
    {6, 11, Body::accepted},  {6, 13, Body::accepted},      {10, 1, Body::accepted},
};

std::optional<Item> build(Body body, const sml::Message& primary, std::string_view clock) {
    const Item accepted = Item::binary(std::string_view("\0", 1));
    switch (body) {
        case Body::accepted: return accepted;
        case Body::empty_list: return Item::list();
        case Body::communicating: return Item::list({accepted, Item::list()});
        case Body::clock: return Item::ascii(clock);
        case Body::same: return primary.body;
    }
    return std::nullopt;
}

}  // namespace

std::optional<sml::Message> automatic_reply(const sml::Message& primary, std::string_view clock) {
    if (!primary.wbit) return std::nullopt;
    for (const Row& row : replies) {
        if (row.stream != primary.stream || row.function != primary.function) continue;
        return sml::Message{row.stream, static_cast<std::uint8_t>(row.function + 1), false,
                            build(row.body, primary, clock)};
    }
    return std::nullopt;
}

std::string clock_text() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const auto hundredths = duration_cast<milliseconds>(now.time_since_epoch()).count() / 10 % 100;
    return fmt::format("{:%Y%m%d%H%M%S}{:02}", fmt::localtime(system_clock::to_time_t(now)), hundredths);
}

}  // namespace host
