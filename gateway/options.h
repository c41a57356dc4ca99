// SPDX-License-Identifier: Apache-2.0
/// @file options.h  The command line.
#ifndef TQGATEWAY_OPTIONS_H
#define TQGATEWAY_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "application/application.h"
#include "check/command.h"
#include "http/http.h"
#include "link/mqtt.h"
#include "recording/recording.h"
#include "rules/explain.h"

namespace tqgateway {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitScript = 3;

struct Options {
    bool text = false;
    bool json = false;
    bool quiet = false; ///< Show neither.
    Session session;
    std::string script; ///< Empty: the standard input.
    std::string module = "libtqDevSDK_smart_control.so";
    ApplicationOptions application;
    double status_interval = 0; ///< Seconds; 0: none.
    std::string record;         ///< Empty: nothing is recorded.
    std::optional<bool> time;   ///< Lines carry times; unset: those of a timeline and of a recording.
    std::string linkage;        ///< File of the linkage engine's configuration; empty: there is none.
    std::optional<MqttOptions> mqtt;
    std::optional<HttpOptions> http;
    std::string replay;                 ///< Empty: no replay.
    bool replay_update = false;         ///< Record anew instead of comparing.
    bool replay_paced = false;          ///< Keep the recording's distances in time.
    std::vector<std::string> scenarios; ///< Empty: none are run.
    std::string junit;                  ///< Empty: no report on them.
    CheckOptions check;
    ExplainOptions explain; ///< No file: not asked for.
};

/// Nothing when the program is to go on, else its exit code.
std::optional<int> ReadOptions(int argc, char **argv, Options &options);

} // namespace tqgateway

#endif
