// SPDX-License-Identifier: Apache-2.0
/// @file read_file.h  Files that the command line names, read as a whole.
#ifndef TQGATEWAY_INPUT_READ_FILE_H
#define TQGATEWAY_INPUT_READ_FILE_H

#include <string>

namespace tqgateway {

constexpr const char *kStandardInput = "-"; ///< Where a file of rules is named.

/// The contents of a file. Throws std::invalid_argument, which names it.
std::string ReadFile(const std::string &file);

/// The contents of a file of rules, which may be the standard input. Throws std::invalid_argument, which
/// names it.
std::string ReadRulesFile(const std::string &file);

/// How messages call a file of rules.
std::string ShownName(const std::string &file);

} // namespace tqgateway

#endif
