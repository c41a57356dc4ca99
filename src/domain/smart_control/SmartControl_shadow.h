// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_shadow.h
/// The module's keys in the device shadow of both generations, and the push of a changed value.
#ifndef SMARTCONTROL_SHADOW_H
#define SMARTCONTROL_SHADOW_H

#include "tqDevSDK_SmartControl_def.h"

/// Registers and removes the version-2 key; 0, or the host's code, logged.
int SmartControl_Shadow_InitService(int32_t resetReportAll);
int SmartControl_Shadow_FnitService(void);

/// Registers and removes the version-3 keys; 0 or -1.
int SmartControl_ShadowV3_InitService(void);
int SmartControl_ShadowV3_FiniService(void);

/// Has the shadow service report a version-3 value, given as a SMART_CONTROL_SHADOW_STATUS_TYPE_E; the
/// host's result, -1 for any other number.
int smart_control_shadow_push_status(int push_type);

#endif
