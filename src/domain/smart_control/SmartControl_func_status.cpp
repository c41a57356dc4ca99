// SPDX-License-Identifier: Apache-2.0
// What all status items ask alike.
#include "SmartControl_func_status.h"

#include "SmartControl_func_object.h"

std::optional<int> AskForStatus(tqDevSDK_SmartControl_runtime_info &question) {
    constexpr int kCodeBits = 0xFFF;
    constexpr int kTryAgain = 4;

    const std::optional<int> code = Ask(question);
    if (code == 0) {
        return std::nullopt;
    }
    return code.has_value() && (*code & kCodeBits) == kTryAgain ? -1 : 0;
}
