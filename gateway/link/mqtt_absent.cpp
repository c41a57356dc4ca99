// SPDX-License-Identifier: Apache-2.0
// Stands in for mqtt.cpp where there is no MQTT library.
#include "link/mqtt.h"

#include <stdexcept>

namespace tqgateway {

std::unique_ptr<MqttLink> MakeMqttLink(const MqttOptions &) {
    throw std::invalid_argument(
        "--mqtt: this program was built without MQTT; install libmosquitto-dev and libssl-dev, "
        "configure and build it again");
}

} // namespace tqgateway
