// SPDX-License-Identifier: Apache-2.0
// JSON Lines, what was printed meanwhile, and the order of both.
#include "output/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace tqgateway {
namespace {

class JsonLines : public Sink {
public:
    JsonLines(WriteLine write, bool timed) : write_(std::move(write)), timed_(timed) {}

    void Show(const Json &line, Moment when) override { write_(DumpOut(line, when, timed_)); }
    void Echo(Input, const Json &, const std::string &, Moment) override {}
    void Heading(const std::string &) override {}

private:
    WriteLine write_;
    bool timed_;
};

/// The id of the line that this thread carries out.
thread_local const Json *t_id = nullptr;

constexpr std::chrono::milliseconds kPatienceAtStop{500};

Moment Now() {
    return std::chrono::system_clock::now();
}

} // namespace

void LineWriter::Write(std::string text) {
    text += '\n';
    for (std::size_t done = 0; done < text.size() && error_ == 0;) {
        const ssize_t written = write(fd_, text.data() + done, text.size() - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EINTR && !(errno == EAGAIN && Await())) {
            error_ = errno;
            failed_();
        }
    }
}

/// Waits until the reader may take more; false, with EAGAIN, when the program can wait no longer.
bool LineWriter::Await() {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    pollfd waiting[] = {{fd_, POLLOUT, 0}, {deadline_ ? -1 : stop_fd_, POLLIN, 0}};
    const auto left =
        std::chrono::ceil<milliseconds>(deadline_.value_or(steady_clock::time_point()) - steady_clock::now());
    const int timeout = deadline_ ? static_cast<int>(std::max(left, milliseconds::zero()).count()) : -1;
    if (poll(waiting, std::size(waiting), timeout) == 0) {
        errno = EAGAIN;
        return false;
    }
    if (waiting[1].revents != 0) {
        deadline_ = steady_clock::now() + kPatienceAtStop;
    }
    return true;
}

std::string DumpOut(const Json &line, Moment when, bool timed) {
    if (!timed) {
        return Dump(line);
    }
    Json with_time = line;
    with_time["time"] = MomentText(when);
    return Dump(with_time);
}

std::string DroppedLine(std::size_t lines) {
    return Dump({{"dropped", lines}});
}

std::unique_ptr<Sink> MakeJsonLines(WriteLine write, bool timed) {
    return std::make_unique<JsonLines>(std::move(write), timed);
}

StdoutCapture::StdoutCapture()
    : terminal_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)), captured_(memfd_create("stdout", MFD_CLOEXEC)) {
    if (terminal_.Get() < 0 || captured_.Get() < 0 || dup2(captured_.Get(), STDOUT_FILENO) < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot capture the standard output");
    }
}

std::string StdoutCapture::Take() {
    std::string text;
    flockfile(stdout); // nobody prints between reading and rewinding
    fflush(stdout);
    const int fd = captured_.Get();
    if (const off_t size = lseek(fd, 0, SEEK_CUR); size > 0) {
        text.resize(static_cast<std::size_t>(size));
        const ssize_t got = pread(fd, text.data(), text.size(), 0);
        text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        if (ftruncate(fd, 0) == 0) {
            lseek(fd, 0, SEEK_SET);
        }
    }
    funlockfile(stdout);
    return text;
}

Cause::Cause(const Json *id) {
    t_id = id;
}

Cause::~Cause() {
    t_id = nullptr;
}

Output::Output(StdoutCapture &captured, const std::vector<Sink *> &sinks) : captured_(captured) {
    std::copy_if(sinks.begin(), sinks.end(), std::back_inserter(sinks_),
                 [](const Sink *sink) { return sink != nullptr; });
}

void Output::Show(const Json &line) {
    const std::lock_guard lock(mutex_);
    ShowPrintedLocked();
    ShowLocked(line);
}

void Output::Echo(Input what, const Json &input, const std::string &text) {
    const std::lock_guard lock(mutex_);
    ShowPrintedLocked();
    const Moment when = Now();
    for (Sink *sink : sinks_) {
        sink->Echo(what, input, text, when);
    }
}

void Output::Heading(const std::string &comment) {
    const std::lock_guard lock(mutex_);
    ShowPrintedLocked();
    for (Sink *sink : sinks_) {
        sink->Heading(comment);
    }
}

void Output::ShowPrinted() {
    const std::lock_guard lock(mutex_);
    ShowPrintedLocked();
}

void Output::ShowLocked(const Json &line) {
    const Moment when = Now();
    Json with_id;
    if (t_id != nullptr) {
        with_id = line;
        with_id[kId] = *t_id;
    }
    for (Sink *sink : sinks_) {
        sink->Show(t_id != nullptr ? with_id : line, when);
    }
}

void Output::ShowPrintedLocked() {
    const std::string text = captured_.Take();
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        ShowLocked({{"log", "stdout"}, {"text", text.substr(begin, end - begin)}});
        begin = end + 1;
    }
}

} // namespace tqgateway
