#include "fa/module/module_threads.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include "fa/framework/qtime.h"
#include "fa/module/bc_fa.h"
#include "fa/module/module_state.h"
#include "fa/secs/message_queue.h"

namespace Talwen {

namespace {

// Never destroyed: a process may exit without having deleted the module.
std::unique_ptr<std::thread>& Main_Monitor_Thread = *new std::unique_ptr<std::thread>;
std::unique_ptr<std::thread>& TRID_Monitor_Thread = *new std::unique_ptr<std::thread>;
std::atomic<bool> Threads_Ending{false};
std::atomic<int> Callbacks_Running{0};

void join_and_forget(std::unique_ptr<std::thread>& thread) {
    if (thread && thread->joinable()) thread->join();
    thread.reset();
}

}  // namespace

void Start_Module_Threads(BC_FA& module) {
    End_Module_Threads();  // those of an earlier run, should they not have seen their stop
    Main_Monitor_Thread = std::make_unique<std::thread>(&BC_FA::Thread_FA_Main_Monitor, &module);
    TRID_Monitor_Thread = std::make_unique<std::thread>(&BC_FA::Thread_FA_TRID_Monitor, &module);
}

// A thread killed outright could die holding a lock or half-way through a message; so the threads are told,
// woken and joined instead, and end where their loops look at Module_Stopping.
void End_Module_Threads() {
    Threads_Ending = true;
    QFA_Notify_Reply(0, 0);
    join_and_forget(Main_Monitor_Thread);
    join_and_forget(TRID_Monitor_Thread);
    while (Callbacks_Running != 0) QTime_MSleep(1);
    QFA_Message_Clear();
    Threads_Ending = false;
}

bool Module_Threads_Ending() {
    return Threads_Ending;
}

bool Module_Stopping(const BC_FA& module) {
    return module.Stop_Request != 0 || Threads_Ending;
}

void Sleep_Unless_Stopping(const BC_FA& module, unsigned int ms) {
    constexpr unsigned int slice = 100;
    for (; ms > 0 && !Module_Stopping(module); ms -= std::min(ms, slice)) QTime_MSleep(std::min(ms, slice));
}

// The count rises before the pointer is read, and the destructor clears the pointer before it looks at the
// count.
Callback_Use::Callback_Use() {
    ++Callbacks_Running;
    module_ = FA_Instance;
}
Callback_Use::~Callback_Use() {
    --Callbacks_Running;
}

}  // namespace Talwen
