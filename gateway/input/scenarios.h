// SPDX-License-Identifier: Apache-2.0
/// @file scenarios.h  Scenarios: scripts that are run as tests.
#ifndef TQGATEWAY_INPUT_SCENARIOS_H
#define TQGATEWAY_INPUT_SCENARIOS_H

#include "options.h"

namespace tqgateway {

/// Plays each file in a process of its own, prints a line for each and what went wrong, and writes a report
/// when one is wanted. The exit code. Throws std::invalid_argument and std::runtime_error when the report
/// cannot be written. To be called before any thread starts.
int RunScenarios(const Options &options);

} // namespace tqgateway

#endif
