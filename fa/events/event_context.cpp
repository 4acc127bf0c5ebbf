#include "fa/events/event_context.h"

#include <mutex>
#include <utility>
#include <vector>

#include "fa/events/event_values.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/message_queue.h"

namespace Talwen {

namespace {

// Never destroyed: a process may exit while an event is being raised.
std::mutex& Event_Mutex = *new std::mutex;

struct Nested_Event {
    BC_FA& fa;
    Event_Family family;
    int ceid;
    int kind;
    Event_Fields fields;
};

/// The events that the controller has brought on this thread while it was inside one: from an operation that
/// the event's values or its report called. Null outside of events.
thread_local std::vector<Nested_Event>* nested_events = nullptr;

/// Of one outer event, those that bring further ones counted: two that bring each other would never end.
constexpr std::size_t max_nested_events = 1000;

class Inside_An_Event {
  public:
    explicit Inside_An_Event(std::vector<Nested_Event>& nested) { nested_events = &nested; }
    ~Inside_An_Event() { nested_events = nullptr; }
    Inside_An_Event(const Inside_An_Event&) = delete;
    Inside_An_Event& operator=(const Inside_An_Event&) = delete;
};

bool queue_report(int ceid) {
    std::string text = std::to_string(ceid);
    return QFA_Message_PushBack(6, 11, &text, nullptr, nullptr, nullptr, nullptr);
}

// The report is queued at once, because queueing builds it from the values just written.
bool raise_now(BC_FA& fa, Event_Family family, int ceid, int kind, const Event_Fields& fields) {
    Event_Context event{fa, kind, fields, 0, 0};
    if (!Check_Event_Fields(family, event)) return false;
    Write_Event_Values(family, event);
    return queue_report(ceid);
}

bool raise_later(BC_FA& fa, Event_Family family, int ceid, int kind, const Event_Fields& fields) {
    if (nested_events->size() >= max_nested_events) {
        fa.QSystem_Log(LOG_ERROR, "事件嵌套超过 %d 个, 丢弃 CEID:%d.", static_cast<int>(max_nested_events),
                       ceid);
        return false;
    }
    nested_events->push_back({fa, family, ceid, kind, fields});
    return true;
}

}  // namespace

bool Raise_Event(BC_FA& fa, Event_Family family, int ceid, int kind, const Event_Fields& fields) {
    if (nested_events != nullptr) return raise_later(fa, family, ceid, kind, fields);
    std::vector<Nested_Event> nested;
    const std::lock_guard guard(Event_Mutex);
    const Inside_An_Event inside(nested);
    const bool raised = raise_now(fa, family, ceid, kind, fields);
    for (std::size_t i = 0; i < nested.size(); ++i) {
        const Nested_Event next = std::move(nested[i]);  // the list may grow meanwhile
        raise_now(next.fa, next.family, next.ceid, next.kind, next.fields);
    }
    return raised;
}

bool Raise_Substrate_State_Event(BC_FA& fa, int kind, const Event_Fields& fields) {
    if (kind < 1 || kind > 3) return false;
    return Raise_Event(fa, Event_Family::substrate_state, 31000 + kind, kind, fields);
}

bool Raise_Port_Load_Event(BC_FA& fa, int kind, const Event_Fields& fields) {
    if (kind < 1 || kind > 7) return false;
    const int ceid = kind == 7 ? 40201 : 40100 + kind;
    return Raise_Event(fa, Event_Family::port_load, ceid, kind, fields);
}

}  // namespace Talwen
