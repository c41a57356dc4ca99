/* SPDX-License-Identifier: Apache-2.0 */
/** @file tqDevSDK_report_status.h  The status-report service: items that it asks and reports in passes. */
#ifndef TQDEVSDK_REPORT_STATUS_H
#define TQDEVSDK_REPORT_STATUS_H

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    TQDEVSDK_ReportDeviceIcrDss = 74,
    TQDEVSDK_ReportDeviceScreenOvertime = 75,
    TQDEVSDK_ReportDeviceVideoTime = 76,
    TQDEVSDK_ReportDeviceScreenAutoRaise = 77,
    TQDEVSDK_ReportDeviceScreenLightness = 78,
    TQDEVSDK_ReportSceneRule = 125,
    TQDEVSDK_ReportAiRule = 126
} TQDEVSDK_REPORT_STATUS_E;

/** One item; its functions run on the service's thread. */
typedef struct {
    UINT32 is_register;
    UINT32 status_value; /**< The key, a `TQDEVSDK_REPORT_STATUS_E` value. */
    UINT32 force_flag;
    int (*status_is_changed)(void);  /**< 1 changed, 0 unchanged, -1 ask again later. */
    int (*report_status)(int force); /**< Reports; 0 when sent. */
    int (*status_reset)(void);       /**< Forgets what was reported. */
} tqDevSDK_report_status_info;

/* All return 0 on success. Records are copied; unregister reads the key only. */
int tqDevSDK_report_status_init(const void *callback);
int tqDevSDK_report_status_register(const tqDevSDK_report_status_info *info);
int tqDevSDK_report_status_unregister(const tqDevSDK_report_status_info *info);
int tqDevSDK_report_status_fini(void);

/** Has the item reported at the next pass, changed or not. */
int tqDevSDK_report_set_force_report(int status_key);

#ifdef __cplusplus
}
#endif

#endif
