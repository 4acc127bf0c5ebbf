// The yardstick: a TCP server that does nothing but what an equipment cannot do without.
#pragma once

namespace bench {

/// Serves on a free loopback port, announced as "= ready PORT" on standard output, until the process is
/// ended.
///
/// A client first sends two big-endian 4-byte numbers: the size N of its requests and the size M of the
/// replies. From then on every N bytes are answered with M: the connection's I/O thread receives them, hands
/// them to a worker thread, gets the reply back and sends it. A reply is shaped like an HSMS message and
/// carries the request's system bytes, so that one client talks to this server and to an equipment.
void run_echo_server();

}  // namespace bench
