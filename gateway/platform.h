// SPDX-License-Identifier: Apache-2.0
/// @file platform.h  What the platform sees of the device, as lines.
#ifndef TQGATEWAY_PLATFORM_H
#define TQGATEWAY_PLATFORM_H

#include <optional>

#include "lines/json.h"
#include "tqdev_host.h"

namespace tqgateway {

/// The line of a message to the platform or of a log line; nothing for calls that stay within the host.
std::optional<Json> PlatformLine(const tqhost::Observation &observation);

} // namespace tqgateway

#endif
