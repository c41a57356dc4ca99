// SPDX-License-Identifier: Apache-2.0
/// @file output.h  Where the gateway's lines go.
#ifndef TQGATEWAY_OUTPUT_OUTPUT_H
#define TQGATEWAY_OUTPUT_OUTPUT_H

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "file_descriptor.h"
#include "lines/json.h"
#include "lines/moment.h"

namespace tqgateway {

/// What goes in: a line (one that is no JSON object as its text), an event of the gateway's own, which no
/// result closes, or why a line could not even be taken.
enum class Input { line, event, refusal };

/// One place that lines go to. Called by one thread at a time.
class Sink {
public:
    virtual ~Sink() = default;
    virtual void Show(const Json &line, Moment when) = 0; ///< A line out.

    /// An input before it is carried out, also as it was written.
    virtual void Echo(Input what, const Json &input, const std::string &text, Moment when) = 0;
    virtual void Heading(const std::string &comment) = 0;
};

/// Writes a line, without its newline, for a sink.
using WriteLine = std::function<void(std::string line)>;

/// Writes lines to a file descriptor, each before the next thing happens, until that fails, which asks the
/// program to stop. A reader is waited for; one of a descriptor that does not block no longer than half a
/// second once the program is to stop.
class LineWriter {
public:
    /// `stop_fd` is readable when the program is to stop; -1 for none.
    LineWriter(int fd, void (*failed)(), int stop_fd = -1) : fd_(fd), failed_(failed), stop_fd_(stop_fd) {}

    void Write(std::string text);        ///< The text and a newline.
    int Error() const { return error_; } ///< An errno; 0 while all could be written, EAGAIN for a reader.

private:
    bool Await();

    int fd_;
    void (*failed_)();
    int stop_fd_;
    std::optional<std::chrono::steady_clock::time_point> deadline_; ///< Once the program is to stop.
    int error_ = 0;
};

/// The line as JSON, with the time as its last member where lines are timed.
std::string DumpOut(const Json &line, Moment when, bool timed);

/// The JSON line that stands for so many lines that did not fit.
std::string DroppedLine(std::size_t lines);

/// JSON Lines, of the lines out only.
std::unique_ptr<Sink> MakeJsonLines(WriteLine write, bool timed);

/// Takes what the process prints on its standard output, from construction to the end of the process.
class StdoutCapture {
public:
    StdoutCapture(); ///< Throws std::system_error.

    int Terminal() const { return terminal_.Get(); } ///< A duplicate of the standard output as it was.

    /// What was printed since the last call. It takes memory until then.
    std::string Take();

private:
    FileDescriptor terminal_;
    FileDescriptor captured_;
};

/// The member of a line in that all lines it causes carry, too.
constexpr const char *kId = "id";

/// While it lives, the lines that this thread shows carry the id; none for null. There is one at a time.
class Cause {
public:
    explicit Cause(const Json *id);
    ~Cause();
    Cause(const Cause &) = delete;
    Cause &operator=(const Cause &) = delete;
};

/// Gives lines to all sinks, those of all threads in one order; what was printed before a line goes first.
class Output {
public:
    /// A null sink stands for none.
    Output(StdoutCapture &captured, const std::vector<Sink *> &sinks);

    void Show(const Json &line);
    void Echo(Input what, const Json &input, const std::string &text);
    void Heading(const std::string &comment);
    void ShowPrinted(); ///< Only what was printed.

private:
    void ShowLocked(const Json &line);
    void ShowPrintedLocked();

    std::mutex mutex_;
    StdoutCapture &captured_;
    std::vector<Sink *> sinks_;
};

} // namespace tqgateway

#endif
