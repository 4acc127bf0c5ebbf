// SPOOLING.inf: the primaries that the host lets the equipment spool.
#include <string>
#include <utility>
#include <vector>

#include "fa/config/config_file.h"
#include "fa/framework/qprint.h"
#include "fa/module/bc_fa.h"
#include "fa/secs/spool_table.h"

namespace Talwen {

bool BC_FA::FILE_GET_ALL_SPOOLING() {
    QFA_Clear_Spool_Table();
    Config_Lines lines(Config_Read_Path("SPOOLING.inf"));
    if (!lines.opened()) {
        QPrint_Red(Print_Tag, "[%s] 文件不存在.", lines.path());
        return true;  // no file, nothing to spool
    }
    while (lines.next()) {
        // K12: lines of 1023 bytes are too long here (docs/kept-behaviour.md).
        if (lines.length() >= 1023) {
            QPrint_Red(Print_Tag, "参数过长 - %s", lines.place("FILE_GET_ALL_SPOOLING", __LINE__).c_str());
            return false;
        }
        std::string stream, function;
        Config_Split(lines.text(), ',', {&stream, &function});
        const int s = Config_Int(stream);
        const int f = Config_Int(function);
        QFA_Set_Spool_Enable(s, f, true);
        QPrint_Green(Print_Tag, "S%d,F%d\tGET SPOOLING", s, f);
    }
    return true;
}

bool BC_FA::FILE_SAVE_ALL_SPOOLING() {
    std::string text = "#Sx,Fx\n";
    std::vector<std::pair<int, int>> spooled;
    for (int s = 0; s < Spool_Streams; ++s) {
        for (int f = 0; f < Spool_Functions; ++f) {
            if (!QFA_Get_Spool_Enable(s, f)) continue;
            Config_Append(text, "%d,%d\n", s, f);
            spooled.emplace_back(s, f);
        }
    }
    if (!Config_Save(*this, "SPOOLING.inf", "[%s] 文件保存失败!", text)) return false;
    for (const auto& [s, f] : spooled) QPrint_Green(Print_Tag, "S%d,F%d\tSET SPOOLING", s, f);
    return true;
}

}  // namespace Talwen
