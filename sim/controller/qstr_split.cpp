#include <initializer_list>
#include <string>
#include <string_view>

#include "fa/framework/qstr.h"
#include "sim/text.h"

namespace Talwen {

namespace {

constexpr char white_space_mark = 13;

/// Takes the field before the next `mark` off `rest`.
std::string_view take_field(std::string_view& rest, char mark) {
    if (mark == white_space_mark) return sim::take_word(rest);
    const std::string_view field = rest.substr(0, rest.find(mark));
    rest.remove_prefix(field.size() < rest.size() ? field.size() + 1 : field.size());
    return field;
}

/// Gives every output but the last its field through `put`, and the last what is left.
template <class Output, class Put>
void split(std::string_view rest, char mark, std::initializer_list<Output*> outputs, Put put) {
    const auto last = outputs.end() - 1;
    for (auto output = outputs.begin(); output != last; ++output) put(**output, take_field(rest, mark));
    put(**last, mark == white_space_mark ? sim::trim(rest) : rest);
}

/// The input is copied first: callers split a buffer into itself.
void split_buffers(const char* text, char mark, std::initializer_list<char* const*> outputs, int size) {
    const std::string copy(sim::view(text));
    split(copy, mark, outputs,
          [size](char* output, std::string_view field) { sim::copy_cut(output, field, size); });
}

void split_strings(const std::string& text, char mark, std::initializer_list<std::string*> outputs,
                   int size) {
    const std::string copy(text.data(), text.size());  // an output may be the text itself
    const std::size_t room = size < 1 ? 0 : static_cast<std::size_t>(size) - 1;
    split(copy, mark, outputs,
          [room](std::string& output, std::string_view field) { output = field.substr(0, room); });
}

}  // namespace

void QStr_Seperate(const char* text, char* first, char* rest, int size) {
    const std::string copy(sim::view(text));
    std::string_view left = copy;
    sim::copy_cut(first, sim::take_word(left), size);
    sim::copy_cut(rest, left, size);
}

void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, int size) {
    split_buffers(text, mark, {&o1, &o2}, size);
}

void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, char* o3, int size) {
    split_buffers(text, mark, {&o1, &o2, &o3}, size);
}

void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, char* o3, char* o4, int size) {
    split_buffers(text, mark, {&o1, &o2, &o3, &o4}, size);
}

void QStr_Seperate_Char(const char* text, char mark, char* o1, char* o2, char* o3, char* o4, char* o5,
                        int size) {
    split_buffers(text, mark, {&o1, &o2, &o3, &o4, &o5}, size);
}

void QStr_Seperate_Char(const std::string& text, char mark, std::string& o1, std::string& o2, int size) {
    split_strings(text, mark, {&o1, &o2}, size);
}

void QStr_Seperate_Char(const std::string& text, char mark, std::string& o1, std::string& o2, std::string& o3,
                        int size) {
    split_strings(text, mark, {&o1, &o2, &o3}, size);
}

void QStr_Seperate_Char(const std::string& text, char mark, std::string& o1, std::string& o2, std::string& o3,
                        std::string& o4, std::string& o5, int size) {
    split_strings(text, mark, {&o1, &o2, &o3, &o4, &o5}, size);
}

}  // namespace Talwen
