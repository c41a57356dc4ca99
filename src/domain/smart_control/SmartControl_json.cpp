// SPDX-License-Identifier: Apache-2.0
// What is written into JSON trees.
#include "SmartControl_json.h"

namespace {

bscJSON *OrLog(bscJSON *item, const char *failure) {
    if (item == nullptr) {
        Fail(failure);
    }
    return item;
}

} // namespace

bscJSON *CreateNumber(UINT32 number) {
    return bscJSON_CreateRaw(DecimalText(number));
}

bscJSON *CreateNumber(int32_t number) {
    return bscJSON_CreateRaw(DecimalText(number));
}

bscJSON *AttachArray(bscJSON *object, const char *key, const char *failure) {
    return OrLog(AttachItem(object, key, JsonTree(bscJSON_CreateArray())), failure);
}

bscJSON *AttachObject(bscJSON *object, const char *key, const char *failure) {
    return OrLog(AttachItem(object, key, JsonTree(bscJSON_CreateObject())), failure);
}

bscJSON *AppendObject(bscJSON *array, const char *failure) {
    return OrLog(AppendItem(array, JsonTree(bscJSON_CreateObject())), failure);
}

bool WriteValues(bscJSON *params, const UINT16 (&values)[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX],
                 UINT8 count) {
    for (UINT8 i = 0; i < count; ++i) {
        if (!WriteItem(params, kValueKeys[i], values[i])) {
            return false;
        }
    }
    return true;
}
