// SPDX-License-Identifier: Apache-2.0
// The virtual hub with its rules: the evening, the machine's time, the explain command. Every line and what it
// may be refused for is recorded in contract/linkage.jsonl.
#include "gateway_runner.h"

namespace {

const std::string kLinkage = R"({"serial":"HUB000001","delay_unit_ms":100,"day_1":"Monday"})";

std::string RuleText(int id, const std::string &name, const std::string &weekdays, const std::string &device, int delay) {
    return R"({"id":)" + std::to_string(id) + R"(,"userId":"u","name":")" + name + R"(","enable":1,"weekdays":)" + weekdays +
           R"(,"startTime":"00:00","endTime":"23:59","rule":{"condition":0,"events":[{"domain":1,"cmdId":1,"deviceId":")" + device +
           R"(","channelNo":0,"value":1}],"actions":[{"domain":1,"cmdId":2,"deviceId":"HUB000001","channelNo":0,"params":{},"delay":)" +
           std::to_string(delay) + "}]}}";
}

std::string RuleValue(const Lines &rules) {
    std::string text;
    for (const std::string &rule : rules) {
        text += (text.empty() ? "" : ",") + rule;
    }
    return R"([{"channel":1,"status":[)" + text + "]}]";
}

const std::string kEveryDay = R"(["1","2","3","4","5","6","7"])";
const std::string kWorkdays = R"(["1","2","3","4","5"])";
const std::string kEvent = R"({"deviceId":"A","domain":1,"cmdId":1,"channelNo":0,"value":1})";

TEST(RuleEngine, EveningIsRecorded) {
    const Folder folder;
    const std::string file = folder.Path("evening.jsonl");
    ASSERT_EQ(RunGateway("--no-time --script " TQ_SCENARIOS "/evening.jsonl --record " + file, "").code, 0);
    ASSERT_EQ(RunGateway("replay --update " + file, "").code, 0); // leaves out the time of the results
    const std::string evening = Contents(TQ_SCENARIOS "/evening.recorded.jsonl");
    EXPECT_EQ(Contents(file), evening) << "changed on purpose? Then record and update it, as --help says";
    std::istringstream kinds("rules fired delayed run result undone held fires misses");
    for (std::string kind; kinds >> kind;) {
        EXPECT_TRUE(Contains(evening, R"({"linkage":")" + kind + '"')) << kind;
    }
}

// Effects come by themselves, also while a line is only half there.
TEST(RuleEngine, MachineTimeNeedsNoLine) {
    const Folder folder;
    std::ofstream(folder.Path("linkage.json")) << kLinkage;
    Program gateway(TQ_GATEWAY " --json --linkage " + folder.Path("linkage.json"));
    gateway.Say(R"({"hub":{"rules":)" + RuleValue({RuleText(1, "Late", kEveryDay, "A", 2)}) + "}}\n");
    gateway.Say(R"({"event":)" + kEvent + "}\n{\"status_");
    EXPECT_EQ(gateway.Await(R"("linkage":"delayed")"), R"({"linkage":"delayed","rule":1,"name":"Late","action":1,"ms":200,)"
                                                       R"("text":"rule 1 \"Late\" action 1 waits 200 ms"})");
    gateway.Await(R"({"result":null})");
    gateway.Await(R"({"linkage":"run",)");
    gateway.Await(R"({"to":"platform","command":19988,)");
    gateway.Say("reset\":75}\n");
    EXPECT_EQ(gateway.Await("result\":"), R"({"result":0})");
}

TEST(RuleEngine, AdvanceStopsWhereSomethingIsDue) {
    const std::string lines =
        R"({"linkage":)" + kLinkage + "}\n" + R"({"now":"2028-02-28T23:59:59"})" + '\n' + R"({"hub":{"rules":)" +
        RuleValue({RuleText(1, "Late", kEveryDay, "A", 10), RuleText(2, "Later", kEveryDay, "A", 864000), RuleText(3, "First", kEveryDay, "A", 5)}) +
        "}}\n" + R"({"event":)" + kEvent + "}\n" + R"({"advance":"366d"})" + '\n';
    Lines runs;
    for (const std::string &line : RunGateway("--json", lines).lines) {
        if (Contains(line, R"("linkage":"run")")) {
            runs.push_back(line.substr(0, line.find(R"(,"action")")));
        }
    }
    EXPECT_EQ(runs, (Lines{R"({"linkage":"run","at":"2028-02-28T23:59:59","rule":3,"name":"First")",
                           R"({"linkage":"run","at":"2028-02-29T00:00:00","rule":1,"name":"Late")",
                           R"({"linkage":"run","at":"2028-02-29T23:59:59","rule":2,"name":"Later")"}));
}

TEST(RuleEngine, SaysWhatDidNotFitIntoATrace) {
    const std::string lines = R"({"linkage":{"serial":"HUB000001","delay_unit_ms":1,"day_1":"Monday","held_max":1}})"
                              "\n"
                              R"({"hub":{"rules":)" +
                              RuleValue({RuleText(1, "x", "[]", "A", 0), RuleText(2, "y", "[]", "A", 0), RuleText(3, "z", "[]", "A", 0)}) + "}}\n" +
                              R"({"event":)" + kEvent + "}\n" + R"({"trace":"held"})" + '\n';
    const std::string held = R"({"linkage":"held","rule":3,"name":"z","why":"DAY","wanted":0,"got":)";
    const Lines shown = RunGateway("--json", lines).lines;
    ASSERT_EQ(shown.size(), 8U) << Joined(shown);
    EXPECT_EQ(shown[3], R"({"linkage":"lost","entries":2,"text":"2 entries did not fit into the traces: fired_max, held_max"})");
    EXPECT_EQ(shown[4].substr(0, held.size()), held);
    EXPECT_EQ(shown[6], shown[4]);
}

TEST(RuleEngine, KnowsTheDeviceByItsOwnSerial) {
    const std::string lines = R"({"linkage":{"delay_unit_ms":1,"day_1":"Monday","condition":{"0":"any"}}})"
                              "\n"
                              R"({"hub":{"rules":)" +
                              RuleValue({RuleText(1, "x", kEveryDay, "A", 0)}) + "}}\n" + R"({"event":)" + kEvent + "}\n";
    const auto shows = [&](const std::string &options, const std::string &kind) {
        return Contains(Joined(RunGateway("--json " + options, lines).lines), R"({"linkage":")" + kind + '"');
    };
    EXPECT_TRUE(shows("--serial HUB000001", "run"));
    EXPECT_TRUE(shows("", "undone")) << "its action is for another device";
}

TEST(RuleEngine, HeldRulesAreDim) {
    const Folder folder;
    std::ofstream(folder.Path("lines")) << R"({"linkage":)" << kLinkage << "}\n"
                                        << R"({"now":"2026-11-21T09:00"})" << '\n'
                                        << R"({"hub":{"rules":)" << RuleValue({RuleText(1, "Work", kWorkdays, "A", 0)}) << "}}\n"
                                        << R"({"event":)" << kEvent << "}\n";
    const Lines lines =
        RunProgram("script -qec 'env -u NO_COLOR " TQ_GATEWAY " --no-time --script " + folder.Path("lines") + "' /dev/null", "").lines;
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "\033[2mSat 21 Nov 09:00:00  rule 1 \"Work\" held: day 6 is not among 1 2 3 4 5\033[0m\r");
}

TEST(RuleEngine, ExplainTellsOfEveryRule) {
    const Folder folder;
    std::ofstream(folder.Path("rules")) << RuleValue(
        {RuleText(1, "Other", kEveryDay, "B", 0), RuleText(2, "Work", kWorkdays, "A", 0), RuleText(3, "fired: x", kEveryDay, "A", 0)});
    std::ofstream(folder.Path("sunday")) << R"({"delay_unit_ms":1,"day_1":"Sunday"})";
    const std::string command = "explain " + folder.Path("rules") + " 2>/dev/null --at 2026-11-20T23:30 --event '" + kEvent + "' ";
    EXPECT_EQ(Joined(RunGateway(command, "").lines), R"(Fri 20 Nov 23:30:00  rule 2 "Work" fires: event 1 has value 1
Fri 20 Nov 23:30:00  rule 3 "fired: x" fires: event 1 has value 1
Fri 20 Nov 23:30:00  rule 1 "Other" misses: it does not name A
)");
    EXPECT_EQ(
        Joined(RunGateway(command + "--json --linkage " + folder.Path("sunday"), "").lines),
        R"({"linkage":"fires","at":"2026-11-20T23:30:00","rule":3,"name":"fired: x","event":1,"value":1,"text":"rule 3 \"fired: x\" fires: event 1 has value 1"}
{"linkage":"held","at":"2026-11-20T23:30:00","rule":2,"name":"Work","why":"DAY","wanted":31,"got":6,"text":"rule 2 \"Work\" held: day 6 is not among 1 2 3 4 5"}
{"linkage":"misses","at":"2026-11-20T23:30:00","rule":1,"name":"Other","why":"OTHER_DEVICE","got":"A","text":"rule 1 \"Other\" misses: it does not name A"}
)");
}

// Only explain has the rule itself at hand; a trace has its id, which names none of two.
TEST(RuleEngine, RulesThatShareAnIdAreNotMixedUp) {
    const std::string lines = R"({"linkage":)" + kLinkage + "}\n" + R"({"now":"2026-11-20T23:30"})" + '\n' + R"({"hub":{"rules":)" +
                              RuleValue({RuleText(1, "first", kEveryDay, "B", 0), RuleText(1, "second", kEveryDay, "A", 0)}) + "}}\n" +
                              R"({"explain":)" + kEvent + "}\n" + R"({"event":)" + kEvent + "}\n";
    Lines texts;
    for (const std::string &line : RunGateway("--text --no-time", lines).lines) {
        if (Contains(line, "  rule 1 ")) {
            texts.push_back(line);
        }
    }
    texts.resize(3);
    EXPECT_EQ(texts, (Lines{R"(Fri 20 Nov 23:30:00  rule 1 "second" fires: event 1 has value 1)",
                            R"(Fri 20 Nov 23:30:00  rule 1 "first" misses: it does not name A)",
                            R"(Fri 20 Nov 23:30:00  rule 1 fired: event 1 has value 1)"}));
}

TEST(RuleEngine, StatisticsBeginBeforeTheyEnd) {
    const std::string post = R"({"report":"dclog","from":"linkage"})"
                             "\n";
    const auto now = [](const std::string &day) { return R"({"now":)" + day + "}\n"; };
    const std::string lines = R"({"linkage":)" + kLinkage + "}\n" + now(R"("1970-01-03T00:00")") + R"({"advance":"1d"})" + '\n' +
                              now(R"("1970-01-02T00:00")") + post + now("null") + post + now(R"("1970-01-02T00:00")") + post;
    Lines periods;
    for (const std::string &line : RunGateway("--json", lines).lines) {
        if (Contains(line, R"("dclog":)")) {
            periods.push_back(line.substr(line.find("uiStart"), line.find(R"(,"acDevId")") - line.find("uiStart")));
        }
    }
    EXPECT_EQ(periods, (Lines{R"(uiStartTime_sec":86400,"uiStartTime_usec":0,"uiEndTime_sec":86400,"uiEndTime_usec":0)",
                              R"(uiStartTime_sec":0,"uiStartTime_usec":0,"uiEndTime_sec":0,"uiEndTime_usec":0)",
                              R"(uiStartTime_sec":86400,"uiStartTime_usec":0,"uiEndTime_sec":86400,"uiEndTime_usec":0)"}));
}

TEST(RuleEngine, OptionsAreRefusedWithTheirReason) {
    const Folder folder;
    std::ofstream(folder.Path("rules")) << RuleValue({RuleText(1, "x", kEveryDay, "A", 0)});
    std::ofstream(folder.Path("unit")) << RuleValue({}).replace(1, 0, "{},");
    std::ofstream(folder.Path("unknown")) << R"({"delay_unit_ms":1,"day_1":"Monday","delay":1})";
    const std::string rules = "explain " + folder.Path("rules");
    const std::string at = " --at 2026-11-20T23:30";
    const std::string event = " --event '" + kEvent + "'";
    const struct {
        std::string arguments;
        int code;
        std::string said;
    } rows[] = {
        {"--linkage " + folder.Path("unknown"), 2, folder.Path("unknown") + ": delay: unknown field"},
        {"--linkage /nowhere", 2, "/nowhere: No such file or directory"},
        {"--application x --linkage y", 2, "--application: not together with --linkage"},
        {"--linkage /tmp", 2, "/tmp: Is a directory"},
        {"explain /tmp" + at + event, 2, "/tmp: Is a directory"},
        {"explain - </tmp" + at + event, 2, "<stdin>: Is a directory"},
        {"explain - <" + folder.Path("rules") + at + event, 0, "rule 1 \"x\" fires"},
        {rules + at + event + " --linkage /tmp", 2, "/tmp: Is a directory"},
        {"check --devices /tmp " + folder.Path("rules"), 2, "/tmp: Is a directory"},
        {"check /tmp", 2, "/tmp: Is a directory"},
        {rules + at, 2, "--event is missing"},
        {rules + event, 2, "--at is missing"},
        {rules + event + " --at 2027-02-29T00:00", 2, "--at: expected a time of the years 1970 to 2099"},
        {rules + at + " --event '{}'", 2, "--event: domain: missing"},
        {rules + at + " --event '{'", 2, "--event: not JSON"},
        {rules + at + event + " --linkage " + folder.Path("unknown"), 2, folder.Path("unknown") + ": delay: unknown field"},
        {"explain /nowhere" + at + event, 2, "/nowhere: No such file or directory"},
        {rules + at + event + " >/dev/full", 1, "standard output: No space left on device"},
        {"explain " + folder.Path("unit") + at + event, 1,
         folder.Path("unit") + ": these rules are refused\n" + folder.Path("unit") + ":1:2: refused /0: \"channel\" is missing"},
        {"--text " + rules + at + event, 2, "explain: not together with --text"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = RunGateway("2>&1 " + row.arguments, "");
        EXPECT_EQ(outcome.code, row.code) << row.arguments;
        EXPECT_TRUE(Contains(Joined(outcome.lines), row.said)) << row.arguments << '\n' << Joined(outcome.lines);
    }
}

} // namespace
