// What the host shows: messages with time and direction, and lines about the link.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "sml/message.h"

namespace host {

/// The time of day, 12:00:00.000.
std::string time_text();

enum class Direction : std::uint8_t { received, sent };

/// Writes to standard output, a line at least at a time and flushed. Any thread.
///
///   12:00:00.000 --> S1F1 W.             sent; --> and <-- in colours on a terminal
///   12:00:00.010 <-- S1F2 <L>.           received
///   12:00:00.010 ** event 100: ...       what the equipment reports, in words
///   12:00:00.020 -- selected             about the link
///   = listening 5000                     facts for programs
///   ! 1:12: expected ...                 what was typed wrong
class Printer {
  public:
    /// Quiet: messages and lines about the link are left out.
    explicit Printer(bool quiet);

    /// A `note` is shown after the direction, as in "--> (automatic) S1F2 ...".
    void message(Direction direction, const sml::Message& message, std::string_view note = "");
    void event(std::string_view text);
    void about(std::string_view text);
    void fact(std::string_view text);
    void error(std::string_view text);
    void help(std::string_view text);

    /// Whether messages are shown as SML, unless quiet.
    void show_messages(bool shown) { messages_shown_ = shown; }
    /// While held, only screen() shows anything.
    void hold(bool held);
    /// The live screen: on a terminal in place of the last one.
    void screen(std::string_view text);

  private:
    void plain(std::string_view mark, std::string_view text);
    void line(std::string_view colour, std::string_view mark, std::string_view text);

    const bool quiet_;
    const bool colours_;
    std::atomic<bool> messages_shown_{true};
    std::mutex mutex_;
    bool held_ = false;
};

}  // namespace host
