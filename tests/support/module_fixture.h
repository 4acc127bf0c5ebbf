// One module object over the simulated controller and the fake driver, fresh for every test or table row.
#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fa/config/alarm_table.h"
#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/message_queue.h"
#include "fa/secs/module_state.h"
#include "fa/secs/primaries.h"
#include "fa/secs/reply_wait.h"
#include "fa/secs/spool_table.h"
#include "sim/controller/calls.h"
#include "sim/controller/clock.h"
#include "sim/controller/console.h"
#include "sim/controller/file_layer.h"
#include "sim/machine/machine.h"
#include "support/fake_driver.h"
#include "support/temp_folder.h"

namespace fake {

using Texts = std::vector<std::string>;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);
inline const std::string on_line = "Comm_Enable=1 Online_Status=1 ";

/// The rows of a table in text, a line each or several with "||" between, with their columns between "|" and
/// blanks; a line that begins with two blanks goes on with the one above it.
std::vector<Texts> rows(const std::string& table, std::size_t columns);

/// The text with every "{word}" replaced.
std::string with(std::string text, const std::string& word, const std::string& value);

/// The text with every match of a regular expression replaced.
std::string replaced(const std::string& text, const std::string& pattern, const std::string& by);

/// The numbers of a list, "1,2".
template <class Numbers>
std::string joined(const Numbers& numbers) {
    std::string text;
    for (const auto number : numbers) text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

/// Alarms of a machine file: "ALID level text", separated by commas.
std::string alarms(const std::string& list);

/// IO points of a machine file: "kind name value unit" with commas between; the unit may be left out.
std::string points(const std::string& list);

/// The pairs enabled for spooling, "5,1 6,11".
std::string spooled();

class ModuleFixture : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// A fresh machine, module and driver; `toml` is appended to the machine's [tool] section.
    void start_over(const std::string& toml = "");
    /// A module loaded anew, with nothing in its tables.
    void load_module();

    /// Calls the handler of a message written in SML, past the state gate.
    unsigned long sml_call(const std::string& text, unsigned long msgid = 7000);

    /// "name=value" pairs separated by blanks: GEM points, FA states where the name begins with "fa:".
    static void set_states(const std::string& pairs);

    /// Puts records into a table of variables: "id type point format min max name", with commas between; what
    /// is left out is 0 or empty, the unit is "u" and the id.
    template <class Record>
    static void define(Talwen::Variable_Table<Record>& table, const std::string& records);

    /// What the host's message comes to: the reply, or "=" and the result without one, "none" for a format
    /// error; then the log.
    std::string answer_to(const std::string& message, unsigned long replied = 7000);

    /// The driver's log, line after line; the place in the code is "@" where it lies in `handler` ("S01F03"
    /// with reply_, recv_ or send_ before it), the end of a line without a place is "~".
    static std::string log_of(const std::string& handler);

    /// The primary that is queued for these parameters, "" for none.
    static std::string queued(unsigned char stream, unsigned char function, Texts p);

    /// The handler of a message in SML.
    static std::string handler_of(const std::string& message);

    /// The answer to the message, then the log of its handler.
    std::string outcome(const std::string& message, unsigned long replied = 7000);

    /// Sends the message of every row; its columns are the message, the answer, the log and, when `state` is
    /// given, that state afterwards. `prepare` runs before each row.
    void try_all(
        const std::string& table, const std::function<std::string()>& state = [] { return ""; },
        const std::function<void()>& prepare = [] {});

    /// The values of states, named as in set_states, joined by a blank.
    static std::string states(const std::string& names);

    /// Compares states with the values that set_states would give them.
    static void expect_states(const std::string& pairs);

    static int gem(const std::string& name);
    static int fa(const std::string& name);
    static unsigned long long calls(const std::string& operation);

    /// The control-state events asked for so far, joined by a blank.
    static std::string report_events();

    support::TempFolder folder;
    std::unique_ptr<Talwen::BC_FA> module;
    std::vector<std::string> console;
};

}  // namespace fake
