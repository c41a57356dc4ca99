// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_func_report.h"

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func.h"

namespace {

JsonText PrintReport(const bscJSON *root) {
    JsonText text(bscJSON_Print(root));
    if (text == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_Print.\n");
    }
    return text;
}

void Trace(const char *trace, const char *text) {
    if (trace != nullptr) {
        tqdev_debug(LOG_DEBUG, "%s%s\n", trace, text);
    }
}

} // namespace

JsonTree CreateReportObject() {
    JsonTree object(bscJSON_CreateObject());
    if (object == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_CreateObject.\n");
    }
    return object;
}

JsonTree CreateReportArray(const char *failure) {
    JsonTree array(bscJSON_CreateArray());
    if (array == nullptr) {
        tqdev_debug(LOG_ERROR, "%s\n", failure);
    }
    return array;
}

bscJSON *AppendReportObject(bscJSON *array, const char *failure) {
    bscJSON *object = AppendItem(array, JsonTree(bscJSON_CreateObject()));
    if (object == nullptr) {
        tqdev_debug(LOG_ERROR, "%s\n", failure);
    }
    return object;
}

int SendReport(const CommandReport &report, const bscJSON *root) {
    const JsonText text = PrintReport(root);
    if (text == nullptr) {
        return -1;
    }
    const int result =
        SmartControl_send_msg_to_platform(text.get(), report.command, kReportVersion, 0, GetNextSeqNum());
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "Failed to send msg to platform:domain[%#x], cmd[%#x].\n",
                    unsigned{kSmartControlDomain}, static_cast<unsigned>(report.logged_command));
    }
    Trace(report.trace, text.get());
    return result;
}

int SendReport(const ModelReport &report, const bscJSON *root) {
    const JsonText text = PrintReport(root);
    if (text == nullptr) {
        return -1;
    }
    const int length = static_cast<int>(strlen(text.get()));
    const int result = tq_model_send_to_platform(&report.info, text.get(), length, 0, &report.attributes);
    if (result != 0) {
        tqdev_debug(LOG_ERROR, "%s\n", report.failure);
    }
    Trace(report.trace, text.get());
    return result;
}
