// Dispatch: received messages through the state gate to their handlers, and the driver's link callbacks.
#pragma once

#include <cstdint>

namespace Talwen {

// Registered with the driver; called on the callback thread of a connection.
void OnSelect(void* handle);
void OnDeselect(void* handle);
void OnClose(void* handle);
unsigned long OnError(void* handle, unsigned long msgid);

/// Takes every received message. Result: the handler's, 1 when communication is disabled, -5 without a
/// handler, -7 after an exception, 0xFFFFFFFF for another device's message.
unsigned long OnRecvMessageBuffer(void* handle, unsigned short device_id, unsigned long msgid,
                                  unsigned char stream, unsigned char function, char* buffer,
                                  unsigned long length, bool reply_expected);

/// The device id of the current link's settings; received messages of another one are dropped.
void Set_Link_Device_Id(std::uint16_t device_id);
/// A connection or its handle is gone: a callback that is still held for it may return.
void Link_Is_Gone();

}  // namespace Talwen
