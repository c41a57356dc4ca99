// SPDX-License-Identifier: Apache-2.0
/// @file options.h  The command line.
#ifndef TQGATEWAY_OPTIONS_H
#define TQGATEWAY_OPTIONS_H

#include <optional>
#include <string>

#include "mqtt.h"
#include "recording.h"

namespace tqgateway {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

struct Options {
    bool text = false;
    bool json = false;
    Session session;
    std::string script; ///< Empty: the standard input.
    std::string module = "libtqDevSDK_smart_control.so";
    double status_interval = 0; ///< Seconds; 0: none.
    std::string record;         ///< Empty: nothing is recorded.
    std::optional<MqttOptions> mqtt;
    std::string replay;         ///< Empty: an ordinary run.
    bool replay_update = false; ///< Record anew instead of comparing.
};

/// Nothing when the program is to go on, else its exit code.
std::optional<int> ReadOptions(int argc, char **argv, Options &options);

} // namespace tqgateway

#endif
