// SPDX-License-Identifier: Apache-2.0
// The JSON functions: the SDK's names for those of the library.
#include "bscJSON.h"

bscJSON *bscJSON_Parse(const char *text) {
    return cJSON_Parse(text);
}

char *bscJSON_Print(const bscJSON *item) {
    return cJSON_Print(item);
}

char *bscJSON_PrintUnformatted(const bscJSON *item) {
    return cJSON_PrintUnformatted(item);
}

void bscJSON_Delete(bscJSON *item) {
    cJSON_Delete(item);
}

bscJSON *bscJSON_CreateObject(void) {
    return cJSON_CreateObject();
}

bscJSON *bscJSON_CreateArray(void) {
    return cJSON_CreateArray();
}

bscJSON *bscJSON_CreateString(const char *text) {
    return cJSON_CreateString(text);
}

bscJSON *bscJSON_CreateStringReference(const char *text) {
    return cJSON_CreateStringReference(text);
}

bscJSON *bscJSON_CreateNumber(double number) {
    return cJSON_CreateNumber(number);
}

bscJSON *bscJSON_CreateRaw(const char *raw) {
    return cJSON_CreateRaw(raw);
}

bscJSON *bscJSON_Duplicate(const bscJSON *item, bool recurse) {
    return cJSON_Duplicate(item, static_cast<cJSON_bool>(recurse));
}

bool bscJSON_AddItemToArray(bscJSON *array, bscJSON *item) {
    return cJSON_AddItemToArray(array, item) != 0;
}

bool bscJSON_AddItemToObject(bscJSON *object, const char *name, bscJSON *item) {
    return cJSON_AddItemToObject(object, name, item) != 0;
}

bool bscJSON_AddItemToObjectCS(bscJSON *object, const char *name, bscJSON *item) {
    return cJSON_AddItemToObjectCS(object, name, item) != 0;
}

bool bscJSON_AddObjectToObject(bscJSON *object, const char *name, bscJSON *item) {
    return bscJSON_AddItemToObject(object, name, item);
}

bool bscJSON_AddArrayToObject(bscJSON *object, const char *name, bscJSON *item) {
    return bscJSON_AddItemToObject(object, name, item);
}

bscJSON *bscJSON_AddNumberToObject(bscJSON *object, const char *name, double number) {
    return cJSON_AddNumberToObject(object, name, number);
}

bscJSON *bscJSON_AddStringToObject(bscJSON *object, const char *name, const char *text) {
    return cJSON_AddStringToObject(object, name, text);
}

bscJSON *bscJSON_GetObjectItem(const bscJSON *object, const char *name) {
    return cJSON_GetObjectItem(object, name);
}

bscJSON *bscJSON_GetArrayItem(const bscJSON *array, int index) {
    return cJSON_GetArrayItem(array, index);
}

int bscJSON_GetArraySize(const bscJSON *array) {
    return cJSON_GetArraySize(array);
}
