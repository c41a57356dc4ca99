// SPDX-License-Identifier: Apache-2.0
// One row for each system of the log, and how its record is filled.
#include "SmartControl_dclog.h"

#include "SmartControl_log.h"
#include "SmartControl_text.h"
#include "tqdev_dclog.h"
#include "tqdev_sdk_kernel.h"

namespace {

using Input = tqDevSDK_SmartControl_DCLogParam_S;
using Output = tqDevSDK_DCLog_LanLinkageParam_S;

void FillParam_LanLink_RunEvent(const Input &input, Output &output) {
    const auto &from = input.unPrivPara.unLanLinkPriv.stRunEvent;
    auto &to = output.unPrivPara.stRunEvent;
    CopyText(to.acSdkVer, from.acSdkVer);
    CopyText(to.acDevType, from.acDevType);
    CopyText(to.acEvent, from.acEvent);
}

void FillParam_LanLink_NetParam(const Input &input, Output &output) {
    const auto &from = input.unPrivPara.unLanLinkPriv.stNetParam;
    auto &to = output.unPrivPara.stNetParam;
    to.ucNetIf_IsActive = from.ucNetIf_IsActive;
    to.ucUserid_IsSwitched = from.ucUserid_IsSwitched;
    to.ucDas_IsOnline = from.ucDas_IsOnline;
    to.ucSock_ReInit = from.ucSock_ReInit;
    CopyText(to.acIpAddr, from.acIpAddr);
    CopyText(to.acNetMask, from.acNetMask);
    CopyText(to.acNetIfName, from.acNetIfName);
}

void FillParam_LanLink_CentStatis(const Input &input, Output &output) {
    const auto &from = input.unPrivPara.unLanLinkPriv.stCentStatis;
    auto &to = output.unPrivPara.stCentStatis;
    to.ucHasRule = from.ucHasRule;
    to.uiRuleRootNum = from.uiRuleRootNum;
    to.uiSelfEvtCnt = from.uiSelfEvtCnt;
    to.uiLanEvtCnt = from.uiLanEvtCnt;
    to.uiSelfActCnt = from.uiSelfActCnt;
    to.uiLanActSuccCnt = from.uiLanActSuccCnt;
    to.uiLanActFailCnt = from.uiLanActFailCnt;
    to.uiUndoActCnt = from.uiUndoActCnt;
    to.uiSelfActRetCnt = from.uiSelfActRetCnt;
    to.uiLanActRetCnt = from.uiLanActRetCnt;
}

void FillParam_LanLink_MembStatis(const Input &input, Output &output) {
    const auto &from = input.unPrivPara.unLanLinkPriv.stMembStatis;
    auto &to = output.unPrivPara.stMembStatis;
    to.uiLanEvtSuccCnt = from.uiLanEvtSuccCnt;
    to.uiLanEvtFailCnt = from.uiLanEvtFailCnt;
    to.uiLanActCnt = from.uiLanActCnt;
    to.uiLanActRetSuccCnt = from.uiLanActRetSuccCnt;
    to.uiLanActRetFailCnt = from.uiLanActRetFailCnt;
}

void FillParam_LanLink_CommStatis(const Input &input, Output &output) {
    const auto &from = input.unPrivPara.unLanLinkPriv.stCommStatis;
    auto &to = output.unPrivPara.stCommStatis;
    to.uiReqRetrySuccCnt = from.uiReqRetrySuccCnt;
    to.uiReqRetryFailCnt = from.uiReqRetryFailCnt;
}

struct System {
    const char *name;
    void (*fill)(const Input &input, Output &output);
};

constexpr System kSystems[] = {
    {"device_lan_smart_run", FillParam_LanLink_RunEvent},
    {"device_lan_smart_network", FillParam_LanLink_NetParam},
    {"device_lan_smart_center_statistics", FillParam_LanLink_CentStatis},
    {"device_lan_smart_member_statistics", FillParam_LanLink_MembStatis},
    {"device_lan_smart_comm_statistics", FillParam_LanLink_CommStatis},
};

const System *FindSystem(const char *name) {
    for (const System &system : kSystems) {
        if (strcmp(system.name, name) == 0) {
            return &system;
        }
    }
    return nullptr;
}

} // namespace

int SmartContDCLog_PushEntireDCLog(const tqDevSDK_SmartControl_DCLogParam_S *param) {
    if (param == nullptr) {
        Fail("NULL input param.");
        return -1;
    }
    if (tqdev_dclog_check_push_enable(TQDEV_DCLOG_REG_TYPE_LAN_LINKAGE) == 0) {
        tqdev_debug(LOG_DEBUG, "lan linkage is not enable.\n");
        return 0;
    }

    tqDevSDK_DCLog_DeliverParam_S deliver;
    memset(&deliver, 0, sizeof deliver); // the unused part of the union too
    deliver.uiType = TQDEV_DCLOG_REG_TYPE_LAN_LINKAGE;
    Output &output = deliver.unParam.stLanLink;
    CopyText(output.acSystemName, param->acSystemName);
    CopyText(output.acDevType, tqdev_sdk_kernel_getdevinfo_bykey("dev_type"));
    CopyText(output.acFwVer, tqdev_sdk_kernel_getdevinfo_bykey("dev_firmwareversion"));
    output.uiStartTime_sec = param->uiStartTime_sec;
    output.uiStartTime_usec = param->uiStartTime_usec;
    output.uiEndTime_sec = param->uiEndTime_sec;
    output.uiEndTime_usec = param->uiEndTime_usec;
    CopyText(output.acDevId, param->acDevId);
    output.uiLog_Seq = param->uiLog_Seq;

    const System *system = FindSystem(output.acSystemName);
    if (system == nullptr) {
        tqdev_debug(LOG_ERROR, "Invalid dclog system name of smart_control dclog:%s\n", output.acSystemName);
        tqdev_debug(LOG_ERROR, "Failed to fill dclog param of smart_control dclog, systemName is %s\n",
                    output.acSystemName);
        return -1;
    }
    system->fill(*param, output);

    const int result = tqdev_dclog_Report(&deliver);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Falied to post dclog of smart_control, systemName is %s\n",
                    output.acSystemName);
    }
    return result;
}
