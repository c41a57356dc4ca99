// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func.h
/// Brings the module object to life and ends it.
#ifndef SMARTCONTROL_FUNC_H
#define SMARTCONTROL_FUNC_H

#include "tqDevSDK_SmartControl_def.h"

/// Stores the callbacks and registers the status items; does nothing when that was done.
void SmartControl_user_init(const tqDevSDK_SmartControl_callback *cb);

/// Removes the status items and zeroes the module object.
void SmartControl_user_fini(void);

#endif
