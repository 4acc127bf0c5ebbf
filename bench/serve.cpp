#include "bench/serve.h"

#include <asio/io_context.hpp>
#include <cstdio>
#include <thread>
#include <utility>

namespace bench {

using asio::ip::tcp;

void serve(std::function<void(tcp::socket)> serve_one) {
    asio::io_context io;
    tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    std::printf("= ready %u\n", static_cast<unsigned>(acceptor.local_endpoint().port()));
    std::fflush(stdout);
    for (;;) {
        std::thread([&serve_one, socket = acceptor.accept()]() mutable {
            try {
                serve_one(std::move(socket));
            } catch (const std::exception& error) {
                std::fprintf(stderr, "yardstick: %s\n", error.what());
            }
        }).detach();
    }
}

}  // namespace bench
