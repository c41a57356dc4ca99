// SPDX-License-Identifier: Apache-2.0
/// @file linkage_config.h  The linkage engine's configuration as JSON.
#ifndef TQGATEWAY_RULES_LINKAGE_CONFIG_H
#define TQGATEWAY_RULES_LINKAGE_CONFIG_H

#include <optional>
#include <string>

#include "lines/json.h"
#include "tqDevSDK_Linkage.h"

namespace tqgateway {

struct LinkageConfig {
    tqDevSDK_Linkage_Config_S engine{};
    int day_1 = 0;                    ///< The weekday of day number 1; 0 is Monday.
    std::optional<int> auto_done = 0; ///< How each action ends at once, as for Done; nothing: it runs.
};

/// Reads a configuration. What `present` has need not be given again; without it, defaults stand for all but
/// the unit of delays and day 1. A serial that was never given is empty: it is the device's. Throws
/// LineError.
LinkageConfig ReadLinkageConfig(ObjectReader config, const LinkageConfig *present);

/// The result of an action: 0 to 255 or "cannot", as for Done. Throws LineError.
int ReadResult(const Json &value, const std::string &path);

/// The JSON of a file that holds a configuration. Throws std::invalid_argument, which names the file.
Json ReadLinkageFile(const std::string &file);

} // namespace tqgateway

#endif
