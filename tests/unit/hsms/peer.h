// The other end of a link in tests: which speaks in headers, and a
// recorder of callbacks that can be awaited. A header is written "FFFF 0000 0001 65" in hexadecimal: session
// id, header bytes 2 and 3, PType and SType, system bytes.
#pragma once

#include <condition_variable>
#include <mutex>
#include <sys/resource.h>
#include <system_error>
#include <vector>

#include "hsms/link/link.h"
#include "tests/support/bytes.h"
#include "tests/support/host.h"

namespace hsms {

inline Header header_of(const std::string& text) {
    Header h;
    std::sscanf(text.c_str(), "%hx %2hhx%2hhx %2hhx%2hhx %x", &h.session_id, &h.byte2, &h.byte3, &h.ptype,
                &h.stype, &h.system);
    return h;
}
inline std::string text_of(const Header& h) {
    char text[32];
    std::snprintf(text, sizeof text, "%04X %02X%02X %02X%02X %X", h.session_id, h.byte2, h.byte3, h.ptype,
                  h.stype, h.system);
    return text;
}
/// The bytes of a whole message.
inline std::string message(const std::string& header, const std::string& body = "") {
    const HeaderBytes head = encode_header(header_of(header), body.size());
    return std::string(head.data(), head.size()) + body;
}

const char* const select_req = "FFFF 0000 0001 1";

/// Speaks in headers.
class Peer : public support::Host {
  public:
    using Host::Host;

    void send(const std::string& header) { send_raw(message(header)); }
    void send_raw(const std::string& data) {
        if (!Host::send(data)) throw std::system_error(std::make_error_code(std::errc::broken_pipe));
    }
    /// A message without a body, or the bytes that are none.
    std::string receive() {
        const std::string raw = receive_bytes(14);
        const std::string text = raw.size() < 14 ? "" : text_of(decode_header(raw.data() + 4));
        return raw == message(text) ? text : to_hex(raw);
    }
    /// Sends, and takes an answer without a body.
    std::string ask(const std::string& header) {
        send(header);
        return receive();
    }
};

/// While it lives the process has no more of a resource than this.
class Limit {
  public:
    Limit(__rlimit_resource_t resource, std::size_t size) : resource_(resource) {
        getrlimit(resource, &usual_);
        const rlimit limit{size, usual_.rlim_max};
        setrlimit(resource, &limit);
    }
    ~Limit() { setrlimit(resource_, &usual_); }

  private:
    __rlimit_resource_t resource_;
    rlimit usual_{};
};

using Entries = std::vector<std::string>;

/// Keeps the names of callbacks in order.
class Record {
  public:
    void add(const std::string& what) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(what);
        changed_.notify_all();
    }
    /// Waits until `count` entries came; all entries.
    Entries wait(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return entries_.size() >= count; });
        return entries_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Entries entries_;
};

}  // namespace hsms
