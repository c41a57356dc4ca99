/* SPDX-License-Identifier: Apache-2.0 */
/** @file tqDevSDK_Common_Module.h  Redirection of legacy configuration keys to domain modules. */
#ifndef TQDEVSDK_COMMON_MODULE_H
#define TQDEVSDK_COMMON_MODULE_H

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Requests for `acKey` go to this command of this domain. */
typedef struct {
    UINT32 uiCmdId;
    UINT32 uiDomainId;
    char acKey[32];
} tqDevSDK_Common_Module_Redirect_S;

/** Registers one key; the record is copied. 0 on success. */
int tqDevSDK_Common_Module_RedirectReg(const tqDevSDK_Common_Module_Redirect_S *redirect);

#ifdef __cplusplus
}
#endif

#endif
