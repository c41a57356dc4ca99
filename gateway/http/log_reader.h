// SPDX-License-Identifier: Apache-2.0
/// @file log_reader.h  One who reads the log from somewhere on.
#ifndef TQGATEWAY_HTTP_LOG_READER_H
#define TQGATEWAY_HTTP_LOG_READER_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "http/event_log.h"

namespace tqgateway {

/// Gives out what the log has, in pieces of any size. Holds one line at a time, which others share.
class LogReader {
public:
    /// Server-sent events from this number on, without end. Of events that the log has forgotten it tells how
    /// many they were: `event: lost`, with `{"dropped":n}`.
    static LogReader OfEvents(const EventLog &log, std::uint64_t from) { return {log, from, UINT64_MAX}; }

    /// The lines that there are now.
    static LogReader OfRecording(const EventLog &log) { return {log, 1, log.Last()}; }

    /// Puts text into a buffer, as much as there is and fits; 0 when there is no more now. Throws
    /// std::runtime_error when the log has forgotten a line of a recording.
    std::size_t Read(char *buffer, std::size_t size);

    bool Ends() const { return last_ != UINT64_MAX; } ///< Whether "no more now" is no more at all.

    /// Has a comment sent unless something is being sent, for events only.
    void Beat();

private:
    LogReader(const EventLog &log, std::uint64_t from, std::uint64_t last)
        : log_(log), next_(from), last_(last) {}

    bool Begin();
    void Begin(std::string head, std::shared_ptr<const std::string> line, std::string_view tail);
    std::size_t ReadPart(char *buffer, std::size_t size);

    const EventLog &log_;
    std::uint64_t next_;
    std::uint64_t last_; ///< The largest number for events.

    std::string head_; ///< What is being sent: these three,
    std::shared_ptr<const std::string> line_;
    std::string_view tail_;
    std::size_t size_ = 0; ///< bytes of them all, and
    std::size_t done_ = 0; ///< those that are sent.
};

} // namespace tqgateway

#endif
