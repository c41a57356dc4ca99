// SPDX-License-Identifier: Apache-2.0
/// @file event_log.h  What happened, for readers who each are somewhere else in it.
#ifndef TQGATEWAY_HTTP_EVENT_LOG_H
#define TQGATEWAY_HTTP_EVENT_LOG_H

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tqgateway {

/// A line that readers share, and its number, from 1.
struct Event {
    std::uint64_t number;
    std::shared_ptr<const std::string> line;
};

/// Keeps as many of the last lines as fit, for all threads.
class EventLog {
public:
    explicit EventLog(std::size_t most_bytes) : most_bytes_(most_bytes) {}

    void Append(std::string line);

    /// The first event that is kept, from this number on; nothing when there is none yet.
    std::optional<Event> From(std::uint64_t number) const;

    std::uint64_t Last() const; ///< The number of the last event; 0 before the first.

private:
    const std::size_t most_bytes_;
    mutable std::mutex mutex_;
    std::deque<std::shared_ptr<const std::string>> lines_;
    std::size_t bytes_ = 0;
    std::uint64_t last_ = 0;
};

} // namespace tqgateway

#endif
