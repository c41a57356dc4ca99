// SPDX-License-Identifier: Apache-2.0
// Linkage rules between the shadow and the application.
#include "SmartControl_shadow_rules.h"

#include "SmartControl_enum.h"
#include "SmartControl_func_object.h"
#include "SmartControl_shadow_rules_json.h"

// Bytes that the host's buffer for values holds; 0 when the host gives no bound.
#ifndef TQ_SHADOW_VALUE_CAPACITY
#define TQ_SHADOW_VALUE_CAPACITY 0
#endif

namespace {

constexpr std::size_t kValueCapacity = TQ_SHADOW_VALUE_CAPACITY;

// A rule set that was parsed; its arrays go with it.
struct ParsedRules {
    ParsedRules() = default;
    ParsedRules(const ParsedRules &) = delete;
    ParsedRules &operator=(const ParsedRules &) = delete;
    ~ParsedRules() { Free_ConfigRules(&rules); }

    tqDevSDK_SmartControl_ConfigRules rules{};
};

// Lends a rule set to the application: copies of the records that count rules, so that releasing the set goes
// by what was built, whatever the application writes into the counts. Nothing, logged, without memory.
std::optional<int> LendRules(const tqDevSDK_SmartControl_ConfigRules &rules) {
    const std::size_t size = rules.usNum * sizeof *rules.pstUnit;
    const std::unique_ptr<void, MemoryFree> units(malloc(size));
    if (units == nullptr) {
        Fail("Failed to calloc memory!");
        return std::nullopt;
    }
    memcpy(units.get(), rules.pstUnit, size);
    tqDevSDK_SmartControl_ConfigRules lent = rules;
    lent.pstUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_ValueUnit *>(units.get());
    return SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES, &lent, 0);
}

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
        Fail("Failed to bscJSON_CreateArray");
        return nullptr;
    }
    if (!WriteConfigRules(root.get(), rules)) {
        return nullptr;
    }
    JsonText text(bscJSON_Print(root.get()));
    if (text == nullptr) {
        Fail("Failed to bscJSON_Print.");
    }
    return text;
}

} // namespace

int ParseSync_SmartControl_Rules(const tqDevSDK_Shadow_value_t *pValue,
                                 tqDevSDK_Shadow_ParseSync_Param_S *pstParam) {
    if (pValue == nullptr || pValue->value == nullptr || pstParam == nullptr) {
        Fail("NULL input param.");
        return -1;
    }
    if (NumberOf(pValue->type) != shd_data_type_array) {
        Fail(" pValue type err.");
        return -1;
    }
    tqdev_debug(LOG_ERROR, "pcValueStr = %s\n", pValue->value);
    if (!HasReceiver("Error, SmartControl domain:recv_msg is NULL.")) {
        return -1;
    }
    tqdev_debug(LOG_DEBUG, "Shadow Service, Parse interconnection rules info.\n");
    const JsonTree root(bscJSON_Parse(pValue->value));
    if (root == nullptr) {
        Fail("Failed to bscJSON_Parse");
        return -1;
    }
    ParsedRules parsed;
    if (!ReadConfigRules(root.get(), parsed.rules)) {
        return -1;
    }
    const std::optional<int> result = LendRules(parsed.rules);
    if (result.has_value() && *result != 0) {
        Fail("Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules");
    }
    return result.value_or(-1);
}

int GenJson_SmartControl_Rules_Proc(tqDevSDK_Shadow_value_t *pValue,
                                    tqDevSDK_Shadow_GenValue_Param_S *pstParam) {
    if (pValue == nullptr || pstParam == nullptr || pValue->value == nullptr) {
        Fail("NULL input param.");
        return -1;
    }
    tqDevSDK_SmartControl_runtime_info question{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES, nullptr,
                                                0};
    const std::optional<int> result = Ask(question, "Error, SmartControl domain:on_get_runtime_info is NULL");
    if (!result.has_value()) {
        return -1;
    }
    // Ours now, also when the application failed.
    const HeapRules rules(reinterpret_cast<tqDevSDK_SmartControl_ConfigRules *>(question.data));
    if (*result != 0) {
        Fail("Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc");
        return *result;
    }

    constexpr tqDevSDK_SmartControl_ConfigRules kNoRules{};
    const tqDevSDK_SmartControl_ConfigRules &current = rules != nullptr ? *rules : kNoRules;
    pstParam->ucRstType = tqDevSDK_Shadow_GenValue_Type_Total;
    pstParam->uiVersion = current.uiVersion;

    const JsonText text = PrintRules(current);
    const std::size_t length = text != nullptr ? strlen(text.get()) : 0;
    if (text == nullptr || (kValueCapacity != 0 && length > kValueCapacity)) {
        Fail("Failed to GenJson_SmartControl_Rules.");
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
