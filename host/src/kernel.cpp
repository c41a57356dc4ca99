// SPDX-License-Identifier: Apache-2.0
// The kernel: extensions, the command channel, device information, redirected keys.
#include "tqdev_sdk_kernel.h"

#include "host_state.h"
#include "tqDevSDK_Common_Module.h"

using tqhost::FieldText;
using tqhost::Locked;

namespace {

std::string BodyText(const UINT8 *body, UINT32 length) {
    return body == nullptr ? std::string() : std::string(reinterpret_cast<const char *>(body), length);
}

auto HasDomain(int domain) {
    return [=](const tqdev_sdk_kernel_extend &extend) { return extend.domain_id == domain; };
}

auto HasKey(const std::string &key) {
    return
        [=](const tqDevSDK_Common_Module_Redirect_S &redirect) { return FieldText(redirect.acKey) == key; };
}

} // namespace

int tqdev_sdk_kernel_extend_load(const tqdev_sdk_kernel_extend *extend) {
    if (extend == nullptr) {
        return -1;
    }
    const std::string arguments = std::to_string(extend->domain_id) + " " +
                                  FieldText(extend->extend_module_name) + " " +
                                  FieldText(extend->extend_module_version);
    return tqhost::ObservedCall(__func__, arguments, [&](tqhost::State &state) {
        tqhost::Put(state.extensions, HasDomain(extend->domain_id), *extend);
        return 0;
    });
}

int tqdev_sdk_kernel_send(const tqdev_sdk_kernel_pubmsg *msg) {
    if (msg == nullptr) {
        return -1;
    }
    const int result = tqhost::TakeFailure(__func__);
    if (result == 0) {
        tqhost::CommandMessage message{*msg, BodyText(msg->msg_body, msg->msg_body_len)};
        message.record.msg_body = nullptr;
        message.record.externel_ctx = nullptr;
        tqhost::Notify(message);
    }
    return result;
}

int tqdev_sdk_kernel_send_v3(const tqdev_sdk_kernel_pubmsg_v3 *msg) {
    if (msg == nullptr) {
        return -1;
    }
    const int result = tqhost::TakeFailure(__func__);
    if (result == 0) {
        tqhost::RawModelMessage message{*msg, BodyText(msg->msg_body, msg->msg_body_len)};
        message.record.msg_body = nullptr;
        tqhost::Notify(message);
    }
    return result;
}

const char *tqdev_sdk_kernel_getdevinfo_bykey(const char *key) {
    if (key == nullptr || tqhost::TakeFailure(__func__) != 0) {
        return nullptr;
    }
    const Locked state;
    const auto found = state->device_info.find(key);
    return found == state->device_info.end() ? nullptr : found->second;
}

int tqdev_get_sleep_status(void) {
    return Locked()->sleep_status;
}

int tqDevSDK_Common_Module_RedirectReg(const tqDevSDK_Common_Module_Redirect_S *redirect) {
    if (redirect == nullptr) {
        return -1;
    }
    const std::string key = FieldText(redirect->acKey);
    const std::string arguments =
        key + " " + std::to_string(redirect->uiCmdId) + " " + std::to_string(redirect->uiDomainId);
    return tqhost::ObservedCall(__func__, arguments, [&](tqhost::State &state) {
        tqhost::Put(state.redirections, HasKey(key), *redirect);
        return 0;
    });
}

namespace tqhost {
namespace {

std::vector<tqdev_sdk_kernel_extend> Extensions() {
    return Locked()->extensions;
}

} // namespace

void StartExtensions() {
    for (const tqdev_sdk_kernel_extend &extend : Extensions()) {
        if (extend.tqdev_sdk_kernel_extend_start != nullptr) {
            extend.tqdev_sdk_kernel_extend_start(extend.pUser);
        }
    }
}

void StopExtensions() {
    for (const tqdev_sdk_kernel_extend &extend : Extensions()) {
        if (extend.tqdev_sdk_kernel_extend_stop != nullptr) {
            extend.tqdev_sdk_kernel_extend_stop(extend.pUser);
        }
    }
}

bool DeliverCommand(const PlatformCommand &command) {
    const std::optional<tqdev_sdk_kernel_extend> extend = Extension(command.domain);
    if (!extend || extend->tqdev_sdk_kernel_extend_data_route == nullptr) {
        return false;
    }

    std::unique_ptr<char[]> body;
    tqdev_sdk_kernel_submsg msg{};
    msg.msg_seq = command.seq;
    if (command.body) {
        body = ExactCopy(*command.body);
        msg.buf = body.get();
        msg.buf_len = static_cast<UINT32>(command.body->size());
    }
    msg.msg_domain_id = command.domain;
    msg.msg_command_id = command.command;
    SetField(msg.command_ver, command.version);
    extend->tqdev_sdk_kernel_extend_data_route(&msg, extend->pUser);
    return true;
}

void DeliverEvent(sdk_kernel_event_type type) {
    tqdev_sdk_kernel_event event{};
    event.event_type = type;
    for (const tqdev_sdk_kernel_extend &extend : Extensions()) {
        if (extend.tqdev_sdk_kernel_extend_event != nullptr) {
            extend.tqdev_sdk_kernel_extend_event(&event, extend.pUser);
        }
    }
}

std::optional<tqdev_sdk_kernel_extend> Extension(int domain) {
    const Locked state;
    const tqdev_sdk_kernel_extend *extend = Find(state->extensions, HasDomain(domain));
    return extend == nullptr ? std::nullopt : std::optional(*extend);
}

std::optional<tqDevSDK_Common_Module_Redirect_S> Redirection(const std::string &key) {
    const Locked state;
    const tqDevSDK_Common_Module_Redirect_S *redirect = Find(state->redirections, HasKey(key));
    return redirect == nullptr ? std::nullopt : std::optional(*redirect);
}

} // namespace tqhost
