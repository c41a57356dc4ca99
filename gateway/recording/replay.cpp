// SPDX-License-Identifier: Apache-2.0
// Playing a recording against a gateway: comparing, and recording anew.
#include "recording/replay.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "process.h"
#include "recording/file_replacement.h"
#include "recording/recording.h"

namespace tqgateway {
namespace {

constexpr std::size_t kShownBytes = 2000;     // of a line
constexpr std::size_t kShownValueBytes = 200; // of the value that differs
constexpr int kActionResult = 19988;

/// Keeps what comes out until it is taken.
class Collector : public Sink {
public:
    void Show(const Json &line, Moment) override { lines_.push_back(line); }
    void Echo(Input, const Json &, const std::string &, Moment) override {}
    void Heading(const std::string &) override {}

    std::vector<Json> Take() { return std::exchange(lines_, {}); }

private:
    std::vector<Json> lines_;
};

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

/// The first difference between what was recorded after an input and what came out; empty without one. Of a
/// step that was cut off, more may come out.
std::string Difference(const RecordedStep &step, const std::vector<Json> &lines, bool cut_off,
                       const std::string &file) {
    const std::size_t count = cut_off ? step.outputs.size() : std::max(step.outputs.size(), lines.size());
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
        gateway.Take(step.text);
        break;
    case Input::event:
        gateway.TakeEvent(step.input);
        break;
    case Input::refusal:
        gateway.Refuse(AsText(step.input));
        break;
    }
}

/// Waits as long as the recording did before each step.
class Pace {
public:
    explicit Pace(const Recording &recording) {
        for (const RecordedStep &step : recording.steps) {
            if (step.time) {
                first_ = *step.time;
                return;
            }
        }
        throw std::invalid_argument(recording.file + ": has no times to keep");
    }

    void Before(const RecordedStep &step) const {
        if (step.time) {
            std::this_thread::sleep_until(start_ + (*step.time - first_));
        }
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    Moment first_;
};

Recording Read(const std::string &file) {
    Recording recording = ReadRecording(file);
    if (recording.cut_off > 0) {
        Say(file + ':' + std::to_string(recording.cut_off) +
            ": the recording was cut off; it ends before this line");
    }
    return recording;
}

/// Feeds all inputs to a gateway of its own. Calls `after` with each step and all that came out of it; the
/// last one also causes the gateway to stop.
void Play(const Recording &recording, const Module &module, bool paced,
          const std::function<void(std::size_t step, const std::vector<Json> &lines)> &after) {
    StdoutCapture captured;
    Collector collector;
    Output output(captured, {&collector});
    const auto pace = paced ? std::make_unique<Pace>(recording) : nullptr;
    std::optional<Gateway> gateway;
    gateway.emplace(module, output, recording.session);
    for (std::size_t i = 0; i < recording.steps.size(); ++i) {
        const RecordedStep &step = recording.steps[i];
        if (pace) {
            pace->Before(step);
        }
        if (!step.input.is_null()) {
            try {
                Feed(step, *gateway);
            } catch (const LineError &error) {
                throw BadLine(recording.file, step.number, error);
            }
        }
        if (i + 1 == recording.steps.size()) {
            gateway.reset();
        }
        after(i, collector.Take());
    }
}

} // namespace

std::string Replay(const std::string &file, const Module &module, bool paced) {
    const Recording recording = Read(file);
    std::string difference;
    Play(recording, module, paced, [&](std::size_t i, const std::vector<Json> &lines) {
        if (difference.empty()) {
            const bool cut = recording.cut_off > 0 && i + 1 == recording.steps.size();
            difference = Difference(recording.steps[i], lines, cut, file);
        }
    });
    return difference;
}

void RecordAnew(const std::string &file, const Module &module, bool paced) {
    FileReplacement replacement(file); // nobody else does so meanwhile
    Recording recording = Read(file);
    Play(recording, module, paced, [&](std::size_t i, const std::vector<Json> &lines) {
        std::vector<RecordedOutput> &outputs = recording.steps[i].outputs;
        outputs.clear();
        for (const Json &line : lines) {
            outputs.push_back({0, Comparable(line)});
        }
    });
    replacement.Replace(RecordingText(recording));
}

} // namespace tqgateway
