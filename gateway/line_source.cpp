// SPDX-License-Identifier: Apache-2.0
// Reading that a signal can end at any time.
#include "line_source.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace tqgateway {
namespace {

bool Readable(int fd) {
    pollfd waiting = {fd, POLLIN, 0};
    return poll(&waiting, 1, 0) > 0;
}

} // namespace

LineSource::Got LineSource::Next(std::string &line) {
    bool too_long = false;
    std::size_t searched = begin_;
    for (;;) {
        if (Readable(stop_fd_)) {
            return Got::end;
        }
        const std::size_t newline = buffer_.find('\n', searched);
        const bool ended = newline != std::string::npos;
        const std::size_t length = (ended ? newline : buffer_.size()) - begin_;
        if (length > kLongest) {
            too_long = true;
        }
        if (ended) {
            line.assign(buffer_, begin_, too_long ? 0 : length);
            begin_ = newline + 1;
            return too_long ? Got::too_long : Got::line;
        }

        buffer_.erase(0, too_long ? buffer_.size() : begin_);
        begin_ = 0;
        searched = buffer_.size();
        switch (Fill()) {
        case Filled::some:
            break;
        case Filled::error:
            return Got::error;
        case Filled::end:
            line.swap(buffer_);
            buffer_.clear();
            return too_long ? Got::too_long : line.empty() ? Got::end : Got::line;
        }
    }
}

LineSource::Filled LineSource::Fill() {
    constexpr std::size_t kChunk = std::size_t{64} << 10;
    pollfd waiting[] = {{fd_, POLLIN, 0}, {stop_fd_, POLLIN, 0}};
    while (poll(waiting, 2, -1) < 0) {
        if (errno != EINTR) {
            return Filled::error;
        }
    }
    if (waiting[1].revents != 0) {
        return Filled::some; // the caller looks at it first
    }

    const std::size_t size = buffer_.size();
    buffer_.resize(size + kChunk);
    const ssize_t got = read(fd_, buffer_.data() + size, kChunk);
    buffer_.resize(size + (got > 0 ? static_cast<std::size_t>(got) : 0));
    if (got < 0) {
        return errno == EINTR || errno == EAGAIN ? Filled::some : Filled::error;
    }
    return got == 0 ? Filled::end : Filled::some;
}

} // namespace tqgateway
