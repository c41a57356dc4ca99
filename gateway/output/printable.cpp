// SPDX-License-Identifier: Apache-2.0
// Which characters a terminal may get, and how the others are shown.
#include "output/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace tqgateway {
namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

constexpr Range kEscaped[] = {
    {0x00, 0x1f},     {0x7f, 0x9f},                       // C0, DEL, C1
    {0x061c, 0x061c}, {0x200e, 0x200f}, {0x202a, 0x202e}, // marks, embeddings and overrides of direction
    {0x2066, 0x2069}, {0x2028, 0x2029}, {0xfeff, 0xfeff}, // isolates, separators, the byte order mark
};

/// One character of UTF-8, or a byte that begins none.
struct Character {
    std::size_t length;
    bool valid;
    std::uint32_t code;
};

Character CharacterAt(std::string_view text) {
    struct Form {
        std::size_t length;
        std::uint32_t smallest;
        unsigned char mask, lead;
    };
    constexpr Form kForms[] = {
        {1, 0, 0x80, 0x00}, {2, 0x80, 0xe0, 0xc0}, {3, 0x800, 0xf0, 0xe0}, {4, 0x10000, 0xf8, 0xf0}};
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const Character bad{1, false, byte(0)};
    const auto form = std::find_if(std::begin(kForms), std::end(kForms),
                                   [&](const Form &row) { return (byte(0) & row.mask) == row.lead; });
    if (form == std::end(kForms) || form->length > text.size()) {
        return bad;
    }
    std::uint32_t code = byte(0) & static_cast<unsigned char>(~form->mask);
    for (std::size_t i = 1; i < form->length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return bad;
        }
        code = code << 6 | (byte(i) & 0x3fU);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return code < form->smallest || code > 0x10ffff || surrogate ? bad : Character{form->length, true, code};
}

} // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const Character c = CharacterAt(text);
        const bool escaped = std::any_of(std::begin(kEscaped), std::end(kEscaped), [&](const Range &range) {
            return c.code >= range.first && c.code <= range.last;
        });
        if (c.valid && !escaped) {
            printable += text.substr(0, c.length);
        } else if (c.code == '\n' || c.code == '\t') {
            printable += c.code == '\n' ? "\\n" : "\\t";
        } else {
            char code[8];
            snprintf(code, sizeof code, c.valid ? "\\u%04x" : "\\x%02x", static_cast<unsigned>(c.code));
            printable += code;
        }
        text.remove_prefix(c.length);
    }
    return printable;
}

} // namespace tqgateway
