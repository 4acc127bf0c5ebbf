// Every loader of a configuration file: any bytes load or are refused with a message. The first byte chooses
// the file.
#include <array>
#include <fstream>
#include <stdexcept>
#include <string>

#include "fa/config/definition_tables.h"
#include "fa/config/variable_tables.h"
#include "fuzz/module_under_fuzz.h"

namespace {

using namespace Talwen;

struct File {
    const char* name;
    bool (BC_FA::*load)();
    void (*empty)();
};

const std::array<File, 10> files{{
    {"FA_SAVE.inf", &BC_FA::FILE_SYSTEM_SETUP, [] {}},
    {"SVID.cfg", &BC_FA::FILE_GET_ALL_SVID, [] { SVID_List.clear(); }},
    {"ECID.cfg", &BC_FA::FILE_GET_ALL_ECID, [] { ECID_List.clear(); }},
    {"RVID.cfg", &BC_FA::FILE_GET_ALL_RVID, [] { RVID_List.clear(); }},
    {"RPTID.cfg", &BC_FA::FILE_GET_ALL_RPTID, [] { RPTID_List.clear(); }},
    {"CEID.cfg", &BC_FA::FILE_GET_ALL_CEID, [] { CEID_List.clear(); }},
    {"TRID.cfg", &BC_FA::FILE_GET_ALL_TRID, [] { TRID_List.clear(); }},
    {"TMSG.cfg", &BC_FA::FILE_GET_ALL_TMSG, [] { TMSG_List.clear(); }},
    {"SPOOLING.inf", &BC_FA::FILE_GET_ALL_SPOOLING, [] {}},
    {"ECID_SAVE.inf", &BC_FA::FILE_READ_ECID_SAVE, [] {}},
}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    BC_FA& module = fuzz::demo().module;
    const File& file = files[data[0] % files.size()];
    std::ofstream(fuzz::demo().fa / file.name, std::ios::binary)
        .write(reinterpret_cast<const char*>(data) + 1, static_cast<std::streamsize>(size - 1));
    file.empty();
    try {
        (module.*file.load)();
    } catch (const std::logic_error&) {
        // The saved constants' values are read with the standard conversions, which throw.
        if (file.load != &BC_FA::FILE_READ_ECID_SAVE) throw;
    }
    fuzz::forget();
    return 0;
}
