#include "apps/host/console/printer.h"

#include <chrono>
#include <cstdio>
#include <fmt/chrono.h>
#include <spdlog/details/os.h>
#include <string>

#include "sml/writer.h"

namespace host {
namespace {

constexpr std::string_view green = "\033[32m";
constexpr std::string_view cyan = "\033[36m";
constexpr std::string_view yellow = "\033[33m";
constexpr std::string_view home_and_clear = "\033[H\033[J";
constexpr std::string_view grey = "\033[90m";
constexpr std::string_view no_colour = "\033[0m";

bool terminal_with_colours() {
    return spdlog::details::os::in_terminal(stdout) && spdlog::details::os::is_color_terminal();
}

}  // namespace

std::string time_text() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const auto milli = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(system_clock::to_time_t(now)), milli);
}

Printer::Printer(bool quiet) : quiet_(quiet), colours_(terminal_with_colours()) {}

void Printer::line(std::string_view colour, std::string_view mark, std::string_view text) {
    if (quiet_) return;
    const std::lock_guard lock(mutex_);
    if (held_) return;
    const std::string time = time_text();
    if (colours_)
        fmt::print("{} {}{}{} {}\n", time, colour, mark, no_colour, text);
    else
        fmt::print("{} {} {}\n", time, mark, text);
    std::fflush(stdout);
}

void Printer::message(Direction direction, const sml::Message& message, std::string_view note) {
    if (quiet_ || !messages_shown_) return;
    const bool out = direction == Direction::sent;
    const std::string text = (note.empty() ? "" : "(" + std::string(note) + ") ") + sml::to_sml(message);
    line(out ? green : cyan, out ? "-->" : "<--", text);
}

void Printer::event(std::string_view text) {
    line(yellow, "**", text);
}

void Printer::about(std::string_view text) {
    line(grey, "--", text);
}

void Printer::fact(std::string_view text) {
    plain("= ", text);
}

void Printer::error(std::string_view text) {
    plain("! ", text);
}

void Printer::help(std::string_view text) {
    plain("", text);
}

void Printer::plain(std::string_view mark, std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (held_) return;
    fmt::print("{}{}\n", mark, text);
    std::fflush(stdout);
}

void Printer::hold(bool held) {
    const std::lock_guard lock(mutex_);
    held_ = held;
}

void Printer::screen(std::string_view text) {
    const std::lock_guard lock(mutex_);
    fmt::print("{}{}\n", colours_ ? home_and_clear : "", text);
    std::fflush(stdout);
}

}  // namespace host
