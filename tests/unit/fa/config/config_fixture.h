// A module object with its own data folder, a small machine and what it printed.
#pragma once

#include <filesystem>
#include <utility>

#include "sim/controller/file_layer.h"
#include "support/module_fixture.h"

namespace fa_test {

using fake::joined;
using fake::Texts;
using fake::with;

inline constexpr char primary[] = "Z/FA/";
inline constexpr char fallback[] = "J/Talwen/Config/FA/";

/// "text:width text:width" as a line of columns so wide; "+" is a blank, "~" begins a further row.
inline std::string columns(const std::string& fields, const std::string& between = "\n") {
    std::string line;
    std::istringstream words(fields);
    for (std::string word; words >> word;) {
        const std::size_t colon = word.rfind(':');
        if (colon == std::string::npos)
            line += between;
        else
            line += fake::replaced(word.substr(0, colon), "\\+", " ") +
                    std::string(std::stoul(word.substr(colon + 1)) - colon, ' ');
    }
    return line + "\n";
}

class Config_Test : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(
            "[[digital]]\nname='Door'\nmin=0\nmax=1\n[[digital]]\nname='Valve'\nmin=-1\nmax=3\nunit='pos'\n"
            "[[analog]]\nname='Temp'\nmin=-5.5\nmax=250.25\nunit='℃'\ndecimals=2\n"
            "[[analog]]\nname='Flow'\nmin=0.0\nmax=30.0\nunit='slm'\ndecimals=1\n"
            "[[string]]\nname='Lot'\n[[function]]\nname='Run'\n[[digital]]\nname='" +
            std::string(63, 'N') + "'\n");
        sim::set_console_sink([this](const sim::ConsoleLine& line) {
            if (line.tag == "framework") return;  // the controller's own
            const char letter = "-rgybc"[static_cast<std::size_t>(line.colour)];
            printed_.push_back(std::string(1, letter) + ' ' +
                               fake::replaced(line.text, "(\\[代码行:[^\\]]*:)[0-9]+\\]$", "$1#]"));
        });
    }
    void TearDown() override {
        sim::close_open_files();
        ModuleFixture::TearDown();
    }

    /// Writes a file below the data folder, byte for byte.
    void write(const std::string& path, const std::string& bytes) { folder.put(path, bytes); }
    std::string read(const std::string& path) const { return folder.read(path); }
    /// A folder where the file should be.
    void block(const std::string& path) {
        std::filesystem::remove(folder.path() / path);
        std::filesystem::create_directories(folder.path() / path);
    }
    /// What was printed since the last call, a text for each line: the colour's first letter, a blank, the
    /// text, with "#" for the number of the code line.
    Texts printed() { return std::exchange(printed_, {}); }

  private:
    Texts printed_;
};

/// What a list of definitions ("RPTID", "CEID", "TRID", "TMSG") or the spool table ("SPOOLING") holds, each
/// record ended by ";".
inline std::string listed(const std::string& list) {
    std::ostringstream all;
    if (list == "RPTID")
        for (const auto& r : Talwen::RPTID_List.all())
            all << r->DATAID << ' ' << r->RPTID << " [" << joined(r->LINKVID) << "] " << r->description
                << ';';
    if (list == "CEID")
        for (const auto& e : Talwen::CEID_List.all())
            all << e->DATAID << ' ' << e->CEID << (e->enable ? "" : " disabled") << " ["
                << joined(e->LINKRPTID) << "] " << e->event_name << '!' << e->description << ';';
    if (list == "TRID")
        for (const auto& t : Talwen::TRID_List.all())
            all << t->TRID << ' ' << t->DSPER << '=' << t->period << ' ' << t->TOTSMP << ' ' << t->REPGSZ
                << " [" << joined(t->LINKSVID) << "] " << t->description << ';';
    if (list == "TMSG")
        for (const auto& [tid, m] : Talwen::TMSG_List) all << tid << ' ' << m.TMESSAGE << ';';
    return list == "SPOOLING" ? fake::spooled() : all.str();
}

}  // namespace fa_test
