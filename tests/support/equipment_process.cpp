#include "support/equipment_process.h"

#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace support {

namespace fs = std::filesystem;

namespace {

/// Replaces the values of the keys in settings; a key that is not there is appended.
std::string changed_settings(const std::string& settings, std::map<std::string, std::string> left) {
    std::istringstream old(settings);
    std::string text;
    for (std::string line; std::getline(old, line);) {
        const std::string key = line.substr(0, line.find(' '));
        const auto value = left.find(key);
        if (value != left.end()) {
            line = key + " " + value->second;
            left.erase(value);
        }
        text += line + "\n";
    }
    for (const auto& [key, value] : left) text += key + " " + value + "\n";
    return text;
}

struct Spawned {
    int pid;
    int to;
    int from;
};

Spawned spawn(const std::vector<std::string>& arguments) {
    int in[2];
    int out[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, out[1], 2);
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    int pid = -1;
    const int error = ::posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    if (error != 0) throw std::runtime_error("cannot start " + arguments[0]);
    return {pid, in[1], out[0]};
}

int status_of(int wait_status) {
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

}  // namespace

void make_data_folder(const TempFolder& data, const EquipmentOptions& options) {
    fs::copy(FA_DEMO_MACHINE, data.path(), fs::copy_options::recursive);
    std::map<std::string, std::string> settings = options.settings;
    settings.emplace("COMM_PORT", "0");
    data.put("Z/FA/FA_SAVE.inf", changed_settings(data.read("Z/FA/FA_SAVE.inf"), settings));
    std::string machine = data.read("machine.toml");
    for (const auto& [from, to] : options.machine) {
        const std::size_t at = machine.find(from);
        if (at == std::string::npos) throw std::runtime_error("machine.toml does not hold: " + from);
        machine.replace(at, from.size(), to);
    }
    data.put("machine.toml", machine);
}

EquipmentProcess::EquipmentProcess(const EquipmentOptions& options) : data_(own_.path()) {
    make_data_folder(own_, options);
    start();
}

EquipmentProcess::EquipmentProcess(const fs::path& data) : data_(data) {
    start();
}

EquipmentProcess::~EquipmentProcess() {
    kill();
}

void EquipmentProcess::start() {
    const Spawned child = spawn({FA_EQUIPMENT, "--data", data_.string()});
    pid_ = child.pid;
    to_ = child.to;
    from_ = child.from;
    std::string line;
    while (read_line(line)) {
        if (line.starts_with("= ready ")) {
            port_ = static_cast<std::uint16_t>(std::stoi(line.substr(8)));
            return;
        }
        console_.push_back(line);
    }
    std::string output;
    for (const std::string& l : console_) output += l + "\n";
    throw std::runtime_error("the equipment ended: " + output);
}

bool EquipmentProcess::read_line(std::string& line) {
    for (;;) {
        const std::size_t end = pending_.find('\n');
        if (end != std::string::npos) {
            line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return true;
        }
        pollfd readable{from_, POLLIN, 0};
        if (::poll(&readable, 1, 60000) <= 0) return false;
        char buffer[4096];
        const ssize_t n = ::read(from_, buffer, sizeof buffer);
        if (n <= 0) return false;
        pending_.append(buffer, static_cast<std::size_t>(n));
    }
}

std::string EquipmentProcess::command(const std::string& text) {
    const std::string line = text + "\n";
    if (::write(to_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) return "! gone";
    std::string answer;
    while (read_line(answer)) {
        if (answer.starts_with("= ") || answer.starts_with("! ")) return answer;
        console_.push_back(answer);
    }
    return "! gone";
}

std::string EquipmentProcess::await(const std::string& text, const std::string& answer,
                                    std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::string got = command(text);
    while (got != answer && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        got = command(text);
    }
    return got;
}

bool EquipmentProcess::awaits_host() {
    const std::string listening = "= listening " + std::to_string(port_) + " -";
    return await("link", listening) == listening;
}

int EquipmentProcess::wait_for_end() {
    if (pid_ < 0) return -1;
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    ::close(to_);
    ::close(from_);
    return status_of(status);
}

int EquipmentProcess::quit() {
    command("quit");
    std::string line;
    while (read_line(line)) console_.push_back(line);
    return wait_for_end();
}

void EquipmentProcess::kill() {
    if (pid_ < 0) return;
    ::kill(pid_, SIGKILL);
    wait_for_end();
}

long EquipmentProcess::resident_kb() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string word; status >> word;)
        if (word == "VmRSS:") {
            long kb = 0;
            status >> kb;
            return kb;
        }
    return -1;
}

namespace {
int entries(const fs::path& folder) {
    int n = 0;
    for (const auto& entry : fs::directory_iterator(folder)) n += entry.path().empty() ? 0 : 1;
    return n;
}
}  // namespace

int EquipmentProcess::descriptors() const {
    return entries("/proc/" + std::to_string(pid_) + "/fd");
}
int EquipmentProcess::threads() const {
    return entries("/proc/" + std::to_string(pid_) + "/task");
}

Finished run_program(const std::vector<std::string>& arguments) {
    const Spawned child = spawn(arguments);
    ::close(child.to);
    Finished result{0, {}};
    char buffer[4096];
    for (ssize_t n = 0; (n = ::read(child.from, buffer, sizeof buffer)) > 0;)
        result.output.append(buffer, static_cast<std::size_t>(n));
    ::close(child.from);
    int status = 0;
    ::waitpid(child.pid, &status, 0);
    result.status = status_of(status);
    return result;
}

Finished run_host(const EquipmentProcess& equipment, const std::string& script) {
    const TempFolder folder;
    return run_program({FA_HOST, "--connect", "127.0.0.1:" + std::to_string(equipment.port()), "--script",
                        folder.put("test.script", script).string()});
}

}  // namespace support
