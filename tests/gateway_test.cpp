// SPDX-License-Identifier: Apache-2.0
// tq_gateway as a person or a script runs it: lines in, lines out.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "gateway_runner.h"

namespace {

/// The lines that JSON mode gives for these.
Lines Serve(const Lines &lines) {
    const Outcome outcome = RunGateway("--json", Joined(lines));
    EXPECT_EQ(outcome.code, 0);
    return outcome.lines;
}

constexpr const char *kCapture = R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}})";

TEST(Gateway, ShowsACommandAndItsAnswer) {
    EXPECT_EQ(Serve({kCapture}),
              (Lines{R"({"to":"device","msg":"CAPTURE_PIC","channel":1,"delay":0,"relation_id":"r-1","uiValueNum":1,"auiValue":[3]})",
                     R"({"to":"platform","command":20035,"seq":7,"response":1,"version":"v1.0.0","body":{"result":0}})", R"({"result":null})"}));
}

TEST(Gateway, RefusesWhatItDoesNotUnderstandAndGoesOn) {
    const struct {
        std::string line;
        const char *error;
    } rows[] = {
        {"nonsense", "not JSON"},
        {"\xff", "not JSON"},
        {R"([{"status_pass":true}])", "expected an object"},
        {"{}", "no known key"},
        {R"({"command":1,"set":"x"})", "both command and set"},
        {R"({"status_pass":1})", "status_pass: expected true"},
        {R"({"status_pass":true,"sed":1})", "sed: unknown field"},
        {R"({"command":20034.5})", "command: expected a whole number"},
        {R"({"command":20034,"seq":-1})", "seq: expected a whole number from 0 to 4294967295"},
        {R"({"command":20034,"domain":7001})", "domain: 7001 is not registered"},
        {R"({"set":"device_x","value":1})", "set: device_x is not registered"},
        {R"({"shadow":"SceneLinks","value":[]})", "shadow: SceneLinks is not registered"},
        {R"({"kernel_event":"offline"})", "kernel_event: expected online"},
        {R"({"report":"event","channel":1})", "value: missing"},
        {R"({"report":"undone_scene_v3","stSrcEvent":{"stBody":{"acPayload":"x"}},"uiNum":2,"uiSceneList":[1]})", "uiNum: expected 1"},
        {R"({"hub":{"recv_msg":1,"icr_dss":{"mode":256}}})", "hub.icr_dss.mode: expected"},
        {R"({"hub":{"recv_msg":1,"rules":[{"channel":1,"status":[{"id":1}]}]}})", "hub.rules[0].status[0].userId: missing"},
        {R"({"host":{"sleep":1,"fail":{"tqdev_sdk_kernel_send":1,"no_such":1}}})", "host.fail.no_such"},
        {R"({"host":{"sleep":1,"devinfo":{"dev_type":5}}})", "host.devinfo.dev_type: expected a text"},
        {R"({"command":20034,"body":)" + std::string(100000, '['), "nested deeper"},
        {'"' + std::string(std::size_t{65} << 20, 'x') + '"', "longer than 64 MiB"},
    };
    Lines input;
    for (const auto &row : rows) {
        input.push_back(row.line);
        input.emplace_back(R"({"status_reset":75})");
    }
    input.emplace_back(R"({"model":"ExecManualScene","body":{"ruleId":"1"}})"); // the hub still accepts
    input.emplace_back(kCapture);                                               // the host is awake and sends
    const Lines output = Serve(input);

    std::size_t at = 0;
    ASSERT_GE(output.size(), 2 * std::size(rows));
    for (const auto &row : rows) {
        SCOPED_TRACE(row.line.substr(0, 100));
        EXPECT_EQ(output[at].rfind(R"({"error":")", 0), 0U) << output[at];
        EXPECT_TRUE(Contains(output[at], row.error)) << output[at];
        EXPECT_EQ(output[at + 1], R"({"result":0})");
        at += 2;
    }
    ASSERT_EQ(output.size(), at + 6);
    EXPECT_TRUE(Contains(output[at + 1], R"("status":200)")) << output[at + 1];
    EXPECT_TRUE(Contains(output[at + 4], R"("command":20035)")) << output[at + 4];
}

TEST(Gateway, SettingsReachTheHubAndAreReported) {
    const Lines output = Serve({
        R"({"set":"device_ICR_DSS","value":{"mode":2,"sensitivity":4,"autoTimeBegin":"19:30","autoTimeEnd":"06:15"}})",
        R"({"hub":{"screen_lightness":70,"icr_dss":{"autoTimeEnd":"6:20"}}})",
        R"({"status_pass":true})",
    });
    ASSERT_EQ(output.size(), 10U) << Joined(output);
    EXPECT_EQ(output[0], R"({"to":"device","msg":"ICR_DSS","ucMode":2,"ucSensitivity":4,"autoTime":{"begin":70200,"end":22500}})");
    EXPECT_TRUE(Contains(output[4], "19:30") && Contains(output[4], "06:20")) << output[4];
    EXPECT_TRUE(Contains(output[8], R"(device_screen_lightness\" Value=\"70\")")) << output[8];
}

TEST(Gateway, KeepsWhatTheModulePrintsApart) {
    const Lines output = Serve({
        R"({"hub":{"signals":{"C2":5,"aa:01":7,"aa:02":9,"router":-40},"ssid":"net"}})",
        R"({"command":20058,"seq":3,"body":{"macList":[{"mac":"aa:01"},{"deviceSerial":"C2","mac":"aa:02"}]}})",
    });
    ASSERT_EQ(output.size(), 4U);
    EXPECT_EQ(
        output[1],
        R"({"log":"stdout","text":"[QueryChimeSignalReq_Input]{\"macList\":[{\"mac\":\"aa:01\"},{\"deviceSerial\":\"C2\",\"mac\":\"aa:02\"}]}"})");
    EXPECT_EQ(
        output[2],
        R"({"to":"platform","command":20059,"seq":3,"response":1,"version":"v1.0.0","body":{"result":0,"response":[{"type":"chime","name":"","signal":7},{"type":"chime","name":"C2","signal":5},{"type":"router","name":"net","signal":-40}]}})");
}

TEST(Gateway, HubKeepsRulesAndGivesThemBack) {
    const std::string rules =
        R"([{"Type":"Global","channel":1,"status":[{"id":2147483647,"userId":"u","name":"n","enable":1,"weekdays":["1","7"],"startTime":"07:05","endTime":"n23:00","rule":{"condition":2,"events":[{"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"value":4}],"actions":[{"domain":5,"cmdId":6,"deviceId":"e","channelNo":7,"params":{"value1":8,"value2":9},"delay":10}]}}]}])";
    const auto reported = [&](int version) {
        return R"({"to":"platform","shadow":"InterconnectionRule","version":)" + std::to_string(version) + R"(,"value":)" + rules + '}';
    };
    const Lines output = Serve({
        R"({"hub":{"rules":)" + rules + R"(,"rules_version":8}})",
        R"({"shadow_get":"InterconnectionRule"})",
        R"({"hub":{"rules":null,"recv_msg":6}})",
        R"({"shadow":"InterconnectionRule","value":)" + rules + '}', // refused, so the hub still has none
        R"({"hub":{"recv_msg":0}})",
        R"({"shadow":"InterconnectionRule","value":)" + rules + '}',
        R"({"shadow_get":"InterconnectionRule"})",
    });
    ASSERT_EQ(output.size(), 11U) << Joined(output);
    EXPECT_EQ(output[1], reported(8));
    EXPECT_EQ(output[5], R"({"result":6})");
    EXPECT_EQ(output[7], output[4]) << "the same record reaches the device both times";
    EXPECT_EQ(output[9], reported(10));
}

TEST(Gateway, HandsRecordsOverAsACarelessApplicationFillsThem) {
    const std::string head = R"({"report":"undone_actions","uiRuleId":1,"acExtendVal":")" + std::string(128, 'e') +
                             R"(","astUndoneActs":[{"uiDomain":1,"uiCmdId":2,"acDevId":")" + std::string(32, 'd') +
                             R"(","ucChannel":1,"uiDelay":0,"ausValue":[6],"ucValueNum":)";
    const Lines output = Serve({head + "1}]}", head + "17}]}", head + "256}]}"});
    ASSERT_EQ(output.size(), 4U) << Joined(output);
    EXPECT_TRUE(Contains(output[0], R"("deviceId":")" + std::string(32, 'd') + R"(","channelNo":1,"params":{"value1":6})"));
    EXPECT_TRUE(Contains(output[0], R"("extendValue":")" + std::string(128, 'e') + '"'));
    EXPECT_EQ(output[2], R"({"result":-1})");
    EXPECT_EQ(output[3], R"({"error":"astUndoneActs[0].ucValueNum: expected a whole number from 0 to 255"})");
}

TEST(Gateway, TourShowsEveryKindOfLineWithoutAnError) {
    std::ifstream file(TQ_SCENARIOS "/tour.jsonl");
    const std::string script((std::istreambuf_iterator<char>(file)), {});
    const Outcome tour = RunGateway("--json --script '" TQ_SCENARIOS "/tour.jsonl'", "");
    EXPECT_EQ(tour.code, 0);
    const std::string output = Joined(tour.lines);
    EXPECT_FALSE(Contains(output, "error\":"));
    std::istringstream names("command set model model_reply shadow shadow_get kernel_event status_pass "
                             "status_reset report hub host CHIME_ALARM_ACTION CONFIG_RULES CAPTURE_PIC ICR_DSS "
                             "SCREEN_OVERTIME VIDEO PIC_AND_VIDEO SLEEP CONFIG_AIRULES CONFIG_SCENE_RULES "
                             "MANUAL_SCENE AssistExecAction AssistExecScene ReportNetTopology dclog");
    for (std::string name; names >> name;) {
        EXPECT_TRUE(Contains(script + output, '"' + name + '"')) << name;
    }
}

TEST(Gateway, TimelineReadsLikeAConversation) {
    const Outcome outcome = RunGateway("--text --log error", Joined({"# A picture.", kCapture, "oops"}));
    EXPECT_EQ(
        outcome.lines,
        (Lines{
            "", "# A picture.",
            R"(platform → module    20034 capture                  seq=7 body={"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"})",
            "log error            R:4e42",
            R"(module   → device    CAPTURE_PIC                    channel=1 delay=0 relation_id="r-1" uiValueNum=1 auiValue=[3])",
            "log error            s:4e43",
            R"(module   → platform  20035 capture reply            seq=7 response=1 version="v1.0.0" body={"result":0})", "                     done",
            "?                    oops",
            "                     error: not JSON: parse error at line 1, column 1: syntax error while "
            "parsing value - invalid literal; last read: 'o'"}));
}

TEST(Gateway, ExitCodesTellHowItEnded) {
    const struct {
        const char *arguments;
        int code;
    } rows[] = {
        {"--help", 0},
        {"--no-such-option", 2},
        {"--text --json", 2},
        {"--log loud", 2},
        {"--script /nowhere", 2},
        {"--status-interval 0", 2},
        {"--script /", 2},
        {"--module /nowhere.so", 1},
        {"<&- >&-", 0},
        {">/dev/full", 1},
        {"--record /dev/full", 1},
        {"--record /", 2},
        {"--record /dev/null --status-interval 1", 2},
        {"--mqtt localhost", 2},
        {"--serial a", 2},
        {"--mqtt localhost --serial ''", 2},
        {"--mqtt localhost --serial a/b", 2},
        {"--mqtt localhost --serial +", 2},
        {"--mqtt localhost --serial 'a#'", 2},
        {"--mqtt localhost:0 --serial a", 2},
        {"--mqtt localhost:65536 --serial a", 2},
        {"--mqtt :1883 --serial a", 2},
        {"--mqtt localhost --serial a --script x", 2},
        {"--mqtt localhost --serial a --password-file x", 2},
        {"--mqtt localhost --serial a --user u --password-file /nowhere", 2},
        {"--mqtt localhost --serial a --ca-file /nowhere", 2},
        {"--mqtt localhost --serial a --mqtt-queue 0", 2},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(RunGateway(row.arguments + std::string(" 2>/dev/null"), "oops\n").code, row.code) << row.arguments;
    }
}

TEST(Gateway, EndsOnASignalWhilePassesRunAndInputIsOpen) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program gateway(TQ_GATEWAY " --json --status-interval 0.002");
        gateway.Await(R"({"to":"platform","command":12382,)"); // the first pass reports the settings
        EXPECT_EQ(gateway.End(signal), 0);
    }
}

TEST(Gateway, EndsWhenItsReaderIsGone) {
    Program gateway(TQ_GATEWAY " --json");
    gateway.Say("oops\n");
    gateway.Await("error");
    gateway.CloseOutput();
    gateway.Say("oops\n");
    EXPECT_EQ(gateway.WaitForEnd(), 0);
}

} // namespace
