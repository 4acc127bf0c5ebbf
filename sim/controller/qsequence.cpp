#include "fa/framework/qsequence.h"

namespace Talwen {

QSequence::QSequence() : Stop_Request(0), Print_Tag("FA") {}

QSequence::QSequence(const QSequence& other)
    : QSeqCon(other), Stop_Request(other.Stop_Request.load()), Print_Tag(other.Print_Tag) {}

QSequence& QSequence::operator=(const QSequence& other) {
    if (this == &other) return *this;
    Stop_Request = other.Stop_Request.load();
    Print_Tag = other.Print_Tag;
    return *this;
}

QSequence::~QSequence() = default;

bool QSequence::QProgram_Enter_Code(const char*) {
    return true;
}
bool QSequence::QProgram_Init_Code() {
    return true;
}
void QSequence::QProgram_Exit_Code() {}
void QSequence::QProgram_Event_Code(const char*) {}
FUNC_STATUS QSequence::QProgram_Main_Code(const char*) {
    return FUNC_FINISHED;
}
bool QSequence::QProgram_Have_Code(const char*) {
    return false;
}
std::string QSequence::QProgram_Pool_Code(const char*) {
    return {};
}
void QSequence::QProgram_Reserved_1() {}
void QSequence::QProgram_Reserved_2() {}
void QSequence::QProgram_Reserved_3() {}

}  // namespace Talwen
