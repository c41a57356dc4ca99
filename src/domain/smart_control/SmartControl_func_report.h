// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_report.h
/// What all reports do alike: create a tree, print it, send it on one of the two ways, say how it went.
#ifndef SMARTCONTROL_FUNC_REPORT_H
#define SMARTCONTROL_FUNC_REPORT_H

#include "SmartControl_json.h"
#include "SmartControl_model.h"
#include "tq_model.h"

/// How a version-2 report is sent.
struct CommandReport {
    int command;        ///< Sent.
    int logged_command; ///< Named by the log when sending failed.
    const char *trace;  ///< Precedes the text in a debug line after sending; null for none.
};

/// How a version-3 report is sent. The records are made when the module is built.
struct ModelReport {
    tq_basic_info info;
    tq_msg_attr attributes;
    const char *failure; ///< Logged when sending failed.
    const char *trace;   ///< As above.
};

template <std::size_t N>
constexpr void PutText(char (&field)[N], const char *text) {
    for (std::size_t i = 0; i < N - 1 && text[i] != '\0'; ++i) {
        field[i] = text[i];
    }
}

constexpr ModelReport MakeModelReport(tq_model_type type, const char *identifier, const char *msg_type,
                                      const char *failure, const char *trace) {
    ModelReport report{};
    report.info.type = type;
    PutText(report.info.resource_id, "1");
    PutText(report.info.resource_type, kResourceType);
    PutText(report.info.domain, kModelDomain);
    PutText(report.info.identifier, identifier);
    PutText(report.attributes.msg_type, msg_type);
    report.failure = failure;
    report.trace = trace;
    return report;
}

/// An empty object or array; logs when there is no memory.
JsonTree CreateReportObject();
JsonTree CreateReportArray(const char *failure = "Failed to bscJSON_CreateArray.");

/// Appends an empty object; null, and a log line, when there is no memory.
bscJSON *AppendReportObject(bscJSON *array, const char *failure = "Failed to bscJSON_CreateObject.");

/// Prints and sends. -1 when the text could not be printed, else the sender's result. A version-2 report
/// takes the next sequence number once its text is there; a version-3 report takes none.
int SendReport(const CommandReport &report, const bscJSON *root);
int SendReport(const ModelReport &report, const bscJSON *root);

#endif
