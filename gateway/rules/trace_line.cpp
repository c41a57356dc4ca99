// SPDX-License-Identifier: Apache-2.0
// One row for each verdict.
#include "rules/trace_line.h"

#include <algorithm>
#include <iterator>

#include <nlohmann/json.hpp>

namespace tqgateway {
namespace {

/// How a verdict is shown. A null key leaves its member out.
struct VerdictKind {
    int verdict;
    const char *line;   ///< What became of the rule or the action.
    const char *why;    ///< The reason, where one line has several.
    const char *item;   ///< What the item is.
    const char *wanted; ///< What the entry's numbers are.
    const char *got;
};

constexpr VerdictKind kVerdicts[] = {
    {TQDEVSDK_LINKAGE_VERDICT_VALUE, "held", "VALUE", "event", "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_DISABLED, "held", "DISABLED", nullptr, nullptr, nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_PERIOD_INVALID, "held", "PERIOD_INVALID", nullptr, nullptr, "got"},
    {TQDEVSDK_LINKAGE_VERDICT_PERIOD_EMPTY, "held", "PERIOD_EMPTY", nullptr, "wanted", nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_CLOCK_NOT_SET, "held", "CLOCK_NOT_SET", nullptr, nullptr, nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_PERIOD, "held", "PERIOD", nullptr, "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_DAY, "held", "DAY", nullptr, "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_CONDITION, "held", "CONDITION", nullptr, nullptr, "got"},
    {TQDEVSDK_LINKAGE_VERDICT_NEVER_SEEN, "held", "NEVER_SEEN", "event", "wanted", nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_OTHER_VALUE, "held", "OTHER_VALUE", "event", "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_TOO_OLD, "held", "TOO_OLD", "event", "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_COOLDOWN, "held", "COOLDOWN", nullptr, "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_CHAIN, "held", "CHAIN", nullptr, "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_FIRED, "fired", nullptr, "event", nullptr, "value"},
    {TQDEVSDK_LINKAGE_VERDICT_DELAYED, "delayed", nullptr, "action", "ms", nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_RUN, "run", nullptr, "action", nullptr, nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_RESULT, "result", nullptr, "action", nullptr, "value"},
    {TQDEVSDK_LINKAGE_VERDICT_UNDONE, "undone", "UNDONE", "action", nullptr, "got"},
    {TQDEVSDK_LINKAGE_VERDICT_QUEUE_FULL, "undone", "QUEUE_FULL", "action", "wanted", nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_DROPPED, "dropped", nullptr, "action", nullptr, nullptr},
    {TQDEVSDK_LINKAGE_VERDICT_OTHER_DOMAIN, "misses", "OTHER_DOMAIN", "event", "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_OTHER_COMMAND, "misses", "OTHER_COMMAND", "event", "wanted", "got"},
    {TQDEVSDK_LINKAGE_VERDICT_OTHER_CHANNEL, "misses", "OTHER_CHANNEL", "event", "wanted", "got"},
};
static_assert(std::size(kVerdicts) == TQDEVSDK_LINKAGE_VERDICT_MAX - 1);

} // namespace

Json TraceLine(const tqDevSDK_Linkage_Trace_S &entry, const std::string &name, const std::string &text) {
    const VerdictKind &kind =
        *std::find_if(std::begin(kVerdicts), std::end(kVerdicts),
                      [&](const VerdictKind &row) { return row.verdict == entry.ucVerdict; });
    Json line = {{"linkage", kind.line}, {"rule", entry.uiRuleId}};
    if (!name.empty()) {
        line["name"] = name;
    }
    if (kind.why != nullptr) {
        line["why"] = kind.why;
    }
    const std::pair<const char *, UINT32> numbers[] = {
        {kind.item, entry.usItem + 1U}, {kind.wanted, entry.uiWanted}, {kind.got, entry.uiGot}};
    for (const auto &[key, number] : numbers) {
        if (key != nullptr) {
            line[key] = number;
        }
    }
    if (entry.ucDepth != 0) {
        line["depth"] = entry.ucDepth;
    }
    line["text"] = text;
    return line;
}

Json ExplainLine(const tqDevSDK_Linkage_Trace_S &entry, const std::string &name, const std::string &text) {
    Json line = TraceLine(entry, name, text);
    if (entry.ucVerdict == TQDEVSDK_LINKAGE_VERDICT_FIRED) {
        static const std::string kFired = "fired: "; // the name, which may have it, too, comes before
        line["linkage"] = "fires";
        line["text"] = std::string(text).replace(text.rfind(kFired), kFired.size(), "fires: ");
    }
    return line;
}

} // namespace tqgateway
