// The keyword REQUEST in both communication states and both settings of Comm_New_Version.
#include <filesystem>
#include <unistd.h>

#include "event_fixture.h"
#include "sim/file_layer.h"

namespace {

using namespace Talwen;

class Request : public fake::EventFixture {
  protected:
    static std::vector<std::string> queued() {
        std::vector<std::string> names;
        for (FA_Message entry; QFA_Message_PopFront(&entry); QFA_Message_RemoveFront())
            names.push_back("S" + std::to_string(entry.stream) + "F" + std::to_string(entry.function));
        return names;
    }
};

struct DisabledCase {
    const char* text;
    bool new_version;
    int link_before, link_after, enable_after;
    bool ignored;
};

TEST_F(Request, WhileCommunicationIsDisabled) {
    const DisabledCase cases[] = {
        {"REQUEST_ENABLE", true, 0, 2, 1, false},      {"REQUEST_ENABLE", true, 1, 1, 1, false},
        {"REQUEST_ENABLE", false, 3, 2, 1, false},     {"REQUEST_DISABLE", true, 0, 0, 0, false},
        {"REQUEST_DISABLE", false, 3, 1, 0, false},    {"REQUEST_LOCAL", true, 2, 2, 0, true},
        {"REQUEST_RECONNECT x", false, 2, 2, 0, true},
    };
    for (const DisabledCase& c : cases) {
        SCOPED_TRACE(c.text);
        begin();
        set_states("Comm_Enable=0 fa:Enable=0");
        Comm_New_Version = c.new_version;
        sim::machine().set_fa("LinkMD", c.link_before);
        module->QProgram_Event_Code(c.text);
        EXPECT_EQ(fa("LinkMD"), c.link_after);
        EXPECT_EQ(fa("Enable"), c.enable_after);
        EXPECT_EQ(gem("Comm_Enable"), c.enable_after);
        EXPECT_FALSE(Reconnect);
        const std::string line = "忽略 FA消息处理 , FA Disabled.[" + std::string(c.text) + "]";
        EXPECT_EQ(fake::driver().log(),
                  c.ignored ? std::vector<std::string>{line} : std::vector<std::string>{});
    }
}

struct EnabledCase {
    const char* text;
    int ctrl_after, control_after;
    std::vector<std::string> queued;
};

TEST_F(Request, WhileCommunicationIsEnabled) {
    const EnabledCase cases[] = {
        {"REQUEST_LOCAL", 1, 3, {"S1F13"}},
        {"REQUEST_REMOTE", 2, 4, {"S1F13", "S2F17"}},
        {"REQUEST_OFFLINE", 0, 0, {}},
        {"REQUEST_ENABLE", 9, 9, {}},
        {"REQUEST_DISABLE", 9, 9, {}},
        {"REQUEST_local", 9, 9, {}},
        {"REQUEST", 9, 9, {}},
        {"", 9, 9, {}},
        {"REQUESTS_LOCAL", 9, 9, {}},
    };
    for (const bool new_version : {true, false}) {
        for (const EnabledCase& c : cases) {
            SCOPED_TRACE(c.text);
            begin();
            Comm_New_Version = new_version;
            set_states("Comm_Enable=1 fa:Enable=1 fa:CtrlMD=9 Control_State=9 fa:LinkMD=1");
            module->QProgram_Event_Code(c.text);
            EXPECT_EQ(fa("CtrlMD"), c.ctrl_after);
            EXPECT_EQ(gem("Control_State"), c.control_after);
            EXPECT_EQ(gem("Comm_Enable") + fa("Enable"), 2);
            EXPECT_EQ(queued(), c.queued);
        }
    }
}

TEST_F(Request, ReconnectSavesTheSettingsAndRaisesTheFlagEvenWhenSavingFails) {
    const auto folder = std::filesystem::temp_directory_path() / ("fa_request_" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    sim::set_data_folder(folder);
    set_states("Comm_Enable=1 PrnChk=1");
    module->QProgram_Event_Code("REQUEST_RECONNECT");
    EXPECT_TRUE(Reconnect);
    EXPECT_TRUE(std::filesystem::exists(folder / "Z" / "FA" / "FA_SAVE.inf"));
    EXPECT_TRUE(fake::driver().log().empty());
    EXPECT_EQ(console.front(), "接收消息:REQUEST_RECONNECT");

    Reconnect = false;
    std::filesystem::remove_all(folder / "Z");
    std::FILE* in_the_way = std::fopen((folder / "Z").c_str(), "w");
    std::fclose(in_the_way);
    module->QProgram_Event_Code("REQUEST_RECONNECT");
    EXPECT_TRUE(Reconnect);
    EXPECT_EQ(fake::driver().log(), std::vector<std::string>{"FA_SAVE.inf 保存失败!"});
    std::filesystem::remove_all(folder);
}

}  // namespace
