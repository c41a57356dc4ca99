// SPDX-License-Identifier: Apache-2.0
/// @file records.h  Records of the public header as JSON, in both directions.
#ifndef TQGATEWAY_LINES_RECORDS_H
#define TQGATEWAY_LINES_RECORDS_H

#include "lines/record_reader.h"
#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_dclog.h"

namespace tqgateway {

/// The record at the `data` of a message or of runtime information.
template <typename Record>
Record &As(char *data) {
    return *reinterpret_cast<Record *>(data);
}

/// A type of message to the device.
struct MessageKind {
    int type;
    const char *name;
    std::size_t size; ///< Of its record, without what that points at.
    void (*write)(const tqDevSDK_SmartControl_msg_to_dev &message, Json &line);
};

/// Null for a type that is none.
const MessageKind *FindMessage(int type);

/// The line that shows what `recv_msg` received.
Json DeviceLine(const tqDevSDK_SmartControl_msg_to_dev &message);

/// The record of an action, every field.
Json ActionJson(const tqDevSDK_SmartControl_ConfigRule_Actions &action);

/// The line that shows a record posted to the data-collection log.
Json DclogLine(const tqDevSDK_DCLog_LanLinkageParam_S &record);

/// A report of the device application, ready to be handed to the module.
struct Report {
    bool dclog = false; ///< For PushDclog; else for Msg2Server.
    int type = 0;
    HeapBlock record; ///< Exactly as long as the record, so that reads beyond it show.
    UINT32 length = 0;
    RecordStorage storage;
};

/// A member of a line and what it takes, for a person.
struct FieldHelp {
    std::string name; ///< Of one within another with a dot, of an array's element with "[]".
    std::string takes;
};

/// A kind of report: its name, what it says, a sample line with all that it needs, its record's fields.
struct ReportHelp {
    std::string name;
    std::string summary;
    std::string sample;
    std::vector<FieldHelp> fields;
};

std::vector<ReportHelp> DescribeReports();

/// Reads the other members of a `{"report":…}` line. Throws LineError.
Report ReadReport(ObjectReader line);

} // namespace tqgateway

#endif
