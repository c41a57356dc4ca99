// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_xml_proc.h
/// Device settings, which travel as XML, and the status items: settings and rules that the host asks for
/// changes.
///
/// These sources alone are built with exceptions, because the XML class reports a lack of memory with
/// std::bad_alloc. Each entry catches it: the result is then -1, and nothing is sent.
#ifndef SMARTCONTROL_XML_PROC_H
#define SMARTCONTROL_XML_PROC_H

#include "tqdev_sdk_types.h"

class CMarkupSTL;

/// Handles a set-key-value message: hands the setting to the application, has it reported again, answers
/// with a result. `ucIsReq` 1 asks for an answer. The sender's result, -1 when nothing was sent.
int SmartControl_BusPlatform_XmlHandle_ReqAndRsp(int iRspCmd, UINT8 ucIsReq, UINT32 uiMsgSeq,
                                                 const char *acStrBuf);

/// Starts a document with the root "Request" and goes into it; always 0.
int SmartControl_xml_init_req(CMarkupSTL &msg);

// ---- Status items, called by the status-report service only ----
//
// IsChanged asks the application: 1 changed since the last time, 0 unchanged or no answer, -1 ask again.
// Report sends what IsChanged saw last; 0 sent. Reset forgets it; always 0.

int ICR_DSS_IsChanged(void);
int ICR_DSS_Report(int iForce);
int ICR_DSS_Reset(void);

int ScreenOvertime_IsChanged(void);
int ScreenOvertime_Report(int iForce);
int ScreenOvertime_Reset(void);

int VideoRecTime_IsChanged(void);
int VideoRecTime_Report(int iForce);
int VideoRecTime_Reset(void);

int ScreenAutoRouse_IsChanged(void);
int ScreenAutoRouse_Report(int iForce);
int ScreenAutoRouse_Reset(void);

int ScreenLightness_IsChanged(void);
int ScreenLightness_Report(int iForce);
int ScreenLightness_Reset(void);

int SceneRule_IsChanged(void);
int SceneRule_Report(int iForce);
int SceneRule_Reset(void);

int AiRule_IsChanged(void);
int AiRule_Report(int iForce);
int AiRule_Reset(void);

/// `len` of the day/night record in both callbacks.
constexpr int kIcrDssLen = 12;

/// Key texts of the settings, the same in both directions.
constexpr const char *kIcrDssKey = "device_ICR_DSS";
constexpr const char *kScreenOvertimeKey = "device_screen_overtime";
constexpr const char *kVideoTimeKey = "device_video_time";
constexpr const char *kAutoRouseKey = "device_auto_rouse";
constexpr const char *kScreenLightnessKey = "device_screen_lightness";

#endif
