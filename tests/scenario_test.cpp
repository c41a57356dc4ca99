// SPDX-License-Identifier: Apache-2.0
// Scripts that check what they cause: played as they are, and run as scenarios.
#include <regex>

#include <pugixml.hpp>

#include "gateway_runner.h"

namespace {

constexpr const char *kCapture = R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{"value1":3}}})";
constexpr const char *kAsleep = R"({"host":{"sleep":1}})";
constexpr const char *kPicture = R"({"to":"device","msg":"CAPTURE_PIC","channel":1,"delay":0,"relation_id":"","uiValueNum":1,"auiValue":[3]})";
constexpr const char *kReply = R"({"to":"platform","command":20035,"seq":7,"response":1,"version":"v1.0.0","body":{"result":0}})";

class Scenario : public testing::Test {
protected:
    std::string Write(const std::string &name, const Lines &lines) const {
        std::ofstream(folder_.Path(name)) << Joined(lines);
        return folder_.Path(name);
    }

    /// What a scenario of these lines prints, without the duration and its folder.
    std::string Run(const Lines &lines, int code, const std::string &options = "") const {
        const Outcome outcome = RunGateway("test " + options + Write("s", lines) + " 2>/dev/null", "");
        EXPECT_EQ(outcome.code, code) << Joined(lines) << "gives:\n" << Joined(outcome.lines);
        std::string text = Joined(outcome.lines);
        for (std::size_t at; (at = text.find(folder_.Path(""))) != std::string::npos;) {
            text.erase(at, folder_.Path("").size());
        }
        return std::regex_replace(text, std::regex("  [0-9.]+ s\n"), "\n");
    }

    const Folder folder_;
};

TEST_F(Scenario, MeetsWhatItExpectsInAnyOrderAndEachLineOnce) {
    EXPECT_EQ(Run({R"({"expect":"none"})", kCapture, "", "# Between.", R"({"expect":{"result":null}})", R"({"expect":{"body":{"result":0}}})",
                   R"({"expect":{"auiValue":[3],"msg":"CAPTURE_PIC"}})", R"({"expect":"none"})", kAsleep, kCapture, R"({"expect":"none"})",
                   R"({"wait":{"result":null},"within":"0ms"})", "oops",
                   R"({"expect":{"error":"not JSON: parse error at line 1, column 1: )"
                   R"(syntax error while parsing value - invalid literal; last read: 'o'"}})"},
                  0),
              "ok    s\n");
    EXPECT_EQ(Run({R"({"wait":{"command":12382},"within":"50s"})"}, 0, "--status-interval 0.05 "), "ok    s\n");

    const std::string input = std::string("        input     ") + kCapture;
    EXPECT_EQ(Run({kCapture, R"({"expect":{"to":"device"}})", R"({"expect":{"to":"device"}})", R"({"expect":"none"})"}, 1),
              Joined({"FAIL  s", "      s:3: did not come, caused by s:1", input, R"(        expected  {"to":"device"})",
                      std::string("        got       ") + kReply, R"(                  {"result":null})",
                      "      s:4: more came than was expected, caused by s:1", input, "        expected  nothing more",
                      std::string("        got       ") + kReply, R"(                  {"result":null})"}));
    EXPECT_EQ(Run({R"({"wait":{"to":"device"},"within":"20ms"})"}, 1),
              Joined({"FAIL  s", "      s:1: did not come within 20 ms", "        input     the start", R"(        expected  {"to":"device"})",
                      "        got       no further line"}));
}

TEST_F(Scenario, MatchesInPart) {
    const struct {
        const char *pattern;
        int code;
    } rows[] = {
        {R"({})", 0},
        {R"({"auiValue":[3.0]})", 0},
        {R"({"auiValue":[]})", 1},
        {R"({"auiValue":[3,3]})", 1},
        {R"({"auiValue":{}})", 1},
        {R"({"body":{}})", 0},
        {R"({"body":{"result":null}})", 1},
        {R"({"body":{"result":0,"x":null}})", 1},
        {R"({"msg":"CAPTURE_PIC","command":20035})", 1},
        {R"({"msg":"CAPTURE"})", 1},
    };
    for (const auto &row : rows) {
        Run({kCapture, std::string(R"({"expect":)") + row.pattern + '}'}, row.code);
    }
}

TEST_F(Scenario, NamesThePlaceOfEachLineThatIsRefused) {
    const std::pair<std::string, std::string> rows[] = {
        {"oops", "refused: not JSON: parse error at line 1, column 1: syntax error while parsing value - invalid literal; last read: 'o'"},
        {R"({"status_pass":1})", "refused: status_pass: expected true"},
        {R"({"expect":"all"})", R"(expect: expected an object or "none")"},
        {R"({"expect":{},"wait":{}})", "wait: unknown field, expected expect"},
        {R"({"wait":{}})", "within: missing"},
        {R"({"wait":5,"within":"1s"})", "wait: expected an object"},
        {R"({"sleep":1})", R"(sleep: expected a duration of up to a day, such as "500ms", "1.5s" or "2m")"},
        {R"({"sleep":"1441m"})", R"(sleep: expected a duration of up to a day, such as "500ms", "1.5s" or "2m")"},
        {R"({"include":"nowhere"})", "include: nowhere: No such file or directory"},
        {R"({"include":"/"})", "include: /: Is a directory"},
    };
    for (const auto &[line, error] : rows) {
        EXPECT_EQ(Run({"# A heading.", line, kAsleep}, 1), "FAIL  s\n      s:2: " + error + '\n');
    }

    const std::string script = "--json --script " + Write("script", {"oops", kAsleep, R"({"expect":{"result":1}})"});
    EXPECT_EQ(RunGateway(script + " 2>/dev/null", "").code, 3);
    EXPECT_EQ(RunGateway(script + " 2>&1 >/dev/null | grep -c 'script:[13]: '", "").lines, Lines{"2"});
    EXPECT_EQ(RunGateway("--json", R"({"sleep":"1s"})").lines, Lines{R"({"error":"sleep: is understood in scripts only"})"});
}

TEST_F(Scenario, IncludesFromTheFoldersOfTheFiles) {
    RunProgram("mkdir " + folder_.Path("sub"), "");
    Write("sub/a", {R"({"include":"b"})", R"({"expect":{"msg":"CAPTURE_PIC"}})", R"({"include":"../s"})", "oops"});
    Write("sub/b", {kCapture});
    EXPECT_EQ(Run({R"({"include":"sub/a"})", R"({"include":"sub/b"})", R"({"expect":{"msg":"CAPTURE_PIC"}})", "[1]"}, 1),
              Joined({"FAIL  s", "      sub/a:3: include: sub/../s includes itself",
                      "      sub/a:4: refused: not JSON: parse error at line 1, column 1: syntax error while parsing value - invalid literal; "
                      "last read: 'o'",
                      "      s:4: refused: expected an object"}));
    const std::string inner = Contents(folder_.Path("sub/b"));
    EXPECT_EQ(RunGateway("--script " + Write("s", {R"({"include":"sub/b"})"}) + " --record " + folder_.Path("sub/b") + " 2>/dev/null", "").code, 2);
    EXPECT_EQ(Contents(folder_.Path("sub/b")), inner);
}

TEST_F(Scenario, EachStartsAfreshAndIsReported) {
    const std::string asleep = Write("asleep", {kAsleep});
    const std::string awake = Write("a&\"<b>\x01\xff", {kCapture, R"({"expect":{"msg":"<&\u0001\ufffe]]>"}})"});
    const std::string report = folder_.Path("report.xml");
    const Outcome outcome = RunGateway("test --junit " + report + ' ' + asleep + " '" + awake + "' /nowhere 2>&1", "");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_TRUE(Contains(Joined(outcome.lines), std::string("got       ") + kPicture)) << "is not asleep: " << Joined(outcome.lines);
    EXPECT_EQ(outcome.lines.back(), "tq_gateway: 2 of 3 scenarios failed");

    pugi::xml_document document;
    const auto parsed = document.load_file(report.c_str());
    ASSERT_TRUE(parsed) << parsed.description() << '\n' << Contents(report);
    EXPECT_EQ(Contents(report).find_first_of("\x01\xff"), std::string::npos);
    const pugi::xml_node suite = document.child("testsuites").child("testsuite");
    Lines tests;
    for (const pugi::xml_node test : suite.children("testcase")) {
        tests.push_back(test.attribute("name").value() + std::string(": ") + test.first_child().name());
    }
    EXPECT_EQ(tests, (Lines{asleep + ": ", folder_.Path("a&\"<b>\xef\xbf\xbd\xef\xbf\xbd") + ": failure", "/nowhere: error"}));
    EXPECT_STREQ(suite.attribute("failures").value(), "1");
    EXPECT_STREQ(suite.attribute("errors").value(), "1");
    EXPECT_TRUE(Contains(suite.find_node([](auto node) { return node.name() == std::string("failure"); }).text().get(), kPicture));
    EXPECT_EQ(RunGateway("test --junit /nowhere/report " + asleep + " 2>/dev/null", "").code, 2);
}

TEST_F(Scenario, PrintsNothingThatCouldSteerATerminal) {
    const std::string expect = "{\"expect\":{\"log\":\"\xc2\x85\"}}";
    EXPECT_EQ(
        Run({"\"\xe2\x80\xae\\u009b\"", expect}, 1),
        Joined({"FAIL  s", "      s:2: did not come, caused by s:1", R"(        input     "\u202e\u009b")", R"(        expected  {"log":"\u0085"})",
                R"(        got       {"error":"expected an object"})", "      s:1: refused: expected an object"}));
    const Outcome outcome = RunGateway("test '" + Write("\x1b[2J\nok", {kAsleep}) + "'", "");
    EXPECT_EQ(outcome.lines.size(), 1U);
    EXPECT_TRUE(Contains(outcome.lines.front(), R"(/\u001b[2J\nok)")) << outcome.lines.front();
}

TEST_F(Scenario, OneThatDiesFailsAndTheNextIsPlayed) {
    Program tests(TQ_GATEWAY " test " + Write("sleeps", {R"({"sleep":"1m"})"}) + ' ' + Write("next", {kAsleep}));
    const std::string children = "/proc/" + std::to_string(tests.Pid()) + "/task/" + std::to_string(tests.Pid()) + "/children";
    RunProgram("sh -c 'until kill -KILL $(cat " + children + ") 2>/dev/null; do sleep 0.05; done'", "");
    tests.Await("sleeps: the process was ended by a signal: Killed");
    tests.Await("ok    " + folder_.Path("next"));
    EXPECT_EQ(tests.WaitForEnd(), 1);
}

} // namespace
