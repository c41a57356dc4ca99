// SPDX-License-Identifier: Apache-2.0
/// @file rules.h  The stages of a check: reading, what each rule means, how rules act on each other.
#ifndef TQGATEWAY_CHECK_RULES_H
#define TQGATEWAY_CHECK_RULES_H

#include <string>
#include <vector>

#include <cjson/cJSON.h>

#include "check/check.h"
#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Action = tqDevSDK_SmartControl_ConfigRule_Actions;

/// What is found at a value of the tree; its place follows at the end.
struct Remark {
    const cJSON *node; ///< Null for the value as a whole.
    bool at_key;       ///< At the member's key, not at its value.
    FindingClass what;
    std::string text;
};
using Remarks = std::vector<Remark>;

/// A record as the device holds it, and the object that it was read from.
template <typename Record>
struct Held {
    Record record;
    const cJSON *node;
};

/// A period in minutes from the start of a day that is set; both ends belong to it.
struct Period {
    unsigned start, end;
};

struct HeldRule : Held<Rule> {
    std::vector<Held<Event>> events;
    std::vector<Held<Action>> actions;
    std::string pointer;
    bool complete = true; ///< Nothing that the module requires is missing in it.

    // Known once the rule has been checked by itself:
    bool fires = false; ///< It can fire.
    bool all = false;   ///< All its events count, not any.
    Period period{};    ///< Of a rule that fires.
};
using HeldRules = std::vector<HeldRule>;

/// Reads a value as the module does, and remarks what it refuses or changes. The rules that come of it, also
/// of a value that is refused.
HeldRules ReadHeldRules(const cJSON *root, Remarks &remarks);

/// Remarks what is wrong with each rule by itself and which repeat another, and finds out which can fire.
void CheckEachRule(HeldRules &rules, const Surroundings &surroundings, Remarks &remarks);

/// Remarks which rules that can fire contradict each other or set each other off.
void CheckConflicts(const HeldRules &rules, const Surroundings &surroundings, Remarks &remarks);
void CheckLoops(const HeldRules &rules, const Surroundings &surroundings, Remarks &remarks);

// ---- Shared by the stages ----

/// A time as the device reports it.
std::string Time(UINT32 hour, UINT32 minute);

/// A time without the zeros that pad its numbers.
std::string WithoutPadding(const std::string &time);

/// Whether a device is there, as far as is known.
bool IsKnown(const Surroundings &surroundings, const char *serial);

/// A key to look things up by that differ in these; not to be read.
template <typename... Numbers>
std::string KeyOf(const char *serial, Numbers... numbers) {
    std::string key(serial);
    for (const std::uint32_t number : {static_cast<std::uint32_t>(numbers)...}) {
        key += '\0';
        key.append(reinterpret_cast<const char *>(&number), sizeof number);
    }
    return key;
}

/// The member of an object under this key as the module finds it: the first, in any case.
const cJSON *Member(const cJSON *object, const char *key);

/// A text within quotation marks, fit to be shown; a long one is clipped.
std::string Quoted(const std::string &text);

/// A rule as remarks about others call it.
std::string RuleName(const HeldRule &rule);

} // namespace tqgateway

#endif
