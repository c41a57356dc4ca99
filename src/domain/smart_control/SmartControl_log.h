// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_log.h
/// The line of the log that goes with a failure.
#ifndef SMARTCONTROL_LOG_H
#define SMARTCONTROL_LOG_H

#include "tqdev_debug.h"

/// Logs an error; always false, so that a step which fails ends with it.
inline bool Fail(const char *text) {
    tqdev_debug(LOG_ERROR, "%s\n", text);
    return false;
}

#endif
