// SPDX-License-Identifier: Apache-2.0
// Rule sets as records: copied, compared, released. Each array has an allocation of its own, because whoever
// takes over a set frees it array by array.
#include <cstdlib>

#include "Linkage_engine.h"

namespace {

// ---- Copying ----

// Makes the array of a copied record its own; without memory it has none, and the result is false.
template <typename Record>
bool OwnArray(Record *&records, UINT16 &num) {
    const Range<Record> from(records, num);
    records = nullptr;
    num = 0;
    if (from.size() == 0) {
        return true;
    }
    records = static_cast<Record *>(malloc(from.size() * sizeof(Record)));
    if (records == nullptr) {
        return false;
    }
    num = static_cast<UINT16>(from.size());
    memcpy(static_cast<void *>(records), from.begin(), from.size() * sizeof(Record));
    return true;
}

// Every array is made the record's own or taken from it, so that a set that is left half copied can be freed.
bool OwnArrays(RuleRecord &rule) {
    const bool events = OwnArray(rule.pstEvents, rule.usEvents_Num);
    return OwnArray(rule.pstActions, rule.usActions_Num) && events;
}

bool OwnArrays(UnitRecord &unit) {
    bool owned = OwnArray(unit.pstRuleUnit, unit.usNum);
    for (RuleRecord &rule : Range(unit.pstRuleUnit, unit.usNum)) {
        owned = OwnArrays(rule) && owned;
    }
    return owned;
}

bool OwnArrays(RulesRecord &rules) {
    bool owned = OwnArray(rules.pstUnit, rules.usNum);
    for (UnitRecord &unit : Range(rules.pstUnit, rules.usNum)) {
        owned = OwnArrays(unit) && owned;
    }
    return owned;
}

// ---- Comparing ----

template <std::size_t N>
bool EqualText(const char (&left)[N], const char (&right)[N]) {
    return strncmp(left, right, N) == 0;
}

template <typename Record>
bool EqualArrays(Record *left, UINT16 left_num, Record *right, UINT16 right_num);

bool Equal(const EventRecord &left, const EventRecord &right) {
    const KeyId left_key = MakeKeyId(left);
    const KeyId right_key = MakeKeyId(right);
    return memcmp(&left_key, &right_key, sizeof left_key) == 0 && left.usValue == right.usValue;
}

bool Equal(const ActionRecord &left, const ActionRecord &right) {
    return SameAction(MakeAction(left), MakeAction(right));
}

bool Equal(const RuleRecord &left, const RuleRecord &right) {
    return left.uiRuleId == right.uiRuleId && EqualText(left.acUserId, right.acUserId) &&
           EqualText(left.acRuleName, right.acRuleName) && left.ucEnable == right.ucEnable &&
           memcmp(left.aucWeekDaysEn, right.aucWeekDaysEn, sizeof left.aucWeekDaysEn) == 0 &&
           left.uiStart_hour == right.uiStart_hour && left.uiStart_min == right.uiStart_min &&
           left.uiEnd_hour == right.uiEnd_hour && left.uiEnd_min == right.uiEnd_min &&
           left.usCondition == right.usCondition && left.ucIsCrossDay == right.ucIsCrossDay &&
           EqualArrays(left.pstEvents, left.usEvents_Num, right.pstEvents, right.usEvents_Num) &&
           EqualArrays(left.pstActions, left.usActions_Num, right.pstActions, right.usActions_Num);
}

bool Equal(const UnitRecord &left, const UnitRecord &right) {
    return left.usType == right.usType && left.ucChannel == right.ucChannel &&
           EqualArrays(left.pstRuleUnit, left.usNum, right.pstRuleUnit, right.usNum);
}

template <typename Record>
bool EqualArrays(Record *left, UINT16 left_num, Record *right, UINT16 right_num) {
    const Range<Record> lefts(left, left_num);
    const Range<Record> rights(right, right_num);
    if (lefts.size() != rights.size()) {
        return false;
    }
    for (UINT32 i = 0; i < lefts.size(); ++i) {
        if (!Equal(left[i], right[i])) {
            return false;
        }
    }
    return true;
}

} // namespace

LINKAGE_EXPORT tqDevSDK_SmartControl_ConfigRules *
tqDevSDK_Linkage_CopyRules(const tqDevSDK_SmartControl_ConfigRules *rules) {
    auto *const copy = rules != nullptr ? static_cast<RulesRecord *>(malloc(sizeof *rules)) : nullptr;
    if (copy == nullptr) {
        return nullptr;
    }
    *copy = *rules;
    if (!OwnArrays(*copy)) {
        tqDevSDK_Linkage_FreeRules(copy);
        return nullptr;
    }
    return copy;
}

LINKAGE_EXPORT void tqDevSDK_Linkage_FreeRules(tqDevSDK_SmartControl_ConfigRules *rules) {
    if (rules == nullptr) {
        return;
    }
    for (const UnitRecord &unit : Range(rules->pstUnit, rules->usNum)) {
        for (const RuleRecord &rule : Range(unit.pstRuleUnit, unit.usNum)) {
            free(rule.pstEvents);
            free(rule.pstActions);
        }
        free(unit.pstRuleUnit);
    }
    free(rules->pstUnit);
    free(rules);
}

LINKAGE_EXPORT int tqDevSDK_Linkage_EqualRules(const tqDevSDK_SmartControl_ConfigRules *left,
                                               const tqDevSDK_SmartControl_ConfigRules *right) {
    if (left == nullptr || right == nullptr) {
        return -1;
    }
    return EqualArrays(left->pstUnit, left->usNum, right->pstUnit, right->usNum) ? 1 : 0;
}
