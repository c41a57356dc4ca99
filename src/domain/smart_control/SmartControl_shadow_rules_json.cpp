// SPDX-License-Identifier: Apache-2.0
// For each record its reader and its writer stand side by side: a new field is one line in each. Readers
// stop at the first missing key. They attach arrays as soon as these exist, so that a rule set given up
// half-way is released like a complete one.
#include "SmartControl_shadow_rules_json.h"

namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Action = tqDevSDK_SmartControl_ConfigRule_Actions;

constexpr const char *kNoObject = "Failed to bscJSON_CreateObject";
constexpr const char *kNoArray = "Failed to bscJSON_CreateArray";
constexpr const char *kNoText = "Failed to bscJSON_CreateString";

// ---- Arrays ----

template <typename Record>
Record *AllocateRecords(UINT16 count) {
    return static_cast<Record *>(calloc(count, sizeof(Record)));
}

// Counts are 16 bits wide, as in the records.
UINT16 CountElements(const bscJSON *array) {
    return static_cast<UINT16>(bscJSON_GetArraySize(array));
}

template <typename Record>
bool ReadElements(const bscJSON *array, UINT16 &num, Record *&records,
                  bool (*read)(Members element, Record &record)) {
    const UINT16 count = CountElements(array);
    if (count == 0) {
        tqdev_debug(LOG_WARNING, "Array item num is empty.\n");
        return true;
    }
    records = AllocateRecords<Record>(count);
    if (records == nullptr) {
        return Fail("Failed to calloc memory.");
    }
    num = count;
    const bscJSON *element = array->child;
    for (UINT16 i = 0; i < count; ++i, element = element->next) {
        if (!read(element, records[i])) {
            return false;
        }
    }
    return true;
}

template <typename Record>
bool WriteElements(bscJSON *array, UINT16 num, const Record *records,
                   bool (*write)(bscJSON *element, const Record &record)) {
    const UINT16 count = records != nullptr ? num : 0;
    for (UINT16 i = 0; i < count; ++i) {
        bscJSON *element = AppendObject(array, kNoObject);
        if (element == nullptr || !write(element, records[i])) {
            return false;
        }
    }
    return true;
}

// Adds a text of a record; the rule set outlives the tree.
template <std::size_t N>
bool WriteText(bscJSON *object, const char *key, const char (&text)[N]) {
    return WriteField(object, key, text) || Fail(kNoText);
}

// ---- Event ----

bool ReadEvent(Members json, Event &event) {
    return ReadItem(json, "domain", event.uiDomain) && ReadItem(json, "cmdId", event.uiCmdId) &&
           ReadItem(json, "deviceId", event.acDevId) && ReadItem(json, "channelNo", event.ucChannel) &&
           ReadItem(json, "value", event.usValue);
}

bool WriteEvent(bscJSON *json, const Event &event) {
    return WriteItem(json, "domain", event.uiDomain) && WriteItem(json, "cmdId", event.uiCmdId) &&
           WriteText(json, "deviceId", event.acDevId) && WriteItem(json, "channelNo", event.ucChannel) &&
           WriteItem(json, "value", event.usValue);
}

// ---- Action ----

bool ReadParams(Members &json, Action &action) {
    const bscJSON *params = json.Find("params");
    if (!IsObject(params)) {
        return Fail("Item is invalid:params");
    }
    action.ucValueNum = ReadValues(params, action.ausValue);
    return true;
}

bool WriteParams(bscJSON *json, const Action &action) {
    bscJSON *params = AttachObject(json, "params", kNoObject);
    const UINT8 count = std::min<UINT8>(action.ucValueNum, TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX);
    return params != nullptr && WriteValues(params, action.ausValue, count);
}

bool ReadAction(Members json, Action &action) {
    return ReadItem(json, "domain", action.uiDomain) && ReadItem(json, "cmdId", action.uiCmdId) &&
           ReadItem(json, "deviceId", action.acDevId) && ReadItem(json, "channelNo", action.ucChannel) &&
           ReadItem(json, "delay", action.uiDelay) && ReadParams(json, action);
}

bool WriteAction(bscJSON *json, const Action &action) {
    return WriteItem(json, "domain", action.uiDomain) && WriteItem(json, "cmdId", action.uiCmdId) &&
           WriteText(json, "deviceId", action.acDevId) && WriteItem(json, "channelNo", action.ucChannel) &&
           WriteParams(json, action) && WriteItem(json, "delay", action.uiDelay);
}

// ---- Weekdays: the day numbers, as texts, of the days that are on ----

bool ReadWeekdays(Members &json, Rule &rule) {
    const bscJSON *weekdays = json.Find("weekdays");
    if (!IsArray(weekdays)) {
        return Fail("Item error:weekdays");
    }
    for (const bscJSON *element = weekdays->child; element != nullptr; element = element->next) {
        const auto day = static_cast<UINT16>(static_cast<UINT32>(ParseSigned(TextOf(element))) - 1);
        if (day < std::size(rule.aucWeekDaysEn)) {
            rule.aucWeekDaysEn[day] = 1;
        }
    }
    return true;
}

bool WriteWeekdays(bscJSON *json, const Rule &rule) {
    bscJSON *weekdays = AttachArray(json, "weekdays", kNoArray);
    if (weekdays == nullptr) {
        return false;
    }
    char text[] = "1";
    for (const UINT8 enabled : rule.aucWeekDaysEn) {
        if (enabled != 0 && AppendItem(weekdays, JsonTree(bscJSON_CreateString(text))) == nullptr) {
            return Fail(kNoText);
        }
        ++text[0];
    }
    return true;
}

// ---- Times: "hour:minute"; an end on the next day is marked by "n" ----

bool ReadStartTime(Members &json, Rule &rule) {
    const bscJSON *item = FindItem(json, "startTime");
    if (item == nullptr) {
        return false;
    }
    ParseHourMinute(TextOf(item), rule.uiStart_hour, rule.uiStart_min);
    return true;
}

bool ReadEndTime(Members &json, Rule &rule) {
    const bscJSON *item = FindItem(json, "endTime");
    if (item == nullptr) {
        return false;
    }
    const char *text = TextOf(item);
    rule.ucIsCrossDay = strchr(text, 'n') != nullptr ? 1 : 0;
    // The mark counts wherever it stands, but the time is found only behind a leading one.
    if (rule.ucIsCrossDay == 0) {
        ParseHourMinute(text, rule.uiEnd_hour, rule.uiEnd_min);
    } else if (text[0] == 'n') {
        ParseHourMinute(text + 1, rule.uiEnd_hour, rule.uiEnd_min);
    }
    return true;
}

bool WriteTime(bscJSON *json, const char *key, const char *mark, UINT32 hour, UINT32 minute) {
    char text[32];
    TextWriter(text)
        .Add(mark)
        .AddTwoDigits(static_cast<int32_t>(hour))
        .Add(":")
        .AddTwoDigits(static_cast<int32_t>(minute));
    return WriteItem(json, key, static_cast<const char *>(text)) || Fail(kNoText);
}

// ---- Rule ----

// Reads the events, or the actions; the log calls both events.
template <typename Record>
bool ReadArray(Members &json, const char *key, UINT16 &num, Record *&records,
               bool (*read)(Members element, Record &record)) {
    const bscJSON *array = FindItem(json, key);
    if (array == nullptr) {
        return false;
    }
    return (IsArray(array) ? ReadElements(array, num, records, read)
                           : Fail("This is not a array bscJSON object.")) ||
           Fail("Failed to generate rule events.");
}

bool ReadTrigger(Members &json, Rule &rule) {
    const bscJSON *item = FindItem(json, "rule");
    if (item == nullptr) {
        return false;
    }
    Members trigger(item);
    return ReadItem(trigger, "condition", rule.usCondition) &&
           ReadArray(trigger, "events", rule.usEvents_Num, rule.pstEvents, ReadEvent) &&
           ReadArray(trigger, "actions", rule.usActions_Num, rule.pstActions, ReadAction);
}

bool WriteTrigger(bscJSON *json, const Rule &rule) {
    bscJSON *trigger = AttachObject(json, "rule", kNoObject);
    if (trigger == nullptr || !WriteItem(trigger, "condition", rule.usCondition)) {
        return false;
    }
    bscJSON *events = AttachArray(trigger, "events", kNoArray);
    if (events == nullptr || !WriteElements(events, rule.usEvents_Num, rule.pstEvents, WriteEvent)) {
        return false;
    }
    bscJSON *actions = AttachArray(trigger, "actions", kNoArray);
    return actions != nullptr && WriteElements(actions, rule.usActions_Num, rule.pstActions, WriteAction);
}

bool ReadRule(Members json, Rule &rule) {
    return ReadItem(json, "id", rule.uiRuleId) && ReadItem(json, "userId", rule.acUserId) &&
           ReadItem(json, "name", rule.acRuleName) && ReadItem(json, "enable", rule.ucEnable) &&
           ReadWeekdays(json, rule) && ReadStartTime(json, rule) && ReadEndTime(json, rule) &&
           ReadTrigger(json, rule);
}

bool WriteRule(bscJSON *json, const Rule &rule) {
    return WriteItem(json, "id", rule.uiRuleId) && WriteText(json, "userId", rule.acUserId) &&
           WriteText(json, "name", rule.acRuleName) && WriteItem(json, "enable", rule.ucEnable) &&
           WriteWeekdays(json, rule) &&
           WriteTime(json, "startTime", "", rule.uiStart_hour, rule.uiStart_min) &&
           WriteTime(json, "endTime", rule.ucIsCrossDay != 0 ? "n" : "", rule.uiEnd_hour, rule.uiEnd_min) &&
           WriteTrigger(json, rule);
}

// ---- Unit ----

constexpr const char *kGlobalType = "Global";

bool ReadUnit(Members json, int index, Unit &unit) {
    const bool global = strcmp(TextOf(json.Find("Type")), kGlobalType) == 0;
    unit.usType = global ? TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_GLOBAL
                         : TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_UNKNOWN;
    if (!ReadItem(json, "channel", unit.ucChannel)) {
        return false;
    }
    const bscJSON *status = json.Find("status");
    if (!IsArray(status)) {
        tqdev_debug(LOG_ERROR, "Array value[%d], item error:status\n", index);
        return false;
    }
    return ReadElements(status, unit.usNum, unit.pstRuleUnit, ReadRule) ||
           Fail("Failed to GenerateStatusRules");
}

bool WriteUnit(bscJSON *json, const Unit &unit) {
    if (unit.usType == TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_GLOBAL &&
        !WriteItem(json, "Type", kGlobalType)) {
        return false;
    }
    if (!WriteItem(json, "channel", unit.ucChannel)) {
        return false;
    }
    bscJSON *status = AttachArray(json, "status", kNoArray);
    return (status != nullptr && WriteElements(status, unit.usNum, unit.pstRuleUnit, WriteRule)) ||
           Fail("Failed to GenerateJsonSmartConfigRules.");
}

} // namespace

// ---- Rule set ----

bool ReadConfigRules(const bscJSON *root, Rules &rules) {
    if (!IsArray(root)) {
        return Fail("Value String is not json array");
    }
    const UINT16 count = CountElements(root);
    if (count == 0) {
        return Fail("Array value, item num is empty");
    }
    rules.pstUnit = AllocateRecords<Unit>(count);
    if (rules.pstUnit == nullptr) {
        return Fail("Failed to calloc memory!");
    }
    rules.usNum = count;
    const bscJSON *item = root->child;
    for (UINT16 i = 0; i < count; ++i, item = item->next) {
        if (!ReadUnit(item, i, rules.pstUnit[i])) {
            return false;
        }
    }
    return true;
}

bool WriteConfigRules(bscJSON *root, const Rules &rules) {
    if (rules.usNum != 0 && rules.pstUnit != nullptr) {
        return WriteElements(root, rules.usNum, rules.pstUnit, WriteUnit);
    }
    // An empty set is one unit that has only a channel.
    bscJSON *unit = AppendObject(root, kNoObject);
    return unit != nullptr && WriteItem(unit, "channel", 0);
}
