// SPDX-License-Identifier: Apache-2.0
/// @file panel.h  A wall panel as a device application: a screen, scenes and a button.
#ifndef PANEL_H
#define PANEL_H

#include <mutex>
#include <string>

#include "tqDevSDK_SmartControl_def.h"

class Panel {
public:
    /// The module's callbacks carry no context, so there is one panel.
    static Panel &Instance();

    bool Start(); ///< Starts the module; false when it could not.
    void Stop();

    void PressButton(UINT32 button); ///< Reports the button as an event.

private:
    Panel() = default;

    int Receive(const tqDevSDK_SmartControl_msg_to_dev &msg);
    int Tell(tqDevSDK_SmartControl_runtime_info &info);

    std::mutex mutex_; ///< The SDK calls from more than one thread.
    UINT32 lightness_ = 50;
    std::string scene_rules_;
    UINT32 scene_version_ = 0;
};

#endif
