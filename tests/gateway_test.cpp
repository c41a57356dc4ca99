// SPDX-License-Identifier: Apache-2.0
// tq_gateway as a person or a script runs it: lines in, lines out.
#include "gateway_runner.h"

namespace {

/// The lines that JSON mode gives for these.
Lines Serve(const Lines &lines) {
    const Outcome outcome = RunGateway("--json", Joined(lines));
    EXPECT_EQ(outcome.code, 0);
    return outcome.lines;
}

constexpr const char *kCapture = R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}})";

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
        input.insert(input.end(), {row.line, R"({"status_reset":75})"});
    }
    input.emplace_back(R"({"model":"ExecManualScene","body":{"ruleId":"1"}})"); // the hub still accepts
    input.emplace_back(kCapture);                                               // the host is awake and sends
    const Lines output = Serve(input);

    std::size_t at = 0;
    ASSERT_EQ(output.size(), 2 * std::size(rows) + 6);
    for (const auto &row : rows) {
        EXPECT_TRUE(output[at].rfind(R"({"error":")", 0) == 0 && Contains(output[at], row.error)) << row.line.substr(0, 100) << '\n' << output[at];
        EXPECT_EQ(output[at + 1], R"({"result":0})");
        at += 2;
    }
    EXPECT_TRUE(Contains(output[at + 1], R"("status":200)")) << output[at + 1];
    EXPECT_EQ(output[at + 3], R"({"to":"device","msg":"CAPTURE_PIC","channel":1,"delay":0,"relation_id":"r-1","uiValueNum":1,"auiValue":[3]})");
    EXPECT_EQ(output[at + 4], R"({"to":"platform","command":20035,"seq":7,"response":1,"version":"v1.0.0","body":{"result":0}})");
}

TEST(Gateway, SettingsReachTheHubAndAreReported) {
    const Lines output = Serve({R"({"set":"device_ICR_DSS","value":{"mode":2,"sensitivity":4,"autoTimeBegin":"19:30","autoTimeEnd":"06:15"}})",
                                R"({"hub":{"icr_dss":{"autoTimeEnd":"6:20"}}})", R"({"status_pass":true})"});
    ASSERT_EQ(output.size(), 10U) << Joined(output);
    EXPECT_EQ(output[0], R"({"to":"device","msg":"ICR_DSS","ucMode":2,"ucSensitivity":4,"autoTime":{"begin":70200,"end":22500}})");
    EXPECT_TRUE(Contains(output[4], "19:30") && Contains(output[4], "06:20")) << output[4];
}

TEST(Gateway, HubHearsChimesBySerialThenByAddress) {
    const Lines output = Serve({R"({"hub":{"signals":{"C2":5,"aa:01":7,"aa:02":9,"router":-40},"ssid":"net"}})",
                                R"({"command":20058,"body":{"macList":[{"mac":"aa:01"},{"deviceSerial":"C2","mac":"aa:02"}]}})"});
    EXPECT_TRUE(Contains(Joined(output), R"([{"type":"chime","name":"","signal":7},{"type":"chime","name":"C2","signal":5},)"
                                         R"({"type":"router","name":"net","signal":-40}])"))
        << Joined(output);
}

TEST(Gateway, HubKeepsRulesAndGivesThemBack) {
    const std::string rules =
        R"([{"Type":"Global","channel":1,"status":[{"id":2147483647,"userId":"u","name":"n","enable":1,"weekdays":["1","7"],"startTime":"07:05","endTime":"n23:00","rule":{"condition":2,"events":[{"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"value":4}],"actions":[{"domain":5,"cmdId":6,"deviceId":"e","channelNo":7,"params":{"value1":8,"value2":9},"delay":10}]}}]}])";
    const auto reported = [&](const char *version) {
        return R"({"to":"platform","shadow":"InterconnectionRule","version":)" + (version + rules) + '}';
    };
    const std::string desired = R"({"shadow":"InterconnectionRule","value":)" + rules + '}';
    const std::string get = R"({"shadow_get":"InterconnectionRule"})";
    const Lines output = Serve({R"({"hub":{"rules_version":8,"rules":)" + rules + "}}", get, R"({"hub":{"rules":null,"recv_msg":6}})",
                                desired, // refused, so the hub still has none
                                R"({"hub":{"recv_msg":0}})", desired, get});
    ASSERT_EQ(output.size(), 11U) << Joined(output);
    EXPECT_EQ(output[1], reported(R"(8,"value":)"));
    EXPECT_EQ(output[5], R"({"result":6})");
    EXPECT_EQ(output[7], output[4]) << "the same record reaches the device both times";
    EXPECT_EQ(output[9], reported(R"(10,"value":)"));
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

TEST(Gateway, TimelineReadsLikeAConversation) {
    const Outcome outcome = RunGateway("--text --log error --script /dev/stdin", Joined({"# A picture.", kCapture, "oops"}));
    EXPECT_EQ(Joined(outcome.lines), R"(
# A picture.
platform → module    20034 capture                  seq=7 body={"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}
log error            R:4e42
module   → device    CAPTURE_PIC                    channel=1 delay=0 relation_id="r-1" uiValueNum=1 auiValue=[3]
log error            s:4e43
module   → platform  20035 capture reply            seq=7 response=1 version="v1.0.0" body={"result":0}
                     done
?                    oops
                     error: not JSON: parse error at line 1, column 1: syntax error while parsing value - invalid literal; last read: 'o'
)");
}

TEST(Gateway, ExitCodesTellHowItEnded) {
    const struct {
        int code;
        std::string arguments;
        Lines more;
    } rows[] = {
        {0, "", {"--help", "<&- >&-"}},
        {1, "", {"--module /nowhere.so", ">/dev/full", "--record /dev/full"}},
        {2, "", {"--no-such-option", "--text --json", "--log loud", "--status-interval 0", "--serial a", "--mqtt localhost"}},
        {2, "--script ", {"/nowhere", "/", "x --mqtt localhost --serial a"}},
        {2, "--record ", {"/", "/dev/null --status-interval 1"}},
        {2, "--serial a --mqtt ", {"localhost:0", "localhost:65536", ":1883"}},
        {2, "--mqtt localhost --serial ", {"''", "a/b", "+", "'a#'", "a --mqtt-queue 0", "a --ca-file /nowhere"}},
        {2, "--mqtt localhost --serial a --password-file ", {"x", "/nowhere --user u"}},
    };
    for (const auto &row : rows) {
        for (const std::string &more : row.more) {
            EXPECT_EQ(RunGateway(row.arguments + more + " 2>/dev/null", "oops\n").code, row.code) << row.arguments << more;
        }
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
