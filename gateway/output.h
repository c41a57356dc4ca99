// SPDX-License-Identifier: Apache-2.0
/// @file output.h  Where the gateway's lines go.
#ifndef TQGATEWAY_OUTPUT_H
#define TQGATEWAY_OUTPUT_H

#include <memory>
#include <mutex>
#include <string>

#include "json.h"

namespace tqgateway {

/// One place that lines go to. Called by one thread at a time.
class Sink {
public:
    virtual ~Sink() = default;
    virtual void Show(const Json &line) = 0; ///< A line out.
    virtual void Echo(const Json &line) = 0; ///< A line in, before it is carried out.
    virtual void Heading(const std::string &comment) = 0;
};

/// Writes the text and a newline. An error ends it silently.
void WriteLine(int fd, std::string text);

/// JSON Lines, of the lines out only.
std::unique_ptr<Sink> MakeJsonLines(int fd);

/// A timeline for people: one line per message with its direction, name and fields.
std::unique_ptr<Sink> MakeTimeline(int fd, bool coloured);

/// Takes what the process prints on its standard output, from construction to its end.
class StdoutCapture {
public:
    StdoutCapture(); ///< Throws std::system_error.

    int Terminal() const { return terminal_; } ///< A duplicate of the standard output as it was.
    std::string Take();                        ///< What was printed since the last call.

private:
    int terminal_;
    int captured_;
};

/// Gives lines to a sink, those of all threads in one order; what was printed before a line goes first.
class Output {
public:
    Output(StdoutCapture &captured, Sink &sink) : captured_(captured), sink_(sink) {}

    void Show(const Json &line);
    void Echo(const Json &line);
    void Heading(const std::string &comment);
    void ShowPrinted(); ///< Only what was printed.

private:
    void ShowPrintedLocked();

    std::mutex mutex_;
    StdoutCapture &captured_;
    Sink &sink_;
};

} // namespace tqgateway

#endif
