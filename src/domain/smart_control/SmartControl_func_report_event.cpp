// SPDX-License-Identifier: Apache-2.0
#include <ctime>

#include "SmartControl_command.h"
#include "SmartControl_func.h"
#include "SmartControl_func_report.h"

namespace {

constexpr CommandReport kEventReport{kPu2CenPltReportEventReq, kPu2CenPltReportEventReq, nullptr};
// The log names the event command for both; whoever reads logs knows it so.
constexpr CommandReport kActionResultReport{kPu2CenPltReportActionResultReq, kPu2CenPltReportEventReq,
                                            nullptr};

// The platform takes the fields of the broken-down UTC time as they are: years since 1900, months since
// January.
void FormatTime(char (&text)[64]) {
    const time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    TextWriter writer(text);
    writer.AddDecimal(utc.tm_year).Add("-").AddTwoDigits(utc.tm_mon).Add("-").AddTwoDigits(utc.tm_mday);
    writer.Add(" ")
        .AddTwoDigits(utc.tm_hour)
        .Add(":")
        .AddTwoDigits(utc.tm_min)
        .Add(":")
        .AddTwoDigits(utc.tm_sec);
}

} // namespace

int ReportEventReqToPlt(const tqDevSDK_SmartControl_Event *event) {
    if (event == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL input param!\n");
        return -1;
    }
    const JsonTree root = CreateReportObject();
    if (root == nullptr) {
        return -1;
    }
    WriteItem(root.get(), "channelNo", event->channel);
    WriteItem(root.get(), "value", event->value);
    return SendReport(kEventReport, root.get());
}

int ReportActionResultToPlt(const tqDevSDK_SmartControl_Info_ActionResult *result) {
    if (result == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL input param!\n");
        return -1;
    }
    char time_text[64];
    FormatTime(time_text);

    const JsonTree root = CreateReportObject();
    if (root == nullptr) {
        return -1;
    }
    WriteItem(root.get(), "id", result->uiRuleId);
    WriteItem(root.get(), "deviceId", result->acDeviceId);
    WriteItem(root.get(), "channelNo", result->uiChannelNo);
    WriteItem(root.get(), "domain", result->uiDomain);
    WriteItem(root.get(), "cmdId", result->uiCmdId);
    WriteItem(root.get(), "result", result->ucResult);
    WriteItem(root.get(), "time", time_text);
    return SendReport(kActionResultReport, root.get());
}
