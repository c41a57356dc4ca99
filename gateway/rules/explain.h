// SPDX-License-Identifier: Apache-2.0
/// @file explain.h  Tells what an event would do to each rule of a rule value.
#ifndef TQGATEWAY_RULES_EXPLAIN_H
#define TQGATEWAY_RULES_EXPLAIN_H

#include <string>

#include "module.h"

namespace tqgateway {

struct ExplainOptions {
    std::string file; ///< A rule value, as the platform sends it; "-" is the standard input.
    std::string event;
    std::string at;
    std::string linkage; ///< File of the engine's configuration; empty: a usual one, which is said.
    bool json = false;
};

/// Shows a line for each rule on the standard output, those first that would fire; the exit code. Throws
/// std::invalid_argument, which names the option or the file at fault.
int Explain(const ExplainOptions &options, const Module &module);

} // namespace tqgateway

#endif
