// SPDX-License-Identifier: Apache-2.0
// Runs a manual scene.
#include "SmartControl_func_scene.h"

#include "SmartControl_func_object.h"
#include "SmartControl_json.h"

namespace {

int RunScene(const bscJSON *root) {
    if (root == nullptr) {
        Fail("ReportManualScene,json parse err");
        return -1;
    }
    const bscJSON *id = Members(root).Find("ruleId");
    if (!IsString(id)) {
        Fail("Failed to get sceneToDo");
        return -1;
    }
    const int32_t scene = ParseSigned(TextOf(id));
    tqdev_debug(LOG_INFO, "Manual Scene ID is %d\n", scene);
    tqDevSDK_SmartControl_ManualScene_S record{static_cast<UINT32>(scene)};
    return SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE, record).value_or(-1);
}

} // namespace

int ReportManualScene(const char *json, int /*len*/, char **reply) {
    if (json == nullptr) {
        Fail("para is null");
        return -1;
    }
    // The reply is an empty object whatever the result. It is there before the scene runs, so that no scene
    // runs that cannot be answered.
    const JsonTree empty(bscJSON_CreateObject());
    *reply = empty != nullptr ? bscJSON_Print(empty.get()) : nullptr;
    if (*reply == nullptr) {
        Fail("No memory for the reply to a manual scene.");
        return -1;
    }
    return RunScene(JsonTree(bscJSON_Parse(json)).get());
}
