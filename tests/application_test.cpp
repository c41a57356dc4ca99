// SPDX-License-Identifier: Apache-2.0
// A device application behind the lines: that it is served as on a device, and told what it does wrong.
#include <algorithm>
#include <regex>

#include "gateway_runner.h"

namespace {

const std::string kApplication = "--application " TQ_APPLICATION;
const std::string kPatient = " --callback-limit 60000 "; // emulation is slow

Outcome RunMisuse(const std::string &misuse, const std::string &input, const std::string &more = kPatient) {
    return RunGateway(kApplication + " --json --configuration '" + misuse + "' " + more + " 2>&1", input);
}

const std::string kLightness = R"({"set":"device_screen_lightness","value":"80"})";
const std::string kCapture = R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{}}})";
const std::string kRules = R"({"shadow":"InterconnectionRule","value":[{"channel":1,"status":[]}]})";
const std::string kScene = R"({"shadow":"SceneLink","value":{"scenes":[42]}})";
const std::string kGetRules = R"({"shadow_get":"InterconnectionRule"})";
const std::string kGetScene = R"({"shadow_get":"SceneLink"})";
const std::string kPass = R"({"status_pass":true})";
const std::string kSignals = R"({"command":20058,"body":{"macList":[{"deviceSerial":"CHIME0001","mac":""}]}})";

/// Where a number of `width` bytes at `offset` changes when it changes a little.
std::string LowByte(std::size_t offset, std::size_t width) {
    return std::to_string(__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? offset + width - 1 : offset);
}

/// A watch tells what it sees at once, so what is printed meanwhile comes before or after.
Lines Sorted(Lines lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST(Application, TellsEachMisuseAndGoesOn) {
    const struct {
        std::string misuse;
        Lines input;
        Lines told; // of the lines that come out, those that tell it or show what the application saw
    } rows[] = {
        {"reads the record of the message before",
         {kLightness, kLightness},
         {R"({"misuse":"late_use","text":"recv_msg SCREEN_LIGHTNESS: it used what was lent to it after it had returned"})",
          R"({"log":"stdout","text":"dd"})"}},
        {"reads on a thread of its own",
         {kLightness, kCapture},
         {R"({"misuse":"late_use","text":"recv_msg SCREEN_LIGHTNESS: it used what was lent to it after it had returned"})",
          R"({"log":"stdout","text":"dd"})"}},
        {"reads behind the record",
         {kCapture},
         {R"({"misuse":"beyond","text":"recv_msg CAPTURE_PIC: it used memory behind what it is lent"})", R"({"log":"stdout","text":"dd"})"}},
        {"changes the record",
         {kCapture},
         {R"({"misuse":"write","text":"recv_msg CAPTURE_PIC: it wrote into what it is lent: the record, byte )" + LowByte(4, 4) + R"("})"}},
        {"raises a count",
         {kRules},
         {R"({"misuse":"write","text":"recv_msg CONFIG_RULES: it wrote into what it is lent: pstUnit, byte )" + LowByte(4, 2) + R"("})"}},
        {"changes a text", {kScene}, {R"({"misuse":"write","text":"recv_msg CONFIG_SCENE_RULES: it wrote into what it is lent: the text, byte 1"})"}},
        {"throws", {kRules}, {R"({"misuse":"exception","text":"recv_msg CONFIG_RULES: an exception left it: out of film"})", R"({"result":-1})"}},
        {"throws a number", {kRules}, {R"({"misuse":"exception","text":"recv_msg CONFIG_RULES: an exception left it"})", R"({"result":-1})"}},
        {"initialises",
         {kCapture},
         {R"({"misuse":"lifecycle","text":"tqDevSDK_SmartControl_init is called in a callback, and refused"})",
          R"({"log":"stdout","text":"init -1"})"}},
        {"finalises",
         {kCapture},
         {R"({"misuse":"lifecycle","text":"tqDevSDK_SmartControl_fini is called in a callback, and refused"})",
          R"({"log":"stdout","text":"fini -1"})"}},
        {"finalises on a thread",
         {kCapture},
         {R"({"misuse":"lifecycle","text":"tqDevSDK_SmartControl_fini is called while recv_msg CAPTURE_PIC runs on another thread"})",
          R"({"log":"stdout","text":"fini 0"})"}},
        {"hands over a static rule set",
         {kGetRules},
         {R"({"misuse":"memory","text":"on_get_runtime_info CONFIG_RULES: the rule set is no block of malloc, or was freed already"})",
          R"({"result":-1})"}},
        {"hands over one block",
         {kGetRules},
         {R"({"misuse":"memory","text":"on_get_runtime_info CONFIG_RULES: pstUnit lies inside the block of another array, and each is freed on its own"})",
          R"({"result":-1})"}},
        {"hands over static events",
         {kGetRules},
         {R"({"misuse":"memory","text":"on_get_runtime_info CONFIG_RULES: pstUnit[0].pstRuleUnit[0].pstEvents is no block of malloc, or was freed already"})",
          R"({"result":-1})"}},
        {"hands over an array twice",
         {kGetRules},
         {R"({"misuse":"memory","text":"on_get_runtime_info CONFIG_RULES: pstUnit[0].pstRuleUnit[0].pstActions is the same block as another array, and each is freed on its own"})",
          R"({"result":-1})"}},
        {"counts too many",
         {kGetRules},
         {R"({"misuse":"memory","text":"on_get_runtime_info CONFIG_RULES: pstUnit[0].pstRuleUnit[0].pstEvents is shorter than its count says"})",
          R"({"result":-1})"}},
        {"hands over a literal",
         {kGetScene},
         {R"({"misuse":"memory","text":"on_get_runtime_info SCENE_RULES: the text is no block of malloc, or was freed already"})",
          R"({"result":-1})"}},
        {"hands over a text without end",
         {kGetScene},
         {R"({"misuse":"memory","text":"on_get_runtime_info SCENE_RULES: the text does not end within its block"})", R"({"result":-1})"}},
        {"hands over its only text", // to the pass, which keeps it and has it pushed
         {kPass},
         {R"({"misuse":"memory","text":"on_get_runtime_info SCENE_RULES: the text was handed over before and is the module's"})"}},
        {"replaces the record to fill",
         {kPass},
         {R"({"misuse":"write","text":"on_get_runtime_info SCREEN_LIGHTNESS: it replaced data, whose record it is to fill"})"}},
        {"lengthens the list",
         {kSignals},
         {R"({"misuse":"write","text":"on_get_runtime_info AP_SIGNAL_WITH_MAC: it replaced or lengthened the list, whose entries it is to fill"})"}},
        {"does not finalise",
         {},
         {R"({"misuse":"lifecycle","text":"the application left the module initialised: it did not call tqDevSDK_SmartControl_fini"})"}},
        {"does not stop", {}, {R"({"misuse":"lifecycle","text":"tq_application_stop returned 6"})"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.misuse);
        const Outcome outcome = RunMisuse(row.misuse, Joined(row.input));
        Lines told;
        for (const std::string &line : outcome.lines) {
            const bool shown =
                Contains(line, R"("misuse")") || (Contains(line, R"("log")") && !Contains(line, "Chime")) || line == R"({"result":-1})";
            told.insert(told.end(), shown ? 1 : 0, line);
        }
        EXPECT_EQ(Sorted(told), Sorted(row.told)) << Joined(outcome.lines);
        EXPECT_EQ(outcome.lines.back(), "tq_gateway: " TQ_APPLICATION ": did something wrong, 1 time");
        EXPECT_EQ(outcome.code, 1);
    }
}

TEST(Application, HasNothingRegisteredOnceItHasFinalised) {
    const Outcome outcome = RunMisuse("finalises on a thread", Joined({kCapture, kGetScene}));
    EXPECT_TRUE(Contains(Joined(outcome.lines), R"({"error":"shadow_get: SceneLink is not registered"})")) << Joined(outcome.lines);
}

TEST(Application, IsServedAsOnADevice) {
    const std::string video = R"({"command":20036,"seq":8,"body":{"delay":0,"channelNo":1,"params":{}}})";
    const Outcome outcome = RunMisuse("nothing", Joined({kCapture, video, kRules, kScene, kGetRules, kGetScene, kPass, kSignals,
                                                         R"({"host":{"fail":{"tqdev_sdk_kernel_send":9}}})", kCapture}));
    EXPECT_EQ(Joined(outcome.lines), R"({"to":"device","msg":"CAPTURE_PIC","channel":1,"delay":0,"relation_id":"","uiValueNum":0,"auiValue":[]}
{"to":"platform","command":20035,"seq":7,"response":1,"version":"v1.0.0","body":{"result":0}}
{"result":null}
{"to":"device","msg":"VIDEO","channel":1,"delay":0}
{"to":"platform","command":19986,"seq":0,"response":0,"version":"V2.0.0","body":{"channelNo":1,"value":5}}
{"to":"platform","command":20037,"seq":8,"response":1,"version":"v1.0.0","body":{"result":0}}
{"result":null}
{"to":"device","msg":"CONFIG_RULES","uiVersion":0,"usNum":1,"pstUnit":[{"usType":0,"ucChannel":1,"usNum":0,"pstRuleUnit":[]}]}
{"result":0}
{"to":"device","msg":"CONFIG_SCENE_RULES","uiVersion":0,"rule":{"scenes":[42]},"len":8}
{"result":0}
{"to":"platform","shadow":"InterconnectionRule","version":0,"value":[{"channel":0,"status":[{"id":0,"userId":"","name":"","enable":0,"weekdays":[],"startTime":"00:00","endTime":"00:00","rule":{"condition":0,"events":[{"domain":0,"cmdId":0,"deviceId":"","channelNo":0,"value":0}],"actions":[]}}]}]}
{"result":0}
{"to":"platform","shadow":"SceneLink","version":1,"value":[]}
{"result":0}
{"to":"platform","command":12382,"seq":1,"response":0,"version":"v1.0.0","body":"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Request><DevSerial>TQ00000001</DevSerial><Authorization/><Status Type=\"device_screen_lightness\" Value=\"80\"/></Request>"}
{"to":"platform","shadow":"SceneLink","version":1,"value":[]}
{"result":null}
{"log":"stdout","text":"[QueryChimeSignalReq_Input]{\"macList\":[{\"deviceSerial\":\"CHIME0001\",\"mac\":\"\"}]}"}
{"to":"platform","command":20059,"seq":0,"response":1,"version":"v1.0.0","body":{"result":0,"response":[{"type":"router","name":"","signal":-41}]}}
{"result":null}
{"result":null}
{"to":"device","msg":"CAPTURE_PIC","channel":1,"delay":0,"relation_id":"","uiValueNum":0,"auiValue":[]}
{"result":null}
)");
    EXPECT_EQ(outcome.code, 0);
}

TEST(Application, LinesOfTheVirtualHubAreRefused) {
    Lines lines, refusals;
    for (const char *key : {"hub", "report", "linkage", "event", "members", "done", "explain", "trace", "now", "advance"}) {
        lines.push_back(R"({")" + std::string(key) + R"(":{}})");
        refusals.push_back(R"({"error":")" + std::string(key) + R"(: there is no virtual hub, --application has taken its place"})");
    }
    EXPECT_EQ(RunMisuse("nothing", Joined(lines)).lines, refusals);
}

TEST(Application, TellsASlowCallbackWhileItRuns) {
    const Outcome outcome = RunMisuse("is slow", kCapture, "--callback-limit 50");
    EXPECT_EQ(outcome.lines.at(1),
              R"({"misuse":"slow","text":"recv_msg CAPTURE_PIC: it has not returned after 50 ms, and a thread of the SDK waits"})");
    EXPECT_EQ(outcome.lines.size(), 5U) << Joined(outcome.lines);
}

TEST(Application, EndsOnASignalThoughACallbackNeverReturns) {
    Program gateway(TQ_GATEWAY " --json --configuration hangs " + kApplication);
    gateway.Say(kCapture + '\n');
    gateway.Await("has not returned after 200 ms");
    EXPECT_EQ(gateway.End(SIGTERM), 1);
    EXPECT_EQ(Split(gateway.Printed()).size(), 2U);
}

TEST(Application, ThatDoesNotStartIsToldInWords) {
    const std::pair<std::string, std::string> rows[] = {
        {kApplication + " --configuration 'does not start'", "tq_gateway: tq_application_start failed: 5"},
        {kApplication + " --configuration 'does not initialise'",
         "tq_gateway: tq_application_start did not initialise the module: tqDevSDK_SmartControl_init was not called"},
        {kApplication + " --configuration 'throws at start'", "tq_gateway: tq_application_start failed: -1"},
        {"--application " TQ_MODULE, "tq_gateway: " TQ_MODULE ": it offers no function tq_application_stop, see tq_application.h"},
    };
    for (const auto &[arguments, said] : rows) {
        const Outcome outcome = RunGateway(arguments + " --json 2>&1", kCapture);
        EXPECT_EQ(outcome.lines.back(), said);
        EXPECT_EQ(outcome.code, 1);
    }
    const Outcome nowhere = RunGateway("--application /nowhere.so 2>&1", "");
    EXPECT_TRUE(std::regex_match(nowhere.lines.back(), std::regex("tq_gateway: .*/nowhere.so: .*No such file or directory"))) << nowhere.lines.back();
    EXPECT_EQ(nowhere.code, 1);
    EXPECT_EQ(RunGateway(kApplication + " --reset-report-all 2>&1", "").code, 2);
}

TEST(Application, TimelineTellsMisuseAsASentence) {
    const Outcome outcome = RunGateway(kApplication + " --text --no-time --configuration throws" + kPatient + "2>/dev/null", kCapture);
    EXPECT_EQ(outcome.lines.at(2), "misuse exception     recv_msg CAPTURE_PIC: an exception left it: out of film");
}

TEST(Application, ARecordingIsReplayedWithIt) {
    const Folder folder;
    const std::string recording = folder.Path("recording");
    RunMisuse("raises a count", Joined({kRules, kGetRules}), kPatient + "--record " + recording);
    const auto replay = [&](const std::string &misuse) {
        return RunGateway("replay " + recording + " --configuration '" + misuse + "' " + kApplication + kPatient + "2>&1", "").code;
    };
    EXPECT_EQ(replay("raises a count"), 0);
    EXPECT_EQ(replay("nothing"), 1);
}

} // namespace
