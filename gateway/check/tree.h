// SPDX-License-Identifier: Apache-2.0
/// @file tree.h  JSON texts as the module reads them, and where each part of them stands.
#ifndef TQGATEWAY_CHECK_TREE_H
#define TQGATEWAY_CHECK_TREE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <cjson/cJSON.h>

namespace tqgateway {

struct TreeDelete {
    void operator()(cJSON *tree) const { cJSON_Delete(tree); }
};
using Tree = std::unique_ptr<cJSON, TreeDelete>;

struct SyntaxFault {
    std::size_t offset;
    std::string text;
};

/// A text read by the library that the module reads it with, so that both take and refuse the same.
struct ParsedText {
    Tree tree;        ///< Null when the library refuses the text.
    std::size_t end;  ///< Behind the value, or where it is refused.
    std::size_t more; ///< Where text stands behind the value, which is not read; else npos.
};
ParsedText ParseText(const std::string &text);

/// Why a parsed text was refused, or where it is not JSON though it was not; none when it is.
std::optional<SyntaxFault> FindFault(const std::string &text, const ParsedText &parsed);

/// Where a value stands. The key, of a member, begins at `key`; the value at `begin`.
struct Place {
    std::size_t key, begin, end;
    bool ends_early; ///< Its text or its key has a NUL in it, and ends there for the module.
};

/// Calls `visit` for every value of a text that was not refused, those within a value before it, with the
/// place and the keys and indices that lead there as a JSON pointer.
void VisitPlaces(const std::string &text, const ParsedText &parsed,
                 const std::function<void(const cJSON *, const Place &, const std::string &pointer)> &visit);

} // namespace tqgateway

#endif
