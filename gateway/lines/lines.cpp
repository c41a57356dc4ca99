// SPDX-License-Identifier: Apache-2.0
// The kinds of lines: one function and one row each.
#include "lines/lines.h"

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include <nlohmann/json.hpp>

#include "check/command.h"
#include "gateway.h"
#include "input/script.h"
#include "lines/names.h"
#include "lines/records.h"
#include "lines/reference.h"
#include "lines/rule_lines.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

/// Refuses a line that acts for the virtual hub where there is none.
void NeedVirtualHub(const Parts &parts, const char *key) {
    if (parts.module.application != nullptr) {
        throw LineError(std::string(key) + ": there is no virtual hub, --application has taken its place");
    }
}

/// What the row of a kind knows, wherever the kind is; for the functions above the rows.
std::vector<std::string> KnownNames(const char *key);

LineError NotRegistered(const char *key, const std::string &name) {
    const std::vector<std::string> names = KnownNames(key);
    const bool known = std::find(names.begin(), names.end(), name) != names.end(); // by a module that runs
    return LineError(std::string(key) + ": " + name + " is not registered" +
                     (names.empty() || known ? "" : ", " + Expected(name, names)));
}

/// The result of a call that has one only for targets that are registered.
int Registered(std::optional<int> result, const char *key, const std::string &target) {
    if (!result) {
        throw NotRegistered(key, target);
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
    if (line.Find("body") != nullptr) {
        command.body = line.AsWritten("body");
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
    const std::string value = line.AsWritten("value");
    tqhost::PlatformCommand command;
    line.Whole("seq", command.seq);
    line.Done();
    const auto redirect = tqhost::Redirection(key);
    if (!redirect) {
        throw NotRegistered("set", key);
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
        message.text = line.AsWritten("body");
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

/// Shows what is wrong with a rule value.
void ShowFindings(const Parts &parts, const std::string &value) {
    Json findings = Json::array();
    for (const Finding &finding : CheckRules(value)) {
        findings.push_back(ToJson(finding));
    }
    parts.output.Show({{"check", findings}});
}

std::optional<int> Shadow(const Parts &parts, ObjectReader &line) {
    const std::string key = line.Text("shadow", SIZE_MAX);
    const std::string value = line.AsWritten("value");
    line.Done();
    const int result = Registered(tqhost::ShadowDesire(key, value), "shadow", key);
    if (result != 0 && parts.session.explain_refusals && key == kRulesKey) {
        ShowFindings(parts, value);
    }
    return result;
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

std::vector<std::string> FunctionsThatFail() {
    std::vector<std::string> names;
    for (const auto &[function, code] : tqhost::CurrentSettings().failures) {
        names.push_back(function);
    }
    return names;
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
                                ": the host has no such function that can fail, " +
                                Expected(member.key(), FunctionsThatFail()));
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

// ---- The link. ----

/// A share of all messages.
double ReadShare(ObjectReader &object, const char *key) {
    const Json *value = object.Find(key);
    if (value == nullptr) {
        return 0;
    }
    const double share = value->is_number() ? value->get<double>() : -1;
    if (!(share >= 0 && share <= 1)) {
        throw LineError(object.Path(key) + ": expected a number from 0 to 1");
    }
    return share;
}

std::optional<int> Link(const Parts &parts, ObjectReader &line) {
    constexpr std::int64_t kLongestDelay = 60'000;
    ObjectReader link(line.Get("link"), "link");
    line.Done();
    LinkFaults faults;
    link.Whole("seed", faults.seed);
    if (const Json *delay = link.Find("delay")) {
        faults.delay = std::chrono::milliseconds(ReadWhole(*delay, link.Path("delay"), 0, kLongestDelay));
    }
    faults.loss = ReadShare(link, "loss");
    faults.duplicates = ReadShare(link, "duplicates");
    link.Done();
    parts.set_link_faults(faults);
    return std::nullopt;
}

// ---- The device. ----

std::optional<int> HubChange(const Parts &parts, ObjectReader &line) {
    const ObjectReader changes = line.Inner("hub");
    line.Done();
    parts.hub.Change(changes);
    return std::nullopt;
}

std::optional<int> SendReport(const Parts &parts, ObjectReader &line) {
    if (line.Find("from") != nullptr) {
        return ReportStatistics(parts, line);
    }
    const Report report = ReadReport(line);
    if (report.dclog) {
        const tqDevSDK_SmartControl_DclogMsg_S message = {report.type, report.record.get(), report.length};
        return parts.module.push_dclog(&message);
    }
    const tqDevSDK_SmartControl_Msg2Server_S message = {report.type, report.record.get(), report.length};
    return parts.module.msg_to_server(&message);
}

// ---- What you ask. ----

/// The host as it is, in the form that a host line takes.
Json DescribeHost() {
    const tqhost::Settings settings = tqhost::CurrentSettings();
    Json failures = Json::object();
    for (const auto &[function, code] : settings.failures) {
        if (code != 0) {
            failures[function] = code;
        }
    }
    return {{"sleep", settings.sleep_status},
            {"dclog", settings.dclog_enabled ? 1 : 0},
            {"devinfo", settings.device_info},
            {"fail", failures}};
}

struct Shown {
    const char *name;
    Json (*describe)(const Parts &parts);
};

constexpr Shown kShown[] = {
    {"hub",
     [](const Parts &parts) {
         NeedVirtualHub(parts, "show");
         return parts.hub.Describe();
     }},
    {"host", [](const Parts &) { return DescribeHost(); }},
};

std::optional<int> Show(const Parts &parts, ObjectReader &line) {
    const Shown &shown = RowNamed(line.Text("show", SIZE_MAX), "show", kShown);
    line.Done();
    parts.output.Show({{"to", "you"}, {shown.name, shown.describe(parts)}});
    return std::nullopt;
}

std::optional<int> Check(const Parts &parts, ObjectReader &line) {
    const std::string value = line.AsWritten("check");
    line.Done();
    ShowFindings(parts, value);
    return std::nullopt;
}

// ---- The rows, each with what explains it. ----

constexpr const char *kSeq = "0 to 4294967295; 0 when missing";
constexpr const char *kBody =
    "any JSON, which the module gets as it is written here, or a text, which it gets as it is";

constexpr LineField kCommandFields[] = {
    {"command", "the number, -2147483648 to 2147483647"},
    {"domain", "-2147483648 to 2147483647; 7000 when missing, the only one that the module has"},
    {"seq", kSeq},
    {"version", "text of at most 31 bytes; \"v1.0.0\" when missing"},
    {"body", kBody},
};
constexpr const char *kCommandSamples[] = {
    R"({"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"r-1"}})",
    R"({"command":20036,"seq":8,"body":{"delay":5,"channelNo":1,"params":{}}})",
    R"({"command":20038,"seq":9,"body":{"delay":0,"channelNo":2,"params":{},"extendValue":"clip-4"}})",
    R"({"command":20040,"seq":10,"body":{"delay":0,"channelNo":0,"params":{"value1":1}}})",
    R"({"command":20058,"seq":3,"body":{"macList":[{"deviceSerial":"CHIME0001","mac":"aa:bb"}]}})",
    R"({"command":20064,"seq":1,"body":{"deviceId":"BELL00001","eventId":12,"channelNo":1,"params":{"value1":2}}})",
    R"({"command":18829,"seq":4,"body":"<Request><Type>device_auto_rouse</Type><Value>1</Value></Request>"})",
};

constexpr LineField kSetFields[] = {
    {"set", "the key of the setting"},
    {"value", "a text, or JSON that is sent as it is written here"},
    {"seq", kSeq},
};
constexpr const char *kSetSamples[] = {
    R"({"set":"device_screen_overtime","value":"30"})",
    R"({"set":"device_ICR_DSS","value":{"mode":1,"sensitivity":2,"autoTimeBegin":"07:05","autoTimeEnd":"19:30"}})",
};
std::vector<std::string> SetNames() {
    return {"device_ICR_DSS", "device_screen_overtime", "device_video_time", "device_auto_rouse",
            "device_screen_lightness"};
}

constexpr const char *kIdentifier = "text of at most 63 bytes";
constexpr const char *kModelType = "\"event\", \"attribute\" or \"service\"; \"service\" when missing";
constexpr LineField kModelFields[] = {
    {"model", kIdentifier},
    {"msg_type", "text of at most 63 bytes; \"operate\" when missing"},
    {"resource_id", "text of at most 63 bytes; \"1\" when missing"},
    {"seq", kSeq},
    {"type", kModelType},
    {"body", "any JSON; an object, an array or a text is what the module gets, as it is written here"},
};
constexpr const char *kModelSamples[] = {R"({"model":"ExecManualScene","seq":9,"body":{"ruleId":"42"}})"};
std::vector<std::string> ModelNames() {
    return {"ExecManualScene", "AssistExecActionResult", "AssistExecSceneResult"};
}

constexpr LineField kModelReplyFields[] = {
    {"model_reply", kIdentifier},
    {"msg_type", kModelFields[1].takes},
    {"resource_id", kModelFields[2].takes},
    {"seq", kSeq},
    {"type", kModelType},
    {"body", kModelFields[5].takes},
    {"status", "-2147483648 to 2147483647; 200 when missing"},
};
constexpr const char *kModelReplySamples[] = {
    R"({"model_reply":"AssistExecActionResult","status":200,"body":{}})"};

constexpr LineField kShadowFields[] = {
    {"shadow", "the key"},
    {"value", kBody},
};
constexpr const char *kShadowSamples[] = {
    R"({"shadow":"SceneLink","value":{"scenes":[42]}})",
    R"({"shadow":"LocalLink","value":"any text"})",
    R"({"shadow":"InterconnectionRule","value":[{"Type":"Global","channel":2,"status":[{"id":1,"userId":"u",)"
    R"("name":"Porch","enable":1,"weekdays":["1","7"],"startTime":"7:05","endTime":"n6:30","rule":{"condition":0,)"
    R"("events":[{"domain":1100,"cmdId":5,"deviceId":"SENSOR001","channelNo":1,"value":1}],)"
    R"("actions":[{"domain":7000,"cmdId":20034,"deviceId":"CAMERA001","channelNo":1,"params":{"value1":3},)"
    R"("delay":0}]}}]}]})",
};
std::vector<std::string> ShadowNames() {
    return {"InterconnectionRule", "SceneLink", "LocalLink"};
}

constexpr LineField kShadowGetFields[] = {{"shadow_get", "the key"}};
constexpr const char *kShadowGetSamples[] = {R"({"shadow_get":"InterconnectionRule"})"};

constexpr LineField kKernelEventFields[] = {{"kernel_event", "the event's name"}};
constexpr const char *kKernelEventSamples[] = {R"({"kernel_event":"online"})"};
std::vector<std::string> KernelEventNames() {
    return NamesOf(kKernelEvents);
}

constexpr LineField kStatusPassFields[] = {{"status_pass", "true"}};
constexpr const char *kStatusPassSamples[] = {R"({"status_pass":true})"};

constexpr LineField kStatusResetFields[] = {
    {"status_reset", "the number of a status item, such as 74, 125 or 126"}};
constexpr const char *kStatusResetSamples[] = {R"({"status_reset":74})"};

constexpr LineField kReportFields[] = {
    {"report", "the kind of report; the other members are its record's"},
    {"from", "\"linkage\", of a dclog: the linkage engine makes the record"},
};
constexpr const char *kReportSamples[] = {R"({"report":"dclog","from":"linkage"})"};
std::vector<std::string> ReportNames() {
    std::vector<std::string> names;
    for (const ReportHelp &report : DescribeReports()) {
        names.push_back(report.name);
    }
    return names;
}

constexpr const char *kNumber = "0 to 4294967295";
constexpr const char *kResult =
    "-2147483648 to 2147483647: what that callback returns; unless 0 it does nothing else";
constexpr LineField kHubFields[] = {
    {"hub", "an object of the members below, all of which may be missing"},
    {"hub.screen_overtime", kNumber},
    {"hub.video_time", kNumber},
    {"hub.auto_rouse", kNumber},
    {"hub.screen_lightness", kNumber},
    {"hub.icr_dss",
     "an object of mode and sensitivity (0 to 255 each), autoTimeBegin and autoTimeEnd (such as \"07:05\")"},
    {"hub.rules",
     "an array, as InterconnectionRule takes it, or null for none; a change counts rules_version up"},
    {"hub.rules_version", kNumber},
    {"hub.scene_rules", "any JSON, kept as it is written here, or a text; null for none"},
    {"hub.ai_rules", "likewise"},
    {"hub.signals", "an object of strengths, -2147483648 to 2147483647, by serial or MAC address; \"router\" "
                    "is the router's"},
    {"hub.ssid", "text of at most 64 bytes"},
    {"hub.recv_msg", kResult},
    {"hub.on_get_runtime_info", kResult},
};
constexpr const char *kHubSamples[] = {
    R"({"hub":{"screen_lightness":80,"icr_dss":{"mode":1,"autoTimeBegin":"07:05"}}})",
    R"({"hub":{"signals":{"CHIME0001":78,"router":-52},"ssid":"home"}})",
    R"({"hub":{"recv_msg":1}})",
};

constexpr LineField kHostFields[] = {
    {"host", "an object of the members below, all of which may be missing"},
    {"host.sleep", "0 or 1: the device is awake or asleep"},
    {"host.dclog", "0 or 1: whether the data-collection log is on"},
    {"host.devinfo", "an object of texts by key; null takes one away"},
    {"host.fail", "an object of codes, -2147483648 to 2147483647, by host function; 0 ends a failure"},
};
constexpr const char *kHostSamples[] = {
    R"({"host":{"sleep":1}})",
    R"({"host":{"devinfo":{"dev_subserial":"HUB000001"}}})",
    R"({"host":{"fail":{"tqdev_sdk_kernel_send":-1}}})",
};

constexpr LineField kLinkFields[] = {
    {"link", "an object of the members below; every such line sets all four anew"},
    {"link.seed",
     "0 to 4294967295; 0 when missing. With the same seed the same ones of the same messages are "
     "lost and doubled"},
    {"link.delay", "milliseconds in each direction, 0 to 60000; 0 when missing"},
    {"link.loss", "the share that gets lost, 0 to 1; 0 when missing"},
    {"link.duplicates", "the share of the others that comes twice, 0 to 1; 0 when missing"},
};
constexpr const char *kLinkSamples[] = {
    R"({"link":{"seed":7,"delay":200,"loss":0.1,"duplicates":0.05}})",
    R"({"link":{}})",
};

constexpr LineField kLinkageFields[] = {
    {"linkage", "an object of the members below, or null, which ends the engine; once there is one, what is "
                "missing stays as it is"},
    {"linkage.serial", "the device's own, text of 1 to 31 bytes; that of the host when missing"},
    {"linkage.delay_unit_ms", "1 to 4294967295; has to be given to the first"},
    {"linkage.day_1", "\"Monday\" to \"Sunday\"; has to be given to the first"},
    {"linkage.condition",
     "an object of \"any\" or \"all\", by condition, \"0\" to \"65535\"; {} when missing"},
    {"linkage.all_window_ms", "0 to 4294967295; 0 when missing"},
    {"linkage.cooldown_ms", "0 to 4294967295; 0 when missing"},
    {"linkage.running_max", "0 to 65535; 64 when missing"},
    {"linkage.member_max", "0 to 65535; 64 when missing"},
    {"linkage.fired_max", "1 to 65535; 256 when missing"},
    {"linkage.held_max", "1 to 65535; 256 when missing"},
    {"linkage.chain_max", "0 to 255; 4 when missing"},
    {"linkage.period_end_open", "true or false; false when missing"},
    {"linkage.auto_done",
     "how each action ends as soon as it runs: 0 to 255, \"cannot\", or null, which leaves "
     "it running; 0 when missing"},
};
constexpr const char *kLinkageSamples[] = {
    R"({"linkage":{"serial":"HUB000001","delay_unit_ms":1000,"day_1":"Monday","condition":{"0":"any","1":"all"}}})",
    R"({"linkage":null})",
};

constexpr const char *kEventDevice = "text of at most 32 bytes";
constexpr const char *kEventToken = "that of the action that caused it; 0, or missing, when none did";
constexpr LineField kEventFields[] = {
    {"event", "an object of the members below"},
    {"event.deviceId", kEventDevice},
    {"event.domain", kNumber},
    {"event.cmdId", kNumber},
    {"event.channelNo", "0 to 255"},
    {"event.value", "0 to 65535"},
    {"event.token", kEventToken},
};
constexpr const char *kEventSamples[] = {
    R"({"event":{"deviceId":"SENSOR001","domain":1100,"cmdId":5,"channelNo":1,"value":1}})",
};

constexpr LineField kExplainFields[] = {
    {"explain", "an object of the members below, an event's"},
    {"explain.deviceId", kEventDevice},
    {"explain.domain", kNumber},
    {"explain.cmdId", kNumber},
    {"explain.channelNo", kEventFields[4].takes},
    {"explain.value", kEventFields[5].takes},
    {"explain.token", kEventToken},
};
constexpr const char *kExplainSamples[] = {
    R"({"explain":{"deviceId":"SENSOR001","domain":1100,"cmdId":5,"channelNo":1,"value":1}})",
};

constexpr LineField kMembersFields[] = {
    {"members", "an object of true or false, by serial: the member can be reached, or not"}};
constexpr const char *kMembersSamples[] = {R"({"members":{"CAMERA001":true}})"};

constexpr LineField kDoneFields[] = {
    {"done", "an object of the members below"},
    {"done.token", "that of an action that runs"},
    {"done.result", "0 to 255, or \"cannot\""},
};
constexpr const char *kDoneSamples[] = {R"({"done":{"token":1,"result":0}})"};

constexpr LineField kTraceFields[] = {{"trace", "which trace"}};
constexpr const char *kTraceSamples[] = {R"({"trace":"fired"})", R"({"trace":"held"})"};

constexpr LineField kNowFields[] = {
    {"now", "a local time up to 2099, which stands still from then on; null: the clock is not set"}};
constexpr const char *kNowSamples[] = {R"({"now":"2026-11-21T23:30:00"})", R"({"now":null})"};

constexpr LineField kAdvanceFields[] = {
    {"advance",
     "a number of seconds, minutes, hours or days with s, m, h or d, up to a hundred years; \"next\": "
     "to when the next action is due"}};
constexpr const char *kAdvanceSamples[] = {R"({"advance":"90s"})", R"({"advance":"next"})"};

constexpr LineField kCheckFields[] = {
    {"check", "linkage rules, as InterconnectionRule takes them: any JSON, or a text"}};
constexpr const char *kCheckSamples[] = {R"({"check":[{"channel":1,"status":[]}]})"};

constexpr LineField kShowFields[] = {{"show", "what to show, in the form that a line of that kind takes"}};
constexpr const char *kShowSamples[] = {R"({"show":"hub"})", R"({"show":"host"})"};
std::vector<std::string> ShowNames() {
    return NamesOf(kShown);
}

constexpr LineKind kLineKinds[] = {
    {"command", Command, "platform", "module", "", "The platform sends a command.", kCommandFields,
     kCommandSamples, nullptr, "body"},
    {"set", Set, "platform", "module", "set ",
     "The platform sets a device setting: the XML request of the redirected command.", kSetFields,
     kSetSamples, SetNames, "value"},
    {"model", Model, "platform", "module", "model ", "The platform asks for a model service.", kModelFields,
     kModelSamples, ModelNames, "body"},
    {"model_reply", ModelReply, "platform", "module", "reply ", "The platform answers a model report.",
     kModelReplyFields, kModelReplySamples, ModelNames, "body"},
    {"shadow", Shadow, "platform", "module", "shadow ", "The cloud has a new shadow value.", kShadowFields,
     kShadowSamples, ShadowNames, "value"},
    {"shadow_get", ShadowGet, "platform", "module", "get ",
     "The shadow service asks the device for its value.", kShadowGetFields, kShadowGetSamples, ShadowNames,
     nullptr},
    {"kernel_event", KernelEvent, "host", "module", "event ", "The kernel has an event.", kKernelEventFields,
     kKernelEventSamples, KernelEventNames, nullptr},
    {"status_pass", StatusPass, "host", "module", "status pass", "The status-report service makes a pass.",
     kStatusPassFields, kStatusPassSamples, nullptr, nullptr},
    {"status_reset", StatusReset, "host", "module", "status reset ",
     "The status-report service resets an item.", kStatusResetFields, kStatusResetSamples, nullptr, nullptr},
    {"report", SendReport, "device", "module", "report ", "The device application reports.", kReportFields,
     kReportSamples, ReportNames, nullptr, true},
    {"hub", HubChange, "you", "device", "change", "You change the virtual hub.", kHubFields, kHubSamples,
     nullptr, nullptr, true},
    {"host", Host, "you", "host", "change", "You change the host.", kHostFields, kHostSamples, nullptr,
     nullptr},
    {"show", Show, "you", "gateway", "show ", "You ask how something is.", kShowFields, kShowSamples,
     ShowNames, nullptr},
    {"check", Check, "you", "gateway", "check", "You ask what is wrong with linkage rules.", kCheckFields,
     kCheckSamples, nullptr, nullptr},
    {"link", Link, "you", "link", "faults ", "You make the link to the broker a bad one.", kLinkFields,
     kLinkSamples, nullptr, nullptr},
    {"linkage", Linkage, "you", "device", "linkage ",
     "You have the virtual hub carry out its rules: the configuration of the linkage engine.", kLinkageFields,
     kLinkageSamples, nullptr, nullptr, true},
    {"event", Event, "home", "device", "event ", "Something happens in the home, which may fire rules.",
     kEventFields, kEventSamples, nullptr, nullptr, true, true},
    {"members", Members, "home", "device", "members ", "Members of the home can be reached, or cannot.",
     kMembersFields, kMembersSamples, nullptr, nullptr, true},
    {"done", Done, "home", "device", "done ", "An action ends that runs.", kDoneFields, kDoneSamples, nullptr,
     nullptr, true, true},
    {"explain", Explain, "you", "device", "explain ", "You ask what an event would do to each rule.",
     kExplainFields, kExplainSamples, nullptr, nullptr, true, true},
    {"trace", Trace, "you", "device", "trace ", "You ask for the lines of a trace once more.", kTraceFields,
     kTraceSamples, TraceNames, nullptr, true},
    {"now", Now, "you", "clock", "now ", "You set the local time.", kNowFields, kNowSamples, nullptr, nullptr,
     true},
    {"advance", Advance, "you", "clock", "advance ",
     "You move the time, which stops wherever something is due.", kAdvanceFields, kAdvanceSamples, nullptr,
     nullptr, true},
};

std::vector<std::string> KnownNames(const char *key) {
    for (const LineKind &row : kLineKinds) {
        if (key == std::string_view(row.key) && row.names != nullptr) {
            return row.names();
        }
    }
    return {};
}

/// Of an object that lacks a member, says which other one it should not have, if there is one: that is what
/// was meant.
void RefuseUnknown(const MissingMember &missing, const std::string &key, const std::string &heading) {
    const std::vector<Topic> topics = Topics();
    const Topic *topic = FindTopic(topics, heading);
    const std::string within = std::regex_replace(missing.path, std::regex("\\[\\d+\\]"), "[]");
    const std::string prefix = within.empty() ? "" : within + '.';
    std::set<std::string> known;
    for (const FieldHelp &field : topic == nullptr ? std::vector<FieldHelp>() : topic->fields) {
        if (field.name.rfind(prefix, 0) == 0) {
            const std::string member = field.name.substr(prefix.size());
            known.insert(member.substr(0, member.find_first_of(".[")));
        }
    }
    if (known.empty()) {
        return; // not explained
    }
    if (prefix.empty()) {
        known.insert({key, kId});
    }
    for (const std::string &member : missing.given) {
        if (known.count(member) == 0) {
            throw UnknownField(missing.path, member, {known.begin(), known.end()});
        }
    }
}

} // namespace

Rows<LineKind> LineKinds() {
    return kLineKinds;
}

const LineKind *KindOf(const Json &line) {
    for (const LineKind &row : kLineKinds) {
        if (line.contains(row.key)) {
            return &row;
        }
    }
    return nullptr;
}

std::optional<int> CarryOut(const Parts &parts, const Json &line, const std::string &text) {
    ObjectReader reader(line, "", text);
    const LineKind *kind = KindOf(line);
    std::vector<std::string> known;
    for (const LineKind &row : kLineKinds) {
        if (kind != nullptr && kind != &row && line.contains(row.key)) {
            throw LineError("both " + std::string(kind->key) + " and " + row.key + ": expected one of them");
        }
        known.emplace_back(row.key);
    }
    reader.Find(kId); // of no kind's own
    if (const Script::Kind *script = Script::KindOf(line)) {
        throw LineError(std::string(script->key) + ": is understood in scripts only");
    }
    if (kind == nullptr) {
        const std::string first = line.empty() ? "" : line.begin().key();
        throw LineError("no known key: " + Expected(first, known));
    }
    if (kind->needs_hub) {
        NeedVirtualHub(parts, kind->key);
    }
    try {
        return kind->carry_out(parts, reader);
    } catch (const MissingMember &missing) {
        const bool report = line.contains("report");
        RefuseUnknown(missing, kind->key, report ? "report " + AsText(line["report"]) : kind->key);
        throw;
    }
}

} // namespace tqgateway
