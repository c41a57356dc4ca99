// SPDX-License-Identifier: Apache-2.0
// The lines of a recording: writing them as a session runs, reading them all.
#include "recording/recording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "input/line_source.h"
#include "tqdev_debug.h"

namespace tqgateway {
namespace {

struct InputKey {
    const char *key;
    Input what;
};

constexpr InputKey kInputKeys[] = {{"in", Input::line}, {"event", Input::event}, {"refusal", Input::refusal}};

const char *KeyOf(Input what) {
    return std::find_if(std::begin(kInputKeys), std::end(kInputKeys),
                        [&](const InputKey &row) { return row.what == what; })
        ->key;
}

constexpr std::size_t kRecordedExtraLevels = 2; // around a body: its line, and the recorded one

// ---- Writing. ----

bool IsUtf8(const Json &value) {
    try {
        value.dump();
        return true;
    } catch (const Json::type_error &) {
        return false;
    }
}

Json Bytes(const std::string &text) {
    Json bytes = Json::array();
    for (const char c : text) {
        bytes.push_back(static_cast<unsigned char>(c));
    }
    return bytes;
}

/// `value` is a JSON text.
std::string RecordedLine(const char *key, const std::string &value, std::optional<Moment> time) {
    return std::string("{\"") + key + "\":" + value + (time ? ",\"time\":\"" + MomentText(*time) + '"' : "") +
           '}';
}

std::string SessionLine(const Session &session, std::optional<Moment> time) {
    Json settings{{"log", session.log}, {"reset_report_all", session.reset_report_all}};
    if (!session.serial.empty()) {
        settings["serial"] = session.serial;
    }
    if (session.explain_refusals) {
        settings["explain_refusals"] = true;
    }
    return RecordedLine("session", Dump(settings), time);
}

std::string InputLine(Input what, const Json &input, const std::string &text, std::optional<Moment> time) {
    return RecordedLine(KeyOf(what), input.is_object() ? text : Dump(IsUtf8(input) ? input : Bytes(input)),
                        time);
}

/// Records at once, so that nothing is lost when the program ends.
class Recorder : public Sink {
public:
    Recorder(WriteLine write, bool timed) : write_(std::move(write)), timed_(timed) {}

    void Begin(const Session &session) {
        write_(SessionLine(session, Kept(std::chrono::system_clock::now())));
    }

    void Show(const Json &line, Moment when) override { write_(RecordedLine("out", Dump(line), Kept(when))); }
    void Echo(Input what, const Json &input, const std::string &text, Moment when) override {
        write_(InputLine(what, input, text, Kept(when)));
    }
    void Heading(const std::string &comment) override { write_(comment); }

private:
    std::optional<Moment> Kept(Moment when) const { return timed_ ? std::optional(when) : std::nullopt; }

    WriteLine write_;
    bool timed_;
};

// ---- Reading. ----

Session ReadSession(ObjectReader &line) {
    Session session;
    ObjectReader reader(line.Get("session"), "session");
    session.log = static_cast<int>(ReadWhole(reader.Get("log"), reader.Path("log"), LOG_NON, LOG_INFO));
    session.reset_report_all = ReadBool(reader.Get("reset_report_all"), reader.Path("reset_report_all"));
    if (const Json *explain = reader.Find("explain_refusals")) {
        session.explain_refusals = ReadBool(*explain, reader.Path("explain_refusals"));
    }
    reader.Text("serial", SIZE_MAX, session.serial);
    reader.Done();
    line.Done();
    return session;
}

/// An input from its recorded form.
Json ReadInput(const Json &recorded, Input what) {
    if (what == Input::line && recorded.is_array()) {
        std::string text;
        for (const Json &byte : recorded) {
            text += static_cast<char>(ReadWhole(byte, "in", 0, 255));
        }
        return text;
    }
    if (!(recorded.is_object() && what != Input::refusal) &&
        !(recorded.is_string() && what != Input::event)) {
        throw LineError("not an input that can have been taken");
    }
    return recorded;
}

std::optional<Moment> ReadTime(ObjectReader &line) {
    const Json *time = line.Find("time");
    return time == nullptr ? std::nullopt : std::optional(ReadMoment(*time, "time"));
}

/// Adds a line after the session.
void ReadStep(const Json &json, const std::string &text, std::size_t number, Recording &recording) {
    ObjectReader line(json, "");
    const std::optional<Moment> time = ReadTime(line);
    if (const Json *output = line.Find("out")) {
        line.Done();
        Json shown = *output;
        if (shown.is_object()) {
            KeepText(shown, kId, MemberText(text, "out"));
        }
        recording.steps.back().outputs.push_back({number, std::move(shown)});
        return;
    }
    for (const InputKey &row : kInputKeys) {
        if (const Json *input = line.Find(row.key)) {
            const Json taken = ReadInput(*input, row.what);
            line.Done();
            recording.steps.push_back(
                {number,
                 std::exchange(recording.comments, {}),
                 row.what,
                 taken,
                 taken.is_object() ? std::string(MemberText(text, row.key)) : AsText(taken),
                 time,
                 {}});
            return;
        }
    }
    throw LineError("expected in, event, refusal or out");
}

/// Whether all is there that came of an input: a line or a refusal is closed by a result or an error.
bool IsClosed(const RecordedStep &step) {
    return step.input.is_null() || step.what == Input::event ||
           std::any_of(step.outputs.begin(), step.outputs.end(), [](const RecordedOutput &output) {
               return output.line.contains("result") || output.line.contains("error");
           });
}

void ReadLine(const Json &json, const std::string &text, std::size_t number, Recording &recording) {
    if (!recording.steps.empty()) {
        ReadStep(json, text, number, recording);
        return;
    }
    ObjectReader line(json, "");
    const std::optional<Moment> time = ReadTime(line);
    recording.session = ReadSession(line);
    recording.steps.push_back({number, std::exchange(recording.comments, {}), Input::line, {}, {}, time, {}});
}

} // namespace

std::unique_ptr<Sink> MakeRecorder(WriteLine write, const Session &session, bool timed) {
    auto recorder = std::make_unique<Recorder>(std::move(write), timed);
    recorder->Begin(session);
    return recorder;
}

std::invalid_argument BadLine(const std::string &file, std::size_t number, const LineError &error) {
    return std::invalid_argument(file + ':' + std::to_string(number) + ": " + error.what());
}

Recording ReadRecording(const std::string &file) {
    std::ifstream stream(file);
    if (!stream) {
        throw std::invalid_argument(file + ": " + strerror(errno));
    }
    Recording recording;
    recording.file = file;
    std::size_t number = 0;
    for (std::string text; std::getline(stream, text);) {
        ++number;
        const std::string_view trimmed = Trimmed(text);
        if (SaysNothing(trimmed)) {
            recording.comments.emplace_back(trimmed);
            continue;
        }
        if (stream.eof() && !recording.steps.empty() && !Json::accept(text)) {
            recording.cut_off = number; // a whole line ends with a newline
            break;
        }
        try {
            ReadLine(ParseJson(text, kMaxDepth + kRecordedExtraLevels), text, number, recording);
        } catch (const LineError &error) {
            throw BadLine(file, number, error);
        }
    }
    if (stream.bad() || recording.steps.empty()) {
        throw std::invalid_argument(file + (stream.bad() ? ": cannot be read" : ": holds no recording"));
    }
    if (recording.cut_off == 0 && !IsClosed(recording.steps.back())) {
        recording.cut_off = number + 1;
    }
    return recording;
}

std::string RecordingText(const Recording &recording) {
    std::string text;
    const auto add = [&](const std::string &line) { text += line + '\n'; };
    for (const RecordedStep &step : recording.steps) {
        std::for_each(step.comments.begin(), step.comments.end(), add);
        add(step.input.is_null() ? SessionLine(recording.session, step.time)
                                 : InputLine(step.what, step.input, step.text, step.time));
        for (const RecordedOutput &output : step.outputs) {
            add(RecordedLine("out", Dump(output.line), std::nullopt));
        }
    }
    std::for_each(recording.comments.begin(), recording.comments.end(), add);
    return text;
}

} // namespace tqgateway
