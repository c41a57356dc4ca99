// SPDX-License-Identifier: Apache-2.0
// Scene rules and AI rules between the shadow and the application.
#include "SmartControl_shadow_text.h"

#include "SmartControl_func_object.h"
#include "SmartControl_json.h"

namespace {

// A text that is this long, or longer, is not reported.
constexpr std::size_t kRuleTextLimit = 16384;

// One direction of one key. The failure lines of the scene rules name the functions of the linkage rules.

struct ToDevice {
    const char *name;
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E message;
    LOG_DEBUG_LEVEL value_level;
    bool len_is_text; // `len` is the length of the text, else the size of the record
    const char *failure;
};

struct ToCloud {
    const char *name;
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E query;
    const char *failure;
};

constexpr ToDevice kLinkToDevice{"CenPlt2PuParseJsonSetLinkRuleReq",
                                 TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES, LOG_ERROR, false,
                                 "Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules"};
constexpr ToDevice kAiToDevice{"CenPlt2PuParseJsonSetAiRuleReq",
                               TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES, LOG_DEBUG, true,
                               "Failed to send msg to dev in shadow by CenPlt2PuParseJsonSetAiRuleReq"};
constexpr ToCloud kLinkToCloud{"Pu2CenPltMakeJsonLinkRuleReq",
                               TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES,
                               "Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc"};
constexpr ToCloud kAiToCloud{"Pu2CenPltMakeJsonAiRuleReq", TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES,
                             "Failed to get on_run_time_info of shadow by Pu2CenPltMakeJsonAiRuleReq"};

int HandToDevice(const ToDevice &way, const tqDevSDK_Shadow_value_t *value) {
    tqdev_debug(LOG_ERROR, "%s\n", way.name);
    if (value == nullptr || value->value == nullptr) {
        Fail("NULL input param.");
        return -1;
    }
    tqdev_debug(way.value_level, "pcValueStr = %s\n", value->value);
    if (!HasReceiver("Error, SmartControl domain:recv_msg is NULL.")) {
        return -1;
    }
    tqDevSDK_SmartControl_Rule_S record{0, value->value};
    const int len = way.len_is_text ? static_cast<int>(strlen(value->value)) : kRuleRecordLen;
    const int result = SendToDevice(way.message, &record, len).value_or(-1);
    if (result != 0) {
        Fail(way.failure);
    }
    return result;
}

JsonText PrintEmptyObject() {
    const JsonTree object(bscJSON_CreateObject());
    if (object == nullptr) {
        Fail("bscJSON_CreateObject fail");
        return nullptr;
    }
    JsonText text(bscJSON_PrintUnformatted(object.get()));
    if (text == nullptr) {
        Fail("bscJSON_PrintUnformatted fail");
    }
    return text;
}

int MakeForCloud(const ToCloud &way, tqDevSDK_Shadow_value_t *value,
                 tqDevSDK_Shadow_GenValue_Param_S *param) {
    tqdev_debug(LOG_ERROR, "%s\n", way.name);
    if (value == nullptr || param == nullptr || value->value == nullptr) {
        Fail("NULL input param.");
        return -1;
    }
    tqDevSDK_SmartControl_Rule_S record{};
    const std::optional<int> result =
        Ask(way.query, record, 0, "Error, SmartControl domain:on_get_runtime_info is NULL");
    if (!result.has_value()) {
        return -1;
    }
    JsonText text(record.rule); // ours now, also when the application failed
    if (*result != 0) {
        Fail(way.failure);
        return *result;
    }

    param->uiVersion = record.uiVersion;
    param->ucRstType = tqDevSDK_Shadow_GenValue_Type_Total;
    value->type = shd_data_type_string;
    value->length = 0;
    if (text == nullptr) {
        text = PrintEmptyObject();
    }
    if (text == nullptr) {
        return 0;
    }
    const std::size_t length = strlen(text.get());
    if (length >= kRuleTextLimit) {
        Fail("rule is more large");
        return 0;
    }
    memcpy(value->value, text.get(), length);
    value->length = static_cast<int32_t>(length);
    tqdev_debug(LOG_DEBUG, "%s value:%s\n", way.name, text.get());
    return 0;
}

} // namespace

int CenPlt2PuParseJsonSetLinkRuleReq(const tqDevSDK_Shadow_value_t *pValue,
                                     tqDevSDK_Shadow_ParseSync_Param_S *) {
    return HandToDevice(kLinkToDevice, pValue);
}

int CenPlt2PuParseJsonSetAiRuleReq(const tqDevSDK_Shadow_value_t *pValue,
                                   tqDevSDK_Shadow_ParseSync_Param_S *) {
    return HandToDevice(kAiToDevice, pValue);
}

int Pu2CenPltMakeJsonLinkRuleReq(tqDevSDK_Shadow_value_t *pValue,
                                 tqDevSDK_Shadow_GenValue_Param_S *pstParam) {
    return MakeForCloud(kLinkToCloud, pValue, pstParam);
}

int Pu2CenPltMakeJsonAiRuleReq(tqDevSDK_Shadow_value_t *pValue, tqDevSDK_Shadow_GenValue_Param_S *pstParam) {
    return MakeForCloud(kAiToCloud, pValue, pstParam);
}
