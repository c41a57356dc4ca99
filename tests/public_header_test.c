/* SPDX-License-Identifier: Apache-2.0 */
/* The public header in C: before anything else, and a second time, as through a header of the application. */
#include "tqDevSDK_SmartControl_def.h"

#include "tqDevSDK_SmartControl_def.h"

int c_application_init(int (*recv_msg)(tqDevSDK_SmartControl_msg_to_dev *));
int c_application_report_event(UINT32 channel, UINT32 value);

int c_application_init(int (*recv_msg)(tqDevSDK_SmartControl_msg_to_dev *)) {
    tqDevSDK_SmartControl_init_info info = {{0, 0}, 0};
    info.cb.recv_msg = recv_msg;
    return tqDevSDK_SmartControl_init(&info);
}

int c_application_report_event(UINT32 channel, UINT32 value) {
    tqDevSDK_SmartControl_Event event = {0, 0};
    tqDevSDK_SmartControl_Msg2Server_S msg = {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, 0, sizeof event};
    event.channel = channel;
    event.value = value;
    msg.pData = &event;
    return tqDevSDK_SmartControl_Msg2Server(&msg);
}
