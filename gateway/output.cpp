// SPDX-License-Identifier: Apache-2.0
// JSON Lines, what was printed meanwhile, and the order of both.
#include "output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace tqgateway {
namespace {

class JsonLines : public Sink {
public:
    explicit JsonLines(LineWriter &writer) : writer_(writer) {}

    void Show(const Json &line) override { writer_.Write(Dump(line)); }
    void Echo(Input, const Json &) override {}
    void Heading(const std::string &) override {}

private:
    LineWriter &writer_;
};

} // namespace

void LineWriter::Write(std::string text) {
    text += '\n';
    for (std::size_t done = 0; done < text.size() && error_ == 0;) {
        const ssize_t written = write(fd_, text.data() + done, text.size() - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EINTR) {
            error_ = errno;
            failed_();
        }
    }
}

std::unique_ptr<Sink> MakeJsonLines(LineWriter &writer) {
    return std::make_unique<JsonLines>(writer);
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

Output::Output(StdoutCapture &captured, const std::vector<Sink *> &sinks) : captured_(captured) {
    std::copy_if(sinks.begin(), sinks.end(), std::back_inserter(sinks_),
                 [](const Sink *sink) { return sink != nullptr; });
}

void Output::Show(const Json &line) {
    const std::lock_guard lock(mutex_);
    ShowPrintedLocked();
    ShowLocked(line);
}

void Output::Echo(Input what, const Json &input) {
    const std::lock_guard lock(mutex_);
    ShowPrintedLocked();
    for (Sink *sink : sinks_) {
        sink->Echo(what, input);
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
    for (Sink *sink : sinks_) {
        sink->Show(line);
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
