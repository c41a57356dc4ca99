// SPDX-License-Identifier: Apache-2.0
// tq_gateway: options, start and stop.
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "line_source.h"
#include "options.h"
#include "tqdev_host.h"

namespace {

using namespace tqgateway;

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

/// Feeds all that arrives to the gateway, until a signal asks to stop.
void FeedArrivals(MqttLink &link, int stop_fd, Gateway &gateway) {
    pollfd waiting[] = {{link.WakeFd(), POLLIN, 0}, {stop_fd, POLLIN, 0}};
    for (bool more = false;;) {
        if (poll(waiting, 2, more ? 0 : -1) >= 0 && waiting[1].revents != 0) {
            return;
        }
        if (!more) {
            eventfd_t count = 0;
            eventfd_read(link.WakeFd(), &count);
        }
        const std::optional<Arrival> arrival = link.Next();
        more = arrival.has_value();
        if (!arrival) {
            continue;
        }
        switch (arrival->kind) {
        case Arrival::Kind::line:
            gateway.Take(arrival->text);
            break;
        case Arrival::Kind::refusal:
            gateway.Refuse(arrival->text);
            break;
        case Arrival::Kind::up:
            gateway.TakeEvent({{"kernel_event", "online"}});
            break;
        case Arrival::Kind::down:
            gateway.TakeEvent({{"kernel_event", "break"}});
            break;
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

/// Stops the program as a signal from outside would.
void RequestStop() {
    kill(getpid(), SIGTERM);
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

/// Says why not all lines could be written.
int Written(const LineWriter &writer, const std::string &name) {
    return writer.Error() == 0 ? EXIT_SUCCESS : Fail(kExitFailed, name + ": " + strerror(writer.Error()));
}

int Run(const Options &options) {
    const int input =
        options.script.empty() ? STDIN_FILENO : open(options.script.c_str(), O_RDONLY | O_CLOEXEC);
    if (input < 0) {
        return Fail(kExitUsage, options.script + ": " + strerror(errno));
    }
    const int record = options.record.empty()
                           ? -1
                           : open(options.record.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (record < 0 && !options.record.empty()) {
        return Fail(kExitUsage, options.record + ": " + strerror(errno));
    }
    const auto link = options.mqtt ? MakeMqttLink(*options.mqtt) : nullptr;
    const int stop_signals = OpenStopSignals();
    signal(SIGPIPE, SIG_IGN); // the writers notice

    StdoutCapture captured;
    const bool terminal = isatty(captured.Terminal()) != 0;
    const bool coloured = terminal && getenv("NO_COLOR") == nullptr;
    LineWriter standard_output(captured.Terminal(), RequestStop);
    LineWriter record_file(record, RequestStop);
    const auto shown = options.text || (terminal && !options.json) ? MakeTimeline(standard_output, coloured)
                                                                   : MakeJsonLines(standard_output);
    const auto recorder = record < 0 ? nullptr : MakeRecorder(record_file, options.session);
    std::vector<Sink *> sinks = {shown.get()};
    for (Sink *sink : {recorder.get(), static_cast<Sink *>(link.get())}) {
        if (sink != nullptr) {
            sinks.push_back(sink);
        }
    }
    Output output(captured, sinks);
    tqhost::SetLogLevel(options.session.log);
    Gateway gateway(LoadModule(options.module), output);
    if (const int result = gateway.Start(options.session.reset_report_all); result != 0) {
        return Fail(kExitFailed, "the module could not be initialised: " + std::to_string(result));
    }

    int code = EXIT_SUCCESS;
    {
        const StatusThread status(gateway, options.status_interval);
        if (link) {
            link->Connect();
            FeedArrivals(*link, stop_signals, gateway);
        } else if (!FeedLines({input, stop_signals}, gateway)) {
            code = Fail(kExitUsage, (options.script.empty() ? "standard input" : options.script) + ": " +
                                        strerror(errno));
        }
    }
    gateway.Stop();
    if (link) {
        link->Close();
    }
    if (standard_output.Error() != EPIPE) { // a reader that has seen enough is no failure
        code = std::max(code, Written(standard_output, "standard output"));
    }
    return std::max(code, Written(record_file, options.record));
}

int RunReplay(const Options &options) {
    if (options.replay_update) {
        RecordAnew(options.replay, LoadModule(options.module));
        return EXIT_SUCCESS;
    }
    const std::string difference = Replay(options.replay, LoadModule(options.module));
    return difference.empty() ? EXIT_SUCCESS : Fail(kExitFailed, difference);
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
        return Fail(kExitUsage, error.what());
    } catch (const std::exception &error) {
        return Fail(kExitFailed, error.what());
    }
}
