// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_func.h"
#include "SmartControl_shadow.h"
#include "SmartControl_shadow_rules_json.h"

// Bytes that the host's buffer for values holds; 0 when the host gives no bound.
#ifndef TQ_SHADOW_VALUE_CAPACITY
#define TQ_SHADOW_VALUE_CAPACITY 0
#endif

namespace {

constexpr std::size_t kValueCapacity = TQ_SHADOW_VALUE_CAPACITY;

// A rule set in the current frame; its arrays go with it.
struct LocalRules {
    LocalRules() = default;
    LocalRules(const LocalRules &) = delete;
    LocalRules &operator=(const LocalRules &) = delete;
    ~LocalRules() { Free_ConfigRules(&rules); }

    tqDevSDK_SmartControl_ConfigRules rules{};
};

// A rule set on the heap, as the application hands it over.
struct HeapRulesFree {
    void operator()(tqDevSDK_SmartControl_ConfigRules *rules) const {
        Free_ConfigRules(rules);
        free(rules);
    }
};
using HeapRules = std::unique_ptr<tqDevSDK_SmartControl_ConfigRules, HeapRulesFree>;

JsonText PrintRules(const tqDevSDK_SmartControl_ConfigRules &rules) {
    const JsonTree root(bscJSON_CreateArray());
    if (root == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_CreateArray\n");
        return nullptr;
    }
    if (!WriteConfigRules(root.get(), rules)) {
        return nullptr;
    }
    JsonText text(bscJSON_Print(root.get()));
    if (text == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_Print.\n");
    }
    return text;
}

} // namespace

int ParseSync_SmartControl_Rules(const tqDevSDK_Shadow_value_t *pValue,
                                 tqDevSDK_Shadow_ParseSync_Param_S *pstParam) {
    if (pValue == nullptr || pValue->value == nullptr || pstParam == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL input param.\n");
        return -1;
    }
    if (pValue->type != shd_data_type_array) {
        tqdev_debug(LOG_ERROR, " pValue type err.\n");
        return -1;
    }
    tqdev_debug(LOG_ERROR, "pcValueStr = %s\n", pValue->value);
    if (SmartControl_get_callback()->recv_msg == nullptr) {
        tqdev_debug(LOG_ERROR, "Error, SmartControl domain:recv_msg is NULL.\n");
        return -1;
    }
    tqdev_debug(LOG_DEBUG, "Shadow Service, Parse interconnection rules info.\n");
    const JsonTree root(bscJSON_Parse(pValue->value));
    if (root == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_Parse\n");
        return -1;
    }
    LocalRules local;
    if (!ReadConfigRules(root.get(), local.rules)) {
        return -1;
    }
    const int result = SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES, &local.rules, 0);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules\n");
    }
    return result;
}

int GenJson_SmartControl_Rules_Proc(tqDevSDK_Shadow_value_t *pValue,
                                    tqDevSDK_Shadow_GenValue_Param_S *pstParam) {
    if (pValue == nullptr || pstParam == nullptr || pValue->value == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL input param.\n");
        return -1;
    }
    const auto on_get_runtime_info = SmartControl_get_callback()->on_get_runtime_info;
    if (on_get_runtime_info == nullptr) {
        tqdev_debug(LOG_ERROR, "Error, SmartControl domain:on_get_runtime_info is NULL\n");
        return -1;
    }
    tqDevSDK_SmartControl_runtime_info query{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES, nullptr,
                                             0};
    const int result = on_get_runtime_info(&query);
    // Ours now, also when the application failed.
    const HeapRules rules(reinterpret_cast<tqDevSDK_SmartControl_ConfigRules *>(query.data));
    if (result != 0) {
        tqdev_debug(LOG_ERROR,
                    "Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc\n");
        return result;
    }

    constexpr tqDevSDK_SmartControl_ConfigRules kNoRules{};
    const tqDevSDK_SmartControl_ConfigRules &current = rules != nullptr ? *rules : kNoRules;
    pstParam->ucRstType = tqDevSDK_Shadow_GenValue_Type_Total;
    pstParam->uiVersion = current.uiVersion;

    const JsonText text = PrintRules(current);
    const std::size_t length = text != nullptr ? strlen(text.get()) : 0;
    if (text == nullptr || (kValueCapacity != 0 && length > kValueCapacity)) {
        tqdev_debug(LOG_ERROR, "Failed to GenJson_SmartControl_Rules.\n");
        return -1;
    }
    pValue->type = shd_data_type_array;
    pValue->length = static_cast<int32_t>(length);
    memcpy(pValue->value, text.get(), length);
    tqdev_debug(LOG_DEBUG, "GenJson_Trusteeship_Proc:%s\n", text.get());
    return 0;
}

void Free_ConfigRules(void *pData) {
    auto *rules = static_cast<tqDevSDK_SmartControl_ConfigRules *>(pData);
    if (rules == nullptr || rules->pstUnit == nullptr) {
        return;
    }
    for (UINT16 i = 0; i < rules->usNum; ++i) {
        tqDevSDK_SmartControl_ConfigRules_ValueUnit &unit = rules->pstUnit[i];
        if (unit.pstRuleUnit == nullptr) {
            continue;
        }
        for (UINT16 j = 0; j < unit.usNum; ++j) {
            free(unit.pstRuleUnit[j].pstActions);
            free(unit.pstRuleUnit[j].pstEvents);
        }
        free(unit.pstRuleUnit);
    }
    free(rules->pstUnit);
    *rules = {};
}
