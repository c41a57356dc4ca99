// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_json.h
/// Ownership of JSON trees and texts, and access to their values.
///
/// Values are read without a look at their type: the integer view of anything but a number, true or
/// false is 0, the text of anything but a string is empty. Keys are found whatever their case.
#ifndef SMARTCONTROL_JSON_H
#define SMARTCONTROL_JSON_H

#include <cstdlib>
#include <iterator>
#include <memory>
#include <type_traits>

#include "SmartControl_text.h"
#include "bscJSON.h"
#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_debug.h"

// The JSON tree or heap text that the current scope owns.
struct JsonDelete {
    void operator()(bscJSON *tree) const { bscJSON_Delete(tree); }
};
struct TextFree {
    void operator()(char *text) const { free(text); }
};
using JsonTree = std::unique_ptr<bscJSON, JsonDelete>;
using JsonText = std::unique_ptr<char, TextFree>;

inline bool IsArray(const bscJSON *item) {
    return item != nullptr && (item->type & 0xFF) == cJSON_Array;
}
inline bool IsObject(const bscJSON *item) {
    return item != nullptr && (item->type & 0xFF) == cJSON_Object;
}
inline bool IsString(const bscJSON *item) {
    return item != nullptr && (item->type & 0xFF) == cJSON_String;
}

inline const char *TextOf(const bscJSON *item) {
    return IsString(item) ? TextOrEmpty(item->valuestring) : "";
}

/// Stores the integer view, cut to the width of the field.
template <typename Field, typename = std::enable_if_t<std::is_integral_v<Field>>>
void Assign(const bscJSON *item, Field &field) {
    field = static_cast<Field>(item->valueint);
}

/// Stores the text, cut to the width of the field.
template <std::size_t N>
void Assign(const bscJSON *item, char (&field)[N]) {
    CopyText(field, TextOf(item));
}

/// The members of an object, each found by its key: the first of that name, in any case, as the JSON library
/// finds it. Keys that are asked for in the order of the text are found without a search. Not to be asked for
/// the same key twice.
class Members {
public:
    Members(const bscJSON *object) : object_(object), next_(object != nullptr ? object->child : nullptr) {}

    /// The member; null when there is none, or no object.
    const bscJSON *Find(const char *key) {
        // All members before next_ were found under other keys, so none of them is meant.
        const bscJSON *item = next_;
        if (item == nullptr || item->string == nullptr || strcmp(item->string, key) != 0) {
            item = bscJSON_GetObjectItem(object_, key);
        }
        if (item != nullptr && item == next_) {
            next_ = item->next;
        }
        return item;
    }

private:
    const bscJSON *object_;
    const bscJSON *next_;
};

/// Reads one required member into a field of any width; logs when it is missing.
template <typename Field>
bool ReadItem(Members &object, const char *key, Field &field) {
    const bscJSON *item = object.Find(key);
    if (item == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to find item:%s\n", key);
        return false;
    }
    Assign(item, field);
    return true;
}

/// Adds an item under a key that outlives the object, and returns it; null, and nothing kept, when there is
/// no memory.
inline bscJSON *AttachItem(bscJSON *object, const char *key, JsonTree item) {
    bscJSON *attached = item.get();
    if (attached == nullptr || !bscJSON_AddItemToObjectCS(object, key, attached)) {
        return nullptr;
    }
    return item.release();
}

/// Adds one member, a number or a text of fixed width or NUL-terminated; false when there is no memory. The
/// key must outlive the object.
template <typename Value>
bool WriteItem(bscJSON *object, const char *key, const Value &value) {
    bscJSON *item = nullptr;
    if constexpr (std::is_arithmetic_v<Value>) {
        item = bscJSON_CreateNumber(value);
    } else if constexpr (std::is_array_v<Value>) {
        item = bscJSON_CreateString(FieldText(value));
    } else {
        item = bscJSON_CreateString(value);
    }
    return AttachItem(object, key, JsonTree(item)) != nullptr;
}

/// Appends an item and returns it; null, and nothing kept, when there is no memory.
inline bscJSON *AppendItem(bscJSON *array, JsonTree item) {
    bscJSON *appended = item.get();
    if (appended == nullptr || !bscJSON_AddItemToArray(array, appended)) {
        return nullptr;
    }
    return item.release();
}

/// Keys of an action's values, in order.
constexpr const char *kValueKeys[] = {"value1",  "value2",  "value3",  "value4",  "value5",  "value6",
                                      "value7",  "value8",  "value9",  "value10", "value11", "value12",
                                      "value13", "value14", "value15", "value16"};
static_assert(std::size(kValueKeys) == TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX);

/// Reads value1 and so on up to the first missing key; returns how many there are.
template <typename Value>
UINT8 ReadValues(Members params, Value (&values)[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX]) {
    UINT8 count = 0;
    for (const char *key : kValueKeys) {
        const bscJSON *item = params.Find(key);
        if (item == nullptr) {
            break;
        }
        Assign(item, values[count++]);
    }
    return count;
}

/// The mirror of ReadValues; false when there was no memory for one of them, which is then missing.
inline bool WriteValues(bscJSON *params, const UINT16 (&values)[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX],
                        UINT8 count) {
    bool all = true;
    for (UINT8 i = 0; i < count; ++i) {
        all = WriteItem(params, kValueKeys[i], values[i]) && all;
    }
    return all;
}

#endif
