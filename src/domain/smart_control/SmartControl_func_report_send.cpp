// SPDX-License-Identifier: Apache-2.0
// The two ways of a report to the platform.
#include "SmartControl_func_report_send.h"

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func_object.h"

namespace {

JsonText PrintReport(const bscJSON *root) {
    JsonText text(bscJSON_Print(root));
    if (text == nullptr) {
        Fail("Failed to bscJSON_Print.");
    }
    return text;
}

void Trace(const char *trace, const char *text) {
    if (trace != nullptr) {
        tqdev_debug(LOG_DEBUG, "%s%s\n", trace, text);
    }
}

} // namespace

int FailReport(const char *name) {
    tqdev_debug(LOG_ERROR, "No memory for the report of %s.\n", name);
    return -1;
}

int SendWritten(const CommandWay &way, const bscJSON *root) {
    const JsonText text = PrintReport(root);
    if (text == nullptr) {
        return -1;
    }
    const int result =
        SmartControl_send_msg_to_platform(text.get(), way.command, kReportVersion, 0, GetNextSeqNum());
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to send msg to platform:domain[%#x], cmd[%#x].\n",
                    unsigned{kSmartControlDomain}, static_cast<unsigned>(way.logged_command));
    }
    Trace(way.trace, text.get());
    return result;
}

int SendWritten(const ModelWay &way, const bscJSON *root) {
    const JsonText text = PrintReport(root);
    if (text == nullptr) {
        return -1;
    }
    const int length = static_cast<int>(strlen(text.get()));
    const int result = tq_model_send_to_platform(&way.info, text.get(), length, 0, &way.attributes);
    if (result != 0) {
        Fail(way.failure);
    }
    Trace(way.trace, text.get());
    return result;
}
