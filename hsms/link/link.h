// One HSMS-SS link over TCP: what the SECS driver and the host program talk to.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hsms/core/header.h"
#include "hsms/core/session.h"

namespace hsms {

struct LinkOptions {
    SessionSettings session;  ///< role, device id, T0, T3, T6, T7, T8, link test
    /// Active: the address (or name) to connect to. Passive: one of this machine's own addresses is listened
    /// on; any other is the only peer let in (and all addresses are listened on); empty listens on 127.0.0.1.
    std::string address;
    /// Passive: the address to listen on; `address` is then always taken for the peer's. Empty: `address` is
    /// the peer's when it cannot be bound here, as above.
    std::string listen_address;
    std::uint16_t port =
        5000;  ///< passive: 0 takes any free port, the same one again when a link is re-created
    /// Passive: the addresses that may connect; empty for any. Any other connection is closed at once and
    /// logged.
    std::vector<std::string> allowed_peers;
    Milliseconds t5{10000};  ///< time between the starts of two attempts to connect (or to listen)
    std::size_t max_message_length = std::size_t{64} << 20U;  ///< header and body of a received message
    /// A peer that leaves more than this unread when the next message is sent is dropped.
    std::size_t max_send_buffer = std::size_t{16} << 20U;
    std::uint32_t first_id = first_message_id;  ///< of the first message sent
    std::function<void(std::string_view)> log;  ///< one line, no newline; any thread, must not block for long
};

/// Made on the connection's own callback thread, one at a time and in order. One that does not return holds
/// up the callbacks of its connection alone.
struct LinkCallbacks {
    std::function<void()> on_selected;
    std::function<void()> on_deselected;
    /// Once for every connection that was accepted or made. Comes from another thread when a callback that
    /// was running at the close has not returned 500 ms later; what was still queued after it is dropped
    /// then.
    std::function<void()> on_closed;
    std::function<void(const Header&, std::string&& body)> on_message;
    std::function<void(std::uint32_t id)> on_reply_timeout;
};

class CallbackLane;
class Connection;
class LinkCore;

enum class LinkState : std::uint8_t { stopped, listening, connecting, connected, selected };

/// "stopped", "listening", "connecting", "connected" or "selected".
std::string_view to_text(LinkState state);

/// True for an IPv4 or IPv6 address in figures.
bool is_address(const std::string& text);

/// All functions may be called from any thread, callbacks included.
class Link {
  public:
    Link(LinkOptions options, LinkCallbacks callbacks);
    /// Stops; no callback is begun afterwards.
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Listens or begins to connect. False when it is started already, and when the address cannot be
    /// listened on (it is tried again every T5 then).
    bool start();
    /// Separates when selected, sends what was queued, closes and ends listening or connecting. Returns when
    /// on_closed was delivered, about a second later at the most; called on a callback thread, it returns at
    /// once.
    void stop();

    LinkState state() const;
    /// Passive: the port listened on. Active: the port to connect to.
    std::uint16_t port() const;
    /// Address of the peer, empty when there is no connection.
    std::string peer() const;
    /// The id the next message gets.
    std::uint32_t next_id() const;

    /// Sends a primary and returns its id; 0 when not selected. With `wbit`, on_reply_timeout follows when no
    /// reply came within T3.
    std::uint32_t send(std::uint8_t stream, std::uint8_t function, bool wbit, std::string_view body);
    /// Returns once on_closed was delivered for the last connection that has ended, also when the next one
    /// is up already (two seconds at the most); at once on a callback thread.
    void await_close();
    /// Waits until a connection is selected; false when none is within `limit`, and at once on a callback
    /// thread without one.
    bool await_selected(Milliseconds limit);
    /// Sends the secondary that answers primary `system`. False when not selected, and on the callback thread
    /// of a connection that is gone.
    bool reply(std::uint8_t stream, std::uint8_t function, std::string_view body, std::uint32_t system);
    /// Ends the open primary `id` without a reply (the peer's S9 named it, say): on_reply_timeout does not
    /// come for it. False when it is not open any more.
    bool end_transaction(std::uint32_t id);

    /// Requests to the peer; each does nothing when there is no such connection.
    void deselect();
    void linktest();
    /// Drops the connection (with Separate.req when selected) but goes on listening or connecting.
    void separate();

  private:
    std::shared_ptr<LinkCore> core() const;
    /// The connection that is up (may be null), and what it runs on, kept alive for one call.
    std::pair<std::shared_ptr<LinkCore>, std::shared_ptr<Connection>> live() const;
    std::shared_ptr<LinkCore> end();
    bool on_callback_thread() const;

    LinkOptions options_;
    const std::shared_ptr<const LinkCallbacks> callbacks_;
    mutable std::mutex mutex_;
    std::shared_ptr<LinkCore> core_;  // while started
    std::shared_ptr<CallbackLane> last_lane_;
};

}  // namespace hsms
