// SPDX-License-Identifier: Apache-2.0
// Recorded sessions: kept, replayed, changed.
#include <fstream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "gateway_runner.h"

namespace {

constexpr const char *kTour = TQ_SCENARIOS "/tour.recorded.jsonl";

std::string Contents(const std::string &file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Replays a recording; all that is said about it.
Outcome ReplayText(const std::string &recording) {
    const Folder folder;
    std::ofstream(folder.Path("session.jsonl")) << recording;
    return RunGateway("replay " + folder.Path("session.jsonl") + " 2>&1", "");
}

TEST(Replay, RecordedTourIsTheTourAndReplays) {
    const Outcome outcome = RunGateway("replay '" + std::string(kTour) + "' 2>&1", "");
    EXPECT_EQ(outcome.code, 0) << Joined(outcome.lines) << "When the tour or the wire has changed on purpose, record it anew: see --help.";

    std::vector<nlohmann::json> tour;
    for (const std::string &line : Split(Contents(TQ_SCENARIOS "/tour.jsonl"))) {
        if (!line.empty() && line[0] != '#') {
            tour.push_back(nlohmann::json::parse(line));
        }
    }
    std::vector<nlohmann::json> inputs;
    for (const std::string &line : Split(Contents(kTour))) {
        if (line.rfind(R"({"in":)", 0) == 0) {
            inputs.push_back(nlohmann::json::parse(line)["in"]);
        }
    }
    EXPECT_EQ(inputs, tour);
}

TEST(Replay, WhateverWasTakenReplays) {
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
        R"({"status_pass":true})",
    };
    const Outcome recorded = RunGateway("--json --log info --reset-report-all --record " + file, Joined(inputs));
    ASSERT_EQ(recorded.code, 0);
    Lines outputs;
    for (const std::string &line : Split(Contents(file))) {
        if (line.rfind(R"({"out":)", 0) == 0) {
            outputs.push_back(line.substr(7, line.size() - 8));
        }
    }
    EXPECT_EQ(outputs, recorded.lines);
    const Outcome outcome = RunGateway("replay " + file + " 2>&1", "");
    EXPECT_EQ(outcome.code, 0) << Joined(outcome.lines);
}

constexpr const char *kSession = R"({"session":{"log":0,"reset_report_all":false}})";
constexpr const char *kSleep = R"({"in":{"host":{"sleep":1}}})";
constexpr const char *kDone = R"({"out":{"result":null}})";
constexpr const char *kScene = R"({"in":{"model":"ExecManualScene","seq":1,"body":{"ruleId":"42"}}})";

TEST(Replay, TellsTheFirstDifference) {
    const std::string device = R"({"out":{"to":"device","msg":"MANUAL_SCENE",)";
    Lines good = {kSession, kSleep, kDone, kScene};
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    ASSERT_EQ(RunGateway("--json --record " + file, R"({"model":"ExecManualScene","seq":1,"body":{"ruleId":"42"}})").code, 0);
    const Lines scene = Split(Contents(file));
    ASSERT_EQ(scene.size(), 5U) << Joined(scene);
    good.insert(good.end(), scene.begin() + 2, scene.end());
    ASSERT_EQ(ReplayText(Joined(good)).code, 0);

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
        Lines recording;
        const char *where;
        const char *what;
    } rows[] = {
        {changed(5, "200", "500"), ":6: differs, caused by line 4", "at        /status: expected 500, got 200"},
        {changed(2, "null", "0"), ":3: differs, caused by line 2", "expected  {\"result\":0}"},
        {shorter, ":6: differs, caused by line 4", "expected  no further line"},
        {longer, ":8: differs, caused by line 4", "got       no further line"},
        {swapped, ":5: differs, caused by line 4", "input     {\"model\":\"ExecManualScene\""},
        {changed(3, "ruleId", "ruleIx"), ":5: differs, caused by line 4", "got       {\"to\":\"platform\""},
    };
    for (const auto &row : rows) {
        const Outcome outcome = ReplayText(Joined(row.recording));
        SCOPED_TRACE(Joined(row.recording) + "gives:\n" + Joined(outcome.lines));
        EXPECT_EQ(outcome.code, 1);
        EXPECT_TRUE(Contains(Joined(outcome.lines), row.where));
        EXPECT_TRUE(Contains(Joined(outcome.lines), row.what));
    }
}

TEST(Replay, RefusesWhatIsNoRecording) {
    EXPECT_EQ(RunGateway("replay /nowhere 2>/dev/null", "").code, 2);
    EXPECT_EQ(RunGateway("replay / 2>/dev/null", "").code, 2);
    const struct {
        Lines recording;
        const char *error;
    } rows[] = {
        {{}, "holds no recording"},
        {{kSleep}, ":1: session: missing"},
        {{kSession, R"({"in":{"host":{"sleep":1}})"}, ":2: not JSON"},
        {{kSession, R"({"up":{}})"}, ":2: expected in, event, refusal or out"},
        {{kSession, R"({"in":5})"}, ":2: not an input"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = ReplayText(Joined(row.recording));
        SCOPED_TRACE(Joined(row.recording) + "gives:\n" + Joined(outcome.lines));
        EXPECT_EQ(outcome.code, 2);
        EXPECT_TRUE(Contains(Joined(outcome.lines), row.error));
    }
}

} // namespace
