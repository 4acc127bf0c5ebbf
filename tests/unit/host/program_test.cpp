// The host program against a small equipment on loopback.
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <memory>

#include "apps/host/link/auto_reply.h"
#include "hsms/core/item_codec.h"
#include "hsms/link/link.h"
#include "sml/reader.h"
#include "sml/writer.h"
#include "tests/support/bytes.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace std::string_literals;
using sml::parse_message;

// Answers, and says what else there is, as the table below has it; says back as text what replies it gets.
class Equipment {
  public:
    Equipment() : link_(options(), callbacks()) { link_.start(); }
    ~Equipment() { link_.stop(); }

    std::uint16_t port() const { return link_.port(); }

  private:
    static hsms::LinkOptions options() {
        hsms::LinkOptions options;
        options.address = "127.0.0.1";
        options.port = 0;
        return options;
    }
    hsms::LinkCallbacks callbacks() {
        hsms::LinkCallbacks callbacks;
        callbacks.on_selected = [this] {
            denied_ = false;
            say("S1F13 W <L <A \"CT\"> <A \"1\">>.", {});
        };
        callbacks.on_message = [this](const auto& header, std::string&& body) { got(header, body); };
        return callbacks;
    }

    void got(const hsms::Header& header, const std::string& body) {
        static const std::map<std::pair<int, int>, const char*> table = {
            {{1, 1}, "S1F2 <L <A \"CT\"> <A \"1\">>."},
            {{1, 3}, "S1F4 <L <U4 7> <A \"x\">>."},
            {{1, 11}, "S1F0."},
            {{1, 14}, "S2F17 W."},
            {{1, 15},  // events before and after the reply
             "S6F11 W <L <U4 1> <U4 100> <L <L <U4 1> <L <U4 5>>>>>.|S1F16 <B 0>.|S5F1 W <L <B 1> <U4 5> "
             "<A>>.|"
             "S6F11 W <L <U4 2> <U4 101> <L>>."},
            {{1, 77}, "S9F5."},
            {{1, 79}, "S9F9."},
            {{5, 5}, "S9F11."},
        };  // S1F75 and others get no answer
        if (header.stream() == 1 && header.function() == 13)
            say(std::exchange(denied_, true) ? "S1F14 <L <B 0> <L>>." : "S1F14 <L <B 1> <L>>.", header);
        const auto row = table.find({header.stream(), header.function()});
        if (row != table.end()) say(row->second, header);
        if (header.stream() == 1 && header.function() == 5)
            link_.reply(1, 6, "\xFF", header.system);  // no item
        if (header.stream() == 1 && header.function() == 7) link_.separate();
        sml::Message reply{header.stream(), header.function(), false, hsms::Item()};
        if (header.function() % 2 == 0 && hsms::decode_item(body, *reply.body))
            say("S10F3 <A '" + sml::to_sml(reply) + "'>.", header);
    }

    void say(const std::string& messages, hsms::Header about) {
        for (const std::string& text : split(messages, '|')) {
            sml::Message message = parse_message(text);
            if (message.function == 9) about.byte3 = 13;  // of its own, which has the same id as the host's
            if (message.stream == 9)
                message.body =
                    hsms::Item::binary({hsms::encode_header(about, 0).data() + hsms::length_size, 10});
            std::string body;
            if (message.body) hsms::encode_item(*message.body, body);
            if (message.function % 2 == 0)
                link_.reply(message.stream, message.function, body, about.system);
            else
                link_.send(message.stream, message.function, message.wbit, body);
        }
    }

    bool denied_ = false;  // the first S1F13 of a connection, the next is accepted
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
    // Waits for its end; `says` are parts of the output, in this order.
    void expect_end(int status, const std::vector<std::string>& says) {
        line_with("\1");  // no line holds it
        EXPECT_EQ(pclose(pipe_.release()) / 256, status) << output_;
        std::size_t at = 0;
        for (const std::string& part : says) {
            at = output_.find(part, at);
            ASSERT_NE(at, std::string::npos) << part << "\nin\n" << output_;
        }
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
    std::string connect() const { return "--connect 127.0.0.1:" + std::to_string(equipment_.port()); }

    Equipment equipment_;
    support::TempFolder folder_;
};

TEST_F(HostProgram, Scripts) {
    const struct {
        const char* script;
        int status;
        const char* says;  // part of the output; of a failure what follows the file's name
        const char* options = "--timeout 10";
    } cases[] = {
        {"", 0, "selected"},
        {"S1F1 W. expect S1F2 <L <A \"CT\"> *>.", 0, "<-- S1F2 <L <A \"CT\"> <A \"1\">>."},
        {"expect S1F13 W *. expect S2F17.", 0, ""},
        {"expect S2F17.\nexpect S1F13 W *.", 0, ""},  // those of another kind wait
        {"timeout 100 expect S1F13 *.\nexpect S1F13 *.", 1, ":2: expected S1F13 *., got nothing in 100 ms"},
        {"S1F3 W <L>.\n\nexpect S1F4 <L <U4 8> *>.", 1,
         ":3: S1F4 <L <U4 8> *>. item 1: expected <U4 8>, got <U4 7>"},
        {"S1F11 W <L>. expect S1F0.", 0, ""},
        {"S1F11 W <L>. expect S1F12 *.", 1, ":1: S1F12 *. expected S1F12, got S1F0."},
        {"S1F1 W. S1F3 W <L>.\nexpect S1F2 *.", 1, ":2: S1F2 *. expected S1F2, got S1F4"},  // dropped
        {"nowait S1F3 W <L>. nowait S1F1 W. expect S1F2 *. expect S1F4 *.", 0, ""},
        {"S1F1 W. expect S1F2 *. expect S1F2 *.", 1, ":1: expected S1F2 *., got no reply"},  // taken once
        {"S1F75 W.", 1, ":1: expected a reply to S1F75, got none within T3"},
        {"S1F75 W. expect timeout S1F1 W.", 0, "no reply to S1F75 within T3 (message 102)"},
        {"S1F1 W. expect timeout", 1, ":1: expected no reply to S1F1, got S1F2 <L"},
        {"S1F77 W.", 1, ":1: expected a reply to S1F77, got S9F5, function not recognised"},
        {"S1F77 W. expect S9F5 *. S1F1 W.", 0, "S1F77 (message 102) ended by S9F5, function not recognised"},
        {"S1F77 W. expect timeout S1F1 W.", 0, "ended by S9F5"},
        {"S1F79 W.", 1, ":1: expected a reply to S1F79, got none within T3"},
        {"alarms", 1, ":1: expected S5F6, got S9F11, data too long"},
        {"alarms", 1, "<-- S1F14 <L <B 0x00> <L>>.\n", "--no-auto"},  // denied first
        {"wait communicating", 1, "COMMACK 0, got S1F14 <L <B 0x01> <L>>.", "--no-auto --timeout 0.5"},
        {"S1F1 W. clock", 1, "no reply to S2F17 within T3 (message 103)", "--no-auto"},  // and no S1F13
        {"wait communicating S1F1 W. expect S1F2 *.", 0, "(automatic) S1F14"},
        {"expect S1F13 *.", 0, "S1F13 came with device 0, expected 7", "--device 7"},
        {"S1F5 W. expect S1F6 *.", 1, "got a S1F6 whose body of 1 bytes: unknown item format at offset 0"},
        {"S1F7 W.", 1, ":1: expected a reply to S1F7, got a closed link"},
        {"S1F7.\nwait closed S1F1 W.", 1, ":2: expected to send S1F1, got a closed link"},
        {"S1F7. wait closed wait selected S1F1 W. expect S1F2 *.", 0, ""},
        {"reconnect clear S1F1 W. expect S1F2 *. reconnect", 0, ""},
        {"S1F15 W. expect S6F11 <L * <U4 100> *>. expect S1F16 <B 0>. expect S6F11 *. expect S5F1 *.", 0,
         "(automatic) S5F2 <B 0x00>"},
        {"S1F15 W. expect S1F16 <B 0>. await S6F11 <L * <U4 101> ...>.", 0, "(automatic) S6F12 <B 0x00>"},
        {"timeout 100 S1F15 W. await S6F11 <L * <U4 102> *>.", 1, "item 2: expected <U4 102>, got <U4 101>"},
        {"S6F12 <B 0>.", 1, ":1: expected to send S6F12, but no primary is waiting for S6F12"},
        {"expect S1F13 *. S1F14 <L <B 1> <L>>. expect S2F17. S2F18 <A \"2026\">.\n"
         "expect S10F3 <A 'S1F14 <L <B 0x01> <L>>.'>. expect S10F3 <A 'S2F18 <A \"2026\">.'>.",
         0, "", "--no-auto"},
        {"expect S2F17. await S10F3 <A 'S1F14 <L <B 0x00> <L>>.'>.", 0, "(automatic) S2F18 <A \"20"},
        {"S1F3 W <L>. wait 100", 0,
         "\nReceive Secondary Message               [102,0]\n    'S1F4'\n        <L[2]\n",
         "--log /dev/stdout"},
        {"quit S1F75 W.", 0, ""},
        {"S1F1 W.\n  expect S1F2 <L", 2, ":2:17: expected an item or >, found end of text"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.script);
        HostProcess host(connect() + " " + row.options + " --t3 0.3" + script(row.script));
        host.expect_end(row.status, {row.says});
    }
}

TEST_F(HostProgram, TheConsoleSendsRunsCommandsAndSurvivesMistakes) {
    HostProcess host(connect() + " --t3 0.3",
                     "S1F3 W <L\\n <U1 300>>.\\nS1F3 W\\n<L\\n<U4 1>>.\\nwait 5\\nhelp\\nmessages off\\n"
                     "S1F15 W.\\nclock\\nwatch\\nnothing\\nq\\nhelp define\\nset 1\\nS1F1 W");
    host.expect_end(0, {"! 2:6: expected a U1 value (0 to 255), found '300'\n", "--> S1F3 W <L <U4 1>>.\n",
                        "! this is for scripts", "  define FILE ", "  watch ", "** event 100: report 1 (5)\n",
                        "! expected S2F18, got no reply within T3\n", "link selected, control state ",
                        "q or Enter leaves this screen\n", "Definition file, a line each",
                        "! 1:6: expected a value, found end of line\n", "found end of text"});
    EXPECT_EQ(host.output().find("S1F16"), std::string::npos) << "messages are off";
    EXPECT_EQ(host.output().find("\033"), std::string::npos)
        << "colours, or a screen's codes, without a terminal";
}

TEST_F(HostProgram, ListensForAnEquipmentThatConnects) {
    HostProcess host("--listen 0" + script("expect S1F13 *. wait closed"));
    const std::string line = host.line_with("= listening ");
    ASSERT_NE(line, "");
    const std::string port = std::to_string(std::stoi(line.substr("= listening "s.size())));
    HostProcess("--connect 127.0.0.1:" + port + script("S1F13 W <L>. expect S1F14 <L <B 0> <L>>."))
        .expect_end(0, {});
    host.expect_end(0, {});
}

TEST_F(HostProgram, MistakesAndHelpOnTheCommandLine) {
    const char* const mistakes =
        "|--connect 127.0.0.1|--connect 127.0.0.1:0|--connect :5000|--listen x|--listen 65536|"
        "--listen 0 --connect 127.0.0.1:1|--listen 0 --device 32768|--listen 0 --t3 0|"
        "--listen 0 --script /no/such/file|--listen 0 more";
    for (const std::string& arguments : split(mistakes, '|')) HostProcess(arguments).expect_end(2, {});
    HostProcess("--help").expect_end(0, {"  define FILE ", "Script grammar"});
    HostProcess("--listen 0 --timeout 0.2" + script("S1F1 W."))
        .expect_end(1, {"expected the link to be selected, got nothing in 200 ms"});
}

TEST(AutomaticReply, Table) {
    const char* const pairs =
        "S1F1 W.=S1F2 <L>.|S1F13 W <L <A \"m\"> <A \"s\">>.=S1F14 <L <B 0x00> <L>>.|"
        "S2F17 W.=S2F18 <A \"2026\">.|S2F25 W <B 1 255>.=S2F26 <B 0x01 0xFF>.|S2F25 W.=S2F26.|"
        "S5F1 W <L>.=S5F2 <B 0x00>.|S6F1 W <L>.=S6F2 <B 0x00>.|S6F3 W <L>.=S6F4 <B 0x00>.|"
        "S6F9 W <L>.=S6F10 <B 0x00>.|S6F11 W <L>.=S6F12 <B 0x00>.|S6F13 W <L>.=S6F14 <B 0x00>.|"
        "S10F1 W <L>.=S10F2 <B 0x00>.|S6F11 <L>.=none|S7F1 W <L>.=none|S1F2 W.=none";
    for (const std::string& pair : split(pairs, '|')) {
        const auto reply = host::automatic_reply(parse_message(split(pair, '=')[0]), "2026");
        EXPECT_EQ(reply ? sml::to_sml(*reply) : "none", split(pair, '=')[1]) << pair;
    }
    EXPECT_EQ(host::clock_text().size(), 16U);
}

}  // namespace
