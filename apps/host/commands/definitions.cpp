#include "apps/host/commands/definitions.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>

#include "apps/host/commands/words.h"

namespace host {
namespace {

class Reader {
  public:
    void line(Words words) {
        if (words.empty()) return;
        constexpr const char* expected = "report, event, enable, disable or dataid";
        const std::string word = words.take(expected);
        if (word == "report")
            report(words);
        else if (word == "event")
            event(words);
        else if (word == "enable")
            switched(words, result_.enable);
        else if (word == "disable")
            switched(words, result_.disable);
        else if (word == "dataid")
            result_.dataid = words.number("a DATAID");
        else
            words.refuse(expected);
        words.end();
    }

    Definitions take() { return std::move(result_); }

  private:
    void report(Words& words) {
        Definitions::Report report{words.number("an RPTID"), {}, {}};
        if (!rptids_.insert(report.rptid).second) words.refuse("an RPTID that is not defined above");
        do {
            const std::string text = words.take("[NAME=]RVID");
            const std::size_t equals = text.find('=');
            const std::string digits = equals == std::string::npos ? text : text.substr(equals + 1);
            std::uint32_t rvid = 0;
            if (!read_number(digits, rvid)) words.refuse("[NAME=]RVID");
            report.rvids.push_back(rvid);
            report.names.push_back(equals == std::string::npos ? digits : text.substr(0, equals));
        } while (!words.empty());
        result_.reports.push_back(std::move(report));
    }

    void event(Words& words) {
        Definitions::Event event{words.number("a CEID"), {}};
        if (!ceids_.insert(event.ceid).second) words.refuse("a CEID that is not linked above");
        do {
            event.rptids.push_back(words.number("an RPTID"));
            if (rptids_.count(event.rptids.back()) == 0) words.refuse("an RPTID that is defined above");
        } while (!words.empty());
        result_.events.push_back(std::move(event));
    }

    static void switched(Words& words, Definitions::Switch& which) {
        if (words.take_if("all")) {
            which.all = true;
            return;
        }
        const auto ceids = words.numbers("a CEID or all");
        which.ceids.insert(which.ceids.end(), ceids.begin(), ceids.end());
    }

    Definitions result_;
    std::set<std::uint32_t> rptids_, ceids_;
};

}  // namespace

Definitions parse_definitions(std::istream& file) {
    Reader reader;
    std::size_t number = 0;
    for (std::string line; std::getline(file, line);) reader.line(Words(line, {++number, 1}));
    return reader.take();
}

Definitions read_definitions(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || file.peek() == std::ifstream::traits_type::eof())
        throw std::runtime_error(path + ": expected a definition file, found none or an empty one");
    try {
        return parse_definitions(file);
    } catch (const sml::SyntaxError& error) {
        throw std::runtime_error(path + ":" + error.what());
    }
}

const std::string_view definition_grammar = R"(Definition file, a line each; # begins a comment:
  report RPTID [NAME=]RVID ...   a report and its values; the name is shown in place of the RVID
  event CEID RPTID ...           the reports that an event sends, defined above
  enable CEID ...|all            events that are sent
  disable CEID ...|all           events that are not
  dataid N                       of the messages that define; 1 unless given
A file with reports or events takes the place of all that was defined under its DATAID, and events that it does not
enable are off; when a number is defined already under another DATAID, that one gives way. Each report is tried first;
when one is refused, nothing is changed. When links or enables are refused, what was removed does not come back; all
events that are left are enabled then, also those that were off, and the error line says so.
The live screen knows the names PortID, SlotID, WaferID, LotID, ToMdlName and ToMdlSlotID.
)";

}  // namespace host
