// SPDX-License-Identifier: Apache-2.0
// Reading that a signal can end at any time.
#include "input/line_source.h"

#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace tqgateway {
namespace {

bool Readable(int fd) {
    pollfd waiting = {fd, POLLIN, 0};
    return poll(&waiting, 1, 0) > 0;
}

} // namespace

std::string_view Trimmed(std::string_view line) {
    constexpr const char *kBlanks = " \t\r";
    const std::size_t begin = line.find_first_not_of(kBlanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : line.substr(begin, line.find_last_not_of(kBlanks) + 1 - begin);
}

LineSource::Got LineSource::Next(std::string &line) {
    std::size_t searched = begin_;
    for (;;) {
        if (Readable(stop_fd_)) {
            return Got::end;
        }
        const std::size_t newline = buffer_.find('\n', searched);
        const bool ended = newline != std::string::npos;
        const std::size_t length = (ended ? newline : buffer_.size()) - begin_;
        if (length > kLongest) {
            too_long_ = true;
        }
        if (ended) {
            line.assign(buffer_, begin_, too_long_ ? 0 : length);
            begin_ = newline + 1;
            ++number_;
            return std::exchange(too_long_, false) ? Got::too_long : Got::line;
        }

        buffer_.erase(0, too_long_ ? buffer_.size() : begin_);
        begin_ = 0;
        searched = buffer_.size();
        switch (Fill()) {
        case Filled::some:
            break;
        case Filled::due:
            return Got::due;
        case Filled::error:
            return Got::error;
        case Filled::end:
            line.swap(buffer_);
            buffer_.clear();
            ++number_;
            return std::exchange(too_long_, false) ? Got::too_long : line.empty() ? Got::end : Got::line;
        }
    }
}

LineSource::Filled LineSource::Fill() {
    constexpr std::size_t kChunk = std::size_t{64} << 10;
    pollfd waiting[] = {{fd_, POLLIN, 0}, {stop_fd_, POLLIN, 0}, {due_fd_, POLLIN, 0}};
    while (poll(waiting, std::size(waiting), -1) < 0) {
        if (errno != EINTR) {
            return Filled::error;
        }
    }
    if (waiting[1].revents != 0) {
        return Filled::some; // the caller looks at it first
    }
    if (waiting[2].revents != 0) {
        return Filled::due;
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

void GiveLines(LineSource &source, const std::function<void(const std::string &line)> &take,
               const std::function<void(const std::string &reason)> &refuse,
               const std::function<void()> &carry_out_due) {
    for (std::string line;;) {
        switch (source.Next(line)) {
        case LineSource::Got::line:
            take(line);
            break;
        case LineSource::Got::too_long:
            refuse("a line longer than 64 MiB");
            break;
        case LineSource::Got::due:
            carry_out_due();
            break;
        case LineSource::Got::end:
            return;
        case LineSource::Got::error:
            throw std::system_error(errno, std::generic_category());
        }
    }
}

} // namespace tqgateway
