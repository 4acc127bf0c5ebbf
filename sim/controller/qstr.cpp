#include "fa/framework/qstr.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>

#include "sim/controller/values.h"
#include "sim/text.h"

namespace Talwen {

using sim::trim;
using sim::view;

namespace {

std::string_view prefix(std::string_view text, int n) {
    return text.substr(0, static_cast<std::size_t>(std::max(n, 0)));
}

/// Reads one to three digits at `text`'s front and takes them off; -1 without any, or above `max`.
int take_number(std::string_view& text, int max) {
    int number = 0;
    std::size_t digits = 0;
    while (digits < text.size() && digits < 3 && text[digits] >= '0' && text[digits] <= '9') {
        number = number * 10 + (text[digits++] - '0');
    }
    text.remove_prefix(digits);
    return digits == 0 || number > max ? -1 : number;
}

}  // namespace

bool QStr_Compare(const char* a, const char* b) {
    return view(a) == view(b);
}

bool QStr_Compare(const char* a, const char* b, int n) {
    return prefix(view(a), n) == prefix(view(b), n);
}

bool QStr_Compare_L(const char* a, const char* b) {
    return trim(view(a)) == trim(view(b));
}

bool QStr_Compare_L(const char* a, const char* b, int n) {
    return prefix(trim(view(a)), n) == prefix(trim(view(b)), n);
}

bool QStr_Find_SubString(const char* text, const char* part) {
    return view(text).find(view(part)) != std::string_view::npos;
}

bool QStr_Find_SubString_L(const char* text, const char* part) {
    return view(text).find(trim(view(part))) != std::string_view::npos;
}

bool QStr_Copy_Stack(char* out, const char* text, int size) {
    return sim::copy_cut(out, view(text), size);
}

bool QStr_Check_SxxFxx(const char* text, unsigned char* stream, unsigned char* function) {
    std::string_view rest = view(text);
    if (rest.empty() || rest.front() != 'S') return false;
    rest.remove_prefix(1);
    const int s = take_number(rest, 127);
    if (s < 0 || rest.empty() || rest.front() != 'F') return false;
    rest.remove_prefix(1);
    const int f = take_number(rest, 255);
    if (f < 0 || !rest.empty()) return false;
    *stream = static_cast<unsigned char>(s);
    *function = static_cast<unsigned char>(f);
    return true;
}

int QStr_Int_Check(const char* text) {
    std::string_view digits = view(text);
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos ? 1 : 0;
}

int QStr_Ext_Int_From_Str(const char* text, int start, int count) {
    const std::string_view whole = view(text);
    if (start < 0 || count <= 0 ||
        whole.size() < static_cast<std::size_t>(start) + static_cast<std::size_t>(count)) {
        return 0;
    }
    std::string_view field =
        trim(whole.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
    if (!field.empty() && field.front() == '+') field.remove_prefix(1);
    int number = 0;
    const auto read = std::from_chars(field.data(), field.data() + field.size(), number);
    if (read.ec == std::errc::result_out_of_range) {
        return field.front() == '-' ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    }
    return number;
}

void QStr_Ext_Str_From_Str(const char* text, int start, int count, char* out) {
    const std::string_view whole = view(text);
    const std::size_t from = std::min(whole.size(), static_cast<std::size_t>(std::max(start, 0)));
    const std::string_view part = prefix(whole.substr(from), count);
    std::memmove(out, part.data(), part.size());
    out[part.size()] = '\0';
}

const char* QStr_Get_SysErrMsg() {
    return sim::ring_text(std::generic_category().message(errno));
}

std::string QStr_Left(const std::string& text, char mark) {
    return text.substr(0, text.find(mark));
}

std::string QStr_Right(const std::string& text, char mark) {
    const std::size_t at = text.find(mark);
    return at == std::string::npos ? text : text.substr(at + 1);
}

void QStr_Trimed(std::string& text) {
    QStr_Del_TailSpace(text);
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
}

void QStr_Del_TailSpace(std::string& text) {
    text.erase(text.find_last_not_of(" \t") + 1);
}

void QStr_Remove(std::string& text, char mark) {
    std::erase(text, mark);
}

void QStr_Replace(std::string& text, char mark, char by) {
    std::replace(text.begin(), text.end(), mark, by);
}

}  // namespace Talwen
