#include "apps/host/console/console.h"

#include <istream>
#include <string>

#include "apps/host/commands/commands.h"
#include "sml/script.h"

namespace host {
namespace {

using sml::Action;
using sml::Step;

// A longer unfinished text is looked at only when a line ends with a dot: long messages may be pasted.
constexpr std::size_t look_always = 4096;

class Console {
  public:
    Console(Host& host, Monitor& monitor, std::istream& input, Milliseconds link_timeout)
        : host_(host),
          printer_(monitor.printer()),
          link_timeout_(link_timeout),
          desk_(host, monitor, link_timeout, &input) {}

    // False when the console ends.
    bool line(std::string_view text) {
        text_ += text;
        text_ += '\n';
        if (text_.size() > look_always && text.find_last_not_of(" \t\r") != text.rfind('.')) return true;
        return read(false);
    }

    void end() { read(true); }

  private:
    bool read(bool last) {
        std::vector<Step> steps;
        try {
            steps = sml::parse_script(text_, command_names());
        } catch (const sml::SyntaxError& error) {
            if (error.incomplete && !last) return true;
            printer_.error(error.what());
        }
        text_.clear();
        for (const Step& step : steps)
            if (!perform(step)) return false;
        return true;
    }

    bool perform(const Step& step) {
        switch (step.action) {
            case Action::send:
            case Action::send_only: send(step.message); break;
            case Action::reconnect:
                if (!host_.reconnect(link_timeout_)) printer_.error("the link is not selected again");
                break;
            case Action::command: command(step); break;
            case Action::quit: return false;
            default:
                printer_.error("this is for scripts; here: messages, reconnect, quit and commands; see help");
                break;
        }
        return true;
    }

    void command(const Step& step) {
        try {
            prepare(step, false)(desk_);
        } catch (const std::runtime_error& error) {  // a slip in the line or its file, or a refusal
            printer_.error(error.what());
        }
    }

    void send(const sml::Message& message) {
        if (!host_.wait_selected(Milliseconds(0))) {
            printer_.about("waiting for the link to be selected");
            host_.wait_selected(link_timeout_);
        }
        const Host::Sent sent = host_.send(message);
        if (!sent.error.empty()) printer_.error("not sent: " + sent.error);
    }

    Host& host_;
    Printer& printer_;
    const Milliseconds link_timeout_;
    Desk desk_;
    std::string text_;
};

}  // namespace

ConsoleResult run_console(Host& host, Monitor& monitor, std::istream& input, Milliseconds link_timeout) {
    Console console(host, monitor, input, link_timeout);
    bool anything_typed = false;
    for (std::string line; std::getline(input, line);) {
        anything_typed = anything_typed || !line.empty();
        if (!console.line(line)) return {ConsoleEnd::quit, true};
    }
    console.end();
    return {ConsoleEnd::end_of_text, anything_typed};
}

}  // namespace host
