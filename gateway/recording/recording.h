// SPDX-License-Identifier: Apache-2.0
/// @file recording.h  Recorded sessions: JSON Lines of what went in and what came out, in order.
///
/// The first line is the session, `{"session":{"log":0,"reset_report_all":false}}`, the settings that
/// change what comes out; with `"serial":"HUB1"` where the device has one of its own, and
/// `"explain_refusals":true` where refused rules are checked. Then come
///
///     {"in":{…}}           a line taken; one that is no JSON object as its text, or
///                          where that is not UTF-8 as an array of its bytes
///     {"event":{…}}        an event of the gateway's own, such as the arriving link
///     {"refusal":"…"}      why a line could not even be taken
///     {"out":{…}}          a line that came out
///
/// each with a `"time"` unless times were not wanted, and comments. Comments and blank lines do not count.
#ifndef TQGATEWAY_RECORDING_RECORDING_H
#define TQGATEWAY_RECORDING_RECORDING_H

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "lines/moment.h"
#include "output/output.h"

namespace tqgateway {

/// Begins a recording with its session; the sink writes the rest.
std::unique_ptr<Sink> MakeRecorder(WriteLine write, const Session &session, bool timed);

/// A line that came out, and where the recording has it.
struct RecordedOutput {
    std::size_t number; ///< Of the line in the file, from 1.
    Json line;
};

/// What went in, and all that came out before the next.
struct RecordedStep {
    std::size_t number;
    std::vector<std::string> comments; ///< Before the input; an empty one is a blank line.
    Input what;
    Json input;
    std::string text; ///< The input as it was written.
    std::optional<Moment> time;
    std::vector<RecordedOutput> outputs;
};

struct Recording {
    std::string file;
    Session session;
    std::vector<RecordedStep> steps;   ///< The first has no input: it is the start.
    std::vector<std::string> comments; ///< After the last step.
    std::size_t cut_off = 0; ///< The number of the line at the end that is not whole or missing; 0: none.
};

/// Reads a recording, however it is indented and its lines end. Throws std::invalid_argument for a file that
/// holds none; it names the line that is none of a recording.
Recording ReadRecording(const std::string &file);

/// What is wrong with a line of a recording.
std::invalid_argument BadLine(const std::string &file, std::size_t number, const LineError &error);

/// The recording as a file has it, the outputs without times.
std::string RecordingText(const Recording &recording);

} // namespace tqgateway

#endif
