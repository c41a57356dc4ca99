// SPDX-License-Identifier: Apache-2.0
// Shapes that nobody sends by accident, each through every entry that takes a text, with the outcome that the
// entry must have. That nothing else happens (no crash, no overrun, no leak) is for the sanitizers to see.
#include <algorithm>
#include <chrono>

#include "module_fixture.h"

namespace {

constexpr std::size_t kLimit = 1000; // nesting levels that the JSON library accepts

std::string Nested(std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); }

// Values that take the place of a good one.
const std::vector<std::string> &Shapes() {
    static const std::vector<std::string> shapes = [] {
        std::vector<std::string> texts = {"null", "true", R"("5")", R"("")", R"("a\u0000b")", R"("\ud83d\ude00")", "1e308", "1e999", "-1"};
        texts.insert(texts.end(), {"2147483648", "4294967296", "-0.5e-300", "[]", "{}", "\"\xff\xfe\xc3\"", Nested(kLimit - 10)});
        std::string keys = "\"k\":0";
        for (int i = 1; i < 100000; ++i) {
            keys += ",\"k" + std::to_string(i) + "\":0";
        }
        texts.push_back("{" + keys + "}");
        texts.push_back("[" + Repeated("{}", 100000) + "]");
        texts.push_back("\"" + std::string(1 << 20, 't') + "\"");
        return texts;
    }();
    return shapes;
}

// Whether a member of a good body may have this value instead.
bool IsAccepted(const std::string &key, const std::string &shape) {
    const std::pair<std::string, bool> needs[] = {
        {"params", shape[0] == '{'}, {"weekdays", shape[0] == '['}, {"status", shape == "[]"}, {"events", shape == "[]"},
        {"actions", shape == "[]"},  {"ruleId", shape[0] == '"'},   {"rule", false},
    };
    const auto *const need = std::find_if(std::begin(needs), std::end(needs), [&](const auto &row) { return row.first == key; });
    return need == std::end(needs) || need->second;
}

// Where the value that starts here ends.
std::size_t ValueEnd(const std::string &body, std::size_t at) {
    for (int depth = 0; depth > 0 || (body[at] != ',' && body[at] != '}'); ++at) {
        depth += body[at] == '[' || body[at] == '{' ? 1 : 0;
        depth -= body[at] == ']' || body[at] == '}' ? 1 : 0;
    }
    return at;
}

class HostileTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        tqhost::SetLogLevel(1); // the log's formats are part of what is tried
        on_query = [](tqDevSDK_SmartControl_runtime_info &) { return 0; };
    }

    // A look-up by index would take minutes.
    void TearDown() override { EXPECT_LT(std::chrono::steady_clock::now() - start_, std::chrono::minutes(1)); }

    // Puts every shape in the place of every member's value, and compares what comes of the body.
    void TryAll(const std::string &good, const std::function<Lines(const std::string &body)> &outcome, const Lines &accepted, const Lines &refused) {
        EXPECT_EQ(outcome(good), accepted);
        for (std::size_t colon = good.find("\":"); colon != std::string::npos; colon = good.find("\":", colon + 1)) {
            const std::size_t quote = good.rfind('"', colon - 1);
            const std::string key = good.substr(quote + 1, colon - quote - 1);
            for (const std::string &shape : Shapes()) {
                SCOPED_TRACE(key + ": " + shape.substr(0, 60));
                const std::string body = good.substr(0, colon + 2) + shape + good.substr(ValueEnd(good, colon + 2));
                EXPECT_EQ(outcome(body), IsAccepted(key, shape) ? accepted : refused);
                TakeLog();
            }
        }
        EXPECT_EQ(outcome(good), accepted) << "the next good one is served";
    }

private:
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST_F(HostileTest, Commands) {
    const auto command = [this](int id) { return [this, id](const std::string &body) { return Command(id, body), Take(); }; };
    TryAll(R"({"delay":1,"channelNo":2,"params":{"value1":3},"extendValue":"e"})", command(kCapture), Answer(kCapture, R"({"result":0})"),
           Answer(kCapture, R"({"result":-1})"));
    TryAll(R"({"deviceId":"d","eventId":1,"channelNo":2,"params":{"value1":3}})", command(kChimeAlarm), Answer(kChimeAlarm, R"({"result":0})"), {});
    TryAll(R"({"macList":[{"mac":"m","deviceSerial":"s"}]})", command(kSignalQuery),
           Answer(kSignalQuery, R"({"result":0,"response":[{"type":"router","name":"","signal":0}]})"), {});
}

TEST_F(HostileTest, Settings) {
    const auto answer = [](int result) {
        return "command 18830 seq 7 response 1 v1.0.0 <?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Response><Result>" + std::to_string(result) +
               "</Result></Response>";
    };
    const Lines accepted = {"tqDevSDK_report_set_force_report 74", answer(0)};
    const auto outcome = [&](const std::string &body) {
        Command(kSetKeyValue, "<Request><Type>device_ICR_DSS</Type><Value><![CDATA[" + body + "]]></Value></Request>");
        const Lines sent = Take();
        if (body.find('\xff') == std::string::npos) {
            return sent;
        }
        EXPECT_EQ(sent, Lines{answer(3)}) << "what is not UTF-8 is no XML";
        return accepted;
    };
    TryAll(R"({"mode":1,"sensitivity":2,"autoTimeBegin":"1:2","autoTimeEnd":"3:4"})", outcome, accepted, {});
}

TEST_F(HostileTest, Scenes) {
    const std::string reply = "reply ExecManualScene of TQLink type 2 resource 1 Video ", seq = " seq 0/0 qos 0 [operate_reply] value ";
    const auto outcome = [this](const std::string &body) {
        tqhost::ModelMessage request;
        request.identifier = "ExecManualScene";
        request.text = body;
        tqhost::DeliverModelRequest(request);
        return Take();
    };
    TryAll(R"({"ruleId":"7"})", outcome, {reply + "200 0 'success!'" + seq + "5 length 0 {\n}"},
           {reply + "400 -1 'manage failed!'" + seq + "6 length 0 {\n}"});
}

TEST_F(HostileTest, Rules) {
    const auto outcome = [](const std::string &body) {
        tqhost::ShadowDesire("InterconnectionRule", "[]"); // so that an equal value is delivered again
        return Lines{std::to_string(tqhost::ShadowDesire("InterconnectionRule", body).value_or(-99))};
    };
    TryAll(R"([{"Type":"Global","channel":0,"status":[{"id":1,"userId":"u","name":"n","enable":1,"weekdays":["1"],"startTime":"1:2",)"
           R"("endTime":"3:4","rule":{"condition":2,"events":[{"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":4}],)"
           R"("actions":[{"domain":5,"cmdId":6,"deviceId":"A","channelNo":7,"params":{"value1":8},"delay":9}]}}]}])",
           outcome, {"0"}, {"-1"});
    EXPECT_EQ(outcome(Nested(kLimit + 1)), Lines{"-1"});
    EXPECT_EQ(outcome(Nested(kLimit)), Lines{"-1"}) << "parsed, but no rules";
}

} // namespace
