#include "fa/secs/sml_log.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "fa/framework/qsequence.h"
#include "fa/secs/module_state.h"
#include "fa/secs/secs_driver.h"

// Every message passes here twice on its way, so lines are built with to_chars in place, not with printf.

namespace Talwen {

namespace {

constexpr int root_depth = 2;

void indent(std::string& text, int depth) {
    text.append(static_cast<std::size_t>(depth) * 4, ' ');
}

template <class Number>
void append_number(std::string& text, Number value) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    text.append(digits.data(), end);
}

/// A one-element line, put together here and appended in one go.
class Line {
  public:
    Line(std::string& text, int depth) : text_(text), indent_(static_cast<std::size_t>(depth) * 4) {
        std::memset(line_.data(), ' ', widest_indent);  // for any depth: a fixed size is a few stores
        if (indent_ <= widest_indent) end_ += indent_;
    }
    /// The line's end; without it nothing is appended.
    void finish(std::string_view end) {
        add(end);
        if (indent_ > widest_indent) text_.append(indent_, ' ');
        text_.append(line_.data(), static_cast<std::size_t>(end_ - line_.data()));
    }
    void add(std::string_view part) {
        std::memcpy(end_, part.data(), part.size());
        end_ += part.size();
    }
    template <class Number>
    void add_number(Number value) {
        end_ = std::to_chars(end_, line_.data() + line_.size(), value).ptr;
    }
    /// As printf's %g.
    void add_real(double value) {
        if (!add_plain_real(value))
            end_ = std::to_chars(end_, line_.data() + line_.size(), value, std::chars_format::general, 6).ptr;
    }

  private:
    /// %g of a number that needs no exponent, in a fifth of to_chars' time: its six significant digits as an
    /// integer. False, nothing added, for numbers out of that range and for those so near a half that the
    /// multiplication's rounding could decide the last digit.
    bool add_plain_real(double value) {
        constexpr double powers[] = {1e5, 1e4, 1e3, 1e2, 1e1, 1e0, 1e-1, 1e-2, 1e-3};
        const double magnitude = std::abs(value);
        if (!(magnitude >= 1e-3 && magnitude < 999999)) return false;
        int point = 5;  // of the decimal point after the first significant digit
        std::size_t row = 0;
        while (magnitude < powers[row]) {
            ++row;
            --point;
        }
        constexpr double scales[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};
        const double scaled = magnitude * scales[row];
        const double whole = std::floor(scaled);
        const double rest = scaled - whole;
        if (std::abs(rest - 0.5) < 1e-6) return false;
        const auto digits = static_cast<std::uint32_t>(whole) + (rest > 0.5 ? 1U : 0U);
        if (digits >= 1000000 || digits < 100000) return false;
        std::array<char, 6> text;
        std::to_chars(text.data(), text.data() + text.size(), digits);
        if (value < 0) *end_++ = '-';
        add_digits({text.data(), text.size()}, point);
        return true;
    }

    /// Six digits with their decimal point, without zeros at its end.
    void add_digits(std::string_view digits, int point) {
        if (point < 0) {
            add("0.");
            for (int zeros = point + 1; zeros < 0; ++zeros) *end_++ = '0';
        }
        const std::size_t before = point < 0 ? 0 : static_cast<std::size_t>(point) + 1;
        add(digits.substr(0, before));
        const std::size_t last = digits.find_last_not_of('0');
        if (last < before) return;
        if (before > 0) *end_++ = '.';
        add(digits.substr(before, last + 1 - before));
    }

    static constexpr std::size_t widest_indent = 32;

    std::string& text_;
    const std::size_t indent_;
    std::array<char, widest_indent + 64> line_;
    char* end_ = line_.data();
};

template <class Element>
Element first_element(const _SECS_ITEM& item) {
    Element value;
    std::memcpy(&value, item.value, sizeof value);
    return value;
}

/// "<U4[1] 7>". K9: only the first element (docs/kept-behaviour.md).
template <class Element, class Shown = Element>
void append_integer(Line& line, std::string_view tag, const _SECS_ITEM& item) {
    line.add(tag);
    line.add_number(static_cast<Shown>(first_element<Element>(item)));
    line.finish(">\n");
}

template <class Element>
void append_float(Line& line, std::string_view tag, const _SECS_ITEM& item) {
    line.add(tag);
    line.add_real(static_cast<double>(first_element<Element>(item)));
    line.finish(">\n");
}

void append_binary(std::string& text, const _SECS_ITEM& item, int depth) {
    indent(text, depth);
    text += "<B[";
    append_number(text, item.length);
    text += ']';
    const char* bytes = item.data != nullptr ? item.data : item.value;
    for (std::uint32_t i = 0; i < item.length; ++i) {
        text += ' ';
        append_number(text, static_cast<int>(static_cast<signed char>(bytes[i])));
    }
    text += ">\n";
}

void append_text(std::string& text, Line& line, const _SECS_ITEM& item) {
    line.add("<A[");
    line.add_number(item.length);
    line.add("] \"");
    const std::string_view shown = item.data != nullptr ? item.data : item.value;  // to its first NUL, as %s
    constexpr std::size_t fits_the_line = 40;
    if (shown.size() <= fits_the_line) {
        line.add(shown);
        line.finish("\">\n");
    } else {
        line.finish("");
        text.append(shown).append("\">\n");
    }
}

/// The line of an item that is no list; nothing for an unknown format byte.
void append_line(std::string& text, const _SECS_ITEM& item, int depth) {
    Line line(text, depth);
    switch (item.format) {
        case SECS_FORMAT_B: append_binary(text, item, depth); break;
        case SECS_FORMAT_BOOLEAN:
            line.finish(item.value[0] != 0 ? "<Bool[1] True>\n" : "<Bool[1] False>\n");
            break;
        case SECS_FORMAT_A:
        case SECS_FORMAT_J:
        case SECS_FORMAT_C2: append_text(text, line, item); break;
        case SECS_FORMAT_I8: append_integer<std::int64_t>(line, "<I8[1] ", item); break;
        case SECS_FORMAT_I1: append_integer<std::int8_t, int>(line, "<I1[1] ", item); break;
        case SECS_FORMAT_I2: append_integer<std::int16_t>(line, "<I2[1] ", item); break;
        case SECS_FORMAT_I4: append_integer<std::int32_t>(line, "<I4[1] ", item); break;
        case SECS_FORMAT_F8: append_float<double>(line, "<F8[1] ", item); break;
        case SECS_FORMAT_F4: append_float<float>(line, "<F4[1] ", item); break;
        case SECS_FORMAT_U8: append_integer<std::uint64_t>(line, "<U8[1] ", item); break;
        case SECS_FORMAT_U1: append_integer<std::uint8_t, unsigned>(line, "<U1[1] ", item); break;
        case SECS_FORMAT_U2: append_integer<std::uint16_t>(line, "<U2[1] ", item); break;
        case SECS_FORMAT_U4: append_integer<std::uint32_t>(line, "<U4[1] ", item); break;
        default: break;
    }
}

/// An item at its depth, its children below it, and the closing line of a list.
void append_item(std::string& text, const _SECS_ITEM& item, int depth) {
    const bool is_list = item.count > 0 || item.format == SECS_FORMAT_L;
    if (!is_list) {
        append_line(text, item, depth);
        return;
    }
    indent(text, depth);
    text += "<L[";
    append_number(text, item.count);
    text += "]\n";
    for (std::int32_t i = 0; i < item.count; ++i) {
        const _SECS_ITEM& child = *item.children[i];
        if (child.format == SECS_FORMAT_L)
            append_item(text, child, depth + 1);
        else
            append_line(text, child, depth + 1);
    }
    indent(text, depth);
    text += ">\n";
}

void append_header(std::string& text, unsigned stream, unsigned function, unsigned long msgid,
                   int direction) {
    constexpr std::string_view titles[2][2] = {{"Receive Secondary Message", "Receive Primary Message "},
                                               {"Send Secondary Message", "Send Primary Message"}};
    constexpr std::size_t title_width = 40;
    const std::string_view title = titles[direction == 0 ? 0 : 1][function & 1U];
    QSequence* module = FA_Instance;
    text += title;
    text.append(title_width - title.size(), ' ');
    text += '[';
    append_number(text, static_cast<long>(msgid));
    text += ',';
    append_number(text, module != nullptr ? module->QFA_Get_Device_ID() : 0);
    text += "]\n    'S";
    append_number(text, stream);
    text += 'F';
    append_number(text, function);
    text += "'\n";
}

}  // namespace

void Item_Dump(void* /*handle*/, unsigned char stream, unsigned char function, _SECS_ITEM* item,
               unsigned long msgid, int direction, int depth, std::string& text) {
    if (depth == 0) {
        append_header(text, stream, function, msgid, direction);
        depth = root_depth;
    }
    if (item == nullptr) return;
    append_item(text, *item, depth);
    if (depth == root_depth) text += '.';
}

void QFA_Message_Print_SML(void* handle, unsigned char stream, unsigned char function, _SECS_ITEM* item,
                           unsigned long msgid, int direction) {
    thread_local std::string sml_text;
    sml_text.clear();
    Item_Dump(handle, stream, function, item, msgid, direction, 0, sml_text);
    OnlineLog(sml_text);
    constexpr std::size_t kept =
        std::size_t{256} * 1024;  // one huge message must not keep its memory for ever
    if (sml_text.capacity() > kept) std::string().swap(sml_text);
}

}  // namespace Talwen
