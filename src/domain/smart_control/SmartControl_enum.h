// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_enum.h
/// Enumeration fields of the host's records, which may hold any number.
#ifndef SMARTCONTROL_ENUM_H
#define SMARTCONTROL_ENUM_H

#include <cstring>
#include <type_traits>

/// The number in a field. A newer host knows values that our enumeration does not have, and reading such a
/// field as its type is undefined; its bytes may be read.
template <typename Enum>
int NumberOf(const Enum &field) {
    static_assert(std::is_enum_v<Enum> && sizeof(Enum) == sizeof(int));
    int number = 0;
    memcpy(&number, &field, sizeof number);
    return number;
}

#endif
