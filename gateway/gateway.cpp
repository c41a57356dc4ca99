// SPDX-License-Identifier: Apache-2.0
// Between the lines and the module: start, stop, and every line's result or error.
#include "gateway.h"

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <system_error>

#include <poll.h>
#include <sys/epoll.h>

#include <nlohmann/json.hpp>

#include "application/application.h"
#include "input/line_source.h"
#include "lines/lines.h"
#include "platform.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

constexpr std::size_t kShownErrorBytes = 1000;

/// The hub behind the module's callbacks, which carry no context.
Hub *g_hub = nullptr;

int ReceiveMessage(tqDevSDK_SmartControl_msg_to_dev *message) {
    return Guarded([&] { return g_hub->Receive(*message); });
}

int GetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) {
    return Guarded([&] { return g_hub->Answer(*info); });
}

} // namespace

Gateway::Gateway(const Module &module, Output &output, const Session &session)
    : session_(session), module_(module), output_(output), due_(epoll_create1(EPOLL_CLOEXEC)),
      rules_(module, output), hub_(output, rules_) {
    Attend(rules_.DueFd(), [this] { rules_.CarryOutDue(); });
    tqhost::SetLogLevel(session.log);
    if (!session.serial.empty()) {
        tqhost::SetDeviceInfo("dev_subserial", session.serial);
    }
    g_hub = &hub_;
    tqhost::Observe([this](const tqhost::Observation &observation) {
        Guarded([&] {
            if (const auto line = PlatformLine(observation)) {
                output_.Show(*line);
            }
            return 0;
        });
    });
    try {
        Begin();
    } catch (const std::exception &) {
        Finish();
        throw;
    }
    tqhost::StartExtensions();
    tqhost::ShadowReportOwed();
    output_.ShowPrinted();
}

void Gateway::Begin() {
    if (module_.application != nullptr) {
        module_.application->Start(module_, output_);
        return;
    }
    const tqDevSDK_SmartControl_init_info info = {{ReceiveMessage, GetRuntimeInfo},
                                                  session_.reset_report_all ? 1 : 0};
    if (const int result = module_.init(&info); result != 0) {
        throw std::runtime_error("the module could not be initialised: " + std::to_string(result));
    }
}

Gateway::~Gateway() {
    tqhost::StopExtensions();
    Finish();
}

void Gateway::Finish() noexcept {
    if (module_.application != nullptr) {
        module_.application->Stop();
    } else {
        module_.fini();
    }
    Guarded([&] {
        output_.ShowPrinted();
        return 0;
    });
    tqhost::Observe({});
}

void Gateway::Take(const std::string &line) {
    try {
        const std::string text(Trimmed(line));
        if (SaysNothing(text)) {
            if (!text.empty()) {
                output_.Heading(text);
            }
            return;
        }
        Json json;
        try {
            json = ParseJson(text);
        } catch (const LineError &) {
            output_.Echo(Input::line, line, line);
            throw;
        }
        if (json.is_object()) {
            KeepText(json, kId, text);
        }
        output_.Echo(Input::line, json.is_object() ? json : Json(line), text);
        TakeJson(json, text);
    } catch (const std::exception &error) {
        ShowError(error.what());
    }
}

void Gateway::TakeJson(const Json &line, const std::string &text) {
    const Cause cause(line.contains(kId) ? &line[kId] : nullptr);
    try {
        const std::optional<int> result = CarryOut(parts_, line, text);
        output_.Show({{"result", result ? Json(*result) : Json()}});
    } catch (const std::exception &error) {
        ShowError(error.what());
    }
}

void Gateway::TakeEvent(const Json &event) {
    const std::string text = Dump(event);
    output_.Echo(Input::event, event, text);
    CarryOut(parts_, event, text);
    output_.ShowPrinted();
}

void Gateway::Refuse(const std::string &reason) {
    output_.Echo(Input::refusal, reason, reason);
    ShowError(reason);
}

void Gateway::ShowError(const std::string &reason) {
    output_.Show({{"error", Clipped(reason, kShownErrorBytes)}});
}

void Gateway::Attend(int fd, std::function<void()> carry_out) {
    epoll_event event{};
    event.events = EPOLLIN;
    if (epoll_ctl(due_.Get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for what is due");
    }
    attended_.push_back({fd, std::move(carry_out)});
}

void Gateway::CarryOutDue() {
    for (const Attended &attended : attended_) {
        pollfd due = {attended.fd, POLLIN, 0};
        if (poll(&due, 1, 0) > 0) {
            attended.carry_out();
        }
    }
    output_.ShowPrinted();
}

void Gateway::StatusPass() {
    tqhost::StatusPass();
    output_.ShowPrinted();
}

} // namespace tqgateway
