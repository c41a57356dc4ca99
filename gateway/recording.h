// SPDX-License-Identifier: Apache-2.0
/// @file recording.h  Recorded sessions: JSON Lines of what went in and what came out, in order.
///
/// The first line is the session, `{"session":{"log":0,"reset_report_all":false}}`, the settings that
/// change what comes out. Then come
///
///     {"in":{…}}           a line taken; one that is no JSON object as its text, or
///                          where that is not UTF-8 as an array of its bytes
///     {"event":{…}}        an event of the gateway's own, such as the arriving link
///     {"refusal":"…"}      why a line could not even be taken
///     {"out":{…}}          a line that came out
///
/// and comments. Blank lines do not count.
#ifndef TQGATEWAY_RECORDING_H
#define TQGATEWAY_RECORDING_H

#include <memory>
#include <string>

#include "module.h"
#include "output.h"

namespace tqgateway {

/// What a session starts with.
struct Session {
    int log = 0; ///< LOG_DEBUG_LEVEL
    bool reset_report_all = false;
};

/// Begins a recording with its session; the sink writes the rest.
std::unique_ptr<Sink> MakeRecorder(LineWriter &writer, const Session &session);

/// Feeds a recording's inputs to a gateway of its own and compares what comes out, the time of an action
/// result aside. Empty when all is equal, else the first difference for a person to read. Throws
/// std::invalid_argument for a file that holds no recording, which names the line that is none of a
/// recording, an event that nobody understands included; std::runtime_error when the module cannot be
/// initialised.
std::string Replay(const std::string &file, const Module &module);

/// Feeds a recording's inputs likewise, and writes the file anew with what comes out and the comments, that
/// time left empty. Throws as Replay does (the file stays as it was), and std::runtime_error when the file
/// cannot be written.
void RecordAnew(const std::string &file, const Module &module);

} // namespace tqgateway

#endif
