// SPDX-License-Identifier: Apache-2.0
// What the engine says of rules and actions, as lines.
#include <algorithm>

#include <nlohmann/json.hpp>

#include "lines/records.h"
#include "rules/rule_engine.h"
#include "rules/rules.h"
#include "rules/trace_line.h"

namespace tqgateway {
namespace {

using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Trace = tqDevSDK_Linkage_Trace_S;

bool Names(const Rule &rule, const std::string &device) {
    return std::any_of(rule.pstEvents, rule.pstEvents + rule.usEvents_Num,
                       [&](const RuleEvent &event) { return FieldText(event.acDevId) == device; });
}

/// Those that would fire first, then those that are held, then those that miss.
bool ComesBefore(const Json &left, const Json &right) {
    const auto rank = [](const Json &line) {
        return line["linkage"] == "fires" ? 0 : line["linkage"] == "held" ? 1 : 2;
    };
    return rank(left) < rank(right);
}

} // namespace

/// The entries of both traces that were not shown yet, in their order.
std::vector<RuleEngine::NewEntry> RuleEngine::NewEntries() const {
    std::vector<NewEntry> entries;
    for (const int ring : {TQDEVSDK_LINKAGE_RING_FIRED, TQDEVSDK_LINKAGE_RING_HELD}) {
        std::vector<Trace> buffer(RingSize(ring));
        const int num =
            tqDevSDK_Linkage_ReadTrace(engine_.get(), ring, shown_, buffer.data(), RingSize(ring));
        for (int i = 0; i < num; ++i) {
            entries.push_back({buffer[static_cast<std::size_t>(i)], ring});
        }
    }
    std::sort(entries.begin(), entries.end(), [this](const NewEntry &left, const NewEntry &right) {
        return left.trace.uiNumber - shown_ < right.trace.uiNumber - shown_; // the numbers wrap
    });
    return entries;
}

UINT16 RuleEngine::RingSize(int ring) const {
    return ring == TQDEVSDK_LINKAGE_RING_FIRED ? config_->engine.usFiredMax : config_->engine.usHeldMax;
}

/// Shows what the traces have anew; false when there is nothing. With the action that was handed out.
bool RuleEngine::ShowNew(const tqDevSDK_Linkage_Effect_S *run) {
    const std::vector<NewEntry> entries = NewEntries();
    if (entries.empty()) {
        return false;
    }
    const UINT32 lost = entries.back().trace.uiNumber - shown_ - static_cast<UINT32>(entries.size());
    shown_ = entries.back().trace.uiNumber;
    if (lost > 0) {
        Show({{"linkage", "lost"},
              {"entries", lost},
              {"text", std::to_string(lost) + " entries did not fit into the traces: fired_max, held_max"}});
    }
    for (const auto &[entry, ring] : entries) {
        const std::optional<std::string> name = NameOf(entry.uiRuleId);
        Json line = TraceLine(entry, name.value_or(""), TextOf(entry, name));
        if (run != nullptr && entry.ucVerdict == TQDEVSDK_LINKAGE_VERDICT_RUN) {
            line["token"] = handed_out_;
            line["stAction"] = ActionJson(run->unWhat.stAction);
        }
        std::deque<Json> &lines = shown_lines_[ring];
        lines.push_back(Show(line));
        if (lines.size() > RingSize(ring)) {
            lines.pop_front();
        }
    }
    return true;
}

void RuleEngine::ShowRules() const {
    tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S now{};
    tqDevSDK_Linkage_Statistics(engine_.get(), &now);
    const UINT32 num = now.uiRuleRootNum;
    Show({{"linkage", "rules"},
          {"rules", num},
          {"text", std::to_string(num) + (num == 1 ? " rule is" : " rules are") + " in force"}});
}

void RuleEngine::ShowTrace(int ring) {
    Require("trace");
    for (const Json &line : shown_lines_[ring]) {
        output_.Show(line);
    }
}

/// What the event would do to rules, in the order of the set.
std::vector<Json> RuleEngine::Verdicts(const RuleEvent &event, std::uint64_t token, const char *path,
                                       Whose whose) const {
    const auto now = Now();
    const int num = tqDevSDK_Linkage_Explain(engine_.get(), &event, token, &now, nullptr, 0);
    if (num < 0) {
        Refuse(path);
    }
    std::vector<Trace> entries(static_cast<std::size_t>(num));
    tqDevSDK_Linkage_Explain(engine_.get(), &event, token, &now, entries.data(), static_cast<UINT32>(num));
    std::vector<Json> lines;
    if (!rules_) {
        return lines;
    }
    const std::string device = FieldText(event.acDevId);
    // There is an entry for each rule that names the device. The id alone would not tell rules that share it.
    ForEachRule(*rules_, [&, entry = entries.begin()](const Rule &rule) mutable {
        if (Names(rule, device)) {
            const std::string name = FieldText(rule.acRuleName);
            lines.push_back(ExplainLine(*entry, name, TextOf(*entry, name)));
            ++entry;
        } else if (whose == Whose::all) {
            lines.push_back(OtherDevice(rule, event));
        }
    });
    return lines;
}

/// What comes near to an event that no rule names.
void RuleEngine::ShowNearMisses(const RuleEvent &event) const {
    const std::vector<Json> lines = Verdicts(event, 0, "event", Whose::device);
    for (const Json &line : lines) {
        Show(line);
    }
    if (lines.empty()) {
        Show({{"linkage", "unheard"}, {"text", "no rule names " + FieldText(event.acDevId)}});
    }
}

Json RuleEngine::OtherDevice(const Rule &rule, const RuleEvent &event) const {
    const std::string name = FieldText(rule.acRuleName);
    const std::string got = FieldText(event.acDevId);
    Json line = {{"linkage", "misses"},
                 {"rule", rule.uiRuleId},
                 {"name", name},
                 {"why", "OTHER_DEVICE"},
                 {"got", got}};
    line["text"] = "rule " + std::to_string(rule.uiRuleId) + " \"" + name +
                   "\" misses: " + (rule.usEvents_Num == 0 ? "it has no events" : "it does not name " + got);
    return line;
}

void RuleEngine::Explain(const RuleEvent &event, std::uint64_t token) {
    Require("explain");
    std::vector<Json> lines = Verdicts(event, EngineToken(token, "explain.token"), "explain", Whose::all);
    std::stable_sort(lines.begin(), lines.end(), ComesBefore);
    for (const Json &line : lines) {
        Show(line);
    }
    if (lines.empty()) {
        Show({{"linkage", "unheard"}, {"text", "there are no rules"}});
    }
}

std::string RuleEngine::EngineText(const Trace &entry) const {
    char text[TQDEVSDK_LINKAGE_TEXT_MAX];
    tqDevSDK_Linkage_TraceText(engine_.get(), &entry, text, sizeof text);
    return text;
}

/// An entry in the engine's words, behind the rule's id and its name. The engine itself names a rule by its
/// id alone, which several may have.
std::string RuleEngine::TextOf(const Trace &entry, const std::optional<std::string> &name) const {
    static const std::string kNoVerdict = "saw no event"; // of an entry without one
    Trace rule{};
    rule.uiRuleId = entry.uiRuleId;
    const std::size_t head = EngineText(rule).size() - kNoVerdict.size();
    return "rule " + std::to_string(entry.uiRuleId) + (name ? " \"" + *name + "\" " : " ") +
           EngineText(entry).substr(head);
}

/// None for a rule that is not in force any more, or that shares its id with one of another name.
std::optional<std::string> RuleEngine::NameOf(UINT32 rule) const {
    const auto found = names_.find(rule);
    return found == names_.end() ? std::nullopt : found->second;
}

/// Shows a line with its moment; not in the machine's time, in which it comes when it happens. The whole
/// line.
Json RuleEngine::Show(const Json &line) const {
    Json shown = {{"linkage", line.at("linkage")}};
    if (const ClockTime now = clock_.Now(); clock_.IsVirtual() && now.civil) {
        shown["at"] = CivilText(*now.civil);
    }
    shown.update(line);
    output_.Show(shown);
    return shown;
}

} // namespace tqgateway
