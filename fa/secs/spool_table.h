// Which equipment primaries may be spooled, and which are.
#pragma once

namespace Talwen {

inline constexpr int Spool_Streams = 20;
inline constexpr int Spool_Functions = 30;

/// True for the equipment primaries that may be enabled for spooling and queued by the event command SEND.
bool QFA_Is_Spool_Candidate(int stream, int function);
/// False for a pair that is no candidate.
bool QFA_Get_Spool_Enable(int stream, int function);
/// False, table unchanged, for a pair that is no candidate.
bool QFA_Set_Spool_Enable(int stream, int function, bool enable);
void QFA_Clear_Spool_Table();

}  // namespace Talwen
