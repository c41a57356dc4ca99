/* SPDX-License-Identifier: Apache-2.0 */
/** @file camera.h  A camera as a device application: it takes pictures when the platform asks. */
#ifndef CAMERA_H
#define CAMERA_H

#include "tqDevSDK_SmartControl_def.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Starts the module with the camera's callbacks; 0 on success. */
int camera_start(void);

/** Takes the picture that was asked for, if any, and reports it as an event. For the camera's own loop. */
void camera_work(void);

/** Stops the module. */
void camera_stop(void);

#ifdef __cplusplus
}
#endif

#endif
