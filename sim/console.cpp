#include "sim/console.h"

#include <array>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>

#include "fa/framework/qprint.h"
#include "sim/calls.h"
#include "sim/os.h"
#include "sim/text.h"

namespace sim {

namespace {

constexpr std::size_t buffer_limit = 4U << 20U;

/// Standard output behind a buffer and a thread of its own.
class Output {
  public:
    Output() : thread_([this] { run(); }) {}
    ~Output() {
        {
            const std::lock_guard lock(mutex_);
            stop_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::string_view text) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return pending_.size() < buffer_limit; });
        pending_ += text;
        pending_ += '\n';
        changed_.notify_all();
    }

    void flush() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return pending_.empty() && !writing_; });
    }

  private:
    void run() {
        std::string text;
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return stop_ || !pending_.empty(); });
            if (pending_.empty()) return;
            text.clear();
            text.swap(pending_);
            writing_ = true;
            lock.unlock();
            std::fwrite(text.data(), 1, text.size(), stdout);
            std::fflush(stdout);
            lock.lock();
            writing_ = false;
            changed_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string pending_;
    bool writing_ = false;
    bool stop_ = false;
    std::thread thread_;
};

Output& output() {
    static Output instance;
    return instance;
}

std::mutex sink_mutex;
ConsoleSink console_sink;  // guarded by sink_mutex

const char* colour_code(Colour colour) {
    static const bool terminal = os::is_terminal(stdout);
    constexpr std::array codes = {"", "\033[31m", "\033[32m", "\033[33m", "\033[34m", "\033[36m"};
    return terminal ? codes[static_cast<std::size_t>(colour)] : "";
}

/// Puts a blank before every line that would look like an answer.
std::string without_answers(std::string text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view rest = std::string_view(text).substr(at);
        if (rest.starts_with("= ") || rest.starts_with("! ")) text.insert(at, 1, ' ');
        at = text.find('\n', at);
        if (at == std::string::npos) break;
    }
    return text;
}

}  // namespace

void set_console_sink(ConsoleSink sink) {
    const std::lock_guard lock(sink_mutex);
    console_sink = std::move(sink);
}

void print_console(Colour colour, const char* tag, std::string text) {
    {
        const std::lock_guard lock(sink_mutex);
        if (console_sink) {
            console_sink({colour, std::string(view(tag)), std::move(text)});
            return;
        }
    }
    std::string line;
    if (!view(tag).empty()) line.append("[").append(tag).append("] ");
    line = without_answers(line + text);
    const std::string_view code = colour_code(colour);
    if (!code.empty()) line = std::string(code) + line + "\033[0m";
    output().write(line);
}

void print_answer(std::string_view line) {
    output().write(line);
}

void flush_console() {
    output().flush();
}

}  // namespace sim

namespace Talwen {

#define SIM_PRINT(name, colour)                                                        \
    void name(const char* tag, const char* format, ...) {                              \
        sim::count(sim::Op::name);                                                     \
        std::va_list arguments;                                                        \
        va_start(arguments, format);                                                   \
        sim::print_console(sim::Colour::colour, tag, sim::vformat(format, arguments)); \
        va_end(arguments);                                                             \
    }
SIM_PRINT(QPrint, plain)
SIM_PRINT(QPrint_Red, red)
SIM_PRINT(QPrint_Green, green)
SIM_PRINT(QPrint_Yellow, yellow)
SIM_PRINT(QPrint_Blue, blue)
SIM_PRINT(QPrint_Cyan, cyan)
#undef SIM_PRINT

}  // namespace Talwen
