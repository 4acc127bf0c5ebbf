#include "hsms/log/time_text.h"

#include <chrono>
#include <ctime>

namespace hsms {
namespace {

std::string format_second(std::time_t second) {
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &second);
#else
    localtime_r(&second, &local);
#endif
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return {text, length};
}

}  // namespace

void append_time(std::string& out) {
    using std::chrono::milliseconds;
    thread_local std::time_t known_second = -1;
    thread_local std::string known_text;

    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    const auto all_milliseconds = std::chrono::floor<milliseconds>(since_epoch).count();
    const auto second = static_cast<std::time_t>(all_milliseconds / 1000);
    if (second != known_second) {
        known_text = format_second(second);
        known_second = second;
    }
    const auto millisecond = static_cast<int>(all_milliseconds % 1000);
    const char fraction[] = {'.', static_cast<char>('0' + millisecond / 100),
                             static_cast<char>('0' + millisecond / 10 % 10),
                             static_cast<char>('0' + millisecond % 10)};
    out.append(known_text).append(fraction, sizeof fraction);
}

}  // namespace hsms
