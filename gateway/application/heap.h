// SPDX-License-Identifier: Apache-2.0
/// @file heap.h  Which blocks of malloc are live, to check memory that is to be freed.
#ifndef TQGATEWAY_APPLICATION_HEAP_H
#define TQGATEWAY_APPLICATION_HEAP_H

#include <cstddef>

namespace tqgateway {

/// Begins to keep track of all blocks that malloc and its kin give out, in the whole process and for the rest
/// of it. Blocks from before are not known.
void WatchHeap();

/// Whether a live block begins at the address, which may be any. Nothing is read there.
bool IsHeapBlock(const void *address);

/// The bytes that fit into a live block: those asked for, or a few more.
std::size_t HeapBlockSize(const void *block);

/// Marks a live block as handed over; the mark goes when the block is freed.
void MarkGiven(const void *block);
bool IsGiven(const void *block);

} // namespace tqgateway

#endif
