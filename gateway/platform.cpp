// SPDX-License-Identifier: Apache-2.0
// One overload for each thing that the host was given.
#include "platform.h"

#include <nlohmann/json.hpp>

#include "lines/names.h"
#include "lines/records.h"

namespace tqgateway {
namespace {

std::optional<Json> Line(const tqhost::Call &) {
    return std::nullopt;
}

std::optional<Json> Line(const tqhost::CommandMessage &message) {
    return Json{{"to", "platform"},
                {"command", message.record.msg_command_id},
                {"seq", message.record.msg_seq},
                {"response", message.record.msg_response},
                {"version", FieldText(message.record.command_ver)},
                {"body", ParseOrText(message.body)}};
}

std::optional<Json> Line(const tqhost::RawModelMessage &message) {
    return Json{{"to", "platform"},
                {"model", FieldText(message.record.ext_msg)},
                {"method", FieldText(message.record.method)},
                {"msg_type", FieldText(message.record.msg_type)},
                {"resource_id", FieldText(message.record.resource_id)},
                {"resource_type", FieldText(message.record.resource_type)},
                {"seq", message.record.msg_seq},
                {"body", ParseOrText(message.body)}};
}

std::optional<Json> Line(const tqhost::ModelReply &reply) {
    return Json{{"to", "platform"},
                {"model_reply", FieldText(reply.info.identifier)},
                {"status", reply.error.status},
                {"err_code", FieldText(reply.error.err_code)},
                {"err_msg", FieldText(reply.error.err_msg)},
                {"msg_type", FieldText(reply.attributes.msg_type)},
                {"seq", reply.attributes.msg_seq},
                {"body", reply.text ? ParseOrText(*reply.text) : Json()}};
}

std::optional<Json> Line(const tqhost::ModelReport &report) {
    return Json{{"to", "platform"},
                {"model", FieldText(report.info.identifier)},
                {"type", NameOf(report.info.type, kModelTypes)},
                {"msg_type", FieldText(report.attributes.msg_type)},
                {"resource_id", FieldText(report.info.resource_id)},
                {"resource_type", FieldText(report.info.resource_type)},
                {"domain", FieldText(report.info.domain)},
                {"seq", report.attributes.msg_seq},
                {"body", ParseOrText(report.text)}};
}

std::optional<Json> Line(const tqhost::ShadowReport &report) {
    return Json{{"to", "platform"},
                {"shadow", report.key},
                {"version", report.version},
                {"value", ParseOrText(report.text)}};
}

std::optional<Json> Line(const tqhost::DclogRecord &record) {
    return DclogLine(record.record.unParam.stLanLink);
}

std::optional<Json> Line(const tqhost::LogLine &line) {
    return Json{{"log", NameOf(line.level, kLogLevels)}, {"text", line.text}};
}

} // namespace

std::optional<Json> PlatformLine(const tqhost::Observation &observation) {
    return std::visit([](const auto &what) { return Line(what); }, observation);
}

} // namespace tqgateway
