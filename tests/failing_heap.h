// SPDX-License-Identifier: Apache-2.0
/// @file failing_heap.h
/// A heap that can fail, for a program that wraps malloc, calloc, realloc, strdup and free at link time. One
/// thread runs its tests.
#ifndef FAILING_HEAP_H
#define FAILING_HEAP_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

struct FailingHeap {
    bool armed = false;
    bool all_later = false;
    int target = 0; ///< The allocation that fails, counted from 1; 0: none.
    int seen = 0;   ///< While armed.
    long live = 0;  ///< Allocations made and not freed yet, armed or not.
    std::size_t bytes = 0;

    bool Hit() {
        seen += armed ? 1 : 0;
        return armed && target != 0 && (seen == target || (all_later && seen > target));
    }
    /// Whether any allocation failed.
    bool Reached() const { return seen >= target; }
    /// The memory that was made for a request, counted.
    template <typename Memory>
    Memory Made(Memory memory, std::size_t size = 0) {
        ++live;
        bytes += size;
        return memory;
    }
};
inline FailingHeap g_heap;

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *memory, std::size_t size);
char *__real_strdup(const char *text);
void __real_free(void *memory);

void *__wrap_malloc(std::size_t size) { return g_heap.Hit() ? nullptr : g_heap.Made(__real_malloc(size), size); }
void *__wrap_calloc(std::size_t count, std::size_t size) { return g_heap.Hit() ? nullptr : g_heap.Made(__real_calloc(count, size), count * size); }
void *__wrap_realloc(void *memory, std::size_t size) {
    const bool fails = g_heap.Hit();
    g_heap.live -= !fails && memory != nullptr ? 1 : 0;
    return fails ? nullptr : g_heap.Made(__real_realloc(memory, size));
}
char *__wrap_strdup(const char *text) { return g_heap.Hit() ? nullptr : g_heap.Made(__real_strdup(text)); }
void __wrap_free(void *memory) {
    g_heap.live -= memory != nullptr ? 1 : 0;
    __real_free(memory);
}
}

/// Calls run(where) with the n-th allocation failing, alone and with all later ones, for n from 1 until none is
/// left to fail, and checks that nothing leaks; the number of those that failed.
template <typename Run>
int Sweep(Run run) {
    int points = 0;
    for (const bool all_later : {false, true}) {
        for (int target = 1; target < 10000; ++target, ++points) {
            const std::string where = "allocation " + std::to_string(target) + (all_later ? " and all later ones" : "");
            const long live = g_heap.live;
            g_heap = {true, all_later, target, 0, live, 0};
            run(where);
            g_heap.armed = false;
            EXPECT_EQ(g_heap.live, live) << where << " leaked";
            if (!g_heap.Reached()) {
                break;
            }
        }
    }
    return points;
}

#endif
