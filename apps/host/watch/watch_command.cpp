// watch: the live screen.
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "apps/host/commands/commands.h"

namespace host {
namespace {

constexpr std::chrono::seconds refresh{1};

/// Shows the screen at once and then every second, as long as it lives; all else is held back meanwhile.
class LiveScreen {
  public:
    explicit LiveScreen(Monitor& monitor) : monitor_(monitor) {
        monitor_.printer().hold(true);
        show();
        painter_ = std::thread([this] { paint(); });
    }
    ~LiveScreen() {
        {
            const std::lock_guard lock(mutex_);
            left_ = true;
        }
        leave_.notify_all();
        painter_.join();
        monitor_.printer().hold(false);
    }
    LiveScreen(const LiveScreen&) = delete;
    LiveScreen& operator=(const LiveScreen&) = delete;

  private:
    void show() { monitor_.printer().screen(monitor_.screen() + "q or Enter leaves this screen"); }

    void paint() {
        std::unique_lock lock(mutex_);
        while (!leave_.wait_for(lock, refresh, [this] { return left_; })) show();
    }

    Monitor& monitor_;
    std::mutex mutex_;
    std::condition_variable leave_;
    bool left_ = false;
    std::thread painter_;
};

}  // namespace

Job prepare_watch(Words& /*words*/) {
    return [](Desk& desk) {
        const LiveScreen screen(desk.monitor());
        std::string line;
        while (std::getline(*desk.input(), line) && line != "q" && !line.empty()) {
        }
    };
}

}  // namespace host
