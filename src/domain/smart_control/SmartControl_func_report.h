// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_report.h
/// The reports of the application to the platform.
#ifndef SMARTCONTROL_FUNC_REPORT_H
#define SMARTCONTROL_FUNC_REPORT_H

#include "tqDevSDK_SmartControl_def.h"

// Each sends one record: 0 sent, -1 when it was refused or there was no memory, which is logged, else the
// sender's result. A report goes whole or not at all.

int ReportEventReqToPlt(const tqDevSDK_SmartControl_Event *event);
int ReportActionResultToPlt(const tqDevSDK_SmartControl_Info_ActionResult *result);
int ReportUndoneActionsToPlt(const tqDevSDK_SmartControl_UndoneActions_S *acts);
int ReportUndoneActionsToPltV3(const tqDevSDK_SmartControl_UndoneActions_V3_S *acts);
int ReportUndoneSceneToPltV3(const tqDevSDK_SmartControl_UndoneSceneList_S *scenes);
int ReportLanCentorToPlt(const tqDevSDK_SmartControl_ReportLanCentor *center);
int ReportLanCentorToPltV3(const tqDevSDK_SmartControl_ReportLanCentor *center);

#endif
