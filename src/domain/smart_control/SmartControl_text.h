// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_text.h
/// Texts of bounded width, and decimal numbers in texts.
#ifndef SMARTCONTROL_TEXT_H
#define SMARTCONTROL_TEXT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "tqdev_sdk_types.h"

/// A text from the host; null reads as empty.
inline const char *TextOrEmpty(const char *text) {
    return text != nullptr ? text : "";
}

/// A 32-bit number in decimal, as text.
class DecimalText {
public:
    explicit DecimalText(int32_t value);
    explicit DecimalText(UINT32 value);
    operator const char *() const { return text_; }

private:
    char text_[12];
};

/// Puts a text together in a field, piece by piece; what does not fit is cut. The field is terminated
/// throughout.
template <std::size_t N>
class TextWriter {
public:
    explicit TextWriter(char (&field)[N]) : field_(field) { field_[0] = '\0'; }

    /// Adds a NUL-terminated text or a fixed-width field, terminated or not.
    template <typename Source>
    TextWriter &Add(const Source &source) {
        std::size_t limit = N - 1 - length_;
        if constexpr (std::is_array_v<Source>) {
            limit = std::min(limit, std::extent_v<Source>);
        }
        return Append(TextOrEmpty(source), limit);
    }

    /// Adds at most so many characters of a text.
    TextWriter &AddUpTo(const char *text, std::size_t most) {
        return Append(text, std::min(most, N - 1 - length_));
    }

    /// Adds one character.
    TextWriter &Add(char character) {
        if (length_ < N - 1) {
            field_[length_] = character;
            field_[++length_] = '\0';
        }
        return *this;
    }

    /// Adds a number as "%d" does.
    TextWriter &AddDecimal(int32_t value) { return Append(DecimalText(value), N - 1 - length_); }

    /// Adds a number as "%02d" does.
    TextWriter &AddTwoDigits(int32_t value) {
        return (value >= 0 && value < 10 ? Add('0') : *this).AddDecimal(value);
    }

private:
    // The texts are short: a loop is faster than two calls.
    TextWriter &Append(const char *text, std::size_t limit) {
        char *end = field_ + length_;
        for (; limit > 0 && *text != '\0'; --limit) {
            *end++ = *text++;
        }
        *end = '\0';
        length_ = static_cast<std::size_t>(end - field_);
        return *this;
    }

    char (&field_)[N];
    std::size_t length_ = 0;
};

/// Copies a text, cut to the field, and terminates it. The source is as for TextWriter::Add.
template <std::size_t N, typename Source>
void CopyText(char (&field)[N], const Source &source) {
    TextWriter<N>(field).Add(source);
}

/// The same for records that are made when the module is built; the field has to be zero.
template <std::size_t N>
constexpr void PutText(char (&field)[N], const char *text) {
    for (std::size_t i = 0; i < N - 1 && text[i] != '\0'; ++i) {
        field[i] = text[i];
    }
}

/// Whether a fixed-width text, terminated or not, is this one.
template <std::size_t N>
bool Equals(const char (&field)[N], const char *text) {
    return strncmp(field, text, N) == 0;
}

/// A fixed-width text, terminated or not, as terminated text.
template <std::size_t N>
class FieldText {
public:
    explicit FieldText(const char (&field)[N]) { CopyText(text_, field); }
    operator const char *() const { return text_; }

private:
    char text_[N + 1];
};

/// Decimal numbers convert as on the 32-bit target, whatever the width of `long` on this build: the
/// number at the start of the text, saturated to 32 bits, 0 without one.

/// As the target's strtol; `end` is where the number ends, `text` itself without one.
inline int32_t ParseSigned(const char *text, const char **end = nullptr) {
    char *stop = nullptr;
    const long long value = strtoll(text, &stop, 10);
    if (end != nullptr) {
        *end = stop;
    }
    return static_cast<int32_t>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
}

/// As the target's strtoul: a negative number wraps around, one beyond 32 bits is the largest.
inline UINT32 ParseUnsigned(const char *text) {
    const long long value = strtoll(text, nullptr, 10);
    if (value > UINT32_MAX || value < -static_cast<long long>(UINT32_MAX)) {
        return UINT32_MAX;
    }
    return static_cast<UINT32>(value);
}

/// As the target's sscanf with "%d:%d"; what does not match stays as it is.
inline void ParseHourMinute(const char *text, UINT32 &hour, UINT32 &minute) {
    const char *end = nullptr;
    const int32_t first = ParseSigned(text, &end);
    if (end == text) {
        return;
    }
    hour = static_cast<UINT32>(first);
    if (*end != ':') {
        return;
    }
    text = end + 1;
    const int32_t second = ParseSigned(text, &end);
    if (end != text) {
        minute = static_cast<UINT32>(second);
    }
}

#endif
