// SPDX-License-Identifier: Apache-2.0
// Model messages: the first byte selects identifier and direction, the second the type of the value, the
// rest is its text.
#include "harness.h"

namespace {

constexpr tq_json_type kTypes[] = {
    model_data_type_bool,  model_data_type_int,    model_data_type_double, model_data_type_string,
    model_data_type_array, model_data_type_object, model_data_type_null,
};

struct Row {
    const char *identifier; // null: the text, however long
    const char *msg_type;
    bool is_reply;
};

constexpr Row kRows[] = {
    {"ExecManualScene", "operate", false},
    {"ExecManualScene", "set", false},
    {"AssistExecActionResult", "operate", false},
    {"AssistExecActionResult", "report_reply", true},
    {"AssistExecSceneResult", nullptr, true},
    {nullptr, "operate", false},
    {nullptr, nullptr, true},
};

bool Is(const tq_basic_info &info, const char *identifier) { return strncmp(info.identifier, identifier, sizeof info.identifier) == 0; }

void CheckRequest(int result) {
    const auto &replies = g_sent<tqhost::ModelReply>;
    Check(result == 0 && replies.size() == 1, "a request has one reply");
    const tqhost::ModelReply &reply = replies[0];
    const bool done = g_application.received == 1 && g_application.accepts;
    Check(reply.error.status == (done ? 200 : 400), "the reply is the outcome");
    Check(!done || (reply.text && !ResultIn(*reply.text)), "the reply is an empty object");
    CheckEnds(reply.error.err_code, reply.attributes.msg_type);
}

} // namespace

void Run(Input &input) {
    static const tq_domain_reg routers = *tqhost::ModelDomain("TQLink");
    const Row &row = input.Select(kRows);
    tq_model_msg msg = tq_model_msg();
    msg.type = kTypes[static_cast<uint8_t>(input.Take<uint8_t>() - '0') % std::size(kTypes)];
    const std::string text = input.TakeText();
    if (msg.type == model_data_type_string || msg.type == model_data_type_array || msg.type == model_data_type_object) {
        msg.value = text.c_str();
        msg.length = static_cast<int>(text.size());
    } else {
        memcpy(&msg.value_double, text.data(), std::min(text.size(), sizeof msg.value_double));
    }
    tq_basic_info info;
    memset(&info, 'x', sizeof info); // whoever reads on behind a field does not find an end
    info.type = tq_service;
    strncpy(info.resource_id, text.c_str(), sizeof info.resource_id); // not terminated when it fills the field
    strncpy(info.identifier, row.identifier != nullptr ? row.identifier : text.c_str(), sizeof info.identifier);

    if (row.is_reply) {
        tq_err_info status{};
        const bool expected = Is(info, "AssistExecActionResult") || Is(info, "AssistExecSceneResult");
        Check(routers.das_reply_router(&info, row.msg_type, &status, &msg, 7, 0) == (expected ? 0 : -1),
              "replies to the module's reports are expected");
        Check(g_application.received == 0 && g_sent<tqhost::ModelReply>.empty(), "a reply has no consequence");
    } else {
        CheckRequest(routers.das_req_router(&info, row.msg_type, &msg, 7, 0));
    }
}
