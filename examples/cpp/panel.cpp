// SPDX-License-Identifier: Apache-2.0
#include "panel.h"

#include <cstdio>
#include <cstring>

namespace {

template <typename Record>
Record &As(char *data) {
    return *reinterpret_cast<Record *>(data);
}

} // namespace

Panel &Panel::Instance() {
    static Panel panel;
    return panel;
}

bool Panel::Start() {
    // No exception may leave a callback: the module is built without them.
    tqDevSDK_SmartControl_init_info info{};
    info.cb.recv_msg = [](tqDevSDK_SmartControl_msg_to_dev *msg) {
        try {
            return Instance().Receive(*msg);
        } catch (...) {
            return -1;
        }
    };
    info.cb.on_get_runtime_info = [](tqDevSDK_SmartControl_runtime_info *query) {
        try {
            return Instance().Tell(*query);
        } catch (...) {
            return -1;
        }
    };
    if (tqDevSDK_SmartControl_init(&info) != 0) {
        tqDevSDK_SmartControl_fini(); // A failed init may have registered a part.
        return false;
    }
    return true;
}

void Panel::Stop() {
    tqDevSDK_SmartControl_fini();
}

void Panel::PressButton(UINT32 button) {
    tqDevSDK_SmartControl_Event event{button, 1};
    const tqDevSDK_SmartControl_Msg2Server_S msg{TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event,
                                                 sizeof event};
    if (tqDevSDK_SmartControl_Msg2Server(&msg) != 0) {
        fprintf(stderr, "panel: the event could not be sent\n");
    }
}

// What the platform wants; the record is lent, so what stays is copied.
int Panel::Receive(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    const std::lock_guard<std::mutex> lock(mutex_);
    switch (msg.type) {
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS:
        lightness_ = As<UINT32>(msg.data);
        printf("panel: lightness %u\n", lightness_);
        return 0;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES:
        scene_rules_ = As<tqDevSDK_SmartControl_Rule_S>(msg.data).rule;
        ++scene_version_;
        printf("panel: scenes %s\n", scene_rules_.c_str());
        return 0;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE:
        printf("panel: scene %u\n", As<tqDevSDK_SmartControl_ManualScene_S>(msg.data).uiSceneId);
        return 0;
    default:
        return -1;
    }
}

// What the panel's state is; a rule text becomes the module's, which frees it.
int Panel::Tell(tqDevSDK_SmartControl_runtime_info &info) {
    const std::lock_guard<std::mutex> lock(mutex_);
    switch (info.type) {
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS:
        As<UINT32>(info.data) = lightness_;
        return 0;
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES: {
        auto &rules = As<tqDevSDK_SmartControl_Rule_S>(info.data);
        rules.uiVersion = scene_version_;
        rules.rule = scene_rules_.empty() ? nullptr : strdup(scene_rules_.c_str());
        return 0;
    }
    default:
        return -1;
    }
}
