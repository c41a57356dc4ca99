// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_xml_proc.h"

#include <new>

#include "MarkupSTL.h"
#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func.h"
#include "tqDevSDK_report_status.h"
#include "tqdev_time.h"

namespace {

constexpr const char *kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

// Content of "Result".
enum SetResult {
    kSetDone = 0,
    kSetUnknownKey = 2,
    kSetBadRequest = 3,
    kSetFailed = 4,
};

int SmartControl_xml_init_rsp(CMarkupSTL &msg) {
    msg.SetDoc(kDeclaration);
    msg.AddElem("Response");
    msg.IntoElem();
    msg.AddElem("Result", "0");
    return 0;
}

void SmartControl_xml_set_result(CMarkupSTL &rsp, int result) {
    if (!rsp.FindElem("Result", true)) {
        return;
    }
    char text[32];
    TextWriter(text).AddDecimal(result);
    rsp.SetData(text);
}

// ---- Setters: 0 when the application accepted the value, else -1 ----

bool ReadIcrDss(Members root, tqDevSDK_SmartControl_msg_IcrDss_S &setting) {
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

int ICR_DSS_SetVal(const char *pcValStr) {
    tqDevSDK_SmartControl_msg_IcrDss_S setting;
    memset(&setting, 0, sizeof setting); // the padding too: the record is compared bytewise
    if (GetReceiver() == nullptr) {
        return -1;
    }
    const JsonTree root(bscJSON_Parse(pcValStr));
    if (root == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to parse value string of icr dss:%s\n", pcValStr);
        return -1;
    }
    if (!ReadIcrDss(root.get(), setting)) {
        return -1;
    }
    if (SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS, &setting, kIcrDssLen) != 0) {
        tqdev_debug(LOG_ERROR, "Failed to set icr dss cfg.\n");
        return -1;
    }
    return 0;
}

int SetNumber(const char *pcValStr, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, const char *name) {
    if (GetReceiver() == nullptr) {
        return -1;
    }
    UINT32 value = ParseUnsigned(pcValStr);
    if (SendToDevice(type, value) != 0) {
        tqdev_debug(LOG_ERROR, "Failed to set %s cfg.\n", name);
        return -1;
    }
    return 0;
}

int ScreenOvertime_SetVal(const char *pcValStr) {
    return SetNumber(pcValStr, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME, "screen overtime");
}

int VideoTime_SetVal(const char *pcValStr) {
    return SetNumber(pcValStr, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME, "video time");
}

int AutoRouse_SetVal(const char *pcValStr) {
    return SetNumber(pcValStr, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE, "auto-rouse");
}

int ScreenLightness_SetVal(const char *pcValStr) {
    return SetNumber(pcValStr, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS, "screen-lightness");
}

struct Setting {
    const char *key;
    int (*set)(const char *value);
    TQDEVSDK_REPORT_STATUS_E status; // reported again after setting
};

constexpr Setting kSettings[] = {
    {kIcrDssKey, ICR_DSS_SetVal, TQDEVSDK_ReportDeviceIcrDss},
    {kScreenOvertimeKey, ScreenOvertime_SetVal, TQDEVSDK_ReportDeviceScreenOvertime},
    {kVideoTimeKey, VideoTime_SetVal, TQDEVSDK_ReportDeviceVideoTime},
    {kAutoRouseKey, AutoRouse_SetVal, TQDEVSDK_ReportDeviceScreenAutoRaise},
    {kScreenLightnessKey, ScreenLightness_SetVal, TQDEVSDK_ReportDeviceScreenLightness},
};

const Setting *FindSetting(const char *key) {
    for (const Setting &setting : kSettings) {
        if (strcmp(setting.key, key) == 0) {
            return &setting;
        }
    }
    return nullptr;
}

// ---- The exchange ----

// Sets what the request asks for; the content of "Result".
int SetRequestedKey(CMarkupSTL &req) {
    if (!req.FindElem("Type", true)) {
        tqdev_debug(LOG_ERROR, "Failed to find elem:Type.\n");
        return kSetBadRequest;
    }
    char key[64] = {};
    CopyText(key, req.GetData().c_str());
    if (!req.FindElem("Value", true)) {
        tqdev_debug(LOG_ERROR, "Failed to find elem:Value.\n");
        return kSetBadRequest;
    }
    const Setting *setting = FindSetting(key);
    if (setting == nullptr) {
        tqdev_debug(LOG_ERROR, "Invalid Key:%s\n", key);
        return kSetUnknownKey;
    }
    const std::string value = req.GetData();
    const int result = setting->set(value.c_str());
    // Also when setting failed: the platform shall know what the device actually has.
    tqDevSDK_report_set_force_report(setting->status);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to set key value, key=%s, value=%s\n", key, value.c_str());
        return kSetFailed;
    }
    return kSetDone;
}

int SetKeyValue(CMarkupSTL &req, CMarkupSTL &rsp) {
    const int result = SetRequestedKey(req);
    SmartControl_xml_set_result(rsp, result);
    return result;
}

// Parses the request and goes into its root, of either name; false, logged, when that fails.
bool EnterRequest(CMarkupSTL &req, const char *body, int iRspCmd) {
    if (!req.SetDoc(body)) {
        tqdev_debug(LOG_ERROR, "Failed to parse XML of smart control, while rsp_cmd = %#x\n",
                    static_cast<unsigned>(iRspCmd));
        return false;
    }
    if (!req.FindElem("Request", true) && !req.FindElem("Response", true)) {
        tqdev_debug(LOG_ERROR, "Can not find Request or Response about smart control, while rsp_cmd = %#x\n",
                    static_cast<unsigned>(iRspCmd));
        return false;
    }
    return req.IntoElem();
}

int SendNothing(int iRspCmd) {
    tqdev_debug(LOG_DEBUG, "SmartControl XML Proc: rsp_cmd=%#x, No rsp msg, Ret=%d.\n",
                static_cast<unsigned>(iRspCmd), -1);
    return -1;
}

int HandleKeyValue(int iRspCmd, bool answer, UINT32 uiMsgSeq, const char *body) {
    CMarkupSTL req;
    CMarkupSTL rsp;
    SmartControl_xml_init_rsp(rsp);
    if (!EnterRequest(req, body, iRspCmd)) {
        SmartControl_xml_set_result(rsp, kSetBadRequest);
        if (!answer) {
            return SendNothing(iRspCmd);
        }
    } else {
        // Into the request: the answer carries its sequence number outside the document only.
        req.AddElem("UserDefine");
        req.SetAttrib("MsgSeq", static_cast<int>(uiMsgSeq));
        if (!answer) {
            tqdev_debug(LOG_DEBUG, "Invalid cmdid in SmartControl XML Rsp Proc:%#x\n",
                        static_cast<unsigned>(iRspCmd));
            return SendNothing(iRspCmd);
        }
        if (iRspCmd == kCenPlt2PuSetKeyValueRsp) {
            SetKeyValue(req, rsp);
        } else {
            // Whoever sends an unexpected command gets the 0 that is in place.
            tqdev_debug(LOG_DEBUG, "Invalid cmdid in SmartControl XML Req Proc:%#x\n",
                        static_cast<unsigned>(iRspCmd));
        }
    }
    return SmartControl_send_msg_to_platform(rsp.GetDoc().c_str(), iRspCmd, kReplyVersion, 1, uiMsgSeq);
}

} // namespace

int SmartControl_xml_init_req(CMarkupSTL &msg) {
    msg.SetDoc(kDeclaration);
    msg.AddElem("Request");
    msg.IntoElem();
    return 0;
}

int SmartControl_BusPlatform_XmlHandle_ReqAndRsp(int iRspCmd, UINT8 ucIsReq, UINT32 uiMsgSeq,
                                                 const char *acStrBuf) {
    try {
        return HandleKeyValue(iRspCmd, ucIsReq == 1, uiMsgSeq, acStrBuf);
    } catch (const std::bad_alloc &) {
        return -1;
    }
}
