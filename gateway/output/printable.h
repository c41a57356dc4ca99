// SPDX-License-Identifier: Apache-2.0
/// @file printable.h  Texts from outside, made fit for a person's terminal.
#ifndef TQGATEWAY_OUTPUT_PRINTABLE_H
#define TQGATEWAY_OUTPUT_PRINTABLE_H

#include <string>
#include <string_view>

namespace tqgateway {

/// The text with everything escaped that could steer a terminal, break the line or forge its look: control
/// characters (C0, DEL, C1), line separators and marks of direction as `\u009b`, newline and tab as `\n` and
/// `\t`, bytes that are not UTF-8 as `\xff`.
std::string Printable(std::string_view text);

} // namespace tqgateway

#endif
