// SPDX-License-Identifier: Apache-2.0
/// @file line_queue.h  Lines for a reader that may be slow, stand still or go away.
#ifndef TQGATEWAY_OUTPUT_LINE_QUEUE_H
#define TQGATEWAY_OUTPUT_LINE_QUEUE_H

#include <memory>
#include <string>

namespace tqgateway {

/// Writes lines to a file descriptor on a thread of its own. A slow reader is waited for when 16 MiB wait
/// for it, so it gets every line. One that takes nothing for 0.8 seconds is then waited for no longer: the
/// lines that find no room are left out, and one line in their place says how many.
class LineQueue {
public:
    struct Owner {
        int stop_fd;      ///< Readable when the program is to stop.
        void (*failed)(); ///< Called once when writing fails; nothing is written then.
        std::string (*left_out)(std::size_t lines); ///< The line for lines left out.
    };

    LineQueue(int fd, Owner owner);
    ~LineQueue();
    LineQueue(const LineQueue &) = delete;
    LineQueue &operator=(const LineQueue &) = delete;

    void Write(std::string line); ///< The line and a newline.
    void Flush();                 ///< Waits until all is written, or the reader takes nothing for 0.8 s.

    /// From now on somebody types on the terminal that the lines go to, or no longer: the place of a line is
    /// cleared first. Returns what becomes readable, 8 bytes, when lines came in between.
    int Prompting(bool prompting);

    /// Waits until all is written, however long the reader takes, or until 0.8 seconds after the program is
    /// to stop. What is not written then is cut off at the end of a line, and the last line says how many
    /// lines that were, where the reader is a pipe; a line longer than 4096 bytes may be cut within.
    void Close();

    int Error() const;           ///< An errno; 0 while all could be written.
    std::size_t LeftOut() const; ///< Lines that the reader did not get; after Close those behind, too.

private:
    class State;
    std::shared_ptr<State> state_; ///< Shared with the thread, which a reader may hold up for ever.
};

} // namespace tqgateway

#endif
