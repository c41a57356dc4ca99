// SPDX-License-Identifier: Apache-2.0
// Whether a rule fires at an event: the checks in the order of their verdicts.
#include "Linkage_engine.h"

namespace {

constexpr Verdict kPassed{TQDEVSDK_LINKAGE_VERDICT_FIRED, 0, 0, 0};

bool Passed(const Verdict &verdict) {
    return verdict.code == TQDEVSDK_LINKAGE_VERDICT_FIRED;
}

// Of the rule's triggers with the occasion's key the one with its value, or the first.
UINT32 MatchingTrigger(const Set &set, UINT32 first, const Occasion &occasion) {
    const UINT32 rule = set.triggers[first].rule;
    for (UINT32 i = first; i != kNone && set.triggers[i].rule == rule; i = set.triggers[i].next) {
        if (set.triggers[i].value == occasion.value) {
            return i;
        }
    }
    return first;
}

UINT32 Pair(UINT32 high, UINT32 low) {
    return high << 16 | low;
}

// A period is asked for from the day on which it started.
Verdict JudgePeriod(const Rule &rule, bool end_open, const Now &now) {
    if (rule.period == kPeriodInvalid) {
        return {TQDEVSDK_LINKAGE_VERDICT_PERIOD_INVALID, 0, 0, Pair(rule.start, rule.end)};
    }
    if (rule.period == kPeriodEmpty) {
        return {TQDEVSDK_LINKAGE_VERDICT_PERIOD_EMPTY, 0, Pair(rule.start, rule.end), 0};
    }
    if (now.ucClockSet == 0) {
        return {TQDEVSDK_LINKAGE_VERDICT_CLOCK_NOT_SET, 0, 0, 0};
    }
    const UINT32 minute = Sixtieth(now.uiSecondOfDay);
    Verdict verdict{TQDEVSDK_LINKAGE_VERDICT_PERIOD, 0, Pair(rule.start, rule.end), minute};
    for (UINT32 back = 0; back * kMinutesOfDay <= rule.end; ++back) {
        const UINT32 at = minute + back * kMinutesOfDay;
        if (at < rule.start || at + (end_open ? 1U : 0U) > rule.end) {
            continue;
        }
        const UINT32 day = now.ucDay - 1U + (now.ucDay <= back ? 7U : 0U) - back; // zero-based
        if ((rule.days >> day & 1U) != 0) {
            return kPassed;
        }
        if (verdict.code == TQDEVSDK_LINKAGE_VERDICT_PERIOD) {
            verdict = {TQDEVSDK_LINKAGE_VERDICT_DAY, 0, rule.days, day + 1};
        }
    }
    return verdict;
}

// All events but the one that arrived.
Verdict JudgePartners(const Config &config, const Set &set, UINT32 trigger, const Occasion &occasion) {
    const UINT32 rule = set.triggers[trigger].rule;
    const UINT32 first = set.rules[rule].first_trigger;
    for (UINT32 i = 0; i < TriggersOf(set, rule); ++i) {
        const Trigger &partner = set.triggers[first + i];
        const Key &key = set.keys[partner.key];
        const bool arrived = partner.key == occasion.key;
        const UINT16 value = arrived ? occasion.value : key.value;
        const auto item = static_cast<UINT16>(i);
        if (!arrived && key.seen == 0) {
            return {TQDEVSDK_LINKAGE_VERDICT_NEVER_SEEN, item, partner.value, 0};
        }
        if (value != partner.value) {
            return {TQDEVSDK_LINKAGE_VERDICT_OTHER_VALUE, item, partner.value, value};
        }
        const uint64_t age = arrived ? 0 : occasion.mono - key.seen_at;
        if (config.uiAllWindowMs != 0 && age > config.uiAllWindowMs) {
            return {TQDEVSDK_LINKAGE_VERDICT_TOO_OLD, item, config.uiAllWindowMs, Clip(age)};
        }
    }
    return kPassed;
}

// How the rule's events combine; with fewer than two it does not matter.
Verdict JudgeCondition(const Config &config, const Set &set, UINT32 trigger, const Occasion &occasion) {
    const UINT32 rule = set.triggers[trigger].rule;
    if (TriggersOf(set, rule) < 2) {
        return kPassed;
    }
    const UINT16 condition = set.rules[rule].condition;
    for (const tqDevSDK_Linkage_How_S &how : Range(config.astHow, config.usHowNum)) {
        if (how.usCondition == condition) {
            return how.ucHow == TQDEVSDK_LINKAGE_HOW_ANY ? kPassed
                                                         : JudgePartners(config, set, trigger, occasion);
        }
    }
    return {TQDEVSDK_LINKAGE_VERDICT_CONDITION, 0, 0, condition};
}

Verdict JudgeRest(const Config &config, const Rule &rule, const Occasion &occasion) {
    const uint64_t rested = occasion.mono - rule.fired_at;
    if (rule.fired != 0 && rested < config.uiCooldownMs) {
        return {TQDEVSDK_LINKAGE_VERDICT_COOLDOWN, 0, config.uiCooldownMs, Clip(rested)};
    }
    if (occasion.depth > config.ucChainMax) {
        return {TQDEVSDK_LINKAGE_VERDICT_CHAIN, 0, config.ucChainMax, occasion.depth};
    }
    return kPassed;
}

} // namespace

Verdict Judge(const Config &config, const Set &set, UINT32 trigger, const Occasion &occasion) {
    const UINT32 index = MatchingTrigger(set, trigger, occasion);
    const Trigger &match = set.triggers[index];
    const Rule &rule = set.rules[match.rule];
    const auto item = static_cast<UINT16>(index - rule.first_trigger);
    if (match.value != occasion.value) {
        return {TQDEVSDK_LINKAGE_VERDICT_VALUE, item, match.value, occasion.value};
    }
    if (rule.enabled == 0) {
        return {TQDEVSDK_LINKAGE_VERDICT_DISABLED, 0, 0, 0};
    }
    Verdict verdict = JudgePeriod(rule, config.ucPeriodEndOpen != 0, occasion.now);
    if (Passed(verdict)) {
        verdict = JudgeCondition(config, set, index, occasion);
    }
    if (Passed(verdict)) {
        verdict = JudgeRest(config, rule, occasion);
    }
    if (Passed(verdict)) {
        return {TQDEVSDK_LINKAGE_VERDICT_FIRED, item, match.value, occasion.value};
    }
    return verdict;
}
