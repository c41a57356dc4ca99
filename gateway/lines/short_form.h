// SPDX-License-Identifier: Apache-2.0
/// @file short_form.h  Lines as a person types them.
#ifndef TQGATEWAY_LINES_SHORT_FORM_H
#define TQGATEWAY_LINES_SHORT_FORM_H

#include <string>
#include <vector>

namespace tqgateway {

/// The JSON line that a short form becomes; what begins as JSON or a comment, and a blank line, stays as it
/// is.
///
///     set device_screen_overtime 30     a kind, the value of its key, and that of its main member
///     report event value=7              a report, from its sample; members by name
///     event deviceId=DOOR               the same where a line is nothing without all its members
///     command 20034 body.delay=0        members within members
///     hub ssid=home signals.router=-52  those of hub and host are within that object
///     online                            a value that one kind alone knows, here a kernel's event
///
/// Values are JSON or, where they are not or the sample has a text, texts. Throws LineError for what is not
/// understood.
std::string LineOf(const std::string &typed);

/// How the word that ends a typed text may go on: keys and names that begin like it. All of one kind of line
/// once the text says which.
std::vector<std::string> Completions(const std::string &typed);

/// What is to be added to a typed text whose last word can only go on as this one: its rest and, in JSON,
/// what closes it, a quote or behind a member's name `":`.
std::string Completed(const std::string &typed, const std::string &word);

/// Where the word begins that ends a typed text.
std::size_t WordBegin(const std::string &typed);

} // namespace tqgateway

#endif
