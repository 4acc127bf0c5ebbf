// The yardstick of the event bursts: an equipment that does nothing but send one ready message again and
// again.
#pragma once

namespace bench {

/// Serves every connection until ended; prints "= ready PORT" first. A connection begins with the whole
/// message to send, as a client wants it. It is sent at once, and again after every message that comes in:
/// the thread that receives hands over to the thread that sends.
void run_canned_server();

}  // namespace bench
