// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_shadow_rules.h
/// The linkage rules, key "InterconnectionRule": the two callbacks of the shadow service.
#ifndef SMARTCONTROL_SHADOW_RULES_H
#define SMARTCONTROL_SHADOW_RULES_H

#include "tqDevSDK_Shadow.h"

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

#endif
