// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_status.h
/// Items of the host's status-report service: state of the device that the service asks for changes.
#ifndef SMARTCONTROL_FUNC_STATUS_H
#define SMARTCONTROL_FUNC_STATUS_H

#include "SmartControl_func_object.h"
#include "tqDevSDK_report_status.h"

/// One item. Its functions are called by the status-report service only, one at a time.
struct StatusItem {
    TQDEVSDK_REPORT_STATUS_E key;
    int (*is_changed)();      ///< Asks the application: 1 changed, 0 not or no answer, -1 ask again.
    int (*report)(int force); ///< 0 done, or nothing to do; else the sender's result.
    int (*reset)();           ///< Forgets what is_changed saw last; always 0.
};

/// What is_changed answers when the application gave this result, or none, in place of its state: -1 for a
/// code that asks for another try, else 0.
int ChangeWithoutAnswer(std::optional<int> result);

#endif
