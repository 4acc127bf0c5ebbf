#include "sim/controller/values.h"

#include <array>

#include "sim/text.h"

namespace sim {

namespace {

std::string& next_buffer() {
    thread_local std::array<std::string, 128> buffers;
    thread_local std::size_t next = 0;
    return buffers[next++ % buffers.size()];
}

}  // namespace

const char* ring_text(std::string_view text) {
    std::string& buffer = next_buffer();
    buffer = text;
    return buffer.c_str();
}

const char* TextCell::read() const {
    std::string& buffer = next_buffer();
    const std::lock_guard lock(mutex_);
    buffer = text_;
    return buffer.c_str();
}

std::string TextCell::get() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

void TextCell::set(std::string_view text) {
    const std::lock_guard lock(mutex_);
    text_ = text;
}

std::optional<std::size_t> ValueTable::find(std::string_view name) const {
    for (std::size_t i = 0; i < infos_.size(); ++i) {
        if (infos_[i].name == name) return i;
    }
    return std::nullopt;
}

void ValueTable::set(std::size_t index, int number) {
    values_[index].number.store(number, std::memory_order_release);
    values_[index].was_set.store(true, std::memory_order_release);
}

void ValueTable::set(std::size_t index, std::string_view text) {
    values_[index].text.set(text);
    values_[index].was_set.store(true, std::memory_order_release);
}

std::string ValueTable::get(std::size_t index) const {
    return infos_[index].type == ValueType::INT ? to_text(number(index)) : values_[index].text.get();
}

bool ValueTable::assign(std::size_t index, std::string_view text) {
    if (infos_[index].type == ValueType::TEXT) {
        set(index, text);
        return true;
    }
    const auto number = read_int(trim(text));
    if (number) set(index, *number);
    return number.has_value();
}

}  // namespace sim
