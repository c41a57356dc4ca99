// SPDX-License-Identifier: Apache-2.0
/// @file lines.h  The kinds of lines in, and what each does.
#ifndef TQGATEWAY_LINES_H
#define TQGATEWAY_LINES_H

#include <optional>

#include "json.h"

namespace tqgateway {

struct Parts;

/// A kind of line. All that sets it apart from the others stands in its row.
struct LineKind {
    const char *key; ///< The member that a line of this kind has.

    /// Reads all members, then acts. Results and errors are those of CarryOut.
    std::optional<int> (*carry_out)(const Parts &parts, ObjectReader &line);

    // As the timeline shows it:
    const char *from;
    const char *to;
    const char *label; ///< Before the key's value.
};

/// The kind of a line, the first whose key it has; null for none.
const LineKind *KindOf(const Json &line);

/// Carries out one line, `text` as it was written; what it causes is shown meanwhile. The result of the call,
/// nothing where it returns nothing. Throws LineError when the line is not understood; nothing was done then.
std::optional<int> CarryOut(const Parts &parts, const Json &line, const std::string &text);

} // namespace tqgateway

#endif
