// SPDX-License-Identifier: Apache-2.0
// Hours and minutes as text.
#include "tqdev_time.h"

#include <cstdio>

static constexpr time_t kMinute = 60;
static constexpr time_t kHour = 60 * kMinute;
static constexpr time_t kDay = 24 * kHour;

static bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Reads one or two digits and moves `text` behind them; -1 when there is none.
static int ReadNumber(const char *&text) {
    if (!IsDigit(*text)) {
        return -1;
    }
    int number = *text++ - '0';
    if (IsDigit(*text)) {
        number = number * 10 + (*text++ - '0');
    }
    return number;
}

time_t tqdev_ParseTimeHHMM(const char *text) {
    if (text == nullptr) {
        return 0;
    }
    const int hours = ReadNumber(text);
    if (hours < 0 || hours > 23 || *text++ != ':') {
        return 0;
    }
    const int minutes = ReadNumber(text);
    if (minutes < 0 || minutes > 59 || *text != '\0') {
        return 0;
    }
    return hours * kHour + minutes * kMinute;
}

std::string tqdev_MakeTimeHHMM(time_t time) {
    const int minutes = time < 0 || time >= kDay ? 0 : static_cast<int>(time / kMinute);
    char text[32];
    snprintf(text, sizeof text, "%02d:%02d", minutes / 60, minutes % 60);
    return text;
}
