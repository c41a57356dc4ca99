// SPDX-License-Identifier: Apache-2.0
/// @file lent.h  Memory that is lent for the time of a call, and what is used of it later.
#ifndef TQGATEWAY_APPLICATION_LENT_H
#define TQGATEWAY_APPLICATION_LENT_H

#include <cstddef>
#include <cstdint>
#include <optional>

namespace tqgateway {

/// What a borrower did to memory that it does not have.
struct LentFault {
    std::uint16_t tag; ///< Of the loan.
    bool beyond;       ///< Used right behind its end; else used after it was taken back.
};

/// Memory of pages of its own, lent from construction to destruction. After that, and right behind
/// its end at any time, nothing can be read or written unnoticed: the first use of each page is a fault, and
/// goes on with a page full of 0xDD. The addresses are not lent again soon.
class LentMemory {
public:
    /// `tag` names the loan in faults; up to 14 bits. Throws std::bad_alloc.
    LentMemory(std::uint16_t tag, std::size_t size);
    ~LentMemory();
    LentMemory(const LentMemory &) = delete;
    LentMemory &operator=(const LentMemory &) = delete;

    char *Data() const { return data_; } ///< Aligned for any record.

private:
    std::size_t first_page_;
    std::size_t pages_;
    char *data_;
};

/// Becomes readable when there are faults.
int LentFaultsFd();

/// The next fault that was not taken yet.
std::optional<LentFault> NextLentFault();

} // namespace tqgateway

#endif
