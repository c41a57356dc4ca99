/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file bscJSON.h
 * The SDK's JSON library: cJSON under the SDK's prefix.
 *
 * The functions are cJSON's of the same stem. bscJSON_AddObjectToObject and bscJSON_AddArrayToObject
 * differ: they attach an existing item, and leave it with the caller when they return false.
 */
#ifndef BSCJSON_H
#define BSCJSON_H

#include <cjson/cJSON.h>
#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef cJSON bscJSON;

bscJSON *bscJSON_Parse(const char *text);
char *bscJSON_Print(const bscJSON *item);
char *bscJSON_PrintUnformatted(const bscJSON *item);
void bscJSON_Delete(bscJSON *item);

bscJSON *bscJSON_CreateObject(void);
bscJSON *bscJSON_CreateArray(void);
bscJSON *bscJSON_CreateString(const char *text);
/* The text is not copied: it must outlive the item. */
bscJSON *bscJSON_CreateStringReference(const char *text);
bscJSON *bscJSON_CreateNumber(double number);
/* The text is copied, and printed as it is. */
bscJSON *bscJSON_CreateRaw(const char *raw);
bscJSON *bscJSON_Duplicate(const bscJSON *item, bool recurse);

bool bscJSON_AddItemToArray(bscJSON *array, bscJSON *item);
bool bscJSON_AddItemToObject(bscJSON *object, const char *name, bscJSON *item);
/* The name is not copied: it must outlive the object. */
bool bscJSON_AddItemToObjectCS(bscJSON *object, const char *name, bscJSON *item);
bool bscJSON_AddObjectToObject(bscJSON *object, const char *name, bscJSON *item);
bool bscJSON_AddArrayToObject(bscJSON *object, const char *name, bscJSON *item);
bscJSON *bscJSON_AddNumberToObject(bscJSON *object, const char *name, double number);
bscJSON *bscJSON_AddStringToObject(bscJSON *object, const char *name, const char *text);

bscJSON *bscJSON_GetObjectItem(const bscJSON *object, const char *name);
bscJSON *bscJSON_GetArrayItem(const bscJSON *array, int index);
int bscJSON_GetArraySize(const bscJSON *array);

#ifdef __cplusplus
}
#endif

#endif
