// SPDX-License-Identifier: Apache-2.0
/// @file floor.h
/// The floor's steps: plain use of the JSON library.
#ifndef BENCH_FLOOR_H
#define BENCH_FLOOR_H

#include <cstdlib>

#include "bench.h"
#include "bscJSON.h"

constexpr auto Num = bscJSON_AddNumberToObject;
constexpr auto Str = bscJSON_AddStringToObject;

inline bscJSON *Append(bscJSON *array) {
    bscJSON *object = bscJSON_CreateObject();
    bscJSON_AddItemToArray(array, object);
    return object;
}

inline bscJSON *Attach(bscJSON *object, const char *key, bscJSON *item) {
    bscJSON_AddItemToObject(object, key, item);
    return item;
}

inline void PrintAndDelete(bscJSON *root) {
    char *text = bscJSON_Print(root);
    Show(text);
    free(text);
    bscJSON_Delete(root);
}

#endif
