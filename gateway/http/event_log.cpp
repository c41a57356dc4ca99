// SPDX-License-Identifier: Apache-2.0
// The last lines, and which they are.
#include "http/event_log.h"

#include <algorithm>

namespace tqgateway {
namespace {

constexpr std::size_t kOverhead = 128; // of a line, about

std::size_t Cost(const std::string &line) {
    return line.size() + kOverhead;
}

} // namespace

void EventLog::Append(std::string line) {
    const auto shared = std::make_shared<const std::string>(std::move(line));
    const std::lock_guard lock(mutex_);
    lines_.push_back(shared);
    bytes_ += Cost(*shared);
    ++last_;
    while (bytes_ > most_bytes_ && lines_.size() > 1) {
        bytes_ -= Cost(*lines_.front());
        lines_.pop_front();
    }
}

std::optional<Event> EventLog::From(std::uint64_t number) const {
    const std::lock_guard lock(mutex_);
    const std::uint64_t first = last_ - lines_.size() + 1;
    const std::uint64_t found = std::max(number, first);
    return found > last_ ? std::nullopt : std::optional(Event{found, lines_[found - first]});
}

std::uint64_t EventLog::Last() const {
    const std::lock_guard lock(mutex_);
    return last_;
}

} // namespace tqgateway
