// SPDX-License-Identifier: Apache-2.0
// tq_gateway: options, start and stop.
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "gateway.h"
#include "line_source.h"
#include "tqdev_debug.h"
#include "tqdev_host.h"

namespace {

using namespace tqgateway;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

constexpr const char *kDescription = "Runs the smart control module between a platform and a virtual hub.\n"
                                     "Takes JSON Lines and shows every message that crosses.";

constexpr const char *kExamples = R"(Examples:
  tq_gateway --script tour.jsonl
  echo '{"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{}}}' | tq_gateway --json
  echo '{"report":"event","channel":1,"value":5}' | tq_gateway --text --log error)";

struct Options {
    bool text = false;
    bool json = false;
    int log = LOG_NON;
    std::string script;
    std::string module = "libtqDevSDK_smart_control.so";
    bool reset_report_all = false;
    double status_interval = 0;
};

/// Nothing when the program is to go on, else its exit code.
std::optional<int> ReadOptions(int argc, char **argv, Options &options) {
    const std::map<std::string, int> levels = {{"non", LOG_NON},
                                               {"error", LOG_ERROR},
                                               {"warning", LOG_WARNING},
                                               {"debug", LOG_DEBUG},
                                               {"info", LOG_INFO}};
    CLI::App app(kDescription, "tq_gateway");
    app.footer(kExamples);
    auto *text = app.add_flag("--text", options.text, "Show a timeline; the default on a terminal");
    app.add_flag("--json", options.json, "Show JSON Lines; the default elsewhere")->excludes(text);
    app.add_option("--log", options.log,
                   "Show SDK log lines up to LEVEL: non (the default), error, warning, debug, info or 0 to 4")
        ->type_name("LEVEL")
        ->transform(CLI::CheckedTransformer(levels, CLI::ignore_case).description(""));
    app.add_option("--script", options.script, "Read lines from FILE instead of the standard input")
        ->type_name("FILE");
    app.add_option("--module", options.module, "The module to load; by default the one beside the program")
        ->type_name("PATH");
    app.add_flag("--reset-report-all", options.reset_report_all, "Have the linkage rules reported at start");
    app.add_option("--status-interval", options.status_interval, "Run a status pass every SECONDS")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e6).description(""));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kExitUsage;
    }
    return std::nullopt;
}

/// A status pass every interval, on a thread of its own, until destruction.
class StatusThread {
public:
    StatusThread(Gateway &gateway, double seconds) {
        if (seconds > 0) {
            thread_ = std::thread([this, &gateway, interval = std::chrono::duration<double>(seconds)] {
                std::unique_lock lock(mutex_);
                while (!wakeup_.wait_for(lock, interval, [this] { return stopping_; })) {
                    gateway.StatusPass();
                }
            });
        }
    }

    ~StatusThread() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wakeup_.notify_one();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    StatusThread(const StatusThread &) = delete;
    StatusThread &operator=(const StatusThread &) = delete;

private:
    std::mutex mutex_;
    std::condition_variable wakeup_;
    bool stopping_ = false;
    std::thread thread_;
};

/// Feeds all lines to the gateway; false when they could not be read to their end.
bool FeedLines(LineSource source, Gateway &gateway) {
    std::string line;
    for (;;) {
        switch (source.Next(line)) {
        case LineSource::Got::line:
            gateway.Take(line);
            break;
        case LineSource::Got::too_long:
            gateway.Refuse("a line longer than 64 MiB");
            break;
        case LineSource::Got::end:
            return true;
        case LineSource::Got::error:
            return false;
        }
    }
}

/// Becomes readable at SIGINT and SIGTERM, which then do nothing else, in any thread.
int OpenStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

/// Keeps files opened later out of the places of standard streams that the caller closed.
void OpenStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    close(fd);
}

int Fail(int code, const std::string &what) {
    fprintf(stderr, "tq_gateway: %s\n", what.c_str());
    return code;
}

int Run(const Options &options) {
    const int input =
        options.script.empty() ? STDIN_FILENO : open(options.script.c_str(), O_RDONLY | O_CLOEXEC);
    if (input < 0) {
        return Fail(kExitUsage, options.script + ": " + strerror(errno));
    }
    const int stop_signals = OpenStopSignals();

    StdoutCapture captured;
    const bool terminal = isatty(captured.Terminal()) != 0;
    const bool coloured = terminal && getenv("NO_COLOR") == nullptr;
    const auto sink = options.text || (terminal && !options.json)
                          ? MakeTimeline(captured.Terminal(), coloured)
                          : MakeJsonLines(captured.Terminal());
    Output output(captured, *sink);
    tqhost::SetLogLevel(options.log);
    Gateway gateway(LoadModule(options.module), output);
    if (const int result = gateway.Start(options.reset_report_all); result != 0) {
        return Fail(kExitFailed, "the module could not be initialised: " + std::to_string(result));
    }

    int code = EXIT_SUCCESS;
    {
        const StatusThread status(gateway, options.status_interval);
        if (!FeedLines({input, stop_signals}, gateway)) {
            code = Fail(kExitUsage, (options.script.empty() ? "standard input" : options.script) + ": " +
                                        strerror(errno));
        }
    }
    gateway.Stop();
    return code;
}

} // namespace

int main(int argc, char **argv) {
    try {
        OpenStandardStreams();
        Options options;
        if (const std::optional<int> code = ReadOptions(argc, argv, options)) {
            return *code;
        }
        return Run(options);
    } catch (const std::exception &error) {
        return Fail(kExitFailed, error.what());
    }
}
