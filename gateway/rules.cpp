// SPDX-License-Identifier: Apache-2.0
// Rule sets copied, read from their shadow form, and freed.
#include "rules.h"

#include <limits>

#include "record_reader.h"
#include "tqdev_time.h"

namespace tqgateway {
namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Action = tqDevSDK_SmartControl_ConfigRule_Actions;

// ---- Copying. A copy is whole at every step, so that it can be released when memory runs out. ----

template <typename Item, typename Count>
void CopyList(const Item *from, Count from_count, Item *&to, Count &to_count,
              void (*copy)(const Item &, Item &)) {
    to = from == nullptr ? nullptr : AllocateItems<Item>(from_count);
    to_count = to == nullptr ? Count{} : from_count;
    for (std::size_t i = 0; i < to_count; ++i) {
        copy(from[i], to[i]);
    }
}

template <typename Item>
void CopyPlain(const Item &from, Item &to) {
    to = from;
}

void CopyRule(const Rule &from, Rule &to) {
    to = from;
    to.pstEvents = nullptr;
    to.pstActions = nullptr;
    CopyList(from.pstEvents, from.usEvents_Num, to.pstEvents, to.usEvents_Num, CopyPlain<Event>);
    CopyList(from.pstActions, from.usActions_Num, to.pstActions, to.usActions_Num, CopyPlain<Action>);
}

void CopyUnit(const Unit &from, Unit &to) {
    to = from;
    to.pstRuleUnit = nullptr;
    CopyList(from.pstRuleUnit, from.usNum, to.pstRuleUnit, to.usNum, CopyRule);
}

// ---- Reading. ----

template <typename Item, typename Count>
void ReadList(RecordReader &reader, const char *name, Count &count, Item *&items,
              void (*read)(RecordReader &, Item &)) {
    const Json &array = reader.Array(name, std::numeric_limits<Count>::max());
    items = AllocateItems<Item>(array.size());
    count = static_cast<Count>(array.size());
    for (std::size_t i = 0; i < array.size(); ++i) {
        RecordReader element = reader.Inner(array[i], name, i);
        read(element, items[i]);
        element.Done();
    }
}

void ReadEvent(RecordReader &v, Event &r) {
    v.Field("domain", r.uiDomain);
    v.Field("cmdId", r.uiCmdId);
    v.Field("deviceId", r.acDevId);
    v.Field("channelNo", r.ucChannel);
    v.Field("value", r.usValue);
}

void ReadAction(RecordReader &v, Action &r) {
    v.Field("domain", r.uiDomain);
    v.Field("cmdId", r.uiCmdId);
    v.Field("deviceId", r.acDevId);
    v.Field("channelNo", r.ucChannel);
    RecordReader params = v.Inner("params");
    for (; r.ucValueNum < TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX; ++r.ucValueNum) {
        const std::string key = "value" + std::to_string(r.ucValueNum + 1);
        if (params.Object().Find(key.c_str()) == nullptr) {
            break;
        }
        params.Field(key.c_str(), r.ausValue[r.ucValueNum]);
    }
    params.Done();
    v.Field("delay", r.uiDelay);
}

void ReadWeekdays(RecordReader &v, Rule &r) {
    for (const Json &day : v.Array("weekdays", std::size(r.aucWeekDaysEn))) {
        const std::string text = AsText(day);
        if (!day.is_string() || text.size() != 1 || text < "1" || text > "7") {
            throw LineError(v.Object().Path("weekdays") + ": expected the texts \"1\" to \"7\"");
        }
        r.aucWeekDaysEn[text[0] - '1'] = 1;
    }
}

void ReadPeriod(RecordReader &v, Rule &r) {
    const time_t start = ReadTime(v.Object().Text("startTime", SIZE_MAX), v.Object().Path("startTime"));
    r.uiStart_hour = static_cast<UINT32>(start / 3600);
    r.uiStart_min = static_cast<UINT32>(start / 60 % 60);
    const std::string text = v.Object().Text("endTime", SIZE_MAX);
    r.ucIsCrossDay = text.rfind('n', 0) == 0 ? 1 : 0;
    const time_t end = ReadTime(text.substr(r.ucIsCrossDay), v.Object().Path("endTime"));
    r.uiEnd_hour = static_cast<UINT32>(end / 3600);
    r.uiEnd_min = static_cast<UINT32>(end / 60 % 60);
}

void ReadRule(RecordReader &v, Rule &r) {
    v.Field("id", r.uiRuleId);
    v.Field("userId", r.acUserId);
    v.Field("name", r.acRuleName);
    v.Field("enable", r.ucEnable);
    ReadWeekdays(v, r);
    ReadPeriod(v, r);
    RecordReader rule = v.Inner("rule");
    rule.Field("condition", r.usCondition);
    ReadList(rule, "events", r.usEvents_Num, r.pstEvents, ReadEvent);
    ReadList(rule, "actions", r.usActions_Num, r.pstActions, ReadAction);
    rule.Done();
}

void ReadUnit(RecordReader &v, Unit &r) {
    if (const Json *type = v.Object().Find("Type")) {
        if (*type != "Global") {
            throw LineError(v.Object().Path("Type") + ": expected \"Global\"");
        }
        r.usType = TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_GLOBAL;
    }
    v.Field("channel", r.ucChannel);
    ReadList(v, "status", r.usNum, r.pstRuleUnit, ReadRule);
}

} // namespace

void RulesDelete::operator()(Rules *rules) const {
    for (std::size_t i = 0; rules->pstUnit != nullptr && i < rules->usNum; ++i) {
        const Unit &unit = rules->pstUnit[i];
        for (std::size_t j = 0; unit.pstRuleUnit != nullptr && j < unit.usNum; ++j) {
            free(unit.pstRuleUnit[j].pstEvents);
            free(unit.pstRuleUnit[j].pstActions);
        }
        free(unit.pstRuleUnit);
    }
    free(rules->pstUnit);
    free(rules);
}

RuleSet CopyRules(const Rules &rules) {
    RuleSet copy(AllocateItems<Rules>(1));
    copy->uiVersion = rules.uiVersion;
    CopyList(rules.pstUnit, rules.usNum, copy->pstUnit, copy->usNum, CopyUnit);
    return copy;
}

RuleSet ReadRules(ObjectReader hub) {
    RuleSet rules(AllocateItems<Rules>(1));
    if (hub.Get("rules").is_null()) {
        return rules;
    }
    RecordStorage storage;
    RecordReader reader(std::move(hub), storage);
    ReadList(reader, "rules", rules->usNum, rules->pstUnit, ReadUnit);
    return rules;
}

time_t ReadTime(const std::string &text, const std::string &path) {
    const time_t time = tqdev_ParseTimeHHMM(text.c_str());
    const std::string canonical = tqdev_MakeTimeHHMM(time);
    if (text != canonical && '0' + text != canonical) {
        throw LineError(path + ": expected hours and minutes such as \"07:05\"");
    }
    return time;
}

} // namespace tqgateway
