// The host program against a small equipment on loopback.
#include <condition_variable>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <set>

#include "apps/host/auto_reply.h"
#include "hsms/core/item_codec.h"
#include "hsms/link/link.h"
#include "sml/reader.h"
#include "sml/writer.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace std::string_literals;
using sml::parse_message;

std::string encode(const sml::Message& message) {
    std::string body;
    if (message.body) hsms::encode_item(*message.body, body);
    return body;
}

// Talks first when selected, as equipments do, and answers what the table below says.
class Equipment {
  public:
    explicit Equipment(hsms::Role role = hsms::Role::passive, std::uint16_t port = 0)
        : link_(options(role, port), callbacks()) {
        link_.start();
    }
    ~Equipment() { link_.stop(); }

    std::uint16_t port() const { return link_.port(); }

    bool got(const std::string& message) {
        std::unique_lock lock(mutex_);
        return received_now_.wait_for(lock, std::chrono::seconds(10),
                                      [&] { return received_.contains(message); });
    }

  private:
    static hsms::LinkOptions options(hsms::Role role, std::uint16_t port) {
        hsms::LinkOptions options;
        options.session.role = role;
        options.address = "127.0.0.1";
        options.port = port;
        options.t5 = hsms::Milliseconds(20);
        return options;
    }
    hsms::LinkCallbacks callbacks() {
        hsms::LinkCallbacks callbacks;
        callbacks.on_selected = [this] { say({"S1F13 W <L <A \"CT\"> <A \"1\">>.", "S2F17 W."}); };
        callbacks.on_message = [this](const auto& header, std::string&& body) { answer(header, body); };
        return callbacks;
    }

    void say(const std::vector<const char*>& messages) {
        for (const char* text : messages) {
            const sml::Message message = parse_message(text);
            link_.send(message.stream, message.function, message.wbit, encode(message));
        }
    }

    void answer(const hsms::Header& header, const std::string& body) {
        sml::Message message{header.stream(), header.function(), header.wbit(), {}};
        hsms::Item item;
        if (!body.empty() && hsms::decode_item(body, item)) message.body = item;
        {
            const std::lock_guard lock(mutex_);
            received_.insert(sml::to_sml(message));
            received_now_.notify_all();
        }
        if (header.stream() != 1) return;
        const auto reply = [&](const char* text) {
            const sml::Message secondary = parse_message(text);
            link_.reply(secondary.stream, secondary.function, encode(secondary), header.system);
        };
        switch (header.function()) {
            case 1: reply("S1F2 <L <A \"CT\"> <A \"1\">>."); break;
            case 3: reply("S1F4 <L <U4 7> <A \"x\">>."); break;
            case 5: link_.reply(1, 6, "\xFF", header.system); break;  // no SECS-II item
            case 7: link_.separate(); break;
            case 11: reply("S1F0."); break;
            case 15:  // events before and behind the reply
                say({"S6F11 W <L <U4 1> <U4 100> <L <L <U4 1> <L <U4 5>>>>>."});
                reply("S1F16 <B 0>.");
                say({"S5F1 W <L <B 1> <U4 5> <A \"\">>.", "S6F11 W <L <U4 2> <U4 101> <L>>."});
                break;
            default: break;  // S1F75: never answered
        }
    }

    std::mutex mutex_;
    std::condition_variable received_now_;
    std::set<std::string> received_;
    hsms::Link link_;
};

// A running fa-host; standard error goes into its output.
class HostProcess {
  public:
    explicit HostProcess(const std::string& arguments, const std::string& typed = "")
        : pipe_(popen(("printf '" + typed + "' | " FA_HOST " --t5 0.02 " + arguments + " 2>&1").c_str(), "r"),
                pclose) {}
    // The next line that holds `part`; empty at the end of the output.
    std::string line_with(const std::string& part) {
        char buffer[4096];
        while (std::fgets(buffer, sizeof buffer, pipe_.get()) != nullptr) {
            output_ += buffer;
            if (std::string(buffer).find(part) != std::string::npos) return buffer;
        }
        return "";
    }

    int exit_status() {
        line_with("\1");  // no line holds it
        return pclose(pipe_.release()) / 256;
    }

    const std::string& output() const { return output_; }

  private:
    std::unique_ptr<FILE, int (*)(FILE*)> pipe_;
    std::string output_;
};

class HostProgram : public testing::Test {
  protected:
    std::string script(const std::string& text) const {
        return " --script " + folder_.put("host.script", text).string();
    }
    std::string connect() const { return "--connect 127.0.0.1:" + std::to_string(equipment_->port()); }

    std::unique_ptr<Equipment> equipment_ = std::make_unique<Equipment>();
    support::TempFolder folder_;
};

TEST_F(HostProgram, Scripts) {
    const struct {
        const char* script;
        int status;
        const char* says;  // part of the output; for a failure what stands behind the file name
    } cases[] = {
        {"", 0, "selected"},
        {"S1F1 W. expect S1F2 <L <A \"CT\"> *>.", 0, "<-- S1F2 <L <A \"CT\"> <A \"1\">>."},
        {"expect S1F13 W *. expect S2F17.", 0, ""},
        {"expect S2F17.\nexpect S1F13 W *.", 0, ""},  // those of another kind wait
        {"timeout 100 expect S1F13 *.\nexpect S1F13 *.", 1, ":2: expected S1F13 *., got nothing in 100 ms"},
        {"S1F1 W.\n\nexpect S1F2 <L <A \"CU\"> *>.", 1,
         ":3: S1F2 <L <A \"CU\"> *>. item 1: expected <A \"CU\">, got <A \"CT\">"},
        {"S1F11 W <L>. expect S1F0.", 0, ""},
        {"S1F11 W <L>. expect S1F12 *.", 1, ":1: S1F12 *. expected S1F12, got S1F0."},
        {"S1F1 W. S1F3 W <L>.\nexpect S1F2 *.", 1,
         ":2: S1F2 *. expected S1F2, got S1F4"},  // dropped by the next
        {"nowait S1F3 W <L>. nowait S1F1 W. expect S1F2 *. expect S1F4 *.", 0, ""},
        {"S1F1 W. expect S1F2 *. expect S1F2 *.", 1, ":1: expected S1F2 *., got no reply"},  // taken once
        {"S1F75 W.", 1, ":1: expected a reply to S1F75, got none within T3"},
        {"S1F75 W. expect timeout S1F1 W.", 0, "no reply within T3"},
        {"S1F1 W. expect timeout", 1, ":1: expected no reply to S1F1, got S1F2 <L"},
        {"S1F5 W. expect S1F6 *.", 1, "got a S1F6 whose body of 1 bytes: unknown item format at offset 0"},
        {"S1F7 W.", 1, ":1: expected a reply to S1F7, got a closed link"},
        {"S1F7.\nwait closed S1F1 W.", 1, ":2: expected to send S1F1, got a closed link"},
        {"S1F7. wait closed wait selected S1F1 W. expect S1F2 *.", 0, ""},
        {"reconnect clear S1F1 W. expect S1F2 *. reconnect", 0, ""},
        {"S1F15 W. expect S6F11 <L * <U4 100> *>. expect S1F16 <B 0>. expect S6F11 <L * <U4 101> *>. expect "
         "S5F1 *.",
         0, "(automatic) S5F2 <B 0x00>"},
        {"S1F15 W. expect S1F16 <B 0>. await S6F11 <L * <U4 101> ...>.", 0, "(automatic) S6F12 <B 0x00>"},
        {"timeout 100 S1F15 W. await S6F11 <L * <U4 102> *>.", 1, "item 2: expected <U4 102>, got <U4 101>"},
        {"S6F12 <B 0>.", 1, ":1: expected to send S6F12, but no primary is waiting for S6F12"},
        {"quit S1F75 W.", 0, ""},
        {"S1F1 W.\n  expect S1F2 <L", 2, ":2:17: expected an item or >, found end of text"},
    };
    for (const auto& row : cases) {
        HostProcess host(connect() + " --t3 0.3 --timeout 10" + script(row.script));
        EXPECT_EQ(host.exit_status(), row.status) << row.script << "\n" << host.output();
        EXPECT_NE(host.output().find(row.says), std::string::npos) << row.script << "\n" << host.output();
    }
}

TEST_F(HostProgram, AnswersByHandWithoutAutomaticReplies) {
    const char* text = R"(expect S2F17. S2F18 <A "2026010203040506">. S1F14 <L <B 1> <L>>.)";
    HostProcess host(connect() + " --no-auto" + script(text));
    EXPECT_EQ(host.exit_status(), 0) << host.output();
    EXPECT_TRUE(equipment_->got("S2F18 <A \"2026010203040506\">."));
    EXPECT_TRUE(equipment_->got("S1F14 <L <B 0x01> <L>>."));
}

TEST_F(HostProgram, ConsoleSendsWhatIsTypedAndSurvivesMistakes) {
    HostProcess host(connect(), "S1F3 W <L\\n <U1 300>>.\\nS1F3 W\\n<L\\n<U4 1>>.\\nwait 5\\nS1F1 W. S1F1 W");
    EXPECT_EQ(host.exit_status(), 0);
    for (const char* part :
         {"! 2:6: expected a U1 value (0 to 255), found '300'\n", "--> S1F3 W <L <U4 1>>.\n",
          "<-- S1F4 <L <U4 7> <A \"x\">>.\n", "! this is for scripts", "found end of text"})
        EXPECT_NE(host.output().find(part), std::string::npos) << part << "\nin\n" << host.output();
    EXPECT_EQ(host.output().find("\033"), std::string::npos) << "colours without a terminal";
    EXPECT_TRUE(equipment_->got("S1F14 <L <B 0x00> <L>>."));
}

TEST_F(HostProgram, ConsoleCommandsAndTheLiveScreen) {
    HostProcess host(connect() + " --t3 0.3",
                     "help\\nmessages off\\nS1F15 W.\\nclock\\nwatch\\nnothing\\nq\\nhelp define\\nset 1\\n");
    EXPECT_EQ(host.exit_status(), 0);
    const char* parts[] = {"  define FILE ",
                           "  watch ",
                           "** event 100: report 1 (5)\n",
                           "! expected S2F18, got no reply within T3\n",
                           "link selected, control state ",
                           "q or Enter leaves this screen\n",
                           "Definition file, a line each",
                           "! 1:6: expected a value, found end of line\n"};
    std::size_t at = 0;
    for (const char* part : parts) {  // in this order
        at = host.output().find(part, at);
        ASSERT_NE(at, std::string::npos) << part << "\nin\n" << host.output();
    }
    EXPECT_EQ(host.output().find("S1F16"), std::string::npos) << "messages are off";
    EXPECT_EQ(host.output().find("\033"), std::string::npos) << "a screen's codes without a terminal";
}

TEST_F(HostProgram, WaitsForAnEquipmentThatComesLate) {
    const std::uint16_t port = equipment_->port();
    const std::string arguments = connect() + script("S1F1 W. expect S1F2 *.");
    equipment_.reset();
    HostProcess host(arguments);
    ASSERT_NE(host.line_with("cannot connect"), "");
    equipment_ = std::make_unique<Equipment>(hsms::Role::passive, port);
    EXPECT_EQ(host.exit_status(), 0) << host.output();
}

TEST_F(HostProgram, ListensForAnEquipmentThatConnects) {
    HostProcess host("--listen 0" + script("S1F1 W. expect S1F2 *."));
    const std::string line = host.line_with("= listening ");
    ASSERT_NE(line, "");
    const auto port = static_cast<std::uint16_t>(std::stoi(line.substr("= listening "s.size())));
    Equipment active(hsms::Role::active, port);
    EXPECT_EQ(host.exit_status(), 0) << host.output();
}

TEST_F(HostProgram, UsageErrors) {
    for (const char* arguments :
         {"", "--connect 127.0.0.1", "--connect 127.0.0.1:0", "--connect :5000", "--listen x",
          "--listen 65536", "--listen 0 --connect 127.0.0.1:1", "--listen 0 --device 32768",
          "--listen 0 --t3 0", "--listen 0 --script /no/such/file", "--listen 0 more"}) {
        HostProcess host(arguments);
        EXPECT_EQ(host.exit_status(), 2) << arguments << "\n" << host.output();
    }
    HostProcess help("--help");
    EXPECT_EQ(help.exit_status(), 0);
    EXPECT_NE(help.output().find("Script grammar"), std::string::npos);
    HostProcess alone("--listen 0 --timeout 0.2" + script("S1F1 W."));
    EXPECT_EQ(alone.exit_status(), 1);
    EXPECT_NE(alone.output().find("expected the link to be selected, got nothing in 200 ms"),
              std::string::npos);
}

TEST(AutomaticReply, Table) {
    const std::pair<const char*, const char*> cases[] = {
        {"S1F1 W.", "S1F2 <L>."},
        {"S1F13 W <L <A \"m\"> <A \"s\">>.", "S1F14 <L <B 0x00> <L>>."},
        {"S2F17 W.", "S2F18 <A \"2026010203040506\">."},
        {"S2F25 W <B 1 255>.", "S2F26 <B 0x01 0xFF>."},
        {"S2F25 W.", "S2F26."},
        {"S5F1 W <L>.", "S5F2 <B 0x00>."},
        {"S6F1 W <L>.", "S6F2 <B 0x00>."},
        {"S6F3 W <L>.", "S6F4 <B 0x00>."},
        {"S6F9 W <L>.", "S6F10 <B 0x00>."},
        {"S6F11 W <L>.", "S6F12 <B 0x00>."},
        {"S6F13 W <L>.", "S6F14 <B 0x00>."},
        {"S10F1 W <L>.", "S10F2 <B 0x00>."},
        {"S6F11 <L>.", "none"},
        {"S7F1 W <L>.", "none"},
        {"S1F2 W.", "none"},
    };
    for (const auto& [primary, expected] : cases) {
        const auto reply = host::automatic_reply(parse_message(primary), "2026010203040506");
        EXPECT_EQ(reply ? sml::to_sml(*reply) : "none", expected) << primary;
    }
    EXPECT_EQ(host::clock_text().size(), 16U);
}

}  // namespace
