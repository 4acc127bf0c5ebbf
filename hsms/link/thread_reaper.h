// Threads that their creator does not wait for.
#pragma once

#include <functional>

namespace hsms {

/// Runs `body` on a thread of its own, which is joined after it ended: by a later call of either function
/// here, or at the end of the process. A thread that does not end within two seconds of that end is let go.
void spawn_thread(std::function<void()> body);

/// Joins the threads that have ended.
void reap_threads();

}  // namespace hsms
