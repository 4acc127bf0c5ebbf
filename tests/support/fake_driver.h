// A SECS driver without sockets: it records what the module does with the link and plays the host's part.
//
// Item builders and the loader are the real ones; link, message and log operations are the fake's.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fa/secs/secs_driver.h"

namespace fake {

/// One message that the module gave to the driver, as SML ("S1F2 <L ...>.") with the primary's id for a
/// reply.
struct Sent {
    bool is_reply = false;
    unsigned long id = 0;
    std::string sml;
};

class Driver {
  public:
    /// Forgets everything; the next primary's id is 101 again.
    void reset();

    /// All operations in order, one text each: "create", "connect 127.0.0.1 5000", "send S1F13", "destroy"
    /// ...
    std::vector<std::string> calls() const;
    std::vector<Sent> sent() const;
    /// The entries of the online log, without the SML of messages; with it in all_log().
    std::vector<std::string> log() const;
    std::vector<std::string> all_log() const;
    /// Settings of the newest link.
    Talwen::__secs_sets settings() const;
    /// Waits (at most 10 s) until `condition` holds, looking again after every operation; its last value.
    bool wait_until(const std::function<bool()>& condition);
    /// How many operations of that text there were.
    int count(const std::string& call) const;

    /// What SecsCreate gives from now on: false for null.
    void let_create_succeed(bool succeed);
    /// The driver's log throws a std::runtime_error from now on.
    void let_log_throw();
    /// Called inside SecsSendMessageItem, on the sending thread, with the id that is about to be returned.
    void on_send(std::function<void(const Sent&)> callback);

    /// Delivers a host message written in SML to OnRecvMessageBuffer, as the driver's callback thread would.
    unsigned long host_sends(const std::string& sml, unsigned long msgid = 7000,
                             unsigned short device_id = 0);
    /// The same with a body of any bytes.
    unsigned long host_sends_bytes(int stream, int function, bool wbit, std::string body,
                                   unsigned long msgid = 7000, unsigned short device_id = 0);
    /// The replies given since the last host_sends, joined by a blank; "" for none.
    std::string replies() const;
};

Driver& driver();

}  // namespace fake
