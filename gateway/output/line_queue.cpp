// SPDX-License-Identifier: Apache-2.0
// The queue, the thread that writes, and how long a reader is waited for.
#include "output/line_queue.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "file_descriptor.h"

namespace tqgateway {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kMostBytes = std::size_t{16} << 20;
constexpr milliseconds kPatience{800}; // twice, for a line and for the end, is less than two seconds
constexpr milliseconds kLook{50};      // the longest until a stop is noticed

constexpr const char *kClearLine = "\r\033[K";

/// Bytes written at once, few enough that a reader's progress shows.
constexpr std::size_t kChunk = PIPE_BUF;

bool Ready(int fd, short events, int timeout_ms) {
    pollfd waiting = {fd, events, 0};
    return poll(&waiting, 1, timeout_ms) > 0;
}

} // namespace

class LineQueue::State {
public:
    State(int fd, Owner owner)
        : fd_(fcntl(fd, F_DUPFD_CLOEXEC, 3)), between_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          owner_(owner) {}

    /// The thread's: writes until the queue is closed and empty.
    void Run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
            if (waiting_.empty()) {
                return;
            }
            std::string text = std::exchange(waiting_, {});
            if (prompting_) {
                text.insert(0, kClearLine);
                unwritten_ += strlen(kClearLine);
            }
            for (std::size_t done = 0; done < text.size() && error_ == 0;) {
                lock.unlock();
                const std::size_t written =
                    WriteSome(text.data() + done, std::min(kChunk, text.size() - done));
                lock.lock();
                const char *begin = text.data() + done;
                unwritten_lines_ -= static_cast<std::size_t>(std::count(begin, begin + written, '\n'));
                unwritten_ -= written;
                done += written;
                changed_.notify_all();
            }
            if (prompting_) {
                eventfd_write(between_.Get(), 1);
            }
        }
    }

    int Prompting(bool prompting) {
        const std::lock_guard lock(mutex_);
        prompting_ = prompting;
        return between_.Get();
    }

    void Add(std::string line) {
        line += '\n';
        std::unique_lock lock(mutex_);
        const auto has_room = [&] { return unwritten_ == 0 || unwritten_ + line.size() <= kMostBytes; };
        const bool still = stood_still_ && unwritten_ == unwritten_then_;
        stood_still_ = still || (!has_room() && !Await(lock, has_room));
        unwritten_then_ = unwritten_;
        if (stood_still_) {
            ++left_out_;
            ++untold_;
            return;
        }
        Tell();
        Append(line);
    }

    void Flush() {
        std::unique_lock lock(mutex_);
        Await(lock, [this] { return unwritten_ == 0; });
    }

    void Close() {
        std::unique_lock lock(mutex_);
        if (std::exchange(closed_, true)) {
            return;
        }
        const std::size_t told = untold_ > 0 ? 1 : 0; // a line that nobody misses
        Tell();
        if (!Await(lock, [this] { return unwritten_ == 0; })) {
            left_out_ += unwritten_lines_ - told;
        }
        changed_.notify_all();
    }

    int Error() {
        const std::lock_guard lock(mutex_);
        return error_;
    }

    std::size_t LeftOut() {
        const std::lock_guard lock(mutex_);
        return left_out_;
    }

private:
    std::size_t WriteSome(const char *text, std::size_t bytes) {
        const ssize_t written = write(fd_.Get(), text, bytes);
        if (written >= 0) {
            return static_cast<std::size_t>(written);
        }
        if (errno == EAGAIN) {
            Ready(fd_.Get(), POLLOUT, -1);
        } else if (errno != EINTR) {
            const int error = errno;
            const std::lock_guard lock(mutex_);
            error_ = error;
            owner_.failed();
        }
        return 0;
    }

    /// Waits until `done` or a failure; false when the reader takes nothing for a while, or too long over it
    /// once the program is to stop.
    template <typename Done>
    bool Await(std::unique_lock<std::mutex> &lock, Done done) {
        auto deadline = steady_clock::now() + kPatience;
        for (std::size_t left = unwritten_; error_ == 0 && !done();) {
            if (steady_clock::now() >= deadline) {
                return false;
            }
            changed_.wait_for(lock, kLook);
            if (unwritten_ < std::exchange(left, unwritten_) && !Ready(owner_.stop_fd, POLLIN, 0)) {
                deadline = steady_clock::now() + kPatience;
            }
        }
        return true;
    }

    /// Puts a line in the place of those left out.
    void Tell() {
        if (untold_ > 0) {
            Append(owner_.left_out(std::exchange(untold_, 0)) + '\n');
        }
    }

    void Append(const std::string &line) {
        if (error_ == 0) {
            waiting_ += line;
            unwritten_ += line.size();
            ++unwritten_lines_;
            changed_.notify_all();
        }
    }

    const FileDescriptor fd_; ///< Its own, so that it stays open as long as the thread needs it.
    const FileDescriptor between_;
    const Owner owner_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string waiting_;             ///< What the thread has not begun with.
    std::size_t unwritten_ = 0;       ///< Bytes that wait or are being written.
    std::size_t unwritten_lines_ = 0; ///< Lines likewise.
    bool stood_still_ = false; ///< The last line was left out, and so is the next, with so many bytes left:
    std::size_t unwritten_then_ = 0;
    std::size_t left_out_ = 0;
    std::size_t untold_ = 0; ///< Left out, and no line says so yet.
    bool prompting_ = false;
    bool closed_ = false;
    int error_ = 0;
};

LineQueue::LineQueue(int fd, Owner owner) : state_(std::make_shared<State>(fd, owner)) {
    std::thread([state = state_] { state->Run(); }).detach();
}

LineQueue::~LineQueue() {
    Close();
}

void LineQueue::Write(std::string line) {
    state_->Add(std::move(line));
}

void LineQueue::Flush() {
    state_->Flush();
}

int LineQueue::Prompting(bool prompting) {
    return state_->Prompting(prompting);
}

void LineQueue::Close() {
    state_->Close();
}

int LineQueue::Error() const {
    return state_->Error();
}

std::size_t LineQueue::LeftOut() const {
    return state_->LeftOut();
}

} // namespace tqgateway
