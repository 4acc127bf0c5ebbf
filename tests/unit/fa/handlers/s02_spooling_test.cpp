// S2F43 through the receive dispatcher: answers, the table afterwards, and the saved file.
#include <filesystem>

#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr char saved_file[] = "Z/FA/SPOOLING.inf";

class S02Spooling : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        set_states(fake::on_line);
    }
};

TEST_F(S02Spooling, TheRequestReplacesTheWholeListOrIsRefused) {
    const char* const table = R"(
S2F43 W <L>. | S2F44 <L <B 0x00> <L>>. | | saved:
S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L <U1 1>>>>. | S2F44 <L <B 0x00> <L>>. | | saved: 5,1 6,11
S2F43 W <L <L <U1 6> <L <U1 3>>> <L <U1 6> <L <U1 1> <U1 3>>>>. | S2F44 <L <B 0x00> <L>>. | | saved: 6,1 6,3
S2F43 W <L <L <U1 7> <L>> <L <U1 10> <L>>>. | S2F44 <L <B 0x00> <L>>. | | saved: 7,1 7,3 7,5 7,27 7,29 10,1
S2F43 W <L <L <U1 5> <L <U1 1>>> <L <U1 14> <L <U1 9>>>>. | S2F44 <L <B 0x01> <L <L <U1 14> <B 0x01> <L>>>>. | | 6,1 6,11 9,1
S2F43 W <L <L <U1 3> <L>>>. | S2F44 <L <B 0x01> <L <L <U1 3> <B 0x01> <L>>>>. | | 6,1 6,11 9,1
S2F43 W <L <L <U1 8> <L>> <L <U1 255> <L <U1 1>>>>. | S2F44 <L <B 0x01> <L <L <U1 8> <B 0x02> <L>> <L <U1 255> <B 0x02> <L>>>>. | | 6,1 6,11 9,1
S2F43 W <L <L <U1 6> <L <U1 12> <U1 11> <U1 99> <U1 23> <U1 0>>> <L <U1 5> <L <U1 3>>>>. | S2F44 <L <B 0x01> <L <L <U1 6> <B
    0x03> <L <U1 99> <U1 23>>> <L <U1 6> <B 0x04> <L <U1 12> <U1 0>>> <L <U1 5> <B 0x03> <L <U1 3>>>>>. | | 6,1 6,11 9,1
S2F43 W <L <L <U1 5> <L <U1 1> <U2 1>>>>. | none | {at}L[0][1]<FCNID1> 格式错误 , 必须是 U1.~ | 6,1 6,11 9,1
S2F43 W <L <L <U1 5> <L <U1 1>>> <L <U1 5> <U1 1>>>. | none | {at}L[1][1] 格式错误 , 必须是 L.~ | 6,1 6,11 9,1
S2F43 W <L <L <U2 5> <L>>>. | none | {at}L[0][0]<STRID> 格式错误 , 必须是 U1.~ | 6,1 6,11 9,1
S2F43 W <L <L <U1 5>>>. | none | {at}L[0] 格式错误 , 必须是 L2.~ | 6,1 6,11 9,1
S2F43 W <U1 5>. / S2F43 W. | none | {at}Header 格式错误 , 必须是 L.~ | 6,1 6,11 9,1
)";
    const auto state = [this] {
        const std::string saved = std::filesystem::exists(folder.path() / saved_file) ? "saved:" : "";
        return saved + (saved.empty() || fake::spooled().empty() ? "" : " ") + fake::spooled();
    };
    try_all(fake::with(table, "at", "Talwen::BC_FA::reply_S02F43 , "), state, [this] {
        std::filesystem::remove(folder.path() / saved_file);
        QFA_Clear_Spool_Table();
        for (const auto& [s, f] : {std::pair{6, 1}, {6, 11}, {9, 1}}) QFA_Set_Spool_Enable(s, f, true);
    });
}

TEST_F(S02Spooling, TheAcceptedListOutlivesARestartAndIsInForceWhenItCannotBeSaved) {
    answer_to("S2F43 W <L <L <U1 6> <L <U1 11>>> <L <U1 5> <L>>>.");
    EXPECT_EQ(folder.read(saved_file), "#Sx,Fx\n5,1\n6,11\n");
    std::filesystem::remove_all(folder.path() / "Z");
    folder.put("Z", "a file where the drive should be");
    try_all("S2F43 W <L <L <U1 6> <L <U1 11>>>>. | S2F44 <L <B 0x00> <L>>. | SPOOLING.inf 保存失败!~ | 6,11",
            fake::spooled);
}

}  // namespace
