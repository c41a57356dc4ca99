// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func.h
/// The module object, the handlers of platform commands and the reports to the platform.
#ifndef SMARTCONTROL_FUNC_H
#define SMARTCONTROL_FUNC_H

#include "SmartControl_json.h"
#include "tqDevSDK_SmartControl_def.h"

// ---- Module object ----

/// Stores the callbacks and registers the status items; does nothing when that was done.
void SmartControl_user_init(const tqDevSDK_SmartControl_callback *cb);

/// Removes the status items and zeroes the module object.
void SmartControl_user_fini(void);

/// True between SmartControl_user_init and SmartControl_user_fini.
bool SmartControl_is_inited(void);

/// The application's callbacks; never null, its members are null outside init and fini.
const tqDevSDK_SmartControl_callback *SmartControl_get_callback(void);

/// The number of the next message that the device originates: 0 after load and after fini.
UINT32 GetNextSeqNum(void);

/// The application's `recv_msg`; logs when it is null.
using RecvMsg = int (*)(tqDevSDK_SmartControl_msg_to_dev *msg);
RecvMsg GetReceiver(void);

/// Lends a record to the application's `recv_msg`; its result, -1 without the callback.
int SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, void *data, int len);

/// The same for a record whose size is its length.
template <typename Record>
int SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, Record &record) {
    return SendToDevice(type, &record, static_cast<int>(sizeof record));
}

// ---- Platform commands (SmartControl_func_action, SmartControl_func_chime) ----

/// The attributes that all device actions share.
struct DoAction_Common_Attr_S {
    UINT32 uiChannel;
    UINT32 uiDelay;
    char *pcExtra; ///< Heap text, "" when the request had none.
    UINT32 uiValueNum;
    UINT32 auiValue[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX]; ///< Unused entries are 0.
};

/// Reads the common attributes into a new heap record. 0, or -1 with `*out` untouched.
int DoAction_ParseCommonAttr(const bscJSON *root, DoAction_Common_Attr_S **out);

/// Frees the record and its text; null is allowed.
void DoAction_FreeCommonAttr(DoAction_Common_Attr_S *attr);

/// Writes the response body {"result": n}, cut to the buffer. 0, or -1 without memory.
int FillCommonResp(char *buffer, UINT32 size, int result);

// Request handlers, SmartControl_handle_platform_req_and_rsp each. The first four answer a request with
// bad attributes with result -1; a failed chime alarm is not answered.
int SetDevCaptureReq(const char *req, char *rsp, UINT32 rsp_size);
int SetDevVideoReq(const char *req, char *rsp, UINT32 rsp_size);
int SetDevPicAndVideoReq(const char *req, char *rsp, UINT32 rsp_size);
int SetDevSleepReq(const char *req, char *rsp, UINT32 rsp_size);
int SetChimeAlarmAction(const char *req, char *rsp, UINT32 rsp_size);

/// Serves "ExecManualScene". `*reply` receives a heap text, also on most failures; the caller frees it.
int ReportManualScene(const char *json, int len, char **reply);

/// Serves the signal query and answers it itself; always 0, failures give no answer.
int QueryChimeSignalReq(const char *req, int req_len, UINT32 seq);

// ---- Reports (SmartControl_func_report_…): 0 sent, -1 local failure, else the sender's result ----

int ReportEventReqToPlt(const tqDevSDK_SmartControl_Event *event);
int ReportActionResultToPlt(const tqDevSDK_SmartControl_Info_ActionResult *result);
int ReportUndoneActionsToPlt(const tqDevSDK_SmartControl_UndoneActions_S *acts);
int ReportUndoneActionsToPltV3(const tqDevSDK_SmartControl_UndoneActions_V3_S *acts);
int ReportUndoneSceneToPltV3(const tqDevSDK_SmartControl_UndoneSceneList_S *scenes);
int ReportLanCentorToPlt(const tqDevSDK_SmartControl_ReportLanCentor *center);
int ReportLanCentorToPltV3(const tqDevSDK_SmartControl_ReportLanCentor *center);

#endif
