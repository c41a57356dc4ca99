// SPDX-License-Identifier: Apache-2.0
// Recorded sessions: kept, replayed, changed.
#include <regex>

#include <sys/stat.h>

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
    ASSERT_EQ(RunGateway("--no-time --script " TQ_SCENARIOS "/tour.jsonl --record " + file, "").code, 0);
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
    const Outcome shown = RunGateway("--json --log info --reset-report-all --no-time --record " + file, Joined(inputs));
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

    std::string shorter = recording;
    const std::size_t last = shorter.rfind(R"({"out":{"to":)");
    std::ofstream(file) << shorter.erase(last, shorter.find('\n', last) + 1 - last);
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
        RunGateway("--no-time --record " + folder.Path("session.jsonl") + " --log " + name, "");
        EXPECT_EQ(Split(Contents(folder.Path("session.jsonl"))).at(0),
                  R"({"session":{"log":)" + std::to_string(level) + R"(,"reset_report_all":false}})");
    }
}

TEST(Replay, TellsTheFirstDifference) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    ASSERT_EQ(RunGateway("--json --no-time --record " + file, Joined({R"({"host":{"sleep":1}})", kScene})).code, 0);
    const Lines good = Split(Contents(file));
    ASSERT_EQ(good.size(), 7U) << Joined(good);

    const auto changed = [&](std::size_t at, const std::string &from, const std::string &to) {
        Lines lines = good;
        lines[at].replace(lines[at].find(from), from.size(), to);
        return lines;
    };
    Lines shorter = good;
    shorter.erase(shorter.begin() + 2);
    Lines longer = good;
    longer.push_back(kDone);
    Lines swapped = good;
    std::swap(swapped[4], swapped[5]);
    const struct {
        Lines recording, parts;
    } rows[] = {
        {changed(5, "200", "500"), {":6: differs, caused by line 4", "at        /status: expected 500, got 200"}},
        {changed(2, "null", "0"), {":3: differs, caused by line 2", "expected  {\"result\":0}"}},
        {shorter, {":2: differs, caused by line 2", "expected  no further line"}},
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
    ExpectReplay(std::string(kSession) + "\n{\"up\":{}}", 2, {":2: expected in, event, refusal or out"});
    EXPECT_EQ(RunGateway("replay / 2>/dev/null", "").code, 2);
    ExpectReplay("", 2, {"holds no recording"});
    ExpectReplay(kSleep, 2, {":1: session: missing"});
    for (const auto &[line, error] : {std::pair(R"({"in":{"host":{"sleep":1}})", ":2: not JSON"),
                                      {R"({"up":{}})", ":2: expected in, event, refusal or out"},
                                      {R"({"event":{"kernel_event":"up"}})", ":2: kernel_event: expected "},
                                      {R"({"in":5})", ":2: not an input"},
                                      {R"({"out":{},"time":"2026-02-29T04:19:51.123Z"})", ":2: time: expected a time"}}) {
        ExpectReplay(Joined({kSession, line}), 2, {error});
    }
}

TEST(Replay, ReadsWhatScriptsMayHaveAndKeepsIt) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    const std::string start = std::string("\n# Before.\n\n") + kSession + "\n\n# Sleep.\n" + kSleep + '\n';
    const std::string end = std::string(kDone) + "\n\n\n# End.\n\n";
    std::ofstream(file) << std::regex_replace(start, std::regex("\n"), "\r\n\t") << end;
    EXPECT_EQ(RunGateway("replay " + file, "").code, 0);
    EXPECT_EQ(RunGateway("replay --update " + file, "").code, 0);
    EXPECT_EQ(Contents(file), start + end);
}

TEST(Replay, PlaysARecordingThatWasCutOffToThere) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    const std::string scene = std::string(R"({"in":)") + kScene + '}';
    for (const std::string &last : {std::string(R"({"out":{"to":"device","ms)"), scene.substr(0, 30), std::string()}) {
        std::ofstream(file) << Joined({kSession, scene}) << last;
        const Outcome outcome = RunGateway("replay " + file + " 2>&1", "");
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.lines, Lines{"tq_gateway: " + file + ":3: the recording was cut off; it ends before this line"});
    }
    std::ofstream(file) << Joined({kSession, scene, R"({"out":{"to":"device","msg":"MANUAL_SCENE","uiSceneId":42}})"});
    EXPECT_EQ(RunGateway("replay " + file + " 2>&1", "").lines,
              Lines{"tq_gateway: " + file + ":4: the recording was cut off; it ends before this line"});
    ASSERT_EQ(RunGateway("replay --update " + file + " 2>&1", "").code, 0);
    EXPECT_EQ(Split(Contents(file)).size(), 5U) << "has all that the scene causes: " << Contents(file);
}

TEST(Recording, TakesItsPlaceOnlyWhenItIsWhole) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    const std::string part = file + ".part";
    const std::string old = Joined({kSession, kSleep, kDone});
    std::ofstream(file) << old;
    symlink(file.c_str(), folder.Path("link").c_str());
    const auto untouched = [&](const std::string &arguments, int code, const std::string &word) {
        const Outcome outcome = RunGateway(arguments + " 2>&1", "oops\n");
        EXPECT_EQ(outcome.code, code) << arguments;
        EXPECT_TRUE(Contains(Joined(outcome.lines), word)) << arguments << " says " << Joined(outcome.lines);
        EXPECT_EQ(Contents(file), old) << arguments;
    };
    untouched("--record " + file + " --script " + folder.Path("link"), 2, "is the script, too");
    untouched("--record " + file + " <" + file, 2, "is the standard input, too");
    EXPECT_EQ(RunGateway("--record " + file + " 2>/dev/null >>" + file, "").code, 2) << "is the standard output";
    EXPECT_EQ(RunGateway("--record " + file + " 2>>" + file, "").code, 2) << "is the standard error, which says so";
    std::ofstream(file) << old;
    for (const std::string option :
         {"--module ", "--application ", "--serial a --mqtt localhost --ca-file ", "--serial a --mqtt localhost --user u --password-file "}) {
        untouched(option + folder.Path("link") + " --record " + file, 2, ", too");
    }
    untouched("--record " + file + " --module /nowhere.so", 1, "/nowhere.so");
    untouched("--record " + file + " --script /", 2, "Is a directory");
    std::ofstream(folder.Path("includes")) << R"({"include":"nowhere"})";
    untouched("--record " + file + " --script " + folder.Path("includes"), 3, "nowhere: No such file");
    untouched("--record " + file + " --serial a --mqtt localhost --ca-file /nowhere", 2, "--");
    EXPECT_NE(access(part.c_str(), F_OK), 0) << "a start that fails leaves nothing";

    Program gateway(TQ_GATEWAY " --json --record " + folder.Path("link"));
    gateway.Say("oops\n");
    gateway.Await("not JSON");
    const std::string written = ": is being written by another process";
    const std::string locked = file + written;
    link(file.c_str(), folder.Path("other").c_str());
    untouched("--record " + folder.Path("other"), 2, folder.Path("other") + written);
    untouched("--record " + file, 2, locked);
    untouched("replay --update " + file, 2, locked);
    untouched("replay " + file, 0, "");
    gateway.End(SIGKILL);
    EXPECT_EQ(Contents(file), old);
    EXPECT_EQ(Split(Contents(part)).size(), 3U) << "has what was recorded: " << Contents(part);

    const Outcome next = RunGateway("--json --no-time --record " + file + " 2>&1", "[]");
    EXPECT_EQ(next.lines, (Lines{"tq_gateway: " + part + " was left behind by a process that was killed; it is now " + file + ".cut",
                                 R"({"error":"expected an object"})"}));
    EXPECT_EQ(Contents(file), Joined({kSession, R"({"in":"[]"})", R"({"out":{"error":"expected an object"}})"}));
    EXPECT_EQ(Split(Contents(file + ".cut")).size(), 3U);
    EXPECT_NE(access(part.c_str(), F_OK), 0);
}

TEST(Recording, NothingIsReadFromItsOwnOutput) {
    const Folder folder;
    const std::string file = folder.Path("lines");
    std::ofstream(file) << "oops\n";
    for (const std::string &arguments : {"<" + file + " >>" + file, "--script " + file + " >>" + file, "<" + file + " 2>>" + file}) {
        EXPECT_EQ(RunProgram("timeout -k 1 5 " TQ_GATEWAY " --json " + arguments, "").code, 2) << arguments;
    }
    EXPECT_EQ(Split(Contents(file)).size(), 2U) << "the last one's words: " << Contents(file);
    EXPECT_EQ(RunProgram("sh -c 'cd " + folder.Path("") + "; : >out; " TQ_GATEWAY " --json <lines >>out'", "").code, 0);
}

TEST(Recording, SurvivesAFullDisk) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    Lines lines = {kSession};
    for (int i = 0; i < 40; ++i) {
        lines.insert(lines.end(), {kSleep, kDone});
    }
    std::ofstream(file) << Joined(lines);
    const std::string full = "sh -c 'ulimit -f 1; exec " TQ_GATEWAY " "; // a file may have 512 bytes
    EXPECT_EQ(RunProgram(full + "replay --update " + file + "' 2>/dev/null", "").code, 1);
    EXPECT_EQ(Contents(file), Joined(lines));
    std::string input;
    for (int i = 0; i < 40; ++i) {
        input += "oops\n";
    }
    const Outcome outcome = RunProgram(full + "--json --record " + file + "' 2>&1 >/dev/null", input);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.lines, Lines{"tq_gateway: " + file + ".part: File too large"});
    EXPECT_EQ(Contents(file), Joined(lines));
    EXPECT_EQ(RunGateway("replay " + file + ".part 2>/dev/null", "").code, 0) << "what was recorded until then";
}

TEST(Recording, OntoAPipeDoesNotHoldUpAStop) {
    const Folder folder;
    const std::string pipe = folder.Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC); // takes nothing
    const Outcome outcome = RunProgram("sh -c 'yes \"[]\" | timeout -k 6 1 " TQ_GATEWAY " --quiet --record " + pipe + "; echo $?' 2>&1", "");
    close(reader);
    EXPECT_EQ(outcome.lines, (Lines{"tq_gateway: " + pipe + ": its reader stands still", "124"})) << "not killed";
}

TEST(Recording, KeepsTimesAndTheirDistances) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    ASSERT_EQ(RunGateway("--json --record " + file, R"({"host":{"sleep":1}})").code, 0);
    const std::regex time(R"x(,"time":"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)"\}\n)x");
    EXPECT_EQ(std::regex_replace(Contents(file), time, "}\n"), Joined({kSession, kSleep, kDone}));
    const Outcome timed = RunGateway("--json --time", R"({"host":{"sleep":1}})");
    EXPECT_EQ(std::regex_replace(Joined(timed.lines), time, "}\n"), "{\"result\":null}\n");
    EXPECT_NE(Joined(timed.lines), "{\"result\":null}\n");

    const auto at = [](std::string line, const std::string &moment) {
        line.pop_back();
        return line + R"(,"time":"2026-)" + moment + R"("})";
    };
    const auto run = [&](const std::string &arguments) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(RunGateway("replay " + arguments + ' ' + file, "").code, 0) << arguments;
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const Lines inputs = {at(kSession, "02-28T23:59:59.900Z"), at(kSleep, "03-01T00:00:00.400Z"), at(kSleep, "03-01T00:00:02.400Z")};
    std::ofstream(file) << Joined({inputs[0], inputs[1], at(kDone, "01-01T00:00:00.000Z"), inputs[2], kDone});
    EXPECT_LT(run(""), 2.4);
    EXPECT_GE(run("--paced"), 2.5);
    run("--update");
    EXPECT_EQ(Contents(file), Joined({inputs[0], inputs[1], kDone, inputs[2], kDone})) << "keeps the times of what went in";
    std::ofstream(file) << Joined({kSession, kSleep, kDone});
    EXPECT_EQ(RunGateway("replay --paced " + file + " 2>&1", "").lines, Lines{"tq_gateway: " + file + ": has no times to keep"});
}

} // namespace
