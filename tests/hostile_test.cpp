// SPDX-License-Identifier: Apache-2.0
// Shapes that nobody sends by accident, each through every entry that takes a text, with the outcome that the
// entry must have. That nothing else happens (no crash, no overrun, no leak) is for the sanitizers to see.
#include <chrono>

#include "module_fixture.h"

namespace {

constexpr int kLimit = 1000; // nesting levels that the JSON library accepts

std::string Nested(int levels) { return std::string(static_cast<std::size_t>(levels), '[') + std::string(static_cast<std::size_t>(levels), ']'); }

std::string ManyKeys() {
    std::string text = "{";
    for (int i = 0; i < 100000; ++i) {
        text += (i > 0 ? ",\"k" : "\"k") + std::to_string(i) + "\":0";
    }
    return text + "}";
}

// Values that take the place of a good one.
struct Shape {
    const char *name;
    std::string json;
    bool is_object;
    bool is_array;
};

const Shape kShapes[] = {
    {"null", "null", false, false},
    {"true", "true", false, false},
    {"text", R"("5")", false, false},
    {"empty text", R"("")", false, false},
    {"invalid UTF-8", "\"\xff\xfe\xc3\"", false, false},
    {"escaped NUL", R"("a\u0000b")", false, false},
    {"surrogates", R"("\ud83d\ude00")", false, false},
    {"huge number", "1e308", false, false},
    {"infinite number", "1e999", false, false},
    {"negative number", "-1", false, false},
    {"2^31", "2147483648", false, false},
    {"2^32", "4294967296", false, false},
    {"fraction", "-0.5e-300", false, false},
    {"array", "[]", false, true},
    {"object", "{}", true, false},
    {"a hundred thousand keys", ManyKeys(), true, false},
    {"deepest nesting that fits", Nested(kLimit - 10), false, true},
    {"a megabyte of text", "\"" + std::string(1 << 20, 't') + "\"", false, false},
};

// A key of a good body, and which shapes it accepts.
enum Accepts { kAnything, kObjects, kArrays, kTexts };
struct Key {
    const char *good; // as it stands in the body
    const char *key;
    Accepts accepts;
};

bool Accepted(Accepts accepts, const Shape &shape) {
    switch (accepts) {
    case kObjects:
        return shape.is_object;
    case kArrays:
        return shape.is_array;
    case kTexts:
        return shape.json[0] == '"';
    default:
        return true;
    }
}

class HostileTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        tqhost::SetLogLevel(1); // the log's formats are part of what is tried
        on_query = [](tqDevSDK_SmartControl_runtime_info &) { return 0; };
    }

    // Puts every shape in the place of every key's value and compares what `accepted` says of the body.
    void TryAll(const std::string &good, const std::vector<Key> &keys, const std::function<bool(const std::string &body)> &accepted) {
        EXPECT_TRUE(accepted(good));
        for (const Key &key : keys) {
            const std::size_t at = good.find(key.good);
            ASSERT_NE(at, std::string::npos) << key.good;
            for (const Shape &shape : kShapes) {
                SCOPED_TRACE(std::string(key.key) + ": " + shape.name);
                std::string body = good;
                body.replace(at, strlen(key.good), "\"" + std::string(key.key) + "\":" + shape.json);
                EXPECT_EQ(accepted(body), Accepted(key.accepts, shape));
                TakeWholeLog();
            }
        }
        EXPECT_TRUE(accepted(good)) << "the next good one is served";
    }

    // The command is answered, and not with a failure.
    bool Answered(int command, const std::string &body) {
        Command(command, body);
        const Lines sent = Take();
        return sent.size() == 1 && sent[0].find("-1") == std::string::npos;
    }
};

TEST_F(HostileTest, Commands) {
    TryAll(R"({"delay":1,"channelNo":2,"params":{"value1":3},"extendValue":"e"})",
           {{R"("delay":1)", "delay", kAnything},
            {R"("channelNo":2)", "channelNo", kAnything},
            {R"("params":{"value1":3})", "params", kObjects},
            {R"("value1":3)", "value1", kAnything},
            {R"("extendValue":"e")", "extendValue", kAnything}},
           [this](const std::string &body) { return Answered(20034, body); });
    TryAll(R"({"deviceId":"d","eventId":1,"channelNo":2,"params":{"value1":3}})",
           {{R"("deviceId":"d")", "deviceId", kAnything}, {R"("eventId":1)", "eventId", kAnything}, {R"("params":{"value1":3})", "params", kObjects}},
           [this](const std::string &body) { return Answered(20064, body); });
}

TEST_F(HostileTest, SignalQuery) {
    const auto answered = [this](const std::string &body) {
        Command(20058, body);
        return Take().size() == 1;
    };
    TryAll(R"({"macList":[{"mac":"m","deviceSerial":"s"}]})",
           {{R"("mac":"m")", "mac", kAnything},
            {R"("deviceSerial":"s")", "deviceSerial", kAnything},
            {R"("macList":[{"mac":"m","deviceSerial":"s"}])", "macList", kAnything}},
           answered);
}

TEST_F(HostileTest, ManualScene) {
    TryAll(R"({"ruleId":"7"})", {{R"("ruleId":"7")", "ruleId", kTexts}}, [this](const std::string &body) {
        tqhost::ModelMessage request;
        request.identifier = "ExecManualScene";
        request.text = body;
        tqhost::DeliverModelRequest(request);
        return Take().at(0).find(" 200 0 ") != std::string::npos;
    });
}

TEST_F(HostileTest, Rules) {
    const std::string event = R"({"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":4})";
    const std::string action = R"({"domain":5,"cmdId":6,"deviceId":"A","channelNo":7,"params":{"value1":8},"delay":9})";
    const std::string trigger = R"("rule":{"condition":2,"events":[)" + event + R"(],"actions":[)" + action + "]}";
    const std::string rule = R"({"id":1,"userId":"u","name":"n","enable":1,"weekdays":["1"],"startTime":"1:2","endTime":"3:4",)" + trigger + "}";
    TryAll(R"([{"Type":"Global","channel":0,"status":[)" + rule + "]}]",
           {{R"("Type":"Global")", "Type", kAnything},
            {R"("channel":0)", "channel", kAnything},
            {R"("id":1)", "id", kAnything},
            {R"("userId":"u")", "userId", kAnything},
            {R"("name":"n")", "name", kAnything},
            {R"("enable":1)", "enable", kAnything},
            {R"("weekdays":["1"])", "weekdays", kArrays},
            {R"("startTime":"1:2")", "startTime", kAnything},
            {R"("endTime":"3:4")", "endTime", kAnything},
            {R"("condition":2)", "condition", kAnything},
            {R"("domain":1)", "domain", kAnything},
            {R"("deviceId":"E")", "deviceId", kAnything},
            {R"("value":4)", "value", kAnything},
            {R"("params":{"value1":8})", "params", kObjects},
            {R"("value1":8)", "value1", kAnything},
            {R"("delay":9)", "delay", kAnything}},
           [](const std::string &body) {
               tqhost::ShadowDesire("InterconnectionRule", "[]"); // so that an equal value is delivered again
               return tqhost::ShadowDesire("InterconnectionRule", body) == 0;
           });
    EXPECT_EQ(tqhost::ShadowDesire("InterconnectionRule", Nested(kLimit + 1)), -1);
    EXPECT_EQ(tqhost::ShadowDesire("InterconnectionRule", Nested(kLimit)), -1) << "parsed, but no rules";
}

TEST_F(HostileTest, DayNightSetting) {
    const auto set = [this](const std::string &body) {
        Command(18829, "<Request><Type>device_ICR_DSS</Type><Value><![CDATA[" + body + "]]></Value></Request>");
        return Take().back().find("<Result>0<") != std::string::npos;
    };
    TryAll(R"({"mode":1,"sensitivity":2,"autoTimeBegin":"1:2","autoTimeEnd":"3:4"})",
           {{R"("mode":1)", "mode", kAnything},
            {R"("sensitivity":2)", "sensitivity", kAnything},
            {R"("autoTimeBegin":"1:2")", "autoTimeBegin", kAnything},
            {R"("autoTimeEnd":"3:4")", "autoTimeEnd", kAnything}},
           set);
}

TEST_F(HostileTest, WholeBodies) {
    const std::pair<std::string, bool> bodies[] = {
        {"", false},
        {std::string(1 << 20, ' '), false},
        {"\"", false},
        {"\"\\u12", false},
        {"{\"delay\"", false},
        {"{\"delay\":", false},
        {"{\"delay\":1,", false},
        {"\xef\xbb\xbf{\"delay\":1,\"channelNo\":1,\"params\":{}}", true}, // a byte-order mark
        {Nested(kLimit + 1), false},
        {R"({"delay":1,"channelNo":1,"params":{},"x":)" + Nested(kLimit - 1) + "}", true},
        {R"({"delay":1,"channelNo":1,"params":{},"x":)" + Nested(kLimit) + "}", false},
        {R"({"params":[],"params":{},"delay":1,"channelNo":1})", false}, // the first of two counts
        {R"({"params":{},"params":[],"delay":1,"channelNo":1})", true},
    };
    for (const auto &[body, answered] : bodies) {
        SCOPED_TRACE(body.substr(0, 60));
        EXPECT_EQ(Answered(20036, body), answered);
    }
}

TEST_F(HostileTest, TimeGrowsWithSizeOnly) {
    // Sixteen keys are looked up in a hundred thousand others; a look-up by index would take minutes.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Answered(20036, R"({"delay":1,"channelNo":1,"params":)" + ManyKeys() + "}"));
    std::string list = "{\"macList\":[{}";
    for (int i = 0; i < 100000; ++i) {
        list += ",{}";
    }
    Command(20058, list + "]}");
    EXPECT_EQ(Take().size(), 1U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

} // namespace
