// FA_SAVE.inf: the communication settings. The framework keeps the values; the module keeps only a flag,
// which of the two sides is authoritative.
#include <array>
#include <cstddef>
#include <string>

#include "fa/config/config_file.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/module_state.h"

namespace Talwen {

namespace {

using C = QSeqCon;

constexpr char settings_file[] = "FA_SAVE.inf";

/// The words of a setting, by value, and the value of everything else.
struct Words {
    std::array<const char*, 3> words;
    int otherwise_read;
    int otherwise_written;
};

constexpr Words connection{{"PASSIVE", "ACTIVE"}, 1, 0};
constexpr Words control{{"OFFLINE", "LOCAL", "REMOTE"}, 1, 1};
constexpr Words on_off{{"DISABLE", "ENABLE"}, 1, 0};
// There is one method: anything is read as 0 and written as HSMS.
constexpr Words method{{"HSMS"}, 0, 0};

int value_of(const Words& words, const std::string& text) {
    static constexpr const char* digits[] = {"0", "1", "2"};
    for (std::size_t i = 0; i < words.words.size() && words.words[i] != nullptr; ++i)
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): digits has an element for every word
        if (QStr_Compare_L(text.c_str(), words.words[i]) || QStr_Compare_L(text.c_str(), digits[i]))
            return static_cast<int>(i);
    return words.otherwise_read;
}

const char* word_of(const Words& words, int value) {
    const bool known = value >= 0 && value < static_cast<int>(words.words.size()) &&
                       words.words[static_cast<std::size_t>(value)] != nullptr;
    return words.words[static_cast<std::size_t>(known ? value : words.otherwise_written)];
}

// Reading.

/// What a key says about the file's layout; keys of the older one are also shown on the console.
enum class Layout { Either, Older, Newer };

struct Key {
    const char* key;
    const Words* words;  ///< null for a number or a text
    bool (C::*set_text)(const char*);
    bool (C::*set)(int);
    bool (C::*set_gem)(int);
    bool (C::*set_gem_opposite)(int) = nullptr;  ///< gets 1 - value
    Layout layout = Layout::Either;
};

constexpr Key text(const char* key, bool (C::*set)(const char*), Layout layout) {
    return {key, nullptr, set, nullptr, nullptr, nullptr, layout};
}

constexpr Key number(const char* key, bool (C::*set)(int), bool (C::*set_gem)(int),
                     Layout layout = Layout::Either) {
    return {key, nullptr, nullptr, set, set_gem, nullptr, layout};
}

constexpr Key word(const char* key, const Words& words, bool (C::*set)(int), bool (C::*set_gem)(int)) {
    return {key, &words, nullptr, set, set_gem};
}

constexpr Key enable(const char* key) {
    return {key, &on_off, nullptr, &C::QFA_Set_Enable, nullptr, &C::QIO_Set_GEM_Init_CommState};
}

constexpr Key keys[] = {
    text("LOCAL_IP", &C::QFA_Set_Local_IP, Layout::Older),
    number("LOCAL_PORT", &C::QFA_Set_Local_Port, nullptr, Layout::Older),
    text("REMOTE_IP", &C::QFA_Set_Remote_IP, Layout::Older),
    number("REMOTE_PORT", &C::QFA_Set_Remote_Port, nullptr, Layout::Older),
    number("T0", &C::QFA_Set_T0, &C::QIO_Set_GEM_T0_Prm),
    number("T3", &C::QFA_Set_T3, &C::QIO_Set_GEM_T3_Prm),
    number("T5", &C::QFA_Set_T5, &C::QIO_Set_GEM_T5_Prm),
    number("T6", &C::QFA_Set_T6, &C::QIO_Set_GEM_T6_Prm),
    number("T7", &C::QFA_Set_T7, &C::QIO_Set_GEM_T7_Prm),
    number("T8", &C::QFA_Set_T8, &C::QIO_Set_GEM_T8_Prm),
    number("DEVICE_ID", &C::QFA_Set_Device_ID, &C::QIO_Set_GEM_Device_ID),
    word("CONN_MODE", connection, &C::QFA_Set_ConnMD, &C::QIO_Set_GEM_Comm_Try),
    word("CTRL_MODE", control, &C::QFA_Set_CtrlMD, &C::QIO_Set_GEM_Init_ControlState),
    word("LINK_TEST", on_off, &C::QFA_Set_LinkTest, &C::QIO_Set_GEM_LinkTest_Enable),
    enable("FA_ENABLE"),
    text("COMM_IP", &C::QIO_Set_GEM_Comm_IP, Layout::Newer),
    number("COMM_PORT", nullptr, &C::QIO_Set_GEM_Comm_Port, Layout::Newer),
    number("T0_PRM", &C::QFA_Set_T0, &C::QIO_Set_GEM_T0_Prm),
    number("T3_PRM", &C::QFA_Set_T3, &C::QIO_Set_GEM_T3_Prm),
    number("T5_PRM", &C::QFA_Set_T5, &C::QIO_Set_GEM_T5_Prm),
    number("T6_PRM", &C::QFA_Set_T6, &C::QIO_Set_GEM_T6_Prm),
    number("T7_PRM", &C::QFA_Set_T7, &C::QIO_Set_GEM_T7_Prm),
    number("T8_PRM", &C::QFA_Set_T8, &C::QIO_Set_GEM_T8_Prm),
    // K10: COMM_TRY counts twice, as connection word and as control word (docs/kept-behaviour.md).
    word("COMM_TRY", connection, &C::QFA_Set_ConnMD, &C::QIO_Set_GEM_Comm_Try),
    word("COMM_TRY", control, &C::QFA_Set_CtrlMD, &C::QIO_Set_GEM_Init_ControlState),
    word("COMM_CTRL", control, &C::QFA_Set_CtrlMD, &C::QIO_Set_GEM_Init_ControlState),
    enable("COMM_ENABLE"),
    word("COMM_METHOD", method, nullptr, &C::QIO_Set_GEM_Comm_Method),
};

void apply(BC_FA& fa, const Key& key, const std::string& value) {
    const int n = key.words != nullptr ? value_of(*key.words, value) : Config_Int(value);
    if (key.set_text != nullptr) (fa.*key.set_text)(value.c_str());
    if (key.set != nullptr) (fa.*key.set)(n);
    if (key.set_gem != nullptr) (fa.*key.set_gem)(n);
    if (key.set_gem_opposite != nullptr) (fa.*key.set_gem_opposite)(1 - n);
    if (key.layout == Layout::Either) return;
    Comm_New_Version = key.layout == Layout::Newer;
    if (key.layout == Layout::Newer) return;
    if (key.set_text != nullptr)
        QPrint_Yellow(fa.Print_Tag, "获取 %s:%s", key.key, value.c_str());
    else
        QPrint_Yellow(fa.Print_Tag, "获取 %s:%d", key.key, n);
}

/// Applies every row of that key; false when there is none.
bool apply(BC_FA& fa, const std::string& name, const std::string& value) {
    bool known = false;
    for (const Key& key : keys) {
        if (!QStr_Compare_L(name.c_str(), key.key)) continue;
        apply(fa, key, value);
        known = true;
    }
    return known;
}

// Writing.

struct Line {
    const char* key;
    const Words* words;  ///< null for a number or a text
    const char* (C::*get_text)();
    int (C::*get)();
};

constexpr Line older_layout[] = {
    {"LOCAL_IP", nullptr, &C::QFA_Get_Local_IP, nullptr},
    {"LOCAL_PORT", nullptr, nullptr, &C::QFA_Get_Local_Port},
    {"REMOTE_IP", nullptr, &C::QFA_Get_Remote_IP, nullptr},
    {"REMOTE_PORT", nullptr, nullptr, &C::QFA_Get_Remote_Port},
    {"T0", nullptr, nullptr, &C::QFA_Get_T0},
    {"T3", nullptr, nullptr, &C::QFA_Get_T3},
    {"T5", nullptr, nullptr, &C::QFA_Get_T5},
    {"T6", nullptr, nullptr, &C::QFA_Get_T6},
    {"T7", nullptr, nullptr, &C::QFA_Get_T7},
    {"T8", nullptr, nullptr, &C::QFA_Get_T8},
    {"DEVICE_ID", nullptr, nullptr, &C::QFA_Get_Device_ID},
    {"CONN_MODE", &connection, nullptr, &C::QFA_Get_ConnMD},
    {"COMM_CTRL", &control, nullptr, &C::QFA_Get_CtrlMD},
    {"LINK_TEST", &on_off, nullptr, &C::QFA_Get_LinkTest},
    {"COMM_ENABLE", &on_off, nullptr, &C::QFA_Get_Enable},
};

constexpr Line newer_layout[] = {
    {"COMM_IP", nullptr, &C::QIO_Get_GEM_Comm_IP, nullptr},
    {"COMM_PORT", nullptr, nullptr, &C::QIO_Get_GEM_Comm_Port},
    {"T0_PRM", nullptr, nullptr, &C::QIO_Get_GEM_T0_Prm},
    {"T3_PRM", nullptr, nullptr, &C::QIO_Get_GEM_T3_Prm},
    {"T5_PRM", nullptr, nullptr, &C::QIO_Get_GEM_T5_Prm},
    {"T6_PRM", nullptr, nullptr, &C::QIO_Get_GEM_T6_Prm},
    {"T7_PRM", nullptr, nullptr, &C::QIO_Get_GEM_T7_Prm},
    {"T8_PRM", nullptr, nullptr, &C::QIO_Get_GEM_T8_Prm},
    {"DEVICE_ID", nullptr, nullptr, &C::QIO_Get_GEM_Device_ID},
    {"COMM_TRY", &connection, nullptr, &C::QIO_Get_GEM_Comm_Try},
    {"COMM_CTRL", &control, nullptr, &C::QIO_Get_GEM_Init_ControlState},
    {"LINK_TEST", &on_off, nullptr, &C::QIO_Get_GEM_LinkTest_Enable},
    // The switch as it is now, although the same key is read into Init_CommState.
    {"COMM_ENABLE", &on_off, nullptr, &C::QIO_Get_GEM_Comm_Enable},
    {"COMM_METHOD", &method, nullptr, &C::QIO_Get_GEM_Comm_Method},
};

template <std::size_t N>
std::string lines_of(BC_FA& fa, const Line (&layout)[N]) {
    std::string text;
    for (const Line& line : layout) {
        if (line.get_text != nullptr)
            Config_Append(text, "%-14s%s\n", line.key, (fa.*line.get_text)());
        else if (line.words != nullptr)
            Config_Append(text, "%-14s%s\n", line.key, word_of(*line.words, (fa.*line.get)()));
        else
            Config_Append(text, "%-14s%d\n", line.key, (fa.*line.get)());
    }
    return text;
}

}  // namespace

bool BC_FA::FILE_SYSTEM_SETUP() {
    constexpr char loader[] = "FILE_SYSTEM_SETUP";
    Config_Lines lines(Config_Read_Path(settings_file));
    if (!lines.opened()) {
        QPrint_Red(Print_Tag, "[%s] 文件打开失败.", lines.path());
        return false;
    }
    std::string key, value, ignored;
    while (lines.next()) {
        if (lines.too_long()) {
            QPrint_Red(Print_Tag, "参数过长. %s", lines.place(loader, __LINE__).c_str());
            return false;
        }
        Config_Split(lines.text(), Config_White_Space, {&key, &value, &ignored});
        if (!apply(*this, key, value)) {
            QPrint_Red(Print_Tag, "配置项未识别:%s %s", key.c_str(), lines.place(loader, __LINE__).c_str());
            lines.leave_open();  // K11 (docs/kept-behaviour.md)
            return false;
        }
    }
    return true;
}

bool BC_FA::FILE_SAVE_SYSTEM_SETUP() {
    const std::string text = Comm_New_Version ? lines_of(*this, newer_layout) : lines_of(*this, older_layout);
    if (!Config_Save(*this, settings_file, "[%s] 文件保存失败!", text)) return false;
    QPrint_Green(Print_Tag, "Local Port:%d ", QFA_Get_Local_Port());  // in both layouts, blank included
    return true;
}

}  // namespace Talwen
