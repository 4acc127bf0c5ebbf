#include <gtest/gtest.h>
#include <string>

#include "fa/framework/qseqcon.h"
#include "sim/machine/machine.h"
#include "tests/support/temp_folder.h"

namespace sim {
namespace {

template <class Load>
std::string defect_of(Load load) {
    try {
        load();
        return "accepted";
    } catch (const MachineError& error) {
        return error.what();
    }
}

TEST(MachineFile, DefectsAreNamedByFileAndLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"[tool]\nmodel = 'x'\ncolour = 1", "3: unknown key 'colour' in [tool]"},
        {"[tool]\nmodel = 3", "2: model: must be a text in quotes"},
        {"[tool]\nreact = 1", "2: react: must be true or false"},
        {"[tool]\nspeed = 'fast'", "2: speed: must be a number"},
        {"[[tool]]\nmodel = 'x'", "1: tool: must be a table [tool]"},
        {"[toool]", "1: unknown key 'toool'"},
        {"[gem]\nOnline_Init = 1\nOnline_Inti = 1", "3: unknown key 'Online_Inti' in [gem]"},
        {"[gem]\nOnline_Init = 1.5", "2: Online_Init: must be a whole number of 32 bits"},
        {"[fa]\nT3 = 99999999999", "2: T3: must be a whole number of 32 bits"},
        {"[fa]\nRemote_IP = 1", "2: Remote_IP: must be a text in quotes"},
        {"[digital]\nname = 'a'", "1: digital: must be a list of tables [[digital]]"},
        {"[[digital]]\nvalue = 1", "1: [[digital]] lacks the key 'name'"},
        {"[[digital]]\nname = 'a'\n[[digital]]\nname = 'a'", "4: a point named 'a' is there already"},
        {"[[string]]\nname = 'a'\n[[function]]\nname = 'a'", "4: a point named 'a' is there already"},
        {"[[carrier_module]]\nname = 'LP1'\nslots = -1", "3: slots must be 0 or more"},
        {"[[recipe]]\nkind = 'lots'\nname = 'A'", "2: kind must be lot, cluster or pm"},
        {"[[recipe]]\nkind = 'pm'\nname = 'A'\nsteps = ['a', 2]", "4: steps: must be a text in quotes"},
        {"[tool]\nmodel = \n", "2: "},  // and what the parser says
    };
    machine().load_text("[tool]\nmodel = 'kept'");
    for (const auto& [text, defect] : cases) {
        const std::string got = defect_of([&, text = text] { machine().load_text(text); });
        const std::string expected = std::string("machine.toml:") + defect;
        EXPECT_EQ(expected.ends_with(' ') ? got.substr(0, expected.size()) : got, expected) << text;
    }
    EXPECT_EQ(defect_of([] { machine().load_file("/nowhere/machine.toml"); }),
              "/nowhere/machine.toml: cannot be read");
    EXPECT_EQ(machine().tool().model, "kept");
}

TEST(MachineFile, WhatOnlyLooksOddIsTakenAsItStands) {
    machine().load_text(R"(
tool = {speed = 0, alarm_rate = -1}
digital = [{name = '', min = 2, max = 1}, {name = ''}]
analog = [{name = 'a', decimals = -1}]
process_module = [{name = 'PM'}, {name = 'PM'}]
alarm = [{id = 5, level = 77}, {id = 5, level = -3}]
recipe = [{kind = 'lot', name = 'A'}, {kind = 'lot', name = 'A'}]
carrier_module = [{name = 'LP', slots = 0}, {name = 'LP', slots = 360}]
)");
    Talwen::QSeqCon con;
    EXPECT_EQ(con.QSystem_Get_Digital_Count() + con.QSCH_Get_PM_Count() + con.QSCH_Get_CM_Slot_Count(1), 364);
    machine().post_alarm(5);
    int alarm = -1;
    int number = 0;
    ASSERT_TRUE(con.QAlarm_Queue_Point(0, &alarm, &number));
    EXPECT_EQ(alarm, 0) << "the first alarm of that id";
    machine().carrier_arrives(1, "C");  // no slots to fill
}

TEST(MachineFile, ValuesReachTheModule) {
    const support::TempFolder folder;
    machine().load_file(folder.put("machine.toml", R"(
gem = {Online_Init = 2, S6F2Res_Enable = 0}
fa = {T3 = 45, Remote_IP = "10.0.0.1"}
analog = [{name = "PM1.Pressure", value = 0.75, max = 10, unit = "Torr"}]
digital = [{name = "Door", value = -1}, {name = "Lamp"}]
process_module = [{name = "PM1", id = "PM1-ETCH"}]
)"));
    Talwen::QSeqCon con;
    EXPECT_EQ(con.QIO_Get_GEM_Online_Init(), 2);
    EXPECT_EQ(con.QIO_Get_GEM_S6F2Res_Enable(), 0);
    EXPECT_EQ(con.QIO_Get_GEM_S6F12Res_Enable(), 1) << "starts at 1 when it is not listed";
    EXPECT_EQ(con.QFA_Get_Remote_IP() + std::to_string(con.QFA_Get_T3()), "10.0.0.145");
    int point = -5;
    EXPECT_FALSE(con.QIO_Find_Point(&point, Talwen::IO_STRING, "Lamp")) << "another kind";
    EXPECT_EQ(point, -5);
    Talwen::IO_TYPE type = Talwen::IO_STRING;
    ASSERT_TRUE(con.QIO_Find(&point, &type, "Lamp"));
    EXPECT_EQ(point, 1) << "an index counts its kind alone";
    EXPECT_EQ(type, Talwen::IO_DIGITAL);
    ASSERT_TRUE(con.QIO_Find_PointF(&point, Talwen::IO_ANALOG, "PM%d.%s", 1, "Pressure"));
    EXPECT_EQ(con.QAnalog_Read(point) + con.QAnalog_Read_Mem(point) + con.QAnalog_Get_Max(point), 11.5);
    EXPECT_STREQ(con.QAnalog_Get_Unit(point), "Torr");
    EXPECT_STREQ(con.QModule_Get_ID("PM1"), "PM1-ETCH");
    EXPECT_STREQ(con.QModule_Get_Name("PM1-ETCH"), "PM1");
}

}  // namespace
}  // namespace sim
