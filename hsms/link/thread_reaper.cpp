#include "hsms/link/thread_reaper.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace hsms {
namespace {

constexpr std::chrono::seconds exit_patience{2};

class Reaper {
  public:
    void spawn(std::function<void()> body) {
        reap();
        const std::lock_guard lock(mutex_);
        std::list<Entry> started(1);  // first, since a thread that runs must find its place
        Entry& entry = started.front();
        entry.thread = std::thread([body = std::move(body), done = entry.done]() mutable {
            std::exchange(body, nullptr)();
            done->store(true);
        });
        threads_.splice(threads_.end(), started);
    }

    /// Joins what has ended; false when threads are left.
    bool reap() {
        std::list<Entry> ended;
        bool all = true;
        {
            const std::lock_guard lock(mutex_);
            for (auto it = threads_.begin(); it != threads_.end();) {
                const auto next = std::next(it);
                if (it->done->load()) ended.splice(ended.end(), threads_, it);
                it = next;
            }
            all = threads_.empty();
        }
        for (Entry& entry : ended) entry.thread.join();
        return all;
    }

    void end_of_process() {
        const auto until = std::chrono::steady_clock::now() + exit_patience;
        while (!reap() && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const std::lock_guard lock(mutex_);
        for (Entry& entry : threads_) entry.thread.detach();
        threads_.clear();
    }

  private:
    struct Entry {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done = std::make_shared<std::atomic<bool>>(false);
    };
    std::mutex mutex_;
    std::list<Entry> threads_;
};

/// Never destroyed: a thread may outlive every static object.
Reaper& reaper() {
    static Reaper* const instance = [] {
        auto* made = new Reaper;
        std::atexit([] { reaper().end_of_process(); });
        return made;
    }();
    return *instance;
}

}  // namespace

void spawn_thread(std::function<void()> body) {
    reaper().spawn(std::move(body));
}

void reap_threads() {
    reaper().reap();
}

}  // namespace hsms
