// SPDX-License-Identifier: Apache-2.0
/// @file tqdev_time.h  Hours and minutes as text.
#ifndef TQDEV_TIME_H
#define TQDEV_TIME_H

#include <ctime>
#include <string>

/// Seconds after midnight for a text from 0:00 to 23:59; 0 for null or any other text.
time_t tqdev_ParseTimeHHMM(const char *text);

/// "HH:MM" for seconds after midnight; "00:00" for a value outside a day.
std::string tqdev_MakeTimeHHMM(time_t time);

#endif
