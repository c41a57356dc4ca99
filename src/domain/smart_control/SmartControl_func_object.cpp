// SPDX-License-Identifier: Apache-2.0
// The module object, and the two ways to the application.
#include "SmartControl_func_object.h"

#include <pthread.h>

#include "SmartControl_log.h"

SmartControl_CtrlObj_S g_stSmartCntl_Obj;

namespace {

pthread_mutex_t g_hScMutex = PTHREAD_MUTEX_INITIALIZER; // guards uiSeq only

} // namespace

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

bool HasReceiver(const char *missing) {
    return SmartControl_get_callback()->recv_msg != nullptr || Fail(missing);
}

std::optional<int> SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, void *data, int len) {
    const auto recv_msg = SmartControl_get_callback()->recv_msg;
    if (recv_msg == nullptr) {
        Fail(kNoReceiver);
        return std::nullopt;
    }
    tqDevSDK_SmartControl_msg_to_dev msg{type, static_cast<char *>(data), len};
    return recv_msg(&msg);
}

std::optional<int> Ask(tqDevSDK_SmartControl_runtime_info &question, const char *missing) {
    const auto on_get_runtime_info = SmartControl_get_callback()->on_get_runtime_info;
    if (on_get_runtime_info == nullptr) {
        Fail(missing);
        return std::nullopt;
    }
    return on_get_runtime_info(&question);
}
