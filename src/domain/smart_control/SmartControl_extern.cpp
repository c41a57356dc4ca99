// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_extern.h"

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func.h"
#include "SmartControl_model.h"
#include "SmartControl_xml_proc.h"
#include "tqDevSDK_Common_Module.h"
#include "tqDevSDK_report_status.h"
#include "tq_model.h"
#include "tqdev_sdk_kernel.h"

namespace {

// ---- Commands of the domain ----

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

void SmartControl_extend_data_route_cb(const tqdev_sdk_kernel_submsg *submsg, void * /*pUser*/) {
    if (submsg == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL input param!\n");
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

// ---- Life and events of the extension ----

void SmartControl_extend_start_cb(void * /*pUser*/) {
    tqdev_debug(LOG_DEBUG, "SmartControl_extend_start_cb\n");
}

void SmartControl_extend_stop_cb(void * /*pUser*/) {
    tqdev_debug(LOG_DEBUG, "SmartControl_extend_stop_cb\n");
}

void SmartControl_extend_event_cb(const tqdev_sdk_kernel_event *event, void * /*pUser*/) {
    if (event == nullptr) {
        return;
    }
    tqdev_debug(LOG_DEBUG, "SmartControl_extend_event type %d\n", event->event_type);
    if (event->event_type != sdk_kernel_event_online && event->event_type != sdk_kernel_event_switchover) {
        return;
    }
    // A platform that was out of reach may have missed the settings.
    for (const int key :
         {TQDEVSDK_ReportDeviceIcrDss, TQDEVSDK_ReportDeviceScreenOvertime, TQDEVSDK_ReportDeviceVideoTime,
          TQDEVSDK_ReportDeviceScreenAutoRaise, TQDEVSDK_ReportDeviceScreenLightness}) {
        tqDevSDK_report_set_force_report(key);
    }
}

// ---- Model domain ----

// The platform's answers to undone-action and undone-scene reports carry these identifiers.
bool IsAssistResult(const tq_basic_info &info) {
    return Equals(info.identifier, "AssistExecActionResult") ||
           Equals(info.identifier, "AssistExecSceneResult");
}

bool HasText(const tq_model_msg &msg) {
    return msg.type == model_data_type_string || msg.type == model_data_type_array ||
           msg.type == model_data_type_object;
}

int SmartControl_das_req_router_req(tq_basic_info *basic_info, const char *msg_type, tq_model_msg *buf,
                                    unsigned msg_seq, unsigned /*msg_seq_index*/) {
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req\n");
    if (basic_info == nullptr || buf == nullptr) {
        tqdev_debug(LOG_ERROR, "motion_detect_area_req,input null\n");
        return -1;
    }
    const char *text = HasText(*buf) ? buf->value : nullptr;
    tqdev_debug(LOG_INFO, "identifier:%.64s, res_id:%.64s,msg_type:%s, type:%d\n", basic_info->identifier,
                basic_info->resource_id, TextOrEmpty(msg_type), buf->type);
    if (text != nullptr) {
        tqdev_debug(LOG_ERROR, "buf:%s\n", text);
    }

    // The assist results are expected as replies only; as requests they are refused like any other.
    char *reply_text = nullptr;
    const int result = Equals(basic_info->identifier, "ExecManualScene")
                           ? ReportManualScene(text, buf->length, &reply_text)
                           : -1;
    const JsonText reply_owner(reply_text);

    tq_model_msg reply{};
    tq_err_info err{};
    tq_msg_attr attr{};
    reply.value = reply_text;
    if (result == 0) {
        err.status = 200;
        CopyText(err.err_msg, "success!");
        reply.type = model_data_type_object;
        tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req rsp:%s\n", TextOrEmpty(reply_text));
    } else {
        err.status = 400;
        CopyText(err.err_msg, "manage failed!");
        reply.type = model_data_type_null;
        tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req,reply_to_das,msg_type:%s\n", attr.msg_type);
    }
    TextWriter(err.err_code).AddDecimal(result);
    attr.msg_seq = msg_seq;
    if (basic_info->type == tq_service && strcmp(TextOrEmpty(msg_type), "operate") == 0) {
        CopyText(attr.msg_type, "operate_reply");
    }
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req,reply_to_das,msg_type:%s\n", attr.msg_type);
    return tq_model_reply_to_das(basic_info, &reply, &err, &attr);
}

int SmartControl_das_req_router_rsp(tq_basic_info *basic_info, const char *msg_type, tq_err_info * /*status*/,
                                    tq_model_msg *buf, unsigned /*msg_seq*/, unsigned /*msg_seq_index*/) {
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_rsp");
    if (basic_info == nullptr || buf == nullptr) {
        tqdev_debug(LOG_ERROR, "SmartControl_das_req_router_rsp,input null\n");
        return -1;
    }
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req,res_id:%.64s,msg_type:%s, type:%d\n",
                basic_info->resource_id, TextOrEmpty(msg_type), buf->type);
    return IsAssistResult(*basic_info) ? 0 : -1;
}

// ---- Registration ----

int LoadExtension() {
    tqdev_sdk_kernel_extend extend{};
    extend.domain_id = kSmartControlDomain;
    extend.tqdev_sdk_kernel_extend_start = SmartControl_extend_start_cb;
    extend.tqdev_sdk_kernel_extend_stop = SmartControl_extend_stop_cb;
    extend.tqdev_sdk_kernel_extend_data_route = SmartControl_extend_data_route_cb;
    extend.tqdev_sdk_kernel_extend_event = SmartControl_extend_event_cb;
    CopyText(extend.extend_module_name, "smart_control");
    CopyText(extend.extend_module_version, kReportVersion);
    return tqdev_sdk_kernel_extend_load(&extend);
}

void RegisterModelDomain() {
    tq_domain_reg reg{};
    CopyText(reg.domain, kModelDomain);
    reg.das_req_router = SmartControl_das_req_router_req;
    reg.das_reply_router = SmartControl_das_req_router_rsp;
    tq_model_domain_reg(&reg);
}

void RedirectKeys() {
    tqDevSDK_Common_Module_Redirect_S redirect{};
    redirect.uiCmdId = kCenPlt2PuSetKeyValueReq;
    redirect.uiDomainId = kSmartControlDomain;
    for (const char *key : {"device_ICR_DSS", "device_screen_overtime", "device_video_time",
                            "device_auto_rouse", "device_screen_lightness"}) {
        CopyText(redirect.acKey, key);
        if (tqDevSDK_Common_Module_RedirectReg(&redirect) != 0) {
            tqdev_debug(LOG_ERROR, "SmartControl failed to register type: key of %s.\n", key);
        }
    }
}

} // namespace

int SmartControl_extern_init() {
    tqdev_debug(LOG_DEBUG, "SmartControl_extern_init\n");
    if (LoadExtension() != 0) {
        tqdev_debug(LOG_ERROR, "Failed to extend load of smart control module!\n");
        return -1;
    }
    RegisterModelDomain();
    RedirectKeys();
    return 0;
}

int SmartControl_extern_fini() {
    const int result = tq_model_domain_dereg(kModelDomain, nullptr);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "tq_model_domain_dereg err\n");
    }
    return result;
}
