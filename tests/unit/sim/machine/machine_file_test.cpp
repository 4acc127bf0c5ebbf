#include <gtest/gtest.h>
#include <string>

#include "fa/framework/qseqcon.h"
#include "sim/machine/machine.h"
#include "sim/testing/capture.h"

namespace sim {
namespace {

TEST(MachineFile, DefectsAreNamedByFileAndLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"[tool]\nmodel = 'x'\ncolour = 1", "3: unknown key 'colour' in [tool]"},
        {"[tool]\nfetch_after = 'soon'", "2: fetch_after: must be a number"},
        {"[[tool]]\nmodel = 'x'", "1: tool: must be a table [tool]"},
        {"[gem]\nOnline_Init = 1\nOnline_Inti = 1", "3: unknown key 'Online_Inti' in [gem]"},
        {"[fa]\nT3 = 99999999999", "2: T3: must be a whole number of 32 bits"},
        {"[[digital]]\nvalue = 1", "1: [[digital]] lacks the key 'name'"},
        {"[[string]]\nname = 'a'\n[[function]]\nname = 'a'", "4: a point named 'a' is there already"},
        {"[[recipe]]\nkind = 'lots'\nname = 'A'", "2: kind must be lot, cluster or pm"},
        {"[[recipe]]\nkind = 'pm'\nname = 'A'\nsteps = ['a', 2]", "4: steps: must be a text in quotes"},
        {"[tool]\nmodel = \n", "2: "}};  // and what the parser says
    machine().load_text("tool.model = 'kept'");
    for (const auto& [text, defect] : cases) {
        try {
            machine().load_text(text);
            ADD_FAILURE() << "accepted: " << text;
        } catch (const MachineError& error) {
            const std::string expected = std::string("machine.toml:") + defect;
            EXPECT_EQ(std::string(error.what()).substr(0, expected.size()), expected) << text;
        }
    }
    EXPECT_THROW(machine().load_file("/nowhere/machine.toml"), MachineError);
    EXPECT_EQ(machine().tool().model, "kept");
}

TEST(MachineFile, WhatOnlyLooksOddIsTakenAndValuesReachTheModule) {
    machine().load_text(R"(
tool = {speed = 0, alarm_rate = -1}
gem = {Online_Init = 2}
digital = [{name = '', min = 2, max = 1}, {name = ''}]
analog = [{name = 'PM1.Pressure', value = 0.75, max = 10, decimals = -1}]
process_module = [{name = 'PM1', id = 'PM1-ETCH'}, {name = 'PM1'}]
alarm = [{id = 5, level = 77}, {id = 5}]
carrier_module = [{name = 'LP', slots = 0}, {name = 'LP', slots = 360}]
)");
    machine().post_alarm(5);            // the first of that id
    machine().carrier_arrives(1, "C");  // no slots to fill
    Talwen::QSeqCon con;
    EXPECT_EQ(con.QSCH_Get_PM_Count() + con.QSCH_Get_CM_Slot_Count(1), 362);
    EXPECT_EQ(con.QIO_Get_GEM_Online_Init() * 10 + con.QIO_Get_GEM_S6F12Res_Enable(), 21) << "1 by default";
    int point = -5;
    EXPECT_TRUE(con.QIO_Find_PointF(&point, Talwen::IO_ANALOG, "PM%d.%s", 1, "Pressure"));
    EXPECT_EQ(con.QAnalog_Read(point) + con.QAnalog_Read_Mem(point) + con.QAnalog_Get_Max(point), 11.5);
    EXPECT_FALSE(con.QIO_Find_Point(&point, Talwen::IO_DIGITAL, "PM1.Pressure")) << "another kind";
    EXPECT_EQ(point, 0) << "an index counts its kind alone";
    EXPECT_EQ(std::string(con.QModule_Get_ID("PM1")) + con.QModule_Get_Name("PM1-ETCH"), "PM1-ETCHPM1");
}

TEST(MachineFile, ASettingOutOfRangeIsKeptAndSaid) {
    ConsoleCapture console;
    SystemLogCapture log;
    machine().load_text("gem.Comm_Port = 70000");
    Talwen::QSeqCon con;
    con.QFA_Set_Remote_Port(70000);  // mirrored: once is enough
    con.QFA_Set_Device_ID(40000);
    con.QFA_Set_T3(4294967);
    con.QFA_Set_T3(5000000);
    EXPECT_EQ(con.QFA_Get_T3(), 5000000);
    for (const char* line : {"Comm_Port 70000 is out of range, 0 to 65535: 4464 is used instead",
                             "Device_ID 40000 is out of range, 0 to 32767: it is used all the same",
                             "T3 5000000 is out of range, 0 to 4294967: 705032.704 s is used instead"})
        EXPECT_EQ(console.count(line) + log.count(line), 2U) << line;
    EXPECT_EQ(log.count("is out of range"), 3U);
}

}  // namespace
}  // namespace sim
