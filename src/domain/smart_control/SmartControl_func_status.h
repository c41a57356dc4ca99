// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_status.h
/// Items of the host's status-report service: state of the device that the service asks for changes.
#ifndef SMARTCONTROL_FUNC_STATUS_H
#define SMARTCONTROL_FUNC_STATUS_H

#include <optional>

#include "tqDevSDK_SmartControl_def.h"
#include "tqDevSDK_report_status.h"

/// One item. Its functions are called by the status-report service only, one at a time.
struct StatusItem {
    TQDEVSDK_REPORT_STATUS_E key;
    int (*is_changed)(); ///< Asks the application: 1 changed since the last time, 0 not or no answer, -1 ask
                         ///< again.
    int (*report)(int force); ///< Reports what is_changed saw last; 0 sent.
    int (*reset)();           ///< Forgets it; always 0.
};

/// Asks the application for an item's state. Nothing when it gave an answer, else what is_changed answers: -1
/// for a code of the application that asks for another try, 0 for any other and without the callback.
std::optional<int> AskForStatus(tqDevSDK_SmartControl_runtime_info &question);

#endif
