#include "sml/script.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "sml/reader.h"

namespace sml {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t longest_duration = 24U * 3600 * 1000;  // a day in milliseconds

// The words that begin a step; those that need nothing more are complete with their action.
struct Keyword {
    std::string_view word;
    Action action;
};
constexpr std::array keywords{
    Keyword{"send", Action::send},           Keyword{"nowait", Action::send_only},
    Keyword{"expect", Action::expect},       Keyword{"await", Action::await},
    Keyword{"wait", Action::pause},          Keyword{"timeout", Action::timeout},
    Keyword{"reconnect", Action::reconnect}, Keyword{"clear", Action::clear},
    Keyword{"quit", Action::quit},
};

milliseconds read_duration(Cursor& cursor, const char* expected) {
    cursor.skip_blanks();
    const std::size_t start = cursor.offset();
    const std::string_view word = cursor.word();
    std::uint32_t value = 0;
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value);
    if (error != std::errc{} || stop != end || value > longest_duration) cursor.fail_at(start, expected);
    return milliseconds(value);
}

void read_wait(Cursor& cursor, Step& step) {
    if (cursor.take("selected"))
        step.action = Action::wait_selected;
    else if (cursor.take("closed"))
        step.action = Action::wait_closed;
    else if (cursor.take("communicating"))
        step.action = Action::wait_communicating;
    else
        step.duration = read_duration(cursor, "milliseconds, selected, closed or communicating");
}

void read_expect(Cursor& cursor, Step& step) {
    if (cursor.take("timeout"))
        step.action = Action::expect_timeout;
    else
        step.pattern = read_message_pattern(cursor);
}

// A step that begins with a keyword; false when it begins otherwise, with the cursor where it was.
bool read_keyword_step(Cursor& cursor, Step& step) {
    Cursor ahead = cursor;
    const std::string_view word = ahead.name();
    const auto* row =
        std::find_if(keywords.begin(), keywords.end(), [&](const Keyword& k) { return k.word == word; });
    if (row == keywords.end()) return false;
    cursor = ahead;
    step.action = row->action;
    switch (step.action) {
        case Action::send:
        case Action::send_only: step.message = read_message(cursor); break;
        case Action::expect: read_expect(cursor, step); break;
        case Action::await: step.pattern = read_message_pattern(cursor); break;
        case Action::pause: read_wait(cursor, step); break;
        case Action::timeout: step.duration = read_duration(cursor, "milliseconds"); break;
        default: break;
    }
    return true;
}

// A step that is one of the caller's commands; false, with the cursor where it was, when it is another.
bool read_command(Cursor& cursor, std::span<const std::string_view> commands, Step& step) {
    Cursor ahead = cursor;
    const std::size_t start = ahead.offset();
    if (std::find(commands.begin(), commands.end(), ahead.name()) == commands.end()) return false;
    ahead.rest_of_line();
    step.action = Action::command;
    step.command = ahead.text_since(start);
    cursor = ahead;
    return true;
}

bool begins_message(Cursor& cursor) {
    const char next = cursor.peek();
    return next == 'S' || next == 's' || next == '\'' || next == '"';
}

}  // namespace

std::vector<Step> parse_script(std::string_view text, std::span<const std::string_view> commands) {
    Cursor cursor(text);
    std::vector<Step> steps;
    while (!cursor.at_end()) {
        Step step;
        step.place = cursor.place();
        if (!read_keyword_step(cursor, step) && !read_command(cursor, commands, step)) {
            if (!begins_message(cursor))
                cursor.fail(commands.empty()
                                ? "a message, expect, await, wait, nowait, reconnect, clear or timeout"
                                : "a message, expect, await, wait ... or a command; see help");
            step.message = read_message(cursor);
        }
        steps.push_back(std::move(step));
    }
    return steps;
}

const std::string_view script_grammar = R"(Script grammar:
  A script is a sequence of steps; line ends mean nothing. Comments: # and // up to the end of the
  line, /* ... */.

  S1F3 W <L <U4 1001> <U4 1002>>.
        Sends the message. A primary with W waits for its reply (T3); the script fails when none comes,
        at once when an S9F1 to S9F11 names it, unless expect timeout or an expect S9F... follows.
        A secondary answers the oldest primary of its kind that is not answered yet (see --no-auto).
  nowait S1F3 W <L>.
        Sends the message and goes on without waiting.
  expect S1F4 <L * <A "ok"> ...>.
        An even function: the oldest reply of that kind to what was sent before; a reply that was not
        expected is dropped when the next message is sent. Another reply in its place (such as S1F0)
        fails. An odd function: the oldest primary of that stream and function that no expectation has
        taken yet; other primaries are left for later expectations. Waits for it if need be (T3, or
        as set by timeout). Each message is taken once, whether it was answered automatically or not.
        * is any item, <U4 *> any values of a format, ... the rest of a list. A body that is not written
        must not be there. W, when written, must be set.
  await S6F11 <L * <U4 100> ...>.
        The same, but skips primaries of that kind until one matches.
  expect timeout
        The primary sent just before must get no reply: within T3, or an S9F1 to S9F11 that names it.
  wait 500          goes on after so many milliseconds
  wait selected     goes on when the link is selected
  wait closed       goes on when the link has been closed since it was selected
  wait communicating
        Goes on when the equipment communicates. It has half a second to send its own S1F13; after that
        the host sends S1F13, which may put the equipment back to its initial control state, and again
        each second after a denial or T3. Fails when --timeout is over.
  reconnect         closes the link, selects again and forgets what was received
  clear             forgets what was received so far
  timeout 2000      from here on expectations wait so many milliseconds
  quit              ends the script
  A command of the host (see help) is a step too. It goes up to the end of its line, begins as wait
  communicating does, and fails when the equipment refuses. Messages do not wait for communication.

  SML: <L ...>, <A "text" 0x0D>, <B 0x1F 31>, <BOOLEAN T F>, <U1 ...> to <U8 ...>, <I1 ...> to <I8 ...>,
  <F4 1.5 inf>, <F8 ...>, <J "text">, <W "text" 0x4E2D>; counts as in <L[2] ...> are checked when written.
)";

}  // namespace sml
