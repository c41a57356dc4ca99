// SPDX-License-Identifier: Apache-2.0
// Rule sets of one unit, both ways: the module, the plain use of the JSON library, the same mapping with
// other libraries. The application's set is allocated before the clock runs; whoever maps it frees it.
#include "rules.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/mman.h>

#include "floor.h"
#include "tqdev_host.h"

namespace {

constexpr unsigned kSizes[] = {1, 10, 100, 1000, 10000, 65535};
constexpr double kParseLimit = 1.2;
constexpr double kParseNlohmann = 1.8;
constexpr double kGenerateLimit = 0.6;
constexpr double kGenerateNlohmann = 1.0;

template <typename Record>
Record *NewRecords(std::size_t count) {
    return static_cast<Record *>(calloc(count, sizeof(Record)));
}

// Every day from 22:00 to 06:30 of the next, two events, two actions with two values each.
Rule MakeRule(UINT32 id) {
    Rule rule{};
    rule.uiRuleId = id;
    strcpy(rule.acUserId, "user-17");
    snprintf(rule.acRuleName, sizeof rule.acRuleName, "Porch at night %u", id);
    rule.ucEnable = 1;
    memset(rule.aucWeekDaysEn, 1, sizeof rule.aucWeekDaysEn);
    rule.uiStart_hour = 22;
    rule.uiEnd_hour = 6;
    rule.uiEnd_min = 30;
    rule.ucIsCrossDay = 1;
    rule.usCondition = 1;
    rule.usEvents_Num = 2;
    rule.pstEvents = NewRecords<Event>(2);
    rule.usActions_Num = 2;
    rule.pstActions = NewRecords<Action>(2);
    for (UINT16 i = 0; i < 2; ++i) {
        Event &event = rule.pstEvents[i];
        event = {1100, 5U + i, {}, 1, 1};
        snprintf(event.acDevId, sizeof event.acDevId, "SENSOR%04u", (id + i) % 10000);
        Action &action = rule.pstActions[i];
        action = {7000, 20034, {}, 1, 2, {1, static_cast<UINT16>(id)}, 5U * i};
        snprintf(action.acDevId, sizeof action.acDevId, "CAMERA%04u", (id + i) % 10000);
    }
    return rule;
}

Rules *MakeRules(unsigned count) {
    auto *rules = NewRecords<Rules>(1);
    rules->usNum = 1;
    rules->pstUnit = NewRecords<Unit>(1);
    rules->pstUnit->usNum = static_cast<UINT16>(count);
    rules->pstUnit->pstRuleUnit = NewRecords<Rule>(count);
    for (unsigned i = 0; i < count; ++i) {
        rules->pstUnit->pstRuleUnit[i] = MakeRule(i);
    }
    return rules;
}

// ---- Floor ----

// The tree as the records of MakeRule give it; what needs formatting stands here as it comes out.
bscJSON *BuildTree(const Rules &rules) {
    bscJSON *root = bscJSON_CreateArray();
    bscJSON *unit = Append(root);
    Num(unit, "channel", rules.pstUnit->ucChannel);
    bscJSON *status = Attach(unit, "status", bscJSON_CreateArray());
    for (UINT16 i = 0; i < rules.pstUnit->usNum; ++i) {
        const Rule &rule = rules.pstUnit->pstRuleUnit[i];
        bscJSON *object = Append(status);
        Num(object, "id", rule.uiRuleId);
        Str(object, "userId", rule.acUserId);
        Str(object, "name", rule.acRuleName);
        Num(object, "enable", rule.ucEnable);
        bscJSON *weekdays = Attach(object, "weekdays", bscJSON_CreateArray());
        for (const char *day : {"1", "2", "3", "4", "5", "6", "7"}) {
            bscJSON_AddItemToArray(weekdays, bscJSON_CreateString(day));
        }
        Str(object, "startTime", "22:00");
        Str(object, "endTime", "n06:30");
        bscJSON *trigger = Attach(object, "rule", bscJSON_CreateObject());
        Num(trigger, "condition", rule.usCondition);
        bscJSON *events = Attach(trigger, "events", bscJSON_CreateArray());
        for (UINT16 e = 0; e < rule.usEvents_Num; ++e) {
            const Event &event = rule.pstEvents[e];
            bscJSON *item = Append(events);
            Num(item, "domain", event.uiDomain);
            Num(item, "cmdId", event.uiCmdId);
            Str(item, "deviceId", event.acDevId);
            Num(item, "channelNo", event.ucChannel);
            Num(item, "value", event.usValue);
        }
        bscJSON *actions = Attach(trigger, "actions", bscJSON_CreateArray());
        for (UINT16 a = 0; a < rule.usActions_Num; ++a) {
            const Action &action = rule.pstActions[a];
            bscJSON *item = Append(actions);
            Num(item, "domain", action.uiDomain);
            Num(item, "cmdId", action.uiCmdId);
            Str(item, "deviceId", action.acDevId);
            Num(item, "channelNo", action.ucChannel);
            bscJSON *params = Attach(item, "params", bscJSON_CreateObject());
            Num(params, "value1", action.ausValue[0]);
            Num(params, "value2", action.ausValue[1]);
            Num(item, "delay", action.uiDelay);
        }
    }
    return root;
}

// ---- The module ----

const tqDevSDK_Shadow_Service_S &Service() {
    const tqDevSDK_Shadow_Service_S *service = tqhost::ShadowService("InterconnectionRule");
    Need(service != nullptr, "registering the key");
    return *service;
}

void ModuleParse(tqDevSDK_Shadow_ParseSync parse, const char *text) {
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.type = shd_data_type_array;
    value.length = static_cast<int32_t>(strlen(text));
    value.value = const_cast<char *>(text);
    tqDevSDK_Shadow_ParseSync_Param_S param{};
    Need(parse(&value, &param) == 0, "taking the rules");
}

std::size_t ModuleGenerate(tqDevSDK_Shadow_GenValue generate, char *buffer) {
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = buffer;
    tqDevSDK_Shadow_GenValue_Param_S param{};
    Need(generate(&value, &param) == 0, "giving the rules");
    return static_cast<std::size_t>(value.length);
}

// ---- Cases ----

Contestants Parse(unsigned count) {
    Rules *rules = MakeRules(count);
    bscJSON *tree = BuildTree(*rules);
    char *text = bscJSON_PrintUnformatted(tree); // for the life of the process
    bscJSON_Delete(tree);
    FreeRules(rules);

    g_on_message = [](const tqDevSDK_SmartControl_msg_to_dev &msg) {
        Receive(*reinterpret_cast<const Rules *>(msg.data));
    };
    return {{"module", [=, parse = Service().parse_sync] { ModuleParse(parse, text); }},
            {"floor", [=] { bscJSON_Delete(bscJSON_Parse(text)); }},
            {"nlohmann", [=] { NlohmannParse(text); }},
            {"RapidJSON", [=] { RapidParse(text); }}};
}

// Sets as the application would return them, allocated before the clock runs.
std::vector<Rules *> g_answers;

Rules *TakeAnswer() {
    Need(!g_answers.empty(), "an answer of the application");
    Rules *answer = g_answers.back();
    g_answers.pop_back();
    return answer;
}

Contestants Generate(unsigned count) {
    // The host's buffer for values, and as much again: other libraries put more lines into a text.
    void *mapped = mmap(nullptr, 2 * tqhost::kShadowCapacity, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    Need(mapped != MAP_FAILED, "mapping the buffer");
    auto *buffer = static_cast<char *>(mapped);
    const auto prepare = [=](unsigned messages) {
        for (unsigned i = 0; i < messages; ++i) {
            g_answers.push_back(MakeRules(count));
        }
    };
    g_on_query = [](tqDevSDK_SmartControl_runtime_info &query) {
        query.data = reinterpret_cast<char *>(TakeAnswer());
        return 0;
    };
    const auto show = [=](std::size_t length) {
        if (Showing()) {
            Show(std::string(buffer, length).c_str());
        }
    };
    const Rules *rules = MakeRules(count); // for the life of the process
    return {{"module", [=, generate = Service().gen_value_JsStr] { show(ModuleGenerate(generate, buffer)); },
             prepare},
            {"floor", [=] { PrintAndDelete(BuildTree(*rules)); }},
            {"nlohmann", [=] { show(NlohmannGenerate(TakeAnswer(), buffer)); }, prepare},
            {"RapidJSON", [=] { show(RapidGenerate(TakeAnswer(), buffer)); }, prepare}};
}

} // namespace

void FreeRules(Rules *rules) {
    for (UINT16 i = 0; i < rules->usNum; ++i) {
        Unit &unit = rules->pstUnit[i];
        for (UINT16 j = 0; j < unit.usNum; ++j) {
            free(unit.pstRuleUnit[j].pstEvents);
            free(unit.pstRuleUnit[j].pstActions);
        }
        free(unit.pstRuleUnit);
    }
    free(rules->pstUnit);
    free(rules);
}

void Receive(const Rules &rules) {
    if (Showing()) {
        PrintAndDelete(BuildTree(rules));
    }
}

Cases RuleCases() {
    Cases cases;
    for (const unsigned size : kSizes) {
        cases.push_back({"rules parse " + std::to_string(size), kParseLimit, size,
                         [=] { return Parse(size); }, kParseNlohmann});
    }
    for (const unsigned size : kSizes) {
        cases.push_back({"rules generate " + std::to_string(size), kGenerateLimit, size,
                         [=] { return Generate(size); }, kGenerateNlohmann});
    }
    return cases;
}
