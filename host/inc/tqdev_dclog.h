/* SPDX-License-Identifier: Apache-2.0 */
/** @file tqdev_dclog.h  The data-collection log. */
#ifndef TQDEV_DCLOG_H
#define TQDEV_DCLOG_H

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Record kinds of the log. */
enum { TQDEV_DCLOG_REG_TYPE_LAN_LINKAGE = 1050 };

typedef struct {
    char acSdkVer[16];
    char acDevType[16];
    char acEvent[64];
} tqDevSDK_DCLog_LanLinkage_RunEvent_S;

typedef struct {
    UINT8 ucNetIf_IsActive;
    UINT8 ucUserid_IsSwitched;
    UINT8 ucDas_IsOnline;
    UINT8 ucSock_ReInit;
    char acIpAddr[64];
    char acNetMask[64];
    char acNetIfName[32];
} tqDevSDK_DCLog_LanLinkage_NetParam_S;

typedef struct {
    UINT8 ucHasRule;
    UINT8 reserved[3];
    UINT32 uiRuleRootNum;
    UINT32 uiSelfEvtCnt;
    UINT32 uiLanEvtCnt;
    UINT32 uiSelfActCnt;
    UINT32 uiLanActSuccCnt;
    UINT32 uiLanActFailCnt;
    UINT32 uiUndoActCnt;
    UINT32 uiSelfActRetCnt;
    UINT32 uiLanActRetCnt;
} tqDevSDK_DCLog_LanLinkage_CenterStatis_S;

typedef struct {
    UINT32 uiLanEvtSuccCnt;
    UINT32 uiLanEvtFailCnt;
    UINT32 uiLanActCnt;
    UINT32 uiLanActRetSuccCnt;
    UINT32 uiLanActRetFailCnt;
} tqDevSDK_DCLog_LanLinkage_MemberStatis_S;

typedef struct {
    UINT32 uiReqRetrySuccCnt;
    UINT32 uiReqRetryFailCnt;
} tqDevSDK_DCLog_LanLinkage_CommStatis_S;

typedef union {
    tqDevSDK_DCLog_LanLinkage_RunEvent_S stRunEvent;
    tqDevSDK_DCLog_LanLinkage_NetParam_S stNetParam;
    tqDevSDK_DCLog_LanLinkage_CenterStatis_S stCentStatis;
    tqDevSDK_DCLog_LanLinkage_MemberStatis_S stMembStatis;
    tqDevSDK_DCLog_LanLinkage_CommStatis_S stCommStatis;
} tqDevSDK_DCLog_LanLinkage_PrivParam_U;

/** A LAN linkage record, 376 bytes. */
typedef struct {
    char acSystemName[64]; /**< Selects the member of `unPrivPara`. */
    UINT32 uiStartTime_sec;
    UINT32 uiStartTime_usec;
    UINT32 uiEndTime_sec;
    UINT32 uiEndTime_usec;
    char acDevId[32];
    char acDevType[32];
    char acFwVer[64];
    UINT32 uiLog_Seq;
    tqDevSDK_DCLog_LanLinkage_PrivParam_U unPrivPara;
} tqDevSDK_DCLog_LanLinkageParam_S;

/** The payload of every record kind, 544 bytes, aligned to 8. */
typedef union {
    tqDevSDK_DCLog_LanLinkageParam_S stLanLink;
    uint64_t ullAlign;
    UINT8 aucOther[544];
} tqDevSDK_DCLog_Param_Payload_U;

/** One record, 552 bytes. */
typedef struct {
    UINT32 uiType; /**< A `TQDEV_DCLOG_REG_TYPE_…` value. */
    UINT8 reserved[4];
    tqDevSDK_DCLog_Param_Payload_U unParam;
} tqDevSDK_DCLog_DeliverParam_S;

/** Non-zero while records of this kind are collected. */
int tqdev_dclog_check_push_enable(UINT32 type);

/** Posts a record, which is copied. 0 on success. */
int tqdev_dclog_Report(const tqDevSDK_DCLog_DeliverParam_S *deliver);

/** Ends collection for a kind. 0 on success. */
int tqdev_dclog_DeregisterMod(UINT32 type);

#ifdef __cplusplus
}
#endif

#endif
