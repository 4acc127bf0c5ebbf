// QSequence: base class of every sequence module; the framework drives a module through its virtual
// operations.
#pragma once

#include <atomic>
#include <string>

#include "fa/framework/qseqcon.h"

namespace Talwen {

class QSequence : public QSeqCon {
  public:
    QSequence();
    QSequence(const QSequence& other);
    QSequence& operator=(const QSequence& other);
    virtual ~QSequence();

    virtual bool QProgram_Enter_Code(const char* argument);
    virtual bool QProgram_Init_Code();
    virtual void QProgram_Exit_Code();
    virtual void QProgram_Event_Code(const char* text);
    virtual FUNC_STATUS QProgram_Main_Code(const char* argument);
    virtual bool QProgram_Have_Code(const char* argument);
    virtual std::string QProgram_Pool_Code(const char* argument);
    // Three slots of the framework's own; modules neither call nor override them.
    virtual void QProgram_Reserved_1();
    virtual void QProgram_Reserved_2();
    virtual void QProgram_Reserved_3();

    /// Set by the framework when the module has to end.
    std::atomic<unsigned char> Stop_Request;
    /// First argument of every console print of the module.
    const char* Print_Tag;
};

}  // namespace Talwen
