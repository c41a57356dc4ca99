// SPDX-License-Identifier: Apache-2.0
// Heap use, for tq_bench_memory: the C library's heap behind counters.
#include <algorithm>
#include <cstddef>

#include <malloc.h>

#include "bench.h"

namespace {

double g_allocations;  // calls that gave memory
std::ptrdiff_t g_live; // usable bytes since the message began
std::ptrdiff_t g_peak;

void *Took(void *memory) {
    g_allocations += 1;
    g_live += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    g_peak = std::max(g_peak, g_live);
    return memory;
}

void Gives(void *memory) {
    g_live -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
}

} // namespace

extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void __libc_free(void *memory);

void *malloc(std::size_t size) noexcept {
    return Took(__libc_malloc(size));
}

void *calloc(std::size_t count, std::size_t size) noexcept {
    return Took(__libc_calloc(count, size));
}

void *realloc(void *memory, std::size_t size) noexcept {
    Gives(memory);
    return Took(__libc_realloc(memory, size));
}

void free(void *memory) noexcept {
    Gives(memory);
    __libc_free(memory);
}
}

std::vector<Figures> Measure(const Contestants &contestants) {
    std::vector<Figures> figures;
    for (const Contestant &contestant : contestants) {
        for (int i = 0; i < 2; ++i) { // what is allocated once is not there any more the second time
            if (contestant.prepare) {
                contestant.prepare(1);
            }
            g_allocations = 0;
            g_live = 0;
            g_peak = 0;
            contestant.run();
        }
        // Taken before the figures themselves need memory.
        const double allocations = g_allocations;
        const auto peak = static_cast<double>(g_peak);
        figures.push_back({{"allocations", allocations}, {"peak", peak}});
    }
    return figures;
}
