// The driver interface's link functions: handles, settings and callbacks on top of hsms::Link.
#include "fa/secs/secs_driver.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "hsms/driver/driver_config.h"
#include "hsms/driver/driver_state.h"
#include "hsms/driver/secs_item_codec.h"
#include "hsms/link/link.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace Talwen {
namespace {

using hsms::Link;

/// What a handle names.
struct DriverLink {
    explicit DriverLink(const __secs_sets& sets) : settings(sets) {}

    const __secs_sets settings;
    std::mutex mutex;
    std::shared_ptr<Link> link;  // null until connected

    std::shared_ptr<Link> get() {
        const std::lock_guard lock(mutex);
        return link;
    }
};

/// Handles are numbers that are never given twice, so that a stale one is not taken for a live one.
class Registry {
  public:
    void* add(const __secs_sets& settings) {
        const std::lock_guard lock(mutex_);
        const std::uintptr_t number = ++last_;
        links_.emplace(number, std::make_shared<DriverLink>(settings));
        // NOLINTNEXTLINE(performance-no-int-to-ptr): handles are numbers, never dereferenced
        return reinterpret_cast<void*>(number);
    }
    std::shared_ptr<DriverLink> find(void* handle) {
        const std::lock_guard lock(mutex_);
        const auto found = links_.find(reinterpret_cast<std::uintptr_t>(handle));
        return found == links_.end() ? nullptr : found->second;
    }
    void remove(void* handle) {
        const std::lock_guard lock(mutex_);
        links_.erase(reinterpret_cast<std::uintptr_t>(handle));
    }
    std::shared_ptr<DriverLink> newest() {
        const std::lock_guard lock(mutex_);
        return links_.empty() ? nullptr : links_.rbegin()->second;
    }

  private:
    std::mutex mutex_;
    std::map<std::uintptr_t, std::shared_ptr<DriverLink>> links_;
    std::uintptr_t last_ = 0;
};

/// Never destroyed: a callback thread may outlive the static objects.
Registry& registry() {
    static Registry* const instance = new Registry;
    return *instance;
}

/// Message ids go on over re-created links: a late reply of the previous link then answers nothing of this
/// one.
std::atomic<std::uint32_t> next_message_id{hsms::first_message_id};

std::shared_ptr<Link> find_link(void* handle) {
    const auto found = registry().find(handle);
    return found ? found->get() : nullptr;
}

hsms::Milliseconds time_of(std::uint32_t milliseconds) {
    return hsms::Milliseconds(std::max(milliseconds, std::uint32_t{1}));
}

/// Logs which settings are outside of what SEMI E37 allows, and what is used. They come as the settings file
/// has them; a number too wide for its field was cut before it came here.
void note_settings(const __secs_sets& sets) {
    const struct {
        const char* name;
        std::uint32_t value;
        std::uint32_t low, high;
        const char* unit;
    } rows[] = {
        {"T3", sets.t3, 1000, 120'000, " ms"}, {"T5", sets.t5, 1000, 240'000, " ms"},
        {"T6", sets.t6, 1000, 240'000, " ms"}, {"T7", sets.t7, 1000, 240'000, " ms"},
        {"T8", sets.t8, 1000, 120'000, " ms"}, {"device id", sets.device_id, 0, 32'767, ""},
    };
    for (const auto& row : rows) {
        if (row.value >= row.low && row.value <= row.high) continue;
        const std::uint32_t used = std::max(row.value, std::min(row.low, 1U));
        OnlineLog("HSMS %s is %u%s, SEMI E37 has %u to %u; %u%s is used", row.name, row.value, row.unit,
                  row.low, row.high, used, row.unit);
    }
}

hsms::LinkOptions link_options(const __secs_sets& sets, const char* ip, std::uint16_t port) {
    hsms::LinkOptions options;
    options.session.role = sets.conn_mode == 0 ? hsms::Role::passive : hsms::Role::active;
    options.session.device_id = sets.device_id;
    options.session.t0 = time_of(sets.t0);
    options.session.t3 = time_of(sets.t3);
    options.session.t6 = time_of(sets.t6);
    options.session.t7 = time_of(sets.t7);
    options.session.t8 = time_of(sets.t8);
    options.session.link_test = sets.link_test != 0;
    options.address =
        ip != nullptr ? std::string(ip) : std::string(sets.ip, strnlen(sets.ip, sizeof sets.ip));
    options.port = port;
    options.t5 = time_of(sets.t5);
    options.max_message_length = hsms::max_message_length();
    options.allowed_peers = hsms::allowed_hosts();
    options.first_id = next_message_id;
    options.log = [](std::string_view line) {
        OnlineLog("HSMS %.*s", static_cast<int>(line.size()), line.data());
    };
    return options;
}

// After a message with more bytes than this, freed memory goes back to the system.
constexpr std::size_t large_body = std::size_t{1} << 20U;

/// A tree has as many nodes as its body has bytes, and what the module made of them is freed piece by piece:
/// the heap would keep it for the process.
void give_back_memory() {
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

/// Runs a callback of the module; an exception from it ends here, with one line in the log.
template <class Callback>
void guarded(const char* name, Callback callback) {
    try {
        callback();
    } catch (const std::exception& error) {
        OnlineLog("%s callback left with an exception: %s", name, error.what());
    } catch (...) {
        OnlineLog("%s callback left with an exception of unknown type", name);
    }
}

void deliver(void* handle, const __secs_sets& sets, const hsms::Header& header, std::string&& body) {
    if (sets.on_recv == nullptr) return;
    guarded("receive", [&] {
        sets.on_recv(handle, header.session_id, header.system, header.stream(), header.function(),
                     body.data(), body.size(), header.wbit());
    });
    const bool large = body.size() > large_body;
    std::string().swap(body);
    hsms::reset_item_arena();
    if (large) give_back_memory();
}

hsms::LinkCallbacks link_callbacks(void* handle, const __secs_sets& sets) {
    const auto plain = [handle](const char* name, SECS_LINK_CALLBACK callback) {
        return [handle, name, callback] {
            if (callback != nullptr) guarded(name, [&] { callback(handle); });
        };
    };
    hsms::LinkCallbacks callbacks;
    callbacks.on_selected = plain("select", sets.on_select);
    callbacks.on_deselected = plain("deselect", sets.on_deselect);
    callbacks.on_closed = plain("close", sets.on_close);
    callbacks.on_message = [handle, sets](const hsms::Header& header, std::string&& body) {
        deliver(handle, sets, header, std::move(body));
    };
    callbacks.on_reply_timeout = [handle, callback = sets.on_error](std::uint32_t id) {
        if (callback != nullptr) guarded("error", [&] { callback(handle, id); });
    };
    return callbacks;
}

bool connect(void* handle, const char* ip, std::uint16_t port) {
    const auto found = registry().find(handle);
    if (!found) return false;
    const std::lock_guard lock(found->mutex);
    if (found->link) return false;
    note_settings(found->settings);
    found->link = std::make_shared<Link>(link_options(found->settings, ip, port),
                                         link_callbacks(handle, found->settings));
    return found->link->start();
}

void disconnect(void* handle) {
    const auto found = registry().find(handle);
    if (!found) return;
    std::shared_ptr<Link> link;
    {
        const std::lock_guard lock(found->mutex);
        link.swap(found->link);
    }
    if (!link) return;
    link->stop();
    next_message_id = link->next_id();
}

/// Hands the encoded body to `send` and returns its result; 0 with a line in the log when there is no body to
/// send.
template <class Send>
unsigned long send_encoded(const _SECS_ITEM* body, Send send) {
    constexpr std::size_t kept_bytes = std::size_t{1} << 20U;
    thread_local std::string bytes;
    unsigned long result = 0;
    try {
        bytes.clear();
        if (body == nullptr || hsms::encode_secs_item(*body, bytes))
            result = send(bytes);
        else
            OnlineLog("message body that cannot be encoded was not sent");
    } catch (const std::bad_alloc&) {
        OnlineLog("message not sent: out of memory");
    }
    if (bytes.capacity() > kept_bytes) std::string().swap(bytes);
    return result;
}

// ---- journal: NAME argument ... = result, bodies in hex

std::string hex(const _SECS_ITEM* body) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string bytes;
    if (body == nullptr || !hsms::encode_secs_item(*body, bytes) || bytes.empty()) return "-";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text.push_back(digits[byte >> 4U]);
        text.push_back(digits[byte & 0xFU]);
    }
    return text;
}

std::string number(void* handle) {
    return std::to_string(reinterpret_cast<std::uintptr_t>(handle));
}

std::string settings_text(const __secs_sets& sets) {
    const auto field = [](const char* name, auto value) {
        return std::string(" ") + name + "=" + std::to_string(value);
    };
    return field("t0", sets.t0) + field("t3", sets.t3) + field("t5", sets.t5) + field("t6", sets.t6) +
           field("t7", sets.t7) + field("t8", sets.t8) +
           " ip=" + std::string(sets.ip, strnlen(sets.ip, sizeof sets.ip)) + field("port", sets.port) +
           field("device_id", sets.device_id) + field("conn_mode", sets.conn_mode) +
           field("link_test", sets.link_test);
}

// Journal lines are written before the operation takes effect, so that what it causes comes after it.
void journal_message(const char* name, void* handle, unsigned stream, unsigned function,
                     const _SECS_ITEM* body, unsigned long reply_expected,
                     const unsigned long* msgid = nullptr) {
    if (!hsms::journal_wanted()) return;
    hsms::journal(std::string(name) + " " + number(handle) + " S" + std::to_string(stream) + "F" +
                  std::to_string(function) + " body=" + hex(body) +
                  " reply_expected=" + std::to_string(reply_expected) +
                  (msgid != nullptr ? " msgid=" + std::to_string(*msgid) : ""));
}

}  // namespace

void* SecsCreate(__secs_sets* settings) {
    void* const handle = settings == nullptr ? nullptr : registry().add(*settings);
    if (hsms::journal_wanted())
        hsms::journal("SecsCreate" + (settings == nullptr ? " null" : settings_text(*settings)) + " = " +
                      number(handle));
    return handle;
}

bool SecsConnect(void* handle, const char* ip, unsigned short port) {
    if (hsms::journal_wanted())
        hsms::journal("SecsConnect " + number(handle) + " ip=" + (ip == nullptr ? "null" : ip) +
                      " port=" + std::to_string(port));
    return connect(handle, ip, port);
}

void SecsDisconnect(void* handle) {
    if (hsms::journal_wanted()) hsms::journal("SecsDisconnect " + number(handle));
    disconnect(handle);
}

void SecsDestroy(void* handle) {
    if (hsms::journal_wanted()) hsms::journal("SecsDestroy " + number(handle));
    disconnect(handle);
    registry().remove(handle);
}

namespace {

/// The connection has ended and the module may not know yet: without a pause it would lose message after
/// message. So this waits until on_close was called, and sends the message if the host is back soon. Nothing
/// of it was sent before.
unsigned long send_to_the_next(hsms::Link& link, unsigned char stream, unsigned char function, bool wbit,
                               const std::string& body) {
    constexpr hsms::Milliseconds patience{1000};
    constexpr hsms::Milliseconds pause{1};
    const auto until = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < until) {
        link.await_close();
        if (!link.await_selected(patience)) return 0;
        if (const unsigned long id = link.send(stream, function, wbit, body)) return id;
        std::this_thread::sleep_for(pause);  // the session knows that it has ended, the link does not yet
    }
    return 0;
}

}  // namespace

unsigned long SecsSendMessageItem(void* handle, unsigned char stream, unsigned char function,
                                  _SECS_ITEM* body, unsigned long reply_expected) {
    journal_message("SecsSendMessageItem", handle, stream, function, body, reply_expected);
    const auto link = find_link(handle);
    if (!link) return 0;
    const bool wbit = reply_expected != 0;
    return send_encoded(body, [&](const std::string& bytes) {
        const unsigned long id = link->send(stream, function, wbit, bytes);
        return id != 0 ? id : send_to_the_next(*link, stream, function, wbit, bytes);
    });
}

/// The primary's id (any number) when the reply was sent, 0 when it was not.
unsigned long SecsReplyMessageItem(void* handle, unsigned char stream, unsigned char function,
                                   _SECS_ITEM* body, unsigned long reply_expected, unsigned long msgid) {
    journal_message("SecsReplyMessageItem", handle, stream, function, body, reply_expected, &msgid);
    const auto link = find_link(handle);
    if (!link) return 0;
    return send_encoded(body, [&](const std::string& bytes) {
        return link->reply(stream, function, bytes, static_cast<std::uint32_t>(msgid)) ? msgid : 0;
    });
}

}  // namespace Talwen

namespace hsms {

LinkStatus link_status() {
    const auto newest = Talwen::registry().newest();
    const auto link = newest ? newest->get() : nullptr;
    if (!link) return {};
    LinkStatus status{to_text(link->state()), link->port(), link->peer()};
    if (status.peer.empty()) status.peer = "-";
    return status;
}

}  // namespace hsms
