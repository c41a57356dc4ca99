// SPDX-License-Identifier: Apache-2.0
/// @file output.h  Where the gateway's lines go.
#ifndef TQGATEWAY_OUTPUT_H
#define TQGATEWAY_OUTPUT_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "file_descriptor.h"
#include "json.h"

namespace tqgateway {

/// What goes in: a line (one that is no JSON object as its text), an event of the gateway's own, which no
/// result closes, or why a line could not even be taken.
enum class Input { line, event, refusal };

/// One place that lines go to. Called by one thread at a time.
class Sink {
public:
    virtual ~Sink() = default;
    virtual void Show(const Json &line) = 0;              ///< A line out.
    virtual void Echo(Input what, const Json &input) = 0; ///< Before it is carried out.
    virtual void Heading(const std::string &comment) = 0;
};

/// Writes lines to a file descriptor until that fails, which asks the program to stop.
class LineWriter {
public:
    LineWriter(int fd, void (*failed)()) : fd_(fd), failed_(failed) {}

    void Write(std::string text);        ///< The text and a newline.
    int Error() const { return error_; } ///< An errno; 0 while all could be written.

private:
    int fd_;
    void (*failed_)();
    int error_ = 0;
};

/// JSON Lines, of the lines out only.
std::unique_ptr<Sink> MakeJsonLines(LineWriter &writer);

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

/// Gives lines to all sinks, those of all threads in one order; what was printed before a line goes first.
class Output {
public:
    /// A null sink stands for none.
    Output(StdoutCapture &captured, const std::vector<Sink *> &sinks);

    void Show(const Json &line);
    void Echo(Input what, const Json &input);
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
