// SPDX-License-Identifier: Apache-2.0
/// @file trace_line.h  What the linkage engine says of rules and actions, as lines.
#ifndef TQGATEWAY_RULES_TRACE_LINE_H
#define TQGATEWAY_RULES_TRACE_LINE_H

#include <string>

#include "lines/json.h"
#include "tqDevSDK_Linkage.h"

namespace tqgateway {

/// The line of an entry of a trace: what became of a rule or an action, and why. `name` is the rule's, empty
/// for none; `text` is the entry in words.
Json TraceLine(const tqDevSDK_Linkage_Trace_S &entry, const std::string &name, const std::string &text);

/// The same of an entry that explains: a rule fires there instead of having fired.
Json ExplainLine(const tqDevSDK_Linkage_Trace_S &entry, const std::string &name, const std::string &text);

} // namespace tqgateway

#endif
