// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_action.h
/// The handlers of device actions: picture, video, both, sleep, chime alarm.
#ifndef SMARTCONTROL_FUNC_ACTION_H
#define SMARTCONTROL_FUNC_ACTION_H

#include "bscJSON.h"
#include "tqDevSDK_SmartControl_def.h"

/// The attributes that all device actions but the chime alarm share.
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

#endif
