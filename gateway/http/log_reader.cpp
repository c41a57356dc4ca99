// SPDX-License-Identifier: Apache-2.0
// Lines as server-sent events, or as a recording.
#include "http/log_reader.h"

#include <algorithm>
#include <stdexcept>

#include "output/output.h"

namespace tqgateway {

std::size_t LogReader::Read(char *buffer, std::size_t size) {
    std::size_t read = 0;
    while (read < size && (done_ < size_ || Begin())) {
        read += ReadPart(buffer + read, size - read);
    }
    return read;
}

void LogReader::Beat() {
    if (!Ends() && done_ == size_) {
        Begin(":\n\n", nullptr, "");
    }
}

/// Begins with the next event; false when there is none.
bool LogReader::Begin() {
    const std::optional<Event> event = next_ > last_ ? std::nullopt : log_.From(next_);
    if (!event) {
        return false;
    }
    if (const std::uint64_t lost = event->number - std::exchange(next_, event->number); lost > 0) {
        if (Ends()) {
            throw std::runtime_error("the log has forgotten what this recording was to have");
        }
        Begin("event: lost\ndata: " + DroppedLine(lost), nullptr, "\n\n");
        return true;
    }
    ++next_;
    if (Ends()) {
        Begin("", event->line, "\n");
    } else {
        Begin("id: " + std::to_string(event->number) + "\ndata: ", event->line, "\n\n");
    }
    return true;
}

void LogReader::Begin(std::string head, std::shared_ptr<const std::string> line, std::string_view tail) {
    head_ = std::move(head);
    line_ = std::move(line);
    tail_ = tail;
    size_ = head_.size() + (line_ ? line_->size() : 0) + tail_.size();
    done_ = 0;
}

/// Copies what comes next of the three pieces.
std::size_t LogReader::ReadPart(char *buffer, std::size_t size) {
    // A carriage return would end a line of an event; in JSON it is a blank between two tokens.
    const char blank = Ends() ? '\r' : ' ';
    std::size_t copied = 0;
    std::size_t before = done_;
    for (const std::string_view piece :
         {std::string_view(head_), line_ ? std::string_view(*line_) : std::string_view(), tail_}) {
        const std::string_view rest = piece.substr(std::min(before, piece.size())).substr(0, size - copied);
        before -= std::min(before, piece.size());
        std::replace_copy(rest.begin(), rest.end(), buffer + copied, '\r', blank);
        copied += rest.size();
    }
    done_ += copied;
    return copied;
}

} // namespace tqgateway
