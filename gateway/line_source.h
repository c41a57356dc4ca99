// SPDX-License-Identifier: Apache-2.0
/// @file line_source.h  Lines from a file descriptor, until it ends or a signal asks to stop.
#ifndef TQGATEWAY_LINE_SOURCE_H
#define TQGATEWAY_LINE_SOURCE_H

#include <string>

namespace tqgateway {

/// Reads lines without their newline. A last line without one counts.
class LineSource {
public:
    enum class Got { line, too_long, end, error };

    static constexpr std::size_t kLongest = std::size_t{64} << 20;

    /// `stop_fd` becomes readable when reading is to end, even in the middle of a line.
    LineSource(int fd, int stop_fd) : fd_(fd), stop_fd_(stop_fd) {}

    /// Waits for the next line. A line longer than kLongest is skipped whole; `error` leaves errno.
    Got Next(std::string &line);

private:
    enum class Filled { some, end, error };
    Filled Fill();

    int fd_;
    int stop_fd_;
    std::string buffer_;
    std::size_t begin_ = 0; ///< Of what is not given out yet.
};

} // namespace tqgateway

#endif
