// SPDX-License-Identifier: Apache-2.0
// tq_gateway as a person or a script runs it: lines in, lines out.
#include "gateway_runner.h"

namespace {

TEST(Gateway, RefusesWhatItDoesNotUnderstandAndGoesOn) {
    std::string members = R"({"command":1,"body":{"a":0)";
    for (int i = 0; i < 1000; ++i) {
        members += R"(,"a":0)";
    }
    const std::pair<std::string, const char *> rows[] = {
        {"nonsense", "not JSON"},
        {"\xff", "not JSON"},
        {R"({"command":20034,"body":)" + std::string(100000, '['), "nested deeper"},
        {members + "}}", "more than 1000 members"},
        {'"' + std::string(std::size_t{65} << 20, 'x') + '"', "longer than 64 MiB"},
    };
    Lines input;
    for (const auto &[line, error] : rows) {
        input.insert(input.end(), {line, R"({"status_reset":75})"});
    }
    const Outcome outcome = RunGateway("--json", Joined(input));
    EXPECT_EQ(outcome.code, 0);
    ASSERT_EQ(outcome.lines.size(), 2 * std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const std::string &line = outcome.lines[2 * i];
        EXPECT_TRUE(line.rfind(R"({"error":")", 0) == 0 && Contains(line, rows[i].second)) << line;
        EXPECT_EQ(outcome.lines[2 * i + 1], R"({"result":0})");
    }
}

TEST(Gateway, TimelineReadsLikeAConversation) {
    const std::string capture = R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}})";
    const Outcome outcome = RunGateway("--text --log error --script /dev/stdin", Joined({"# A picture.", capture, "oops"}));
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
