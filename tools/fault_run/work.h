// The work of a run: what the host asks and the equipment raises, all of it at once.
#pragma once

#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "tools/fault_run/equipment.h"
#include "tools/fault_run/host.h"

namespace faults {

/// Numbered events, queries, redefinitions, remote commands and alarms, each on a thread of its own, in an
/// order given by the seed; from construction to destruction.
class Work {
  public:
    Work(Equipment& equipment, Host& host, unsigned seed);

  private:
    template <class Step>
    void repeat(Step step, std::chrono::milliseconds pause);
    template <class List>
    void ask(Host& host, const List& list, unsigned seed, std::chrono::milliseconds pause);

    std::vector<std::jthread> threads_;
};

}  // namespace faults
