// SPDX-License-Identifier: Apache-2.0
// Fills the kernel's records and sends them.
#include "SmartControl_bus_platform.h"

#include <cstring>

#include "SmartControl_command.h"
#include "SmartControl_text.h"
#include "tqdev_debug.h"
#include "tqdev_sdk_kernel.h"

int SmartControl_send_msg_to_platform(const char *msg, int cmd_id, const char *cmd_version,
                                      unsigned msg_response, unsigned msg_seq) {
    tqdev_sdk_kernel_pubmsg record{};
    record.msg_response = static_cast<UINT8>(msg_response);
    record.msg_qos = QOS_T0;
    record.msg_seq = msg_seq;
    record.msg_body = reinterpret_cast<const UINT8 *>(TextOrEmpty(msg));
    record.msg_body_len = static_cast<UINT32>(strlen(TextOrEmpty(msg)));
    record.msg_domain_id = kSmartControlDomain;
    record.msg_command_id = static_cast<UINT32>(cmd_id);
    CopyText(record.command_ver, cmd_version);

    // At error level, so that every outgoing command shows at the lowest setting of the log.
    tqdev_debug(LOG_ERROR, "s:%x\n", static_cast<unsigned>(cmd_id));
    tqdev_debug(LOG_INFO, "rsp msg:%s\n", TextOrEmpty(msg));

    const int result = tqdev_sdk_kernel_send(&record);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to send msg to platform:error=%#x\n", static_cast<unsigned>(result));
        return -1;
    }
    return 0;
}

int SmartControl_send_msg_to_platform_v3(const SmartControl_ModelInfo_S *info, const char *msg_body,
                                         unsigned msg_body_len) {
    if (info == nullptr) {
        return -1;
    }
    tqdev_sdk_kernel_pubmsg_v3 record{};
    record.msg_qos = QOS_T0;
    record.msg_body_len = msg_body_len;
    record.msg_body = reinterpret_cast<const UINT8 *>(msg_body);
    CopyText(record.resource_id, info->resource_id);
    CopyText(record.resource_type, info->resource_type);
    CopyText(record.module, "model");
    CopyText(record.method, info->method);
    CopyText(record.msg_type, info->msg_type);
    TextWriter(record.ext_msg).Add(info->domain).Add("/").Add(info->identifier);
    return tqdev_sdk_kernel_send_v3(&record);
}

int SmartControl_BusPlatform_Handle_ReqAndRsp(const char *buf, int /*buf_len*/, int rsp_cmd,
                                              const char *cmd_version, unsigned msg_req,
                                              SmartControl_handle_platform_req_and_rsp handle_req_rsp) {
    char response[1024] = {};
    const int result = handle_req_rsp(buf, response, sizeof response);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to handle ReqAndRsp:code=%#x\n", static_cast<unsigned>(result));
        return result;
    }
    if (rsp_cmd == 0) {
        tqdev_debug(LOG_ERROR, "Invalid rsp_cmd:%#x\n", static_cast<unsigned>(rsp_cmd));
        return 0;
    }
    return SmartControl_send_msg_to_platform(response, rsp_cmd, cmd_version, 1, msg_req);
}
