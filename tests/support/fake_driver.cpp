#include "support/fake_driver.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <stdexcept>

#include "fa/secs/dispatch.h"
#include "hsms/core/item_codec.h"
#include "hsms/driver/secs_item_codec.h"
#include "sml/message.h"
#include "sml/reader.h"
#include "sml/writer.h"

namespace {

struct Recorded {
    std::vector<std::string> calls;
    std::vector<fake::Sent> sent;
    std::vector<std::string> log;
    std::function<void(const fake::Sent&)> on_send;
    Talwen::__secs_sets settings{};
    unsigned long next_id = 101;
    std::size_t replies_from = 0;
    bool create_succeeds = true;
    bool log_throws = false;
};

struct State : Recorded {
    std::mutex mutex;
    std::condition_variable changed;
};

State& state() {
    static State the_state;
    return the_state;
}

template <class Member>
Member locked(Member Recorded::*member) {
    const std::lock_guard lock(state().mutex);
    return state().*member;
}

template <class Member>
void set(Member Recorded::*member, Member value) {
    const std::lock_guard lock(state().mutex);
    state().*member = std::move(value);
}

void record(std::string call) {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    s.calls.push_back(std::move(call));
    s.changed.notify_all();
}

std::string name(unsigned stream, unsigned function) {
    return "S" + std::to_string(stream) + "F" + std::to_string(function);
}

std::string message_sml(unsigned char stream, unsigned char function, bool wbit,
                        const Talwen::_SECS_ITEM* body) {
    sml::Message message{stream, function, wbit, std::nullopt};
    std::string bytes;
    if (body != nullptr && body->format != Talwen::SECS_FORMAT_NONE && hsms::encode_secs_item(*body, bytes)) {
        hsms::Item item;
        hsms::decode_item(bytes, item);
        message.body = item;
    }
    return sml::one_line(message, std::string::npos);
}

bool is_message_dump(const std::string& entry) {
    return entry.starts_with("Send ") || entry.starts_with("Receive ");
}

}  // namespace

namespace fake {

Driver& driver() {
    static Driver the_driver;
    return the_driver;
}

void Driver::reset() {
    const std::lock_guard lock(state().mutex);
    static_cast<Recorded&>(state()) = {};
}

std::vector<std::string> Driver::calls() const {
    return locked(&Recorded::calls);
}

std::vector<Sent> Driver::sent() const {
    return locked(&Recorded::sent);
}

std::vector<std::string> Driver::all_log() const {
    return locked(&Recorded::log);
}

std::vector<std::string> Driver::log() const {
    std::vector<std::string> entries = all_log();
    std::erase_if(entries, is_message_dump);
    return entries;
}

Talwen::__secs_sets Driver::settings() const {
    return locked(&Recorded::settings);
}

bool Driver::wait_until(const std::function<bool()>& condition) {
    State& s = state();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::unique_lock lock(s.mutex);
        s.changed.wait_for(lock, std::chrono::milliseconds(20));
    }
    return true;
}

int Driver::count(const std::string& call) const {
    return static_cast<int>(std::ranges::count(calls(), call));
}

void Driver::let_create_succeed(bool succeed) {
    set(&Recorded::create_succeeds, succeed);
}

void Driver::let_log_throw() {
    set(&Recorded::log_throws, true);
}

void Driver::on_send(std::function<void(const Sent&)> callback) {
    set(&Recorded::on_send, std::move(callback));
}

unsigned long Driver::host_sends(const std::string& text, unsigned long msgid, unsigned short device_id) {
    const sml::Message message = sml::parse_message(text);
    std::string body;
    if (message.body) hsms::encode_item(*message.body, body);
    return host_sends_bytes(message.stream, message.function, message.wbit, body, msgid, device_id);
}

unsigned long Driver::host_sends_bytes(int stream, int function, bool wbit, std::string body,
                                       unsigned long msgid, unsigned short device_id) {
    set(&Recorded::replies_from, sent().size());
    const unsigned long result =
        Talwen::OnRecvMessageBuffer(&state(), device_id, msgid, static_cast<unsigned char>(stream),
                                    static_cast<unsigned char>(function), body.data(), body.size(), wbit);
    hsms::reset_item_arena();  // as the driver does once the callback has returned
    return result;
}

std::string Driver::replies() const {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    std::string joined;
    for (std::size_t i = s.replies_from; i < s.sent.size(); ++i) {
        if (!s.sent[i].is_reply) continue;
        if (!joined.empty()) joined += ' ';
        joined += s.sent[i].sml;
    }
    return joined;
}

}  // namespace fake

namespace Talwen {

void* SecsCreate(__secs_sets* settings) {
    State& s = state();
    record("create");
    const std::lock_guard lock(s.mutex);
    if (!s.create_succeeds) return nullptr;
    s.settings = *settings;
    return &s;
}

bool SecsConnect(void* /*handle*/, const char* ip, unsigned short port) {
    record("connect " + std::string(ip) + " " + std::to_string(port));
    return true;
}

void SecsDisconnect(void* handle) {
    record(handle != nullptr ? "disconnect" : "disconnect null");
}
void SecsDestroy(void* handle) {
    record(handle != nullptr ? "destroy" : "destroy null");
}

unsigned long SecsSendMessageItem(void* /*handle*/, unsigned char stream, unsigned char function,
                                  _SECS_ITEM* body, unsigned long reply_expected) {
    State& s = state();
    fake::Sent sent{false, 0, message_sml(stream, function, reply_expected != 0, body)};
    std::function<void(const fake::Sent&)> callback;
    {
        const std::lock_guard lock(s.mutex);
        sent.id = s.next_id++;
        s.sent.push_back(sent);
        callback = s.on_send;
    }
    if (callback) callback(sent);
    record("send " + name(stream, function));
    return sent.id;
}

unsigned long SecsReplyMessageItem(void* /*handle*/, unsigned char stream, unsigned char function,
                                   _SECS_ITEM* body, unsigned long reply_expected, unsigned long msgid) {
    {
        const std::lock_guard lock(state().mutex);
        state().sent.push_back({true, msgid, message_sml(stream, function, reply_expected != 0, body)});
    }
    record("reply " + name(stream, function));
    return msgid;
}

void OnlineLog(std::string& text) {
    const std::lock_guard lock(state().mutex);
    if (state().log_throws && !is_message_dump(text)) throw std::runtime_error("log");
    state().log.push_back(text);
}

void OnlineLog(const char* format, ...) {
    char line[4096];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    std::string text = line;
    OnlineLog(text);
}

}  // namespace Talwen
