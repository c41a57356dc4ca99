// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_object.h
/// The module object: the application's callbacks and the sequence numbers. All that reaches the
/// application goes through here.
#ifndef SMARTCONTROL_FUNC_OBJECT_H
#define SMARTCONTROL_FUNC_OBJECT_H

#include <optional>

#include "tqDevSDK_SmartControl_def.h"

struct SmartControl_CtrlObj_S {
    int32_t iInit_flag; ///< 1 between SmartControl_user_init and SmartControl_user_fini, else 0.
    UINT32 uiSeq;       ///< The next sequence number.
    tqDevSDK_SmartControl_callback stCb;
};

/// The one object, zero at load. SmartControl_user_init and SmartControl_user_fini write it; all others use
/// the functions below.
extern SmartControl_CtrlObj_S g_stSmartCntl_Obj;

/// True between SmartControl_user_init and SmartControl_user_fini.
bool SmartControl_is_inited(void);

/// The application's callbacks; never null, its members are null outside init and fini.
const tqDevSDK_SmartControl_callback *SmartControl_get_callback(void);

/// The number of the next message that the device originates: 0 after load and after fini.
UINT32 GetNextSeqNum(void);

constexpr const char *kNoReceiver = "NULL cb func of recv_msg.";

/// Whether the application has a `recv_msg`; logs when it has none. For steps that must not run without one.
bool HasReceiver(const char *missing = kNoReceiver);

/// Lends a record to the application's `recv_msg`. Its result; nothing, logged, without the callback.
std::optional<int> SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, void *data, int len);

/// The same for a record whose size is its length.
template <typename Record>
std::optional<int> SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, Record &record) {
    return SendToDevice(type, &record, static_cast<int>(sizeof record));
}

/// Lends a question to the application's `on_get_runtime_info`. Its result; nothing, and `missing` in the
/// log, without the callback.
std::optional<int> Ask(tqDevSDK_SmartControl_runtime_info &question,
                       const char *missing = "NULL cb func of getting runtime info.");

#endif
