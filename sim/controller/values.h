// Values that the module and the machine share: numbers and texts, read and written from any thread at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sim {

/// The text in the calling thread's ring of 128 reused buffers: good until that thread has put 127 further
/// texts there.
const char* ring_text(std::string_view text);

/// A text. read() copies it into the calling thread's ring, without allocation once the buffers have grown.
class TextCell {
  public:
    const char* read() const;
    std::string get() const;
    void set(std::string_view text);

  private:
    mutable std::mutex mutex_;
    std::string text_;  // guarded by mutex_
};

enum class ValueType { INT, TEXT };

struct ValueInfo {
    const char* name;
    ValueType type;
};

/// The values of one list of names, all 0 or "" at first. An index is the name's position in the list.
class ValueTable {
  public:
    explicit ValueTable(std::span<const ValueInfo> infos)
        : infos_(infos), values_(std::make_unique<Value[]>(infos.size())) {}

    std::optional<std::size_t> find(std::string_view name) const;
    std::size_t size() const { return infos_.size(); }
    const ValueInfo& info(std::size_t index) const { return infos_[index]; }
    bool was_set(std::size_t index) const { return values_[index].was_set.load(std::memory_order_acquire); }

    int number(std::size_t index) const { return values_[index].number.load(std::memory_order_acquire); }
    const char* text(std::size_t index) const { return values_[index].text.read(); }
    void set(std::size_t index, int number);
    void set(std::size_t index, std::string_view text);

    /// The value as a text, for either type.
    std::string get(std::size_t index) const;
    /// Sets the value from a text; false when a number is wanted and the text is not one.
    bool assign(std::size_t index, std::string_view text);

  private:
    struct Value {
        std::atomic<int> number{0};
        std::atomic<bool> was_set{false};
        TextCell text;
    };

    std::span<const ValueInfo> infos_;
    std::unique_ptr<Value[]> values_;
};

}  // namespace sim
