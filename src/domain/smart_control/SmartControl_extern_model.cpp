// SPDX-License-Identifier: Apache-2.0
// Requests and replies of the model domain.
#include "SmartControl_extern_model.h"

#include "SmartControl_enum.h"
#include "SmartControl_func_scene.h"
#include "SmartControl_json.h"
#include "SmartControl_model.h"
#include "tq_model.h"

namespace {

// The platform's answers to undone-action and undone-scene reports carry these identifiers.
bool IsAssistResult(const tq_basic_info &info) {
    return Equals(info.identifier, "AssistExecActionResult") ||
           Equals(info.identifier, "AssistExecSceneResult");
}

// The text of a message; null for types that carry none.
const char *TextOf(const tq_model_msg &msg) {
    const int type = NumberOf(msg.type);
    return type == model_data_type_string || type == model_data_type_array || type == model_data_type_object
               ? msg.value
               : nullptr;
}

constexpr tq_err_info MakeDone() {
    tq_err_info info{};
    info.status = 200;
    PutText(info.err_code, "0");
    PutText(info.err_msg, "success!");
    return info;
}

constexpr tq_err_info kDone = MakeDone();

tq_err_info MakeFailed(int code) {
    tq_err_info info{};
    info.status = 400;
    CopyText(info.err_code, static_cast<const char *>(DecimalText(code)));
    CopyText(info.err_msg, "manage failed!");
    return info;
}

// Answers a request with a text, which may be null, and the result of its handler; the host's result.
int Reply(const tq_basic_info &basic_info, const char *msg_type, unsigned msg_seq, const char *text,
          int result) {
    tq_model_msg reply{};
    reply.value = text;
    tq_msg_attr attr{};
    tq_err_info failed;
    const tq_err_info *status = &kDone;
    if (result == 0) {
        reply.type = model_data_type_object;
        tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req rsp:%s\n", TextOrEmpty(text));
    } else {
        failed = MakeFailed(result);
        status = &failed;
        reply.type = model_data_type_null;
        tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req,reply_to_das,msg_type:%s\n", attr.msg_type);
    }
    attr.msg_seq = msg_seq;
    if (NumberOf(basic_info.type) == tq_service && strcmp(TextOrEmpty(msg_type), "operate") == 0) {
        CopyText(attr.msg_type, "operate_reply");
    }
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req,reply_to_das,msg_type:%s\n", attr.msg_type);
    return tq_model_reply_to_das(&basic_info, &reply, status, &attr);
}

int SmartControl_das_req_router_req(tq_basic_info *basic_info, const char *msg_type, tq_model_msg *buf,
                                    unsigned msg_seq, unsigned /*msg_seq_index*/) {
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req\n");
    if (basic_info == nullptr || buf == nullptr) {
        Fail("motion_detect_area_req,input null");
        return -1;
    }
    const char *text = TextOf(*buf);
    tqdev_debug(LOG_INFO, "identifier:%.64s, res_id:%.64s,msg_type:%s, type:%d\n", basic_info->identifier,
                basic_info->resource_id, TextOrEmpty(msg_type), NumberOf(buf->type));
    if (text != nullptr) {
        tqdev_debug(LOG_ERROR, "buf:%s\n", text);
    }
    // The assist results are expected as replies only; as requests they are refused like any other.
    char *reply_text = nullptr;
    const int result = Equals(basic_info->identifier, "ExecManualScene")
                           ? ReportManualScene(text, buf->length, &reply_text)
                           : -1;
    const JsonText reply_owner(reply_text);
    return Reply(*basic_info, msg_type, msg_seq, reply_text, result);
}

int SmartControl_das_req_router_rsp(tq_basic_info *basic_info, const char *msg_type, tq_err_info * /*status*/,
                                    tq_model_msg *buf, unsigned /*msg_seq*/, unsigned /*msg_seq_index*/) {
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_rsp");
    if (basic_info == nullptr || buf == nullptr) {
        Fail("SmartControl_das_req_router_rsp,input null");
        return -1;
    }
    tqdev_debug(LOG_INFO, "SmartControl_das_req_router_req,res_id:%.64s,msg_type:%s, type:%d\n",
                basic_info->resource_id, TextOrEmpty(msg_type), NumberOf(buf->type));
    return IsAssistResult(*basic_info) ? 0 : -1;
}

} // namespace

void SmartControl_extern_model_init() {
    tq_domain_reg reg{};
    CopyText(reg.domain, kModelDomain);
    reg.das_req_router = SmartControl_das_req_router_req;
    reg.das_reply_router = SmartControl_das_req_router_rsp;
    if (tq_model_domain_reg(&reg) != 0) {
        Fail("Failed to register model domain.");
    }
}

int SmartControl_extern_model_fini() {
    const int result = tq_model_domain_dereg(kModelDomain, nullptr);
    if (result != 0) {
        Fail("tq_model_domain_dereg err");
    }
    return result;
}
