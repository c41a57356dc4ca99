// SPDX-License-Identifier: Apache-2.0
// The panel as a shared library that a program loads.
#include "tq_application.h"

#include <cstdlib>

#include "panel.h"

// The configuration is the lightness to start with; without one the panel keeps its own.
int tq_application_start(const char *configuration) {
    Panel &panel = Panel::Instance();
    if (*configuration != '\0') {
        panel.SetLightness(static_cast<UINT32>(strtoul(configuration, nullptr, 10)));
    }
    return panel.Start() ? 0 : -1;
}

int tq_application_stop() {
    Panel::Instance().Stop();
    return 0;
}
