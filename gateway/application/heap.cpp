// SPDX-License-Identifier: Apache-2.0
// Keeps track of live blocks. The program has functions of its own in the place of malloc and its kin, which
// the whole process then calls; with a sanitizer, whose functions these are, its runtime tells of blocks.
#include "application/heap.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <iterator>

#include <dlfcn.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TQ_SANITIZER_HAS_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TQ_SANITIZER_HAS_MALLOC 1
#endif
#endif

namespace tqgateway {
namespace {

/// A set of block addresses: a bit for every place where a block can begin, in leaves that are mapped when
/// they are first needed. Takes no lock and calls no allocator, for it runs inside of one.
class AddressSet {
public:
    void Add(const void *address) {
        if (Leaf *leaf = Of(address, true)) {
            Word(*leaf, address).fetch_or(Bit(address), std::memory_order_relaxed);
        }
    }

    void Remove(const void *address) {
        if (Leaf *leaf = Of(address, false)) {
            Word(*leaf, address).fetch_and(~Bit(address), std::memory_order_relaxed);
        }
    }

    bool Contains(const void *address) {
        Leaf *leaf = Number(address) % kGranule == 0 ? Of(address, false) : nullptr;
        return leaf != nullptr && (Word(*leaf, address).load(std::memory_order_relaxed) & Bit(address)) != 0;
    }

private:
    static constexpr std::uintptr_t kGranule = 8; // no block begins elsewhere
    static constexpr unsigned kLeafBits = 26;     // 64 MiB of addresses, a leaf of 1 MiB
    static constexpr unsigned kAddressBits = sizeof(void *) == 8 ? 48 : 32;
    static constexpr unsigned kWordBits = 32;

    struct Leaf {
        std::atomic<std::uint32_t> words[(std::uintptr_t{1} << kLeafBits) / kGranule / kWordBits];
    };

    static std::uintptr_t Number(const void *address) { return reinterpret_cast<std::uintptr_t>(address); }
    static std::uintptr_t Place(const void *address) {
        return (Number(address) & ((std::uintptr_t{1} << kLeafBits) - 1)) / kGranule;
    }
    static std::atomic<std::uint32_t> &Word(Leaf &leaf, const void *address) {
        return leaf.words[Place(address) / kWordBits];
    }
    static std::uint32_t Bit(const void *address) { return 1U << Place(address) % kWordBits; }

    /// The leaf of an address, null when there is none: not made yet, or no memory for it.
    Leaf *Of(const void *address, bool make) {
        const std::uintptr_t index = Number(address) >> kLeafBits;
        if (index >= std::size(leaves_)) {
            return nullptr;
        }
        Leaf *leaf = leaves_[index].load(std::memory_order_acquire);
        return leaf != nullptr || !make ? leaf : Make(leaves_[index]);
    }

    static Leaf *Make(std::atomic<Leaf *> &place) {
        void *memory = mmap(nullptr, sizeof(Leaf), PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) {
            return nullptr;
        }
        Leaf *leaf = static_cast<Leaf *>(memory); // fresh pages are zero
        Leaf *other = nullptr;
        if (place.compare_exchange_strong(other, leaf, std::memory_order_acq_rel)) {
            return leaf;
        }
        munmap(memory, sizeof(Leaf)); // another thread was first
        return other;
    }

    std::atomic<Leaf *> leaves_[std::size_t{1} << (kAddressBits - kLeafBits)];
};

// Zero from the start of the process; never destroyed.
std::atomic<bool> g_watching;
AddressSet g_live;
AddressSet g_given;

void Born(const volatile void *block, std::size_t /*size*/) {
    if (block != nullptr && g_watching.load(std::memory_order_relaxed)) {
        g_live.Add(const_cast<const void *>(block));
    }
}

void Died(const volatile void *block) {
    if (block != nullptr && g_watching.load(std::memory_order_relaxed)) {
        g_live.Remove(const_cast<const void *>(block));
        g_given.Remove(const_cast<const void *>(block));
    }
}

} // namespace
} // namespace tqgateway

#ifdef TQ_SANITIZER_HAS_MALLOC

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void *,
                                                                             std::size_t),
                                                         void (*free_hook)(const volatile void *));

#else

#ifdef __GLIBC__
// The C library keeps its own functions reachable for those who replace them.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *memory);
}

namespace {

constexpr auto LibcMalloc = __libc_malloc;
constexpr auto LibcCalloc = __libc_calloc;
constexpr auto LibcRealloc = __libc_realloc;
constexpr auto LibcMemalign = __libc_memalign;
constexpr auto LibcFree = __libc_free;

#else

namespace {

// Another C library's are the next after the program's own; looking them up takes no memory.
template <typename Function>
Function *Next(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

void *LibcMalloc(std::size_t size) {
    static const auto next = Next<void *(std::size_t)>("malloc");
    return next(size);
}

void *LibcCalloc(std::size_t count, std::size_t size) {
    static const auto next = Next<void *(std::size_t, std::size_t)>("calloc");
    return next(count, size);
}

void *LibcRealloc(void *memory, std::size_t size) {
    static const auto next = Next<void *(void *, std::size_t)>("realloc");
    return next(memory, size);
}

void *LibcMemalign(std::size_t alignment, std::size_t size) {
    // Its memalign may be made of aligned_alloc, which is ours.
    static const auto next = Next<void *(std::size_t, std::size_t)>("aligned_alloc");
    return next(alignment, size);
}

void LibcFree(void *memory) {
    static const auto next = Next<void(void *)>("free");
    next(memory);
}

#endif

constexpr bool kNothrow = noexcept(malloc(1)); ///< As the library declares all of them.

void *Noted(void *block) {
    tqgateway::Born(block, 0);
    return block;
}

} // namespace

void *malloc(std::size_t size) noexcept(kNothrow) {
    return Noted(LibcMalloc(size));
}

void *calloc(std::size_t count, std::size_t size) noexcept(kNothrow) {
    return Noted(LibcCalloc(count, size));
}

void *realloc(void *memory, std::size_t size) noexcept(kNothrow) {
    tqgateway::Died(memory); // before another thread can be given the same address
    void *moved = LibcRealloc(memory, size);
    Noted(moved == nullptr && size != 0 ? memory : moved);
    return moved;
}

void free(void *memory) noexcept(kNothrow) {
    tqgateway::Died(memory);
    LibcFree(memory);
}

void *memalign(std::size_t alignment, std::size_t size) noexcept(kNothrow) {
    return Noted(LibcMemalign(alignment, size));
}

void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept(kNothrow) {
    return memalign(alignment, size);
}

int posix_memalign(void **memory, std::size_t alignment, std::size_t size) noexcept(kNothrow) {
    if (alignment % sizeof(void *) != 0 || alignment == 0 || (alignment & (alignment - 1)) != 0) {
        return EINVAL;
    }
    void *block = memalign(alignment, size);
    if (block == nullptr) {
        return ENOMEM;
    }
    *memory = block;
    return 0;
}

void *valloc(std::size_t size) noexcept(kNothrow) {
    return memalign(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), size);
}

void *pvalloc(std::size_t size) noexcept(kNothrow) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return memalign(page, (size + page - 1) / page * page);
}

#endif

namespace tqgateway {

void WatchHeap() {
#ifdef TQ_SANITIZER_HAS_MALLOC
    if (!g_watching) {
        __sanitizer_install_malloc_and_free_hooks(Born, Died);
    }
#endif
    g_watching = true;
}

bool IsHeapBlock(const void *address) {
    return g_live.Contains(address);
}

std::size_t HeapBlockSize(const void *block) {
    return malloc_usable_size(const_cast<void *>(block));
}

void MarkGiven(const void *block) {
    g_given.Add(block);
}

bool IsGiven(const void *block) {
    return g_given.Contains(block);
}

} // namespace tqgateway
