#include "hsms/driver/item_arena.h"

#include <algorithm>
#include <numeric>

namespace hsms {
namespace {

constexpr std::size_t first_block = std::size_t{16} << 10U;
constexpr std::size_t largest_block = std::size_t{4} << 20U;
// After this many messages, blocks that none of them needed are given back; what exceeds most_kept, after
// each message.
constexpr std::size_t resets_per_review = 64;
constexpr std::size_t most_kept = std::size_t{8} << 20U;

}  // namespace

void ItemArena::next_block(std::size_t size) {
    // A kept block that is too small for this piece stays unused; a new one goes in front of it.
    if (used_blocks_ == blocks_.size() || blocks_[used_blocks_].size < size) {
        const std::size_t grown =
            used_blocks_ == 0 ? first_block : std::min(blocks_[used_blocks_ - 1].size * 2, largest_block);
        const std::size_t bytes = std::max(size, grown);
        const auto place = blocks_.begin() + static_cast<std::ptrdiff_t>(used_blocks_);
        blocks_.insert(place, {std::make_unique_for_overwrite<char[]>(bytes), bytes});
    }
    next_ = blocks_[used_blocks_].bytes.get();
    end_ = next_ + blocks_[used_blocks_].size;
    ++used_blocks_;
}

void ItemArena::reset() {
    for (std::size_t size = capacity(); size > most_kept; blocks_.pop_back()) size -= blocks_.back().size;
    most_blocks_ = std::max(most_blocks_, std::min(used_blocks_, blocks_.size()));
    if (++resets_ == resets_per_review) {
        if (blocks_.size() > most_blocks_) blocks_.resize(std::max<std::size_t>(most_blocks_, 1));
        most_blocks_ = resets_ = 0;
    }
    used_blocks_ = 0;
    next_ = end_ = nullptr;
}

std::size_t ItemArena::capacity() const {
    return std::accumulate(blocks_.begin(), blocks_.end(), std::size_t{0},
                           [](std::size_t sum, const Block& block) { return sum + block.size; });
}

}  // namespace hsms
