// SPDX-License-Identifier: Apache-2.0
// tq_gateway: from the options to the sources, through the gateway, to the writers.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "http/http.h"
#include "input/editor.h"
#include "input/feed.h"
#include "input/scenarios.h"
#include "input/script.h"
#include "options.h"
#include "output/line_queue.h"
#include "output/timeline.h"
#include "process.h"
#include "recording/file_replacement.h"
#include "recording/replay.h"
#include "rules/linkage_config.h"
#include "status_thread.h"

namespace {

using namespace tqgateway;

/// Opens the file that an option names; none when it names none. Throws std::invalid_argument.
FileDescriptor OpenNamed(const std::string &file, int flags) {
    if (file.empty()) {
        return FileDescriptor();
    }
    FileDescriptor opened(open(file.c_str(), flags | O_CLOEXEC, 0644));
    if (opened.Get() < 0) {
        throw std::invalid_argument(file + ": " + strerror(errno));
    }
    return opened;
}

/// What is recorded into; null when nothing is. Nobody records onto what is read or shown.
std::unique_ptr<FileReplacement> OpenRecord(const Options &options) {
    const std::string &file = options.record;
    if (file.empty()) {
        return nullptr;
    }
    const auto refuse_when = [&file](bool same, const std::string &what) {
        if (same) {
            throw std::invalid_argument("--record " + file + ": is " + what + ", too");
        }
    };
    const MqttOptions mqtt = options.mqtt.value_or(MqttOptions());
    for (const auto &[what, other] : {std::pair("the script", options.script),
                                      {"the file of --linkage", options.linkage},
                                      {"the application", options.application.path},
                                      {"the module", options.module},
                                      {"the file of --password-file", mqtt.password_file},
                                      {"the file of --ca-file", mqtt.ca_file},
                                      {"the file of --cert-file", mqtt.cert_file},
                                      {"the file of --key-file", mqtt.key_file}}) {
        refuse_when(IsSameFile(other, file), what);
    }
    refuse_when(IsSameFile(STDIN_FILENO, file), "the standard input");
    refuse_when(IsSameFile(STDOUT_FILENO, file), "the standard output");
    refuse_when(IsSameFile(STDERR_FILENO, file), "the standard error");
    return std::make_unique<FileReplacement>(file);
}

/// Throws std::invalid_argument for a script, or a standard input, that would be longer for each of its lines
/// that is shown.
void RefuseEndless(int fd, const std::string &name) {
    if (AreOneFile(fd, STDOUT_FILENO) || AreOneFile(fd, STDERR_FILENO)) {
        throw std::invalid_argument(name + ": is written to by its own output");
    }
}

/// Whether the standard output shows a timeline.
bool ShowsText(const Options &options, int fd) {
    return options.text || (isatty(fd) != 0 && !options.json);
}

/// What the standard output shows; null for nothing.
std::unique_ptr<Sink> MakeShown(const Options &options, int fd, LineQueue &queue) {
    if (options.quiet) {
        return nullptr;
    }
    const auto write = [&queue](std::string line) { queue.Write(std::move(line)); };
    if (ShowsText(options, fd)) {
        return MakeTimeline(write, isatty(fd) != 0 && getenv("NO_COLOR") == nullptr,
                            options.time.value_or(true));
    }
    return MakeJsonLines(write, options.time.value_or(false));
}

/// The exit code of what the standard output shows; says what its reader did not get. One that has seen
/// enough and is gone is no failure.
int Conclude(const LineQueue &queue) {
    if (queue.Error() == EPIPE) {
        return EXIT_SUCCESS;
    }
    if (queue.Error() != 0) {
        Say(std::string("standard output: ") + strerror(queue.Error()));
    } else if (queue.LeftOut() > 0) {
        Say("standard output: its reader stood still and missed " + std::to_string(queue.LeftOut()) +
            " lines");
    } else {
        return EXIT_SUCCESS;
    }
    return kExitFailed;
}

/// The exit code of a writer; says why it could not write all lines.
int Conclude(const LineWriter &writer, const std::string &name) {
    if (writer.Error() == 0) {
        return EXIT_SUCCESS;
    }
    Say(name + ": " + (writer.Error() == EAGAIN ? "its reader stands still" : strerror(writer.Error())));
    return kExitFailed;
}

/// Has what is recorded kept from the first input on: a run that fails before leaves no recording.
class RecordKeeper : public Sink {
public:
    void Begin(FileReplacement &record) { record_ = &record; } ///< What the options bring is taken.

    void Show(const Json &, Moment) override {}
    void Echo(Input, const Json &, const std::string &, Moment) override {
        if (record_ != nullptr) {
            record_->Keep();
        }
    }
    void Heading(const std::string &) override {}

private:
    FileReplacement *record_ = nullptr;
};

/// The exit code of a recording, which takes its place when it is whole; `code` is the run's.
int ConcludeRecord(const LineWriter &writer, FileReplacement &record, int code) {
    code = std::max(code, Conclude(writer, record.Place()));
    if (writer.Error() == 0 && (code == EXIT_SUCCESS || record.IsKept())) {
        record.Commit();
    }
    return code;
}

int Run(const Options &options) {
    const Json linkage = options.linkage.empty() ? Json() : ReadLinkageFile(options.linkage);
    FileDescriptor script = OpenNamed(options.script, O_RDONLY);
    const bool scripted = !options.script.empty();
    RefuseEndless(scripted ? script.Get() : STDIN_FILENO, scripted ? options.script : "standard input");
    const auto record = OpenRecord(options);
    const auto link = options.mqtt ? MakeMqttLink(*options.mqtt) : nullptr;
    const FileDescriptor stop = OpenStopSignals();

    StdoutCapture captured;
    const int shown_fd = captured.Terminal();
    LineQueue standard_output(
        shown_fd, {stop.Get(), RequestStop, ShowsText(options, shown_fd) ? DroppedText : DroppedLine});
    LineWriter record_file(record ? record->Fd() : -1, RequestStop, stop.Get());
    const auto shown = MakeShown(options, shown_fd, standard_output);
    const bool recorded_timed = options.time.value_or(true);
    const auto write_record = [&record_file](const std::string &line) { record_file.Write(line); };
    const auto recorder = record ? MakeRecorder(write_record, options.session, recorded_timed) : nullptr;
    const auto http = options.http ? MakeHttpServer(*options.http, options.session, recorded_timed) : nullptr;
    Causes causes;
    RecordKeeper keeper;
    Output output(captured, {shown.get(), recorder.get(), link.get(), http.get(),
                             scripted ? &causes : nullptr, &keeper});

    int code = EXIT_SUCCESS;
    Application application(options.application);
    {
        Gateway gateway(LoadWith(options.module, application), output, options.session);
        if (!linkage.is_null()) {
            gateway.TakeEvent({{"linkage", linkage}});
        }
        const StatusThread status(gateway, options.status_interval);
        if (record) {
            keeper.Begin(*record);
        }
        if (http) {
            gateway.Attend(http->WakeFd(), [&] { http->CarryOut(gateway); });
            Say(http->Url());
        }
        if (link) {
            gateway.UseLink([&link](const LinkFaults &faults) { link->SetFaults(faults); });
        }
        try {
            if (scripted) {
                Script(gateway, causes, stop.Get(), options.record, [&code](const std::string &what) {
                    Say(what);
                    code = kExitScript;
                }).Play(std::move(script), options.script);
            }
            if (link) {
                FeedArrivals(*link, stop.Get(), gateway);
            } else if (!scripted && isatty(STDIN_FILENO) != 0) {
                FeedTerminal(STDIN_FILENO, stop.Get(), gateway, standard_output);
            } else if (!scripted) {
                FeedLines(STDIN_FILENO, stop.Get(), gateway);
            }
            if (http && !link) {
                FeedNothing(stop.Get(), gateway);
            }
        } catch (const std::system_error &error) {
            Say((options.script.empty() ? "standard input" : options.script) + ": " + error.code().message());
            code = kExitUsage;
        }
    }

    if (link && !link->Close()) { // with all that the gateway's end caused
        code = std::max(code, kExitFailed);
    }
    if (http) {
        http->Close();
    }
    standard_output.Close();
    // Behind the lines that tell of them.
    if (const std::size_t misuses = application.Misuses(); misuses > 0) {
        Say(options.application.path + ": did something wrong, " + std::to_string(misuses) +
            (misuses == 1 ? " time" : " times"));
        code = kExitFailed;
    }
    code = std::max(code, Conclude(standard_output));
    return record ? ConcludeRecord(record_file, *record, code) : code;
}

int RunReplay(const Options &options) {
    Application application(options.application);
    const Module module = LoadWith(options.module, application);
    if (options.replay_update) {
        RecordAnew(options.replay, module, options.replay_paced);
        return EXIT_SUCCESS;
    }
    const std::string difference = Replay(options.replay, module, options.replay_paced);
    if (difference.empty()) {
        return EXIT_SUCCESS;
    }
    Say(difference);
    return kExitFailed;
}

} // namespace

int main(int argc, char **argv) {
    try {
        OpenStandardStreams();
        FailBeyondFileSize();
        Options options;
        if (const std::optional<int> code = ReadOptions(argc, argv, options)) {
            return *code;
        }
        if (!options.scenarios.empty()) {
            return RunScenarios(options);
        }
        if (!options.check.files.empty()) {
            options.check.module = options.module;
            return RunCheck(options.check);
        }
        if (!options.explain.file.empty()) {
            return Explain(options.explain, LoadModule(options.module));
        }
        return options.replay.empty() ? Run(options) : RunReplay(options);
    } catch (const std::invalid_argument &error) {
        Say(error.what());
        return kExitUsage;
    } catch (const std::exception &error) {
        Say(error.what());
        return kExitFailed;
    }
}
