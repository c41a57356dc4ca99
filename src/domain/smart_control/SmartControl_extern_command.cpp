// SPDX-License-Identifier: Apache-2.0
// One row for each command that the platform sends.
#include "SmartControl_extern_command.h"

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func_action.h"
#include "SmartControl_func_signal.h"
#include "SmartControl_log.h"
#include "SmartControl_xml_proc.h"

namespace {

// How one command is served; the result is logged when it is not 0.
struct Route {
    int request;
    int response;
    int (*serve)(const tqdev_sdk_kernel_submsg &msg, const Route &route);
    SmartControl_handle_platform_req_and_rsp handler;
};

int ServeJson(const tqdev_sdk_kernel_submsg &msg, const Route &route) {
    return SmartControl_BusPlatform_Handle_ReqAndRsp(msg.buf, static_cast<int>(msg.buf_len), route.response,
                                                     kReplyVersion, msg.msg_seq, route.handler);
}

int ServeSignalQuery(const tqdev_sdk_kernel_submsg &msg, const Route & /*route*/) {
    return QueryChimeSignalReq(msg.buf, static_cast<int>(msg.buf_len), msg.msg_seq);
}

int ServeXml(const tqdev_sdk_kernel_submsg &msg, const Route &route) {
    return SmartControl_BusPlatform_XmlHandle_ReqAndRsp(route.response, 1, msg.msg_seq, msg.buf);
}

constexpr Route kRoutes[] = {
    {kCenPlt2PuSetDevCaptureReq, kCenPlt2PuSetDevCaptureRsp, ServeJson, SetDevCaptureReq},
    {kCenPlt2PuSetDevVideoReq, kCenPlt2PuSetDevVideoRsp, ServeJson, SetDevVideoReq},
    {kCenPlt2PuSetDevCaptureAndVideoReq, kCenPlt2PuSetDevCaptureAndVideoRsp, ServeJson, SetDevPicAndVideoReq},
    {kCenPlt2PuSetDevSleepReq, kCenPlt2PuSetDevSleepRsp, ServeJson, SetDevSleepReq},
    {kPu2CenPlt2PuQueryChimeSignalReq, kPu2CenPlt2PuQueryChimeSignalRsp, ServeSignalQuery, nullptr},
    {kCenPlt2PuSetChimeAlarmReq, kCenPlt2PuSetChimeAlarmRsp, ServeJson, SetChimeAlarmAction},
    {kCenPlt2PuSetKeyValueReq, kCenPlt2PuSetKeyValueRsp, ServeXml, nullptr},
};

} // namespace

void SmartControl_extend_data_route_cb(const tqdev_sdk_kernel_submsg *submsg, void * /*pUser*/) {
    if (submsg == nullptr) {
        Fail("NULL input param!");
        return;
    }
    // At error level, the counterpart of the line that each outgoing command leaves.
    tqdev_debug(LOG_ERROR, "R:%x\n", static_cast<unsigned>(submsg->msg_command_id));
    if (tqdev_get_sleep_status() != 0 && submsg->msg_command_id != kCenPlt2PuSetDevSleepReq) {
        tqdev_debug(LOG_DEBUG, "alarm: device sleep!\n");
        return;
    }
    for (const Route &route : kRoutes) {
        if (route.request == submsg->msg_command_id) {
            if (const int result = route.serve(*submsg, route); result != 0) {
                tqdev_debug(LOG_ERROR, "result_code %d\n", result);
            }
            return;
        }
    }
}
