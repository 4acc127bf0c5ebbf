// What handlers and the dispatcher result in where it is not the driver's result of a reply: 1 taken, 0
// refused by the host, and these.
#pragma once

namespace Talwen {

/// A malformed message, or an exception on the way: logged, not answered.
inline constexpr unsigned long Format_Error = static_cast<unsigned long>(-7L);
/// No handler takes the message.
inline constexpr unsigned long Not_Handled = static_cast<unsigned long>(-5L);
/// The message is for another device.
inline constexpr unsigned long Other_Device = 0xFFFFFFFFUL;

}  // namespace Talwen
