// The equipment's side of a fault run: the module on the demo machine, its tool at work, numbered events on
// top.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "fa/module/bc_fa.h"
#include "sim/controller/module_runner.h"
#include "support/temp_folder.h"

namespace faults {

/// The numbered events are 54101 with these alarm numbers; a report of the demo machine carries them.
inline constexpr int numbered_ceid = 54101;
inline constexpr int first_number = 1'000'000;

class Equipment {
  public:
    /// T5, T6 and T7 are one second; a free port of loopback. Throws std::runtime_error when it does not
    /// start.
    explicit Equipment(int seed);
    ~Equipment();
    Equipment(const Equipment&) = delete;
    Equipment& operator=(const Equipment&) = delete;

    std::uint16_t port() const;
    /// Raises the next numbered event; false when the module refused it (it is not on-line).
    bool raise_numbered();
    /// Posts any other event command.
    static void post(const std::string& text);
    /// Numbers raised and queued so far, those refused left out.
    int numbers_raised() const { return next_number_ - first_number; }
    /// Waits of the module for an answer that ended without one.
    int answers_missed() const { return answers_missed_; }
    std::size_t queue_length() const;

  private:
    support::TempFolder folder_;
    std::atomic<int> answers_missed_{0};
    std::atomic<bool> refused_{false};
    std::string posted_;  // the numbered event under way; under posted_mutex_
    std::mutex posted_mutex_;
    int next_number_ = first_number;
    std::unique_ptr<Talwen::BC_FA> module_;
    std::unique_ptr<sim::ModuleRunner> runner_;
};

}  // namespace faults
