// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_func.h"

#include <pthread.h>

#include "SmartControl_xml_proc.h"
#include "tqDevSDK_report_status.h"

namespace {

struct SmartControl_CtrlObj_S {
    int32_t iInit_flag;
    UINT32 uiSeq;
    tqDevSDK_SmartControl_callback stCb;
};

SmartControl_CtrlObj_S g_stSmartCntl_Obj;
pthread_mutex_t g_hScMutex = PTHREAD_MUTEX_INITIALIZER; // guards uiSeq only

struct StatusItem {
    TQDEVSDK_REPORT_STATUS_E key;
    int (*is_changed)();
    int (*report)(int force);
    int (*reset)();
};

// In order of registration and removal.
constexpr StatusItem kStatusItems[] = {
    {TQDEVSDK_ReportDeviceIcrDss, ICR_DSS_IsChanged, ICR_DSS_Report, ICR_DSS_Reset},
    {TQDEVSDK_ReportDeviceScreenOvertime, ScreenOvertime_IsChanged, ScreenOvertime_Report,
     ScreenOvertime_Reset},
    {TQDEVSDK_ReportDeviceVideoTime, VideoRecTime_IsChanged, VideoRecTime_Report, VideoRecTime_Reset},
    {TQDEVSDK_ReportDeviceScreenAutoRaise, ScreenAutoRouse_IsChanged, ScreenAutoRouse_Report,
     ScreenAutoRouse_Reset},
    {TQDEVSDK_ReportDeviceScreenLightness, ScreenLightness_IsChanged, ScreenLightness_Report,
     ScreenLightness_Reset},
    {TQDEVSDK_ReportSceneRule, SceneRule_IsChanged, SceneRule_Report, SceneRule_Reset},
    {TQDEVSDK_ReportAiRule, AiRule_IsChanged, AiRule_Report, AiRule_Reset},
};

} // namespace

void SmartControl_user_init(const tqDevSDK_SmartControl_callback *cb) {
    if (g_stSmartCntl_Obj.iInit_flag == 1) {
        tqdev_debug(LOG_INFO, "Already inited.\n");
        return;
    }
    g_stSmartCntl_Obj.stCb = *cb;
    tqDevSDK_report_status_init(&g_stSmartCntl_Obj.stCb);
    for (const StatusItem &item : kStatusItems) {
        tqDevSDK_report_status_info info{};
        info.status_value = static_cast<UINT32>(item.key);
        info.status_is_changed = item.is_changed;
        info.report_status = item.report;
        info.status_reset = item.reset;
        tqDevSDK_report_status_register(&info);
    }
    g_stSmartCntl_Obj.iInit_flag = 1;
}

void SmartControl_user_fini() {
    if (g_stSmartCntl_Obj.iInit_flag != 1) {
        tqdev_debug(LOG_WARNING, "Smart Control Module has not been inited.\n");
        return;
    }
    for (const StatusItem &item : kStatusItems) {
        tqDevSDK_report_status_info info{};
        info.status_value = static_cast<UINT32>(item.key);
        tqDevSDK_report_status_unregister(&info);
    }
    tqDevSDK_report_status_fini();
    g_stSmartCntl_Obj = {};
}

bool SmartControl_is_inited() {
    return g_stSmartCntl_Obj.iInit_flag == 1;
}

const tqDevSDK_SmartControl_callback *SmartControl_get_callback() {
    return &g_stSmartCntl_Obj.stCb;
}

UINT32 GetNextSeqNum() {
    pthread_mutex_lock(&g_hScMutex);
    const UINT32 seq = g_stSmartCntl_Obj.uiSeq++;
    pthread_mutex_unlock(&g_hScMutex);
    return seq;
}

RecvMsg GetReceiver() {
    const RecvMsg recv_msg = SmartControl_get_callback()->recv_msg;
    if (recv_msg == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL cb func of recv_msg.\n");
    }
    return recv_msg;
}

int SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, void *data, int len) {
    const RecvMsg recv_msg = GetReceiver();
    if (recv_msg == nullptr) {
        return -1;
    }
    tqDevSDK_SmartControl_msg_to_dev msg{type, static_cast<char *>(data), len};
    return recv_msg(&msg);
}
