#include <stdexcept>

#include "config_fixture.h"
#include "sim/controller/system_log.h"

namespace {

using namespace fa_test;

constexpr char file[] = "Z/FA/ECID_SAVE.inf";
constexpr char backup[] = "Z/FA/ECID_SAVE2.inf";

class Saved_Constants_Test : public Config_Test {
  protected:
    /// Constants 0, 1, 2: Door, Temp, Lot.
    void SetUp() override {
        Config_Test::SetUp();
        constants("0&0&0&&&&|1&0&1&&&&|2&0&2&&&&");
    }
    void constants(std::string records) {
        Talwen::ECID_List.clear();
        module->QFA_Add_ECID_List(records.data());
    }
    bool load() { return module->FILE_READ_ECID_SAVE(); }
    static std::string values() {
        const sim::Machine& machine = sim::machine();
        return machine.mem("Door") + ' ' + machine.mem("Temp") + ' ' + machine.mem("Lot");
    }
    void set_values(int door, double temp, const char* lot) {
        module->QDigital_Write_Mem(0, door);
        module->QAnalog_Write_Mem(0, temp);
        module->QString_Write_Mem(0, lot);
    }
    /// What was printed, line by line ended by "/", without the words that every restored value has.
    std::string said() {
        std::string all;
        for (const std::string& text : printed())
            all += fake::replaced(text, "\\[ECID_SAVE\\]|读取并赋初值 |Z:\\\\FA\\\\", "") + '/';
        return all;
    }
};

// The file ("/" ends a line), the backup when it is not "$D Door -7", Door, Temp and Lot then, what is said.
// Constants of another kind or name are not there; {1022} and {1023} are lines of so many bytes.
const char* const files = R"(
$D Door 1/$A Temp -2.5e1/$S Lot first word/ | | 1 -25 first | b [0002:0003][D] Door - 1/b [0003:0003][A] Temp - -2.5e1/b
    [0004:0003][S] Lot - first/
#x/{cr}/ {tab}$D{tab}Door  12abc{cr}/$S Lot {bytes} | | 12 0 {bytes} | b [0002:0003][D] Door - 12abc/b [0003:0003][S] Lot - {bytes}/
$D Temp x/$D door x/$A Flow 1/$D/ | | 0 0 - || {1022}{cr}/ | | 2 0 - | b [0002:0003][D] Door - 2/
/$A Temp 1/{1023}/$S Lot no/ | | -7 1 - | b [0002:0003][A] Temp - 1/r 参数太长 - [ECID_SAVE.inf]-[line:3], 转[ECID_SAVE.inf2]/b
    [0003:0003][D] Door - -7/
{1023}{1023}x | $S/{1023}{1023}x | 0 0 - | r 参数太长 - [ECID_SAVE.inf]-[line:1], 转[ECID_SAVE.inf2]/r 参数太长 -
    [ECID_SAVE2.inf]-[line:2], 转[ECID_SAVE2.inf2]/
$A Temp 3/$B Door 1/$S Lot kept/ | | -7 3 kept | b [0002:0003][A] Temp - 3/r 字符串不能正常解析[$B Door 1],转ECID_SAVE.inf2/b
    [0003:0003][S] Lot - kept/b [0004:0003][D] Door - -7/
)";

TEST_F(Saved_Constants_Test, RestoresTheFirstGoodFile) {
    std::string table = with(with(with(files, "cr", "\r"), "tab", "\t"), "bytes", "\xFF\xFE");
    for (const std::size_t n : {1022U, 1023U})
        table = with(table, std::to_string(n), "$D Door 2" + std::string(n - 9, '\v'));
    for (Texts row : fake::rows(table, 4)) {
        SCOPED_TRACE(row[0].substr(0, 80));
        for (std::string* text : {&row[0], &row[1]})
            *text = fake::replaced(fake::replaced(*text, "\v", " "), "/", "\n");
        set_values(0, 0, "-");
        write(file, row[0]);
        write(backup, row[1].empty() ? "$D Door -7" : row[1]);
        EXPECT_EQ(load(), row[1].empty());
        EXPECT_EQ(values(), row[2]);
        EXPECT_EQ(said(), row[3]);
        EXPECT_TRUE(sim::open_files().empty());
    }
    set_values(0, 0, "-");
    write(file, "");
    EXPECT_TRUE(load());
    EXPECT_EQ(values() + said(), "0 0 -") << "an empty file is a good one";
}

TEST_F(Saved_Constants_Test, LooksInFourPlaces) {
    std::string logged;
    sim::set_system_log_sink([&](Talwen::LOG_TYPE type, std::string_view text) {
        logged += std::to_string(type) + ' ' + std::string(text) + ';';
    });
    // The file that is there, simulation or real, the result, what is said, the log; J is the folder
    // elsewhere.
    std::string table = R"(
Z/FA/ECID_SAVE2.inf | real | good | {1}{restored} | {log} || {J}/ECID_SAVE.inf | real | good | {restored} | {logs}
{J}/ECID_SAVE2.inf | real | good | {1}{restored} | {logs} || nowhere | real | bad | {1}{2} | {logs}
nowhere | simulation | good | {1}{2} | {logs}
)";
    const std::string path = "J:\\Talwen\\Config\\FA\\ECID_SAVE", at = "[代码行:FILE_READ_ECID_SAVE:#]/";
    const auto log = [&](const std::string& name) {
        return "0 Z:\\FA\\ECID_SAVE" + name + " 文件不存在，转向" + path + name + ";";
    };
    table = with(with(table, "logs", "{log}" + log("2.inf")), "log", log(".inf"));
    table = with(table, "1", "r [" + path + ".inf]文件打开失败.转[" + path + ".inf2]." + at);
    table = with(with(table, "2", "r [" + path + "2.inf]文件打开失败." + at), "J", "J/Talwen/Config/FA");
    for (const Texts& row : fake::rows(with(table, "restored", "b [0002:0003][D] Door - 1/"), 5)) {
        SCOPED_TRACE(row[0]);
        for (const char* drive : {"Z", "J"}) std::filesystem::remove_all(folder.path() / drive);
        write(row[0], "$D Door 1\n");
        sim::machine().load_text("[tool]\nsimulation = " + std::string(row[1] == "real" ? "false" : "true") +
                                 "\n[[digital]]\nname = \"Door\"\n");
        logged.clear();
        EXPECT_EQ(load(), row[2] == "good");
        EXPECT_EQ(said(), row[3]);
        EXPECT_EQ(logged, row[4]);
    }
    sim::set_system_log_sink(nullptr);
}

TEST_F(Saved_Constants_Test, AFileThatCannotBeReadGivesWayToTheBackup) {
    write(backup, "$D Door 1\n");
    std::filesystem::create_symlink("/proc/self/mem", folder.path() / file);  // opens, but has nothing at 0
    EXPECT_TRUE(load());
    EXPECT_EQ(said(), "r [ECID_SAVE.inf]文件损坏, 转[ECID_SAVE.inf2].../b [0002:0003][D] Door - 1/");
    EXPECT_TRUE(sim::open_files().empty());
    std::filesystem::remove(folder.path() / file);
    write(backup, "$B Door 1\n");
    EXPECT_FALSE(load());  // in simulation too: there was a file
}

TEST_F(Saved_Constants_Test, ThrowsForAGapInTheNumbersAndForAValueThatIsNoNumber) {
    // Constants, the line, what is thrown: found before the gap, not looked for, not bound.
    for (const Texts& row : fake::rows(R"(
1&0&0&&&&!2&0&1&&&&!3&0&2&&&& | $D Door 1 | invalid map<K, T> key || 0&0&0&&&&!2&0&1&&&& | $A Temp 1 | invalid map<K, T> key
0&0&0&&&&!2&0&1&&&& | $D Door 1 / $B Temp 1 || 0&-1&0&&&& | $D || 0&0&0&&&& | $D Door x / $D Door 2147483648 | stoi
0&0&1&&&& | $A Temp | stod || 0&0&1&&&& | $A Nowhere x
)",
                                       3)) {
        constants(fake::replaced(row[0], "!", "|"));
        write(file, row[1]);
        write(backup, "");
        std::string what;
        try {
            EXPECT_TRUE(load());
        } catch (const std::logic_error& error) {  // out_of_range and invalid_argument
            what = error.what();
        }
        EXPECT_EQ(what, row[2]) << row[0] << row[1];
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_F(Saved_Constants_Test, SavesBothFilesAndReadsThemBack) {
    set_values(1, 1234567.5, "温 2");
    EXPECT_TRUE(module->FILE_SAVE_ECID_SAVE());
    const std::string bytes = "$D Door 1\n$A Temp 1.23457e+06\n$S Lot 温 2\n";
    EXPECT_EQ(read(file), bytes);
    EXPECT_EQ(read(backup), bytes);
    set_values(0, 0, "");
    EXPECT_TRUE(load());
    EXPECT_EQ(values(), "1 1234570 温");
    said();
    constants("0&0&0&&&&|2&0&1&&&&");
    EXPECT_THROW(module->FILE_SAVE_ECID_SAVE(), std::out_of_range);
    EXPECT_EQ(read(file), bytes);
    constants("0&0&0&&&&");
    block(file);
    EXPECT_TRUE(module->FILE_SAVE_ECID_SAVE());
    EXPECT_EQ(said(), "r [ECID_SAVE.inf] 文件打开失败, 转[ECID_SAVE.inf2]!/");
    EXPECT_EQ(read(backup), "$D Door 1\n");
}

}  // namespace
