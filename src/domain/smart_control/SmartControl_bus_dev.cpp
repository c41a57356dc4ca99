// SPDX-License-Identifier: Apache-2.0
// The device-side bus, which carries nothing: its users find the functions and a result of 0.
#include "SmartControl_bus_dev.h"

#include "SmartControl_export.h"

SMARTCONTROL_EXPORT int SmartControl_bus_dev_init(void) {
    return 0;
}
SMARTCONTROL_EXPORT int SmartControl_bus_dev_fini(void) {
    return 0;
}
SMARTCONTROL_EXPORT int SmartControl_send_msg_to_dev(tqDevSDK_SmartControl_msg_to_dev *) {
    return 0;
}
SMARTCONTROL_EXPORT int SmartControl_recv_brimo_msg(tqDevSDK_SmartControl_msg_to_dev *) {
    return 0;
}
