/* SPDX-License-Identifier: Apache-2.0 */
/** @file tqdev_debug.h  The SDK log. */
#ifndef TQDEV_DEBUG_H
#define TQDEV_DEBUG_H

#ifdef __cplusplus
extern "C" {
#endif

/** Levels of the log; a line shows when its level is at most the level set for the log. */
typedef enum { LOG_NON = 0, LOG_ERROR = 1, LOG_WARNING = 2, LOG_DEBUG = 3, LOG_INFO = 4 } LOG_DEBUG_LEVEL;

/** Writes one line of any length; the format carries its own newline. */
void tqdev_debug(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif

#endif
