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
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

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
constexpr milliseconds kEnding{300};   // for the thread to notice that it is to end

constexpr const char *kClearLine = "\r\033[K";

/// Bytes written at once, few enough that a reader's progress shows, and that a pipe which takes any takes
/// them all.
constexpr std::size_t kChunk = PIPE_BUF;

/// What is written at once of a text: whole lines, or a part of one that is longer.
std::string_view Portion(std::string_view text) {
    const std::string_view most = text.substr(0, kChunk);
    const std::size_t end = most.rfind('\n');
    return end == std::string_view::npos ? most : most.substr(0, end + 1);
}

bool Ready(int fd, short events, milliseconds timeout) {
    pollfd waiting = {fd, events, 0};
    return poll(&waiting, 1, static_cast<int>(timeout.count())) > 0;
}

} // namespace

class LineQueue::State {
public:
    State(int fd, Owner owner)
        : fd_(fcntl(fd, F_DUPFD_CLOEXEC, 3)), between_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          owner_(owner) {}

    /// The thread's: writes until the queue is closed, and empty or given up.
    void Run() {
        std::unique_lock lock(mutex_);
        while (!given_up_) {
            changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
            if (waiting_.empty()) {
                break;
            }
            std::string text = std::exchange(waiting_, {});
            if (prompting_) {
                text.insert(0, kClearLine);
                unwritten_ += strlen(kClearLine);
            }
            for (std::string_view left = text; !left.empty() && error_ == 0 && !given_up_;) {
                lock.unlock();
                const std::size_t written = WriteSome(Portion(left));
                lock.lock();
                unwritten_lines_ -= static_cast<std::size_t>(
                    std::count(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(written), '\n'));
                unwritten_ -= written;
                within_line_ = written == 0 ? within_line_ : left[written - 1] != '\n';
                left.remove_prefix(written);
                changed_.notify_all();
            }
            if (prompting_) {
                eventfd_write(between_.Get(), 1);
            }
        }
        ended_ = true;
        changed_.notify_all();
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
        Tell();
        changed_.notify_all();
        if (Await(lock, [this] { return unwritten_ == 0; })) {
            return;
        }
        given_up_ = true;
        const bool ended = changed_.wait_for(lock, kEnding, [this] { return ended_; });
        const std::size_t cut = CutOff();
        const std::string mark = (within_line_ ? "\n" : "") + owner_.left_out(cut) + '\n';
        lock.unlock();
        if (ended && cut > 0) {
            MakeRoom();
            WriteSome(mark);
        }
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
    /// A line that stands for others.
    struct Mark {
        std::size_t number; ///< Among all lines, from 1.
        std::size_t lines;  ///< Those that it stands for.
    };

    /// Writes what the reader takes soon; the number of bytes.
    std::size_t WriteSome(std::string_view text) {
        if (!Ready(fd_.Get(), POLLOUT, kLook)) {
            return 0;
        }
        const ssize_t written = write(fd_.Get(), text.data(), text.size());
        if (written >= 0) {
            return static_cast<std::size_t>(written);
        }
        if (errno != EAGAIN && errno != EINTR) {
            const int error = errno;
            const std::lock_guard lock(mutex_);
            error_ = error;
            owner_.failed();
        }
        return 0;
    }

    /// A pipe that is full gets room for one write more.
    void MakeRoom() {
        fcntl(fd_.Get(), F_SETPIPE_SZ, fcntl(fd_.Get(), F_GETPIPE_SZ) + static_cast<int>(kChunk));
    }

    /// Counts what is not written as left out; how many lines the marks that are written do not tell of.
    std::size_t CutOff() {
        std::size_t cut = unwritten_lines_;
        for (const Mark &mark : marks_) {
            if (mark.number > lines_ - unwritten_lines_) {
                left_out_ -= mark.lines;
                cut += mark.lines - 1;
            }
        }
        left_out_ += cut;
        return cut;
    }

    /// Waits until `done` or a failure; false when the reader takes nothing for a while, unless the queue is
    /// closed, or too long over it once the program is to stop.
    template <typename Done>
    bool Await(std::unique_lock<std::mutex> &lock, Done done) {
        auto deadline = steady_clock::now() + kPatience;
        for (std::size_t left = unwritten_; error_ == 0 && !done();) {
            if (steady_clock::now() >= deadline) {
                return false;
            }
            changed_.wait_for(lock, kLook);
            const bool moves = unwritten_ < std::exchange(left, unwritten_);
            if ((moves || closed_) && !Ready(owner_.stop_fd, POLLIN, milliseconds::zero())) {
                deadline = steady_clock::now() + kPatience;
            }
        }
        return true;
    }

    /// Puts a line in the place of those left out.
    void Tell() {
        if (untold_ > 0) {
            Append(owner_.left_out(untold_) + '\n');
            marks_.push_back({lines_, std::exchange(untold_, 0)});
        }
    }

    void Append(const std::string &line) {
        if (error_ == 0) {
            waiting_ += line;
            unwritten_ += line.size();
            ++unwritten_lines_;
            ++lines_;
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
    std::size_t lines_ = 0;           ///< All that are written or to be.
    std::vector<Mark> marks_;         ///< Those among them.
    bool within_line_ = false;        ///< The last that was written ends no line.
    bool stood_still_ = false; ///< The last line was left out, and so is the next, with so many bytes left:
    std::size_t unwritten_then_ = 0;
    std::size_t left_out_ = 0;
    std::size_t untold_ = 0; ///< Left out, and no line says so yet.
    bool prompting_ = false;
    bool closed_ = false;
    bool given_up_ = false;
    bool ended_ = false; ///< The thread writes nothing more.
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
