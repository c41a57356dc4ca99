// SPDX-License-Identifier: Apache-2.0
#include "module_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "bscJSON.h"
#include "tqdev_debug.h"

ModuleTest *ModuleTest::current_ = nullptr;

namespace {

constexpr int kDomain = 7000;

// What all messages of the command channel have alike.
void CheckFixedFields(const tqhost::CommandMessage &message) {
    const tqdev_sdk_kernel_pubmsg &record = message.record;
    EXPECT_EQ(std::tuple(record.msg_domain_id, record.msg_qos, record.msg_body_len, record.externel_ctx_len, std::string(record.msg_compress)),
              std::tuple(UINT32{kDomain}, QOS_T0, message.body.size(), 0U, std::string()));
}

bool IsTraffic(const std::string &line) {
    return line.rfind("error: R:", 0) == 0 || line.rfind("error: s:", 0) == 0 || line.rfind("info: rsp msg:", 0) == 0;
}

} // namespace

std::string Printed(const std::string &json) {
    const std::unique_ptr<bscJSON, void (*)(bscJSON *)> tree(bscJSON_Parse(json.c_str()), bscJSON_Delete);
    EXPECT_NE(tree, nullptr) << "not JSON: " << json;
    const std::unique_ptr<char, void (*)(void *)> text(bscJSON_Print(tree.get()), free);
    return text != nullptr ? text.get() : "";
}

std::string Repeated(const std::string &element, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + element;
    }
    return text;
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
    TakeLog();
}

int ModuleTest::Init(int reset_report_all) {
    init_info.resetReportAll = reset_report_all;
    return tqDevSDK_SmartControl_init(&init_info);
}

Lines ModuleTest::Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(done_, {});
}

Lines ModuleTest::TakeLog() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(log_, {});
}

ModuleTest::Messages ModuleTest::TakeReceived() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(received_, {});
}

std::string ModuleTest::Command(int command, const std::optional<std::string> &body) {
    testing::internal::CaptureStdout();
    const bool delivered = tqhost::DeliverCommand({kDomain, command, 7, body});
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(delivered) << "no extension is loaded";
    return printed;
}

ModuleTest::Outcome ModuleTest::AfterCommand(int command, const std::optional<std::string> &body) {
    Command(command, body);
    return {Take(), TakeLog()};
}

tqDevSDK_report_status_info ModuleTest::StatusItem(int key) {
    const std::vector<tqDevSDK_report_status_info> items = tqhost::StatusItems();
    const auto found = std::find_if(items.begin(), items.end(), [=](const auto &item) { return item.status_value == static_cast<UINT32>(key); });
    return found != items.end() ? *found : throw std::out_of_range("no such status item");
}

int ModuleTest::Report(int type, const void *record) {
    tqDevSDK_SmartControl_Msg2Server_S msg{type, const_cast<void *>(record), 0};
    return tqDevSDK_SmartControl_Msg2Server(&msg);
}

int ModuleTest::RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    if (current_->on_message) {
        current_->on_message(*msg);
    }
    const int len = msg->type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES ? 0 : msg->len;
    const std::lock_guard<std::mutex> lock(current_->mutex_);
    current_->received_.emplace_back(msg->type, std::string(msg->data, static_cast<std::size_t>(len)));
    return 0;
}

int ModuleTest::OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) { return current_->on_query ? current_->on_query(*info) : -1; }

void ModuleTest::Record(const tqhost::Observation &observation) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string line = tqhost::Describe(observation);
    if (!std::holds_alternative<tqhost::LogLine>(observation)) {
        done_.push_back(line);
    } else if (!IsTraffic(line)) {
        log_.push_back(line);
    }
    if (const auto *message = std::get_if<tqhost::CommandMessage>(&observation)) {
        CheckFixedFields(*message);
    }
}
