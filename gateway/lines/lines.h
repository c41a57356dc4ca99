// SPDX-License-Identifier: Apache-2.0
/// @file lines.h  The kinds of lines in, and what each does.
#ifndef TQGATEWAY_LINES_LINES_H
#define TQGATEWAY_LINES_LINES_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "lines/json.h"

namespace tqgateway {

struct Parts;

/// The rows of a constant table.
template <typename Row>
class Rows {
public:
    constexpr Rows() = default;
    template <std::size_t N>
    constexpr Rows(const Row (&rows)[N]) : begin_(rows), end_(rows + N) {}

    constexpr const Row *begin() const { return begin_; }
    constexpr const Row *end() const { return end_; }

private:
    const Row *begin_ = nullptr;
    const Row *end_ = nullptr;
};

/// A member of a line, and what it takes in words.
struct LineField {
    const char *name;
    const char *takes;
};

/// A kind of line. All that sets it apart from the others stands in its row: how it is carried out, shown,
/// explained, completed and written in short.
struct LineKind {
    const char *key; ///< The member that a line of this kind has.

    /// Reads all members, then acts. Results and errors are those of CarryOut.
    std::optional<int> (*carry_out)(const Parts &parts, ObjectReader &line);

    // As the timeline shows it:
    const char *from;
    const char *to;
    const char *label; ///< Before the key's value.

    // As it is explained:
    const char *summary;
    Rows<LineField> fields; ///< The key first. Of a report, what its record has is not among them.
    Rows<const char *> samples;

    /// Values that the key is known to take; null where they are numbers or no texts.
    std::vector<std::string> (*names)();

    const char *second; ///< In short form, the member that the second word is for; null for none.

    bool needs_hub = false; ///< Acts for the virtual hub, and is refused where there is none.

    /// In short form, what is not said is the first sample's: a line of this kind is nothing without all its
    /// members.
    bool needs_all = false;
};

Rows<LineKind> LineKinds();

/// The kind of a line, the first whose key it has; null for none.
const LineKind *KindOf(const Json &line);

/// Carries out one line, `text` as it was written; what it causes is shown meanwhile. The result of the call,
/// nothing where it returns nothing. Throws LineError when the line is not understood; nothing was done then.
std::optional<int> CarryOut(const Parts &parts, const Json &line, const std::string &text);

} // namespace tqgateway

#endif
