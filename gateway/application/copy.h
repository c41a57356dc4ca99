// SPDX-License-Identifier: Apache-2.0
/// @file copy.h  What the module lends to a callback, copied into memory that is watched.
#ifndef TQGATEWAY_APPLICATION_COPY_H
#define TQGATEWAY_APPLICATION_COPY_H

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "application/lent.h"
#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

/// A type of question to the application.
struct QueryKind {
    int type;
    const char *name;
    std::size_t size; ///< Of the record that is to be filled; 0 for none.
};

/// Null for a type that is none.
const QueryKind *FindQuery(int type);

/// A call's argument, its record and all that the record points at, lent from construction to destruction.
/// Throws std::bad_alloc.
class LentCopy {
public:
    LentCopy(std::uint16_t tag, const tqDevSDK_SmartControl_msg_to_dev &message);
    LentCopy(std::uint16_t tag, const tqDevSDK_SmartControl_runtime_info &info);

    /// The copy of the argument.
    template <typename Argument>
    Argument &As() const {
        return *reinterpret_cast<Argument *>(memory_->Data());
    }

    /// What a record of the copy was when it was lent.
    template <typename Record>
    Record Was(const Record &record) const {
        Record was;
        memcpy(
            &was,
            &original_[static_cast<std::size_t>(reinterpret_cast<const char *>(&record) - memory_->Data())],
            sizeof was);
        return was;
    }

    /// Where the copy is no longer what it was, "pstUnit[0], byte 4"; empty when nothing was written.
    std::string Written() const;

private:
    /// An array that goes into the copy, or a single record.
    struct Part {
        const char *name;
        const void *source;
        std::size_t count;
        std::size_t item_size;
        std::size_t offset;
    };

    /// A pointer within the copy, and what it points at there.
    struct Link {
        std::size_t pointer;
        std::size_t target;
    };

    template <typename Item>
    std::size_t Add(const char *name, const Item *items, std::size_t count);
    template <typename Item>
    std::size_t AddAt(std::size_t pointer, const char *name, const Item *items, std::size_t count);
    template <typename Argument>
    std::size_t AddArgument(const Argument &argument, std::size_t size);
    void AddRules(std::size_t at, const tqDevSDK_SmartControl_ConfigRules &rules);
    void Lend(std::uint16_t tag);

    std::size_t size_ = 0;
    std::vector<Part> parts_;
    std::vector<Link> links_;
    std::optional<LentMemory> memory_;
    std::vector<char> original_; ///< The copy as it was lent.
};

} // namespace tqgateway

#endif
