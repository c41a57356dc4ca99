// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_bus_platform.h
/// The ways of a message to the platform. Texts stay the caller's.
#ifndef SMARTCONTROL_BUS_PLATFORM_H
#define SMARTCONTROL_BUS_PLATFORM_H

#include "tqdev_sdk_types.h"

/// Describes a message on the model channel.
struct SmartControl_ModelInfo_S {
    char method[128];
    char msg_type[64];
    char resource_id[64];
    char resource_type[64];
    char domain[64];
    char identifier[64];
};

/// Serves a platform request: reads the text, which may be null, and writes the response, a terminated
/// text, into the buffer. Any result but 0 means that no response is sent.
using SmartControl_handle_platform_req_and_rsp = int (*)(const char *req, char *rsp, UINT32 rsp_size);

/// Sends a text on the command channel: `msg_response` is 1 for a reply to a platform request, with the
/// request's sequence number, else 0. 0 sent, -1 refused by the kernel. A null text is
/// sent as an empty one.
int SmartControl_send_msg_to_platform(const char *msg, int cmd_id, const char *cmd_version,
                                      unsigned msg_response, unsigned msg_seq);

/// Sends bytes on the model channel, past the model layer; the kernel's result, -1 for a null `info`.
/// The module's own reports go through the model layer instead.
int SmartControl_send_msg_to_platform_v3(const SmartControl_ModelInfo_S *info, const char *msg_body,
                                         unsigned msg_body_len);

/// Runs a handler and sends its response, up to 1023 characters, as `rsp_cmd`. The handler's result when
/// it is not 0, 0 without sending when `rsp_cmd` is 0, else the sender's result.
int SmartControl_BusPlatform_Handle_ReqAndRsp(const char *buf, int buf_len, int rsp_cmd,
                                              const char *cmd_version, unsigned msg_req,
                                              SmartControl_handle_platform_req_and_rsp handle_req_rsp);

#endif
