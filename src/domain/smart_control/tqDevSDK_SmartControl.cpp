// SPDX-License-Identifier: Apache-2.0
// The four public functions.
#include <iterator>

#include "SmartControl_dclog.h"
#include "SmartControl_export.h"
#include "SmartControl_extern.h"
#include "SmartControl_func.h"
#include "SmartControl_func_report.h"
#include "SmartControl_log.h"
#include "SmartControl_shadow.h"
#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_dclog.h"

namespace {

constexpr int kInitKernelFailed = 2;
constexpr int kInitNullInfo = 3;

int32_t g_init_flag = 0;

// A report function behind the one type of the dispatch table.
template <typename Record, int (*report)(const Record *)>
int Send(const void *record) {
    return report(static_cast<const Record *>(record));
}

struct MessageType {
    int type;
    int (*report)(const void *record);
};

constexpr MessageType kReports[] = {
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, Send<tqDevSDK_SmartControl_Event, ReportEventReqToPlt>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT,
     Send<tqDevSDK_SmartControl_Info_ActionResult, ReportActionResultToPlt>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS,
     Send<tqDevSDK_SmartControl_UndoneActions_S, ReportUndoneActionsToPlt>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR,
     Send<tqDevSDK_SmartControl_ReportLanCentor, ReportLanCentorToPlt>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3,
     Send<tqDevSDK_SmartControl_UndoneSceneList_S, ReportUndoneSceneToPltV3>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3,
     Send<tqDevSDK_SmartControl_UndoneActions_V3_S, ReportUndoneActionsToPltV3>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3,
     Send<tqDevSDK_SmartControl_ReportLanCentor, ReportLanCentorToPltV3>},
};
static_assert(std::size(kReports) == TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_MAX);

// Sends a record of a type; -1, logged, for an unknown type.
int Dispatch(int type, const void *record) {
    for (const MessageType &row : kReports) {
        if (row.type == type) {
            return row.report(record);
        }
    }
    tqdev_debug(LOG_ERROR, "Invalid msg type of SmartControl_Msg2Server:%#x\n", static_cast<unsigned>(type));
    return -1;
}

} // namespace

SMARTCONTROL_EXPORT int tqDevSDK_SmartControl_init(const tqDevSDK_SmartControl_init_info *info) {
    if (g_init_flag == 1) {
        tqdev_debug(LOG_INFO, "Smart Control domain has inited.\n");
        return 0;
    }
    if (info == nullptr) {
        Fail("NULL input param!");
        return kInitNullInfo;
    }
    SmartControl_user_init(&info->cb);
    SmartControl_Shadow_InitService(info->resetReportAll);
    SmartControl_ShadowV3_InitService();

    int result = 0;
    if (SmartControl_extern_init() != 0) {
        Fail("Failed to init extern func in smart control domain.");
        result = kInitKernelFailed;
    }
    // Also after a failure: what was registered stays, until fini removes it.
    g_init_flag = 1;
    return result;
}

SMARTCONTROL_EXPORT int tqDevSDK_SmartControl_fini(void) {
    if (g_init_flag == 0) {
        tqdev_debug(LOG_INFO, "Smart Control domain has not inited.\n");
        return 0;
    }
    SmartControl_Shadow_FnitService();
    // Posted under this kind by PushDclog; the host registered it.
    tqdev_dclog_DeregisterMod(TQDEV_DCLOG_REG_TYPE_LAN_LINKAGE);
    SmartControl_extern_fini();
    SmartControl_ShadowV3_FiniService();
    SmartControl_user_fini();
    g_init_flag = 0;
    return 0;
}

SMARTCONTROL_EXPORT int tqDevSDK_SmartControl_Msg2Server(const tqDevSDK_SmartControl_Msg2Server_S *msg) {
    if (msg == nullptr) {
        Fail("NULL input param!");
        return -1;
    }
    const int result = Dispatch(msg->iType, msg->pData);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to exec msg2server type cmd:%#x\n", static_cast<unsigned>(msg->iType));
    }
    return result;
}

SMARTCONTROL_EXPORT int tqDevSDK_SmartControl_PushDclog(const tqDevSDK_SmartControl_DclogMsg_S *msg) {
    if (msg == nullptr) {
        Fail("NULL input param!");
        return -1;
    }
    int result = -1;
    if (msg->iType == tqDevSDK_SmartControl_DCLogMsg_EntireDCLog) {
        result = SmartContDCLog_PushEntireDCLog(
            static_cast<const tqDevSDK_SmartControl_DCLogParam_S *>(msg->pData));
    } else {
        tqdev_debug(LOG_ERROR, "Invalid msg type of SmartControl_DCLogMsg:%d\n", msg->iType);
    }
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to exec push dclog of smart control, cmd type:%d\n", msg->iType);
    }
    return result;
}
