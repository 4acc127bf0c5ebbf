#include <gtest/gtest.h>
#include <string>

#include "fa/framework/qseqcon.h"
#include "sim/machine.h"
#include "tests/unit/sim/temp_folder.h"

namespace sim {
namespace {

TEST(MachineFile, DefectsAreNamedByFileAndLine) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"[tool]\nmodel = \"x\"\ncolour = 1\n", "machine.toml:3: unknown key 'colour' in [tool]"},
        {"[tool]\nmodel = 3\n", "machine.toml:2: must be a text in quotes"},
        {"[tool]\nreact = 1\n", "machine.toml:2: must be true or false"},
        {"[tool]\nspeed = \"fast\"\n", "machine.toml:2: must be a number"},
        {"[tool]\n\nspeed = 0\n", "machine.toml:3: speed must be above 0"},
        {"[[tool]]\nmodel = \"x\"\n", "machine.toml:1: must be a table [tool]"},
        {"[toool]\n", "machine.toml:1: unknown key 'toool'"},
        {"[gem]\nOnline_Init = 1\nOnline_Inti = 1\n", "machine.toml:3: unknown key 'Online_Inti' in [gem]"},
        {"[gem]\nOnline_Init = 1.5\n", "machine.toml:2: must be a whole number of 32 bits"},
        {"[fa]\nT3 = 99999999999\n", "machine.toml:2: must be a whole number of 32 bits"},
        {"[fa]\nRemote_IP = 1\n", "machine.toml:2: must be a text in quotes"},
        {"[digital]\nname = \"a\"\n", "machine.toml:1: must be a list of tables [[digital]]"},
        {"[[digital]]\nvalue = 1\n", "machine.toml:1: [[digital]] lacks the key 'name'"},
        {"[[digital]]\nname = \"a\"\nmin = 2\nmax = 1\n", "machine.toml:4: max must not be below min"},
        {"[[digital]]\nname = \"a\"\n[[digital]]\nname = \"a\"\n",
         "machine.toml:4: a point named 'a' is there already"},
        {"[[string]]\nname = \"a\"\n\n[[function]]\nname = \"a\"\n",
         "machine.toml:5: a point named 'a' is there already"},  // functions are found by the same names
        {"[[analog]]\nname = \"a\"\ndecimals = -1\n", "machine.toml:3: decimals must be 0 to 15"},
        {"[[string]]\nname = \"\"\n", "machine.toml:2: a point's name must not be empty"},
        {"[[carrier_module]]\nname = \"LP1\"\nslots = 0\n", "machine.toml:3: slots must be 1 to 100"},
        {"[[carrier_module]]\nname = \"LP1\"\n[[carrier_module]]\nname = \"LP1\"\n",
         "machine.toml:4: a carrier module named 'LP1' is there already"},
        {"[[alarm]]\nid = 1\n[[alarm]]\nlevel = 1\nid = 1\n",
         "machine.toml:5: an alarm with id 1 is there already"},
        {"[[alarm]]\nid = 1\nlevel = 4\n", "machine.toml:3: level must be 0 to 3"},
        {"[[recipe]]\nkind = \"lots\"\nname = \"A\"\n", "machine.toml:2: kind must be lot, cluster or pm"},
        {"[[recipe]]\nkind = \"lot\"\nname = \"A\"\n[[recipe]]\nkind = \"lot\"\nname = \"A\"\n",
         "machine.toml:6: a recipe named 'A' is there already"},
        {"[[recipe]]\nkind = \"pm\"\nname = \"A\"\nsteps = [\"a\", 2]\n",
         "machine.toml:4: must be a text in quotes"},
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

TEST(MachineFile, SyntaxErrorsAndTooManyCarrierModulesNameTheLine) {
    std::string seven;
    for (int i = 1; i <= 7; ++i) seven += "[[carrier_module]]\nname = \"LP" + std::to_string(i) + "\"\n";
    for (const auto& [text, line] :
         {std::pair{std::string("[tool]\nmodel = \n"), ":2: "}, std::pair{seven, ":14: "}}) {
        try {
            machine().load_text(text);
            ADD_FAILURE() << "accepted: " << text;
        } catch (const MachineError& error) {
            EXPECT_NE(std::string(error.what()).find(std::string("machine.toml") + line), std::string::npos)
                << error.what();
        }
    }
}

TEST(MachineFile, ValuesReachTheModule) {
    const sim_test::TempFolder folder;
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
