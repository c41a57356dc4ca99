// SPDX-License-Identifier: Apache-2.0
// What all status items make of an application that does not answer.
#include "SmartControl_func_status.h"

int ChangeWithoutAnswer(std::optional<int> result) {
    constexpr int kCodeBits = 0xFFF;
    constexpr int kTryAgain = 4;
    return result.has_value() && (*result & kCodeBits) == kTryAgain ? -1 : 0;
}
