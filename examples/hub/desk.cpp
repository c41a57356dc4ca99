// SPDX-License-Identifier: Apache-2.0
// Runs the hub on a desk: plays the platform and the home for it, in the stand-in host SDK, and turns its
// clock. Not for a device, where the SDK connects the hub to the platform.
#include <algorithm>
#include <cstdio>
#include <string>

#include "hub.h"
#include "tqdev_host.h"

namespace {

// At night two lamps go on, the siren sounds five seconds later, and a camera takes a picture.
const char *const kRules = R"([{"Type":"Global","channel":1,"status":[{
    "id":1,"userId":"user-1","name":"Porch at night","enable":1,"weekdays":["1","2","3","4","5"],
    "startTime":"22:00","endTime":"n06:30","rule":{"condition":0,
    "events":[{"domain":1100,"cmdId":5,"deviceId":"SENSOR001","channelNo":1,"value":1}],
    "actions":[
        {"domain":1100,"cmdId":1,"deviceId":"HUB000001","channelNo":1,"params":{"value1":1},"delay":0},
        {"domain":1100,"cmdId":1,"deviceId":"LAMP00001","channelNo":1,"params":{"value1":1},"delay":0},
        {"domain":1100,"cmdId":2,"deviceId":"HUB000001","channelNo":1,"params":{},"delay":5},
        {"domain":7000,"cmdId":20034,"deviceId":"CAMERA001","channelNo":1,"params":{},"delay":0}]}}]}])";

tqDevSDK_Linkage_Now_S g_now{0, 12 * 3600, 5, 1}; // Friday noon

void ReadClock(tqDevSDK_Linkage_Now_S *now) {
    *now = g_now;
}

// Turns the clock on to a time of that day.
void SetTime(UINT8 day, UINT32 hour, UINT32 second) {
    g_now = {g_now.ullMonoMs + 10000, hour * 3600 + second, day, 1};
}

void ShowMessage(const tqhost::Observation &seen) {
    if (std::holds_alternative<tqhost::Call>(seen) || std::holds_alternative<tqhost::LogLine>(seen)) {
        return; // no message
    }
    std::string line = tqhost::Describe(seen);
    line.erase(std::remove_if(line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }),
               line.end());
    printf("platform: %s\n", line.c_str());
}

void Motion() {
    hub_event("SENSOR001", 1100, 5, 1, 1);
    printf("desk: %u ms to the next work\n", hub_work());
}

} // namespace

int main() {
    tqhost::Observe(ShowMessage);
    if (hub_start(ReadClock) != 0) {
        return 1;
    }
    const bool taken = tqhost::ShadowDesire("InterconnectionRule", kRules) == 0 &&
                       tqhost::ShadowGet("InterconnectionRule") == 0;

    Motion();
    SetTime(5, 23, 0);
    hub_member("LAMP00001", 1);
    Motion(); // the camera was not found yet
    SetTime(6, 2, 0);
    hub_member("CAMERA001", 1);
    hub_work();
    hub_member("LAMP00001", 0);
    Motion(); // still Friday's night
    SetTime(6, 23, 0);
    hub_work();
    Motion();
    hub_event("SENSOR001", 1100, 5, 2, 1);
    hub_post_statistics();
    hub_stop();
    return taken ? 0 : 1;
}
