// The demo machine's files as the equipment finds them at its start.
#include <gtest/gtest.h>
#include <string>

#include "support/equipment_process.h"

TEST(DemoMachine, EntersWithoutADefect) {
    support::EquipmentProcess equipment;
    EXPECT_TRUE(equipment.command("status").starts_with("= Enter=1 "));
    for (const std::string& line : equipment.console())
        for (const char* word : {"代码行", "失败", "不存在", "IOPOINT", "exception"})
            EXPECT_EQ(line.find(word), std::string::npos) << line;
    const struct {
        const char* command;
        const char* part;
    } table[] = {
        {"table CEID 42201", " enable=1 event_name=CarrierAccess1 "},
        {"table CEID 42201", " LINKRPTID=422"},
        {"table RPTID 1402",
         " LINKVID=1405,1406,1407,1408,1409,1410,1411,1412,1413,1414,1415,1419,1420,1421"},
        {"table RPTID 1502", " LINKVID=1511,1512,1506"},
        {"table TRID 1", " period=3600000 "},
        {"table TMSG 2", "请确认批次配方"},
        {"mem EC.Tool.Bay", "ETCH-B3"},
    };
    for (const auto& row : table) {
        const std::string answer = equipment.command(row.command);
        EXPECT_NE(answer.find(row.part), std::string::npos) << answer;
    }
}
