#include "fa/events/event_command.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "fa/config/config_file.h"
#include "fa/events/event_context.h"
#include "fa/events/event_table.h"
#include "fa/framework/qprint.h"
#include "fa/framework/qstr.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/communication_state.h"

namespace Talwen {

namespace {

struct Keyword_Row {
    const char* word;
    Keyword code;
    bool gated;  ///< refused while the host is not on-line
};

constexpr Keyword_Row keywords[] = {
    {"REQUEST", Keyword::REQUEST, false},    //
    {"SEND", Keyword::SEND, true},           //
    {"CTRLMODE", Keyword::CTRLMODE, false},  // the host hears that the equipment goes off-line
    {"EQUIPMENT", Keyword::EQUIPMENT, true}, {"PM", Keyword::PM, true},
    {"PORT", Keyword::PORT, true},           {"SUBST", Keyword::SUBST, true},
    {"CARRIER", Keyword::CARRIER, true},     {"MODULE", Keyword::MODULE, true},
    {"SPOOL", Keyword::SPOOL, true},         {"TRACE", Keyword::TRACE, true},
    {"RECIPE", Keyword::RECIPE, true},       {"ALARM", Keyword::ALARM, true},
    {"ECID", Keyword::ECID, true},           {"OPERATOR", Keyword::OPERATOR, true},
    {"MESSAGE", Keyword::MESSAGE, true},     {"SEMI", Keyword::SEMI, true},
    {"PRCSJOB", Keyword::PRCSJOB, true},
};

Event_Command split(const char* text) {
    Event_Command command{text, {}, {}, {}};
    const std::size_t size = std::strlen(text) + 1;
    std::string word(size, '\0');
    std::string rest(size, '\0');
    QStr_Seperate(text, word.data(), rest.data(), static_cast<int>(size));
    word.resize(std::strlen(word.c_str()));
    rest.resize(std::strlen(rest.c_str()));
    Split_Fields(word, '_', {&command.keyword, &command.subword});
    command.arguments = std::move(rest);
    return command;
}

const Keyword_Row* find_keyword(const Event_Command& command) {
    for (const Keyword_Row& row : keywords)
        if (QStr_Compare_L(command.keyword.c_str(), row.word)) return &row;
    return nullptr;
}

void raise_event(BC_FA& fa, Keyword code, const Event_Command& command) {
    std::string selector;
    Event_Fields fields;
    if (code == Keyword::SUBST && command.is("TRACK")) {
        // K34: x|A|B|C|N|D|E|F, with the selector N in the fifth field (docs/kept-behaviour.md).
        std::string leading;
        std::string remainder;
        Split_Fields(command.arguments, '|', {&leading, &fields[0], &fields[1], &fields[2], &remainder});
        Split_Fields(remainder, '|', {&selector, &fields[3], &fields[4], &fields[5]});
    } else {
        Split_Fields(command.arguments, '|', {&selector, &fields[0], &fields[1], &fields[2]});
    }
    const int number = Config_Int(selector);
    const Event_Row* row = Find_Event(code, command.subword, number);
    if (row == nullptr) return;
    for (std::size_t i = row->fields; i < fields.size(); ++i) fields[i].clear();
    Raise_Event(fa, row->family, row->ceid(number), row->kind(number), fields);
}

void run(BC_FA& fa, const Event_Command& command) {
    if (fa.QIO_Get_GEM_PrnChk() != 0) QPrint_Cyan(fa.Print_Tag, "接收消息:%s", command.text);
    const Keyword_Row* keyword = find_keyword(command);
    if (keyword == nullptr) return;
    if (keyword->gated && !Host_Takes_Events(fa)) {
        Log_Refused_Command(fa, command);
        return;
    }
    switch (keyword->code) {
        case Keyword::REQUEST: return Run_Request_Command(fa, command);
        case Keyword::SEND: return Run_Send_Command(fa, command);
        default: return raise_event(fa, keyword->code, command);
    }
}

}  // namespace

bool Event_Command::is(const char* word) const {
    return QStr_Compare_L(subword.c_str(), word);
}

void Split_Fields(const std::string& text, char mark, std::initializer_list<std::string*> fields) {
    Config_Split(text, mark, fields, text.size());
}

void Log_Refused_Command(BC_FA& fa, const Event_Command& command) {
    fa.QSystem_Log(LOG_NORMAL, "消息: %s 执行失败![LinkMD:%s , CtrlMD:%s]", command.text, Link_State_Name(fa),
                   Control_State_Name(fa));
}

void BC_FA::QProgram_Event_Code(const char* text) {
    if (text == nullptr) return;
    try {
        run(*this, split(text));
    } catch (const std::runtime_error& error) {
        QSystem_Log(LOG_ERROR, "捕捉到异常:\"%s\".[消息参数:%s.]", error.what(), text);
    }
}

}  // namespace Talwen
