#include <stdexcept>

#include "config_fixture.h"
#include "fa/config/variable_tables.h"
#include "sim/file_layer.h"
#include "sim/machine.h"
#include "sim/system_log.h"

namespace fa_test {

namespace {

constexpr char file[] = "Z/FA/ECID_SAVE.inf";
constexpr char backup[] = "Z/FA/ECID_SAVE2.inf";

class Saved_Constants_Test : public Config_Test {
  protected:
    /// Constants 0, 1, 2: Door, Temp, Lot.
    void SetUp() override { define("0&0&0&&&&|1&0&1&&&&|2&0&2&&&&"); }
    void define(std::string constants) {
        Talwen::ECID_List.clear();
        fa.QFA_Add_ECID_List(constants.data());
    }
    bool load() { return fa.FILE_READ_ECID_SAVE(); }
    std::string values() {
        return sim::machine().mem("Door") + ' ' + sim::machine().mem("Temp") + ' ' +
               sim::machine().mem("Lot");
    }
    void set_values(int door, double temp, const char* lot) {
        fa.QDigital_Write_Mem(0, door);
        fa.QAnalog_Write_Mem(0, temp);
        fa.QString_Write_Mem(0, lot);
    }
    /// What was printed, without the words that every restored value has.
    std::string said() {
        std::string all;
        for (std::string text : printed()) {
            for (const std::string word : {"[ECID_SAVE]", "读取并赋初值 ", "Z:\\FA\\"})
                for (auto at = text.find(word); at != std::string::npos; at = text.find(word))
                    text.erase(at, word.size());
            all += text + '\n';
        }
        return all;
    }
};

}  // namespace

TEST_F(Saved_Constants_Test, RestoresTheFirstGoodFile) {
    const std::string other = "$D Door -7";
    const std::string blanks(1023, ' ');
    const struct {
        std::string first;
        std::string second;
        bool result;
        std::string values;
        std::string said;
    } table[] = {
        {"$D Door 1\n$A Temp -2.5e1\n$S Lot first word\n", other, true, "1 -25 first",
         "b [0002:0003][D] Door - 1\nb [0003:0003][A] Temp - -2.5e1\nb [0004:0003][S] Lot - first\n"},
        {"#x\n\r\n \t$D\tDoor  12abc\r\n$S Lot \xFF\xFE", other, true, "12 0 \xFF\xFE",
         "b [0002:0003][D] Door - 12abc\nb [0003:0003][S] Lot - \xFF\xFE\n"},
        {"$D Temp x\n$D door x\n$A Flow 1\n$D\n", other, true, "0 0 ", ""},  // no such constants
        {"", other, true, "0 0 ", ""},
        {("$D Door 2" + blanks).substr(0, 1022) + "\r\n", other, true, "2 0 ", "b [0002:0003][D] Door - 2\n"},
        {"\n$A Temp 1\n" + ("$D Door 2" + blanks).substr(0, 1023) + "\n$S Lot no\n", other, true, "-7 1 ",
         "b [0002:0003][A] Temp - 1\nr 参数太长 - [ECID_SAVE.inf]-[line:3], 转[ECID_SAVE.inf2]\n"
         "b [0003:0003][D] Door - -7\n"},
        {blanks + std::string(77, 'x'), "$S\n" + blanks + std::string(77, 'x'), false, "0 0 ",
         "r 参数太长 - [ECID_SAVE.inf]-[line:1], 转[ECID_SAVE.inf2]\n"
         "r 参数太长 - [ECID_SAVE2.inf]-[line:2], 转[ECID_SAVE2.inf2]\n"},
        {"$A Temp 3\n$B Door 1\n$S Lot kept\n", other, true, "-7 3 kept",
         "b [0002:0003][A] Temp - 3\nr 字符串不能正常解析[$B Door 1],转ECID_SAVE.inf2\n"
         "b [0003:0003][S] Lot - kept\nb [0004:0003][D] Door - -7\n"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.first);
        set_values(0, 0, "");
        write(file, row.first);
        write(backup, row.second);
        EXPECT_EQ(load(), row.result);
        EXPECT_EQ(values(), row.values);
        EXPECT_EQ(said(), row.said);
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_F(Saved_Constants_Test, LooksInFourPlaces) {
    std::string logged;
    sim::set_system_log_sink([&](Talwen::LOG_TYPE type, std::string_view text) {
        logged += std::to_string(type) + ' ' + std::string(text) + '\n';
    });
    const std::string elsewhere = "J:\\Talwen\\Config\\FA\\ECID_SAVE";
    const std::string no_first =
        "r [" + elsewhere + ".inf]文件打开失败.转[" + elsewhere + ".inf2].[代码行:FILE_READ_ECID_SAVE:#]\n";
    const std::string no_second = "r [" + elsewhere + "2.inf]文件打开失败.[代码行:FILE_READ_ECID_SAVE:#]\n";
    const std::string log_first = "0 Z:\\FA\\ECID_SAVE.inf 文件不存在，转向" + elsewhere + ".inf\n";
    const std::string log_second = "0 Z:\\FA\\ECID_SAVE2.inf 文件不存在，转向" + elsewhere + "2.inf\n";
    const std::string restored = "b [0002:0003][D] Door - 1\n";
    const struct {
        const char* present;
        bool simulation;
        bool result;
        std::string said;
        std::string logged;
    } table[] = {
        {backup, false, true, no_first + restored, log_first},
        {"J/Talwen/Config/FA/ECID_SAVE.inf", false, true, restored, log_first + log_second},
        {"J/Talwen/Config/FA/ECID_SAVE2.inf", false, true, no_first + restored, log_first + log_second},
        {"nowhere", false, false, no_first + no_second, log_first + log_second},
        {"nowhere", true, true, no_first + no_second, log_first + log_second},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.present);
        for (const char* drive : {"Z", "J"}) std::filesystem::remove_all(folder() / drive);
        write(row.present, "$D Door 1\n");
        sim::machine().load_text("[tool]\nsimulation = " + std::string(row.simulation ? "true" : "false") +
                                 "\n[[digital]]\nname = \"Door\"\n");
        logged.clear();
        EXPECT_EQ(load(), row.result);
        EXPECT_EQ(said(), row.said);
        EXPECT_EQ(logged, row.logged);
    }
    sim::set_system_log_sink(nullptr);
}

TEST_F(Saved_Constants_Test, AFileThatCannotBeReadGivesWayToTheBackup) {
    write(backup, "$D Door 1\n");
    std::filesystem::create_symlink("/proc/self/mem", folder() / file);  // opens, but has nothing at 0
    EXPECT_TRUE(load());
    EXPECT_EQ(said(), "r [ECID_SAVE.inf]文件损坏, 转[ECID_SAVE.inf2]...\nb [0002:0003][D] Door - 1\n");
    EXPECT_TRUE(sim::open_files().empty());

    std::filesystem::remove(folder() / file);
    write(backup, "$B Door 1\n");
    EXPECT_FALSE(load());  // in simulation too: there was a file
}

TEST_F(Saved_Constants_Test, ThrowsForAGapInTheNumbersAndForAValueThatIsNoNumber) {
    const struct {
        const char* constants;
        const char* line;
        const char* what;
    } table[] = {
        {"1&0&0&&&&|2&0&1&&&&|3&0&2&&&&", "$D Door 1", "invalid map<K, T> key"},
        {"0&0&0&&&&|2&0&1&&&&", "$A Temp 1", "invalid map<K, T> key"},
        {"0&0&0&&&&|2&0&1&&&&", "$D Door 1", ""},  // found before the gap
        {"0&0&0&&&&|2&0&1&&&&", "$B Temp 1", ""},  // not looked for
        {"0&-1&0&&&&", "$D", ""},                  // not bound
        {"0&0&0&&&&", "$D Door x", "stoi"},
        {"0&0&0&&&&", "$D Door 2147483648", "stoi"},
        {"0&0&1&&&&", "$A Temp", "stod"},
        {"0&0&1&&&&", "$A Nowhere x", ""},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(std::string(row.constants) + ' ' + row.line);
        define(row.constants);
        write(file, row.line);
        write(backup, "");
        std::string what;
        try {
            EXPECT_TRUE(load());
        } catch (const std::logic_error& error) {  // out_of_range and invalid_argument
            what = error.what();
        }
        EXPECT_EQ(what, row.what);
        EXPECT_TRUE(sim::open_files().empty());
    }
}

TEST_F(Saved_Constants_Test, SavesBothFilesAndReadsThemBack) {
    set_values(1, 1234567.5, "温 2");
    EXPECT_TRUE(fa.FILE_SAVE_ECID_SAVE());
    const std::string bytes = "$D Door 1\n$A Temp 1.23457e+06\n$S Lot 温 2\n";
    EXPECT_EQ(read(file), bytes);
    EXPECT_EQ(read(backup), bytes);
    set_values(0, 0, "");
    EXPECT_TRUE(load());
    EXPECT_EQ(values(), "1 1234570 温");
    said();

    define("0&0&0&&&&|2&0&1&&&&");
    EXPECT_THROW(fa.FILE_SAVE_ECID_SAVE(), std::out_of_range);
    EXPECT_EQ(read(file), bytes);

    define("0&0&0&&&&");
    std::filesystem::remove(folder() / file);
    std::filesystem::create_directories(folder() / file);
    EXPECT_TRUE(fa.FILE_SAVE_ECID_SAVE());
    EXPECT_EQ(said(), "r [ECID_SAVE.inf] 文件打开失败, 转[ECID_SAVE.inf2]!\n");
    EXPECT_EQ(read(backup), "$D Door 1\n");
}

}  // namespace fa_test
