// SPDX-License-Identifier: Apache-2.0
/// @file hub.h  The virtual hub: the device application that the module talks to.
#ifndef TQGATEWAY_HUB_H
#define TQGATEWAY_HUB_H

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "output.h"
#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

/// A text that is opaque to the hub, too.
struct RuleText {
    UINT32 version = 0; ///< Counts the changes.
    std::optional<std::string> text;
};

struct HubState {
    UINT32 screen_overtime = 30;
    UINT32 video_time = 10;
    UINT32 auto_rouse = 1;
    UINT32 screen_lightness = 50;
    tqDevSDK_SmartControl_msg_IcrDss_S icr_dss{0, 1, {0, 0}};

    UINT32 rules_version = 0; ///< Counts the changes, unless set by hand.
    std::shared_ptr<const tqDevSDK_SmartControl_ConfigRules> rules; ///< Null: none.
    RuleText scene_rules;
    RuleText ai_rules;

    std::map<std::string, int> signals; ///< By serial or MAC address; the router's as "router".
    std::string ssid = "home";

    int recv_msg = 0;            ///< What the callback returns; unless 0 it changes nothing.
    int on_get_runtime_info = 0; ///< What the callback returns; unless 0 it fills nothing.
};

/// Takes what the module hands over and answers what it asks, on any thread.
class Hub {
public:
    explicit Hub(Output &output) : output_(output) {}

    /// Changes the hub as if by hand, as a `{"hub":{…}}` line says. Throws LineError, then unchanged.
    void Change(const Json &changes);

    /// The two callbacks of the device application; messages are shown before they are taken.
    int Receive(const tqDevSDK_SmartControl_msg_to_dev &message);
    int Answer(tqDevSDK_SmartControl_runtime_info &info);

private:
    Output &output_;
    std::mutex mutex_;
    HubState state_;
};

} // namespace tqgateway

#endif
