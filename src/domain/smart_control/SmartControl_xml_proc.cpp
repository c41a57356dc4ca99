// SPDX-License-Identifier: Apache-2.0
// The set-key-value exchange: reads the request, sets the setting, answers.
#include "SmartControl_xml_proc.h"

#include <new>

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_log.h"
#include "SmartControl_text.h"
#include "SmartControl_xml_document.h"
#include "SmartControl_xml_proc_settings.h"

namespace {

// Content of "Result".
enum SetResult {
    kSetDone = 0,
    kSetUnknownKey = 2,
    kSetBadRequest = 3,
    kSetFailed = 4,
};

// Sets what the request asks for.
SetResult SetKeyValue(CMarkupSTL &req) {
    if (!req.FindElem("Type", true)) {
        Fail("Failed to find elem:Type.");
        return kSetBadRequest;
    }
    char key[64];
    CopyText(key, req.GetData().c_str());
    if (!req.FindElem("Value", true)) {
        Fail("Failed to find elem:Value.");
        return kSetBadRequest;
    }
    const Setting *setting = FindSetting(key);
    if (setting == nullptr) {
        tqdev_debug(LOG_ERROR, "Invalid Key:%s\n", key);
        return kSetUnknownKey;
    }
    const std::string value = req.GetData();
    const bool set = SetValue(*setting, value.c_str());
    // Also when setting failed: the platform shall know what the device actually has.
    tqDevSDK_report_set_force_report(setting->status);
    if (!set) {
        tqdev_debug(LOG_ERROR, "Failed to set key value, key=%s, value=%s\n", key, value.c_str());
        return kSetFailed;
    }
    return kSetDone;
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
    req.IntoElem();
    return true;
}

SetResult HandleMessage(int iRspCmd, bool is_request, UINT32 uiMsgSeq, const char *body) {
    CMarkupSTL req;
    if (!EnterRequest(req, body, iRspCmd)) {
        return kSetBadRequest;
    }
    // Into the request: the answer carries its sequence number outside the document only.
    req.AddElem("UserDefine");
    req.SetAttrib("MsgSeq", static_cast<int>(uiMsgSeq));
    if (is_request && iRspCmd == kCenPlt2PuSetKeyValueRsp) {
        return SetKeyValue(req);
    }
    // Whoever sends an unexpected command is told that all is well.
    tqdev_debug(LOG_DEBUG, "Invalid cmdid in SmartControl XML %s Proc:%#x\n", is_request ? "Req" : "Rsp",
                static_cast<unsigned>(iRspCmd));
    return kSetDone;
}

int Answer(int iRspCmd, UINT32 uiMsgSeq, SetResult result) {
    CMarkupSTL rsp;
    StartDocument(rsp, "Response");
    rsp.AddElem("Result", DecimalText(int32_t{result}));
    return SmartControl_send_msg_to_platform(rsp.GetDoc().c_str(), iRspCmd, kReplyVersion, 1, uiMsgSeq);
}

} // namespace

int SmartControl_BusPlatform_XmlHandle_ReqAndRsp(int iRspCmd, UINT8 ucIsReq, UINT32 uiMsgSeq,
                                                 const char *acStrBuf) {
    const bool is_request = ucIsReq == 1;
    SetResult result = kSetDone;
    try {
        result = HandleMessage(iRspCmd, is_request, uiMsgSeq, acStrBuf);
    } catch (const std::bad_alloc &) {
        Fail("No memory: a setting message is not answered, nothing was set.");
        return -1;
    }
    if (!is_request) {
        tqdev_debug(LOG_DEBUG, "SmartControl XML Proc: rsp_cmd=%#x, No rsp msg, Ret=%d.\n",
                    static_cast<unsigned>(iRspCmd), -1);
        return -1;
    }
    try {
        return Answer(iRspCmd, uiMsgSeq, result);
    } catch (const std::bad_alloc &) {
        const bool applied = result == kSetDone && iRspCmd == kCenPlt2PuSetKeyValueRsp;
        Fail(applied ? "No memory: a setting was applied and is not answered."
                     : "No memory: a setting message is not answered, nothing was set.");
        return -1;
    }
}
