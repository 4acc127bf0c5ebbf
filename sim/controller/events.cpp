#include "sim/controller/events.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "sim/controller/faults.h"

namespace sim {

namespace {

struct Outcome {
    bool done = false;
    std::optional<std::string> fault;
};

struct Event {
    std::string text;
    std::shared_ptr<Outcome> outcome;  // null when no poster waits
    std::function<void()> handled;
};

constexpr std::size_t most_kept = 1000;

std::mutex mutex;
std::condition_variable changed;
std::deque<Event> queue;  // guarded by mutex, like those below
bool running = false;
bool stopping = false;
std::thread thread;  // started and joined by the thread that runs the module

void run(const EventHandler& handler) {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [] { return stopping || !queue.empty(); });
        if (queue.empty()) break;
        const Event event = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        const auto fault = guarded("QProgram_Event_Code", [&] { handler(event.text); });
        if (event.handled) event.handled();
        lock.lock();
        if (event.outcome) {
            event.outcome->fault = fault;
            event.outcome->done = true;
            changed.notify_all();
        }
    }
    running = false;
}

}  // namespace

void start_events(EventHandler handler) {
    const std::lock_guard lock(mutex);
    running = true;
    stopping = false;
    thread = std::thread([call = std::move(handler)] { run(call); });
}

void stop_events() {
    {
        const std::lock_guard lock(mutex);
        if (!thread.joinable()) return;
        stopping = true;
    }
    changed.notify_all();
    thread.join();
}

void post_event(std::string text, std::function<void()> handled) {
    {
        const std::lock_guard lock(mutex);
        queue.push_back({std::move(text), nullptr, std::move(handled)});
        if (!running && queue.size() > most_kept) queue.pop_front();
    }
    changed.notify_all();
}

std::optional<std::string> post_event_and_wait(std::string text) {
    std::unique_lock lock(mutex);
    if (!running || stopping) return "the module does not run";
    const auto outcome = std::make_shared<Outcome>();
    queue.push_back({std::move(text), outcome, {}});
    changed.notify_all();
    changed.wait(lock, [&] { return outcome->done; });
    return outcome->fault;
}

std::vector<std::string> take_posted_events() {
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    texts.reserve(queue.size());
    for (Event& event : queue) texts.push_back(std::move(event.text));
    queue.clear();
    return texts;
}

}  // namespace sim
