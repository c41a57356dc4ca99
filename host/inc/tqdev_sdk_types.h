/* SPDX-License-Identifier: Apache-2.0 */
/** @file tqdev_sdk_types.h  Integer types of the device SDK. */
#ifndef TQDEV_SDK_TYPES_H
#define TQDEV_SDK_TYPES_H

#include <stdint.h>

typedef uint8_t UINT8;
typedef uint16_t UINT16;
typedef uint32_t UINT32;

#endif
