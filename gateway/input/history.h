// SPDX-License-Identifier: Apache-2.0
/// @file history.h  What was typed, kept across runs.
#ifndef TQGATEWAY_INPUT_HISTORY_H
#define TQGATEWAY_INPUT_HISTORY_H

#include <string>
#include <vector>

namespace tqgateway {

/// The file of the history, $XDG_STATE_HOME/tq_gateway/history, which several programs may write at once. One
/// that cannot be read or written is none: that is no reason to take no lines.
class HistoryFile {
public:
    HistoryFile();

    /// The last thousand lines, the oldest first.
    std::vector<std::string> Read() const;

    void Append(const std::string &line) const;

private:
    std::string path_; ///< Empty where there is no home.
};

} // namespace tqgateway

#endif
