// SPDX-License-Identifier: Apache-2.0
// Between the lines and the module: start, stop, and every line's result or error.
#include "gateway.h"

#include <exception>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "lines.h"
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

Gateway::Gateway(const Module &module, Output &output, bool reset_report_all)
    : module_(module), output_(output), hub_(output) {
    g_hub = &hub_;
    tqhost::Observe([this](const tqhost::Observation &observation) {
        Guarded([&] {
            if (const auto line = PlatformLine(observation)) {
                output_.Show(*line);
            }
            return 0;
        });
    });
    const tqDevSDK_SmartControl_init_info info = {{ReceiveMessage, GetRuntimeInfo}, reset_report_all ? 1 : 0};
    if (const int result = module_.init(&info); result != 0) {
        Finish();
        throw std::runtime_error("the module could not be initialised: " + std::to_string(result));
    }
    tqhost::StartExtensions();
    tqhost::ShadowReportOwed();
    output_.ShowPrinted();
}

Gateway::~Gateway() {
    tqhost::StopExtensions();
    Finish();
}

void Gateway::Finish() noexcept {
    module_.fini();
    Guarded([&] {
        output_.ShowPrinted();
        return 0;
    });
    tqhost::Observe({});
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
    output_.ShowPrinted();
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
    output_.ShowPrinted();
}

} // namespace tqgateway
