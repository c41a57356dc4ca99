// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_extern_command.h
/// The routing of the domain's commands to their handlers.
#ifndef SMARTCONTROL_EXTERN_COMMAND_H
#define SMARTCONTROL_EXTERN_COMMAND_H

#include "tqdev_sdk_kernel.h"

/// The data-route callback of the kernel extension. While the device sleeps, only a sleep command is served.
void SmartControl_extend_data_route_cb(const tqdev_sdk_kernel_submsg *submsg, void *pUser);

#endif
