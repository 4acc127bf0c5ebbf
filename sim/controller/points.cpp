#include "sim/controller/points.h"

#include "sim/controller/clock.h"
#include "sim/text.h"

namespace sim {

namespace {

template <class Point>
auto& value_of(Point& point, Held held) {
    return held == Held::live ? point.live : point.memory;
}

template <class List>
auto& at(List& list, int index) {
    return list[static_cast<std::size_t>(index)];
}

template <class Atomic, class Number>
bool store(Atomic& value, const std::optional<Number>& number) {
    if (number) value.store(*number, std::memory_order_release);
    return number.has_value();
}

}  // namespace

const char* StringPoint::read_live() const {
    return clock ? ring_text(clock_text()) : live.read();
}

bool Points::add_name(std::string_view name, PointAddress address) {
    return names_.emplace(name, address).second;
}

std::optional<PointAddress> Points::find(std::string_view name) const {
    const auto found = names_.find(name);
    return found == names_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> Points::get(PointAddress address, Held held) const {
    switch (address.type) {
        case Talwen::IO_DIGITAL: return to_text(value_of(at(digital, address.index), held).load());
        case Talwen::IO_ANALOG: return to_text(value_of(at(analog, address.index), held).load());
        case Talwen::IO_STRING: {
            const StringPoint& point = at(string, address.index);
            return held == Held::live ? point.read_live() : point.memory.get();
        }
        case Talwen::IO_FUNCTION: break;
    }
    return std::nullopt;
}

bool Points::assign(PointAddress address, Held held, std::string_view text) {
    switch (address.type) {
        case Talwen::IO_DIGITAL:
            return store(value_of(at(digital, address.index), held), read_int(trim(text)));
        case Talwen::IO_ANALOG:
            return store(value_of(at(analog, address.index), held), read_double(trim(text)));
        case Talwen::IO_STRING: value_of(at(string, address.index), held).set(text); return true;
        case Talwen::IO_FUNCTION: break;
    }
    return false;
}

}  // namespace sim
