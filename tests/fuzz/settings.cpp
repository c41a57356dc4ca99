// SPDX-License-Identifier: Apache-2.0
// Device settings: the input behind the first byte is the XML request. What the device has then is
// reported in a pass of the status service.
#include "MarkupSTL.h"
#include "harness.h"

namespace {

constexpr const char *kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
constexpr const char *kNumberKeys[] = {"device_screen_overtime", "device_video_time", "device_auto_rouse", "device_screen_lightness"};
constexpr std::size_t kSettings = 5;

// The result in the answer, which is the same but for that.
int Result(const std::string &answer) {
    for (const int result : {0, 2, 3, 4}) {
        if (answer == kDeclaration + std::string("<Response><Result>") + std::to_string(result) + "</Result></Response>") {
            return result;
        }
    }
    Check(false, "an answer has a result and nothing else");
    return -1;
}

bool IsForced(const tqDevSDK_report_status_info &item) { return item.force_flag != 0; }

void CheckReports(const std::vector<tqhost::CommandMessage> &reports) {
    std::string bodies;
    for (const tqhost::CommandMessage &report : reports) {
        CMarkupSTL document;
        Check(document.SetDoc(report.body.c_str()) && document.FindElem("Request", true), "a report is XML");
        bodies += report.body;
    }
    for (std::size_t i = 0; i < std::size(kNumberKeys); ++i) {
        const std::string number = std::to_string(static_cast<int32_t>(g_application.numbers[i]));
        Check(bodies.find(std::string("Type=\"") + kNumberKeys[i] + "\" Value=\"" + number + '"') != std::string::npos,
              "a setting is reported as the device has it");
    }
}

} // namespace

void Run(Input &input) {
    tqhost::PlatformCommand command;
    command.command = 18829;
    command.body = input.TakeText();
    tqhost::DeliverCommand(command);
    auto &sent = g_sent<tqhost::CommandMessage>;
    Check(sent.size() == 1, "a request has one answer");
    const int result = Result(sent[0].body);
    Check(result == 4 || (result == 0) == (g_application.received == 1), "a setting that is done was given");
    Check(result != 0 || g_application.accepts, "a setting that is refused is not done");
    const auto items = tqhost::StatusItems();
    Check(std::any_of(items.begin(), items.end(), IsForced) == (result == 0 || result == 4), "a known setting is reported again");

    sent.clear();
    tqhost::StatusPass();
    CheckReports(sent);
    tqhost::StatusPass();
    Check(sent.size() == kSettings, "each setting is reported once");
}
