// Memory of the trees that are loaded during one receive callback.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace hsms {

/// Hands out memory that is taken back all at once. A few megabytes of blocks are kept for the next use, and
/// given back when less has been needed for a while. One thread at a time.
class ItemArena {
  public:
    /// `size` bytes, aligned for pointers.
    void* allocate(std::size_t size) {
        size = (size + alignment - 1) & ~(alignment - 1);
        if (size > static_cast<std::size_t>(end_ - next_)) next_block(size);
        char* const place = next_;
        next_ += size;
        return place;
    }

    /// Takes everything back.
    void reset();

    /// Bytes held, used or not.
    std::size_t capacity() const;

  private:
    static constexpr std::size_t alignment = alignof(void*);

    struct Block {
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0;
    };

    void next_block(std::size_t size);

    std::vector<Block> blocks_;
    std::size_t used_blocks_ = 0;
    char* next_ = nullptr;
    char* end_ = nullptr;
    std::size_t most_blocks_ = 0;  // used at once since `resets_` was 0
    std::size_t resets_ = 0;
};

}  // namespace hsms
