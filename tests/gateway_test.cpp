// SPDX-License-Identifier: Apache-2.0
// tq_gateway as a person or a script runs it: lines in, lines out.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <regex>
#include <set>

#include <nlohmann/json.hpp>
#include <pty.h>

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
        RunGateway("--text --no-time --log error --script /dev/stdin", Joined({"# A picture.", capture, R"({"report":"event","channel":1,"value":5})",
                                                                               R"({"status_reset":74})", R"({"hub":{"ssid":"x"},"id":3})", "oops"}));
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
you      → device    change                         ssid="x" id=3
                     done id=3
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
    EXPECT_EQ(Joined(RunGateway("--text --no-time", lines).lines), timeline);
}

TEST(Gateway, TimelineEscapesWhatCouldSteerATerminal) {
    const std::string rows[] = {"\\u001b[2J", "\\u007f", "\\u009b2J", "\\u202e", "\\u2066", "\\u200f", "\\u2028"};
    Lines input = {"# \x1b]0;title\x07 \xc2\x9b", "\xff\xed\xa0\x80\xc0\x80", R"({"x\u001b":1})"};
    std::string expected = "\n# \\u001b]0;title\\u0007 \\u009b\n";
    for (const std::string &row : rows) {
        input.push_back(R"({"command":")" + row + R"("})");
        input.push_back(R"({"shadow":"SceneLink","value":")" + row + "\"}");
        input.push_back(R"({"kernel_event":"a)" + row + R"(","b)" + row + "\":[\"" + row + "\"]}");
    }
    const Outcome outcome = RunGateway("--text --log debug", Joined(input));
    const std::string timeline = Joined(outcome.lines);
    EXPECT_EQ(timeline.find(expected), timeline.find("\n#"));
    EXPECT_TRUE(Contains(timeline, R"(?                    \xff\xed\xa0\x80\xc0\x80)")) << timeline;
    for (const std::string &row : rows) {
        EXPECT_TRUE(Contains(timeline, "platform → module    " + row + '\n')) << row;
        EXPECT_TRUE(Contains(timeline, "shadow SceneLink               value=" + row + '\n')) << row;
        EXPECT_TRUE(Contains(timeline, "log error            pcValueStr = " + row + '\n')) << row;
    }
    const std::regex raw("[\\x00-\\x09\\x0b-\\x1f\\x7f\\xff]|\xc2[\x80-\x9f]|\xe2\x80[\x8e\x8f\xa8-\xae]|\xe2\x81[\xa6-\xa9]");
    EXPECT_FALSE(std::regex_search(timeline, raw));
}

TEST(Gateway, ShowsWhatSuitsItsReader) {
    const Folder folder;
    std::ofstream(folder.Path("lines")) << "[]\n";
    const auto on_terminal = [](const std::string &command) { return RunProgram("script -qec '" + command + "' /dev/null", "").lines.back(); };
    const std::string run = TQ_GATEWAY " --no-time --script " + folder.Path("lines") + " 2>/dev/null";
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

TEST(Gateway, NamesAMisspeltFieldRatherThanTheOneThatIsMissing) {
    const std::pair<const char *, const char *> rows[] = {
        {R"({"report":"event","channl":1,"id":7})", "channl: unknown field, expected channel, value, id or report"},
        {R"({"event":{"deviceId":"S","domian":1}})", "event.domian: unknown field, expected domain, "},
        {R"({"report":"lan_centor","acCenterDeviceId":"H","uiVersion":3,"acExtend":"x","uiEnable":1,"pLanDevice":[{"acDeviceID":"C"}]})",
         "pLanDevice[0].acDeviceID: unknown field, expected acDeviceId, obligate or uiVersion"},
        {R"({"set":"device_video_time","valu":1})", R"(valu: unknown field, expected value, id, seq or set"})"},
        {R"({"set":"device_video_time","seq":1})", "value: missing"},
        {R"({"report":"event","value":1,"id":7})", "channel: missing"},
    };
    for (const auto &[line, error] : rows) {
        const Outcome outcome = RunGateway("--json", line);
        EXPECT_EQ(outcome.lines.back().substr(0, 10 + strlen(error)), std::string(R"({"error":")") + error);
    }
}

TEST(Gateway, CarriesIdsOnAsTheyAreWritten) {
    const Folder folder;
    const std::string file = folder.Path("session.jsonl");
    Lines input;
    Lines output;
    for (const std::string id : {"1.10", "12345678901234567890123", "-1e400", R"({"a":1,"a":2})", R"([1.0,{"b c":"\\"}])"}) {
        input.push_back(R"({"status_reset":75,"id":)" + id + '}');
        output.push_back(R"({"result":0,"id":)" + id + '}');
    }
    input.push_back("{\"id\": [ 1,\t\"a b\" ] ,\"status_reset\":75}");
    output.push_back(R"({"result":0,"id":[1,"a b"]})");
    EXPECT_EQ(RunGateway("--json --no-time --record " + file, Joined(input)).lines, output);
    EXPECT_EQ(RunGateway("--text --no-time", input[0]).lines,
              (Lines{"host     → module    status reset 75 id=1.10", "                     result 0 id=1.10"}));
    const std::string recording = Contents(file);
    EXPECT_EQ(RunGateway("replay " + file, "").code, 0);
    EXPECT_EQ(RunGateway("replay --update " + file, "").code, 0);
    EXPECT_EQ(Contents(file), recording);
}

TEST(Gateway, ExitCodesTellHowItEnded) {
    const struct {
        int code;
        std::string arguments;
        Lines more;
    } rows[] = {
        {0, "", {"--help", "<&- >&-"}},
        {1, "", {"--module /nowhere.so", ">/dev/full", "--record /dev/full"}},
        {2, "", {"--no-such-option", "--text --json", "--log loud", "--status-interval 0", "--mqtt localhost"}},
        {2, "--script ", {"/nowhere", "/"}},
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

/// A gateway whose output nobody takes until the test does.
class Unread {
public:
    explicit Unread(const std::string &arguments) {
        EXPECT_EQ(pipe2(in_, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out_, O_CLOEXEC), 0);
        pid_ = Start(TQ_GATEWAY " --json " + arguments + " 2>/dev/null", in_[0], out_[1]);
        close(out_[1]);
    }
    ~Unread() {
        EndInput();
        close(out_[0]);
    }
    Unread(const Unread &) = delete;
    Unread &operator=(const Unread &) = delete;

    void Say(const std::string &text) const { EXPECT_EQ(write(in_[1], text.data(), text.size()), static_cast<ssize_t>(text.size())); }

    void EndInput() {
        close(std::exchange(in_[0], -1));
        close(std::exchange(in_[1], -1));
    }

    int WaitForEnd() const { return Wait(pid_); }

    /// Has it end by a signal; the exit code, when that takes two seconds at most.
    int End(int signal) const {
        const auto start = std::chrono::steady_clock::now();
        kill(pid_, signal);
        const int code = Wait(pid_);
        EXPECT_LE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
        return code;
    }

    Lines TakeAll() const {
        std::string text;
        char more[65536];
        for (ssize_t got = 0; (got = read(out_[0], more, sizeof more)) > 0;) {
            text.append(more, static_cast<std::size_t>(got));
        }
        return Split(text);
    }

    /// Takes what is there up to a line with this in it.
    std::string TakeUntil(const std::string &part) const {
        std::string text;
        char more[65536];
        for (std::size_t searched = 0; text.find(part, searched) == std::string::npos;) {
            searched = text.size() - std::min(text.size(), part.size());
            const ssize_t got = read(out_[0], more, sizeof more);
            if (got <= 0) {
                ADD_FAILURE() << "the output ends before " << part;
                break;
            }
            text.append(more, static_cast<std::size_t>(got));
        }
        return text;
    }

private:
    int in_[2] = {-1, -1};
    int out_[2] = {-1, -1};
    pid_t pid_ = -1;
};

constexpr unsigned kLongPause = 1'200'000; // microseconds, beyond the gateway's patience while it runs

/// Has a gateway take lines that cause 1000 lines, more than a pipe holds.
void Fill(const Unread &gateway, const std::string &record) {
    std::string lines;
    for (int i = 0; i < 500; ++i) {
        lines += "{\"show\":\"host\"}\n";
    }
    gateway.Say(lines);
    while (Split(Contents(record + ".part")).size() < 1501) { // a recording is whole
        usleep(1000);
    }
}

TEST(Gateway, WaitsAtItsEndForAReaderThatPauses) {
    const Folder folder;
    Unread gateway("--record " + folder.Path("record"));
    Fill(gateway, folder.Path("record"));
    gateway.EndInput();
    usleep(kLongPause);
    EXPECT_EQ(gateway.TakeAll().size(), 1000);
    EXPECT_EQ(gateway.WaitForEnd(), 0);
}

TEST(Gateway, EndsInTwoSecondsOfASignalWhenItsReaderStandsStill) {
    for (const bool at_its_end : {false, true}) {
        const Folder folder;
        Unread gateway("--record " + folder.Path("record"));
        Fill(gateway, folder.Path("record"));
        if (at_its_end) {
            gateway.EndInput();
            usleep(kLongPause);
        }
        EXPECT_EQ(gateway.End(at_its_end ? SIGTERM : SIGINT), 1);
        EXPECT_EQ(Split(Contents(folder.Path("record"))).size(), 1501);

        const Lines lines = gateway.TakeAll();
        EXPECT_EQ(lines.back(), "{\"dropped\":" + std::to_string(1001 - lines.size()) + '}') << "after whole lines";
    }
}

TEST(Gateway, GoesOnWithoutAReaderThatStandsStillAndTellsItSo) {
    Unread gateway("");
    const std::string value(std::size_t{1} << 20, 'x');
    constexpr int kLines = 40; // of a MiB each
    for (int i = 0; i < kLines; ++i) {
        gateway.Say(R"({"shadow":"SceneLink","value":")" + value + std::to_string(i) + "\"}\n");
    }
    gateway.Say("{\"status_reset\":125}\n"); // once this was taken, all before it was
    const std::string first = gateway.TakeUntil("\"to\":\"device\"");
    gateway.Say("{\"show\":\"host\"}\n");
    std::string text = first + gateway.TakeUntil("\"to\":\"you\"");
    text.erase(text.rfind("{\"to\":\"you\""));

    int lines = 0;
    int dropped = 0;
    for (const std::string &line : Split(text)) {
        std::smatch mark;
        if (line.size() < 100 && std::regex_match(line, mark, std::regex(R"(\{"dropped":(\d+)\})"))) {
            dropped += std::stoi(mark[1]);
        } else {
            ++lines;
        }
    }
    EXPECT_GT(dropped, kLines / 2);
    EXPECT_EQ(lines + dropped, 2 * kLines + 1); // a message and a result for each, the reset's result
    EXPECT_EQ(gateway.End(SIGTERM), 1);
}

TEST(Gateway, EndsWhenItsReaderIsGone) {
    Program gateway(TQ_GATEWAY " --json");
    gateway.Say("oops\n");
    gateway.Await("error");
    gateway.CloseOutput();
    gateway.Say("oops\n");
    EXPECT_EQ(gateway.WaitForEnd(), 0);
}

TEST(Gateway, SaysWhatIsWrongWithAnOption) {
    const std::pair<std::string, std::string> rows[] = {
        {"--jsn", "--jsn: no such option, expected --json, "},
        {"replay x --text", "replay: not together with --text"},
        {"repaly x", "repaly: no such command, expected replay, "},
        {"--jsn=x y", "--jsn: no such option, expected --json, "},
        {"replay x y z", "y: not expected with replay"},
        {"help --text", "--text: not behind the command"},
        {"--text --json", "--text: not together with --json"},
        {"--log loud", "--log: expected non, error, warning, debug, info or 0 to 4"},
        {"--status-interval 0", "--status-interval: expected a number from 0.001 to 1000000"},
        {"--mqtt a", "--mqtt: not without --serial"},
        {"--script", "--script: FILE is missing behind it"},
        {"--script x --script y", "--script: expected once"},
        {"replay", "FILE is missing"},
        {"help commands", "help: expected command, "},
        {"help bogus", "help: expected done, host or hub"},
    };
    for (const auto &[arguments, words] : rows) {
        const Outcome outcome = RunGateway(arguments + " 2>&1", "");
        EXPECT_EQ(outcome.code, 2);
        EXPECT_EQ(outcome.lines.front().substr(0, 12 + words.size()), "tq_gateway: " + words);
    }
    EXPECT_EQ(RunGateway("--version", "").lines, Lines{"tq_gateway " TQ_VERSION});
    EXPECT_EQ(RunGateway("--log INFO", "").lines.size(), 3U);
}

TEST(Gateway, UnderstandsEverySampleOfItsReferenceAndKnowsItsFields) {
    const Folder folder;
    std::ofstream(folder.Path("linkage"))
        << R"({"serial":"HUB000001","delay_unit_ms":1000,"day_1":"Monday","condition":{"0":"any"},"auto_done":null})";
    // A home in which one action runs and another waits.
    const std::string home = Joined(
        {R"({"now":"2026-11-20T23:30:00"})",
         R"({"hub":{"rules":[{"channel":1,"status":[{"id":1,"userId":"","name":"","enable":1,"weekdays":["5"],"startTime":"22:00","endTime":"23:59","rule":{"condition":0,"events":[{"domain":1100,"cmdId":5,"deviceId":"SENSOR001","channelNo":1,"value":1}],"actions":[{"domain":1100,"cmdId":1,"deviceId":"HUB000001","channelNo":1,"params":{},"delay":0},{"domain":1100,"cmdId":1,"deviceId":"HUB000001","channelNo":2,"params":{},"delay":60}]}}]}]}})",
         R"({"event":{"deviceId":"SENSOR001","domain":1100,"cmdId":5,"channelNo":1,"value":1}})"});
    const std::set<std::string> in_scripts = {"expect", "wait", "sleep", "include"};
    std::ofstream(folder.Path("start.jsonl")) << "# Included.\n";
    std::string topic;
    const auto play = [&](const std::string &line) {
        if (in_scripts.count(topic) == 0) {
            return RunGateway("--json --linkage " + folder.Path("linkage"), home + line).lines;
        }
        std::ofstream(folder.Path("script")) << line;
        return RunGateway("test " + folder.Path("script") + " 2>/dev/null", "").lines;
    };
    const std::set<std::string> objects = {"hub", "host", "link", "linkage", "event", "explain", "done"}; // the fields are within
    std::set<std::string> topics;
    std::vector<std::string> fields;
    for (const std::string &line : RunGateway("help --markdown", "").lines) {
        if (line.rfind("### ", 0) == 0) {
            topic = line.substr(4);
            fields.clear();
        } else if (line.rfind("| `", 0) == 0) {
            std::string field = line.substr(3, line.find('`', 3) - 3);
            if (objects.count(topic) > 0) {
                field.erase(0, topic.size() + 1);
            } else {
                field.erase(std::min(field.find_first_of(".["), field.size()));
            }
            if (!field.empty() && (fields.empty() || fields.back() != field)) {
                fields.push_back(field);
            }
        } else if (line.rfind("{\"", 0) == 0) {
            const std::string played = Joined(play(line));
            EXPECT_FALSE(Contains(played, in_scripts.count(topic) > 0 ? "script:1: " + topic : "\"error\"")) << line << '\n' << played;
            topics.insert(topic);

            auto json = nlohmann::ordered_json::parse(line);
            (objects.count(topic) > 0 ? json[topic] : json)["?"] = 0;
            std::string error = play(json.dump()).back();
            error = (in_scripts.count(topic) > 0 ? error : error.substr(0, error.size() - 2)) + ',';
            for (const std::string &field : fields) {
                if (topic != "report dclog" || field.rfind("st", 0) != 0) { // one of these, by the system name
                    EXPECT_TRUE(std::regex_search(error, std::regex(" " + field + "(,| or )"))) << topic << ": " << field << " in " << error;
                }
            }
        }
    }
    EXPECT_TRUE(std::includes(topics.begin(), topics.end(), in_scripts.begin(), in_scripts.end()));
    EXPECT_EQ(topics.count("id"), 1U);
}

// ---- At a terminal. ----

/// A gateway that a person types at.
class Terminal {
public:
    explicit Terminal(const std::string &home, const std::string &arguments = "--json") {
        pid_ = forkpty(&fd_, nullptr, nullptr, nullptr);
        if (pid_ == 0) {
            execl("/bin/sh", "sh", "-c", ("export TERM=xterm XDG_STATE_HOME=" + home + "; exec " TQ_GATEWAY " " + arguments).c_str(), nullptr);
            _exit(127);
        }
        Await("> ");
    }
    ~Terminal() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            Wait(pid_);
        }
        close(fd_);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    /// Types, and waits until this is shown.
    void Type(const std::string &text, const std::string &shown) {
        for (std::size_t done = 0; done < text.size();) { // a terminal takes as much as is read
            pollfd ready = {fd_, POLLIN | POLLOUT, 0};
            poll(&ready, 1, -1);
            if ((ready.revents & POLLIN) != 0) {
                Take();
            } else {
                done += static_cast<std::size_t>(write(fd_, text.data() + done, std::min<std::size_t>(text.size() - done, 1000)));
            }
        }
        Await(shown);
    }

    /// Waits until this is shown, after what was waited for before.
    void Await(const std::string &shown) {
        std::size_t found = std::string::npos;
        while ((found = shown_.find(shown, awaited_)) == std::string::npos) {
            if (!Take()) {
                FAIL() << "waited in vain for: " << shown << "\nafter: " << shown_.substr(awaited_);
            }
        }
        awaited_ = found + shown.size();
    }

    /// Ends the input, or types another key that is to end it; the exit code.
    int End(const std::string &key = "\x04") {
        Type(key, "\n");
        while (Take()) {
        }
        return Wait(std::exchange(pid_, -1));
    }

private:
    bool Take() {
        pollfd waiting = {fd_, POLLIN, 0};
        char text[4096];
        const ssize_t got = poll(&waiting, 1, 60'000) == 1 ? read(fd_, text, sizeof text) : 0;
        shown_.append(text, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return got > 0;
    }

    pid_t pid_ = -1;
    int fd_ = -1;
    std::string shown_;
    std::size_t awaited_ = 0;
};

/// A test with a build that has the line editor.
class AtTerminal : public testing::Test {
protected:
    void SetUp() override {
        if (!TQ_HAVE_EDITOR) {
            GTEST_SKIP() << "this build has no line editor";
        }
    }

    const Folder home_;
};

TEST_F(AtTerminal, ShortFormsBecomeTheLinesThatAreShown) {
    const std::pair<std::string, std::string> rows[] = {
        {"set device_screen_overtime 30", R"({"set":"device_screen_overtime","value":30})"},
        {R"(command 20034 {"delay":0, "channelNo":1,"params":{}} seq=9)",
         R"({"command":20034,"body":{"delay":0, "channelNo":1,"params":{}},"seq":9})"},
        {R"(shadow LocalLink {"a":1.10,"a":2,"b":12345678901234567890123})",
         R"({"shadow":"LocalLink","value":{"a":1.10,"a":2,"b":12345678901234567890123}})"},
        {"set device_screen_overtime 1e400", R"({"set":"device_screen_overtime","value":1e400})"},
        {R"(command 20034 {"delay":1.10,"params":{}} body.channelNo=1 body.params.value1=3)",
         R"({"command":20034,"body":{"delay":1.10,"params":{"value1":3},"channelNo":1}})"},
        {"event", R"({"event":{"deviceId":"SENSOR001","domain":1100,"cmdId":5,"channelNo":1,"value":1}})"},
        {"explain value=7", R"({"explain":{"deviceId":"SENSOR001","domain":1100,"cmdId":5,"channelNo":1,"value":7}})"},
        {"done result=cannot", R"({"done":{"token":1,"result":"cannot"}})"},
        {"report event value=7", R"({"report":"event","channel":1,"value":7})"},
        {"now 2026-11-20T23:30", R"({"now":"2026-11-20T23:30"})"},
        {"help event", "event: Something happens in the home"},
        {"help report event", "report event: Something happened on a channel"},
        {"lan_centor acCenterDeviceId=5", R"({"report":"lan_centor","acCenterDeviceId":"5","uiVersion":3,)"},
        {"hub ssid=home signals.router=-52", R"({"hub":{"ssid":"home","signals":{"router":-52}}})"},
        {"online", R"({"kernel_event":"online"})"},
        {"status_pass", R"({"status_pass":true})"},
        {"status_reset 74", R"({"status_reset":74})"},
        {"show hub", R"({"show":"hub"})"},
        {R"(model ExecManualScene {"ruleId":"4 2"})", R"({"model":"ExecManualScene","body":{"ruleId":"4 2"}})"},
        {"  {\"show\":\"host\"}", R"({"to":"you","host":{)"},
        {"SceneLink", "error: SceneLink: of more than one kind, expected shadow or shadow_get before it"},
        {"sett x", "error: sett: not known, expected set, "},
        {"set", "error: set: a value is missing"},
        {"online now", "error: now: expected NAME=VALUE"},
        {"report event value.x=1", "error: value.x: not a place for a value"},
        {"help sets", "error: help: expected set, "},
        {"help evnt", "error: help: expected event, "},
        {R"(expect {"result":0})", "error: expect: is understood in scripts only"},
        {"help set", "set: The platform sets a device setting"},
    };
    Terminal terminal(home_.Path("state"));
    for (const auto &[typed, shown] : rows) {
        terminal.Type(typed + '\r', "\r\n" + shown);
        terminal.Await("\r\n> ");
    }
    EXPECT_EQ(terminal.End(), 0);
}

TEST_F(AtTerminal, NamesAreCompleted) {
    Terminal terminal(home_.Path("state"));
    terminal.Type("sta\t", "tus_");
    terminal.Type("p\t", "ass");
    terminal.Type("\r", R"({"status_pass":true})");
    terminal.Await(R"({"result":null})"); // the names of all settings are shown before
    terminal.Type("set device_s\t", "creen_");
    terminal.Type("\t", "device_screen_lightness  device_screen_overtime");
    terminal.Type("o\t", "vertime");
    terminal.Type(" 5\r", R"({"set":"device_screen_overtime","value":5})");
    terminal.Type("{\"mod\t", "el");
    terminal.Type("\t", "model        model_reply");
    terminal.Type("\":\"Exe\t", "cManualScene\"");
    terminal.Type(",\"bo\t", "dy\":");
    terminal.Type("{\"ru\t", "leId\":");
    terminal.Type("\t\"7\"}}\r", R"("msg":"MANUAL_SCENE","uiSceneId":7)"); // a tab that is pasted is a blank
    terminal.Type("{\"kernel_event\":\"on\t", "line\"");
    terminal.Type("}\r", R"({"result":null})");
    EXPECT_EQ(terminal.End(), 0);
}

TEST_F(AtTerminal, HistoryIsKeptAcrossRuns) {
    for (const std::string typed : {"report event value=71\r", "\x1b[A\r"}) { // cursor up
        Terminal terminal(home_.Path("state"));
        terminal.Type(typed, R"({"report":"event","channel":1,"value":71})");
        terminal.Await("> ");
        EXPECT_EQ(terminal.End(), 0);
    }
    EXPECT_EQ(Contents(home_.Path("state/tq_gateway/history")), "report event value=71\nreport event value=71\n");
}

TEST_F(AtTerminal, LongLinesAreTakenOneAfterTheOther) {
    Terminal terminal(home_.Path("state"));
    std::string lines;
    for (int i = 0; i < 3; ++i) {
        lines += R"({"shadow":"SceneLink","value":")" + std::string(20000, 'x') + std::to_string(i) + "\"}\r";
    }
    terminal.Type(lines, R"({"to":"device")");
    for (int i = 0; i < 3; ++i) {
        terminal.Await(std::string(20000, 'x') + std::to_string(i) + R"(","len":8})");
    }
    EXPECT_EQ(terminal.End(), 0);
}

TEST_F(AtTerminal, ASignalEndsItInTheMiddleOfALine) {
    Terminal terminal(home_.Path("state"));
    terminal.Type("half a", "half a");
    EXPECT_EQ(terminal.End("\x03"), 0); // Ctrl-C
}

} // namespace
