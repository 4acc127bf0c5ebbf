#include "sim/controller/console.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "fa/framework/qprint.h"
#include "sim/controller/calls.h"
#include "sim/controller/system_log.h"
#include "sim/os.h"
#include "sim/text.h"

namespace sim {

namespace {

constexpr std::size_t buffer_limit = 4U << 20U;
// How long a console line waits for the reader of standard output; after a stop request, how long everyone
// who prints or flushes waits altogether.
constexpr std::chrono::seconds patience{1};
constexpr std::chrono::milliseconds stop_poll{50};
// After a write, lines are collected for so long: a burst of messages prints a line for each, and waking the
// writer for every one would cost more than the message.
constexpr std::chrono::milliseconds collect_time{5};

/// Standard output with a buffer and a thread of its own. Never destroyed: the thread may be stuck in a
/// write that is never read when the process ends.
class Output {
  public:
    Output() {
        std::thread([this] { run(); }).detach();
    }

    /// Waits until there is room.
    void write_answer(std::string_view text) {
        std::unique_lock lock(mutex_);
        if (wait(lock, [this] { return has_room(); })) append(lock, text, true);
    }

    /// Waits a second, then this line and those after it are dropped until there is room.
    void write_line(std::string_view text) {
        std::unique_lock lock(mutex_);
        if (!has_room() && dropped_ == 0) {
            const auto give_up = Clock::now() + patience;
            wait(lock, [&] { return has_room() || dropped_ > 0 || Clock::now() >= give_up; });
        }
        if (has_room()) {
            const std::uint64_t dropped = std::exchange(dropped_, 0);
            append(lock, text, false);
            report(dropped);
        } else if (++dropped_ == 1) {
            lock.unlock();
            log_system(Talwen::LOG_ERROR, "standard output is not read: console lines are dropped");
        }
    }

    void flush() {
        std::unique_lock lock(mutex_);
        urgent_ = !pending_.empty();
        wake_.notify_one();
        wait(lock, [this] { return pending_.empty() && !writing_; });
        const std::uint64_t dropped = std::exchange(dropped_, 0);
        lock.unlock();
        report(dropped);
    }

    /// From now on waiting has an end.
    void limit_patience() {
        const std::lock_guard lock(mutex_);
        if (!deadline_) deadline_ = Clock::now() + patience;
    }

  private:
    using Clock = std::chrono::steady_clock;

    bool has_room() const { return pending_.size() < buffer_limit; }

    /// `at_once`: not collected with what may follow. Gives the lock back.
    void append(std::unique_lock<std::mutex>& lock, std::string_view text, bool at_once) {
        pending_ += text;
        pending_ += '\n';
        urgent_ = urgent_ || at_once || pending_.size() >= buffer_limit;
        const bool wake = urgent_ || std::exchange(idle_, false);
        lock.unlock();
        if (wake) wake_.notify_one();
    }

    static void report(std::uint64_t dropped) {
        if (dropped > 0)
            log_system(Talwen::LOG_ERROR, std::to_string(dropped) + " console lines were dropped");
    }

    /// False when the patience after a stop request has run out.
    template <class Condition>
    bool wait(std::unique_lock<std::mutex>& lock, Condition condition) {
        while (!condition()) {
            if (deadline_ && Clock::now() >= *deadline_) return false;
            changed_.wait_for(lock, stop_poll);
            if (!deadline_ && os::wait_for_stop(std::chrono::milliseconds(0)))
                deadline_ = Clock::now() + patience;
        }
        return true;
    }

    void run() {
        std::string text;
        std::unique_lock lock(mutex_);
        for (;;) {
            idle_ = pending_.empty();
            wake_.wait(lock, [this] { return !pending_.empty(); });
            idle_ = urgent_ = false;
            text.clear();
            text.swap(pending_);
            writing_ = true;
            lock.unlock();
            os::write_output(text);
            lock.lock();
            writing_ = false;
            changed_.notify_all();
            wake_.wait_for(lock, collect_time, [this] { return urgent_; });
        }
    }

    std::mutex mutex_;                 // what follows
    std::condition_variable wake_;     // the writer
    std::condition_variable changed_;  // callers that wait for it
    std::string pending_;
    bool idle_ = false;    // the writer sleeps until there is something to write
    bool urgent_ = false;  // what is pending must not wait for more
    bool writing_ = false;
    std::uint64_t dropped_ = 0;  // console lines, not reported yet
    std::optional<Clock::time_point> deadline_;
};

Output& output() {
    static Output* const instance = [] {
        auto* made = new Output;
        std::atexit([] {
            output().limit_patience();
            output().flush();
        });
        return made;
    }();
    return *instance;
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
    output().write_line(line);
}

void print_answer(std::string_view line) {
    output().write_answer(line);
}

void flush_console() {
    output().flush();
}

}  // namespace sim

namespace Talwen {

#define SIM_PRINT(name, colour)                                        \
    SIM_READ(name)                                                     \
    void name(const char* tag, const char* format, ...) {              \
        std::va_list arguments;                                        \
        va_start(arguments, format);                                   \
        std::string text = sim::vformat(format, arguments);            \
        va_end(arguments);                                             \
        sim::note(Op::name, text);                                     \
        sim::print_console(sim::Colour::colour, tag, std::move(text)); \
    }
SIM_PRINT(QPrint, plain)
SIM_PRINT(QPrint_Red, red)
SIM_PRINT(QPrint_Green, green)
SIM_PRINT(QPrint_Yellow, yellow)
SIM_PRINT(QPrint_Blue, blue)
SIM_PRINT(QPrint_Cyan, cyan)
#undef SIM_PRINT

}  // namespace Talwen
