// SPDX-License-Identifier: Apache-2.0
#include "module_fixture.h"

#include <cstdlib>
#include <utility>

#include "bscJSON.h"
#include "tqdev_debug.h"

ModuleTest *ModuleTest::current_ = nullptr;

namespace {

constexpr int kDomain = 7000;

std::string Render(const tqhost::Call &call) {
    std::string line = call.function;
    if (!call.arguments.empty()) {
        line += " " + call.arguments;
    }
    return call.result == 0 ? line : line + " = " + std::to_string(call.result);
}

// Every command has these in common.
void CheckFixed(const tqhost::CommandMessage &message) {
    EXPECT_EQ(message.record.msg_domain_id, static_cast<UINT32>(kDomain));
    EXPECT_EQ(message.record.msg_qos, QOS_T0);
    EXPECT_EQ(message.record.msg_body_len, message.body.size());
    EXPECT_EQ(message.record.externel_ctx_len, 0U);
    EXPECT_STREQ(message.record.msg_compress, "");
}

std::string Render(const tqhost::CommandMessage &message) {
    CheckFixed(message);
    return "command " + std::to_string(message.record.msg_command_id) + " seq " + std::to_string(message.record.msg_seq) + " response " +
           std::to_string(message.record.msg_response) + " " + message.record.command_ver + " " + message.body;
}

std::string Render(const tqhost::RawModelMessage &message) {
    const tqdev_sdk_kernel_pubmsg_v3 &record = message.record;
    EXPECT_EQ(record.msg_response, 0);
    EXPECT_EQ(record.msg_qos, QOS_T0);
    EXPECT_EQ(record.msg_seq, 0U);
    EXPECT_STREQ(record.sub_serial, "");
    EXPECT_STREQ(record.msg_compress, "");
    return std::string("raw ") + record.module + " " + record.method + " " + record.msg_type + " " + record.resource_id + " " + record.resource_type +
           " " + record.ext_msg + " " + std::to_string(record.msg_body_len) + " " + message.body;
}

std::string Render(const tq_basic_info &info) {
    return std::string(info.identifier) + " of " + info.domain + " type " + std::to_string(info.type) + " resource " + info.resource_id + " " +
           info.resource_type + (info.subserial[0] != '\0' ? " subserial" : "");
}

std::string Render(const tq_msg_attr &attr) {
    return "seq " + std::to_string(attr.msg_seq) + "/" + std::to_string(attr.msg_seq_index) + " qos " + std::to_string(attr.msg_qos) + " [" +
           attr.msg_type + "]";
}

std::string Render(const tqhost::ModelReply &reply) {
    return "reply " + Render(reply.info) + " " + std::to_string(reply.error.status) + " " + reply.error.err_code + " '" + reply.error.err_msg + "' " +
           Render(reply.attributes) + " value " + std::to_string(reply.message.type) + " length " + std::to_string(reply.message.length) + " " +
           reply.text.value_or("null");
}

std::string Render(const tqhost::ModelReport &report) {
    return "model " + Render(report.info) + " " + Render(report.attributes) + " option " + std::to_string(report.option) + " " + report.text;
}

std::string Render(const tqhost::ShadowReport &report) {
    return "shadow " + report.key + " version " + std::to_string(report.version) + " reset " + std::to_string(report.reset_type) + " type " +
           std::to_string(report.type) + " " + report.text;
}

std::string Render(const tqhost::LogLine &line) {
    static const char *const kLevels[] = {"non", "error", "warning", "debug", "info"};
    return std::string(kLevels[line.level]) + ": " + line.text + (line.ended ? "" : " (no newline)");
}

bool IsTraffic(const std::string &line) {
    return line.rfind("error: R:", 0) == 0 || line.rfind("error: s:", 0) == 0 || line.rfind("info: rsp msg:", 0) == 0;
}

} // namespace

std::string Printed(const std::string &json) {
    bscJSON *tree = bscJSON_Parse(json.c_str());
    EXPECT_NE(tree, nullptr) << "not JSON: " << json;
    char *text = bscJSON_Print(tree);
    std::string printed(text != nullptr ? text : "");
    free(text);
    bscJSON_Delete(tree);
    return printed;
}

char *HeapText(const std::string &text) { return strdup(text.c_str()); }

std::ostream &operator<<(std::ostream &out, const Lines &lines) {
    for (const std::string &line : lines) {
        out << "\n    " << line;
    }
    return out;
}

ModuleTest::ModuleTest() {
    current_ = this;
    init_info.cb = {RecvMsg, OnGetRuntimeInfo};
    tqhost::Reset();
    tqhost::SetLogLevel(LOG_INFO);
    tqhost::Observe([this](const tqhost::Observation &observation) { Record(observation); });
}

ModuleTest::~ModuleTest() {
    tqDevSDK_SmartControl_fini();
    tqhost::Observe({});
    current_ = nullptr;
}

void ModuleTest::SetUp() {
    ASSERT_EQ(Init(), 0);
    // The caches of the status items outlive init and fini.
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        item.status_reset();
    }
    Take();
    TakeWholeLog();
}

int ModuleTest::Init(int reset_report_all) {
    init_info.resetReportAll = reset_report_all;
    return tqDevSDK_SmartControl_init(&init_info);
}

Lines ModuleTest::Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(done_, {});
}

Lines ModuleTest::TakeWholeLog() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(log_, {});
}

Lines ModuleTest::TakeLog() {
    Lines kept;
    for (const std::string &line : TakeWholeLog()) {
        if (!IsTraffic(line)) {
            kept.push_back(line);
        }
    }
    return kept;
}

std::vector<tqDevSDK_DCLog_DeliverParam_S> ModuleTest::TakeDclog() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(dclog_, {});
}

void ModuleTest::Command(int command, const std::optional<std::string> &body, UINT32 seq) {
    tqhost::PlatformCommand request;
    request.domain = kDomain;
    request.command = command;
    request.seq = seq;
    request.body = body;
    ASSERT_TRUE(tqhost::DeliverCommand(request)) << "no extension is loaded";
}

ModuleTest::Outcome ModuleTest::AfterCommand(int command, const std::optional<std::string> &body, UINT32 seq) {
    Command(command, body, seq);
    return {Take(), TakeLog()};
}

int ModuleTest::Report(int type, const void *record) {
    tqDevSDK_SmartControl_Msg2Server_S msg{type, const_cast<void *>(record), 0};
    return tqDevSDK_SmartControl_Msg2Server(&msg);
}

int ModuleTest::RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    if (current_->on_message) {
        current_->on_message(*msg);
    }
    // The rule messages give a length that is not that of their record.
    const bool rule_text =
        msg->type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES || msg->type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES;
    const bool rules = msg->type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES;
    const std::size_t size = rule_text ? sizeof(tqDevSDK_SmartControl_Rule_S)
                             : rules   ? sizeof(tqDevSDK_SmartControl_ConfigRules)
                                       : static_cast<std::size_t>(msg->len);
    const std::lock_guard<std::mutex> lock(current_->mutex_);
    current_->received_.push_back({msg->type, msg->len, {msg->data, msg->data + size}});
    return current_->recv_result;
}

int ModuleTest::OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) { return current_->on_query ? current_->on_query(*info) : -1; }

void ModuleTest::Record(const tqhost::Observation &observation) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::visit(
        [this](const auto &seen) {
            using Seen = std::decay_t<decltype(seen)>;
            if constexpr (std::is_same_v<Seen, tqhost::LogLine>) {
                log_.push_back(Render(seen));
            } else if constexpr (std::is_same_v<Seen, tqhost::DclogRecord>) {
                dclog_.push_back(seen.record);
            } else {
                done_.push_back(Render(seen));
            }
        },
        observation);
}
