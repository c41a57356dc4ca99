// SPDX-License-Identifier: Apache-2.0
/// @file line_source.h  Lines from a file descriptor, until it ends or a signal asks to stop.
#ifndef TQGATEWAY_INPUT_LINE_SOURCE_H
#define TQGATEWAY_INPUT_LINE_SOURCE_H

#include <functional>
#include <string>
#include <string_view>

namespace tqgateway {

/// The line without the blanks, and the carriage return, around it.
std::string_view Trimmed(std::string_view line);

/// True for a trimmed line that is blank or a comment.
inline bool SaysNothing(std::string_view trimmed) {
    return trimmed.empty() || trimmed[0] == '#';
}

/// Reads lines without their newline. A last line without one counts.
class LineSource {
public:
    enum class Got { line, too_long, due, end, error };

    static constexpr std::size_t kLongest = std::size_t{64} << 20;

    /// `stop_fd` becomes readable when reading is to end, even in the middle of a line; `due_fd` while the
    /// caller has something else to do, which ends no line.
    LineSource(int fd, int stop_fd, int due_fd) : fd_(fd), stop_fd_(stop_fd), due_fd_(due_fd) {}

    /// Waits for the next line. A line longer than kLongest is skipped whole; `error` leaves errno.
    Got Next(std::string &line);

    std::size_t Number() const { return number_; } ///< Of the last line, from 1.

private:
    enum class Filled { some, due, end, error };
    Filled Fill();

    int fd_;
    int stop_fd_;
    int due_fd_;
    std::string buffer_;
    std::size_t begin_ = 0; ///< Of what is not given out yet.
    std::size_t number_ = 0;
    bool too_long_ = false; ///< The present line is, and is skipped.
};

/// Gives all lines to `take`; why one cannot be taken goes to `refuse`. `carry_out_due` is called when the
/// source says `due`. Throws std::system_error when they cannot be read to their end.
void GiveLines(LineSource &source, const std::function<void(const std::string &line)> &take,
               const std::function<void(const std::string &reason)> &refuse,
               const std::function<void()> &carry_out_due);

} // namespace tqgateway

#endif
