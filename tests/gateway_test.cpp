// SPDX-License-Identifier: Apache-2.0
// tq_gateway as a person or a script runs it: lines in, lines out.
#include <filesystem>

#include "gateway_runner.h"

namespace {

TEST(Gateway, RefusesWhatItDoesNotUnderstandAndGoesOn) {
    std::string members = R"({"command":1,"body":{"a":0)";
    for (int i = 0; i < 1000; ++i) {
        members += R"(,"a":0)";
    }
    std::string elements = "[0"; // one more than there is room to count
    for (int i = 0; i < 65535; ++i) {
        elements += ",0";
    }
    const std::pair<std::string, std::string> rows[] = {
        {"nonsense", "not JSON"},
        {"\xff", "not JSON"},
        {R"({"command":20034,"body":)" + std::string(100000, '['), "nested deeper"},
        {members + "}}", "an object of more than 1000 members"},
        {R"({"report":"undone_actions_v3","pstActions":)" + elements + "]}", "pstActions: expected an array of at most 65535"},
        {R"({"hub":{"rules":)" + elements + "]}}", "hub.rules: expected an array of at most 65535"},
        {'"' + std::string(std::size_t{65} << 20, 'x') + '"', "a line longer than 64 MiB"},
    };
    Lines input;
    for (const auto &[line, error] : rows) {
        input.insert(input.end(), {line, R"({"status_reset":75})"});
    }
    const Outcome outcome = RunGateway("--json", Joined(input));
    EXPECT_EQ(outcome.code, 0);
    ASSERT_EQ(outcome.lines.size(), 2 * std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const std::string error = R"({"error":")" + rows[i].second;
        EXPECT_EQ(outcome.lines[2 * i].substr(0, error.size()), error);
        EXPECT_EQ(outcome.lines[2 * i + 1], R"({"result":0})");
    }
}

TEST(Gateway, TimelineReadsLikeAConversation) {
    const std::string capture = R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}})";
    const Outcome outcome =
        RunGateway("--text --log error --script /dev/stdin", Joined({"# A picture.", capture, R"({"report":"event","channel":1,"value":5})",
                                                                     R"({"status_reset":74})", R"({"hub":{"ssid":"x"}})", "oops"}));
    EXPECT_EQ(Joined(outcome.lines), R"(
# A picture.
platform → module    20034 capture                  seq=7 body={"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}
log error            R:4e42
module   → device    CAPTURE_PIC                    channel=1 delay=0 relation_id="r-1" uiValueNum=1 auiValue=[3]
log error            s:4e43
module   → platform  20035 capture reply            seq=7 response=1 version="v1.0.0" body={"result":0}
                     done
device   → module    report event                   channel=1 value=5
log error            s:4e12
module   → platform  19986 event                    seq=0 response=0 version="V2.0.0" body={"channelNo":1,"value":5}
                     result 0
host     → module    status reset 74
                     result 0
you      → device    change                         ssid="x"
                     done
?                    oops
                     error: not JSON: parse error at line 1, column 1: syntax error while parsing value - invalid literal; last read: 'o'
)");
}

TEST(Gateway, TimelineNamesCommands) {
    const std::string rows[] = {"12382 setting",           "12383 setting reply", "18829 set value",    "19986 event",         "19988 action result",
                                "19990 undone actions",    "19992 LAN center",    "20034 capture",      "20035 capture reply", "20036 video",
                                "20038 capture and video", "20040 sleep",         "20058 chime signal", "20064 chime alarm",   "20066"};
    std::string lines;
    std::string timeline;
    for (const std::string &row : rows) { // to a domain that nobody has, so that nothing comes back
        lines += R"({"command":)" + row.substr(0, 5) + R"(,"domain":1})" + '\n';
        timeline += "platform → module    " + row + std::string(30 - row.size(), ' ') + " domain=1\n" + std::string(21, ' ') +
                    "error: domain: 1 is not registered\n";
    }
    EXPECT_EQ(Joined(RunGateway("--text", lines).lines), timeline);
}

TEST(Gateway, ShowsWhatSuitsItsReader) {
    const Folder folder;
    std::ofstream(folder.Path("lines")) << "[]\n";
    const auto on_terminal = [](const std::string &command) { return RunProgram("script -qec '" + command + "' /dev/null", "").lines.back(); };
    const std::string run = TQ_GATEWAY " --script " + folder.Path("lines");
    const std::string json = R"({"error":"expected an object"})";
    const std::string text = std::string(21, ' ') + "error: expected an object";
    EXPECT_EQ(RunProgram(run, "").lines.back(), json);
    EXPECT_EQ(RunProgram(run + " --text", "").lines.back(), text);
    EXPECT_EQ(on_terminal("env -u NO_COLOR " + run), "\033[31m" + text + "\033[0m\r");
    EXPECT_EQ(on_terminal("NO_COLOR=1 " + run), text + '\r');
    EXPECT_EQ(on_terminal(run + " --json"), json + '\r');
}

TEST(Gateway, KeepsNothingOfWhatTheModulePrinted) {
    Program gateway(TQ_GATEWAY " --json");
    for (const std::string printed : {"longer than the next", "next"}) {
        gateway.Say(R"({"command":20058,"body":")" + printed + "\"}\n");
        EXPECT_EQ(gateway.Await("stdout"), R"({"log":"stdout","text":"[QueryChimeSignalReq_Input])" + printed + "\"}");
    }
    gateway.Await(R"({"result":null})");
    EXPECT_EQ(std::filesystem::file_size("/proc/" + std::to_string(gateway.Pid()) + "/fd/1"), 0U);
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
        {2, "--serial a --mqtt ", {"localhost:0", "localhost:65536", ":1883", "localhost:", "localhost:x", "localhost:+1", "[::1", "[::1]1", "::1"}},
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
