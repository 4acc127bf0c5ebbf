#include "fa/framework/qanal.h"

#include <stdexcept>
#include <string_view>

#include "sim/controller/calls.h"
#include "sim/text.h"

namespace Talwen {

namespace {

void skip_byte_order_mark(std::FILE* file) {
    if (std::ftell(file) != 0) return;
    for (const int expected : {0xEF, 0xBB, 0xBF}) {
        if (std::getc(file) != expected) {
            std::rewind(file);
            return;
        }
    }
}

bool read_line(std::FILE* file, char* line, int size, int* length) {
    *length = 0;
    if (file == nullptr || line == nullptr || size < 1) return false;
    line[0] = '\0';
    skip_byte_order_mark(file);
    int used = 0;
    bool return_pending = false;  // a CR counts as text unless a LF follows it
    const auto put = [&](int c) {
        if (used < size) line[used++] = static_cast<char>(c);
    };
    int c = 0;
    while ((c = std::getc(file)) != EOF && c != '\n') {
        if (return_pending) put('\r');
        return_pending = c == '\r';
        if (!return_pending) put(c);
    }
    if (return_pending && c != '\n') put('\r');
    if (used < size) line[used] = '\0';
    const std::string_view text(line, static_cast<std::size_t>(used));
    if (text.starts_with('#') || sim::trim(text).empty()) {
        line[0] = '\0';
    } else {
        *length = used;
    }
    return c != EOF;
}

}  // namespace

SIM_READ(QAnal_Get_Line_String_From_File)
bool QAnal_Get_Line_String_From_File(std::FILE* file, char* line, int* length) {
    sim::count(Op::QAnal_Get_Line_String_From_File);
    return read_line(file, line, 1024, length);
}

SIM_READ(QAnal_Get_Line_String_From_File2)
bool QAnal_Get_Line_String_From_File2(std::FILE* file, char* line, int size, int* length) {
    sim::count(Op::QAnal_Get_Line_String_From_File2);
    const bool more = read_line(file, line, size, length);
    if (!more && file != nullptr && std::ferror(file) != 0) throw std::runtime_error("file cannot be read");
    return more;
}

}  // namespace Talwen
