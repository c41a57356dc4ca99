// SPDX-License-Identifier: Apache-2.0
/// @file command.h  `tq_gateway check`: rule values in files.
#ifndef TQGATEWAY_CHECK_COMMAND_H
#define TQGATEWAY_CHECK_COMMAND_H

#include <string>
#include <vector>

#include "check/check.h"
#include "lines/json.h"

namespace tqgateway {

struct CheckOptions {
    std::vector<std::string> files;        ///< Empty: no check. "-" is the standard input.
    bool json = false;                     ///< Findings as JSON Lines.
    std::string linkage, devices, effects; ///< Files; empty: none.
    std::string module;
};

constexpr const char *kRulesKey = "InterconnectionRule"; ///< Of the shadow.

constexpr int kExitFindings = 1;
constexpr int kExitDisagrees = 3;

/// Checks all values in all files and prints what is found, a line each. The exit code: 0 when there is
/// nothing above a note, else kExitFindings; kExitUsage when a file or a line cannot be read, a file holds no
/// value, or the check cannot be carried out; kExitDisagrees when the module makes something else of a value
/// than the findings say. The worst counts.
int RunCheck(const CheckOptions &options);

/// A finding as compilers say it, on one line that a terminal may show.
std::string ToText(const Finding &finding, const std::string &file);

/// A finding as a JSON object.
Json ToJson(const Finding &finding);

} // namespace tqgateway

#endif
