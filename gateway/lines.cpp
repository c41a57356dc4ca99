// SPDX-License-Identifier: Apache-2.0
// The kinds of lines: one function and one row each.
#include "lines.h"

#include <map>

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "names.h"
#include "records.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

/// The result of a call that has one only for targets that are registered.
int Registered(std::optional<int> result, const char *key, const std::string &target) {
    if (!result) {
        throw LineError(std::string(key) + ": " + target + " is not registered");
    }
    return *result;
}

// ---- The platform. ----

std::optional<int> Deliver(const tqhost::PlatformCommand &command) {
    if (!tqhost::DeliverCommand(command)) {
        throw LineError("domain: " + std::to_string(command.domain) + " is not registered");
    }
    return std::nullopt;
}

std::optional<int> Command(const Parts &, ObjectReader &line) {
    tqhost::PlatformCommand command;
    command.command = line.Whole<int>("command");
    line.Whole("domain", command.domain);
    line.Whole("seq", command.seq);
    line.Text("version", sizeof(tqdev_sdk_kernel_submsg::command_ver) - 1, command.version);
    if (const Json *body = line.Find("body")) {
        command.body = AsText(*body);
    }
    line.Done();
    return Deliver(command);
}

std::string XmlText(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&') {
            escaped += "&amp;";
        } else if (c == '<') {
            escaped += "&lt;";
        } else if (c == '>') {
            escaped += "&gt;";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::optional<int> Set(const Parts &, ObjectReader &line) {
    const std::string key = line.Text("set", SIZE_MAX);
    const std::string value = AsText(line.Get("value"));
    tqhost::PlatformCommand command;
    line.Whole("seq", command.seq);
    line.Done();
    const auto redirect = tqhost::Redirection(key);
    if (!redirect) {
        throw LineError("set: " + key + " is not registered");
    }
    command.domain = static_cast<int>(redirect->uiDomainId);
    command.command = static_cast<int>(redirect->uiCmdId);
    command.body = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Request><Type>" + XmlText(key) +
                   "</Type><Value>" + XmlText(value) + "</Value></Request>";
    return Deliver(command);
}

tq_json_type ValueType(const Json &value) {
    switch (value.type()) {
    case Json::value_t::string:
        return model_data_type_string;
    case Json::value_t::boolean:
        return model_data_type_bool;
    case Json::value_t::array:
        return model_data_type_array;
    case Json::value_t::object:
        return model_data_type_object;
    case Json::value_t::null:
        return model_data_type_null;
    default:
        return model_data_type_double;
    }
}

tqhost::ModelMessage ReadModel(ObjectReader &line, const char *key) {
    constexpr std::size_t kWidth = sizeof(tq_basic_info::identifier) - 1;
    tqhost::ModelMessage message;
    message.identifier = line.Text(key, kWidth);
    line.Text("msg_type", kWidth, message.msg_type);
    line.Text("resource_id", kWidth, message.resource_id);
    line.Whole("seq", message.seq);
    if (line.Find("type") != nullptr) {
        const std::string type = line.Text("type", SIZE_MAX);
        message.type = static_cast<tq_model_type>(RowNamed(type, "type", kModelTypes).number);
    }
    const Json *body = line.Find("body");
    message.value_type = body == nullptr ? model_data_type_null : ValueType(*body);
    if (body != nullptr && (body->is_string() || body->is_structured())) {
        message.text = AsText(*body);
    }
    return message;
}

std::optional<int> Model(const Parts &, ObjectReader &line) {
    const tqhost::ModelMessage message = ReadModel(line, "model");
    line.Done();
    return Registered(tqhost::DeliverModelRequest(message), "model", "domain " + message.domain);
}

std::optional<int> ModelReply(const Parts &, ObjectReader &line) {
    tqhost::ModelMessage message = ReadModel(line, "model_reply");
    line.Whole("status", message.status);
    line.Done();
    return Registered(tqhost::DeliverModelReply(message), "model_reply", "domain " + message.domain);
}

std::optional<int> Shadow(const Parts &, ObjectReader &line) {
    const std::string key = line.Text("shadow", SIZE_MAX);
    const std::string value = AsText(line.Get("value"));
    line.Done();
    return Registered(tqhost::ShadowDesire(key, value), "shadow", key);
}

std::optional<int> ShadowGet(const Parts &, ObjectReader &line) {
    const std::string key = line.Text("shadow_get", SIZE_MAX);
    line.Done();
    return Registered(tqhost::ShadowGet(key), "shadow_get", key);
}

// ---- The host. ----

constexpr NamedNumber kKernelEvents[] = {
    {"online", sdk_kernel_event_online},
    {"break", sdk_kernel_event_break},
    {"switchover", sdk_kernel_event_switchover},
    {"invaild_authcode", sdk_kernel_event_invaild_authcode},
    {"fast_reg_online", sdk_kernel_event_fast_reg_online},
    {"runtime_err", sdk_kernel_event_runtime_err},
    {"reconnect_success", sdk_kernel_event_reconnect_success},
    {"heartbeat_interval_changed", sdk_kernel_event_heartbeat_interval_changed},
    {"bind_hub", sdk_kernel_event_bind_hub},
};

std::optional<int> KernelEvent(const Parts &, ObjectReader &line) {
    const std::string name = line.Text("kernel_event", SIZE_MAX);
    const NamedNumber &event = RowNamed(name, "kernel_event", kKernelEvents);
    line.Done();
    tqhost::DeliverEvent(static_cast<sdk_kernel_event_type>(event.number));
    return std::nullopt;
}

std::optional<int> StatusPass(const Parts &, ObjectReader &line) {
    if (line.Get("status_pass") != true) {
        throw LineError("status_pass: expected true");
    }
    line.Done();
    tqhost::StatusPass();
    return std::nullopt;
}

std::optional<int> StatusReset(const Parts &, ObjectReader &line) {
    const int key = line.Whole<int>("status_reset");
    line.Done();
    return Registered(tqhost::StatusReset(key), "status_reset", std::to_string(key));
}

std::optional<int> Host(const Parts &, ObjectReader &line) {
    ObjectReader host(line.Get("host"), "host");
    line.Done();
    std::map<std::string, std::optional<std::string>> devinfo;
    std::map<std::string, int> failures;
    if (const Json *texts = host.Find("devinfo")) {
        ObjectReader reader(*texts, host.Path("devinfo"));
        for (const auto &member : texts->items()) {
            devinfo[member.key()] = member.value().is_null()
                                        ? std::nullopt
                                        : std::optional(reader.Text(member.key().c_str(), SIZE_MAX));
        }
    }
    if (const Json *codes = host.Find("fail")) {
        ObjectReader reader(*codes, host.Path("fail"));
        for (const auto &member : codes->items()) {
            if (!tqhost::CanFail(member.key())) {
                throw LineError(reader.Path(member.key().c_str()) +
                                ": the host has no such function that can fail");
            }
            failures[member.key()] = reader.Whole<int>(member.key().c_str());
        }
    }
    const auto flag = [&](const char *key) {
        const Json *value = host.Find(key);
        return value == nullptr ? std::nullopt : std::optional(ReadWhole(*value, host.Path(key), 0, 1) != 0);
    };
    const std::optional<bool> sleep = flag("sleep");
    const std::optional<bool> dclog = flag("dclog");
    host.Done();

    for (const auto &[function, code] : failures) {
        tqhost::Fail(function, code);
    }
    for (const auto &[key, text] : devinfo) {
        tqhost::SetDeviceInfo(key, text);
    }
    if (sleep) {
        tqhost::SetSleepStatus(*sleep ? 1 : 0);
    }
    if (dclog) {
        tqhost::SetDclogEnabled(*dclog);
    }
    return std::nullopt;
}

// ---- The device. ----

std::optional<int> HubChange(const Parts &parts, ObjectReader &line) {
    const Json &changes = line.Get("hub");
    line.Done();
    parts.hub.Change(changes);
    return std::nullopt;
}

std::optional<int> SendReport(const Parts &parts, ObjectReader &line) {
    const Report report = ReadReport(line);
    if (report.dclog) {
        const tqDevSDK_SmartControl_DclogMsg_S message = {report.type, report.record.get(), report.length};
        return parts.module.push_dclog(&message);
    }
    const tqDevSDK_SmartControl_Msg2Server_S message = {report.type, report.record.get(), report.length};
    return parts.module.msg_to_server(&message);
}

constexpr LineKind kLineKinds[] = {
    {"command", Command, "platform", "module", ""},
    {"set", Set, "platform", "module", "set "},
    {"model", Model, "platform", "module", "model "},
    {"model_reply", ModelReply, "platform", "module", "reply "},
    {"shadow", Shadow, "platform", "module", "shadow "},
    {"shadow_get", ShadowGet, "platform", "module", "get "},
    {"kernel_event", KernelEvent, "host", "module", "event "},
    {"status_pass", StatusPass, "host", "module", "status pass"},
    {"status_reset", StatusReset, "host", "module", "status reset "},
    {"report", SendReport, "device", "module", "report "},
    {"hub", HubChange, "you", "device", "change"},
    {"host", Host, "you", "host", "change"},
};

} // namespace

const LineKind *KindOf(const Json &line) {
    for (const LineKind &row : kLineKinds) {
        if (line.contains(row.key)) {
            return &row;
        }
    }
    return nullptr;
}

std::optional<int> CarryOut(const Parts &parts, const Json &line) {
    ObjectReader reader(line, "");
    const LineKind *kind = KindOf(line);
    std::string known;
    for (const LineKind &row : kLineKinds) {
        if (kind != nullptr && kind != &row && line.contains(row.key)) {
            throw LineError("both " + std::string(kind->key) + " and " + row.key + ": expected one of them");
        }
        known += (known.empty() ? "" : ", ") + std::string(row.key);
    }
    if (kind == nullptr) {
        throw LineError("no known key: expected one of " + known);
    }
    return kind->carry_out(parts, reader);
}

} // namespace tqgateway
