// A running fa-equipment with its own copy of the demo data folder; the operating-system calls of the tests.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace support {

/// True in sanitizer builds, where memory figures say nothing.
#ifdef FA_SANITIZED
inline constexpr bool sanitized = true;
#else
inline constexpr bool sanitized = false;
#endif

/// What to change in the copy of the demo folder before the equipment starts.
struct EquipmentOptions {
    /// Lines of Z/FA/FA_SAVE.inf by key; the port is 0 unless it is given here.
    std::map<std::string, std::string> settings;
    /// Texts to replace in machine.toml.
    std::map<std::string, std::string> machine;
};

/// Makes the copy, to be used by several processes in turn.
void make_data_folder(const TempFolder& data, const EquipmentOptions& options = {});

class EquipmentProcess {
  public:
    /// Starts it and waits for its "= ready" line; throws std::runtime_error with its output when it ends
    /// instead.
    explicit EquipmentProcess(const EquipmentOptions& options = {});
    /// Starts it on an existing folder.
    explicit EquipmentProcess(const std::filesystem::path& data);
    ~EquipmentProcess();
    EquipmentProcess(const EquipmentProcess&) = delete;
    EquipmentProcess& operator=(const EquipmentProcess&) = delete;

    std::uint16_t port() const { return port_; }
    const std::filesystem::path& data() const { return data_; }
    /// Gives a command and returns its answer line ("= ..." or "! ...").
    std::string command(const std::string& text);
    /// Repeats a command until it gives `answer`, at most for `limit`; the last answer.
    std::string await(const std::string& command, const std::string& answer,
                      std::chrono::milliseconds limit = std::chrono::seconds(15));
    /// Waits until it listens and has no host; false when it does not come to that.
    bool awaits_host();
    /// Orderly stop; the exit status, or 128 + the signal that ended it.
    int quit();
    void kill();
    /// Resident set in kB, open descriptors, threads.
    long resident_kb() const;
    int descriptors() const;
    int threads() const;
    /// Console lines so far.
    const std::vector<std::string>& console() const { return console_; }

  private:
    void start();
    bool read_line(std::string& line);
    int wait_for_end();

    TempFolder own_;
    std::filesystem::path data_;
    std::vector<std::string> console_;
    std::string pending_;
    int pid_ = -1;
    int to_ = -1;
    int from_ = -1;
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
