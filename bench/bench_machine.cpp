#include "bench/bench_machine.h"

#include <array>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

struct Kind {
    const char* section;
    const char* value;
    const char* type;  // of its variables
};
constexpr std::array<Kind, 4> kinds{{
    {"analog", "12.5", "F4"},
    {"digital", "7", "I4"},
    {"string", "\"LOT-2301.07\"", "A"},
    {"analog", "300.25", "F8"},
}};

std::string point_name(std::size_t variable) {
    return "Bench.Point" + std::to_string(variable);
}

class Output {
  public:
    explicit Output(const std::filesystem::path& path) : path_(path), file_(path) {}
    ~Output() noexcept(false) {
        file_.close();
        if (!file_ && std::uncaught_exceptions() == 0)
            throw std::runtime_error(path_.string() + ": cannot be written");
    }
    template <class... Parts>
    void line(const Parts&... parts) {
        (file_ << ... << parts) << '\n';
    }

  private:
    std::filesystem::path path_;
    std::ofstream file_;
};

void write_points(const std::filesystem::path& file, std::size_t count) {
    Output out(file);
    out.line("[tool]\nmodel = \"BENCH\"\nrevision = \"1\"");
    out.line("[gem]\nOnline_Init = 9\nInit_ControlState = 2");
    for (std::size_t variable = 1; variable <= count; ++variable) {
        const Kind& kind = kinds[variable % kinds.size()];
        out.line("[[", kind.section, "]]\nname = \"", point_name(variable), "\"\nvalue = ", kind.value);
    }
}

void write_variables(const std::filesystem::path& file, std::size_t count) {
    Output out(file);
    for (std::size_t variable = 1; variable <= count; ++variable)
        out.line(variable, ' ', point_name(variable), ' ', kinds[variable % kinds.size()].type, " 1 V \"-\"");
}

/// A line of the file holds at most 1023 bytes, so a report of many variables is continued over several.
void write_reports(const std::filesystem::path& file, const MachineSize& size) {
    constexpr std::size_t in_a_line = 100;
    Output out(file);
    for (std::size_t report = 1; report <= size.reports; ++report) {
        for (std::size_t done = 0; done < size.report_variables;) {
            std::string links;
            for (std::size_t i = 0; i < in_a_line && done < size.report_variables; ++i, ++done)
                links += std::to_string(1 + (report * 7 + done) % size.variables) + ',';
            if (done == size.report_variables) links.pop_back();
            out.line("0 ", report, ' ', links, " \"bench\"");
        }
    }
}

void write_events(const std::filesystem::path& file, std::size_t count) {
    Output out(file);
    for (std::size_t event = 1; event <= count; ++event)
        out.line("0 ", event, ' ', event, " Bench \"bench\"");
}

}  // namespace

void write_machine(const std::filesystem::path& folder, const MachineSize& size) {
    const std::filesystem::path tables = folder / "Z" / "FA";
    std::filesystem::create_directories(tables);
    write_points(folder / "machine.toml", size.variables);
    write_variables(tables / "SVID.cfg", size.variables);
    write_variables(tables / "RVID.cfg", size.variables);
    write_reports(tables / "RPTID.cfg", size);
    write_events(tables / "CEID.cfg", size.events);
    for (const char* empty :
         {"ECID.cfg", "TRID.cfg", "TMSG.cfg", "ECID_SAVE.inf", "ECID_SAVE2.inf", "SPOOLING.inf"})
        Output(tables / empty).line("# none");
    Output settings(tables / "FA_SAVE.inf");
    settings.line("COMM_IP 127.0.0.1\nCOMM_PORT 0\nT0_PRM 60\nT3_PRM 45\nT5_PRM 10\nT6_PRM 5\nT7_PRM 10");
    settings.line("T8_PRM 5\nDEVICE_ID 0\nCOMM_TRY PASSIVE\nCOMM_CTRL REMOTE\nLINK_TEST DISABLE");
    settings.line("COMM_ENABLE ENABLE\nCOMM_METHOD HSMS");
}

}  // namespace bench
