// S2F43 through the receive dispatcher: answers, the table afterwards, and the saved file.
#include <filesystem>

#include "sim/file_layer.h"
#include "support/module_fixture.h"
#include "support/temp_folder.h"

namespace {

using namespace Talwen;

constexpr unsigned long format_error = static_cast<unsigned long>(-7L);
constexpr char saved_file[] = "Z/FA/SPOOLING.inf";

/// The enabled pairs, "5,1 6,11".
std::string table() {
    std::string text;
    for (int s = 0; s < Spool_Streams; ++s)
        for (int f = 0; f < Spool_Functions; ++f)
            if (QFA_Get_Spool_Enable(s, f))
                text += (text.empty() ? "" : " ") + std::to_string(s) + "," + std::to_string(f);
    return text;
}

class S02Spooling : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        set_states("Comm_Enable=1 Online_Status=1");
        sim::set_data_folder(folder.path());
    }
    void TearDown() override {
        sim::set_data_folder(".");
        ModuleFixture::TearDown();
    }

    support::TempFolder folder;
};

TEST_F(S02Spooling, TheRequestReplacesTheWholeListOrIsRefused) {
    const std::string h = "Talwen::BC_FA::reply_S02F43 , ";
    const std::string accepted = "<L <B 0x00> <L>>";
    const char* const before = "6,1 6,11 9,1";
    struct Case {
        std::string body;
        std::string answer;  ///< "" for none
        std::string after;
        std::string log;
    };
    const Case cases[] = {
        {"<L>", accepted, "", ""},
        {"<L <L <U1 6> <L <U1 11>>> <L <U1 5> <L <U1 1>>>>", accepted, "5,1 6,11", ""},
        {"<L <L <U1 6> <L <U1 3>>> <L <U1 6> <L <U1 1> <U1 3>>>>", accepted, "6,1 6,3", ""},
        {"<L <L <U1 7> <L>> <L <U1 10> <L>>>", accepted, "7,1 7,3 7,5 7,27 7,29 10,1", ""},
        {"<L <L <U1 5> <L <U1 1>>> <L <U1 14> <L <U1 9>>>>", "<L <B 0x01> <L <L <U1 14> <B 0x01> <L>>>>",
         before, ""},
        {"<L <L <U1 3> <L>>>", "<L <B 0x01> <L <L <U1 3> <B 0x01> <L>>>>", before, ""},
        {"<L <L <U1 8> <L>> <L <U1 255> <L <U1 1>>>>",
         "<L <B 0x01> <L <L <U1 8> <B 0x02> <L>> <L <U1 255> <B 0x02> <L>>>>", before, ""},
        {"<L <L <U1 6> <L <U1 12> <U1 11> <U1 99> <U1 23> <U1 0>>> <L <U1 5> <L <U1 3>>>>",
         "<L <B 0x01> <L <L <U1 6> <B 0x03> <L <U1 99> <U1 23>>> <L <U1 6> <B 0x04> <L <U1 12> <U1 0>>> "
         "<L <U1 5> <B 0x03> <L <U1 3>>>>>",
         before, ""},
        {"<L <L <U1 5> <L <U1 1> <U2 1>>>>", "", before, h + "L[0][1]<FCNID1> 格式错误 , 必须是 U1."},
        {"<L <L <U1 5> <L <U1 1>>> <L <U1 5> <U1 1>>>", "", before, h + "L[1][1] 格式错误 , 必须是 L."},
        {"<L <L <U2 5> <L>>>", "", before, h + "L[0][0]<STRID> 格式错误 , 必须是 U1."},
        {"<L <L <U1 5>>>", "", before, h + "L[0] 格式错误 , 必须是 L2."},
        {"<U1 5>", "", before, h + "Header 格式错误 , 必须是 L."},
        {"", "", before, h + "Header 格式错误 , 必须是 L."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.body);
        fake::driver().reset();
        std::filesystem::remove(folder.path() / saved_file);
        QFA_Clear_Spool_Table();
        for (const auto& [s, f] : {std::pair{6, 1}, {6, 11}, {9, 1}}) QFA_Set_Spool_Enable(s, f, true);
        const unsigned long result = fake::driver().host_sends("S2F43 W " + c.body + ".");
        EXPECT_EQ(result, c.answer.empty() ? format_error : 7000UL);
        EXPECT_EQ(fake::driver().replies(), c.answer.empty() ? "" : "S2F44 " + c.answer + ".");
        EXPECT_EQ(table(), c.after);
        EXPECT_EQ(fake::driver().log(), c.log.empty() ? std::vector<std::string>{} : std::vector{c.log});
        EXPECT_EQ(std::filesystem::exists(folder.path() / saved_file), c.answer == accepted);
    }
}

TEST_F(S02Spooling, TheAcceptedListOutlivesARestart) {
    fake::driver().host_sends("S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L>>>.");
    EXPECT_EQ(folder.read(saved_file), "#Sx,Fx\n5,1\n6,11\n");
    QFA_Clear_Spool_Table();
    EXPECT_TRUE(module->FILE_GET_ALL_SPOOLING());
    EXPECT_EQ(table(), "5,1 6,11");
}

TEST_F(S02Spooling, AListThatCannotBeSavedIsLoggedAndInForce) {
    folder.put("Z", "a file where the drive should be");
    EXPECT_EQ(fake::driver().host_sends("S2F43 W <L <L <U1 6> <L <U1 11>>>>."), 7000UL);
    EXPECT_EQ(fake::driver().replies(), "S2F44 <L <B 0x00> <L>>.");
    EXPECT_EQ(table(), "6,11");
    EXPECT_EQ(fake::driver().log(), std::vector<std::string>{"SPOOLING.inf 保存失败!"});
}

}  // namespace
