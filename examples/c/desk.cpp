// SPDX-License-Identifier: Apache-2.0
// Runs the camera on a desk: plays the platform for it, in the stand-in host SDK. Not for a device, where
// the SDK connects the camera to the platform.
#include <algorithm>
#include <cstdio>
#include <string>

#include "camera.h"
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

} // namespace

int main() {
    tqhost::Observe(ShowMessage);
    if (camera_start() != 0) {
        return 1;
    }

    tqhost::PlatformCommand capture;
    capture.command = 20034;
    capture.seq = 7;
    capture.body = R"({"delay":0,"channelNo":1,"params":{},"extendValue":"picture-17"})";
    const bool delivered = tqhost::DeliverCommand(capture);
    camera_work();

    camera_stop();
    return delivered ? 0 : 1;
}
