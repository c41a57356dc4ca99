/* SPDX-License-Identifier: Apache-2.0 */
#define _POSIX_C_SOURCE 200809L

#include "camera.h"

#include <pthread.h>
#include <stdio.h>

/* This camera's event value for a picture. */
#define PICTURE_TAKEN 1

typedef tqDevSDK_SmartControl_device_capture_info capture_info;

/* The SDK's threads leave a request here, the camera's own loop takes it. */
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static capture_info request;
static int requested;

/* Called on a thread of the SDK: keeps a copy and returns at once. */
static int take_request(const capture_info *info) {
    int result = -1;

    pthread_mutex_lock(&lock);
    if (!requested) {
        request = *info;
        requested = 1;
        result = 0;
    }
    pthread_mutex_unlock(&lock);
    return result;
}

static int recv_msg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    switch (msg->type) {
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC:
        return take_request((const capture_info *)(void *)msg->data);
    default:
        return -1; /* This camera can do nothing else. */
    }
}

static int on_get_runtime_info(tqDevSDK_SmartControl_runtime_info *info) {
    (void)info;
    return -1; /* It has no screen, no rules and no chimes. */
}

static void report_event(UINT32 channel, UINT32 value) {
    tqDevSDK_SmartControl_Event event = {channel, value};
    tqDevSDK_SmartControl_Msg2Server_S msg = {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event,
                                              sizeof event};

    if (tqDevSDK_SmartControl_Msg2Server(&msg) != 0) {
        fprintf(stderr, "camera: the event could not be sent\n");
    }
}

int camera_start(void) {
    tqDevSDK_SmartControl_init_info info = {{recv_msg, on_get_runtime_info}, 0};
    int result = tqDevSDK_SmartControl_init(&info);

    if (result != 0) {
        tqDevSDK_SmartControl_fini(); /* A failed init may have registered a part. */
    }
    return result;
}

void camera_work(void) {
    capture_info info;
    int todo;

    pthread_mutex_lock(&lock);
    info = request;
    todo = requested;
    requested = 0;
    pthread_mutex_unlock(&lock);

    if (todo) {
        printf("camera: picture of channel %u for %s\n", (unsigned)info.channel, info.relation_id);
        report_event(info.channel, PICTURE_TAKEN);
    }
}

void camera_stop(void) {
    tqDevSDK_SmartControl_fini();
}
