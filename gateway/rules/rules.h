// SPDX-License-Identifier: Apache-2.0
/// @file rules.h  Rule sets that the hub owns, all on the heap of malloc.
#ifndef TQGATEWAY_RULES_RULES_H
#define TQGATEWAY_RULES_RULES_H

#include <ctime>
#include <memory>

#include "lines/json.h"
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

/// Calls `visit` with every rule of a set, in its order.
template <typename Visit>
void ForEachRule(const tqDevSDK_SmartControl_ConfigRules &rules, Visit visit) {
    for (UINT32 i = 0; i < rules.usNum; ++i) {
        for (UINT32 j = 0; j < rules.pstUnit[i].usNum; ++j) {
            visit(rules.pstUnit[i].pstRuleUnit[j]);
        }
    }
}

/// An event as a rule has it; with all other members. Throws LineError.
tqDevSDK_SmartControl_ConfigRule_Events ReadEvent(ObjectReader event);
/// A rule set in the form that ReadRules takes.
Json WriteRules(const tqDevSDK_SmartControl_ConfigRules &rules);

/// Seconds after midnight of a text from 0:00 to 23:59. Throws LineError.
time_t ReadTime(const std::string &text, const std::string &path);

} // namespace tqgateway

#endif
