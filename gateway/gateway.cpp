// SPDX-License-Identifier: Apache-2.0
#include "gateway.h"

#include <exception>

#include <nlohmann/json.hpp>

#include "platform.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

constexpr std::size_t kShownErrorBytes = 400;

/// The hub behind the module's callbacks, which carry no context.
Hub *g_hub = nullptr;

/// No exception may pass through the module's frames: what does not fit into memory has failed.
template <typename Function>
int Guarded(Function function) noexcept {
    try {
        return function();
    } catch (const std::exception &) {
        return -1;
    }
}

int ReceiveMessage(tqDevSDK_SmartControl_msg_to_dev *message) {
    return Guarded([&] { return g_hub->Receive(*message); });
}

int GetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) {
    return Guarded([&] { return g_hub->Answer(*info); });
}

} // namespace

Gateway::Gateway(const Module &module, Output &output) : module_(module), output_(output), hub_(output) {
    g_hub = &hub_;
    tqhost::Observe([this](const tqhost::Observation &observation) {
        Guarded([&] {
            if (const auto line = PlatformLine(observation)) {
                output_.Show(*line);
            }
            return 0;
        });
    });
}

Gateway::~Gateway() {
    tqhost::Observe({});
}

int Gateway::Start(bool reset_report_all) {
    const tqDevSDK_SmartControl_init_info info = {{ReceiveMessage, GetRuntimeInfo}, reset_report_all ? 1 : 0};
    const int result = module_.init(&info);
    if (result != 0) {
        module_.fini();
        output_.ShowPrinted();
        return result;
    }
    tqhost::StartExtensions();
    tqhost::ShadowReportOwed();
    output_.ShowPrinted();
    return 0;
}

void Gateway::Stop() {
    tqhost::StopExtensions();
    module_.fini();
    output_.ShowPrinted();
}

void Gateway::Take(const std::string &line) {
    const std::size_t begin = line.find_first_not_of(" \t\r");
    if (begin == std::string::npos) {
        return;
    }
    try {
        if (line[begin] == '#') {
            output_.Heading(line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin));
            return;
        }
        Json json;
        try {
            json = ParseJson(line);
        } catch (const LineError &) {
            output_.Echo(Input::line, line);
            throw;
        }
        output_.Echo(Input::line, json.is_object() ? json : Json(line));
        const std::optional<int> result = CarryOut(parts_, json);
        output_.Show({{"result", result ? Json(*result) : Json()}});
    } catch (const std::exception &error) {
        ShowError(error.what());
    }
}

void Gateway::TakeEvent(const Json &event) {
    output_.Echo(Input::event, event);
    CarryOut(parts_, event);
}

void Gateway::Refuse(const std::string &reason) {
    output_.Echo(Input::refusal, reason);
    ShowError(reason);
}

void Gateway::ShowError(const std::string &reason) {
    output_.Show(
        {{"error", reason.size() <= kShownErrorBytes ? reason : reason.substr(0, kShownErrorBytes) + "…"}});
}

void Gateway::StatusPass() {
    tqhost::StatusPass();
}

} // namespace tqgateway
