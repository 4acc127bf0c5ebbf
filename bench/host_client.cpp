#include "bench/host_client.h"

#include <array>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "hsms/core/wire.h"

namespace bench {
namespace {

using hsms::Header;
using hsms::SType;
using namespace std::string_view_literals;

constexpr std::uint32_t select_system = 1;
std::uint32_t next_system = 0x10000;

struct Answer {
    std::uint8_t stream;
    std::uint8_t function;
    std::string_view body;
};

constexpr auto acknowledge = "\x21\x01\x00"sv;  // <B 0>
constexpr std::array<Answer, 5> answers{{
    {1, 13, "\x01\x02\x21\x01\x00\x01\x00"sv},  // <L <B 0> <L>>
    {2, 17,
     "\x41\x10"
     "2026010112000000"sv},  // <A "YYYYMMDDhhmmsscc">
    {5, 1, acknowledge},
    {6, 1, acknowledge},
    {6, 11, acknowledge},
}};

}  // namespace

void answer_primary(FrameClient& client, const Header& primary) {
    std::string_view body;
    for (const Answer& known : answers)
        if (known.stream == primary.stream() && known.function == primary.function()) body = known.body;
    client.send(make_frame(
        hsms::data_header(primary.session_id, primary.stream(),
                          static_cast<std::uint8_t>(primary.function() + 1), false, primary.system),
        body));
}

namespace {

bool is_equipment_primary(const Header& header) {
    return header.type() == SType::data && header.wbit();
}

void answer_until(FrameClient& client, std::uint8_t stream, std::uint8_t function) {
    for (;;) {
        const Header header = client.receive().header;
        if (header.type() == SType::linktest_req)
            client.send(make_frame(
                {header.session_id, 0, 0, 0, static_cast<std::uint8_t>(SType::linktest_rsp), header.system},
                {}));
        if (!is_equipment_primary(header)) continue;
        answer_primary(client, header);
        if (header.stream() == stream && header.function() == function) return;
    }
}

void expect_reply(FrameClient& client, Request request, std::uint8_t function) {
    const Header header = exchange(client, request).header;
    if (header.function() != function)
        throw std::runtime_error("the equipment answered with S" + std::to_string(header.stream()) + "F" +
                                 std::to_string(header.function()) + " instead of F" +
                                 std::to_string(function));
}

/// SVIDs of the file by kind of format: texts, reals, integers.
std::map<char, std::vector<std::uint32_t>> read_svids(const std::string& svid_file) {
    std::ifstream file(svid_file);
    std::map<char, std::vector<std::uint32_t>> svids;
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::uint32_t id = 0;
        std::string name;
        std::string format;
        if (!(fields >> id >> name >> format)) continue;
        const char kind = format[0] == 'A' ? 'A' : format[0] == 'F' ? 'F' : 'I';
        auto& ids = svids[kind];
        // F8 is rare: it goes to the front.
        ids.insert(format == "F8" ? ids.begin() : ids.end(), id);
    }
    return svids;
}

}  // namespace

Request Request::primary(std::uint8_t stream, std::uint8_t function, std::string_view body) {
    return {make_frame(hsms::data_header(0, stream, function, true, 0), body)};
}

Frame exchange(FrameClient& client, Request& request) {
    const std::uint32_t system = ++next_system;
    set_system(request.frame, system);
    client.send(request.frame);
    for (;;) {
        const Frame frame = client.receive();
        if (frame.header.system == system && !frame.header.wbit()) return frame;
        if (is_equipment_primary(frame.header)) answer_primary(client, frame.header);
    }
}

void bring_on_line(FrameClient& client) {
    client.send(
        make_frame({0xFFFF, 0, 0, 0, static_cast<std::uint8_t>(SType::select_req), select_system}, {}));
    const Header selected = client.receive().header;
    if (selected.type() != SType::select_rsp || selected.byte3 != 0)
        throw std::runtime_error("the equipment refused the select");
    answer_until(client, 1, 13);
    expect_reply(client, Request::primary(1, 1, {}), 2);
    expect_reply(client, Request::primary(1, 3, "\x01\x01\xB1\x04\x00\x00\x00\x01"sv), 4);
}

Request status_request(const std::string& svid_file, std::size_t count) {
    const auto svids = read_svids(svid_file);
    std::string ids;
    std::size_t taken = 0;
    for (std::size_t row = 0; taken < count; ++row) {
        const std::size_t before = taken;
        for (const auto& [kind, of_kind] : svids) {
            if (row >= of_kind.size() || taken == count) continue;
            std::array<char, 6> item{'\xB1', 4};  // <U4 svid>
            hsms::store_big_endian(item.data() + 2, of_kind[row], 4);
            ids.append(item.data(), item.size());
            ++taken;
        }
        if (taken == before) throw std::runtime_error(svid_file + ": too few status variables");
    }
    if (count > 0xFF) throw std::runtime_error("more than 255 status variables in one request");
    return Request::primary(1, 3, std::string{'\x01', static_cast<char>(count)} + ids);
}

}  // namespace bench
