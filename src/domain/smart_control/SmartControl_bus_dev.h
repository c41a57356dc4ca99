// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_bus_dev.h
/// The device-side bus. The device application is reached through its callbacks, so the bus has nothing
/// to carry; host processes look these names up, so they stay exported.
#ifndef SMARTCONTROL_BUS_DEV_H
#define SMARTCONTROL_BUS_DEV_H

#include "tqDevSDK_SmartControl_def.h"

extern "C" {

/// All four do nothing and return 0; the argument may be null.
int SmartControl_bus_dev_init(void);
int SmartControl_bus_dev_fini(void);
int SmartControl_send_msg_to_dev(tqDevSDK_SmartControl_msg_to_dev *msg);
int SmartControl_recv_brimo_msg(tqDevSDK_SmartControl_msg_to_dev *msg);
}

#endif
