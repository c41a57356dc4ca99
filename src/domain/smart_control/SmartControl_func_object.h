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

/// The application's callbacks; never null, its members are null before init and after fini.
const tqDevSDK_SmartControl_callback *SmartControl_get_callback(void);

/// The number of the next message that the device originates: 0 after load and after fini.
UINT32 GetNextSeqNum(void);

constexpr const char *kNoReceiver = "NULL cb func of recv_msg.";
constexpr const char *kNoAnswerer = "NULL cb func of getting runtime info.";

/// Whether the application has a `recv_msg`; logs when it has none. For a message that is not even to be read
/// without one.
bool HasReceiver(const char *missing = kNoReceiver);

// These lend a record to the application. The callback's result; nothing, and a line in the log, without one.

/// To `recv_msg`, with the record's size as its length where none is given.
std::optional<int> SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, void *data, int len);
template <typename Record>
std::optional<int> SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E type, Record &record) {
    return SendToDevice(type, &record, static_cast<int>(sizeof record));
}

/// To `on_get_runtime_info`. The length is not always the record's size.
std::optional<int> Ask(tqDevSDK_SmartControl_runtime_info &question, const char *missing);
template <typename Record>
std::optional<int> Ask(TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E type, Record &record, int len,
                       const char *missing = kNoAnswerer) {
    tqDevSDK_SmartControl_runtime_info question{type, reinterpret_cast<char *>(&record), len};
    return Ask(question, missing);
}

#endif
