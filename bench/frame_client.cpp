#include "bench/frame_client.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <utility>

#include "hsms/core/wire.h"

namespace bench {
namespace {

constexpr std::size_t prefix_size = hsms::length_size + hsms::header_size;
constexpr std::size_t first_buffer_size = std::size_t{64} << 10U;

}  // namespace

FrameClient::FrameClient(std::uint16_t port) : socket_(io_), buffer_(first_buffer_size) {
    socket_.connect({asio::ip::address_v4::loopback(), port});
    socket_.set_option(asio::ip::tcp::no_delay(true));
}

FrameClient::FrameClient(asio::ip::tcp::socket socket)
    : socket_(std::move(socket)), buffer_(first_buffer_size) {
    socket_.set_option(asio::ip::tcp::no_delay(true));
}

void FrameClient::send(std::string_view bytes) {
    asio::write(socket_, asio::buffer(bytes));
}

Frame FrameClient::receive() {
    for (;;) {
        const std::size_t have = end_ - begin_;
        std::size_t size = prefix_size;
        if (have >= hsms::length_size)
            size = hsms::length_size + hsms::load_big_endian(buffer_.data() + begin_, hsms::length_size);
        if (have >= prefix_size && have >= size) {
            const char* const frame = buffer_.data() + begin_;
            begin_ += size;
            return {hsms::decode_header(frame + hsms::length_size),
                    {frame + prefix_size, size - prefix_size},
                    size};
        }
        std::copy(buffer_.data() + begin_, buffer_.data() + end_, buffer_.data());
        begin_ = 0;
        end_ = have;
        if (buffer_.size() < size) buffer_.resize(size);
        end_ += socket_.read_some(asio::buffer(buffer_.data() + end_, buffer_.size() - end_));
    }
}

std::string make_frame(const hsms::Header& header, std::string_view body) {
    const hsms::HeaderBytes head = hsms::encode_header(header, body.size());
    std::string frame(head.data(), head.size());
    return frame.append(body);
}

void set_system(std::string& frame, std::uint32_t system) {
    hsms::store_big_endian(frame.data() + prefix_size - 4, system, 4);
}

}  // namespace bench
