// SPDX-License-Identifier: Apache-2.0
// Device settings: their table, how a value is read and handed over, and their status items.
#include "SmartControl_xml_proc_settings.h"

#include <new>
#include <utility>

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func_object.h"
#include "SmartControl_json.h"
#include "SmartControl_log.h"
#include "SmartControl_xml_document.h"
#include "tqdev_sdk_kernel.h"
#include "tqdev_time.h"

namespace {

using IcrDss = tqDevSDK_SmartControl_msg_IcrDss_S;

// A value on its way. Records are compared bytewise, so the padding is kept zero.
union Value {
    UINT32 number;
    IcrDss icr_dss;
};

} // namespace

struct SettingKind {
    int size; ///< Of the record, and `len` in both callbacks.
    bool (*parse)(const char *text, Value &value);
    int (*report)(const Setting &setting); ///< May throw std::bad_alloc.
};

namespace {

// Sends a setting in the form that SetAttrib gives the value.
template <typename Attribute>
int SendSetting(const char *key, Attribute value) {
    CMarkupSTL msg;
    StartDocument(msg, "Request");
    msg.AddElem("DevSerial", TextOrEmpty(tqdev_sdk_kernel_getdevinfo_bykey("dev_subserial")));
    msg.AddElem("Authorization", "");
    msg.AddElem("Status");
    msg.SetAttrib("Type", key);
    msg.SetAttrib("Value", value);
    const std::string text = msg.GetDoc();
    return SmartControl_send_msg_to_platform(text.c_str(), kPu2CenPltReportKeyValueReq, kReplyVersion, 0,
                                             GetNextSeqNum());
}

// ---- Numbers ----

bool ParseNumber(const char *text, Value &value) {
    value.number = ParseUnsigned(text);
    return true;
}

int ReportNumber(const Setting &setting) {
    // The attribute is signed: numbers above 2147483647 are reported as negative ones.
    return SendSetting(setting.key, static_cast<int>(*static_cast<const UINT32 *>(setting.cache)));
}

constexpr SettingKind kNumber{sizeof(UINT32), ParseNumber, ReportNumber};

// ---- Day/night: a record, as JSON in the XML ----

bool ReadIcrDss(Members root, IcrDss &setting) {
    if (!ReadItem(root, "mode", setting.ucMode) || !ReadItem(root, "sensitivity", setting.ucSensitivity)) {
        return false;
    }
    if (const bscJSON *begin = root.Find("autoTimeBegin"); begin != nullptr) {
        setting.autoTime.begin = static_cast<int32_t>(tqdev_ParseTimeHHMM(TextOf(begin)));
    }
    if (const bscJSON *end = root.Find("autoTimeEnd"); end != nullptr) {
        setting.autoTime.end = static_cast<int32_t>(tqdev_ParseTimeHHMM(TextOf(end)));
    }
    return true;
}

bool ParseIcrDss(const char *text, Value &value) {
    const JsonTree root(bscJSON_Parse(text));
    if (root == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to parse value string of icr dss:%s\n", text);
        return false;
    }
    return ReadIcrDss(root.get(), value.icr_dss);
}

bool WriteIcrDss(bscJSON *root, const IcrDss &setting) {
    return WriteItem(root, "mode", setting.ucMode) && WriteItem(root, "sensitivity", setting.ucSensitivity) &&
           WriteItem(root, "autoTimeBegin", tqdev_MakeTimeHHMM(setting.autoTime.begin).c_str()) &&
           WriteItem(root, "autoTimeEnd", tqdev_MakeTimeHHMM(setting.autoTime.end).c_str());
}

int ReportIcrDss(const Setting &setting) {
    const JsonTree root(bscJSON_CreateObject());
    if (root == nullptr || !WriteIcrDss(root.get(), *static_cast<const IcrDss *>(setting.cache))) {
        Fail("Failed to create json object.");
        return -1;
    }
    const JsonText text(bscJSON_Print(root.get()));
    if (text == nullptr) {
        Fail("Failed to gen string from cjson object.");
        return -1;
    }
    return SendSetting(setting.key, static_cast<const char *>(text.get()));
}

constexpr SettingKind kDayNight{sizeof(IcrDss), ParseIcrDss, ReportIcrDss};
static_assert(sizeof(IcrDss) == 12);

// ---- The table ----

// At load only the mode of the day/night record is out of range; a reset fills every byte.
IcrDss g_stIcrDss = {255, 0, {0, 0}};
UINT32 g_uiScreenOvertime = UINT32_MAX;
UINT32 g_uiVideoRecTime = UINT32_MAX;
UINT32 g_ScreenAutoRouse = UINT32_MAX;
UINT32 g_ScreenLightness = UINT32_MAX;

constexpr Setting kSettings[] = {
    {"device_ICR_DSS", "icr dss", TQDEVSDK_ReportDeviceIcrDss, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS, &kDayNight, &g_stIcrDss},
    {"device_screen_overtime", "screen overtime", TQDEVSDK_ReportDeviceScreenOvertime,
     TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME, &kNumber, &g_uiScreenOvertime},
    {"device_video_time", "video time", TQDEVSDK_ReportDeviceVideoTime,
     TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_VIDEO_TIME,
     &kNumber, &g_uiVideoRecTime},
    {"device_auto_rouse", "auto-rouse", TQDEVSDK_ReportDeviceScreenAutoRaise,
     TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_AUTO_ROUSE, &kNumber, &g_ScreenAutoRouse},
    {"device_screen_lightness", "screen-lightness", TQDEVSDK_ReportDeviceScreenLightness,
     TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS,
     TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS, &kNumber, &g_ScreenLightness},
};

// ---- Status items ----

int HasChanged(const Setting &setting) {
    Value value;
    memset(&value, 0, sizeof value);
    if (const std::optional<int> result = Ask(setting.query, value, setting.kind->size); result != 0) {
        return ChangeWithoutAnswer(result);
    }
    const auto size = static_cast<std::size_t>(setting.kind->size);
    if (memcmp(&value, setting.cache, size) == 0) { // bytewise: the padding counts
        return 0;
    }
    memcpy(setting.cache, &value, size);
    return 1;
}

int ReportLastSeen(const Setting &setting) {
    try {
        return setting.kind->report(setting);
    } catch (const std::bad_alloc &) {
        tqdev_debug(LOG_ERROR, "No memory to report setting:%s\n", setting.key);
        return -1;
    }
}

// The service calls functions without a context: each row has three of its own.

template <std::size_t row>
int IsChanged() {
    return HasChanged(kSettings[row]);
}

template <std::size_t row>
int Report(int /*force*/) { // a forced report and an ordinary one are the same
    return ReportLastSeen(kSettings[row]);
}

template <std::size_t row>
int Reset() {
    memset(kSettings[row].cache, 0xFF, static_cast<std::size_t>(kSettings[row].kind->size));
    return 0;
}

struct Items {
    StatusItem items[std::size(kSettings)];
};

template <std::size_t... row>
constexpr Items MakeItems(std::index_sequence<row...>) {
    return {{{kSettings[row].status, IsChanged<row>, Report<row>, Reset<row>}...}};
}

constexpr Items kItems = MakeItems(std::make_index_sequence<std::size(kSettings)>());

} // namespace

Rows<Setting> Settings() {
    return Rows(kSettings);
}

Rows<StatusItem> SettingItems() {
    return Rows(kItems.items);
}

const Setting *FindSetting(const char *key) {
    for (const Setting &setting : kSettings) {
        if (strcmp(setting.key, key) == 0) {
            return &setting;
        }
    }
    return nullptr;
}

bool SetValue(const Setting &setting, const char *text) {
    Value value;
    memset(&value, 0, sizeof value);
    if (!HasReceiver() || !setting.kind->parse(text, value)) {
        return false;
    }
    if (SendToDevice(setting.message, &value, setting.kind->size) != 0) {
        tqdev_debug(LOG_ERROR, "Failed to set %s cfg.\n", setting.name);
        return false;
    }
    return true;
}
