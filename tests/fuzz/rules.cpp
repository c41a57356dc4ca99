// SPDX-License-Identifier: Apache-2.0
// Linkage rules: the input behind the first byte is the shadow's value. What the device got, it reports,
// and what it reports, it can be given again without a change.
#include "bscJSON.h"
#include "harness.h"

namespace {

const tqDevSDK_Shadow_Service_S &Service() {
    static const tqDevSDK_Shadow_Service_S *const service = tqhost::ShadowService("InterconnectionRule");
    return *service;
}

int Parse(std::string text) {
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.type = shd_data_type_array;
    value.length = static_cast<int32_t>(text.size());
    value.value = text.data();
    tqDevSDK_Shadow_ParseSync_Param_S param{};
    return Service().parse_sync(&value, &param);
}

std::string Generate() {
    static std::vector<char> buffer(std::size_t{8} << 20); // for the longest input, many times over
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = buffer.data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    Check(Service().gen_value_JsStr(&value, &param) == 0, "rules that were accepted are reported");
    return {buffer.data(), static_cast<std::size_t>(value.length)};
}

// ---- The numbers that the device got, against the text, each key looked up on its own ----

template <typename Field>
void CheckNumber(const bscJSON *object, const char *key, Field field) {
    Check(field == static_cast<Field>(bscJSON_GetObjectItem(object, key)->valueint), key);
}

// Calls check(element, record) for each record.
template <typename Record, typename CheckRecord>
void CheckArray(const bscJSON *object, const char *key, const std::vector<Record> &records, CheckRecord check) {
    const bscJSON *element = bscJSON_GetObjectItem(object, key)->child;
    for (const Record &record : records) {
        check(element, record);
        element = element->next;
    }
}

void CheckEvent(const bscJSON *json, const tqDevSDK_SmartControl_ConfigRule_Events &event) {
    CheckNumber(json, "domain", event.uiDomain);
    CheckNumber(json, "cmdId", event.uiCmdId);
    CheckNumber(json, "channelNo", event.ucChannel);
    CheckNumber(json, "value", event.usValue);
}

void CheckAction(const bscJSON *json, const tqDevSDK_SmartControl_ConfigRule_Actions &action) {
    CheckNumber(json, "domain", action.uiDomain);
    CheckNumber(json, "cmdId", action.uiCmdId);
    CheckNumber(json, "channelNo", action.ucChannel);
    CheckNumber(json, "delay", action.uiDelay);
    const bscJSON *params = bscJSON_GetObjectItem(json, "params");
    for (int i = 0; i < action.ucValueNum; ++i) {
        CheckNumber(params, ("value" + std::to_string(i + 1)).c_str(), action.ausValue[i]);
    }
}

void CheckRule(const bscJSON *json, const Rule &rule) {
    CheckNumber(json, "id", rule.record.uiRuleId);
    CheckNumber(json, "enable", rule.record.ucEnable);
    const bscJSON *trigger = bscJSON_GetObjectItem(json, "rule");
    CheckNumber(trigger, "condition", rule.record.usCondition);
    CheckArray(trigger, "events", rule.events, CheckEvent);
    CheckArray(trigger, "actions", rule.actions, CheckAction);
}

void CheckRules(const std::string &text) {
    bscJSON *root = bscJSON_Parse(text.c_str());
    const bscJSON *json = root->child;
    for (const Unit &unit : g_application.rules) {
        CheckNumber(json, "channel", unit.record.ucChannel);
        CheckArray(json, "status", unit.rules, CheckRule);
        json = json->next;
    }
    bscJSON_Delete(root);
}

// ---- The second round ----

// Numbers are written unsigned, and read up to the largest signed one.
void Saturate(UINT32 &number) { number = std::min<UINT32>(number, INT32_MAX); }

void Saturate(std::vector<Unit> &units) {
    for (Unit &unit : units) {
        for (Rule &rule : unit.rules) {
            Saturate(rule.record.uiRuleId);
            for (auto &event : rule.events) {
                Saturate(event.uiDomain);
                Saturate(event.uiCmdId);
            }
            for (auto &action : rule.actions) {
                Saturate(action.uiDomain);
                Saturate(action.uiCmdId);
                Saturate(action.uiDelay);
            }
        }
    }
}

} // namespace

void Run(Input &input) {
    const std::string text = input.TakeText();
    const int result = Parse(text);
    Check(result == (g_application.received == 0 ? -1 : (g_application.accepts ? 0 : 1)), "the result is the application's once it is asked");
    if (g_application.received == 0) {
        return;
    }
    CheckRules(text);
    const std::string first = Generate();
    Saturate(g_application.rules);
    const std::string expected = Generate();

    g_application.accepts = true;
    Check(Parse(first) == 0, "what is reported can be given again");
    Check(Generate() == expected, "a second round changes nothing");
}
