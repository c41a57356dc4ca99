// SPDX-License-Identifier: Apache-2.0
#include "harness.h"

#include <cstdio>
#include <cstdlib>

#include "bscJSON.h"
#include "tqdev_debug.h"

Application g_application;
Sent g_sent;

void Check(bool holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "Does not hold: %s\n", what);
        abort();
    }
}

std::optional<int> ResultIn(const std::string &json) {
    bscJSON *root = bscJSON_Parse(json.c_str());
    Check(root != nullptr, "what is sent is JSON");
    const bscJSON *item = bscJSON_GetObjectItem(root, "result");
    const std::optional<int> result = item != nullptr ? std::optional(item->valueint) : std::nullopt;
    bscJSON_Delete(root);
    return result;
}

namespace {

// ---- Rules ----

template <typename Record>
std::vector<Record> KeepArray(const Record *records, UINT16 count) {
    Check((records != nullptr) == (count != 0), "an array is there when it has elements");
    return {records, records + count};
}

void CheckRule(const Rule &rule) {
    CheckEnds(rule.record.acUserId);
    CheckEnds(rule.record.acRuleName);
    for (const auto &event : rule.events) {
        CheckEnds(event.acDevId);
    }
    for (const auto &action : rule.actions) {
        CheckEnds(action.acDevId);
        Check(action.ucValueNum <= TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX, "an action has 16 values at most");
    }
}

std::vector<Unit> KeepRules(const tqDevSDK_SmartControl_ConfigRules &rules) {
    std::vector<Unit> kept;
    for (const auto &unit : KeepArray(rules.pstUnit, rules.usNum)) {
        kept.push_back({unit, {}});
        for (const auto &rule : KeepArray(unit.pstRuleUnit, unit.usNum)) {
            kept.back().rules.push_back({rule, KeepArray(rule.pstEvents, rule.usEvents_Num), KeepArray(rule.pstActions, rule.usActions_Num)});
            CheckRule(kept.back().rules.back());
        }
    }
    return kept;
}

template <typename Record>
Record *HeapArray(const std::vector<Record> &records) {
    if (records.empty()) {
        return nullptr;
    }
    auto *array = static_cast<Record *>(calloc(records.size(), sizeof(Record)));
    memcpy(array, records.data(), records.size() * sizeof(Record));
    return array;
}

char *HeapRules(const std::vector<Unit> &kept) {
    std::vector<tqDevSDK_SmartControl_ConfigRules_ValueUnit> units;
    for (const Unit &unit : kept) {
        std::vector<tqDevSDK_SmartControl_ConfigRules_RuleUnit> rules;
        for (const Rule &rule : unit.rules) {
            rules.push_back(rule.record);
            rules.back().pstEvents = HeapArray(rule.events);
            rules.back().pstActions = HeapArray(rule.actions);
        }
        units.push_back(unit.record);
        units.back().pstRuleUnit = HeapArray(rules);
    }
    tqDevSDK_SmartControl_ConfigRules set{};
    set.usNum = static_cast<UINT16>(units.size());
    set.pstUnit = HeapArray(units);
    return reinterpret_cast<char *>(HeapArray(std::vector{set}));
}

// ---- Callbacks of the application ----

template <typename Record>
const Record &As(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    Check(msg.len == static_cast<int>(sizeof(Record)), "the length is that of the record");
    return *reinterpret_cast<const Record *>(msg.data);
}

void Receive(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    switch (msg.type) {
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION: {
        const auto &record = As<tqDevSDK_SmartControl_SetChimeAlarmAction>(msg);
        CheckEnds(record.acDevId);
        Check(record.uiValueNum <= TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX, "a chime has 16 values at most");
        break;
    }
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES:
        g_application.rules = KeepRules(*reinterpret_cast<tqDevSDK_SmartControl_ConfigRules *>(msg.data));
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC: {
        const auto &record = As<tqDevSDK_SmartControl_device_capture_info>(msg);
        CheckEnds(record.relation_id);
        Check(record.uiValueNum <= TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX, "a capture has 16 values at most");
        break;
    }
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS:
        g_application.icr_dss = As<tqDevSDK_SmartControl_msg_IcrDss_S>(msg);
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME:
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME:
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE:
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS:
        g_application.numbers[msg.type - TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME] = As<UINT32>(msg);
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO:
        As<tqDevSDK_SmartControl_Action_Common_S>(msg);
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO:
        CheckEnds(As<tqDevSDK_SmartControl_Action_Pic_And_Video_S>(msg).relation_id);
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP:
        As<tqDevSDK_SmartControl_Action_Sleep_S>(msg);
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES:
        g_application.ai_rules = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(msg.data)->rule;
        Check(msg.len == static_cast<int>(g_application.ai_rules->size()), "the length is that of the text");
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES:
        g_application.scene_rules = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(msg.data)->rule;
        Check(msg.len == 8, "the length of scene rules is 8");
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE:
        As<tqDevSDK_SmartControl_ManualScene_S>(msg);
        break;
    default:
        Check(false, "messages to the application are of a known type");
    }
}

int RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    ++g_application.received;
    Receive(*msg);
    return g_application.accepts ? 0 : 1;
}

/// An application that does not accept lies about the number of entries, too.
void FillSignals(tqDevSDK_Smartcontrol_ap_signal_info &info) {
    for (int i = 0; i < info.num; ++i) {
        auto &entry = info.ap_signal_result[i];
        entry.iSignalStrength = i % 4 - 1;
        if (entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Route) {
            memset(entry.unInfo.stRoute.acSSID, 'x', sizeof entry.unInfo.stRoute.acSSID);
        } else {
            CheckEnds(entry.unInfo.stChime.acMac);
            CheckEnds(entry.unInfo.stChime.acDevSerial);
        }
    }
    info.num = g_application.accepts ? info.num : INT32_MAX;
}

char *HeapText(const std::optional<std::string> &text) { return text ? strdup(text->c_str()) : nullptr; }

int OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) {
    switch (info->type) {
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES:
        info->data = HeapRules(g_application.rules);
        return 0;
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS:
        memcpy(info->data, &g_application.icr_dss, sizeof g_application.icr_dss);
        return 0;
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES:
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES: {
        const bool scenes = info->type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES;
        auto &record = *reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(info->data);
        record = {1, HeapText(scenes ? g_application.scene_rules : g_application.ai_rules)};
        return 0;
    }
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC:
        FillSignals(*reinterpret_cast<tqDevSDK_Smartcontrol_ap_signal_info *>(info->data));
        return g_application.accepts ? 0 : 1;
    default:
        memcpy(info->data, &g_application.numbers[info->type - TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME], sizeof(UINT32));
        return 0;
    }
}

// ---- The host's side ----

struct Recorder {
    void operator()(const tqhost::CommandMessage &message) const { g_sent.commands.push_back(message); }
    void operator()(const tqhost::ModelReply &reply) const { g_sent.replies.push_back(reply); }
    void operator()(const tqhost::ModelReport &report) const { g_sent.reports.push_back(report); }
    void operator()(const tqhost::DclogRecord &record) const { g_sent.records.push_back(record.record); }
    template <typename Other>
    void operator()(const Other &) const {}
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    // The module prints each signal query.
    Check(freopen("/dev/null", "w", stdout) != nullptr, "the standard output goes nowhere");
    tqhost::Observe([](const tqhost::Observation &observation) { std::visit(Recorder(), observation); });
    const tqDevSDK_SmartControl_init_info info{{RecvMsg, OnGetRuntimeInfo}, 0};
    Check(tqDevSDK_SmartControl_init(&info) == 0, "init succeeds");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    Input input(data, size);
    tqhost::SetLogLevel(input.ShowsLog() ? LOG_INFO : LOG_NON);
    g_application.accepts = input.Accepts();
    Run(input);

    // Everything that the input left is released here, so that only leaks look like leaks.
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        tqhost::StatusReset(static_cast<int>(item.status_value));
    }
    g_application = Application();
    g_sent = Sent();
    return 0;
}
