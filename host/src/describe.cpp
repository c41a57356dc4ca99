// SPDX-License-Identifier: Apache-2.0
// Observations in words.
#include <algorithm>
#include <sstream>

#include "host_state.h"
#include "tqdev_debug.h"

namespace tqhost {
namespace {

/// The parts with blanks between them.
template <typename... Part>
std::string Words(const std::string &first, const Part &...parts) {
    std::ostringstream line;
    line << first;
    ((line << ' ' << parts), ...);
    return line.str();
}

std::string InWords(const Call &call) {
    return call.function + (call.arguments.empty() ? "" : ' ' + call.arguments) +
           (call.result == 0 ? "" : " = " + std::to_string(call.result));
}

std::string InWords(const CommandMessage &message) {
    const tqdev_sdk_kernel_pubmsg &record = message.record;
    return Words("command", record.msg_command_id, "seq", record.msg_seq, "response",
                 int{record.msg_response}, FieldText(record.command_ver), message.body);
}

std::string InWords(const RawModelMessage &message) {
    const tqdev_sdk_kernel_pubmsg_v3 &record = message.record;
    return Words("raw", FieldText(record.module), FieldText(record.method), FieldText(record.msg_type),
                 FieldText(record.resource_id), FieldText(record.resource_type), FieldText(record.ext_msg),
                 "seq", record.msg_seq, "response", int{record.msg_response}, "qos", int{record.msg_qos},
                 FieldText(record.sub_serial), FieldText(record.msg_compress), record.msg_body_len,
                 message.body);
}

std::string InWords(const tq_basic_info &info) {
    return Words(FieldText(info.identifier), "of", FieldText(info.domain), "type", info.type, "resource",
                 FieldText(info.resource_id),
                 FieldText(info.resource_type) +
                     (info.subserial[0] == '\0' ? "" : '/' + FieldText(info.subserial)));
}

std::string InWords(const tq_msg_attr &attributes) {
    return Words("seq", std::to_string(attributes.msg_seq) + '/' + std::to_string(attributes.msg_seq_index),
                 "qos", attributes.msg_qos, '[' + FieldText(attributes.msg_type) + ']');
}

std::string InWords(const ModelReply &reply) {
    return Words("reply", InWords(reply.info), reply.error.status, FieldText(reply.error.err_code),
                 '\'' + FieldText(reply.error.err_msg) + '\'', InWords(reply.attributes), "value",
                 reply.message.type, "length", reply.message.length, reply.text.value_or("null"));
}

std::string InWords(const ModelReport &report) {
    return Words("model", InWords(report.info), InWords(report.attributes), "option", report.option,
                 report.text);
}

std::string InWords(const ShadowReport &report) {
    return Words("shadow", report.key, "version", report.version, "reset", int{report.reset_type}, "type",
                 report.type, report.text);
}

std::string InWords(const DclogRecord &record) {
    const tqDevSDK_DCLog_LanLinkageParam_S &link = record.record.unParam.stLanLink;
    return Words("dclog", FieldText(link.acSystemName), "seq", link.uiLog_Seq);
}

std::string InWords(const LogLine &line) {
    static const char *const kLevels[] = {"non:", "error:", "warning:", "debug:", "info:"};
    return Words(kLevels[std::clamp<int>(line.level, LOG_NON, LOG_INFO)],
                 line.text + (line.ended ? "" : " (no newline)"));
}

} // namespace

std::string Describe(const Observation &observation) {
    return std::visit([](const auto &seen) { return InWords(seen); }, observation);
}

} // namespace tqhost
