// SPDX-License-Identifier: Apache-2.0
// The mapping of rules as one would write it with other libraries: a document, then records, and back.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <stdexcept>

#include "rules.h"

namespace {

template <std::size_t N>
void CopyText(char (&field)[N], const char *text) {
    snprintf(field, N, "%s", text);
}

template <typename Record>
Record *NewRecords(std::size_t count) {
    return static_cast<Record *>(calloc(count, sizeof(Record)));
}

void ReadDay(Rule &rule, const char *text) {
    const int day = atoi(text);
    if (day >= 1 && day <= 7) {
        rule.aucWeekDaysEn[day - 1] = 1;
    }
}

void ReadTimes(Rule &rule, const char *start, const char *end) {
    sscanf(start, "%u:%u", &rule.uiStart_hour, &rule.uiStart_min);
    rule.ucIsCrossDay = *end == 'n' ? 1 : 0;
    sscanf(end + rule.ucIsCrossDay, "%u:%u", &rule.uiEnd_hour, &rule.uiEnd_min);
}

struct TimeText {
    TimeText(bool next_day, UINT32 hour, UINT32 minute) {
        snprintf(text, sizeof text, "%s%02u:%02u", next_day ? "n" : "", hour, minute);
    }
    char text[32];
};

const char *ValueKey(std::size_t index) {
    static const char *const kKeys[] = {"value1",  "value2",  "value3",  "value4",  "value5",  "value6",
                                        "value7",  "value8",  "value9",  "value10", "value11", "value12",
                                        "value13", "value14", "value15", "value16"};
    return kKeys[index];
}

// ---- nlohmann/json ----

using nlohmann::json;

template <std::size_t N>
void ReadText(char (&field)[N], const json &value) {
    CopyText(field, value.get_ref<const std::string &>().c_str());
}

template <typename Record>
void ReadArray(const json &array, UINT16 &num, Record *&records, void (*read)(const json &, Record &)) {
    num = static_cast<UINT16>(array.size());
    records = NewRecords<Record>(num);
    for (UINT16 i = 0; i < num; ++i) {
        read(array[i], records[i]);
    }
}

void ReadEvent(const json &value, Event &event) {
    value.at("domain").get_to(event.uiDomain);
    value.at("cmdId").get_to(event.uiCmdId);
    ReadText(event.acDevId, value.at("deviceId"));
    value.at("channelNo").get_to(event.ucChannel);
    value.at("value").get_to(event.usValue);
}

void ReadAction(const json &value, Action &action) {
    value.at("domain").get_to(action.uiDomain);
    value.at("cmdId").get_to(action.uiCmdId);
    ReadText(action.acDevId, value.at("deviceId"));
    value.at("channelNo").get_to(action.ucChannel);
    value.at("delay").get_to(action.uiDelay);
    const json &params = value.at("params");
    for (std::size_t i = 0; i < std::size(action.ausValue); ++i) {
        const auto found = params.find(ValueKey(i));
        if (found == params.end()) {
            break;
        }
        found->get_to(action.ausValue[action.ucValueNum++]);
    }
}

void ReadRule(const json &value, Rule &rule) {
    value.at("id").get_to(rule.uiRuleId);
    ReadText(rule.acUserId, value.at("userId"));
    ReadText(rule.acRuleName, value.at("name"));
    value.at("enable").get_to(rule.ucEnable);
    for (const json &day : value.at("weekdays")) {
        ReadDay(rule, day.get_ref<const std::string &>().c_str());
    }
    ReadTimes(rule, value.at("startTime").get_ref<const std::string &>().c_str(),
              value.at("endTime").get_ref<const std::string &>().c_str());
    const json &trigger = value.at("rule");
    trigger.at("condition").get_to(rule.usCondition);
    ReadArray(trigger.at("events"), rule.usEvents_Num, rule.pstEvents, ReadEvent);
    ReadArray(trigger.at("actions"), rule.usActions_Num, rule.pstActions, ReadAction);
}

void ReadUnit(const json &value, Unit &unit) {
    unit.usType = value.value("Type", "") == "Global" ? 1 : 0;
    value.at("channel").get_to(unit.ucChannel);
    ReadArray(value.at("status"), unit.usNum, unit.pstRuleUnit, ReadRule);
}

template <typename Record>
json WriteArray(UINT16 num, const Record *records, json (*write)(const Record &)) {
    json array = json::array();
    for (UINT16 i = 0; i < num; ++i) {
        array.push_back(write(records[i]));
    }
    return array;
}

json WriteEvent(const Event &event) {
    json value;
    value["domain"] = event.uiDomain;
    value["cmdId"] = event.uiCmdId;
    value["deviceId"] = event.acDevId;
    value["channelNo"] = event.ucChannel;
    value["value"] = event.usValue;
    return value;
}

json WriteAction(const Action &action) {
    json value;
    value["domain"] = action.uiDomain;
    value["cmdId"] = action.uiCmdId;
    value["deviceId"] = action.acDevId;
    value["channelNo"] = action.ucChannel;
    json &params = value["params"] = json::object();
    for (std::size_t i = 0; i < action.ucValueNum; ++i) {
        params[ValueKey(i)] = action.ausValue[i];
    }
    value["delay"] = action.uiDelay;
    return value;
}

json WriteRule(const Rule &rule) {
    json value;
    value["id"] = rule.uiRuleId;
    value["userId"] = rule.acUserId;
    value["name"] = rule.acRuleName;
    value["enable"] = rule.ucEnable;
    json &weekdays = value["weekdays"] = json::array();
    for (int day = 0; day < 7; ++day) {
        if (rule.aucWeekDaysEn[day] != 0) {
            weekdays.push_back(std::to_string(day + 1));
        }
    }
    value["startTime"] = TimeText(false, rule.uiStart_hour, rule.uiStart_min).text;
    value["endTime"] = TimeText(rule.ucIsCrossDay != 0, rule.uiEnd_hour, rule.uiEnd_min).text;
    json &trigger = value["rule"];
    trigger["condition"] = rule.usCondition;
    trigger["events"] = WriteArray(rule.usEvents_Num, rule.pstEvents, WriteEvent);
    trigger["actions"] = WriteArray(rule.usActions_Num, rule.pstActions, WriteAction);
    return value;
}

json WriteUnit(const Unit &unit) {
    json value;
    if (unit.usType == 1) {
        value["Type"] = "Global";
    }
    value["channel"] = unit.ucChannel;
    value["status"] = WriteArray(unit.usNum, unit.pstRuleUnit, WriteRule);
    return value;
}

// ---- RapidJSON ----

using Value = rapidjson::Value;
using Allocator = rapidjson::Document::AllocatorType;

const Value &At(const Value &object, const char *key) {
    const auto found = object.FindMember(key);
    if (found == object.MemberEnd()) {
        throw std::runtime_error(key);
    }
    return found->value;
}

template <typename Record>
void ReadArray(const Value &array, UINT16 &num, Record *&records, void (*read)(const Value &, Record &)) {
    num = static_cast<UINT16>(array.Size());
    records = NewRecords<Record>(num);
    for (UINT16 i = 0; i < num; ++i) {
        read(array[i], records[i]);
    }
}

void ReadEvent(const Value &value, Event &event) {
    event.uiDomain = At(value, "domain").GetUint();
    event.uiCmdId = At(value, "cmdId").GetUint();
    CopyText(event.acDevId, At(value, "deviceId").GetString());
    event.ucChannel = static_cast<UINT8>(At(value, "channelNo").GetUint());
    event.usValue = static_cast<UINT16>(At(value, "value").GetUint());
}

void ReadAction(const Value &value, Action &action) {
    action.uiDomain = At(value, "domain").GetUint();
    action.uiCmdId = At(value, "cmdId").GetUint();
    CopyText(action.acDevId, At(value, "deviceId").GetString());
    action.ucChannel = static_cast<UINT8>(At(value, "channelNo").GetUint());
    action.uiDelay = At(value, "delay").GetUint();
    const Value &params = At(value, "params");
    for (std::size_t i = 0; i < std::size(action.ausValue); ++i) {
        const auto found = params.FindMember(ValueKey(i));
        if (found == params.MemberEnd()) {
            break;
        }
        action.ausValue[action.ucValueNum++] = static_cast<UINT16>(found->value.GetUint());
    }
}

void ReadRule(const Value &value, Rule &rule) {
    rule.uiRuleId = At(value, "id").GetUint();
    CopyText(rule.acUserId, At(value, "userId").GetString());
    CopyText(rule.acRuleName, At(value, "name").GetString());
    rule.ucEnable = static_cast<UINT8>(At(value, "enable").GetUint());
    for (const Value &day : At(value, "weekdays").GetArray()) {
        ReadDay(rule, day.GetString());
    }
    ReadTimes(rule, At(value, "startTime").GetString(), At(value, "endTime").GetString());
    const Value &trigger = At(value, "rule");
    rule.usCondition = static_cast<UINT16>(At(trigger, "condition").GetUint());
    ReadArray(At(trigger, "events"), rule.usEvents_Num, rule.pstEvents, ReadEvent);
    ReadArray(At(trigger, "actions"), rule.usActions_Num, rule.pstActions, ReadAction);
}

void ReadUnit(const Value &value, Unit &unit) {
    const auto type = value.FindMember("Type");
    unit.usType = type != value.MemberEnd() && strcmp(type->value.GetString(), "Global") == 0 ? 1 : 0;
    unit.ucChannel = static_cast<UINT8>(At(value, "channel").GetUint());
    ReadArray(At(value, "status"), unit.usNum, unit.pstRuleUnit, ReadRule);
}

template <typename Record>
Value WriteArray(UINT16 num, const Record *records, Value (*write)(const Record &, Allocator &),
                 Allocator &allocator) {
    Value array(rapidjson::kArrayType);
    array.Reserve(num, allocator);
    for (UINT16 i = 0; i < num; ++i) {
        array.PushBack(write(records[i], allocator), allocator);
    }
    return array;
}

Value WriteEvent(const Event &event, Allocator &allocator) {
    Value value(rapidjson::kObjectType);
    value.AddMember("domain", event.uiDomain, allocator);
    value.AddMember("cmdId", event.uiCmdId, allocator);
    value.AddMember("deviceId", Value(event.acDevId, allocator), allocator);
    value.AddMember("channelNo", event.ucChannel, allocator);
    value.AddMember("value", event.usValue, allocator);
    return value;
}

Value WriteAction(const Action &action, Allocator &allocator) {
    Value value(rapidjson::kObjectType);
    value.AddMember("domain", action.uiDomain, allocator);
    value.AddMember("cmdId", action.uiCmdId, allocator);
    value.AddMember("deviceId", Value(action.acDevId, allocator), allocator);
    value.AddMember("channelNo", action.ucChannel, allocator);
    Value params(rapidjson::kObjectType);
    for (std::size_t i = 0; i < action.ucValueNum; ++i) {
        params.AddMember(rapidjson::StringRef(ValueKey(i)), action.ausValue[i], allocator);
    }
    value.AddMember("params", params, allocator);
    value.AddMember("delay", action.uiDelay, allocator);
    return value;
}

Value WriteRule(const Rule &rule, Allocator &allocator) {
    Value value(rapidjson::kObjectType);
    value.AddMember("id", rule.uiRuleId, allocator);
    value.AddMember("userId", Value(rule.acUserId, allocator), allocator);
    value.AddMember("name", Value(rule.acRuleName, allocator), allocator);
    value.AddMember("enable", rule.ucEnable, allocator);
    Value weekdays(rapidjson::kArrayType);
    for (int day = 0; day < 7; ++day) {
        if (rule.aucWeekDaysEn[day] != 0) {
            weekdays.PushBack(Value(std::to_string(day + 1).c_str(), allocator), allocator);
        }
    }
    value.AddMember("weekdays", weekdays, allocator);
    const TimeText start(false, rule.uiStart_hour, rule.uiStart_min);
    const TimeText end(rule.ucIsCrossDay != 0, rule.uiEnd_hour, rule.uiEnd_min);
    value.AddMember("startTime", Value(start.text, allocator), allocator);
    value.AddMember("endTime", Value(end.text, allocator), allocator);
    Value trigger(rapidjson::kObjectType);
    trigger.AddMember("condition", rule.usCondition, allocator);
    trigger.AddMember("events", WriteArray(rule.usEvents_Num, rule.pstEvents, WriteEvent, allocator),
                      allocator);
    trigger.AddMember("actions", WriteArray(rule.usActions_Num, rule.pstActions, WriteAction, allocator),
                      allocator);
    value.AddMember("rule", trigger, allocator);
    return value;
}

Value WriteUnit(const Unit &unit, Allocator &allocator) {
    Value value(rapidjson::kObjectType);
    if (unit.usType == 1) {
        value.AddMember("Type", "Global", allocator);
    }
    value.AddMember("channel", unit.ucChannel, allocator);
    value.AddMember("status", WriteArray(unit.usNum, unit.pstRuleUnit, WriteRule, allocator), allocator);
    return value;
}

} // namespace

void NlohmannParse(const char *text) {
    const json document = json::parse(text);
    Rules *rules = NewRecords<Rules>(1);
    ReadArray(document, rules->usNum, rules->pstUnit, ReadUnit);
    Receive(*rules);
    FreeRules(rules);
}

std::size_t NlohmannGenerate(Rules *rules, char *buffer) {
    const std::string text = WriteArray(rules->usNum, rules->pstUnit, WriteUnit).dump(1, '\t');
    FreeRules(rules);
    memcpy(buffer, text.data(), text.size());
    return text.size();
}

void RapidParse(const char *text) {
    rapidjson::Document document;
    if (document.Parse(text).HasParseError()) {
        throw std::runtime_error("parse");
    }
    Rules *rules = NewRecords<Rules>(1);
    ReadArray(document, rules->usNum, rules->pstUnit, ReadUnit);
    Receive(*rules);
    FreeRules(rules);
}

std::size_t RapidGenerate(Rules *rules, char *buffer) {
    rapidjson::Document document;
    const Value root = WriteArray(rules->usNum, rules->pstUnit, WriteUnit, document.GetAllocator());
    rapidjson::StringBuffer text;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(text);
    writer.SetIndent('\t', 1);
    root.Accept(writer);
    FreeRules(rules);
    memcpy(buffer, text.GetString(), text.GetSize());
    return text.GetSize();
}
