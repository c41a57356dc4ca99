// SPDX-License-Identifier: Apache-2.0
/// @file json.h  JSON texts and values, and objects whose every member is accounted for.
#ifndef TQGATEWAY_JSON_H
#define TQGATEWAY_JSON_H

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace tqgateway {

using Json = nlohmann::ordered_json;

/// What is wrong with a line. Whoever throws it has done nothing yet.
struct LineError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Levels that a line may be nested: printing recurses.
constexpr std::size_t kMaxDepth = 600;

/// The value of a JSON text. LineError when it is none, is nested too deep or has an object of more than
/// 1000 members, which are looked up one by one.
Json ParseJson(const std::string &text, std::size_t max_depth = kMaxDepth);

/// The value of a JSON text; a text that ParseJson refuses stays a text.
Json ParseOrText(const std::string &text);

/// The value on one line. Bytes that are not UTF-8 are replaced.
std::string Dump(const Json &value);

/// A text value as it is, any other value dumped.
std::string AsText(const Json &value);

/// The text up to about so many bytes, and how long it is when that is not all.
std::string Clipped(std::string text, std::size_t bytes);

/// The text of a fixed-width field: up to its NUL or its width.
template <std::size_t N>
std::string FieldText(const char (&field)[N]) {
    std::size_t length = 0;
    while (length < N && field[length] != '\0') {
        ++length;
    }
    return {field, length};
}

/// A whole number within bounds, however it is written. `path` names the value in errors.
std::int64_t ReadWhole(const Json &value, const std::string &path, std::int64_t low, std::int64_t high);

/// A text of at most `width` bytes.
std::string ReadText(const Json &value, const std::string &path, std::size_t width);

/// Reads the members of an object by name. All functions throw LineError, which names the member.
class ObjectReader {
public:
    /// `path` names the object in errors; empty for a line itself.
    ObjectReader(const Json &object, std::string path);

    const Json *Find(const char *key); ///< Null when absent.
    const Json &Get(const char *key);  ///< Required.
    std::string Path(const char *key) const;

    /// A whole number that fits `Number`.
    template <typename Number>
    Number Whole(const char *key) {
        return static_cast<Number>(ReadWhole(Get(key), Path(key), std::numeric_limits<Number>::min(),
                                             std::numeric_limits<Number>::max()));
    }

    /// The same, left as it is when absent.
    template <typename Number>
    void Whole(const char *key, Number &number) {
        if (Find(key) != nullptr) {
            number = Whole<Number>(key);
        }
    }

    std::string Text(const char *key, std::size_t width) { return ReadText(Get(key), Path(key), width); }

    /// The same, left as it is when absent.
    void Text(const char *key, std::size_t width, std::string &text) {
        if (Find(key) != nullptr) {
            text = Text(key, width);
        }
    }

    /// Throws for a member that nobody has asked for.
    void Done() const;

private:
    const Json &object_;
    std::string path_;
    std::vector<std::string> asked_;
};

} // namespace tqgateway

#endif
