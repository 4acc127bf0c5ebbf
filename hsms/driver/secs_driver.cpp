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
#include <thread>
#include <utility>

#include "hsms/driver/driver_config.h"
#include "hsms/driver/driver_state.h"
#include "hsms/driver/secs_item_codec.h"
#include "hsms/link/link.h"

namespace Talwen {
namespace {

using hsms::Link;

/// What stands behind one handle.
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

/// Handles are numbers that are never given twice, so that a stale one is told from a live one.
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

/// Runs a callback of the module; what leaves it ends here, with one line.
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
    hsms::reset_item_arena();
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

/// The encoded body, in a buffer of the calling thread; null when it cannot be encoded.
const std::string* encode(const _SECS_ITEM* body) {
    constexpr std::size_t kept_bytes = std::size_t{1} << 20U;
    thread_local std::string bytes;
    if (bytes.capacity() > kept_bytes) std::string().swap(bytes);
    bytes.clear();
    if (body == nullptr || hsms::encode_secs_item(*body, bytes)) return &bytes;
    OnlineLog("message body that cannot be encoded was not sent");
    return nullptr;
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

// Journal lines are written before the operation takes effect, so that what it causes stands behind it.
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

/// The connection has ended, and the sender may not have been told yet: going on at once it would lose
/// message after message. So it is told first; and when the host is back soon, the message still goes out.
/// Nothing of it was sent before.
unsigned long send_to_the_next(hsms::Link& link, unsigned char stream, unsigned char function, bool wbit,
                               const std::string& body) {
    constexpr hsms::Milliseconds patience{1000};
    constexpr hsms::Milliseconds pause{1};
    const auto until = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < until) {
        link.await_close();
        if (!link.await_selected(patience)) return 0;
        if (const unsigned long id = link.send(stream, function, wbit, body)) return id;
        std::this_thread::sleep_for(pause);  // its end is known to the session, but not to the link yet
    }
    return 0;
}

}  // namespace

unsigned long SecsSendMessageItem(void* handle, unsigned char stream, unsigned char function,
                                  _SECS_ITEM* body, unsigned long reply_expected) {
    journal_message("SecsSendMessageItem", handle, stream, function, body, reply_expected);
    const auto link = find_link(handle);
    const std::string* bytes = link ? encode(body) : nullptr;
    if (bytes == nullptr) return 0;
    const bool wbit = reply_expected != 0;
    const unsigned long id = link->send(stream, function, wbit, *bytes);
    return id != 0 ? id : send_to_the_next(*link, stream, function, wbit, *bytes);
}

/// The id of the primary when the reply was sent, whatever that id is; 0 when it was not.
unsigned long SecsReplyMessageItem(void* handle, unsigned char stream, unsigned char function,
                                   _SECS_ITEM* body, unsigned long reply_expected, unsigned long msgid) {
    journal_message("SecsReplyMessageItem", handle, stream, function, body, reply_expected, &msgid);
    unsigned long result = 0;
    if (const auto link = find_link(handle))
        if (const std::string* bytes = encode(body))
            if (link->reply(stream, function, *bytes, static_cast<std::uint32_t>(msgid))) result = msgid;
    return result;
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
