// SPDX-License-Identifier: Apache-2.0
// Linkage rules: the input behind the first byte is the shadow's value. What the device got, it reports,
// and what it reports, it can be given again without a change.
#include <memory>

#include "bscJSON.h"
#include "harness.h"

namespace {

const tqDevSDK_Shadow_Service_S &Service() {
    static const tqDevSDK_Shadow_Service_S *const service = tqhost::ShadowService("InterconnectionRule");
    return *service;
}

int Parse(const std::string &text) { return Give(Service().parse_sync, shd_data_type_array, text); }

std::string Generate() {
    static std::vector<char> buffer(std::size_t{8} << 20); // for the longest input, many times over
    return Get(Service().gen_value_JsStr, shd_data_type_array, buffer);
}

// ---- The numbers that the device got, against the text, each key looked up on its own ----

template <typename Field, typename... More>
void CheckNumbers(const bscJSON *object, const char *key, Field field, More... more) {
    Check(field == static_cast<Field>(bscJSON_GetObjectItem(object, key)->valueint), key);
    if constexpr (sizeof...(more) > 0) {
        CheckNumbers(object, more...);
    }
}

// Calls check(element, record) for each record.
template <typename Record, typename CheckRecord>
void CheckArray(const bscJSON *array, const Range<Record> &records, CheckRecord check) {
    const bscJSON *element = array->child;
    for (const Record &record : records) {
        check(element, record);
        element = element->next;
    }
}

void CheckEvent(const bscJSON *json, const tqDevSDK_SmartControl_ConfigRule_Events &event) {
    CheckNumbers(json, "domain", event.uiDomain, "cmdId", event.uiCmdId, "channelNo", event.ucChannel, "value", event.usValue);
}

void CheckAction(const bscJSON *json, const tqDevSDK_SmartControl_ConfigRule_Actions &action) {
    CheckNumbers(json, "domain", action.uiDomain, "cmdId", action.uiCmdId, "channelNo", action.ucChannel, "delay", action.uiDelay);
    const bscJSON *params = bscJSON_GetObjectItem(json, "params");
    for (int i = 0; i < action.ucValueNum; ++i) {
        CheckNumbers(params, ("value" + std::to_string(i + 1)).c_str(), action.ausValue[i]);
    }
}

void CheckRule(const bscJSON *json, const tqDevSDK_SmartControl_ConfigRules_RuleUnit &rule) {
    const bscJSON *trigger = bscJSON_GetObjectItem(json, "rule");
    CheckNumbers(json, "id", rule.uiRuleId, "enable", rule.ucEnable);
    CheckNumbers(trigger, "condition", rule.usCondition);
    CheckArray(bscJSON_GetObjectItem(trigger, "events"), Range(rule.pstEvents, rule.usEvents_Num), CheckEvent);
    CheckArray(bscJSON_GetObjectItem(trigger, "actions"), Range(rule.pstActions, rule.usActions_Num), CheckAction);
}

void CheckUnit(const bscJSON *json, const tqDevSDK_SmartControl_ConfigRules_ValueUnit &unit) {
    CheckNumbers(json, "channel", unit.ucChannel);
    CheckArray(bscJSON_GetObjectItem(json, "status"), Range(unit.pstRuleUnit, unit.usNum), CheckRule);
}

// ---- The second round ----

// Numbers are written unsigned, and read up to the largest signed one.
void Saturate(bscJSON *items) {
    for (bscJSON *item = items; item != nullptr; item = item->next) {
        item->valuedouble = item->valueint;
        Saturate(item->child);
    }
}

// What the device reports after it was given this.
std::string SecondRound(const std::string &first) {
    bscJSON *json = bscJSON_Parse(first.c_str());
    Saturate(json);
    const std::unique_ptr<char, decltype(&free)> text(bscJSON_Print(json), free);
    bscJSON_Delete(json);
    return text.get();
}

} // namespace

void Run(Input &input) {
    const std::string text = input.TakeText();
    const int result = Parse(text);
    Check(result == (g_application.received == 0 ? -1 : (g_application.accepts ? 0 : 1)), "the result is the application's once it is asked");
    if (g_application.received == 0) {
        return;
    }
    bscJSON *given = bscJSON_Parse(text.c_str());
    CheckArray(given, Range(g_application.rules.pstUnit, g_application.rules.usNum), CheckUnit);
    bscJSON_Delete(given);
    const std::string first = Generate();

    g_application.accepts = true;
    Check(Parse(first) == 0, "what is reported can be given again");
    Check(Generate() == SecondRound(first), "a second round changes nothing");
}
