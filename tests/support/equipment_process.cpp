#include "support/equipment_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace support {

namespace fs = std::filesystem;

void make_data_folder(const TempFolder& data, const EquipmentOptions& options) {
    fs::copy(FA_DEMO_MACHINE, data.path(), fs::copy_options::recursive);
    std::string settings = "\n" + data.read("Z/FA/FA_SAVE.inf");
    auto changes = options.settings;
    changes.emplace("COMM_PORT", "0");
    for (const auto& [key, value] : changes) {
        if (const auto at = settings.find("\n" + key + " "); at != std::string::npos)
            settings.erase(at, settings.find('\n', at + 1) - at);
        settings += key + " " + value + "\n";
    }
    data.put("Z/FA/FA_SAVE.inf", settings.substr(1));
    std::string machine = data.read("machine.toml");
    for (const auto& [from, to] : options.machine) {
        const std::size_t at = machine.find(from);
        if (at == std::string::npos) throw std::runtime_error("machine.toml does not hold: " + from);
        machine.replace(at, from.size(), to);
    }
    data.put("machine.toml", machine);
}

Child::Child(const std::vector<std::string>& arguments) : pid(-1) {
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
    const int error = ::posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    to = in[1];
    from = out[0];
    if (error != 0) throw std::runtime_error("cannot start " + arguments[0]);
}

Child::~Child() {
    if (pid >= 0) ::kill(pid, SIGKILL);
    wait();
    end_input();
    ::close(from);
}

void Child::end_input() {
    if (to >= 0) ::close(std::exchange(to, -1));
}

bool Child::read_line(std::string& line) {
    for (;;) {
        const std::size_t end = pending_.find('\n');
        if (end != std::string::npos) {
            line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return true;
        }
        pollfd readable{from, POLLIN, 0};
        if (::poll(&readable, 1, 60000) <= 0) return false;
        char buffer[4096];
        const ssize_t n = ::read(from, buffer, sizeof buffer);
        if (n <= 0) return false;
        pending_.append(buffer, static_cast<std::size_t>(n));
    }
}

int Child::wait() {
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) < 0) return -1;
    pid = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

EquipmentProcess::EquipmentProcess(const EquipmentOptions& options) : data_(own_.path()) {
    make_data_folder(own_, options);
    start();
}

EquipmentProcess::EquipmentProcess(const fs::path& data) : data_(data) {
    start();
}

void EquipmentProcess::start() {
    child_ = std::make_unique<Child>(std::vector<std::string>{FA_EQUIPMENT, "--data", data_.string()});
    const std::string ready = answer();
    if (ready.starts_with("= ready ")) {
        port_ = static_cast<std::uint16_t>(std::stoi(ready.substr(8)));
        return;
    }
    std::string output = "the equipment ended:";
    for (const std::string& line : console_) output += "\n" + line;
    throw std::runtime_error(output);
}

std::string EquipmentProcess::answer() {
    std::string line;
    while (child_->read_line(line)) {
        if (line.starts_with("= ") || line.starts_with("! ")) return line;
        console_.push_back(line);
    }
    return "! gone";
}

std::string EquipmentProcess::command(const std::string& text) {
    const std::string line = text + "\n";
    const ssize_t written = ::write(child_->to, line.data(), line.size());
    return written == static_cast<ssize_t>(line.size()) ? answer() : "! gone";
}

std::string EquipmentProcess::await(const std::string& text, const std::string& end) {
    std::string got;
    eventually([&] { return (got = command(text)).ends_with(end); });
    return got;
}

bool EquipmentProcess::awaits_host() {
    const std::string listening = "= listening " + std::to_string(port_) + " -";
    return await("link", listening) == listening;
}

int EquipmentProcess::quit() {
    command("quit");
    std::string line;
    while (child_->read_line(line)) console_.push_back(line);
    return child_->wait();
}

void EquipmentProcess::kill() {
    ::kill(child_->pid, SIGKILL);
    child_->wait();
}

Finished run_program(const std::vector<std::string>& arguments) {
    Child child(arguments);
    Finished result{0, {}};
    child.end_input();
    for (std::string line; child.read_line(line);) result.output += line + "\n";
    result.status = child.wait();
    return result;
}

Finished run_host(const EquipmentProcess& equipment, const std::string& script) {
    const TempFolder folder;
    return run_program({FA_HOST, "--connect", "127.0.0.1:" + std::to_string(equipment.port()), "--script",
                        folder.put("test.script", script).string()});
}

}  // namespace support
