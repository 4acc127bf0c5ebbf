// What this room keeps to itself for the loaded module: a part of Module_Data (fa/module/module_data.h),
// which alone makes one and puts it back to its start.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>

#include "fa/secs/message_queue.h"
#include "fa/secs/secs_driver.h"
#include "fa/secs/spool_table.h"
#include "winapi/winapi.h"

namespace Talwen {

struct Secs_Data {
    Secs_Data() = default;
    ~Secs_Data() { CloseHandle(Reply_Event); }
    Secs_Data(const Secs_Data&) = delete;
    Secs_Data& operator=(const Secs_Data&) = delete;

    // message_queue.cpp; under the queue lock
    std::deque<FA_Message> FA_Message_Queue;
    std::uint64_t Entries_Queued = 0;

    // reply_wait.cpp
    /// Made once and then kept: a driver callback or another framework thread may hold it at any time.
    std::atomic<HANDLE> Reply_Event{nullptr};
    std::atomic<std::uint32_t> REQUESTID{101};
    std::atomic<std::uint32_t> RESPONSEID{100};
    std::atomic<std::uint32_t> Sends{1};       ///< sends begun; the last one is in flight
    std::atomic<std::uint32_t> Ended_Send{0};  ///< the send that a stream 9 message has ended

    // receive_dispatch.cpp
    std::atomic<std::uint16_t> Link_Device_Id{0};
    std::atomic<std::uint32_t> Link_Epoch{0};

    // connection_monitor.cpp; only the main monitor touches these two
    __secs_sets Secs_Settings{};
    void* Secs_Handle = nullptr;

    // spool_table.cpp
    std::atomic<bool> Spool_Table[Spool_Streams][Spool_Functions] = {};

    // module_state.cpp
    std::atomic<int> Callbacks_Running{0};
};

/// The loaded module's.
extern Secs_Data& Secs;

}  // namespace Talwen
