// SPDX-License-Identifier: Apache-2.0
#include "harness.h"

#include <cstdio>
#include <cstdlib>

#include "bscJSON.h"
#include "tqdev_debug.h"

Application g_application;

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

int Give(tqDevSDK_Shadow_ParseSync parse, tqDevSDK_Shadow_data_type_t type, std::string text) {
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.type = type;
    value.length = static_cast<int32_t>(text.size());
    value.value = text.data();
    tqDevSDK_Shadow_ParseSync_Param_S param{};
    return parse(&value, &param);
}

std::string Get(tqDevSDK_Shadow_GenValue generate, tqDevSDK_Shadow_data_type_t type, std::vector<char> &buffer) {
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = buffer.data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    Check(generate(&value, &param) == 0 && value.type == type, "what was accepted is reported");
    return {buffer.data(), static_cast<std::size_t>(value.length)};
}

namespace {

// ---- What the application is given, checked ----

template <std::size_t N>
void CheckAction(const char (&text)[N], UINT32 values) {
    CheckEnds(text);
    Check(values <= TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX, "an action has 16 values at most");
}

template <typename Record>
void Keep(const Record &) {}
void Keep(const tqDevSDK_SmartControl_SetChimeAlarmAction &chime) { CheckAction(chime.acDevId, chime.uiValueNum); }
void Keep(const tqDevSDK_SmartControl_device_capture_info &capture) { CheckAction(capture.relation_id, capture.uiValueNum); }
void Keep(const tqDevSDK_SmartControl_Action_Pic_And_Video_S &capture) { CheckEnds(capture.relation_id); }
void Keep(const tqDevSDK_SmartControl_msg_IcrDss_S &icr_dss) { g_application.icr_dss = icr_dss; }
void Keep(const tqDevSDK_SmartControl_ConfigRules_RuleUnit &rule) { CheckEnds(rule.acUserId, rule.acRuleName); }
void Keep(const tqDevSDK_SmartControl_ConfigRule_Events &event) { CheckEnds(event.acDevId); }
void Keep(const tqDevSDK_SmartControl_ConfigRule_Actions &action) { CheckAction(action.acDevId, action.ucValueNum); }

void *KeepArray(std::size_t bytes) { return g_application.arrays.emplace_back(bytes).data(); }

// Copies of arrays are kept by the application, or on the heap for the module.
using Allocate = void *(*)(std::size_t bytes);

template <typename Record>
Record *CopyArray(const Record *records, std::size_t count, Allocate allocate) {
    Check((records != nullptr) == (count != 0), "an array is there when it has elements");
    auto *copy = count != 0 ? static_cast<Record *>(allocate(count * sizeof(Record))) : nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        copy[i] = records[i];
        Keep(copy[i]);
    }
    return copy;
}

tqDevSDK_SmartControl_ConfigRules CopyRules(tqDevSDK_SmartControl_ConfigRules rules, Allocate allocate) {
    rules.pstUnit = CopyArray(rules.pstUnit, rules.usNum, allocate);
    for (auto &unit : Range(rules.pstUnit, rules.usNum)) {
        unit.pstRuleUnit = CopyArray(unit.pstRuleUnit, unit.usNum, allocate);
        for (auto &rule : Range(unit.pstRuleUnit, unit.usNum)) {
            rule.pstEvents = CopyArray(rule.pstEvents, rule.usEvents_Num, allocate);
            rule.pstActions = CopyArray(rule.pstActions, rule.usActions_Num, allocate);
        }
    }
    return rules;
}

// ---- Messages to the application ----

template <typename Record>
void Receive(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    Check(msg.len == static_cast<int>(sizeof(Record)), "the length is that of the record");
    Keep(*reinterpret_cast<const Record *>(msg.data));
}

void ReceiveNumber(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    Check(msg.len == static_cast<int>(sizeof(UINT32)), "the length is that of the number");
    memcpy(&g_application.numbers[msg.type - TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME], msg.data, sizeof(UINT32));
}

void ReceiveText(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    const bool is_scenes = msg.type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES;
    const std::string text = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(msg.data)->rule;
    Check(msg.len == (is_scenes ? 8 : static_cast<int>(text.size())), "the length is that of the text, for scenes 8");
    g_application.texts[is_scenes ? 0 : 1] = text;
}

void ReceiveRules(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    g_application.rules = CopyRules(*reinterpret_cast<tqDevSDK_SmartControl_ConfigRules *>(msg.data), KeepArray);
}

// By type.
constexpr void (*kReceive[TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MAX])(const tqDevSDK_SmartControl_msg_to_dev &) = {
    Receive<tqDevSDK_SmartControl_SetChimeAlarmAction>,
    ReceiveRules,
    Receive<tqDevSDK_SmartControl_device_capture_info>,
    Receive<tqDevSDK_SmartControl_msg_IcrDss_S>,
    ReceiveNumber,
    ReceiveNumber,
    ReceiveNumber,
    ReceiveNumber,
    Receive<tqDevSDK_SmartControl_Action_Common_S>,
    Receive<tqDevSDK_SmartControl_Action_Pic_And_Video_S>,
    Receive<tqDevSDK_SmartControl_Action_Sleep_S>,
    ReceiveText,
    ReceiveText,
    Receive<tqDevSDK_SmartControl_ManualScene_S>};

int RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    ++g_application.received;
    Check(msg->type >= 0 && msg->type < TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MAX, "messages to the application are of a known type");
    kReceive[msg->type](*msg);
    return g_application.accepts ? 0 : 1;
}

// ---- Questions to the application ----

/// An application that does not accept lies about the number of entries, too.
void FillSignals(tqDevSDK_Smartcontrol_ap_signal_info &info) {
    for (auto &entry : Range(info.ap_signal_result, static_cast<std::size_t>(info.num))) {
        entry.iSignalStrength = static_cast<int>(&entry - info.ap_signal_result) % 4 - 1;
        if (entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Route) {
            memset(entry.unInfo.stRoute.acSSID, 'x', sizeof entry.unInfo.stRoute.acSSID);
        } else {
            CheckEnds(entry.unInfo.stChime.acMac, entry.unInfo.stChime.acDevSerial);
        }
    }
    info.num = g_application.accepts ? info.num : INT32_MAX;
}

int OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) {
    switch (info->type) {
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES: {
        const tqDevSDK_SmartControl_ConfigRules rules = CopyRules(g_application.rules, malloc);
        info->data = reinterpret_cast<char *>(CopyArray(&rules, 1, malloc));
        break;
    }
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS:
        memcpy(info->data, &g_application.icr_dss, sizeof g_application.icr_dss);
        break;
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES:
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES: {
        const auto &text = g_application.texts[info->type - TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES];
        *reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(info->data) = {1, text ? strdup(text->c_str()) : nullptr};
        break;
    }
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC:
        FillSignals(*reinterpret_cast<tqDevSDK_Smartcontrol_ap_signal_info *>(info->data));
        return g_application.accepts ? 0 : 1;
    default:
        memcpy(info->data, &g_application.numbers[info->type - TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME], sizeof(UINT32));
    }
    return 0;
}

template <typename... Kinds>
void ForgetSent(const std::variant<Kinds...> * /*observation*/) {
    (g_sent<Kinds>.clear(), ...);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    // The module prints each signal query.
    Check(freopen("/dev/null", "w", stdout) != nullptr, "the standard output goes nowhere");
    tqhost::Observe(
        [](const auto &observation) { std::visit([](const auto &seen) { g_sent<std::decay_t<decltype(seen)>>.push_back(seen); }, observation); });
    const tqDevSDK_SmartControl_init_info info{{RecvMsg, OnGetRuntimeInfo}, 0};
    Check(tqDevSDK_SmartControl_init(&info) == 0, "init succeeds");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    Input input({reinterpret_cast<const char *>(data), size});
    tqhost::SetLogLevel(input.ShowsLog() ? LOG_INFO : LOG_NON);
    g_application.accepts = input.Accepts();
    Run(input);

    // Everything that the input left is released here, so that only leaks look like leaks.
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        tqhost::StatusReset(static_cast<int>(item.status_value));
    }
    g_application = Application();
    ForgetSent(static_cast<const tqhost::Observation *>(nullptr));
    return 0;
}
