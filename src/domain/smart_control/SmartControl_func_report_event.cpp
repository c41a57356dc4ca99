// SPDX-License-Identifier: Apache-2.0
// Reports of events and of results of actions.
#include <ctime>

#include "SmartControl_command.h"
#include "SmartControl_func_report.h"
#include "SmartControl_func_report_send.h"

namespace {

using Event = tqDevSDK_SmartControl_Event;
using ActionResult = tqDevSDK_SmartControl_Info_ActionResult;

template <typename Record>
bool IsThere(const Record *record) {
    return record != nullptr || Fail("NULL input param!");
}

bool WriteEvent(bscJSON *root, const Event &event) {
    return WriteItem(root, "channelNo", event.channel) && WriteItem(root, "value", event.value);
}

// The fields of the broken-down UTC time go out as they are: years since 1900, months since January.
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

bool WriteActionResult(bscJSON *root, const ActionResult &result) {
    char time_text[64];
    FormatTime(time_text);
    return WriteItem(root, "id", result.uiRuleId) && WriteField(root, "deviceId", result.acDeviceId) &&
           WriteItem(root, "channelNo", result.uiChannelNo) && WriteItem(root, "domain", result.uiDomain) &&
           WriteItem(root, "cmdId", result.uiCmdId) && WriteItem(root, "result", result.ucResult) &&
           WriteItem(root, "time", static_cast<const char *>(time_text));
}

constexpr ReportKind<CommandWay, Event> kEventReport{
    {"an event", kPu2CenPltReportEventReq, kPu2CenPltReportEventReq, nullptr}, IsThere, WriteEvent};

// The log names the command of the event for both.
constexpr ReportKind<CommandWay, ActionResult> kActionResultReport{
    {"an action result", kPu2CenPltReportActionResultReq, kPu2CenPltReportEventReq, nullptr},
    IsThere,
    WriteActionResult};

} // namespace

int ReportEventReqToPlt(const tqDevSDK_SmartControl_Event *event) {
    return SendReport(kEventReport, event);
}

int ReportActionResultToPlt(const tqDevSDK_SmartControl_Info_ActionResult *result) {
    return SendReport(kActionResultReport, result);
}
