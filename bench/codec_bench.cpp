#include "bench/codec_bench.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "bench/statistics.h"
#include "fa/secs/secs_driver.h"
#include "hsms/driver/secs_item_codec.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using Talwen::_SECS_ITEM;

constexpr int rounds = 31;
constexpr int many_items = 100'000;
constexpr int large_bytes = 10'000'000;
constexpr double largest_memcpy_ratio = 2.0;

struct DeleteTree {
    void operator()(_SECS_ITEM* item) const { Talwen::SecsDeleteItem(item); }
};
using Tree = std::unique_ptr<_SECS_ITEM, DeleteTree>;

/// Keeps the optimiser from dropping work whose result is not used.
std::atomic<const void*> kept;
void keep(const void* result) {
    kept.store(result, std::memory_order_relaxed);
}

/// Nanoseconds of one call, over `repeats` calls in a row.
template <class Function>
double time_of(int repeats, const Function& function) {
    const auto start = Clock::now();
    for (int i = 0; i < repeats; ++i) function();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / repeats;
}

/// A copy, with its own memory, of what a body decodes to; the module builds such trees.
Tree build(const _SECS_ITEM& item) {
    switch (item.format) {
        case Talwen::SECS_FORMAT_L: {
            Tree list(Talwen::SecsCreateItemList(item.count));
            for (int i = 0; i < item.count; ++i)
                Talwen::SecsListItemAppend(list.get(), build(*item.children[i]).release());
            return list;
        }
        case Talwen::SECS_FORMAT_A: return Tree(Talwen::SecsCreateItemAscii(item.data));
        case Talwen::SECS_FORMAT_B:
            return Tree(Talwen::SecsCreateItemBinary(reinterpret_cast<unsigned char*>(item.data),
                                                     static_cast<int>(item.length)));
        default: break;
    }
    // Every number of one element is built alike: the node of another width is taken and filled.
    Tree number(Talwen::SecsCreateItemU8(0));
    number->format = item.format;
    number->length = item.length;
    std::memcpy(number->value, item.value, sizeof number->value);
    return number;
}

/// What one body costs, in nanoseconds.
struct Costs {
    std::vector<double> copy, encode, decode, encode_ratio, decode_ratio;
};

Costs measure(const std::string& body, int repeats) {
    _SECS_ITEM root;
    if (!hsms::decode_secs_item(body, root)) throw std::runtime_error("a body of the benchmark is wrong");
    const Tree tree = build(root);
    hsms::reset_item_arena();
    std::string encoded;
    if (!hsms::encode_secs_item(*tree, encoded) || encoded != body)
        throw std::runtime_error("a body of the benchmark is not encoded to itself");

    std::string copy(body.size(), '\0');
    Costs costs;
    for (int round = -1; round < rounds; ++round) {
        const double copied = time_of(repeats, [&] {
            std::memcpy(copy.data(), body.data(), body.size());
            keep(copy.data());
        });
        const double wrote = time_of(repeats, [&] {
            encoded.clear();
            keep(hsms::encode_secs_item(*tree, encoded) ? encoded.data() : nullptr);
        });
        const double read = time_of(repeats, [&] {
            keep(hsms::decode_secs_item(body, root) ? &root : nullptr);
            hsms::reset_item_arena();
        });
        if (round < 0) continue;
        costs.copy.push_back(copied);
        costs.encode.push_back(wrote);
        costs.decode.push_back(read);
        costs.encode_ratio.push_back(wrote / copied);
        costs.decode_ratio.push_back(read / copied);
    }
    return costs;
}

void append_ratio_rows(std::vector<Row>& rows, const std::string& name, const Costs& costs, double unit_ns,
                       const std::string& unit, std::optional<double> target) {
    rows.push_back({name + ", encode", median(costs.encode) / unit_ns, unit, median(costs.copy) / unit_ns,
                    median(costs.encode_ratio), target});
    rows.push_back({name + ", decode", median(costs.decode) / unit_ns, unit, median(costs.copy) / unit_ns,
                    median(costs.decode_ratio), target});
}

std::string large_binary_body() {
    std::string body{'\x23'};  // B with three length bytes
    for (const unsigned shift : {16U, 8U, 0U}) body.push_back(static_cast<char>(large_bytes >> shift & 0xFF));
    for (int i = 0; i < large_bytes; ++i) body.push_back(static_cast<char>(i * 7));
    return body;
}

std::string many_items_body() {
    std::string body{'\x03'};  // L with three length bytes
    for (const unsigned shift : {16U, 8U, 0U}) body.push_back(static_cast<char>(many_items >> shift & 0xFF));
    for (int i = 0; i < many_items; ++i) {
        body += "\xB1\x04";  // U4, four bytes
        for (const unsigned shift : {24U, 16U, 8U, 0U}) body.push_back(static_cast<char>(i >> shift & 0xFF));
    }
    return body;
}

}  // namespace

std::vector<Row> run_codec_bench(const std::string& status_body) {
    std::vector<Row> rows;
    append_ratio_rows(rows, "S1F4 of 100 (" + std::to_string(status_body.size()) + " bytes) / memcpy",
                      measure(status_body, 2000), 1, "ns", std::nullopt);
    append_ratio_rows(rows, "10 MB binary / memcpy", measure(large_binary_body(), 3), 1e3, "us",
                      largest_memcpy_ratio);
    const Costs many = measure(many_items_body(), 10);
    const auto per_item = [&](const char* what, const std::vector<double>& costs, double target) {
        rows.push_back({std::string("one U4 item of 100,000, ") + what, median(costs) / many_items, "ns",
                        median(many.copy) / many_items, std::nullopt, target});
    };
    per_item("encode", many.encode, 15);
    per_item("decode", many.decode, 30);
    return rows;
}

std::string sample_status_body() {
    std::string body{'\x01', 100};
    for (int i = 0; i < 25; ++i) {
        body += "\xB1\x04";
        body.append({0, 0, 1, static_cast<char>(i)});
        body += "\x91\x04\x3F";
        body.append({'\x40', 0, static_cast<char>(i)});
        body += "\x81\x08\x3F";
        body.append({'\x50', 0, 0, 0, 0, 0, static_cast<char>(i)});
        body +=
            "\x41\x08"
            "LOT-000A";
    }
    return body;
}

}  // namespace bench
