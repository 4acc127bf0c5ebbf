// The framework's event thread: texts are handed to the module's event entry point one at a time, in the
// order in which they were posted. Any thread may post.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// Gets each text on the event thread. What it throws is logged and goes to the waiting poster.
using EventHandler = std::function<void(const std::string& text)>;

/// Starts the event thread; texts posted before come first.
void start_events(EventHandler handler);
/// Hands out what was posted so far, then ends the thread. Harmless when it does not run.
void stop_events();

/// Without a running event thread the text stays queued (the last 1000 are kept). `handled` is called on the
/// event thread once the module is done with it.
void post_event(std::string text, std::function<void()> handled = {});
/// Posts and returns once the event has been handled: nothing on success, else the reason (an exception left
/// the module, or the event thread does not run).
std::optional<std::string> post_event_and_wait(std::string text);
/// Takes what is queued, for a test without an event thread.
std::vector<std::string> take_posted_events();

}  // namespace sim
