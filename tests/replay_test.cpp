// SPDX-License-Identifier: Apache-2.0
// Recorded sessions: kept, replayed, changed.
#include "gateway_runner.h"

namespace {

/// Replays a recording, which must end like this; all that must be said about it is given in parts.
void ExpectReplay(const std::string &recording, int code, const Lines &parts) {
    const Folder folder;
    std::ofstream(folder.Path("session.jsonl")) << recording;
    const Outcome outcome = RunGateway("replay " + folder.Path("session.jsonl") + " 2>&1", "");
    EXPECT_EQ(outcome.code, code) << recording.substr(0, 10000) << "gives:\n" << Joined(outcome.lines);
    for (const std::string &part : parts) {
        EXPECT_TRUE(Contains(Joined(outcome.lines), part)) << part << '\n' << recording.substr(0, 10000) << "gives:\n" << Joined(outcome.lines);
    }
}

TEST(Replay, TourIsRecordedAndShowsEveryKindOfLine) {
    const Folder folder;
    const std::string file = folder.Path("tour.jsonl");
    ASSERT_EQ(RunGateway("--script " TQ_SCENARIOS "/tour.jsonl --record " + file, "").code, 0);
    ASSERT_EQ(RunGateway("replay --update " + file, "").code, 0); // leaves out the time
    const std::string tour = Contents(TQ_SCENARIOS "/tour.recorded.jsonl");
    EXPECT_EQ(Contents(file), tour) << "changed on purpose? Then record and update it, as --help says";
    EXPECT_FALSE(Contains(tour, "error\":"));
    std::istringstream names("command set model model_reply shadow shadow_get kernel_event status_pass status_reset report hub host dclog "
                             "CHIME_ALARM_ACTION CONFIG_RULES CAPTURE_PIC ICR_DSS SCREEN_OVERTIME VIDEO PIC_AND_VIDEO SLEEP CONFIG_AIRULES "
                             "CONFIG_SCENE_RULES MANUAL_SCENE AssistExecAction AssistExecScene ReportNetTopology");
    for (std::string name; names >> name;) {
        EXPECT_TRUE(Contains(tour, '"' + name + '"')) << name;
    }
}

TEST(Replay, WhateverWasTakenReplaysAndIsRecordedAlikeAnew) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    const Lines inputs = {
        "# A heading.",
        "oops",
        R"("oops")",
        "[1]",
        "\xff",
        R"({"command":20034,"body":"a)"
        "\xfe"
        R"("})",
        std::string("{\0}", 3),
        R"({"command":20034,"seq":4294967295,"body":{"delay":1e2,"channelNo":1.0,"params":{"value1":-1}}})",
        R"({"command":20034,"body":)" + std::string(599, '[') + std::string(599, ']') + '}',
        R"({"model":"ExecManualScene","body":{"ruleId":"\u00e9\n"}})",
        std::string((std::size_t{64} << 20) + 1, 'x'),
        "# Another.",
        R"({"status_pass":true})",
    };
    const Outcome shown = RunGateway("--json --log info --reset-report-all --record " + file, Joined(inputs));
    ASSERT_EQ(shown.code, 0);
    const std::string recording = Contents(file);
    Lines outputs;
    for (const std::string &line : Split(recording)) {
        if (line.rfind(R"({"out":)", 0) == 0) {
            outputs.push_back(line.substr(7, line.size() - 8));
        }
    }
    EXPECT_EQ(outputs, shown.lines);
    EXPECT_EQ(RunGateway("replay " + file, "").code, 0);

    std::ofstream(file) << recording.substr(0, recording.rfind(R"({"out":{"to":)")); // without what comes last
    EXPECT_EQ(RunGateway("replay " + file + " 2>/dev/null", "").code, 1);
    EXPECT_EQ(RunGateway("replay --update " + file, "").code, 0);
    EXPECT_EQ(Contents(file), recording);
    EXPECT_EQ(RunGateway("replay --update /dev/null 2>&1", "").code, 2) << "is no recording";
    EXPECT_EQ(RunGateway("--module /nowhere replay --update " + file + " 2>&1", "").code, 1);
    EXPECT_EQ(Contents(file), recording) << "stays as it was";
}

constexpr const char *kSession = R"({"session":{"log":0,"reset_report_all":false}})";
constexpr const char *kSleep = R"({"in":{"host":{"sleep":1}}})";
constexpr const char *kDone = R"({"out":{"result":null}})";
constexpr const char *kScene = R"({"model":"ExecManualScene","seq":1,"body":{"ruleId":"42"}})";

TEST(Replay, SessionKeepsTheLogLevelByNumber) {
    const Folder folder;
    const std::pair<const char *, int> rows[] = {{"non", 0}, {"error", 1}, {"warning", 2}, {"Debug", 3}, {"info", 4}, {"2", 2}};
    for (const auto &[name, level] : rows) {
        RunGateway("--record " + folder.Path("session.jsonl") + " --log " + name, "");
        EXPECT_EQ(Split(Contents(folder.Path("session.jsonl"))).at(0),
                  R"({"session":{"log":)" + std::to_string(level) + R"(,"reset_report_all":false}})");
    }
}

TEST(Replay, TellsTheFirstDifference) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    ASSERT_EQ(RunGateway("--json --record " + file, Joined({R"({"host":{"sleep":1}})", kScene})).code, 0);
    const Lines good = Split(Contents(file));
    ASSERT_EQ(good.size(), 7U) << Joined(good);

    const auto changed = [&](std::size_t at, const std::string &from, const std::string &to) {
        Lines lines = good;
        lines[at].replace(lines[at].find(from), from.size(), to);
        return lines;
    };
    Lines shorter = good;
    shorter.pop_back();
    Lines longer = good;
    longer.push_back(kDone);
    Lines swapped = good;
    std::swap(swapped[4], swapped[5]);
    const struct {
        Lines recording, parts;
    } rows[] = {
        {changed(5, "200", "500"), {":6: differs, caused by line 4", "at        /status: expected 500, got 200"}},
        {changed(2, "null", "0"), {":3: differs, caused by line 2", "expected  {\"result\":0}"}},
        {shorter, {":6: differs, caused by line 4", "expected  no further line"}},
        {longer, {":8: differs, caused by line 4", "got       no further line"}},
        {swapped, {":5: differs, caused by line 4", "input     {\"model\":\"ExecManualScene\""}},
        {changed(3, "ruleId", "ruleIx"), {":5: differs, caused by line 4", "got       {\"to\":\"platform\""}},
    };
    for (const auto &row : rows) {
        ExpectReplay(Joined(row.recording), 1, row.parts);
    }
}

TEST(Replay, RefusesWhatIsNoRecording) {
    EXPECT_EQ(RunGateway("replay /nowhere 2>/dev/null", "").code, 2);
    EXPECT_EQ(RunGateway("replay / 2>/dev/null", "").code, 2);
    ExpectReplay("", 2, {"holds no recording"});
    ExpectReplay(kSleep, 2, {":1: session: missing"});
    for (const auto &[line, error] : {std::pair(R"({"in":{"host":{"sleep":1}})", ":2: not JSON"),
                                      {R"({"up":{}})", ":2: expected in, event, refusal or out"},
                                      {R"({"event":{"kernel_event":"up"}})", ":2: kernel_event: expected online"},
                                      {R"({"in":5})", ":2: not an input"}}) {
        ExpectReplay(Joined({kSession, line}), 2, {error});
    }
}

} // namespace
