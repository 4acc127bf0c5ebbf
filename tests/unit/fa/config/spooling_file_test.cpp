#include "config_fixture.h"

namespace {

using namespace fa_test;

TEST_F(Config_Test, SpoolingReplacesTheListAndRefusesWhatCannotBeSpooled) {
    Talwen::QFA_Set_Spool_Enable(9, 1, true);
    write("Z/FA/SPOOLING.inf",
          "#Sx,Fx\n6,11\n2,13\n 5 , 1 ,x\n-6,3\n19,29\n99999999999,1\n6\n\xFF,\xFF\n6,11\n");
    EXPECT_TRUE(module->FILE_GET_ALL_SPOOLING());
    EXPECT_EQ(fake::spooled(), "5,1 6,11");
    std::string all;
    for (const std::string& text : printed()) all += text.substr(2, text.find('\t') - 2) + ' ';
    EXPECT_EQ(all, "S6,F11 S2,F13 S5,F1 S-6,F3 S19,F29 S2147483647,F1 S6,F0 S0,F0 S6,F11 ");
    std::filesystem::remove(folder.path() / "Z/FA/SPOOLING.inf");
    EXPECT_TRUE(module->FILE_GET_ALL_SPOOLING());
    EXPECT_EQ(fake::spooled(), "");
}

TEST_F(Config_Test, SpoolingIsWrittenInOrderAndReadBack) {
    for (const auto& [s, f] : {std::pair{16, 9}, {7, 29}, {7, 3}}) Talwen::QFA_Set_Spool_Enable(s, f, true);
    EXPECT_TRUE(module->FILE_SAVE_ALL_SPOOLING());
    EXPECT_EQ(read("Z/FA/SPOOLING.inf"), "#Sx,Fx\n7,3\n7,29\n16,9\n");
    EXPECT_EQ(printed(),
              (Texts{"g S7,F3\tSET SPOOLING", "g S7,F29\tSET SPOOLING", "g S16,F9\tSET SPOOLING"}));
    Talwen::QFA_Clear_Spool_Table();
    EXPECT_TRUE(module->FILE_GET_ALL_SPOOLING());
    EXPECT_EQ(fake::spooled(), "7,3 7,29 16,9");
    printed();
    block("Z/FA/SPOOLING.inf");
    EXPECT_FALSE(module->FILE_SAVE_ALL_SPOOLING());
    EXPECT_EQ(printed(), Texts{"r [Z:\\FA\\SPOOLING.inf] 文件保存失败!"});
}

}  // namespace
