// SPDX-License-Identifier: Apache-2.0
/// @file reference.h  All lines in, explained from the rows that read them.
#ifndef TQGATEWAY_LINES_REFERENCE_H
#define TQGATEWAY_LINES_REFERENCE_H

#include <string>
#include <vector>

#include "lines/json.h"
#include "lines/records.h"

namespace tqgateway {

struct LineKind;

/// What can be asked about: a kind of line, be it one of scripts only, a kind of report, or the id.
struct Topic {
    std::string name;    ///< "command", "event".
    std::string heading; ///< "command", "report event".
    std::string summary;
    std::vector<FieldHelp> fields;
    std::vector<std::string> names; ///< What its key is known to take; empty for numbers and the like.
    std::vector<std::string> samples;
    const LineKind *kind = nullptr; ///< Of lines that it is about; null where a line at a prompt is none.
};

/// All topics in the order of the rows, the kinds of report behind `report`, what scripts have at the end.
std::vector<Topic> Topics();

/// The topic with this heading, else with this name, which a kind of line and a kind of report may share;
/// null for none.
const Topic *FindTopic(const std::vector<Topic> &topics, const std::string &name);

/// What there is to know about a topic, or with an empty name which topics there are. Throws LineError for a
/// name that is none.
std::string HelpText(const std::string &name);

/// All topics as Markdown sections of the third level, and as sections of a manual page.
std::string HelpMarkdown();
std::string HelpRoff();

/// All topics as an array of objects: `heading`, `summary`, `fields`, `samples`, and of the kind of line its
/// `key`, from whom `from` and to whom `to` it goes, and the `label` before its key's value.
Json HelpJson();

/// A text as it stands in a manual page.
std::string Roff(const std::string &text);

} // namespace tqgateway

#endif
