// The host's side of a fault run: comes back after every cut, asks, redefines, commands, and keeps a record.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hsms/link/link.h"
#include "sml/message.h"

namespace faults {

/// What became of a primary that the host sent.
enum class Outcome : std::uint8_t {
    open,  ///< nothing yet
    answered,
    cut,        ///< the connection ended before the answer
    unanswered  ///< T3 passed while the connection stood
};

struct Asked {
    std::string sml;
    Outcome outcome = Outcome::open;
    std::string reply;
};

/// One numbered event as received: its number and the connection that brought it.
struct Numbered {
    int number;
    int connection;
};

class FaultHost {
  public:
    /// Connects to a port on loopback, again and again; T3 `t3`, the other times one second.
    FaultHost(std::uint16_t port, std::chrono::milliseconds t3);
    ~FaultHost();
    FaultHost(const FaultHost&) = delete;
    FaultHost& operator=(const FaultHost&) = delete;

    /// Sends a primary and waits until something became of it; nothing while not selected.
    std::optional<Asked> ask(const std::string& sml);
    bool wait_selected(std::chrono::milliseconds limit);
    int connections() const { return connection_; }

    std::vector<Numbered> numbered() const;
    int primaries_received() const { return primaries_; }
    /// Every primary sent, by what became of it; the unanswered ones as text.
    std::map<Outcome, int> outcomes() const;
    std::vector<std::string> unanswered() const;

  private:
    void take(const hsms::Header& header, const std::string& body);
    void finish(std::uint32_t id, Outcome outcome, std::string reply);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::uint32_t, Asked> open_;  // by message id
    std::map<std::uint32_t, Asked> done_;  // until its asker has taken it
    std::map<Outcome, int> outcomes_;
    std::vector<std::string> unanswered_;
    std::vector<Numbered> numbered_;
    bool selected_ = false;
    std::atomic<int> connection_{0};
    std::atomic<int> primaries_{0};
    std::unique_ptr<hsms::Link> link_;
};

}  // namespace faults
