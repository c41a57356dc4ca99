// SPDX-License-Identifier: Apache-2.0
// A range of addresses for loans, and the handler of faults in it.
#include "application/lent.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <new>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace tqgateway {
namespace {

constexpr std::size_t kBytes = std::size_t{sizeof(void *) == 8 ? 1024 : 256} << 20; // of addresses
constexpr std::size_t kMostPages = kBytes / 4096;
constexpr int kPattern = 0xDD;

// What is known of a page beside its tag.
constexpr std::uint16_t kLent = 0x8000;
constexpr std::uint16_t kBehind = 0x4000; // the page behind a loan
constexpr std::uint16_t kTagBits = 0x3FFF;

/// The range, and how far it was lent; loans go round in it. It has no destructor.
class Range {
public:
    Range() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void *memory = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED || pipe2(faults_, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot make room for lent records");
        }
        begin_ = static_cast<char *>(memory);
    }

    std::size_t Pages(std::size_t size) const { return (size + page_ - 1) / page_; }
    char *At(std::size_t page) const { return begin_ + page * page_; }
    int FaultsFd() const { return faults_[0]; }

    /// Finds `pages` that are not lent, and one behind them; marks them. The first.
    std::size_t Lend(std::uint16_t tag, std::size_t pages) {
        const std::lock_guard lock(mutex_);
        const std::size_t first = Find(pages + 1);
        for (std::size_t i = first; i < first + pages; ++i) {
            known_[i] = kLent | tag;
        }
        known_[first + pages] = kLent | kBehind | tag;
        if (mprotect(At(first), pages * page_, PROT_READ | PROT_WRITE) != 0) {
            Return(first, pages);
            throw std::bad_alloc();
        }
        return first;
    }

    /// Takes back what was lent. The page behind it keeps its mark: a borrower may still go there.
    void TakeBack(std::size_t first, std::size_t pages) {
        const std::lock_guard lock(mutex_);
        // Also drops what a fault made of the page behind.
        madvise(At(first), (pages + 1) * page_, MADV_DONTNEED);
        mprotect(At(first), (pages + 1) * page_, PROT_NONE);
        Return(first, pages);
    }

    /// Whether the fault at the address is one of ours; then the access can go on. In a signal handler.
    bool Handle(const void *address) {
        const auto offset = static_cast<std::size_t>(static_cast<const char *>(address) - begin_);
        if (offset >= kBytes) { // also for an address below
            return false;
        }
        const std::size_t page = offset / page_;
        const std::uint16_t known = known_[page];
        if (known == 0 || (known & (kLent | kBehind)) == kLent ||
            mprotect(At(page), page_, PROT_READ | PROT_WRITE) != 0) {
            return false;
        }
        memset(At(page), kPattern, page_);
        const LentFault fault{static_cast<std::uint16_t>(known & kTagBits), (known & kBehind) != 0};
        // A full pipe loses it: thousands are waiting to be told.
        return write(faults_[1], &fault, sizeof fault) >= 0 || errno == EAGAIN;
    }

private:
    void Return(std::size_t first, std::size_t pages) {
        for (std::size_t i = first; i <= first + pages; ++i) {
            known_[i] = known_[i] & static_cast<std::uint16_t>(~kLent);
        }
    }

    std::size_t Find(std::size_t pages) {
        const std::size_t all = kBytes / page_;
        if (pages > all) {
            throw std::bad_alloc();
        }
        std::size_t free = 0; // up to `i`
        for (std::size_t i = next_, seen = 0; seen < all + pages; ++i, ++seen) {
            if (i == all) {
                i = 0;
                free = 0;
            }
            free = (known_[i] & kLent) != 0 ? 0 : free + 1;
            if (free == pages) {
                next_ = (i + 1) % all;
                return i + 1 - pages;
            }
        }
        throw std::bad_alloc();
    }

    std::mutex mutex_;
    std::size_t page_;
    char *begin_ = nullptr;
    int faults_[2] = {-1, -1};
    std::size_t next_ = 0;
    std::atomic<std::uint16_t> known_[kMostPages]{};
};

Range *g_range = nullptr;
struct sigaction g_others = {};

void HandleFault(int, siginfo_t *info, void *) {
    const int saved = errno;
    if (!g_range->Handle(info->si_addr)) {
        sigaction(SIGSEGV, &g_others, nullptr); // the access faults again, and then it is theirs
    }
    errno = saved;
}

/// Made with the first loan.
Range &TheRange() {
    static Range &range = [&]() -> Range & {
        g_range = new Range;
        struct sigaction ours = {};
        ours.sa_sigaction = HandleFault;
        ours.sa_flags = SA_SIGINFO;
        sigemptyset(&ours.sa_mask);
        sigaction(SIGSEGV, &ours, &g_others);
        return *g_range;
    }();
    return range;
}

} // namespace

LentMemory::LentMemory(std::uint16_t tag, std::size_t size)
    : first_page_(0), pages_(TheRange().Pages(size)), data_(nullptr) {
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    Range &range = TheRange();
    first_page_ = range.Lend(tag, pages_);
    // At the end of the pages, so that what is read beyond it is seen.
    data_ = range.At(first_page_ + pages_) - (size + kAlignment - 1) / kAlignment * kAlignment;
}

LentMemory::~LentMemory() {
    TheRange().TakeBack(first_page_, pages_);
}

int LentFaultsFd() {
    return TheRange().FaultsFd();
}

std::optional<LentFault> NextLentFault() {
    LentFault fault{};
    if (read(LentFaultsFd(), &fault, sizeof fault) != static_cast<ssize_t>(sizeof fault)) {
        return std::nullopt;
    }
    return fault;
}

} // namespace tqgateway
