// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_report.h
/// What all reports do alike: create a tree, print it, send it on one of the two ways, say how it went.
#ifndef SMARTCONTROL_FUNC_REPORT_H
#define SMARTCONTROL_FUNC_REPORT_H

#include "SmartControl_json.h"
#include "tq_model.h"

/// How a version-2 report is sent.
struct CommandReport {
    int command;        ///< Sent.
    int logged_command; ///< Named by the log when sending failed.
    const char *trace;  ///< Precedes the text in a debug line after sending; null for none.
};

/// How a version-3 report is sent.
struct ModelReport {
    tq_model_type type;
    const char *identifier;
    const char *msg_type;
    const char *failure; ///< Logged when sending failed.
    const char *trace;   ///< As above.
};

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
