// SPDX-License-Identifier: Apache-2.0
// JSON texts as the module reads them. Neither its library nor any other tells the places of values in all
// texts that it takes: it takes leading zeros, control characters and more. So the tree is the library's, the
// places are found by going along the text, which it has found good, and another library says what is not
// JSON.
#include "check/tree.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <nlohmann/json.hpp>

#include "lines/json.h"

namespace tqgateway {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

bool HasByteOrderMark(const std::string &text) {
    return text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0;
}

/// A reader that keeps to the standard, but for the levels that it takes: those of the module's reader.
class StrictReader : public Json::json_sax_t {
public:
    /// Where a text is not JSON; none when its first value is.
    std::optional<SyntaxFault> Read(const char *text, std::size_t length) {
        Json::sax_parse(text, text + length, this, Json::input_format_t::json, /*strict=*/false);
        return fault_;
    }

    bool null() override { return true; }
    bool boolean(bool /*value*/) override { return true; }
    bool number_integer(number_integer_t /*value*/) override { return true; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
    bool number_float(number_float_t /*value*/, const string_t & /*text*/) override { return true; }
    bool string(string_t & /*value*/) override { return true; }
    bool binary(binary_t & /*value*/) override { return true; }
    bool key(string_t & /*value*/) override { return true; }
    bool start_object(std::size_t /*members*/) override { return Open(); }
    bool end_object() override { return open_-- > 0; }
    bool start_array(std::size_t /*elements*/) override { return Open(); }
    bool end_array() override { return open_-- > 0; }

    bool parse_error(std::size_t position, const std::string & /*token*/,
                     const Json::exception &error) override {
        std::string what = error.what(); // "[…] parse error at line 1, column 1: …" or "[…] …"
        what.erase(0, what.find("] ") + 2);
        if (what.rfind("parse error at ", 0) == 0) {
            what.erase(0, what.find(": ") + 2);
        }
        what.resize(std::min(what.size(), what.find("; last read: "))); // it stands at the offset
        fault_ = {position > 0 ? position - 1 : 0, what};
        return false;
    }

private:
    bool Open() {
        if (++open_ > CJSON_NESTING_LIMIT) {
            fault_ = {kElsewhere, "nested deeper than " + std::to_string(CJSON_NESTING_LIMIT) + " levels"};
        }
        return !fault_;
    }

    static constexpr std::size_t kElsewhere = SIZE_MAX - 1; ///< Where the module's reader stops.

    int open_ = 0;
    std::optional<SyntaxFault> fault_;
};

/// Goes along a text that the tree was made of.
class Walk {
public:
    using Visit = std::function<void(const cJSON *, const Place &, const std::string &)>;

    Walk(const std::string &text, const Visit &visit) : text_(text), visit_(visit) {}

    void Start(const cJSON *root) {
        at_ = HasByteOrderMark(text_) ? kByteOrderMark.size() : 0;
        SkipBlanks();
        Value(root, at_, false);
    }

private:
    void SkipBlanks() {
        while (at_ < text_.size() && static_cast<unsigned char>(text_[at_]) <= ' ') {
            ++at_;
        }
    }

    /// Goes past a text; whether it has a NUL in it, which the library also reads from bad digits.
    bool SkipText() {
        bool has_nul = false;
        for (++at_; text_[at_] != '"'; ++at_) {
            if (text_[at_] != '\\') {
                continue;
            }
            ++at_;
            has_nul = has_nul || (text_[at_] == 'u' && IsNul(text_.c_str() + at_ + 1));
        }
        ++at_;
        return has_nul;
    }

    static bool IsNul(const char *digits) {
        bool zero = true;
        for (int i = 0; i < 4; ++i) {
            if (std::isxdigit(static_cast<unsigned char>(digits[i])) == 0) {
                return true;
            }
            zero = zero && digits[i] == '0';
        }
        return zero;
    }

    /// Goes past a value and visits it.
    void Value(const cJSON *node, std::size_t key, bool ends_early) {
        const std::size_t begin = at_;
        if (cJSON_IsString(node)) {
            ends_early = SkipText() || ends_early;
        } else if (cJSON_IsArray(node) || cJSON_IsObject(node)) {
            Children(node);
        } else {
            at_ = std::min(text_.find_first_of(",]}", at_), text_.size());
        }
        visit_(node, {key, begin, at_, ends_early}, pointer_);
    }

    void Children(const cJSON *parent) {
        const std::size_t length = pointer_.size();
        std::size_t index = 0;
        ++at_; // the bracket
        SkipBlanks();
        for (const cJSON *child = parent->child; child != nullptr; child = child->next) {
            const std::size_t key = at_;
            bool ends_early = false;
            if (child->string != nullptr) {
                ends_early = SkipText();
                SkipBlanks();
                ++at_; // the colon
                SkipBlanks();
                AddKey(child->string);
            } else {
                pointer_ += '/' + std::to_string(index++);
            }
            Value(child, key, ends_early);
            pointer_.resize(length);
            SkipBlanks();
            if (child->next != nullptr) {
                ++at_; // the comma
                SkipBlanks();
            }
        }
        ++at_;
    }

    void AddKey(const char *key) {
        pointer_ += '/';
        for (; *key != '\0'; ++key) {
            if (*key == '~') {
                pointer_ += "~0";
            } else if (*key == '/') {
                pointer_ += "~1";
            } else {
                pointer_ += *key;
            }
        }
    }

    const std::string &text_;
    const Visit &visit_;
    std::size_t at_ = 0;
    std::string pointer_;
};

} // namespace

ParsedText ParseText(const std::string &text) {
    const char *end = nullptr;
    ParsedText parsed;
    parsed.tree.reset(cJSON_ParseWithOpts(text.c_str(), &end, 0));
    parsed.end = static_cast<std::size_t>(end - text.c_str());
    const auto more = std::find_if(text.begin() + (end - text.c_str()), text.end(),
                                   [](unsigned char c) { return c > ' ' || c == '\0'; });
    parsed.more = more == text.end() ? std::string::npos : static_cast<std::size_t>(more - text.begin());
    return parsed;
}

std::optional<SyntaxFault> FindFault(const std::string &text, const ParsedText &parsed) {
    const bool taken = parsed.tree != nullptr;
    if (taken && HasByteOrderMark(text)) {
        return SyntaxFault{0, "a byte order mark in front"};
    }
    auto fault = StrictReader().Read(text.c_str(), taken ? parsed.end : strlen(text.c_str()));
    if (taken) {
        return fault;
    }
    if (!fault || fault->offset + 1 < parsed.end) {
        // What a stricter reader stops at before is not the reason.
        return SyntaxFault{parsed.end, "the module's reader does not get past this"};
    }
    fault->offset = std::min(fault->offset, parsed.end); // where the value begins, not where it ends
    return fault;
}

void VisitPlaces(const std::string &text, const ParsedText &parsed,
                 const std::function<void(const cJSON *, const Place &, const std::string &)> &visit) {
    Walk(text, visit).Start(parsed.tree.get());
}

} // namespace tqgateway
