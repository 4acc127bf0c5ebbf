#include <algorithm>
#include <map>

#include "config_fixture.h"

namespace {

using namespace fa_test;
using Settings = std::map<std::string, std::string>;

/// Every setting, by "fa:NAME" on one side and "NAME" on the other.
const char* const names =
    "fa:Local_IP fa:Local_Port fa:Remote_IP fa:Remote_Port fa:T0 fa:T3 fa:T5 fa:T6 fa:T7 fa:T8 fa:Device_ID "
    "fa:ConnMD fa:CtrlMD fa:LinkTest fa:Enable fa:LinkMD Comm_IP Comm_Port T0_Prm T3_Prm T5_Prm T6_Prm "
    "T7_Prm "
    "T8_Prm Device_ID Comm_Try Comm_Method LinkTest_Enable Comm_Enable Init_CommState Init_ControlState";

Settings settings() {
    Settings all;
    std::istringstream words(names);
    for (std::string name; words >> name;)
        all[name] = name.starts_with("fa:") ? sim::machine().fa(name.substr(3)) : sim::machine().gem(name);
    return all;
}

class Settings_File_Test : public Config_Test {
  protected:
    bool load(const std::string& bytes) {
        write("Z/FA/FA_SAVE.inf", bytes);
        return module->FILE_SYSTEM_SETUP();
    }
    static void set_all_to(const std::string& value) {
        set_states(fake::replaced(names, "[^ ]+", "$&=" + value));
    }
};

// Lines of a file (by "; ") of which each alone sets the same, what that is, which layout it implies ("" for
// neither), and what is printed. Everything else stays.
const char* const keys = R"(
LOCAL_IP 10.0.0.1 | fa:Local_IP=10.0.0.1 | old | y 获取 LOCAL_IP:10.0.0.1
LOCAL_PORT 5001 | fa:Local_Port=5001 | old | y 获取 LOCAL_PORT:5001
REMOTE_IP h{bytes} | fa:Remote_IP=h{bytes} | old | y 获取 REMOTE_IP:h{bytes}
REMOTE_PORT 5002 | fa:Remote_Port=5002 | old | y 获取 REMOTE_PORT:5002 || {times}T3 x; T3 | fa:T3=0 T3_Prm=0
T3 99999999999 | fa:T3=2147483647 T3_Prm=2147483647 || T3 -99999999999999999999 | fa:T3=-2147483648 T3_Prm=-2147483648
DEVICE_ID 32767 | fa:Device_ID=32767 Device_ID=32767 || COMM_IP 127.0.0.1 ignored | Comm_IP=127.0.0.1 | new
COMM_PORT  5000 | Comm_Port=5000 | new || COMM_METHOD SECS1; COMM_METHOD 1; COMM_METHOD | Comm_Method=0
CONN_MODE PASSIVE; CONN_MODE 0 | fa:ConnMD=0 Comm_Try=0
CONN_MODE ACTIVE; CONN_MODE 1; CONN_MODE 2; CONN_MODE PASSIVES | fa:ConnMD=1 Comm_Try=1
CTRL_MODE OFFLINE; CTRL_MODE 0; COMM_CTRL OFFLINE | fa:CtrlMD=0 Init_ControlState=0
CTRL_MODE LOCAL; CTRL_MODE 1; CTRL_MODE 3 | fa:CtrlMD=1 Init_ControlState=1
CTRL_MODE REMOTE; CTRL_MODE 2; COMM_CTRL REMOTE | fa:CtrlMD=2 Init_ControlState=2
LINK_TEST DISABLE; LINK_TEST 0 | fa:LinkTest=0 LinkTest_Enable=0
LINK_TEST ENABLE; LINK_TEST 1; LINK_TEST 2 | fa:LinkTest=1 LinkTest_Enable=1
FA_ENABLE DISABLE; FA_ENABLE 0; COMM_ENABLE 0 | fa:Enable=0 Init_CommState=1
FA_ENABLE ENABLE; FA_ENABLE; COMM_ENABLE yes | fa:Enable=1 Init_CommState=0
COMM_TRY PASSIVE | fa:ConnMD=0 Comm_Try=0 fa:CtrlMD=1 Init_ControlState=1
COMM_TRY ACTIVE | fa:ConnMD=1 Comm_Try=1 fa:CtrlMD=1 Init_ControlState=1
COMM_TRY 0 | fa:ConnMD=0 Comm_Try=0 fa:CtrlMD=0 Init_ControlState=0
COMM_TRY 2 | fa:ConnMD=1 Comm_Try=1 fa:CtrlMD=2 Init_ControlState=2
)";

TEST_F(Settings_File_Test, SetsWhatEachKeySaysAndNothingElse) {
    std::string times;
    for (const char n : std::string("035678"))
        times += fake::replaced("T# 4#; T#_PRM 4#s | fa:T#=4# T#_Prm=4#\n", "#", std::string(1, n));
    for (const Texts& row : fake::rows(with(with(keys, "times", times), "bytes", "\xFF\x80"), 4)) {
        std::istringstream lines(row[0]);
        for (std::string line; std::getline(lines >> std::ws, line, ';');)
            for (const bool flag : {false, true}) {
                SCOPED_TRACE(line);
                set_all_to("33");
                set_states(row[1]);
                const Settings expected = settings();
                set_all_to("33");
                Talwen::Comm_New_Version = flag;
                EXPECT_TRUE(load(line + "\n"));
                EXPECT_EQ(settings(), expected);
                EXPECT_EQ(Talwen::Comm_New_Version, row[2].empty() ? flag : row[2] == "new");
                EXPECT_EQ(printed(), row[3].empty() ? Texts{} : Texts{row[3]});
            }
    }
    EXPECT_TRUE(load("T3 1\nLOCAL_IP a\nCOMM_PORT 5\nT3_PRM 2\nCOMM_CTRL REMOTE\nCOMM_TRY PASSIVE\n"));
    EXPECT_EQ(fa("T3") * 10 + gem("Init_ControlState"), 21) << "the last line wins";
    EXPECT_TRUE(Talwen::Comm_New_Version);
    EXPECT_TRUE(load("COMM_TRY PASSIVE\nCOMM_CTRL REMOTE\nCOMM_IP a\nREMOTE_PORT 4"));
    EXPECT_EQ(gem("Init_ControlState"), 2);
    EXPECT_FALSE(Talwen::Comm_New_Version);
}

TEST_F(Settings_File_Test, RefusesKeysThatAreNearly) {
    for (const std::string key :
         {"local_ip", "LOCAL_I", "LOCAL_IPS", "T1", "T0_Prm", "[LOCAL_IP]", "LOCAL_IP=1", "\xFF"}) {
        EXPECT_FALSE(load("T3 5\n" + key + " 1\nT3 6\n"));
        EXPECT_EQ(printed(), Texts{"r 配置项未识别:" + key +
                                   " [文件行:Z:\\FA\\FA_SAVE.inf:2][代码行:FILE_SYSTEM_SETUP:#]"});
        EXPECT_EQ(fa("T3"), 5);
    }
}

// Every number is its key's place in the file; Comm_Enable is written from here, read into Init_CommState.
const char* const older = R"(
LOCAL_IP LOCAL_PORT REMOTE_IP REMOTE_PORT T0 T3 T5 T6 T7 T8 DEVICE_ID
CONN_MODE=ACTIVE COMM_CTRL=REMOTE LINK_TEST=ENABLE COMM_ENABLE=ENABLE)";
const char* const newer = R"(
COMM_IP COMM_PORT T0_PRM T3_PRM T5_PRM T6_PRM T7_PRM T8_PRM DEVICE_ID
COMM_TRY=ACTIVE COMM_CTRL=OFFLINE LINK_TEST=ENABLE COMM_ENABLE=ENABLE COMM_METHOD=HSMS)";

TEST_F(Settings_File_Test, WritesBothLayoutsAndReadsThemBack) {
    for (const char* layout : {older, newer}) {
        std::string file;
        std::istringstream words(layout);
        int value = 100;
        for (std::string key; words >> key; ++value) {
            const std::size_t equals = std::min(key.find('='), key.size());
            const std::string text = equals < key.size() ? key.substr(equals + 1) : std::to_string(value);
            file += key.substr(0, equals) + std::string(14 - equals, ' ') + text + "\n";
        }
        set_all_to("33");
        ASSERT_TRUE(load(file));
        EXPECT_EQ(Talwen::Comm_New_Version, layout == newer);
        set_states("Comm_Enable=1");
        const Settings loaded = settings();
        std::filesystem::remove_all(folder.path() / "Z");
        if (layout == newer) write("Z/FA/FA_SAVE.inf", std::string(5000, 'x'));
        printed();
        EXPECT_TRUE(module->FILE_SAVE_SYSTEM_SETUP());
        EXPECT_EQ(read("Z/FA/FA_SAVE.inf"), file);
        EXPECT_EQ(printed(), Texts{layout == newer ? "g Local Port:33 " : "g Local Port:101 "});
        set_all_to("33");
        set_states("Comm_Enable=1");
        Talwen::Comm_New_Version = layout == older;
        EXPECT_TRUE(module->FILE_SYSTEM_SETUP());
        EXPECT_EQ(settings(), loaded);
    }
}

TEST_F(Settings_File_Test, WritesAWordForEveryValue) {
    for (const Texts& row : fake::rows("0 | PASSIVE | OFFLINE | DISABLE\n1 | ACTIVE | LOCAL | ENABLE\n"
                                       "2 | PASSIVE | REMOTE | DISABLE\n-1 / 3 | PASSIVE | LOCAL | DISABLE",
                                       4))
        for (const bool is_newer : {false, true}) {
            set_all_to(row[0]);
            Talwen::Comm_New_Version = is_newer;
            ASSERT_TRUE(module->FILE_SAVE_SYSTEM_SETUP());
            const std::string end = std::string(is_newer ? "COMM_TRY " : "CONN_MODE ") + row[1] +
                                    " COMM_CTRL " + row[2] + " LINK_TEST " + row[3] + " COMM_ENABLE " +
                                    row[3] + " ";
            const std::string bytes = fake::replaced(read("Z/FA/FA_SAVE.inf"), "[ \n]+", " ");
            EXPECT_TRUE(bytes.ends_with(is_newer ? end + "COMM_METHOD HSMS " : end)) << bytes;
        }
}

TEST_F(Settings_File_Test, AnExceptionOnTheWayLeavesAWholeFile) {
    Talwen::QFA_Set_Spool_Enable(5, 1, true);
    for (const auto& [file, save] :
         {std::pair{"Z/FA/FA_SAVE.inf", &Talwen::BC_FA::FILE_SAVE_SYSTEM_SETUP},
          std::pair{"Z/FA/SPOOLING.inf", &Talwen::BC_FA::FILE_SAVE_ALL_SPOOLING}}) {
        ASSERT_TRUE((module.get()->*save)());
        const std::string whole = read(file);
        sim::set_console_sink([](const sim::ConsoleLine&) { throw std::runtime_error("console"); });
        EXPECT_THROW((module.get()->*save)(), std::runtime_error);
        sim::set_console_sink(nullptr);
        EXPECT_EQ(read(file), whole);
    }
}

TEST_F(Settings_File_Test, SaysWhyItCouldNotWrite) {
    write("Z", "a file where the drive should be");
    EXPECT_FALSE(module->FILE_SAVE_SYSTEM_SETUP());
    EXPECT_EQ(printed(), Texts{"r 文件夹:\"Z:\\FA\" 创建失败![Not a directory]"});
    std::filesystem::remove(folder.path() / "Z");
    block("Z/FA/FA_SAVE.inf");
    EXPECT_FALSE(module->FILE_SAVE_SYSTEM_SETUP());
    EXPECT_EQ(printed(), Texts{"r [Z:\\FA\\FA_SAVE.inf] 文件保存失败!"});
}

}  // namespace
