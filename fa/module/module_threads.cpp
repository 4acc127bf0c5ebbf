#include "fa/module/module_threads.h"

#include <memory>
#include <thread>

#include "fa/module/bc_fa.h"
#include "fa/module/module_data.h"
#include "fa/secs/connection_monitor.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "fa/secs/reply_wait.h"

namespace Talwen {

namespace {

void join_and_forget(std::unique_ptr<std::thread>& thread) {
    if (thread && thread->joinable()) thread->join();
    thread.reset();
}

}  // namespace

void Start_Module_Threads(BC_FA& module) {
    End_Module_Threads();  // those of an earlier run, should they not have seen their stop
    Module_Data& data = The_Module_Data();
    data.Main_Monitor_Thread = std::make_unique<std::thread>(&BC_FA::Thread_FA_Main_Monitor, &module);
    data.TRID_Monitor_Thread = std::make_unique<std::thread>(&BC_FA::Thread_FA_TRID_Monitor, &module);
}

// A thread killed outright could die holding a lock or half-way through a message; so the threads are asked,
// woken and joined instead, and end where their loops look at Module_Stopping.
void End_Module_Threads() {
    Threads_Ending = true;
    QFA_Notify_Reply(0, 0);
    join_and_forget(The_Module_Data().Main_Monitor_Thread);
    join_and_forget(The_Module_Data().TRID_Monitor_Thread);
    Callback_Use::await_none();
    QFA_Message_Clear();
    Threads_Ending = false;
}

void BC_FA::Thread_FA_Main_Monitor() {
    Run_Connection_Monitor(*this);
}

}  // namespace Talwen
