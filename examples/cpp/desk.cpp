// SPDX-License-Identifier: Apache-2.0
// Runs the panel on a desk: plays the platform for it, in the stand-in host SDK. Not for a device, where
// the SDK connects the panel to the platform.
#include <algorithm>
#include <cstdio>
#include <string>

#include "panel.h"
#include "tqdev_host.h"

namespace {

void ShowMessage(const tqhost::Observation &seen) {
    if (std::holds_alternative<tqhost::Call>(seen) || std::holds_alternative<tqhost::LogLine>(seen)) {
        return; // no message
    }
    std::string line = tqhost::Describe(seen);
    line.erase(std::remove_if(line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }),
               line.end());
    printf("platform: %s\n", line.c_str());
}

bool SetLightness(const std::string &value) {
    const std::string key = "device_screen_lightness";
    const auto redirection = tqhost::Redirection(key);
    if (!redirection) {
        return false;
    }
    tqhost::PlatformCommand command;
    command.command = static_cast<int>(redirection->uiCmdId);
    command.body = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Request><Type>" + key + "</Type><Value>" +
                   value + "</Value></Request>";
    return tqhost::DeliverCommand(command);
}

bool RunScene(const std::string &id) {
    tqhost::ModelMessage request;
    request.identifier = "ExecManualScene";
    request.text = R"({"ruleId":")" + id + "\"}";
    return tqhost::DeliverModelRequest(request) == 0;
}

} // namespace

int main() {
    tqhost::Observe(ShowMessage);
    Panel &panel = Panel::Instance();
    if (!panel.Start()) {
        return 1;
    }

    const bool served =
        SetLightness("80") &&
        tqhost::ShadowDesire("SceneLink", R"({"scenes":[{"id":42,"name":"Good night"}]})") == 0 &&
        RunScene("42");
    panel.PressButton(2);
    // The panel has a new setting and new scenes, which the SDK notices in its next pass.
    tqhost::StatusPass();

    panel.Stop();
    return served ? 0 : 1;
}
