// SPDX-License-Identifier: Apache-2.0
/// @file json.h  JSON texts and values, and objects whose every member is accounted for.
#ifndef TQGATEWAY_LINES_JSON_H
#define TQGATEWAY_LINES_JSON_H

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace tqgateway {

using Json = nlohmann::ordered_json;

/// What is wrong with a line. Whoever throws it has done nothing yet.
struct LineError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// An object lacks a member. What else it has tells whether that was misspelt.
struct MissingMember : LineError {
    MissingMember(const std::string &member, std::string path, const Json &object);

    std::string path; ///< Of the object; empty for a line itself.
    std::vector<std::string> given;
};

/// Says that a member is none of those that its object may have.
LineError UnknownField(const std::string &path, const std::string &member,
                       const std::vector<std::string> &known);

/// Levels that a line may be nested: printing recurses.
constexpr std::size_t kMaxDepth = 600;

/// The value of a JSON text. LineError when it is none, is nested too deep or has an object of more than
/// 1000 members, which are looked up one by one. A number beyond a double's range reads as the largest
/// double.
Json ParseJson(const std::string &text, std::size_t max_depth = kMaxDepth);

/// The value of a JSON text; a text that ParseJson refuses stays a text.
Json ParseOrText(const std::string &text);

/// A value to be carried on as it was written, a JSON text: of two equal keys both, of a number all digits.
/// Nothing but Dump understands it.
Json Written(std::string_view json);

/// Has an object carry a member on as it stands in the object's text, blanks between its parts aside. A text
/// value stays as it is.
void KeepText(Json &object, const char *name, std::string_view text);

/// The value on one line, unless one was written on more. Bytes that are not UTF-8 are replaced.
std::string Dump(const Json &value);

/// A text value as it is, any other value dumped.
std::string AsText(const Json &value);

/// The text of a member's value as it stands in the text of an object, which must be JSON; of several members
/// with the name that of the last, which is also the one that a parsed object has. Empty when there is none.
std::string_view MemberText(std::string_view object, std::string_view name);

/// "expected a, b or c": the names of which one was meant, those most like the given one first, `most` at
/// most.
std::string Expected(const std::string &given, std::vector<std::string> names, std::size_t most = SIZE_MAX);

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

/// True or false.
bool ReadBool(const Json &value, const std::string &path);

/// A text of at most `width` bytes.
std::string ReadText(const Json &value, const std::string &path, std::size_t width);

/// Reads the members of an object by name. All functions throw LineError, which names the member.
class ObjectReader {
public:
    /// `path` names the object in errors; empty for a line itself. `text` is the object as it was written,
    /// and outlives the reader; empty where nobody wrote it.
    ObjectReader(const Json &object, std::string path, std::string_view text = {});

    const Json *Find(const char *key); ///< Null when absent.
    const Json &Get(const char *key);  ///< Required.

    /// A required member: a text value as it is, any other as it was written.
    std::string AsWritten(const char *key);

    /// A reader of a required object within; its Done is the caller's.
    ObjectReader Inner(const char *key);

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

    /// Throws for a member that nobody has asked for, and names those that were.
    void Done() const;

private:
    const Json &object_;
    std::string path_;
    std::string_view text_;
    std::vector<std::string> asked_;
};

} // namespace tqgateway

#endif
