// A running fa-equipment with its own copy of the demo data folder; the operating-system calls of the tests.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/footprint.h"
#include "support/temp_folder.h"

namespace support {

/// What to change in the copy of the demo folder before the equipment starts.
struct EquipmentOptions {
    /// Lines of Z/FA/FA_SAVE.inf by key; the port is 0 unless it is given here.
    std::map<std::string, std::string> settings;
    /// Texts to replace in machine.toml.
    std::map<std::string, std::string> machine;
};

/// Makes the copy, to be used by several processes in turn.
void make_data_folder(const TempFolder& data, const EquipmentOptions& options = {});

/// A child process: its standard input, and its standard output and error.
struct Child {
    explicit Child(const std::vector<std::string>& arguments);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    /// The next line of its output; false at the end, and when none comes for a minute.
    bool read_line(std::string& line);
    void end_input();
    /// Waits for its end: the exit status, or 128 + the signal that ended it.
    int wait();

    int pid, to, from;

  private:
    std::string pending_;
};

class EquipmentProcess {
  public:
    /// Starts it and waits for its "= ready" line; throws std::runtime_error with its output when it ends
    /// instead.
    explicit EquipmentProcess(const EquipmentOptions& options = {});
    /// Starts it on an existing folder.
    explicit EquipmentProcess(const std::filesystem::path& data);

    std::uint16_t port() const { return port_; }
    const std::filesystem::path& data() const { return data_; }
    /// Gives a command and returns its answer line ("= ..." or "! ...").
    std::string command(const std::string& text);
    /// Repeats a command until its answer ends in `end`; the last answer.
    std::string await(const std::string& command, const std::string& end);
    /// Waits until it listens and has no host; false when it does not come to that.
    bool awaits_host();
    /// Orderly stop; the exit status, or 128 + the signal that ended it.
    int quit();
    void kill();
    Footprint footprint() const { return Footprint(std::to_string(child_->pid)); }
    /// Console lines so far.
    const std::vector<std::string>& console() const { return console_; }

  private:
    void start();
    std::string answer();

    TempFolder own_;
    std::filesystem::path data_;
    std::vector<std::string> console_;
    std::unique_ptr<Child> child_;
    std::uint16_t port_ = 0;
};

/// Runs a program to its end: exit status (or 128 + signal) and its output, standard error included.
struct Finished {
    int status;
    std::string output;
};
Finished run_program(const std::vector<std::string>& arguments);
/// fa-host with a script against the equipment.
Finished run_host(const EquipmentProcess& equipment, const std::string& script);

}  // namespace support
