#include "bench/canned_server.h"

#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "bench/frame_client.h"
#include "bench/serve.h"

namespace bench {
namespace {

/// Turns of the sender, one for each message received.
class Turns {
  public:
    void give() {
        {
            const std::lock_guard lock(mutex_);
            ++open_;
        }
        given_.notify_one();
    }
    void end() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        given_.notify_one();
    }
    /// False when there will be no more.
    bool take() {
        std::unique_lock lock(mutex_);
        given_.wait(lock, [this] { return open_ > 0 || ended_; });
        if (ended_) return false;
        --open_;
        return true;
    }

  private:
    std::mutex mutex_;
    std::condition_variable given_;
    int open_ = 0;
    bool ended_ = false;
};

void serve_canned(FrameClient& client) {
    const Frame first = client.receive();
    const std::string message = make_frame(first.header, first.body);
    Turns turns;
    std::thread sender([&] {
        do client.send(message);
        while (turns.take());
    });
    try {
        for (;;) {
            client.receive();
            turns.give();
        }
    } catch (const std::system_error&) {  // the client has gone
        turns.end();
    }
    sender.join();
}

}  // namespace

void run_canned_server() {
    serve([](asio::ip::tcp::socket socket) {
        FrameClient client(std::move(socket));
        serve_canned(client);
    });
}

}  // namespace bench
