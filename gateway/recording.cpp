// SPDX-License-Identifier: Apache-2.0
// Recording, reading a recording, and playing it against a gateway.
#include "recording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "tqdev_debug.h"
#include "tqdev_host.h"

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

constexpr std::size_t kShownBytes = 2000;       // of a line
constexpr std::size_t kShownValueBytes = 200;   // of the value that differs
constexpr std::size_t kRecordedExtraLevels = 2; // around a body: its line, and the recorded one
constexpr int kActionResult = 19988;

/// Gives what goes in and out as recorded lines.
class Recorder : public Sink {
public:
    void Begin(const Session &session) {
        Write(Dump({{"session", {{"log", session.log}, {"reset_report_all", session.reset_report_all}}}}));
    }

    void Show(const Json &line) override { Write(Dump({{"out", line}})); }
    void Echo(Input what, const Json &input) override {
        Write(Dump({{KeyOf(what), IsUtf8(input) ? input : Bytes(input)}}));
    }
    void Heading(const std::string &comment) override { Write(comment); }

private:
    virtual void Write(const std::string &line) = 0;

    static bool IsUtf8(const Json &value) {
        try {
            value.dump();
            return true;
        } catch (const Json::type_error &) {
            return false;
        }
    }

    static Json Bytes(const std::string &text) {
        Json bytes = Json::array();
        for (const char c : text) {
            bytes.push_back(static_cast<unsigned char>(c));
        }
        return bytes;
    }
};

/// Records at once, so that nothing is lost when the program ends.
class FileRecorder : public Recorder {
public:
    explicit FileRecorder(LineWriter &writer) : writer_(writer) {}

private:
    void Write(const std::string &line) override { writer_.Write(line); }

    LineWriter &writer_;
};

/// Keeps what comes out until it is taken.
class Collector : public Sink {
public:
    void Show(const Json &line) override { lines_.push_back(line); }
    void Echo(Input, const Json &) override {}
    void Heading(const std::string &) override {}

    std::vector<Json> Take() { return std::exchange(lines_, {}); }

private:
    std::vector<Json> lines_;
};

/// A line that came out, and where the recording has it.
struct RecordedOutput {
    std::size_t number; ///< Of the line in the file, from 1.
    Json line;
};

/// What went in, and all that came out before the next.
struct RecordedStep {
    std::size_t number;
    std::vector<std::string> comments; ///< Before the input.
    Input what;
    Json input;
    std::vector<RecordedOutput> outputs;
};

struct Recording {
    std::string file;
    Session session;
    std::vector<RecordedStep> steps;   ///< The first has no input: it is the start.
    std::vector<std::string> comments; ///< After the last step.
};

// ---- Reading. ----

Session ReadSession(ObjectReader &line) {
    Session session;
    ObjectReader reader(line.Get("session"), "session");
    session.log = static_cast<int>(ReadWhole(reader.Get("log"), reader.Path("log"), LOG_NON, LOG_INFO));
    const Json &reset = reader.Get("reset_report_all");
    if (!reset.is_boolean()) {
        throw LineError(reader.Path("reset_report_all") + ": expected true or false");
    }
    session.reset_report_all = reset.get<bool>();
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

/// Adds a line after the session.
void ReadStep(const Json &json, std::size_t number, Recording &recording) {
    ObjectReader line(json, "");
    if (const Json *output = line.Find("out")) {
        recording.steps.back().outputs.push_back({number, *output});
        line.Done();
        return;
    }
    for (const InputKey &row : kInputKeys) {
        if (const Json *input = line.Find(row.key)) {
            recording.steps.push_back(
                {number, std::exchange(recording.comments, {}), row.what, ReadInput(*input, row.what), {}});
            line.Done();
            return;
        }
    }
    throw LineError("expected in, event, refusal or out");
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
        if (text.empty()) {
            continue;
        }
        if (text[0] == '#') {
            recording.comments.push_back(text);
            continue;
        }
        try {
            const Json json = ParseJson(text, kMaxDepth + kRecordedExtraLevels);
            if (recording.steps.empty()) {
                ObjectReader line(json, "");
                recording.session = ReadSession(line);
                recording.steps.push_back({number, {}, Input::line, {}, {}});
            } else {
                ReadStep(json, number, recording);
            }
        } catch (const LineError &error) {
            throw BadLine(file, number, error);
        }
    }
    if (stream.bad() || recording.steps.empty()) {
        throw std::invalid_argument(file + (stream.bad() ? ": cannot be read" : ": holds no recording"));
    }
    return recording;
}

// ---- Comparing. ----

/// The line as the recording has it, without what differs each time: the time in an action result, and in
/// the log of it.
Json Comparable(const Json &line) {
    Json comparable = Json::parse(Dump(line));
    if (!comparable.is_object()) {
        return comparable;
    }
    if (comparable.value("command", Json()) == kActionResult && comparable["body"].contains("time")) {
        comparable["body"]["time"] = "";
    }
    if (comparable.contains("log") && comparable.contains("text")) {
        static const std::string kTime = "\"time\":\t\"";
        std::string text = AsText(comparable["text"]);
        if (const std::size_t at = text.find(kTime); at != std::string::npos) {
            const std::size_t begin = at + kTime.size();
            comparable["text"] = text.erase(begin, std::min(text.find('"', begin), text.size()) - begin);
        }
    }
    return comparable;
}

std::string Value(const Json &line, const std::string &path) {
    const Json::json_pointer pointer(path);
    return line.contains(pointer) ? Clipped(Dump(line.at(pointer)), kShownValueBytes) : "nothing";
}

/// Where two different lines differ first: "/body/result: expected 0, got -1".
std::string Place(const Json &expected, const Json &got) {
    const Json changes = Json::diff(expected, got);
    if (changes.empty()) {
        return "the order of the members";
    }
    const std::string path = changes[0]["path"];
    return (path.empty() ? "the whole line" : path) + ": expected " + Value(expected, path) + ", got " +
           Value(got, path);
}

/// The first difference between what was recorded after an input and what came out; empty without one.
std::string Difference(const RecordedStep &step, const std::vector<Json> &lines, const std::string &file) {
    const std::size_t count = std::max(step.outputs.size(), lines.size());
    for (std::size_t i = 0; i < count; ++i) {
        const bool expects = i < step.outputs.size();
        const bool has = i < lines.size();
        const Json expected = expects ? Comparable(step.outputs[i].line) : Json();
        const Json got = has ? Comparable(lines[i]) : Json();
        if (expects && has && Dump(expected) == Dump(got)) {
            continue;
        }
        const auto shown = [](bool is, const Json &line) {
            return is ? Clipped(Dump(line), kShownBytes) : "no further line";
        };
        const std::size_t number = expects  ? step.outputs[i].number
                                   : i == 0 ? step.number
                                            : step.outputs.back().number;
        return file + ':' + std::to_string(number) + ": differs, caused by line " +
               std::to_string(step.number) + "\n  input     " +
               (step.input.is_null() ? "the start" : Clipped(AsText(step.input), kShownBytes)) +
               "\n  expected  " + shown(expects, expected) + "\n  got       " + shown(has, got) +
               (expects && has ? "\n  at        " + Place(expected, got) : "");
    }
    return {};
}

void Feed(const RecordedStep &step, Gateway &gateway) {
    switch (step.what) {
    case Input::line:
        gateway.Take(AsText(step.input));
        break;
    case Input::event:
        gateway.TakeEvent(step.input);
        break;
    case Input::refusal:
        gateway.Refuse(AsText(step.input));
        break;
    }
}

/// Records into a text that changes only where the module does: without what differs each time.
class TextRecorder : public Recorder {
public:
    void Show(const Json &line) override { Recorder::Show(Comparable(line)); }

    const std::string &Text() const { return text_; }

private:
    void Write(const std::string &line) override { text_ += line + '\n'; }

    std::string text_;
};

/// Feeds all inputs and comments to a gateway of its own, whose lines go to the sink. Calls `after` when all
/// has come out that an input causes; the last one also causes the gateway to stop.
template <typename After>
void Play(const Recording &recording, const Module &module, Sink &sink, After after) {
    StdoutCapture captured;
    Output output(captured, {&sink});
    tqhost::SetLogLevel(recording.session.log);
    std::optional<Gateway> gateway;
    gateway.emplace(module, output, recording.session.reset_report_all);
    const auto show = [&](const std::vector<std::string> &comments) {
        for (const std::string &comment : comments) {
            gateway->Take(comment);
        }
    };
    for (const RecordedStep &step : recording.steps) {
        show(step.comments);
        if (!step.input.is_null()) {
            try {
                Feed(step, *gateway);
            } catch (const LineError &error) {
                throw BadLine(recording.file, step.number, error);
            }
        }
        if (&step == &recording.steps.back()) {
            show(recording.comments);
            gateway.reset();
        }
        after(step);
    }
}

} // namespace

std::unique_ptr<Sink> MakeRecorder(LineWriter &writer, const Session &session) {
    auto recorder = std::make_unique<FileRecorder>(writer);
    recorder->Begin(session);
    return recorder;
}

std::string Replay(const std::string &file, const Module &module) {
    Collector collector;
    std::string difference;
    Play(ReadRecording(file), module, collector, [&](const RecordedStep &step) {
        const std::vector<Json> lines = collector.Take();
        if (difference.empty()) {
            difference = Difference(step, lines, file);
        }
    });
    return difference;
}

void RecordAnew(const std::string &file, const Module &module) {
    const Recording recording = ReadRecording(file);
    TextRecorder recorder;
    recorder.Begin(recording.session);
    Play(recording, module, recorder, [](const RecordedStep &) {});
    std::ofstream stream(file);
    if (!(stream << recorder.Text()).flush()) {
        throw std::runtime_error(file + ": " + strerror(errno));
    }
}

} // namespace tqgateway
