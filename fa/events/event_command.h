// The text commands of the equipment controller, split, and the three kinds of them.
//
// Called by BC_FA::QProgram_Event_Code, on the controller's thread.
#pragma once

#include <initializer_list>
#include <string>

namespace Talwen {

class BC_FA;

/// The words that commands begin with. K32: the codes 105, 106 and 109 stay free (docs/kept-behaviour.md).
enum class Keyword : int {
    NONE = 0,
    REQUEST = 1,
    SEND = 2,
    CTRLMODE = 101,
    EQUIPMENT = 102,
    PM = 103,
    PORT = 104,
    SUBST = 107,
    CARRIER = 108,
    MODULE = 110,
    SPOOL = 111,
    TRACE = 112,
    RECIPE = 113,
    ALARM = 114,
    ECID = 115,
    OPERATOR = 116,
    MESSAGE = 117,
    SEMI = 118,
    PRCSJOB = 119,
};

/// KEYWORD_SUBWORD ARGUMENTS.
struct Event_Command {
    const char* text;  ///< as it was posted
    std::string keyword;
    std::string subword;
    std::string arguments;

    bool is(const char* word) const;
};

/// Splits at `mark` into the fields; the last one is all that is left. Missing fields are empty, none is cut.
void Split_Fields(const std::string& text, char mark, std::initializer_list<std::string*> fields);

/// REQUEST: the answer to a control request, and the operator's switches.
void Run_Request_Command(BC_FA& fa, const Event_Command& command);
/// SEND: alarms and primaries for the host.
void Run_Send_Command(BC_FA& fa, const Event_Command& command);

/// Logs a command that the link and control states do not allow.
void Log_Refused_Command(BC_FA& fa, const Event_Command& command);

}  // namespace Talwen
