// The other end of a link in tests, in hand-written bytes, and a recorder of callbacks that can be awaited.
#pragma once

#include <condition_variable>
#include <mutex>
#include <sys/resource.h>
#include <system_error>
#include <vector>

#include "hsms/link/link.h"
#include "tests/support/bytes.h"
#include "tests/support/host.h"

namespace hsms {

/// Speaks in bytes in hexadecimal.
class Peer : public support::Host {
  public:
    using Host::Host;

    void send(const std::string& text) { send_raw(bytes(text)); }
    void send_raw(const std::string& data) {
        if (!Host::send(data)) throw std::system_error(std::make_error_code(std::errc::broken_pipe));
    }
    std::string receive(std::size_t size) { return to_hex(receive_bytes(size)); }
    /// Everything until the connection ends, at most a megabyte.
    std::string receive_to_end() { return receive(1'000'000); }
    /// Sends, and takes an answer without a body.
    std::string ask(const std::string& text) {
        send(text);
        return receive(14);
    }
};

/// While it lives the process has no more of a resource than this.
class Limit {
  public:
    Limit(__rlimit_resource_t resource, std::size_t size) : resource_(resource) {
        getrlimit(resource, &usual_);
        const rlimit limit{size, usual_.rlim_max};
        setrlimit(resource, &limit);
    }
    ~Limit() { setrlimit(resource_, &usual_); }

  private:
    __rlimit_resource_t resource_;
    rlimit usual_{};
};

using Entries = std::vector<std::string>;

/// Keeps the names of callbacks in order.
class Record {
  public:
    void add(const std::string& what) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(what);
        changed_.notify_all();
    }
    /// Waits until `count` entries came; all entries.
    Entries wait(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return entries_.size() >= count; });
        return entries_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Entries entries_;
};

}  // namespace hsms
