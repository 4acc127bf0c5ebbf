// The simulated machine as programs and tests handle it.
//
//     sim::machine().load_text(R"([[digital]]
//     name = "Door"
//     value = 1)");
//     sim::machine().io("Door")           // "1"
//     sim::machine().set_gem("PrnChk", 1);
//
// Values are read and written as texts, by name, from any thread. An unknown name and a value that does not
// fit throw std::invalid_argument with the reason.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sim {

/// [tool] of the machine file.
struct ToolSettings {
    std::string model, revision;
    bool simulation = true;
    bool journal = false;
    bool moving = false;
    bool react = true;
    double speed = 1.0;
    int seed = 1;
    double alarm_rate = 0.0;
    double fetch_after = 0.0;  ///< seconds of machine time; 0 for never
};

/// What is wrong with a machine file: "file:line: reason".
class MachineError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Machine {
  public:
    /// Replaces the machine by the one described there, every value and count at its start. Only while no
    /// module runs. Throws MachineError and leaves the machine as it was.
    void load_file(const std::filesystem::path& path);
    void load_text(std::string_view toml);
    /// The machine without any point, as at the program's start.
    void reset();

    const ToolSettings& tool() const;

    std::string io(std::string_view name) const;
    void set_io(std::string_view name, std::string_view value);
    std::string mem(std::string_view name) const;
    void set_mem(std::string_view name, std::string_view value);
    std::string gem(std::string_view name) const;
    void set_gem(std::string_view name, std::string_view value);
    std::string fa(std::string_view name) const;
    void set_fa(std::string_view name, std::string_view value);
    /// Empty when the variable was never set.
    std::string dvid(std::string_view name) const;
    /// `cm` and `slot` count from 0; -1 where the point has none.
    std::string ctc(std::string_view name, int cm = -1, int slot = -1) const;
    void set_ctc(std::string_view name, int cm, int slot, std::string_view value);

    template <class Number>
    void set_io(std::string_view name, Number value) requires std::is_arithmetic_v<Number> {
        set_io(name, std::string_view(number_text(value)));
    }
    template <class Number>
    void set_mem(std::string_view name, Number value) requires std::is_arithmetic_v<Number> {
        set_mem(name, std::string_view(number_text(value)));
    }
    void set_gem(std::string_view name, int value) { set_gem(name, std::string_view(number_text(value))); }
    void set_fa(std::string_view name, int value) { set_fa(name, std::string_view(number_text(value))); }
    void set_ctc(std::string_view name, int cm, int slot, int value) {
        set_ctc(name, cm, slot, std::string_view(number_text(value)));
    }

    /// Puts an alarm on the alarm queue; takes it off.
    void post_alarm(int id);
    void clear_alarm(int id);
    /// A carrier is placed on load port `port` (from 1): carrier present, a wafer in every slot, and its id;
    /// when the tool moves the id is not known before it was read.
    void carrier_arrives(int port, std::string_view id);
    void carrier_removed(int port);

  private:
    static std::string number_text(int value);
    static std::string number_text(double value);
};

/// The one machine of the process.
Machine& machine();

}  // namespace sim
