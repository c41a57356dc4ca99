// SPDX-License-Identifier: Apache-2.0
#include <new>

#include "MarkupSTL.h"
#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func.h"
#include "SmartControl_shadow.h"
#include "SmartControl_xml_proc.h"
#include "tqdev_sdk_kernel.h"
#include "tqdev_time.h"

namespace {

// ---- Queries ----

// What a query without a new value makes of IsChanged.
constexpr int kUnchanged = 0;
constexpr int kAskAgain = -1;

// Asks the application. True when the record was filled; otherwise `outcome` is the result of IsChanged.
bool Query(TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E type, void *record, int len, int &outcome) {
    outcome = kUnchanged;
    const auto on_get_runtime_info = SmartControl_get_callback()->on_get_runtime_info;
    if (on_get_runtime_info == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL cb func of getting runtime info.\n");
        return false;
    }
    tqDevSDK_SmartControl_runtime_info info{type, static_cast<char *>(record), len};
    const int result = on_get_runtime_info(&info);
    if (result != 0 && (result & 0xFFF) == 4) {
        outcome = kAskAgain;
    }
    return result == 0;
}

// ---- Reports ----

// Sends a setting in the form that SetAttrib gives the value.
template <typename Value>
int SendSetting(const char *key, Value value) {
    CMarkupSTL msg;
    SmartControl_xml_init_req(msg);
    msg.AddElem("DevSerial", TextOrEmpty(tqdev_sdk_kernel_getdevinfo_bykey("dev_subserial")));
    msg.AddElem("Authorization", "");
    msg.AddElem("Status");
    msg.SetAttrib("Type", key);
    msg.SetAttrib("Value", value);
    const std::string text = msg.GetDoc();
    return SmartControl_send_msg_to_platform(text.c_str(), kPu2CenPltReportKeyValueReq, kReplyVersion, 0,
                                             GetNextSeqNum());
}

// ---- Number settings ----

// Four items differ in these values only.
struct NumberItem {
    const char *key;
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E query;
    UINT32 *cache; // the value seen last, which is the one reported
};

constexpr UINT32 kNoNumber = UINT32_MAX; // at load and after a reset

UINT32 g_uiScreenOvertime = kNoNumber;
UINT32 g_uiVideoRecTime = kNoNumber;
UINT32 g_ScreenAutoRouse = kNoNumber;
UINT32 g_ScreenLightness = kNoNumber;

constexpr NumberItem kScreenOvertime{
    kScreenOvertimeKey, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME, &g_uiScreenOvertime};
constexpr NumberItem kVideoRecTime{kVideoTimeKey, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_VIDEO_TIME,
                                   &g_uiVideoRecTime};
constexpr NumberItem kScreenAutoRouse{
    kAutoRouseKey, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_AUTO_ROUSE, &g_ScreenAutoRouse};
constexpr NumberItem kScreenLightness{
    kScreenLightnessKey, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS, &g_ScreenLightness};

int IsChanged(const NumberItem &item) {
    UINT32 value = 0;
    int outcome = 0;
    if (!Query(item.query, &value, static_cast<int>(sizeof value), outcome)) {
        return outcome;
    }
    if (value == *item.cache) {
        return kUnchanged;
    }
    *item.cache = value;
    return 1;
}

int Report(const NumberItem &item) {
    try {
        // The attribute is signed: numbers above 2147483647 are reported as negative ones.
        return SendSetting(item.key, static_cast<int>(*item.cache));
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

int Reset(const NumberItem &item) {
    *item.cache = kNoNumber;
    return 0;
}

// ---- Day/night setting ----

// Only the mode is out of range at load; a reset fills every byte.
tqDevSDK_SmartControl_msg_IcrDss_S g_stIcrDss = {255, 0, {0, 0}};
static_assert(sizeof g_stIcrDss == kIcrDssLen);

int ReportIcrDss() {
    const JsonTree object(bscJSON_CreateObject());
    if (object == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to create json object.\n");
        return -1;
    }
    WriteItem(object.get(), "mode", g_stIcrDss.ucMode);
    WriteItem(object.get(), "sensitivity", g_stIcrDss.ucSensitivity);
    WriteItem(object.get(), "autoTimeBegin", tqdev_MakeTimeHHMM(g_stIcrDss.autoTime.begin).c_str());
    WriteItem(object.get(), "autoTimeEnd", tqdev_MakeTimeHHMM(g_stIcrDss.autoTime.end).c_str());
    const JsonText text(bscJSON_Print(object.get()));
    if (text == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to gen string from cjson object.\n");
        return -1;
    }
    return SendSetting(kIcrDssKey, static_cast<const char *>(text.get()));
}

// ---- Rule texts ----

// Two items differ in these values only. A cached text is the module's; it is freed by Reset, not by fini.
struct RuleItem {
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E query;
    char **cache;
    SMART_CONTROL_SHADOW_STATUS_TYPE_E push;
};

char *g_pSceneRule = nullptr;
char *g_pAiRule = nullptr;

constexpr RuleItem kSceneRule{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES, &g_pSceneRule,
                              SMART_CONTROL_SCENE_RULE_REQ};
constexpr RuleItem kAiRule{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES, &g_pAiRule,
                           SMART_CONTROL_AI_RULE_REQ};

int IsChanged(const RuleItem &item) {
    tqDevSDK_SmartControl_Rule_S record{};
    int outcome = 0;
    if (!Query(item.query, &record, kRuleRecordLen, outcome)) {
        return outcome;
    }
    if (record.rule == nullptr) {
        return kUnchanged;
    }
    // The platform relies on this sense: a text counts as changed when it is the first one or equal to the
    // cached one. A different one is dropped, and stays with nobody.
    if (*item.cache != nullptr && strcmp(*item.cache, record.rule) != 0) {
        return kUnchanged;
    }
    if (*item.cache != record.rule) { // or the application gave the same memory again
        free(*item.cache);
    }
    *item.cache = record.rule;
    return 1;
}

int Report(const RuleItem &item, int iForce) {
    // A forced report has nothing to push: the shadow has the text of the last change.
    return iForce != 0 ? 0 : smart_control_shadow_push_status(item.push);
}

int Reset(const RuleItem &item) {
    free(*item.cache);
    *item.cache = nullptr;
    return 0;
}

} // namespace

// A forced report of a setting and an ordinary one are the same.

int ICR_DSS_IsChanged() {
    tqDevSDK_SmartControl_msg_IcrDss_S setting;
    memset(&setting, 0, sizeof setting);
    int outcome = 0;
    if (!Query(TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS, &setting, kIcrDssLen, outcome)) {
        return outcome;
    }
    // Bytewise: the padding counts.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c)
    if (memcmp(&setting, &g_stIcrDss, sizeof setting) == 0) {
        return kUnchanged;
    }
    memcpy(&g_stIcrDss, &setting, sizeof setting);
    return 1;
}

int ICR_DSS_Report(int) {
    try {
        return ReportIcrDss();
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

int ICR_DSS_Reset() {
    memset(&g_stIcrDss, 0xFF, sizeof g_stIcrDss);
    return 0;
}

int ScreenOvertime_IsChanged() {
    return IsChanged(kScreenOvertime);
}
int ScreenOvertime_Report(int) {
    return Report(kScreenOvertime);
}
int ScreenOvertime_Reset() {
    return Reset(kScreenOvertime);
}

int VideoRecTime_IsChanged() {
    return IsChanged(kVideoRecTime);
}
int VideoRecTime_Report(int) {
    return Report(kVideoRecTime);
}
int VideoRecTime_Reset() {
    return Reset(kVideoRecTime);
}

int ScreenAutoRouse_IsChanged() {
    return IsChanged(kScreenAutoRouse);
}
int ScreenAutoRouse_Report(int) {
    return Report(kScreenAutoRouse);
}
int ScreenAutoRouse_Reset() {
    return Reset(kScreenAutoRouse);
}

int ScreenLightness_IsChanged() {
    return IsChanged(kScreenLightness);
}
int ScreenLightness_Report(int) {
    return Report(kScreenLightness);
}
int ScreenLightness_Reset() {
    return Reset(kScreenLightness);
}

int SceneRule_IsChanged() {
    return IsChanged(kSceneRule);
}
int SceneRule_Report(int iForce) {
    return Report(kSceneRule, iForce);
}
int SceneRule_Reset() {
    return Reset(kSceneRule);
}

int AiRule_IsChanged() {
    return IsChanged(kAiRule);
}
int AiRule_Report(int iForce) {
    return Report(kAiRule, iForce);
}
int AiRule_Reset() {
    return Reset(kAiRule);
}
