// SPDX-License-Identifier: Apache-2.0
// Scripts: what was caused, what is expected of it, and files within files.
#include "input/script.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

#include "recording/file_replacement.h"

namespace tqgateway {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kShownBytes = 2000; // of a line
constexpr std::size_t kShownLines = 20;

/// A line that refuses an input.
bool IsError(const Json &line) {
    return line.contains("error");
}

bool IsMessageOrError(const Json &line) {
    return line.contains("to") || IsError(line);
}

} // namespace

bool Matches(const Json &pattern, const Json &value) {
    if (value.is_binary()) { // an id, as it was written
        return Matches(pattern, ParseJson(Dump(value)));
    }
    if (pattern.is_object()) {
        const auto items = pattern.items();
        return value.is_object() && std::all_of(items.begin(), items.end(), [&](const auto &member) {
                   const auto found = value.find(member.key());
                   return found != value.end() && Matches(member.value(), *found);
               });
    }
    if (pattern.is_array()) {
        return value.is_array() &&
               std::equal(pattern.begin(), pattern.end(), value.begin(), value.end(), Matches);
    }
    return pattern == value;
}

// ---- What was caused. ----

Causes::Causes() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wake_.Get() < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for lines");
    }
}

void Causes::Show(const Json &line, Moment) {
    const std::lock_guard lock(mutex_);
    if (!ended_) {
        lines_.push_back(line);
        if (std::exchange(awaited_, false)) {
            eventfd_write(wake_.Get(), 1);
        }
    }
}

void Causes::Begin() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
}

void Causes::End() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
    ended_ = true;
}

bool Causes::Take(const Json &pattern) {
    const std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(lines_.begin(), lines_.end(), [&](const Json &line) { return Matches(pattern, line); });
    if (found == lines_.end()) {
        awaited_ = true;
        return false;
    }
    lines_.erase(found);
    return true;
}

std::vector<Json> Causes::Left() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

bool Causes::HasLeft(bool (*kind)(const Json &line)) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(), kind);
}

// ---- Lines of scripts. ----

constexpr const char *kDuration = "a number with \"ms\", \"s\" or \"m\", up to a day";

constexpr LineField kExpectFields[] = {
    {"expect",
     "an object, all of whose members such a line has, and so on inwards, or \"none\": the last input "
     "caused no message and no error besides those expected already"},
};
constexpr const char *kExpectSamples[] = {R"({"expect":{"command":20065,"body":{"result":0}}})",
                                          R"({"expect":"none"})"};

constexpr LineField kWaitFields[] = {{"wait", "an object, as that of expect"}, {"within", kDuration}};
constexpr const char *kWaitSamples[] = {R"({"wait":{"command":20035,"seq":7},"within":"500ms"})"};

constexpr LineField kSleepFields[] = {{"sleep", kDuration}};
constexpr const char *kSleepSamples[] = {R"({"sleep":"100ms"})"};

constexpr LineField kIncludeFields[] = {
    {"include", "the script's path, which is relative to the file that the line is in"}};
constexpr const char *kIncludeSamples[] = {R"({"include":"start.jsonl"})"};

const Script::Kind Script::kKinds[] = {
    {"expect", &Script::Expect,
     "In a script: among the lines that the last input caused is such a line, in any order and each once.",
     kExpectFields, kExpectSamples},
    {"wait", &Script::Wait, "In a script: such a line comes in time, if it has not come yet.", kWaitFields,
     kWaitSamples},
    {"sleep", &Script::Sleep, "In a script: nothing is taken for a while.", kSleepFields, kSleepSamples},
    {"include", &Script::Include, "In a script: another one is played here.", kIncludeFields,
     kIncludeSamples},
};

const Script::Kind *Script::KindOf(const Json &line) {
    const Kind *kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                    [&](const Kind &row) { return line.contains(row.key); });
    return kind == std::end(kKinds) ? nullptr : kind;
}

Script::Script(Gateway &gateway, Causes &causes, int stop_fd, std::string record, Failed failed)
    : gateway_(gateway), causes_(causes), stop_fd_(stop_fd), record_(std::move(record)),
      failed_(std::move(failed)) {}

void Script::Play(FileDescriptor fd, const std::string &file) {
    PlayFile(std::move(fd), file);
    EndInput();
    causes_.End();
}

void Script::PlayFile(FileDescriptor fd, const std::string &file) {
    const int number = fd.Get();
    files_.push_back({file, std::move(fd), LineSource(number, stop_fd_, gateway_.DueFd())});
    GiveLines(
        files_.back().source, [this](const std::string &line) { Take(line); },
        [this](const std::string &reason) { Refuse(reason); }, [this] { gateway_.CarryOutDue(); });
    files_.pop_back();
}

bool Script::Stopped() const {
    pollfd stop = {stop_fd_, POLLIN, 0};
    return poll(&stop, 1, 0) > 0;
}

void Script::Take(const std::string &text) {
    if (SaysNothing(Trimmed(text))) {
        gateway_.Take(text);
        return;
    }
    const Json line = ParseOrText(text);
    const Kind *kind = KindOf(line);
    if (kind == nullptr) {
        BeginInput(line.is_string() ? Dump(line) : std::string(Trimmed(text)));
        gateway_.Take(text);
        return;
    }
    try {
        ObjectReader reader(line, "");
        (this->*kind->carry_out)(reader);
    } catch (const LineError &error) {
        failed_(Place() + ": " + error.what());
    }
}

void Script::Refuse(const std::string &reason) {
    BeginInput(reason);
    gateway_.Refuse(reason);
}

void Script::BeginInput(const std::string &text) {
    EndInput();
    causes_.Begin();
    input_ = Clipped(text, kShownBytes);
    input_place_ = Place();
}

void Script::EndInput() {
    if (!causes_.HasLeft(IsError) || Stopped()) {
        return; // where playing stopped, an expectation may have followed
    }
    for (const Json &line : causes_.Left()) {
        if (IsError(line)) {
            failed_(input_place_ + ": refused: " + AsText(line["error"]));
        }
    }
}

void Script::Expect(ObjectReader &line) {
    const Json &pattern = line.Get("expect");
    line.Done();
    if (pattern == "none") {
        if (causes_.HasLeft(IsMessageOrError)) {
            Missing("nothing more", "more came than was expected");
        }
    } else if (!pattern.is_object()) {
        throw LineError("expect: expected an object or \"none\"");
    } else if (!causes_.Take(pattern)) {
        Missing(Dump(pattern), "did not come");
    }
}

void Script::Wait(ObjectReader &line) {
    const Json &pattern = line.Get("wait");
    if (!pattern.is_object()) {
        throw LineError("wait: expected an object");
    }
    const milliseconds within = ReadDuration(line.Get("within"), "within");
    line.Done();
    const auto deadline = steady_clock::now() + within;
    while (!causes_.Take(pattern)) {
        if (!WakesBefore(deadline)) {
            if (!Stopped()) {
                Missing(Dump(pattern), "did not come within " + std::to_string(within.count()) + " ms");
            }
            return;
        }
    }
}

void Script::Sleep(ObjectReader &line) {
    const auto deadline = steady_clock::now() + ReadDuration(line.Get("sleep"), "sleep");
    line.Done();
    while (WakesBefore(deadline)) {
    }
}

void Script::Include(ObjectReader &line) {
    const std::string name = line.Text("include", SIZE_MAX);
    line.Done();
    const std::string file = std::filesystem::path(files_.back().file).parent_path() / name;
    FileDescriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.Get() < 0) {
        throw LineError("include: " + file + ": " + strerror(errno));
    }
    if (std::any_of(files_.begin(), files_.end(),
                    [&](const Reading &reading) { return IsSameFile(reading.fd.Get(), file); })) {
        throw LineError("include: " + file + " includes itself");
    }
    if (IsSameFile(fd.Get(), record_)) {
        throw std::invalid_argument(Place() + ": include: " + file + ": is recorded into");
    }
    try {
        PlayFile(std::move(fd), file);
    } catch (const std::system_error &error) {
        files_.pop_back();
        throw LineError("include: " + file + ": " + error.code().message());
    }
}

/// True when a line came, false when it is time, or time to stop.
bool Script::WakesBefore(steady_clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        if (left <= milliseconds::zero() || Stopped()) {
            return false;
        }
        pollfd waiting[] = {
            {causes_.WakeFd(), POLLIN, 0}, {stop_fd_, POLLIN, 0}, {gateway_.DueFd(), POLLIN, 0}};
        if (poll(waiting, std::size(waiting), static_cast<int>(left.count())) <= 0) {
            continue;
        }
        if (waiting[2].revents != 0) {
            gateway_.CarryOutDue();
        }
        if (waiting[0].revents != 0) {
            eventfd_t count = 0;
            eventfd_read(causes_.WakeFd(), &count);
            return true;
        }
    }
}

std::string Script::Place() const {
    return files_.back().file + ':' + std::to_string(files_.back().source.Number());
}

void Script::Missing(const std::string &expected, const std::string &how) {
    std::string what = Place() + ": " + how;
    what += input_place_.empty() ? "" : ", caused by " + input_place_;
    what += "\n  input     " + input_ + "\n  expected  " + Clipped(expected, kShownBytes) + "\n  got       ";
    const std::vector<Json> left = causes_.Left();
    for (std::size_t i = 0; i < std::min(left.size(), kShownLines); ++i) {
        what += (i == 0 ? "" : "\n            ") + Clipped(Dump(left[i]), kShownBytes);
    }
    if (left.size() > kShownLines) {
        what += "\n            and " + std::to_string(left.size() - kShownLines) + " lines more";
    }
    failed_(what + (left.empty() ? "no further line" : ""));
}

} // namespace tqgateway
