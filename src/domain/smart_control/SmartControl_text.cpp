// SPDX-License-Identifier: Apache-2.0
// Numbers as text.
#include "SmartControl_text.h"

#include <charconv>

namespace {

template <std::size_t N, typename Number>
void Format(char (&text)[N], Number value) {
    *std::to_chars(text, text + N - 1, value).ptr = '\0';
}

} // namespace

DecimalText::DecimalText(int32_t value) {
    Format(text_, value);
}

DecimalText::DecimalText(UINT32 value) {
    Format(text_, value);
}
