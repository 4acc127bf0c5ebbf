// Time. Any thread.
#pragma once

namespace Talwen {

/// Sleeps that many milliseconds.
void QTime_MSleep(unsigned int ms);
/// The equipment clock as 16 characters YYYYMMDDhhmmsscc; good until the same thread calls it again.
const char* QTime_Get_DateTimeID2_Str();

}  // namespace Talwen
