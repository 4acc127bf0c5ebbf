// The SECS driver interface: plain functions that a driver library provides (declarations only).
// Handles and trees are opaque to the module; encoding and HSMS (SEMI E37, E37.1) are the driver's.
#pragma once

#include <string>

#include "fa/framework/printf_format.h"
#include "fa/secs/secs_item.h"

namespace Talwen {

using SECS_LINK_CALLBACK = void (*)(void* handle);
using SECS_ERROR_CALLBACK = unsigned long (*)(void* handle, unsigned long msgid);
using SECS_RECV_CALLBACK = unsigned long (*)(void* handle, unsigned short device_id, unsigned long msgid,
                                             unsigned char stream, unsigned char function, char* buffer,
                                             unsigned long length, bool reply_expected);

/// Settings of one link; zero-fill before use. Times are milliseconds, each above 0.
struct __secs_sets {
    std::uint32_t t0;  ///< linktest period, when link_test is on
    std::uint32_t t3;  ///< reply time-out: OnError for a primary that got no reply
    std::uint32_t t5;  ///< connect separation
    std::uint32_t t6;  ///< control transaction time-out
    std::uint32_t t7;  ///< longest time connected but not selected
    std::uint32_t t8;  ///< longest gap inside one message
    char ip[64];       ///< NUL-terminated
    std::uint16_t port;
    std::uint16_t device_id;
    std::int32_t conn_mode;  ///< 0 passive (listens), 1 active (connects)
    std::uint8_t link_test;  ///< nonzero: send Linktest.req every t0
    SECS_LINK_CALLBACK on_select;
    SECS_LINK_CALLBACK on_deselect;
    SECS_LINK_CALLBACK on_close;
    SECS_RECV_CALLBACK on_recv;
    void (*reserved)();  ///< always null
    SECS_ERROR_CALLBACK on_error;
};

/// Creates one HSMS link with these settings (copied); null on failure. Any thread.
void* SecsCreate(__secs_sets* settings);
/// Starts listening or connecting; false when that could not be started.
bool SecsConnect(void* handle, const char* ip, unsigned short port);
/// Drops the connection; harmless for null and destroyed handles.
void SecsDisconnect(void* handle);
/// Frees the handle; no callback is made for it afterwards. Harmless for null and destroyed handles.
void SecsDestroy(void* handle);

/// Sends a primary. Result: 0 and 3 to 100 failed, 1 and 2 sent but there is no reply to wait for, 101 and
/// above the message id. While the link is not selected it waits, until on_close was called for a connection
/// that has ended and then a second for the next one. The body stays the caller's; null or an empty item
/// sends the header alone. Any thread.
unsigned long SecsSendMessageItem(void* handle, unsigned char stream, unsigned char function,
                                  _SECS_ITEM* body, unsigned long reply_expected);
/// Sends the secondary that answers primary `msgid`. Result: `msgid` (the sender's choice, so any number)
/// when it was sent, 0 when not. Any thread.
unsigned long SecsReplyMessageItem(void* handle, unsigned char stream, unsigned char function,
                                   _SECS_ITEM* body, unsigned long reply_expected, unsigned long msgid);

/// Builders: each returns a new root owned by the caller.
_SECS_ITEM* SecsCreateItemList(int expected_count);
_SECS_ITEM* SecsCreateItemAscii(const char* text);
_SECS_ITEM* SecsCreateItemBinary(unsigned char* bytes, int length);
_SECS_ITEM* SecsCreateItemI1(char value);
_SECS_ITEM* SecsCreateItemI2(short value);
_SECS_ITEM* SecsCreateItemI4(int value);
_SECS_ITEM* SecsCreateItemI8(long long value);
_SECS_ITEM* SecsCreateItemU1(unsigned char value);
_SECS_ITEM* SecsCreateItemU2(unsigned short value);
_SECS_ITEM* SecsCreateItemU4(unsigned int value);
_SECS_ITEM* SecsCreateItemU8(unsigned long long value);
_SECS_ITEM* SecsCreateItemF4(float value);
_SECS_ITEM* SecsCreateItemF8(double value);
/// A body without data, for header-only messages; its format byte is SECS_FORMAT_NONE.
_SECS_ITEM* SecsCreateItemEmpty();

/// Appends `child`, which the list owns from then on; false (child still the caller's) when either is null or
/// `list` is no list.
bool SecsListItemAppend(_SECS_ITEM* list, _SECS_ITEM* child);
/// Frees a built tree, children included; null is harmless.
void SecsDeleteItem(_SECS_ITEM* item);

/// Makes a caller's node an empty one (SECS_FORMAT_NONE, count 0) before loading.
void SecsInitItem(_SECS_ITEM* item);
/// Decodes a received body into the node; the children stay the driver's and live until the receive callback
/// has returned. Returns 1, or 0 for a body that is not exactly one well-formed item (the node is then
/// empty).
int SecsItemLoadBuffer(_SECS_ITEM* item, char* buffer, int length);

/// Appends one entry to the driver's online log (printf rules). Any thread.
void OnlineLog(const char* format, ...) FA_PRINTF_FORMAT(1, 2);
/// Appends a text to the online log as one entry. Any thread.
void OnlineLog(std::string& text);

}  // namespace Talwen
