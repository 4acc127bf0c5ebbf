// The machine's IO points. Names, units and limits do not change after the loading; values are atomic each.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "fa/framework/framework_types.h"
#include "sim/controller/values.h"

namespace sim {

struct DigitalPoint {
    std::string name, unit;
    int min = 0, max = 1;
    std::atomic<int> live{0}, memory{0};
};

struct AnalogPoint {
    std::string name, unit;
    double min = 0.0, max = 100.0;
    int decimals = 3;
    std::atomic<double> live{0.0}, memory{0.0};
};

struct StringPoint {
    std::string name;
    bool clock = false;  ///< what is read as the live value is the equipment clock
    TextCell live, memory;

    /// As TextCell::read.
    const char* read_live() const;
};

struct FunctionPoint {
    std::string name;
    std::atomic<Talwen::FUNC_STATUS> status{Talwen::FUNC_IDLE};
};

/// A point has two values that know nothing of each other: the live one and the one held in memory.
enum class Held { live, memory };

struct PointAddress {
    Talwen::IO_TYPE type;
    int index;
};

struct NameHash : std::hash<std::string_view> {
    using is_transparent = void;
};

class Points {
  public:
    std::deque<DigitalPoint> digital;
    std::deque<AnalogPoint> analog;
    std::deque<StringPoint> string;
    std::deque<FunctionPoint> function;

    /// Enters a name for a point; false when another point of any kind has it.
    bool add_name(std::string_view name, PointAddress address);
    std::optional<PointAddress> find(std::string_view name) const;

    /// The value as a text; nothing for a function point, which has none.
    std::optional<std::string> get(PointAddress address, Held held) const;
    /// Sets a value from a text; false when a number is wanted and the text is not one, and for function
    /// points.
    bool assign(PointAddress address, Held held, std::string_view text);

  private:
    std::unordered_map<std::string, PointAddress, NameHash, std::equal_to<>> names_;
};

}  // namespace sim
