// Where a host's commands do their work: one transaction at a time with the equipment, and what to show of
// it.
#pragma once

#include <istream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "apps/host/link/host.h"
#include "apps/host/watch/monitor.h"

namespace host {

/// A command that did not come to its end: "expected ..., got ...".
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// An acknowledge code: its name and its values in words, by number.
struct Codes {
    std::string_view name;
    std::span<const std::string_view> words;

    /// "HCACK 2, cannot be done now".
    std::string text(std::uint64_t code) const;
};

/// One thread.
class Desk {
  public:
    /// `input` is where the console reads; null in scripts. `patience`: how long communication is tried for,
    /// and a command on the console waits for the link to be selected; in a script it is an error that the
    /// link was closed since the script last waited for it.
    Desk(Host& host, Monitor& monitor, Milliseconds patience, std::istream* input)
        : host_(host), monitor_(monitor), patience_(patience), input_(input) {}

    /// Sends a primary, waits for its reply (T3 ends that) and returns the reply's body, an empty list when
    /// it has none. Throws Refusal when the reply is another message or does not come. Calls establish()
    /// first.
    hsms::Item ask(std::uint8_t stream, std::uint8_t function, std::optional<hsms::Item> body);
    /// The same for a reply that is one acknowledge code. Throws Refusal, which begins with `what`, when it
    /// is neither 0 nor `tolerated`; returns it.
    std::uint64_t check_code(std::uint8_t stream, std::uint8_t function, std::optional<hsms::Item> body,
                             const std::string& what, const Codes& codes, std::uint64_t tolerated = 0);
    /// The same, and shows the code in words after `what`.
    std::uint64_t ask_code(std::uint8_t stream, std::uint8_t function, std::optional<hsms::Item> body,
                           const std::string& what, const Codes& codes, std::uint64_t tolerated = 0);

    /// Returns when the equipment communicates: gives it a moment to send its own S1F13, then sends one, and
    /// again after a denial or T3. Throws Refusal when patience or the link ends. Returns as well when
    /// S1F13 is answered with function 0 or stream 9: such an equipment may take the rest.
    void establish();

    void show(std::string_view line) { monitor_.printer().fact(line); }
    Monitor& monitor() { return monitor_; }
    std::istream* input() { return input_; }

  private:
    std::string try_to_establish();

    Host& host_;
    Monitor& monitor_;
    const Milliseconds patience_;
    std::istream* const input_;
};

}  // namespace host
