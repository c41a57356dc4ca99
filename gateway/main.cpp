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

#include "feed.h"
#include "options.h"
#include "process.h"
#include "status_thread.h"
#include "timeline.h"
#include "tqdev_host.h"

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

/// What the standard output shows.
std::unique_ptr<Sink> MakeShown(const Options &options, int fd, LineWriter &writer) {
    const bool terminal = isatty(fd) != 0;
    if (options.text || (terminal && !options.json)) {
        return MakeTimeline(writer, terminal && getenv("NO_COLOR") == nullptr);
    }
    return MakeJsonLines(writer);
}

/// The exit code of a writer; says why it could not write all lines.
int Conclude(const LineWriter &writer, const std::string &name) {
    if (writer.Error() == 0) {
        return EXIT_SUCCESS;
    }
    Say(name + ": " + strerror(writer.Error()));
    return kExitFailed;
}

int Run(const Options &options) {
    const FileDescriptor script = OpenNamed(options.script, O_RDONLY);
    const FileDescriptor record = OpenNamed(options.record, O_WRONLY | O_CREAT | O_TRUNC);
    const auto link = options.mqtt ? MakeMqttLink(*options.mqtt) : nullptr;
    const FileDescriptor stop = OpenStopSignals();

    StdoutCapture captured;
    LineWriter standard_output(captured.Terminal(), RequestStop);
    LineWriter record_file(record.Get(), RequestStop);
    const auto shown = MakeShown(options, captured.Terminal(), standard_output);
    const auto recorder = options.record.empty() ? nullptr : MakeRecorder(record_file, options.session);
    Output output(captured, {shown.get(), recorder.get(), link.get()});

    int code = EXIT_SUCCESS;
    {
        tqhost::SetLogLevel(options.session.log);
        Gateway gateway(LoadModule(options.module), output, options.session.reset_report_all);
        const StatusThread status(gateway, options.status_interval);
        try {
            if (link) {
                FeedArrivals(*link, stop.Get(), gateway);
            } else {
                FeedLines(options.script.empty() ? STDIN_FILENO : script.Get(), stop.Get(), gateway);
            }
        } catch (const std::system_error &error) {
            Say((options.script.empty() ? "standard input" : options.script) + ": " + error.code().message());
            code = kExitUsage;
        }
    }

    if (link) {
        link->Close(); // with all that the gateway's end caused
    }
    if (standard_output.Error() != EPIPE) { // a reader that has seen enough is no failure
        code = std::max(code, Conclude(standard_output, "standard output"));
    }
    return std::max(code, Conclude(record_file, options.record));
}

int RunReplay(const Options &options) {
    const Module module = LoadModule(options.module);
    if (options.replay_update) {
        RecordAnew(options.replay, module);
        return EXIT_SUCCESS;
    }
    const std::string difference = Replay(options.replay, module);
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
        Options options;
        if (const std::optional<int> code = ReadOptions(argc, argv, options)) {
            return *code;
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
