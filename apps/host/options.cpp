#include "apps/host/options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>

#include "apps/host/commands/commands.h"
#include "sml/script.h"

namespace host {
namespace {

constexpr int usage_error = 2;

// ADDRESS:PORT, [ADDRESS]:PORT for IPv6, or PORT alone. False when the port is not a port number.
bool parse_endpoint(const std::string& text, std::string& address, std::uint16_t& port) {
    const std::size_t colon = text.rfind(':');
    const std::string digits = colon == std::string::npos ? text : text.substr(colon + 1);
    address = colon == std::string::npos ? "" : text.substr(0, colon);
    if (address.size() > 2 && address.front() == '[' && address.back() == ']')
        address = address.substr(1, address.size() - 2);
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    return error == std::errc{} && stop == digits.data() + digits.size();
}

std::string check_connect(const std::string& text) {
    std::string address;
    std::uint16_t port = 0;
    const bool good = parse_endpoint(text, address, port) && port != 0 && !address.empty();
    return good ? "" : "HOST:PORT is needed, not " + text;
}

std::string check_listen(const std::string& text) {
    std::string address;
    std::uint16_t port = 0;
    return parse_endpoint(text, address, port) ? "" : "[ADDRESS:]PORT is needed, not " + text;
}

// The options as they are written; seconds become milliseconds afterwards.
struct Arguments {
    std::string connect, listen;
    double timeout = 30, t3 = 45, t5 = 2, t6 = 5, t7 = 10, t8 = 5, linktest = 0;
};

void define_link(CLI::App& app, Arguments& arguments) {
    CLI::Option_group* link = app.add_option_group("Link", "one of these is needed");
    link->add_option("--connect", arguments.connect, "connect to the equipment, tried every T5")
        ->type_name("HOST:PORT")
        ->check(CLI::Validator(check_connect, ""));
    link->add_option("--listen", arguments.listen,
                     "wait for the equipment on this port of 127.0.0.1, or of ADDRESS; 0 takes a free one")
        ->type_name("[ADDRESS:]PORT")
        ->check(CLI::Validator(check_listen, ""));
    link->require_option(1);
}

void define_behaviour(CLI::App& app, Options& options) {
    app.add_option("--device", options.link.session.device_id, "device id")
        ->type_name("N")
        ->check(CLI::Range(0, 32767))
        ->capture_default_str();
    app.add_option("--script", options.script, "do what the script FILE says instead of reading the console")
        ->type_name("FILE");
    app.add_option("--log", options.log,
                   "write all messages to FILE as the equipment's communication log does")
        ->type_name("FILE");
    app.add_flag_callback(
        "--no-auto", [&options] { options.automatic = false; },
        "do not answer the equipment's primaries automatically");
    app.add_flag("--quiet", options.quiet, "do not print the messages");
}

void define_times(CLI::App& app, Arguments& arguments) {
    const auto seconds = [&app](const char* name, double& value, const char* what, double least = 0.01) {
        app.add_option(name, value, what)
            ->type_name("SECONDS")
            ->check(CLI::Range(least, 86400.0))
            ->capture_default_str();
    };
    seconds("--timeout", arguments.timeout,
            "longest time for the link to be selected, and for communication");
    seconds("--t3", arguments.t3, "reply time-out; scripts wait as long for what they expect");
    seconds("--t5", arguments.t5, "time between two attempts to connect");
    seconds("--t6", arguments.t6, "control transaction time-out");
    seconds("--t7", arguments.t7, "longest time connected and not selected");
    seconds("--t8", arguments.t8, "longest gap within a message");
    seconds("--linktest", arguments.linktest, "period of the link test, 0 for none", 0);
}

hsms::Milliseconds milliseconds(double seconds) {
    return hsms::Milliseconds(static_cast<std::int64_t>(std::ceil(seconds * 1000)));
}

void fill_link(const Arguments& arguments, hsms::LinkOptions& link) {
    hsms::SessionSettings& session = link.session;
    session.role = arguments.connect.empty() ? hsms::Role::passive : hsms::Role::active;
    parse_endpoint(arguments.connect.empty() ? arguments.listen : arguments.connect, link.address, link.port);
    session.t3 = milliseconds(arguments.t3);
    session.t6 = milliseconds(arguments.t6);
    session.t7 = milliseconds(arguments.t7);
    session.t8 = milliseconds(arguments.t8);
    session.link_test = arguments.linktest > 0;
    if (session.link_test) session.t0 = milliseconds(arguments.linktest);
    link.t5 = milliseconds(arguments.t5);
}

std::string footer() {
    return R"(Without --script the host is a console. It prints every message (--> sent, <-- received) and sends what is
typed in SML, over several lines if need be, each message up to its dot:
  S1F3 W <L <U4 1001> <U4 1002>>.
A secondary answers the oldest unanswered primary of its kind. The daily work has commands of a line each, such as
  define reports.txt
  constants
  command START PORTID=1
  watch
which say what the equipment's answer means. Events, trace samples and alarms that come are also shown in one line
each (**). When the input ends, the host ends once all replies are in; when the input was empty and no terminal, it
goes on answering.

By itself it answers S1F1, S1F13, S2F17, S2F25 (with the same bytes), S5F1, S6F1, S6F3, S6F9, S6F11, S6F13 and
S10F1 when they ask for a reply.

Exit status: 0 all went well; 1 an expectation of the script was not met, or there was no link (one line on standard
error); 2 wrong usage, or a script that does not parse (FILE:LINE:COLUMN: what).

)" + command_list() +
           "\n" + std::string(sml::script_grammar);
}

}  // namespace

std::optional<Options> parse_command_line(int argc, char** argv, int& exit_status) {
    CLI::App app("A SECS/GEM host over HSMS, for trying an equipment out.", "fa-host");
    Arguments arguments;
    Options options;
    define_link(app, arguments);
    define_behaviour(app, options);
    define_times(app, arguments);
    app.footer(footer());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exit_status = app.exit(error) == 0 ? 0 : usage_error;
        return std::nullopt;
    }
    fill_link(arguments, options.link);
    options.timeout = milliseconds(arguments.timeout);
    return options;
}

}  // namespace host
