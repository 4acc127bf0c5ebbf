// The keyword REQUEST in both communication states and both settings of Comm_New_Version.
#include <filesystem>

#include "event_fixture.h"

namespace {

using namespace Talwen;

class Request : public fake::EventFixture {};

// Command; while communication is disabled: Comm_New_Version and LinkMD before it, LinkMD and both switches
// afterwards, whether it is ignored aloud.
const char* const disabled = R"(
REQUEST_ENABLE | 1 0 | 2 1 |
REQUEST_ENABLE | 1 1 | 1 1 |
REQUEST_ENABLE | 0 3 | 2 1 |
REQUEST_DISABLE | 1 0 | 0 0 |
REQUEST_DISABLE | 0 3 | 1 0 |
REQUEST_LOCAL | 1 2 | 2 0 | ignored
REQUEST_RECONNECT x | 0 2 | 2 0 | ignored
)";

TEST_F(Request, WhileCommunicationIsDisabled) {
    for (const fake::Texts& row : fake::rows(disabled, 4)) {
        SCOPED_TRACE(row[0] + " " + row[1]);
        begin();
        set_states("Comm_Enable=0 fa:Enable=0 fa:LinkMD=" + row[1].substr(2));
        Comm_New_Version = row[1][0] == '1';
        module->QProgram_Event_Code(row[0].c_str());
        EXPECT_EQ(std::to_string(fa("LinkMD")) + " " + std::to_string(fa("Enable")), row[2]);
        EXPECT_EQ(gem("Comm_Enable"), fa("Enable"));
        EXPECT_FALSE(Reconnect);
        const std::string line = "忽略 FA消息处理 , FA Disabled.[" + row[0] + "]";
        EXPECT_EQ(fake::driver().log(), row[3].empty() ? fake::Texts{} : fake::Texts{line});
    }
}

TEST_F(Request, WhileCommunicationIsEnabled) {
    // Command, CtrlMD and Control_State afterwards, what is queued.
    const char* const enabled = R"(
REQUEST_LOCAL | 1 3 | S1F13
REQUEST_REMOTE | 2 4 | S1F13 S2F17
REQUEST_OFFLINE | 0 0 |
REQUEST_ENABLE / REQUEST_DISABLE / REQUEST_local / REQUEST / REQUESTS_LOCAL | 9 9 |
)";
    for (const bool new_version : {true, false})
        for (const fake::Texts& row : fake::rows(enabled, 3)) {
            SCOPED_TRACE(row[0]);
            begin();
            Comm_New_Version = new_version;
            set_states("Comm_Enable=1 fa:Enable=1 fa:CtrlMD=9 Control_State=9 fa:LinkMD=1");
            EXPECT_EQ(raised_by(row[0]), row[2]);
            EXPECT_EQ(std::to_string(fa("CtrlMD")) + " " + std::to_string(gem("Control_State")), row[1]);
            EXPECT_EQ(gem("Comm_Enable") + fa("Enable"), 2);
        }
}

TEST_F(Request, ReconnectSavesTheSettingsAndRaisesTheFlagEvenWhenSavingFails) {
    set_states("Comm_Enable=1 PrnChk=1");
    module->QProgram_Event_Code("REQUEST_RECONNECT");
    EXPECT_TRUE(Reconnect);
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "Z/FA/FA_SAVE.inf"));
    EXPECT_TRUE(fake::driver().log().empty());
    EXPECT_EQ(console.front(), "接收消息:REQUEST_RECONNECT");

    Reconnect = false;
    std::filesystem::remove_all(folder.path() / "Z");
    folder.put("Z", "a file where the drive should be");
    module->QProgram_Event_Code("REQUEST_RECONNECT");
    EXPECT_TRUE(Reconnect);
    EXPECT_EQ(fake::driver().log(), fake::Texts{"FA_SAVE.inf 保存失败!"});
}

}  // namespace
