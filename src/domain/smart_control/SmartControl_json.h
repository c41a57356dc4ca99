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

#include "SmartControl_log.h"
#include "SmartControl_text.h"
#include "bscJSON.h"
#include "tqDevSDK_SmartControl_def.h"

// The JSON tree, the heap text or other memory that the current scope owns.
struct JsonDelete {
    void operator()(bscJSON *tree) const { bscJSON_Delete(tree); }
};
struct MemoryFree {
    void operator()(void *memory) const { free(memory); }
};
using JsonTree = std::unique_ptr<bscJSON, JsonDelete>;
using JsonText = std::unique_ptr<char, MemoryFree>;

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

/// A required member; null, and a line in the log, when it is missing.
inline const bscJSON *FindItem(Members &object, const char *key) {
    const bscJSON *item = object.Find(key);
    if (item == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to find item:%s\n", key);
    }
    return item;
}

/// Reads one required member into a field of any width; false, logged, when it is missing.
template <typename Field>
bool ReadItem(Members &object, const char *key, Field &field) {
    const bscJSON *item = FindItem(object, key);
    if (item == nullptr) {
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

/// Appends an item and returns it; null, and nothing kept, when there is no memory.
inline bscJSON *AppendItem(bscJSON *array, JsonTree item) {
    bscJSON *appended = item.get();
    if (appended == nullptr || !bscJSON_AddItemToArray(array, appended)) {
        return nullptr;
    }
    return item.release();
}

/// A number as the JSON library prints it, without its way through a double and back: null when there is no
/// memory.
bscJSON *CreateNumber(UINT32 number);
bscJSON *CreateNumber(int32_t number);

/// Adds one member, a number or a text, which is copied; false when there is no memory. The key must outlive
/// the object.
template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
bool WriteItem(bscJSON *object, const char *key, Number value) {
    static_assert(sizeof value <= sizeof(UINT32));
    using Wide = std::conditional_t<std::is_signed_v<Number>, int32_t, UINT32>;
    return AttachItem(object, key, JsonTree(CreateNumber(Wide{value}))) != nullptr;
}
inline bool WriteItem(bscJSON *object, const char *key, const char *text) {
    return AttachItem(object, key, JsonTree(bscJSON_CreateString(text))) != nullptr;
}

/// Adds a text of a record, which must outlive the object: the tree borrows it. A text that fills its field
/// has no terminator and is copied. False when there is no memory.
template <std::size_t N>
bool WriteField(bscJSON *object, const char *key, const char (&text)[N]) {
    const bool terminated = memchr(text, '\0', N) != nullptr;
    bscJSON *item = terminated ? bscJSON_CreateStringReference(text) : bscJSON_CreateString(FieldText(text));
    return AttachItem(object, key, JsonTree(item)) != nullptr;
}

/// Adds an empty array or object and returns it; null, and `failure` in the log, when there is no memory.
bscJSON *AttachArray(bscJSON *object, const char *key, const char *failure);
bscJSON *AttachObject(bscJSON *object, const char *key, const char *failure);
bscJSON *AppendObject(bscJSON *array, const char *failure);

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

/// The mirror of ReadValues; false when there is no memory.
bool WriteValues(bscJSON *params, const UINT16 (&values)[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX],
                 UINT8 count);

#endif
