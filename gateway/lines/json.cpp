// SPDX-License-Identifier: Apache-2.0
// Limits of JSON texts, and the errors that name a member.
#include "lines/json.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include <nlohmann/json.hpp>

namespace tqgateway {
namespace {

constexpr unsigned kMaxMembers = 1000;
constexpr std::size_t kShownNameBytes = 100;
constexpr const char *kBlanks = " \t\r\n";

/// Empty when the text keeps within the limits, else what it exceeds. Says nothing more about its syntax.
std::string ExceededLimit(const std::string &text, std::size_t max_depth) {
    std::vector<unsigned> members; // of each open level
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\0') {
            return "not JSON: a NUL byte"; // which the library takes for the end
        }
        if (quoted) {
            if (c == '\\') {
                ++i;
            }
            quoted = c != '"';
            continue;
        }
        if (c == '"') {
            quoted = true;
        } else if (c == '{' || c == '[') {
            members.push_back(0);
            if (members.size() > max_depth) {
                return "nested deeper than " + std::to_string(max_depth) + " levels";
            }
        } else if ((c == '}' || c == ']') && !members.empty()) {
            members.pop_back();
        } else if (c == ':' && !members.empty() && ++members.back() > kMaxMembers) {
            return "an object of more than 1000 members";
        }
    }
    return {};
}

// ---- Places in a JSON text, which is known to be one. ----

std::size_t SkipBlanks(std::string_view json, std::size_t at) {
    return std::min(json.find_first_not_of(kBlanks, at), json.size());
}

/// Behind the quoted text at `at`.
std::size_t EndOfText(std::string_view json, std::size_t at) {
    for (++at; at < json.size() && json[at] != '"'; ++at) {
        if (json[at] == '\\') {
            ++at;
        }
    }
    return std::min(at + 1, json.size());
}

/// Behind the value at `at`.
std::size_t EndOfValue(std::string_view json, std::size_t at) {
    if (json[at] != '{' && json[at] != '[') {
        return json[at] == '"' ? EndOfText(json, at)
                               : std::min(json.find_first_of(",]} \t\r\n", at), json.size());
    }
    std::size_t depth = 0;
    do {
        const char c = json[at];
        at = c == '"' ? EndOfText(json, at) : at + 1;
        depth += c == '{' || c == '[' ? 1 : 0;
        depth -= c == '}' || c == ']' ? 1 : 0;
    } while (depth > 0);
    return at;
}

/// The text with the largest doubles in the place of all numbers beyond them.
std::string WithinRange(const std::string &text) {
    std::string within;
    for (std::size_t at = 0; at < text.size();) {
        const bool number = text[at] == '-' || (text[at] >= '0' && text[at] <= '9');
        const std::size_t end = number            ? text.find_first_not_of("0123456789+-.eE", at)
                                : text[at] == '"' ? EndOfText(text, at)
                                                  : at + 1;
        const std::string token = text.substr(at, end - at);
        const bool beyond = number && std::isinf(strtod(token.c_str(), nullptr));
        within += beyond ? (token[0] == '-' ? "-1.7976931348623157e308" : "1.7976931348623157e308") : token;
        at += token.size();
    }
    return within;
}

/// Whether there is a value within that Written has made.
bool HasWritten(const Json &value) {
    return value.is_binary() ||
           (value.is_structured() && std::any_of(value.begin(), value.end(), HasWritten));
}

/// How far names are from each other: the characters to add, take away or change to make one the other, by
/// the length of the longer, so that short names are not near everything.
double Distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return static_cast<double>(row.back()) /
           static_cast<double>(std::max({from.size(), to.size(), std::size_t{1}}));
}

} // namespace

Json ParseJson(const std::string &text, std::size_t max_depth) {
    if (const std::string limit = ExceededLimit(text, max_depth); !limit.empty()) {
        throw LineError(limit);
    }
    try {
        return Json::parse(text);
    } catch (const Json::out_of_range &) {
        return ParseJson(WithinRange(text), max_depth);
    } catch (const Json::exception &error) {
        const std::string what = error.what(); // begins with "[json.exception.…] "
        const std::size_t end = what.find("] ");
        throw LineError("not JSON: " + (end == std::string::npos ? what : what.substr(end + 2)));
    }
}

Json ParseOrText(const std::string &text) {
    if (!ExceededLimit(text, kMaxDepth).empty()) {
        return text;
    }
    Json value = Json::parse(text, nullptr, false);
    return value.is_discarded() ? Json(text) : value;
}

Json Written(std::string_view json) {
    return Json::binary({json.begin(), json.end()});
}

void KeepText(Json &object, const char *name, std::string_view text) {
    const auto member = object.find(name);
    if (member == object.end() || member->is_string()) {
        return;
    }
    const std::string_view written = MemberText(text, name);
    std::string kept;
    for (std::size_t at = SkipBlanks(written, 0), end = 0; at < written.size();
         at = SkipBlanks(written, end)) {
        end = written[at] == '"' ? EndOfText(written, at) : at + 1;
        kept += written.substr(at, end - at);
    }
    *member = Written(kept);
}

std::string Dump(const Json &value) {
    if (!HasWritten(value)) {
        return value.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
    if (value.is_binary()) {
        return {value.get_binary().begin(), value.get_binary().end()};
    }
    std::string text;
    for (const auto &item : value.items()) {
        text += text.empty() ? "" : ",";
        text += value.is_object() ? Dump(item.key()) + ':' : "";
        text += Dump(item.value());
    }
    return value.is_object() ? '{' + text + '}' : '[' + text + ']';
}

std::string AsText(const Json &value) {
    return value.is_string() ? value.get_ref<const std::string &>() : Dump(value);
}

std::string_view MemberText(std::string_view object, std::string_view name) {
    std::string_view found;
    std::size_t at = SkipBlanks(object, SkipBlanks(object, 0) + 1);
    while (object[at] == '"') {
        const std::size_t name_end = EndOfText(object, at);
        const std::size_t value = SkipBlanks(object, object.find(':', name_end) + 1);
        const std::size_t value_end = EndOfValue(object, value);
        if (Json::parse(object.substr(at, name_end - at)) == name) {
            found = object.substr(value, value_end - value);
        }
        at = SkipBlanks(object, value_end);
        if (object[at] == ',') {
            at = SkipBlanks(object, at + 1);
        }
    }
    return found;
}

std::string Expected(const std::string &given, std::vector<std::string> names, std::size_t most) {
    const std::string_view compared = std::string_view(given).substr(0, kShownNameBytes);
    std::stable_sort(names.begin(), names.end(), [&](const std::string &a, const std::string &b) {
        return Distance(compared, a) < Distance(compared, b);
    });
    names.resize(std::min(names.size(), most));
    std::string text = "expected";
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? " " : i + 1 == names.size() ? " or " : ", ") + names[i];
    }
    return text;
}

std::string Clipped(std::string text, std::size_t bytes) {
    if (text.size() <= bytes) {
        return text;
    }
    std::size_t end = bytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) {
        --end; // not within a character
    }
    return text.substr(0, end) + "… (" + std::to_string(text.size()) + " bytes)";
}

std::int64_t ReadWhole(const Json &value, const std::string &path, std::int64_t low, std::int64_t high) {
    const double number = value.is_number() ? value.get<double>() : std::nan("");
    if (!(number >= static_cast<double>(low) && number <= static_cast<double>(high)) ||
        number != std::floor(number)) {
        throw LineError(path + ": expected a whole number from " + std::to_string(low) + " to " +
                        std::to_string(high));
    }
    return static_cast<std::int64_t>(number);
}

bool ReadBool(const Json &value, const std::string &path) {
    if (!value.is_boolean()) {
        throw LineError(path + ": expected true or false");
    }
    return value.get<bool>();
}

std::string ReadText(const Json &value, const std::string &path, std::size_t width) {
    if (!value.is_string() || value.get_ref<const std::string &>().size() > width) {
        throw LineError(path + ": expected a text" +
                        (width == SIZE_MAX ? "" : " of at most " + std::to_string(width) + " bytes"));
    }
    return value.get<std::string>();
}

MissingMember::MissingMember(const std::string &member, std::string path_of_object, const Json &object)
    : LineError(member + ": missing"), path(std::move(path_of_object)) {
    for (const auto &item : object.items()) {
        given.push_back(item.key());
    }
}

LineError UnknownField(const std::string &path, const std::string &member,
                       const std::vector<std::string> &known) {
    return LineError((path.empty() ? "" : path + '.') + Clipped(member, kShownNameBytes) +
                     ": unknown field, " + Expected(member, known));
}

ObjectReader::ObjectReader(const Json &object, std::string path, std::string_view text)
    : object_(object), path_(std::move(path)), text_(text) {
    if (!object_.is_object()) {
        throw LineError((path_.empty() ? std::string() : path_ + ": ") + "expected an object");
    }
}

const Json *ObjectReader::Find(const char *key) {
    if (std::find(asked_.begin(), asked_.end(), key) == asked_.end()) {
        asked_.emplace_back(key);
    }
    const auto found = object_.find(key);
    return found == object_.end() ? nullptr : &*found;
}

const Json &ObjectReader::Get(const char *key) {
    const Json *value = Find(key);
    if (value == nullptr) {
        throw MissingMember(Path(key), path_, object_);
    }
    return *value;
}

std::string ObjectReader::AsWritten(const char *key) {
    const Json &value = Get(key);
    return value.is_string() || text_.empty() ? AsText(value) : std::string(MemberText(text_, key));
}

ObjectReader ObjectReader::Inner(const char *key) {
    const Json &value = Get(key);
    return {value, Path(key), value.is_object() && !text_.empty() ? MemberText(text_, key) : ""};
}

std::string ObjectReader::Path(const char *key) const {
    return path_.empty() ? key : path_ + '.' + key;
}

void ObjectReader::Done() const {
    for (const auto &member : object_.items()) {
        if (std::find(asked_.begin(), asked_.end(), member.key()) == asked_.end()) {
            throw UnknownField(path_, member.key(), asked_);
        }
    }
}

} // namespace tqgateway
