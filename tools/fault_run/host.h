// The host's side of a run: comes back after every cut, asks, redefines, commands, and keeps a record.
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
#include "tools/fault_run/event_record.h"

namespace faults {

/// What became of a primary that the host sent.
enum class Outcome : std::uint8_t {
    answered,
    cut,        ///< the connection ended before the answer
    unanswered  ///< T3 passed while the connection was there
};

struct Asked {
    Outcome outcome;
    sml::Message reply;  ///< when it was answered
};

/// All functions may be called from any thread.
class Host {
  public:
    /// Connects to a port on loopback, again and again; T3 is ten seconds, the other times are one.
    explicit Host(std::uint16_t port);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Sends a primary and waits until something became of it; nothing while not selected.
    std::optional<Asked> ask(const std::string& sml);
    bool wait_selected(std::chrono::milliseconds limit);

    /// The numbered events, as they came.
    std::vector<Received> numbered() const;
    int primaries_received() const { return primaries_; }
    /// How many primaries it sent, by what became of them; the unanswered ones as text.
    std::map<Outcome, int> outcomes() const;
    std::vector<std::string> unanswered() const;
    /// How often the number of a trace sample was not above the one before.
    int samples_reordered() const { return samples_reordered_; }

  private:
    void selected();
    void closed();
    void take(const hsms::Header& header, const std::string& body);
    void answer(const sml::Message& primary, std::uint32_t id);
    void record(const sml::Message& primary);
    void finish(std::uint32_t id, Asked asked);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::uint32_t, std::string> open_;  // what was asked, by message id
    std::map<std::uint32_t, Asked> done_;        // until its asker has taken it
    std::map<Outcome, int> outcomes_;
    std::vector<std::string> unanswered_;
    std::vector<Received> numbered_;
    std::map<std::int64_t, std::int64_t> samples_;  // the last of each trace
    std::atomic<int> samples_reordered_{0};
    int connection_ = 0;
    std::atomic<int> primaries_{0};
    std::unique_ptr<hsms::Link> link_;
};

}  // namespace faults
