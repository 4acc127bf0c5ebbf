#include "hsms/core/framer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "hsms/core/wire.h"

namespace hsms {

bool Framer::take_prefix(std::string_view& input, std::size_t until) {
    const std::size_t taken = std::min(until - have_, input.size());
    std::memcpy(prefix_.data() + have_, input.data(), taken);
    input.remove_prefix(taken);
    have_ += taken;
    return have_ == until;
}

Framer::Result Framer::next(std::string_view& input, Message& out) {
    if (input.empty()) return Result::need_more;
    if (have_ < length_size) {
        if (!take_prefix(input, length_size)) return Result::need_more;
        length_ = static_cast<std::uint32_t>(load_big_endian(prefix_.data(), length_size));
        if (length_ < header_size || length_ > max_length_) return Result::bad_length;
    }
    if (have_ < prefix_size) {
        if (!take_prefix(input, prefix_size)) return Result::need_more;
        message_.header = decode_header(prefix_.data() + length_size);
    }

    std::string& body = message_.body;
    const std::size_t body_size = length_ - header_size;
    const std::size_t taken = std::min(body_size - body.size(), input.size());
    if (const std::size_t needed = body.size() + taken; needed > body.capacity())
        body.reserve(std::min(body_size, std::max(needed, needed * 3)));
    body.append(input.data(), taken);
    input.remove_prefix(taken);
    have_ += taken;
    if (body.size() < body_size) return Result::need_more;

    out = std::exchange(message_, {});
    have_ = 0;
    return Result::message;
}

}  // namespace hsms
