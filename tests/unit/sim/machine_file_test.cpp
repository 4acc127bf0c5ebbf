#include <gtest/gtest.h>
#include <string>

#include "fa/framework/qseqcon.h"
#include "sim/machine.h"
#include "tests/support/temp_folder.h"

namespace sim {
namespace {

TEST(MachineFile, DefectsAreNamedByFileAndLine) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"[tool]\nmodel = \"x\"\ncolour = 1\n", "machine.toml:3: unknown key 'colour' in [tool]"},
        {"[tool]\nmodel = 3\n", "machine.toml:2: model: must be a text in quotes"},
        {"[tool]\nreact = 1\n", "machine.toml:2: react: must be true or false"},
        {"[tool]\nspeed = \"fast\"\n", "machine.toml:2: speed: must be a number"},
        {"[[tool]]\nmodel = \"x\"\n", "machine.toml:1: tool: must be a table [tool]"},
        {"[toool]\n", "machine.toml:1: unknown key 'toool'"},
        {"[gem]\nOnline_Init = 1\nOnline_Inti = 1\n", "machine.toml:3: unknown key 'Online_Inti' in [gem]"},
        {"[gem]\nOnline_Init = 1.5\n", "machine.toml:2: Online_Init: must be a whole number of 32 bits"},
        {"[fa]\nT3 = 99999999999\n", "machine.toml:2: T3: must be a whole number of 32 bits"},
        {"[fa]\nRemote_IP = 1\n", "machine.toml:2: Remote_IP: must be a text in quotes"},
        {"[digital]\nname = \"a\"\n", "machine.toml:1: digital: must be a list of tables [[digital]]"},
        {"[[digital]]\nvalue = 1\n", "machine.toml:1: [[digital]] lacks the key 'name'"},
        {"[[digital]]\nname = \"a\"\n[[digital]]\nname = \"a\"\n",
         "machine.toml:4: a point named 'a' is there already"},
        {"[[string]]\nname = \"a\"\n\n[[function]]\nname = \"a\"\n",
         "machine.toml:5: a point named 'a' is there already"},  // functions are found by the same names
        {"[[carrier_module]]\nname = \"LP1\"\nslots = -1\n", "machine.toml:3: slots must be 0 or more"},
        {"[[recipe]]\nkind = \"lots\"\nname = \"A\"\n", "machine.toml:2: kind must be lot, cluster or pm"},
        {"[[recipe]]\nkind = \"pm\"\nname = \"A\"\nsteps = [\"a\", 2]\n",
         "machine.toml:4: steps: must be a text in quotes"},
    };
    machine().load_text("[tool]\nmodel = \"kept\"\n");
    for (const auto& c : cases) {
        try {
            machine().load_text(c.text);
            ADD_FAILURE() << "accepted: " << c.text;
        } catch (const MachineError& error) {
            EXPECT_EQ(std::string(error.what()), c.message) << c.text;
        }
    }
    EXPECT_EQ(machine().tool().model, "kept");
}

TEST(MachineFile, ASyntaxErrorNamesTheLine) {
    try {
        machine().load_text("[tool]\nmodel = \n");
        ADD_FAILURE() << "accepted";
    } catch (const MachineError& error) {
        EXPECT_TRUE(std::string_view(error.what()).starts_with("machine.toml:2: ")) << error.what();
    }
}

TEST(MachineFile, WhatOnlyLooksOddIsTakenAsItStands) {
    std::string text = R"(
[tool]
speed = 0
alarm_rate = -1
[[digital]]
name = ""
min = 2
max = 1
[[digital]]
name = ""
[[analog]]
name = "a"
decimals = -1
[[process_module]]
name = "PM"
[[process_module]]
name = "PM"
[[alarm]]
id = 5
level = 77
[[alarm]]
id = 5
level = -3
text = "second"
[[recipe]]
kind = "lot"
name = "A"
[[recipe]]
kind = "lot"
name = "A"
)";
    for (int i = 0; i < 7; ++i)
        text += "[[carrier_module]]\nname = \"LP\"\nslots = " + std::to_string(i * 60) + "\n";
    machine().load_text(text);
    Talwen::QSeqCon con;
    EXPECT_EQ(con.QSystem_Get_Digital_Count(), 2);
    EXPECT_EQ(con.QSCH_Get_PM_Count(), 2);
    EXPECT_EQ(con.QSCH_Get_CM_Count(), 7);
    EXPECT_EQ(con.QSCH_Get_CM_Slot_Count(0), 0);
    EXPECT_EQ(con.QSCH_Get_CM_Slot_Count(6), 360);
    EXPECT_EQ(con.QSystem_Get_Alarm_Count(), 2);
    EXPECT_EQ(static_cast<int>(con.QAlarm_Get_Level(0)), 77);
    EXPECT_EQ(static_cast<int>(con.QAlarm_Get_Level(1)), -3);
    machine().post_alarm(5);
    ASSERT_EQ(con.QAlarm_Queue_Count(), 1);
    int alarm = -1;
    int number = 0;
    ASSERT_TRUE(con.QAlarm_Queue_Point(0, &alarm, &number));
    EXPECT_EQ(alarm, 0) << "the first alarm of that id";
    machine().clear_alarm(5);
    EXPECT_EQ(con.QAlarm_Queue_Count(), 0);
    machine().carrier_arrives(1, "C");  // no slots to fill
}

TEST(MachineFile, ValuesReachTheModule) {
    const support::TempFolder folder;
    machine().load_file(folder.put("machine.toml", R"(
[tool]
model = "CT-200"
revision = "1.0"
simulation = false
[gem]
Online_Init = 2
S6F2Res_Enable = 0
[fa]
T3 = 45
Remote_IP = "10.0.0.1"
[[analog]]
name = "PM1.Pressure"
value = 0.75
max = 10
unit = "Torr"
[[digital]]
name = "Door"
value = -1
[[digital]]
name = "Lamp"
[[carrier_module]]
name = "LP1"
slots = 3
[[process_module]]
name = "PM1"
id = "PM1-ETCH"
)"));
    Talwen::QSeqCon con;
    EXPECT_STREQ(con.QIO_Get_GEM_Model_Number(), "CT-200");
    EXPECT_FALSE(con.QSystem_Get_Simulation());
    EXPECT_EQ(con.QIO_Get_GEM_Online_Init(), 2);
    EXPECT_EQ(con.QIO_Get_GEM_S6F2Res_Enable(), 0);
    EXPECT_EQ(con.QIO_Get_GEM_S6F12Res_Enable(), 1) << "starts at 1 when it is not listed";
    EXPECT_EQ(con.QFA_Get_T3(), 45);
    EXPECT_STREQ(con.QFA_Get_Remote_IP(), "10.0.0.1");
    int point = -5;
    Talwen::IO_TYPE type = Talwen::IO_STRING;
    ASSERT_TRUE(con.QIO_Find_PointF(&point, Talwen::IO_ANALOG, "PM%d.%s", 1, "Pressure"));
    EXPECT_EQ(con.QAnalog_Read(point), 0.75);
    EXPECT_EQ(con.QAnalog_Read_Mem(point), 0.75);
    EXPECT_EQ(con.QAnalog_Get_Max(point), 10.0);
    EXPECT_STREQ(con.QAnalog_Get_Unit(point), "Torr");
    ASSERT_TRUE(con.QIO_Find(&point, &type, "Lamp"));
    EXPECT_EQ(point, 1) << "an index counts its kind alone";
    EXPECT_EQ(type, Talwen::IO_DIGITAL);
    point = -5;
    EXPECT_FALSE(con.QIO_Find_Point(&point, Talwen::IO_STRING, "Lamp")) << "another kind";
    EXPECT_EQ(point, -5);
    EXPECT_EQ(con.QSCH_Get_CM_Slot_Count(0), 3);
    EXPECT_EQ(con.QSCH_Get_CM_Slot_Count(1), 0);
    EXPECT_STREQ(con.QModule_Get_ID("PM1"), "PM1-ETCH");
    EXPECT_STREQ(con.QModule_Get_Name("PM1-ETCH"), "PM1");
}

TEST(MachineFile, AFileThatIsNotThereIsNamed) {
    try {
        machine().load_file("/nowhere/machine.toml");
        ADD_FAILURE() << "loaded";
    } catch (const MachineError& error) {
        EXPECT_STREQ(error.what(), "/nowhere/machine.toml: cannot be read");
    }
}

}  // namespace
}  // namespace sim
