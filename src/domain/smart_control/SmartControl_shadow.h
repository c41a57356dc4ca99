// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_shadow.h
/// The rules in the device shadow: registration of both generations, the callbacks behind the keys, the
/// push of a changed value.
#ifndef SMARTCONTROL_SHADOW_H
#define SMARTCONTROL_SHADOW_H

#include "tqDevSDK_Shadow.h"
#include "tqDevSDK_SmartControl_def.h"

// ---- Registration (SmartControl_shadow) ----

/// Registers and removes the version-2 key; 0, or the host's code, logged.
int SmartControl_Shadow_InitService(int32_t resetReportAll);
int SmartControl_Shadow_FnitService(void);

/// Registers and removes the version-3 keys; 0 or -1.
int SmartControl_ShadowV3_InitService(void);
int SmartControl_ShadowV3_FiniService(void);

/// Has the shadow service report a version-3 value, given as a SMART_CONTROL_SHADOW_STATUS_TYPE_E; the
/// host's result, -1 for any other number.
int smart_control_shadow_push_status(int push_type);

// ---- Linkage rules, key "InterconnectionRule" (SmartControl_shadow_rules) ----

/// Reads a rule set from the cloud's value and lends it to the application. 0 accepted, -1 bad value, else
/// the application's code. Nothing reaches the application unless the whole value is good.
int ParseSync_SmartControl_Rules(const tqDevSDK_Shadow_value_t *pValue,
                                 tqDevSDK_Shadow_ParseSync_Param_S *pstParam);

/// Writes the application's rule set into the value's buffer, without a terminator. 0 written, -1 failed,
/// else the application's code.
int GenJson_SmartControl_Rules_Proc(tqDevSDK_Shadow_value_t *pValue,
                                    tqDevSDK_Shadow_GenValue_Param_S *pstParam);

/// Frees all arrays of a `tqDevSDK_SmartControl_ConfigRules` and zeroes it; a null record, or one without
/// units, is left as it is. The record itself stays the caller's.
void Free_ConfigRules(void *pData);

// ---- Opaque rule texts, keys "SceneLink" and "LocalLink" (SmartControl_shadow_text) ----

/// Lend the cloud's text to the application. 0 accepted, -1 no text or no callback, else its code.
int CenPlt2PuParseJsonSetLinkRuleReq(const tqDevSDK_Shadow_value_t *pValue,
                                     tqDevSDK_Shadow_ParseSync_Param_S *pstParam);
int CenPlt2PuParseJsonSetAiRuleReq(const tqDevSDK_Shadow_value_t *pValue,
                                   tqDevSDK_Shadow_ParseSync_Param_S *pstParam);

/// Write the application's text, or "{}" for none, into the value's buffer, without a terminator. A text of
/// 16,384 bytes or more makes an empty value. 0, -1 for null arguments or no callback, else its code.
int Pu2CenPltMakeJsonLinkRuleReq(tqDevSDK_Shadow_value_t *pValue, tqDevSDK_Shadow_GenValue_Param_S *pstParam);
int Pu2CenPltMakeJsonAiRuleReq(tqDevSDK_Shadow_value_t *pValue, tqDevSDK_Shadow_GenValue_Param_S *pstParam);

/// `len` of a `tqDevSDK_SmartControl_Rule_S`: its size on the target, where the contract counts its pointer.
constexpr int kRuleRecordLen = 8;

#endif
