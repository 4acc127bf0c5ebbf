#include <map>

#include "config_fixture.h"
#include "fa/module/module_state.h"
#include "sim/file_layer.h"
#include "sim/machine.h"

namespace fa_test {

namespace {

using Settings = std::map<std::string, std::string>;

constexpr const char* fa_names[] = {
    "Local_IP", "Local_Port", "Remote_IP", "Remote_Port", "T0",     "T3",       "T5",     "T6",
    "T7",       "T8",         "Device_ID", "ConnMD",      "CtrlMD", "LinkTest", "Enable", "LinkMD"};
constexpr const char* gem_names[] = {"Comm_IP",     "Comm_Port",      "T0_Prm",           "T3_Prm",
                                     "T5_Prm",      "T6_Prm",         "T7_Prm",           "T8_Prm",
                                     "Device_ID",   "Comm_Try",       "Comm_Method",      "LinkTest_Enable",
                                     "Comm_Enable", "Init_CommState", "Init_ControlState"};

/// Every setting of both sides, by "fa.NAME" and "gem.NAME".
Settings settings() {
    Settings all;
    for (const char* name : fa_names) all[std::string("fa.") + name] = sim::machine().fa(name);
    for (const char* name : gem_names) all[std::string("gem.") + name] = sim::machine().gem(name);
    return all;
}

/// Gives every setting a value that no line of the tests sets.
void set_all_to(const char* value) {
    for (const char* name : fa_names) sim::machine().set_fa(name, value);
    for (const char* name : gem_names) sim::machine().set_gem(name, value);
}

class Settings_File_Test : public Config_Test {
  protected:
    bool load(const std::string& bytes) {
        write("Z/FA/FA_SAVE.inf", bytes);
        return fa.FILE_SYSTEM_SETUP();
    }
};

}  // namespace

TEST_F(Settings_File_Test, SetsWhatEachKeySaysAndNothingElse) {
    enum Flag { kept, older, newer };
    const struct {
        std::string line;
        Settings set;
        Flag flag = kept;
        Texts text = {};
    } table[] = {
        {"LOCAL_IP 10.0.0.1", {{"fa.Local_IP", "10.0.0.1"}}, older, {"y 获取 LOCAL_IP:10.0.0.1"}},
        {"LOCAL_PORT 5001", {{"fa.Local_Port", "5001"}}, older, {"y 获取 LOCAL_PORT:5001"}},
        {"REMOTE_IP h\xFF\x80", {{"fa.Remote_IP", "h\xFF\x80"}}, older, {"y 获取 REMOTE_IP:h\xFF\x80"}},
        {"REMOTE_PORT 5002", {{"fa.Remote_Port", "5002"}}, older, {"y 获取 REMOTE_PORT:5002"}},
        {"T0 60", {{"fa.T0", "60"}, {"gem.T0_Prm", "60"}}},
        {"T3 45", {{"fa.T3", "45"}, {"gem.T3_Prm", "45"}}},
        {"T5 10", {{"fa.T5", "10"}, {"gem.T5_Prm", "10"}}},
        {"T6 5", {{"fa.T6", "5"}, {"gem.T6_Prm", "5"}}},
        {"T7 11", {{"fa.T7", "11"}, {"gem.T7_Prm", "11"}}},
        {"T8 6", {{"fa.T8", "6"}, {"gem.T8_Prm", "6"}}},
        {"T0_PRM 61", {{"fa.T0", "61"}, {"gem.T0_Prm", "61"}}},
        {"T3_PRM 46", {{"fa.T3", "46"}, {"gem.T3_Prm", "46"}}},
        {"T5_PRM 12", {{"fa.T5", "12"}, {"gem.T5_Prm", "12"}}},
        {"T6_PRM 7", {{"fa.T6", "7"}, {"gem.T6_Prm", "7"}}},
        {"T7_PRM 13", {{"fa.T7", "13"}, {"gem.T7_Prm", "13"}}},
        {"T8_PRM 8", {{"fa.T8", "8"}, {"gem.T8_Prm", "8"}}},
        {"DEVICE_ID 32767", {{"fa.Device_ID", "32767"}, {"gem.Device_ID", "32767"}}},
        {"COMM_IP 127.0.0.1 ignored", {{"gem.Comm_IP", "127.0.0.1"}}, newer},
        {"COMM_PORT\t 5000", {{"gem.Comm_Port", "5000"}}, newer},
        {"COMM_METHOD SECS1", {{"gem.Comm_Method", "0"}}},
        {"COMM_METHOD 1", {{"gem.Comm_Method", "0"}}},
        {"COMM_METHOD", {{"gem.Comm_Method", "0"}}},
        // numbers
        {"T3 x", {{"fa.T3", "0"}, {"gem.T3_Prm", "0"}}},
        {"T3", {{"fa.T3", "0"}, {"gem.T3_Prm", "0"}}},
        {"T3 -7s", {{"fa.T3", "-7"}, {"gem.T3_Prm", "-7"}}},
        {"T3 99999999999", {{"fa.T3", "2147483647"}, {"gem.T3_Prm", "2147483647"}}},
        {"T3 -99999999999999999999", {{"fa.T3", "-2147483648"}, {"gem.T3_Prm", "-2147483648"}}},
        // words
        {"CONN_MODE PASSIVE", {{"fa.ConnMD", "0"}, {"gem.Comm_Try", "0"}}},
        {"CONN_MODE 0", {{"fa.ConnMD", "0"}, {"gem.Comm_Try", "0"}}},
        {"CONN_MODE ACTIVE", {{"fa.ConnMD", "1"}, {"gem.Comm_Try", "1"}}},
        {"CONN_MODE 1", {{"fa.ConnMD", "1"}, {"gem.Comm_Try", "1"}}},
        {"CONN_MODE 2", {{"fa.ConnMD", "1"}, {"gem.Comm_Try", "1"}}},
        {"CONN_MODE PASSIVES", {{"fa.ConnMD", "1"}, {"gem.Comm_Try", "1"}}},
        {"CTRL_MODE OFFLINE", {{"fa.CtrlMD", "0"}, {"gem.Init_ControlState", "0"}}},
        {"CTRL_MODE 0", {{"fa.CtrlMD", "0"}, {"gem.Init_ControlState", "0"}}},
        {"CTRL_MODE LOCAL", {{"fa.CtrlMD", "1"}, {"gem.Init_ControlState", "1"}}},
        {"CTRL_MODE 1", {{"fa.CtrlMD", "1"}, {"gem.Init_ControlState", "1"}}},
        {"CTRL_MODE REMOTE", {{"fa.CtrlMD", "2"}, {"gem.Init_ControlState", "2"}}},
        {"CTRL_MODE 2", {{"fa.CtrlMD", "2"}, {"gem.Init_ControlState", "2"}}},
        {"CTRL_MODE 7", {{"fa.CtrlMD", "1"}, {"gem.Init_ControlState", "1"}}},
        {"COMM_CTRL REMOTE", {{"fa.CtrlMD", "2"}, {"gem.Init_ControlState", "2"}}},
        {"LINK_TEST DISABLE", {{"fa.LinkTest", "0"}, {"gem.LinkTest_Enable", "0"}}},
        {"LINK_TEST 0", {{"fa.LinkTest", "0"}, {"gem.LinkTest_Enable", "0"}}},
        {"LINK_TEST ENABLE", {{"fa.LinkTest", "1"}, {"gem.LinkTest_Enable", "1"}}},
        {"LINK_TEST 1", {{"fa.LinkTest", "1"}, {"gem.LinkTest_Enable", "1"}}},
        {"LINK_TEST 2", {{"fa.LinkTest", "1"}, {"gem.LinkTest_Enable", "1"}}},
        {"FA_ENABLE DISABLE", {{"fa.Enable", "0"}, {"gem.Init_CommState", "1"}}},
        {"FA_ENABLE 0", {{"fa.Enable", "0"}, {"gem.Init_CommState", "1"}}},
        {"FA_ENABLE ENABLE", {{"fa.Enable", "1"}, {"gem.Init_CommState", "0"}}},
        {"FA_ENABLE", {{"fa.Enable", "1"}, {"gem.Init_CommState", "0"}}},
        {"COMM_ENABLE 0", {{"fa.Enable", "0"}, {"gem.Init_CommState", "1"}}},
        {"COMM_ENABLE yes", {{"fa.Enable", "1"}, {"gem.Init_CommState", "0"}}},
        // connection word and control word at once
        {"COMM_TRY PASSIVE",
         {{"fa.ConnMD", "0"}, {"gem.Comm_Try", "0"}, {"fa.CtrlMD", "1"}, {"gem.Init_ControlState", "1"}}},
        {"COMM_TRY ACTIVE",
         {{"fa.ConnMD", "1"}, {"gem.Comm_Try", "1"}, {"fa.CtrlMD", "1"}, {"gem.Init_ControlState", "1"}}},
        {"COMM_TRY 0",
         {{"fa.ConnMD", "0"}, {"gem.Comm_Try", "0"}, {"fa.CtrlMD", "0"}, {"gem.Init_ControlState", "0"}}},
        {"COMM_TRY 2",
         {{"fa.ConnMD", "1"}, {"gem.Comm_Try", "1"}, {"fa.CtrlMD", "2"}, {"gem.Init_ControlState", "2"}}},
    };
    for (const auto& row : table) {
        for (const bool flag : {false, true}) {
            SCOPED_TRACE(row.line);
            set_all_to("33");
            Settings expected = settings();
            for (const auto& [name, value] : row.set) {
                ASSERT_TRUE(expected.contains(name));
                expected[name] = value;
            }
            Talwen::Comm_New_Version = flag;
            EXPECT_TRUE(load(row.line + "\n"));
            EXPECT_EQ(settings(), expected);
            EXPECT_EQ(Talwen::Comm_New_Version, row.flag == kept ? flag : row.flag == newer);
            EXPECT_EQ(printed(), row.text);
        }
    }
}

TEST_F(Settings_File_Test, RefusesKeysThatAreNearly) {
    for (const std::string key :
         {"local_ip", "LOCAL_I", "LOCAL_IPS", "T1", "T0_Prm", "[LOCAL_IP]", "LOCAL_IP=1", "\xFF"}) {
        SCOPED_TRACE(key);
        EXPECT_FALSE(load("T3 5\n" + key + " 1\nT3 6\n"));
        EXPECT_EQ(printed(), Texts{"r 配置项未识别:" + key +
                                   " [文件行:Z:\\FA\\FA_SAVE.inf:2][代码行:FILE_SYSTEM_SETUP:#]"});
        EXPECT_EQ(sim::machine().fa("T3"), "5");
    }
}

TEST_F(Settings_File_Test, TheLastLineWins) {
    EXPECT_TRUE(load("T3 1\nLOCAL_IP a\nCOMM_PORT 5\nT3_PRM 2\nCOMM_CTRL REMOTE\nCOMM_TRY PASSIVE\n"));
    EXPECT_EQ(sim::machine().fa("T3"), "2");
    EXPECT_EQ(sim::machine().gem("Init_ControlState"), "1");
    EXPECT_TRUE(Talwen::Comm_New_Version);
    EXPECT_TRUE(load("COMM_TRY PASSIVE\nCOMM_CTRL REMOTE\nCOMM_IP a\nREMOTE_PORT 4"));
    EXPECT_EQ(sim::machine().gem("Init_ControlState"), "2");
    EXPECT_FALSE(Talwen::Comm_New_Version);
}

namespace {

constexpr char older_file[] =
    "LOCAL_IP      192.168.0.7\n"
    "LOCAL_PORT    5000\n"
    "REMOTE_IP     192.168.0.9\n"
    "REMOTE_PORT   6000\n"
    "T0            60\n"
    "T3            45\n"
    "T5            10\n"
    "T6            5\n"
    "T7            11\n"
    "T8            6\n"
    "DEVICE_ID     3\n"
    "CONN_MODE     ACTIVE\n"
    "COMM_CTRL     REMOTE\n"
    "LINK_TEST     ENABLE\n"
    "COMM_ENABLE   ENABLE\n";

constexpr char newer_file[] =
    "COMM_IP       10.1.1.1\n"
    "COMM_PORT     7000\n"
    "T0_PRM        1\n"
    "T3_PRM        2\n"
    "T5_PRM        3\n"
    "T6_PRM        4\n"
    "T7_PRM        5\n"
    "T8_PRM        6\n"
    "DEVICE_ID     7\n"
    "COMM_TRY      ACTIVE\n"
    "COMM_CTRL     OFFLINE\n"
    "LINK_TEST     ENABLE\n"
    "COMM_ENABLE   ENABLE\n"
    "COMM_METHOD   HSMS\n";

}  // namespace

TEST_F(Settings_File_Test, WritesTheOlderLayoutAndReadsItBack) {
    set_all_to("33");
    ASSERT_TRUE(load(older_file));
    EXPECT_FALSE(Talwen::Comm_New_Version);
    const Settings loaded = settings();
    std::filesystem::remove_all(folder() / "Z");
    printed();

    EXPECT_TRUE(fa.FILE_SAVE_SYSTEM_SETUP());
    EXPECT_EQ(read("Z/FA/FA_SAVE.inf"), older_file);
    EXPECT_EQ(printed(), Texts{"g Local Port:5000 "});
    EXPECT_TRUE(sim::open_files().empty());

    set_all_to("33");
    Talwen::Comm_New_Version = true;
    EXPECT_TRUE(fa.FILE_SYSTEM_SETUP());
    EXPECT_EQ(settings(), loaded);
    EXPECT_FALSE(Talwen::Comm_New_Version);
}

TEST_F(Settings_File_Test, WritesTheNewerLayoutOverWhatWasThere) {
    set_all_to("33");
    ASSERT_TRUE(load(newer_file));
    sim::machine().set_gem("Comm_Enable", 1);  // written from here, read into Init_CommState
    const Settings loaded = settings();
    write("Z/FA/FA_SAVE.inf", std::string(5000, 'x'));

    EXPECT_TRUE(fa.FILE_SAVE_SYSTEM_SETUP());
    EXPECT_EQ(read("Z/FA/FA_SAVE.inf"), newer_file);
    EXPECT_EQ(printed(), Texts{"g Local Port:33 "});

    set_all_to("33");
    sim::machine().set_gem("Comm_Enable", 1);
    EXPECT_TRUE(fa.FILE_SYSTEM_SETUP());
    EXPECT_EQ(settings(), loaded);
}

TEST_F(Settings_File_Test, WritesAWordForEveryValue) {
    const struct {
        const char *value, *connection, *control, *switches;
    } table[] = {
        {"0", "PASSIVE", "OFFLINE", "DISABLE"},
        {"1", "ACTIVE", "LOCAL", "ENABLE"},
        {"2", "PASSIVE", "REMOTE", "DISABLE"},
        {"-1", "PASSIVE", "LOCAL", "DISABLE"},
    };
    for (const auto& row : table) {
        for (const bool newer : {false, true}) {
            SCOPED_TRACE(row.value);
            set_all_to(row.value);
            Talwen::Comm_New_Version = newer;
            ASSERT_TRUE(fa.FILE_SAVE_SYSTEM_SETUP());
            const std::string bytes = read("Z/FA/FA_SAVE.inf");
            const std::string end = std::string(newer ? "\nCOMM_TRY      " : "\nCONN_MODE     ") +
                                    row.connection + "\nCOMM_CTRL     " + row.control + "\nLINK_TEST     " +
                                    row.switches + "\nCOMM_ENABLE   " + row.switches +
                                    (newer ? "\nCOMM_METHOD   HSMS\n" : "\n");
            EXPECT_TRUE(bytes.ends_with(end)) << bytes;
        }
    }
}

TEST_F(Settings_File_Test, SaysWhyItCouldNotWrite) {
    write("Z", "a file where the drive should be");
    EXPECT_FALSE(fa.FILE_SAVE_SYSTEM_SETUP());
    EXPECT_EQ(printed(), Texts{"r 文件夹:\"Z:\\FA\" 创建失败![Not a directory]"});

    std::filesystem::remove(folder() / "Z");
    std::filesystem::create_directories(folder() / "Z/FA/FA_SAVE.inf");
    EXPECT_FALSE(fa.FILE_SAVE_SYSTEM_SETUP());
    EXPECT_EQ(printed(), Texts{"r [Z:\\FA\\FA_SAVE.inf] 文件保存失败!"});
}

}  // namespace fa_test
