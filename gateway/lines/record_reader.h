// SPDX-License-Identifier: Apache-2.0
/// @file record_reader.h  Fills the records of the public header from JSON objects.
#ifndef TQGATEWAY_LINES_RECORD_READER_H
#define TQGATEWAY_LINES_RECORD_READER_H

#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include "lines/json.h"
#include "tqdev_sdk_types.h"

namespace tqgateway {

struct FreeDelete {
    void operator()(void *memory) const { free(memory); }
};
using HeapBlock = std::unique_ptr<void, FreeDelete>;

/// Zeroed elements, in a block of their own so that overruns show; null for none.
template <typename Item>
Item *AllocateItems(std::size_t count) {
    if (count == 0) {
        return nullptr;
    }
    void *items = calloc(count, sizeof(Item));
    if (items == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<Item *>(items);
}

/// What the pointers of a record point at.
struct RecordStorage {
    std::vector<HeapBlock> arrays;
    std::deque<std::string> texts;
};

/// The reading visitor of a record's field list. Fields stay as they are where their verb allows absence.
class RecordReader {
public:
    RecordReader(const Json &object, std::string path, RecordStorage &storage)
        : RecordReader(ObjectReader(object, std::move(path)), storage) {}
    RecordReader(ObjectReader object, RecordStorage &storage)
        : object_(std::move(object)), storage_(storage) {}

    template <typename Number>
    std::enable_if_t<std::is_integral_v<Number>> Field(const char *name, Number &field) {
        field = object_.Whole<Number>(name);
    }

    /// Up to the full width of the field, as an application that forgets the terminator.
    template <std::size_t N>
    void Field(const char *name, char (&field)[N]) {
        const std::string text = object_.Text(name, N);
        memset(field, 0, N);
        memcpy(field, text.data(), text.size());
    }

    template <std::size_t N>
    void Field(const char *name, UINT8 (&field)[N]) {
        Numbers(name, field, N);
    }

    template <typename Record>
    std::enable_if_t<std::is_class_v<Record>> Field(const char *name, Record &record) {
        ReadRecord(object_.Get(name), object_.Path(name), record);
    }

    /// A field that the module never reads.
    template <typename Type>
    void Unread(const char *name, Type &field) {
        if (object_.Find(name) != nullptr) {
            Field(name, field);
        }
    }

    /// Values with the count of those used; a given count is taken as it is.
    template <typename Count, typename Number, std::size_t N>
    void Values(const char *count_name, Count &count, const char *name, Number (&values)[N]) {
        count = static_cast<Count>(Numbers(name, values, N));
        object_.Whole(count_name, count);
    }

    /// A counted array elsewhere; the count may be left out.
    template <typename Count, typename Item>
    void List(const char *count_name, Count &count, const char *name, Item *&items) {
        const std::size_t length = Array(name, std::numeric_limits<Count>::max()).size();
        items = AllocateItems<Item>(length);
        storage_.arrays.emplace_back(HeapBlock(items));
        Trailing(count_name, count, name, items);
    }

    /// A counted array at the end of the record, which has room for it.
    template <typename Count, typename Item>
    void Trailing(const char *count_name, Count &count, const char *name, Item *items) {
        const Json &array = Array(name, std::numeric_limits<Count>::max());
        count = static_cast<Count>(array.size());
        Count given = count;
        object_.Whole(count_name, given);
        if (given != count) {
            throw LineError(object_.Path(count_name) + ": expected " + std::to_string(count) + ", as " +
                            name + " has");
        }
        for (std::size_t i = 0; i < array.size(); ++i) {
            Element(array[i], ElementPath(name, i), items[i]);
        }
    }

    /// JSON that is kept as text; null stays null.
    void Payload(const char *name, const char *&field) {
        const Json &value = object_.Get(name);
        field = value.is_null() ? nullptr : storage_.texts.emplace_back(AsText(value)).c_str();
    }

    /// A required array of at most `most` elements.
    const Json &Array(const char *name, std::size_t most) {
        const Json &array = object_.Get(name);
        if (!array.is_array() || array.size() > most) {
            throw LineError(object_.Path(name) + ": expected an array of at most " + std::to_string(most));
        }
        return array;
    }

    /// A reader of an object within; its Done is the caller's.
    RecordReader Inner(const char *name) { return {object_.Get(name), object_.Path(name), storage_}; }
    RecordReader Inner(const Json &element, const char *name, std::size_t index) {
        return {element, ElementPath(name, index), storage_};
    }

    ObjectReader &Object() { return object_; }
    void Done() const { object_.Done(); }

private:
    std::string ElementPath(const char *name, std::size_t index) const {
        return object_.Path(name) + '[' + std::to_string(index) + ']';
    }

    template <typename Number>
    std::size_t Numbers(const char *name, Number *numbers, std::size_t most) {
        const Json &array = Array(name, most);
        for (std::size_t i = 0; i < array.size(); ++i) {
            Element(array[i], ElementPath(name, i), numbers[i]);
        }
        return array.size();
    }

    template <typename Item>
    void Element(const Json &json, const std::string &path, Item &item) {
        if constexpr (std::is_integral_v<Item>) {
            item = static_cast<Item>(
                ReadWhole(json, path, std::numeric_limits<Item>::min(), std::numeric_limits<Item>::max()));
        } else {
            ReadRecord(json, path, item);
        }
    }

    template <typename Record>
    void ReadRecord(const Json &json, const std::string &path, Record &record) {
        RecordReader reader(json, path, storage_);
        Fields(reader, record);
        reader.Done();
    }

    ObjectReader object_;
    RecordStorage &storage_;
};

} // namespace tqgateway

#endif
