// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_report_send.h
/// The one shape of all reports: a row that sets the report apart, and SendReport.
#ifndef SMARTCONTROL_FUNC_REPORT_SEND_H
#define SMARTCONTROL_FUNC_REPORT_SEND_H

#include "SmartControl_json.h"
#include "SmartControl_model.h"
#include "tq_model.h"

/// How a version-2 report is sent, and what the log says of it.
struct CommandWay {
    const char *name;   ///< Of the report, when there is no memory for it.
    int command;        ///< Sent.
    int logged_command; ///< Named when sending failed.
    const char *trace;  ///< Precedes the text in a debug line after sending; null for none.
};

/// The same of a version-3 report. The records are made when the module is built.
struct ModelWay {
    const char *name;
    tq_basic_info info;
    tq_msg_attr attributes;
    const char *failure; ///< Logged when sending failed.
    const char *trace;
};

/// All that sets one report apart.
template <typename Way, typename Record>
struct ReportKind {
    Way way;
    bool (*check)(const Record *record);                ///< False, logged, for a record that cannot be sent.
    bool (*write)(bscJSON *root, const Record &record); ///< False when there is no memory.
};

constexpr ModelWay MakeModelWay(const char *name, tq_model_type type, const char *identifier,
                                const char *msg_type, const char *failure, const char *trace) {
    ModelWay way{};
    way.name = name;
    way.info.type = type;
    PutText(way.info.resource_id, "1");
    PutText(way.info.resource_type, kResourceType);
    PutText(way.info.domain, kModelDomain);
    PutText(way.info.identifier, identifier);
    PutText(way.attributes.msg_type, msg_type);
    way.failure = failure;
    way.trace = trace;
    return way;
}

// The lines of the log for objects and arrays in reports.
constexpr const char *kNoReportObject = "Failed to bscJSON_CreateObject.";
constexpr const char *kNoReportArray = "Failed to bscJSON_CreateArray.";

/// Logs that a report found no memory; always -1.
int FailReport(const char *name);

/// Prints and sends a report that is written: -1 when it could not be printed, else the sender's result. A
/// version-2 report takes the next sequence number once its text is there; a version-3 report takes none.
int SendWritten(const CommandWay &way, const bscJSON *root);
int SendWritten(const ModelWay &way, const bscJSON *root);

/// Checks, writes and sends a report.
template <typename Way, typename Record>
int SendReport(const ReportKind<Way, Record> &kind, const Record *record) {
    if (!kind.check(record)) {
        return -1;
    }
    const JsonTree root(bscJSON_CreateObject());
    if (root == nullptr) {
        Fail(kNoReportObject);
        return -1;
    }
    return kind.write(root.get(), *record) ? SendWritten(kind.way, root.get()) : FailReport(kind.way.name);
}

#endif
