#include "hsms/driver/driver_state.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "fa/secs/secs_driver.h"
#include "hsms/driver/driver_config.h"
#include "hsms/log/log_file.h"

namespace hsms {
namespace {

struct State {
    std::mutex mutex;  // log and what follows
    std::shared_ptr<LogFile> log;
    std::size_t max_message_length = DriverOptions().max_message_length;
    std::vector<std::string> allowed_hosts;
    std::atomic<bool> has_log{false};
    std::atomic<bool> process_ends{false};

    std::mutex journal_mutex;
    std::function<void(std::string_view)> journal;
    std::atomic<bool> has_journal{false};
};

/// Never destroyed: the static objects of a program may still log when they are.
State& state() {
    static State* const instance = [] {
        auto* made = new State;
        std::atexit([] {
            state().process_ends = true;
            flush_online_log();
        });
        return made;
    }();
    return *instance;
}

std::shared_ptr<LogFile> current_log() {
    State& s = state();
    if (!s.has_log) return nullptr;
    const std::lock_guard lock(s.mutex);
    return s.log;
}

void log_entry(LogFile& log, std::string_view text) {
    log.entry(text);
    if (state().process_ends) log.flush();  // no flush follows
}

}  // namespace

void set_driver_options(DriverOptions options) {
    State& s = state();
    std::shared_ptr<LogFile> log;
    if (!options.online_log.empty())
        log = std::make_shared<LogFile>(LogFileOptions{
            .path = options.online_log,
            .rotate_bytes = options.log_rotate_bytes,
            .rotate_count = options.log_rotate_count,
        });
    {
        const std::lock_guard lock(s.journal_mutex);
        s.journal = std::move(options.journal);
        s.has_journal = static_cast<bool>(s.journal);
    }
    {
        const std::lock_guard lock(s.mutex);
        s.log.swap(log);
        s.has_log = s.log != nullptr;
        s.max_message_length = options.max_message_length;
        s.allowed_hosts = std::move(options.allowed_hosts);
    }
    // The earlier log, if any, is written and closed here.
}

std::string flush_online_log() {
    const auto log = current_log();
    return log ? log->flush() : std::string();
}

std::size_t max_message_length() {
    const std::lock_guard lock(state().mutex);
    return state().max_message_length;
}

std::vector<std::string> allowed_hosts() {
    const std::lock_guard lock(state().mutex);
    return state().allowed_hosts;
}

bool journal_wanted() {
    return state().has_journal;
}

void journal(const std::string& line) {
    const std::lock_guard lock(state().journal_mutex);
    if (state().journal) state().journal(line);
}

}  // namespace hsms

namespace Talwen {
namespace {

void log_formatted(hsms::LogFile& log, const char* format, std::va_list arguments) {
    constexpr std::size_t kept_size = std::size_t{64} << 10U;
    thread_local std::string text(1024, '\0');
    std::va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    if (length >= static_cast<int>(text.size())) {
        text.resize(static_cast<std::size_t>(length) + 1);
        length = std::vsnprintf(text.data(), text.size(), format, arguments);
    }
    if (length >= 0) hsms::log_entry(log, {text.data(), static_cast<std::size_t>(length)});
    if (text.size() > kept_size) std::string(1024, '\0').swap(text);
}

}  // namespace

void OnlineLog(const char* format, ...) {
    const auto log = hsms::current_log();
    if (!log || format == nullptr) return;
    std::va_list arguments;
    va_start(arguments, format);
    try {
        log_formatted(*log, format, arguments);
    } catch (const std::bad_alloc&) {  // only this line is lost: it may come while an exception is handled
    }
    va_end(arguments);
}

void OnlineLog(std::string& text) {
    if (const auto log = hsms::current_log()) hsms::log_entry(*log, text);
}

}  // namespace Talwen
