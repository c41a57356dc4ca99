// SPDX-License-Identifier: Apache-2.0
// The virtual hub: changes by hand, messages it takes, answers it gives.
#include "hub.h"

#include <cstring>

#include <nlohmann/json.hpp>

#include "record_reader.h"
#include "records.h"
#include "rules.h"
#include "tqdev_time.h"

namespace tqgateway {
namespace {

/// A numeric setting: how a hub line, recv_msg and on_get_runtime_info call it.
struct Setting {
    const char *key;
    int message;
    int query;
    UINT32 HubState::*value;
};

constexpr Setting kSettings[] = {
    {"screen_overtime", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME, &HubState::screen_overtime},
    {"video_time", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_VIDEO_TIME, &HubState::video_time},
    {"auto_rouse", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_AUTO_ROUSE, &HubState::auto_rouse},
    {"screen_lightness", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS, &HubState::screen_lightness},
};

/// A rule text, likewise.
struct RuleTextRow {
    const char *key;
    int message;
    int query;
    RuleText HubState::*rules;
};

constexpr RuleTextRow kRuleTexts[] = {
    {"scene_rules", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES, &HubState::scene_rules},
    {"ai_rules", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES, &HubState::ai_rules},
};

void SetRules(HubState &state, RuleSet rules) {
    state.rules = std::move(rules);
    ++state.rules_version;
}

void SetText(RuleText &rules, std::optional<std::string> text) {
    rules.text = std::move(text);
    ++rules.version;
}

// ---- Changes by hand. ----

void ChangeIcrDss(ObjectReader &hub, tqDevSDK_SmartControl_msg_IcrDss_S &icr_dss) {
    const Json *value = hub.Find("icr_dss");
    if (value == nullptr) {
        return;
    }
    ObjectReader v(*value, hub.Path("icr_dss"));
    v.Whole("mode", icr_dss.ucMode);
    v.Whole("sensitivity", icr_dss.ucSensitivity);
    for (auto [key, time] : {std::pair("autoTimeBegin", &icr_dss.autoTime.begin),
                             std::pair("autoTimeEnd", &icr_dss.autoTime.end)}) {
        if (v.Find(key) != nullptr) {
            *time = static_cast<int32_t>(ReadTime(v.Text(key, SIZE_MAX), v.Path(key)));
        }
    }
    v.Done();
}

void ChangeSignals(ObjectReader &hub, std::map<std::string, int> &signals) {
    const Json *value = hub.Find("signals");
    if (value == nullptr) {
        return;
    }
    ObjectReader reader(*value, hub.Path("signals"));
    for (const auto &member : value->items()) {
        signals[member.key()] = reader.Whole<int>(member.key().c_str());
    }
}

// ---- Answers. ----

/// The listed strength by serial, then by MAC address; 0 when neither is listed.
int ChimeSignal(const HubState &state, const tqDevSDK_Smartcontrol_ap_signal_result &chime) {
    for (const std::string &name :
         {FieldText(chime.unInfo.stChime.acDevSerial), FieldText(chime.unInfo.stChime.acMac)}) {
        const auto found = state.signals.find(name);
        if (found != state.signals.end()) {
            return found->second;
        }
    }
    return 0;
}

void AnswerSignals(const HubState &state, tqDevSDK_Smartcontrol_ap_signal_info &info) {
    for (int i = 0; i < info.num; ++i) {
        auto &entry = info.ap_signal_result[i];
        if (entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Route) {
            const auto router = state.signals.find("router");
            entry.iSignalStrength = router == state.signals.end() ? 0 : router->second;
            state.ssid.copy(entry.unInfo.stRoute.acSSID, sizeof entry.unInfo.stRoute.acSSID);
        } else {
            entry.iSignalStrength = ChimeSignal(state, entry);
        }
    }
}

char *HeapText(const std::string &text) {
    char *copy = strdup(text.c_str());
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

} // namespace

void Hub::Change(const Json &changes) {
    ObjectReader v(changes, "hub");
    const std::lock_guard lock(mutex_);
    HubState next = state_;

    for (const Setting &row : kSettings) {
        v.Whole(row.key, next.*row.value);
    }
    ChangeIcrDss(v, next.icr_dss);
    if (v.Find("rules") != nullptr) {
        SetRules(next, ReadRules(v));
    }
    v.Whole("rules_version", next.rules_version);
    for (const RuleTextRow &row : kRuleTexts) {
        if (const Json *value = v.Find(row.key)) {
            SetText(next.*row.rules, value->is_null() ? std::nullopt : std::optional(AsText(*value)));
        }
    }
    ChangeSignals(v, next.signals);
    v.Text("ssid", sizeof(tqDevSDK_Smartcontrol_ap_signal_result::unInfo.stRoute.acSSID), next.ssid);
    v.Whole("recv_msg", next.recv_msg);
    v.Whole("on_get_runtime_info", next.on_get_runtime_info);
    v.Done();

    std::swap(state_, next);
}

int Hub::Receive(const tqDevSDK_SmartControl_msg_to_dev &message) {
    output_.Show(DeviceLine(message));

    const std::lock_guard lock(mutex_);
    if (state_.recv_msg != 0) {
        return state_.recv_msg;
    }
    for (const Setting &row : kSettings) {
        if (message.type == row.message) {
            state_.*row.value = As<UINT32>(message.data);
        }
    }
    for (const RuleTextRow &row : kRuleTexts) {
        if (message.type == row.message) {
            const char *text = As<tqDevSDK_SmartControl_Rule_S>(message.data).rule;
            SetText(state_.*row.rules, text == nullptr ? std::nullopt : std::optional<std::string>(text));
        }
    }
    if (message.type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS) {
        state_.icr_dss = As<tqDevSDK_SmartControl_msg_IcrDss_S>(message.data);
    }
    if (message.type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES) {
        SetRules(state_, CopyRules(As<tqDevSDK_SmartControl_ConfigRules>(message.data)));
    }
    return 0;
}

int Hub::Answer(tqDevSDK_SmartControl_runtime_info &info) {
    const std::lock_guard lock(mutex_);
    if (state_.on_get_runtime_info != 0) {
        return state_.on_get_runtime_info;
    }
    for (const Setting &row : kSettings) {
        if (info.type == row.query) {
            As<UINT32>(info.data) = state_.*row.value;
        }
    }
    for (const RuleTextRow &row : kRuleTexts) {
        if (info.type == row.query) {
            const RuleText &rules = state_.*row.rules;
            As<tqDevSDK_SmartControl_Rule_S>(info.data).uiVersion = rules.version;
            As<tqDevSDK_SmartControl_Rule_S>(info.data).rule = rules.text ? HeapText(*rules.text) : nullptr;
        }
    }
    if (info.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS) {
        auto &icr_dss = As<tqDevSDK_SmartControl_msg_IcrDss_S>(info.data);
        icr_dss.ucMode = state_.icr_dss.ucMode; // one by one: the padding stays as it was given
        icr_dss.ucSensitivity = state_.icr_dss.ucSensitivity;
        icr_dss.autoTime = state_.icr_dss.autoTime;
    }
    if (info.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES) {
        RuleSet rules = CopyRules(state_.rules ? *state_.rules : tqDevSDK_SmartControl_ConfigRules{});
        rules->uiVersion = state_.rules_version;
        info.data = reinterpret_cast<char *>(rules.release());
    }
    if (info.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC) {
        AnswerSignals(state_, As<tqDevSDK_Smartcontrol_ap_signal_info>(info.data));
    }
    return 0;
}

} // namespace tqgateway
