// The host redefines everything while events are raised and traces walked: each reader sees whole
// definitions.
#include <atomic>
#include <set>
#include <thread>

#include "hsms/core/item_codec.h"
#include "hsms/driver/secs_item_codec.h"
#include "sml/writer.h"
#include "support/module_fixture.h"

namespace {

using namespace Talwen;

constexpr int rounds = 2000;  // of five or six messages

class Redefinition : public fake::ModuleFixture {
  protected:
    void SetUp() override {
        ModuleFixture::SetUp();
        start_over(fake::alarms("0 2 alarm") +
                   fake::points("digital D1 1, digital D2 2, digital D3 3, digital D4 4"));
        set_states(fake::on_line);
        QFA_Message_Queue_Init();
        define(RVID_List, "1 0 0 176, 2 0 1 176, 3 0 2 176, 4 0 3 176");
        define(SVID_List, "1 0 0 176, 2 0 1 176, 3 0 2 176, 4 0 3 176");
        module->QFA_Get_All_ALID_List();
        RPTID_List.append({0, 20, "", {4}});
        CEID_List.append({2, 100, true, "", "", {20, 10}});
        QFA_Set_Spool_Enable(6, 11, true);
    }
    void TearDown() override {
        QFA_Message_Clear();
        ModuleFixture::TearDown();
    }
};

TEST_F(Redefinition, ReadersOnOtherThreadsSeeOneDefinitionOrTheOtherWhole) {
    // Report 10 carries 1, 2 or 3, 4, 3. Event 100 sends it alone (DATAID 1) or after report 20 (DATAID 2).
    // Each is taken away before it is defined anew, so an event may be without the report, or the report
    // empty.
    std::set<std::string> whole;
    for (const std::string event : {"<U4 1> <U4 100> <L", "<U4 2> <U4 100> <L <L <U4 20> <L <U4 4>>>"})
        for (const std::string values : {"", " <U4 1> <U4 2>", " <U4 3> <U4 4> <U4 3>"}) {
            whole.insert(event + " <L <U4 10> <L" + values + ">>>");
            whole.insert(event + ">");
        }
    std::atomic<bool> done{false};
    std::set<std::string> torn_reports;
    const auto raise = [&] {
        std::string ceid = "100";
        if (!QFA_Message_PushBack(6, 11, &ceid, nullptr, nullptr, nullptr, nullptr)) return std::string();
        FA_Message entry;
        QFA_Message_PopFront(&entry);
        std::string bytes;
        hsms::Item item;
        hsms::encode_secs_item(*entry.item, bytes);
        hsms::decode_item(bytes, item);
        const std::string text = sml::one_line(item, std::string::npos);
        QFA_Message_RemoveFront();
        if (whole.count(text.substr(3, text.size() - 4)) == 0) torn_reports.insert(text);
        return text;
    };
    std::thread events([&] {
        while (!done) raise();
    });
    int torn_traces = 0, spooling_lost = 0, alarm_changes = 0, refused = 0;
    std::thread traces([&] {
        while (!done) {
            for (const auto& trace : TRID_List.all()) {
                trace->elapsed = trace->elapsed + 500;  // as the trace monitor does
                const std::vector<int> svids =
                    trace->period == 1000 ? std::vector<int>{1, 2} : std::vector<int>{3, 4, 3};
                torn_traces += trace->LINKSVID == svids ? 0 : 1;
            }
            spooling_lost += QFA_Get_Spool_Enable(6, 11) ? 0 : 1;
            ALID_STRU* alarm = nullptr;
            if (!module->QFA_Get_ALID_Stru(0, &alarm)) continue;
            alarm->ALCD = static_cast<unsigned char>(alarm->enable ? alarm->ALCD | 128 : alarm->ALCD & 127);
            alarm_changes += (alarm->ALCD & 127) == 4 && alarm->index == 0 ? 0 : 1;
        }
    });

    const std::vector<std::string> messages[2] = {
        {"S2F33 W <L <U4 1> <L <L <U4 10> <L>> <L <U4 10> <L <U4 1> <U4 2>>>>>.",
         "S2F35 W <L <U4 1> <L <L <U4 100> <L>> <L <U4 100> <L <U4 10>>>>>.",
         "S2F37 W <L <BOOLEAN T> <L <U4 100>>>.",
         "S2F23 W <L <U4 1> <A \"000001\"> <U4 9> <U4 1> <L <U4 1> <U4 2>>>.", "S5F3 W <L <B 0> <U4 0>>.",
         "S2F43 W <L <L <U1 6> <L <U1 11>>>>."},
        {"S2F33 W <L <U4 2> <L <L <U4 10> <L>> <L <U4 10> <L <U4 3> <U4 4> <U4 3>>>>>.",
         "S2F35 W <L <U4 2> <L <L <U4 100> <L>> <L <U4 100> <L <U4 20> <U4 10>>>>>.",
         "S2F37 W <L <BOOLEAN T> <L>>.",
         "S2F23 W <L <U4 1> <A \"000002\"> <U4 9> <U4 1> <L <U4 3> <U4 4> <U4 3>>>.",
         "S5F3 W <L <B 0x80> <U4>>.", "S2F43 W <L <L <U1 5> <L>> <L <U1 6> <L <U1 1> <U1 11>>>>."},
    };
    for (int round = 0; round < rounds; ++round) {
        fake::driver().reset();
        std::string variable = std::to_string(1000 + round) + "&0&0&1&0&0&v";
        module->QFA_Add_RVID_List(variable.data());
        for (const std::string& message : messages[round % 2]) {
            if (message.starts_with("S2F43") && round % 20 > 1) continue;  // each writes its file
            fake::driver().host_sends(message);
            refused += fake::driver().replies().find("<B 0x00>") == std::string::npos ? 1 : 0;
        }
    }
    done = true;
    events.join();
    traces.join();

    EXPECT_EQ(refused, 0);
    EXPECT_EQ(torn_reports, std::set<std::string>{});
    EXPECT_EQ(torn_traces + spooling_lost + alarm_changes, 0) << torn_traces << ' ' << spooling_lost;
    EXPECT_EQ(raise(), "<L <U4 2> <U4 100> <L <L <U4 20> <L <U4 4>>> <L <U4 10> <L <U4 3> <U4 4> <U4 3>>>>>");
}

}  // namespace
