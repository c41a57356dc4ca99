// SPDX-License-Identifier: Apache-2.0
/// @file records.h  Records of the public header as JSON, in both directions.
#ifndef TQGATEWAY_RECORDS_H
#define TQGATEWAY_RECORDS_H

#include "record_reader.h"
#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_dclog.h"

namespace tqgateway {

/// The record at the `data` of a message or of runtime information.
template <typename Record>
Record &As(char *data) {
    return *reinterpret_cast<Record *>(data);
}

/// The line that shows what `recv_msg` received.
Json DeviceLine(const tqDevSDK_SmartControl_msg_to_dev &message);

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

/// Reads the other members of a `{"report":…}` line. Throws LineError.
Report ReadReport(ObjectReader line);

} // namespace tqgateway

#endif
