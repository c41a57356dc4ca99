// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_shadow_text.h
/// The scene rules and the AI rules, keys "SceneLink" and "LocalLink", which pass as they are: the four
/// callbacks of the shadow service.
#ifndef SMARTCONTROL_SHADOW_TEXT_H
#define SMARTCONTROL_SHADOW_TEXT_H

#include "tqDevSDK_Shadow.h"

/// Lend the cloud's text to the application. 0 accepted, -1 no text or no callback, else its code.
int CenPlt2PuParseJsonSetLinkRuleReq(const tqDevSDK_Shadow_value_t *pValue,
                                     tqDevSDK_Shadow_ParseSync_Param_S *pstParam);
int CenPlt2PuParseJsonSetAiRuleReq(const tqDevSDK_Shadow_value_t *pValue,
                                   tqDevSDK_Shadow_ParseSync_Param_S *pstParam);

/// Write the application's text, or "{}" for none, into the value's buffer, without a terminator. A text of
/// 16,384 bytes or more makes an empty value. 0, -1 for null arguments or no callback, else its code.
int Pu2CenPltMakeJsonLinkRuleReq(tqDevSDK_Shadow_value_t *pValue, tqDevSDK_Shadow_GenValue_Param_S *pstParam);
int Pu2CenPltMakeJsonAiRuleReq(tqDevSDK_Shadow_value_t *pValue, tqDevSDK_Shadow_GenValue_Param_S *pstParam);

/// `len` of a `tqDevSDK_SmartControl_Rule_S` on every build: its size on the 32-bit target.
constexpr int kRuleRecordLen = 8;

#endif
