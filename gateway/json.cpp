// SPDX-License-Identifier: Apache-2.0
// Limits of JSON texts, and the errors that name a member.
#include "json.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

namespace tqgateway {
namespace {

constexpr unsigned kMaxMembers = 1000;

/// Empty when the text keeps within the limits, else what it exceeds. Says nothing about its syntax.
std::string ExceededLimit(const std::string &text, std::size_t max_depth) {
    std::vector<unsigned> members; // of each open level
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
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

} // namespace

Json ParseJson(const std::string &text, std::size_t max_depth) {
    if (const std::string limit = ExceededLimit(text, max_depth); !limit.empty()) {
        throw LineError(limit);
    }
    try {
        return Json::parse(text);
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

std::string Dump(const Json &value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string AsText(const Json &value) {
    return value.is_string() ? value.get_ref<const std::string &>() : Dump(value);
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

std::string ReadText(const Json &value, const std::string &path, std::size_t width) {
    if (!value.is_string() || value.get_ref<const std::string &>().size() > width) {
        throw LineError(path + ": expected a text" +
                        (width == SIZE_MAX ? "" : " of at most " + std::to_string(width) + " bytes"));
    }
    return value.get<std::string>();
}

ObjectReader::ObjectReader(const Json &object, std::string path) : object_(object), path_(std::move(path)) {
    if (!object_.is_object()) {
        throw LineError((path_.empty() ? std::string() : path_ + ": ") + "expected an object");
    }
}

const Json *ObjectReader::Find(const char *key) {
    asked_.emplace_back(key);
    const auto found = object_.find(key);
    return found == object_.end() ? nullptr : &*found;
}

const Json &ObjectReader::Get(const char *key) {
    const Json *value = Find(key);
    if (value == nullptr) {
        throw LineError(Path(key) + ": missing");
    }
    return *value;
}

std::string ObjectReader::Path(const char *key) const {
    return path_.empty() ? key : path_ + '.' + key;
}

void ObjectReader::Done() const {
    for (const auto &member : object_.items()) {
        if (std::find(asked_.begin(), asked_.end(), member.key()) == asked_.end()) {
            throw LineError(Path(member.key().c_str()) + ": unknown field");
        }
    }
}

} // namespace tqgateway
