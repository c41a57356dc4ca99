/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file tqDevSDK_Shadow.h
 * The device shadow: values that the cloud wants and the device reports, in two generations.
 *
 * Registration records and resources are copied; key tables must outlive the registration, and the
 * service may update their bookkeeping fields. Callbacks run on the shadow service's thread.
 */
#ifndef TQDEVSDK_SHADOW_H
#define TQDEVSDK_SHADOW_H

#include <stdbool.h>

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    shd_data_type_bool = 0,
    shd_data_type_int = 1,
    shd_data_type_double = 2,
    shd_data_type_string = 3,
    shd_data_type_array = 4,
    shd_data_type_object = 5,
    shd_data_type_null = 6
} tqDevSDK_Shadow_data_type_t;

typedef struct {
    tqDevSDK_Shadow_data_type_t type;
    int32_t length; /**< Bytes of `value`. */
    union {
        bool value_bool;
        int32_t value_int;
        double value_double;
        char *value; /**< Incoming: NUL-terminated text. Outgoing: the service's buffer, to be filled. */
    };
} tqDevSDK_Shadow_value_t;

/** Where an incoming value belongs. */
typedef struct {
    const void *pres;
    const int8_t *pdomain;
    const int8_t *pkey;
} tqDevSDK_Shadow_ParseSync_Param_S;

enum {
    tqDevSDK_Shadow_GenValue_Type_Total = 0, /**< The value replaces the reported one. */
    tqDevSDK_Shadow_GenValue_Type_Add = 1,   /**< The value adds to the reported one. */
    tqDevSDK_Shadow_GenValue_Type_Max = 2
};

/** What a generated value is. */
typedef struct {
    UINT32 uiVersion;
    UINT8 ucRstType; /**< A `tqDevSDK_Shadow_GenValue_Type_…` value. */
    const void *pres;
    const int8_t *pdomain;
    const int8_t *pkey;
} tqDevSDK_Shadow_GenValue_Param_S;

/** Takes the cloud's new value; 0 when the device accepted it. */
typedef int (*tqDevSDK_Shadow_ParseSync)(const tqDevSDK_Shadow_value_t *value,
                                         tqDevSDK_Shadow_ParseSync_Param_S *param);

/** Writes the device's value into the service's buffer; `length` bytes of it count. 0 on success. */
typedef int (*tqDevSDK_Shadow_GenValue)(tqDevSDK_Shadow_value_t *value,
                                        tqDevSDK_Shadow_GenValue_Param_S *param);

enum {
    tqDevSDK_Shadow_Service_Type_Status = 0,
    tqDevSDK_Shadow_Service_Type_Offline_Cmd = 1,
    tqDevSDK_Shadow_Service_Type_Max = 2
};

/** One key of the version-2 shadow. */
typedef struct {
    char acKey[64];
    UINT16 usSrvType;        /**< A `tqDevSDK_Shadow_Service_Type_…` value. */
    UINT16 usResetReportAll; /**< Non-zero: the value is reported anew once registered. */
    UINT32 usVersion;
    UINT32 usMsg_seq;
    UINT8 usNeedReport;
    tqDevSDK_Shadow_ParseSync parse_sync;
    tqDevSDK_Shadow_GenValue gen_value_JsStr;
} tqDevSDK_Shadow_Service_S;

typedef struct {
    char pCachePath[260];
    UINT8 bAutoDetect;
    UINT8 bDevReset;
    UINT16 usNum; /**< Keys at `pstSrvList`. */
    tqDevSDK_Shadow_Service_S *pstSrvList;
} tqDevSDK_Shadow_DomainReg_S;

/** One key of the version-3 shadow. */
typedef struct {
    int8_t key[64];
    tqDevSDK_Shadow_ParseSync business2dev;
    tqDevSDK_Shadow_GenValue business2cloud;
} tqDevSDK_Shadow_Service_S_v3;

typedef struct {
    int8_t reset;
    int16_t num; /**< Keys at `business`. */
    tqDevSDK_Shadow_Service_S_v3 *business;
} tqDevSDK_Shadow_DomainReg_V3_S;

/** The resource that a version-3 value belongs to. */
typedef struct {
    int8_t dev_serial[72];
    int8_t res_type[64];
    UINT16 local_index;
} tqDevSDK_Shadow_Res_t;

/* All return 0 on success, else the service's code. */
int tqDevSDK_Shadow_DomainReg(UINT32 domain, const tqDevSDK_Shadow_DomainReg_S *reg);
int tqDevSDK_Shadow_DomainDereg(UINT32 domain);
int tqDevSDK_Shadow_DomainReg_v3(const tqDevSDK_Shadow_Res_t *res, const char *domain,
                                 const tqDevSDK_Shadow_DomainReg_V3_S *reg);
int tqDevSDK_Shadow_DomainDereg_v3(const tqDevSDK_Shadow_Res_t *res, const char *domain);

/** Asks `service` for its value and reports it. */
int tqDevSDK_Shadow_PushStatus_v3(const tqDevSDK_Shadow_Res_t *res, const char *domain,
                                  const tqDevSDK_Shadow_Service_S_v3 *service, int option);

#ifdef __cplusplus
}
#endif

#endif
