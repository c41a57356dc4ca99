// SPDX-License-Identifier: Apache-2.0
/// @file rules.h  Rule sets that the hub owns, all on the heap of malloc.
#ifndef TQGATEWAY_RULES_H
#define TQGATEWAY_RULES_H

#include <ctime>
#include <memory>

#include "json.h"
#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

struct RulesDelete {
    void operator()(tqDevSDK_SmartControl_ConfigRules *rules) const;
};
using RuleSet = std::unique_ptr<tqDevSDK_SmartControl_ConfigRules, RulesDelete>;

/// A deep copy. Released, it is what the module expects of the device application.
RuleSet CopyRules(const tqDevSDK_SmartControl_ConfigRules &rules);

/// The rule set at "rules", as the shadow carries it; null is an empty one. Throws LineError.
RuleSet ReadRules(ObjectReader hub);

/// Seconds after midnight of a text from 0:00 to 23:59. Throws LineError.
time_t ReadTime(const std::string &text, const std::string &path);

} // namespace tqgateway

#endif
