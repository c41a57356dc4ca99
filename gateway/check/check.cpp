// SPDX-License-Identifier: Apache-2.0
// A check as a whole: its stages, and the places of what they found.
#include "check/check.h"

#include <algorithm>
#include <unordered_map>

#include <nlohmann/json.hpp>

#include "check/rules.h"
#include "check/tree.h"
#include "lines/json.h"

namespace tqgateway {
namespace {

constexpr std::size_t kShownBytes = 80; // of a text in a finding

/// Puts places to remarks.
class Placing {
public:
    explicit Placing(const std::string &text) : text_(text) {
        for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
            newlines_.push_back(at);
        }
    }

    void Add(FindingClass what, std::size_t offset, const std::string &pointer, std::string text) {
        const auto line = std::lower_bound(newlines_.begin(), newlines_.end(), offset);
        const std::size_t start = line == newlines_.begin() ? 0 : *(line - 1) + 1;
        findings_.push_back({what, offset, static_cast<std::size_t>(line - newlines_.begin()) + 1,
                             offset - start + 1, pointer, std::move(text)});
    }

    void AddAll(const ParsedText &parsed, Remarks &remarks) {
        std::unordered_map<const cJSON *, std::vector<Remark *>> of_node;
        for (Remark &remark : remarks) {
            of_node[remark.node != nullptr ? remark.node : parsed.tree.get()].push_back(&remark);
        }
        VisitPlaces(text_, parsed, [&](const cJSON *node, const Place &place, const std::string &pointer) {
            if (place.ends_early) {
                Add(FindingClass::changed, place.key, pointer,
                    "a NUL within a text, which ends there for the device");
            }
            const auto found = of_node.find(node);
            if (found == of_node.end()) {
                return;
            }
            for (Remark *remark : found->second) {
                Add(remark->what, remark->at_key ? place.key : place.begin, pointer, std::move(remark->text));
            }
        });
    }

    std::vector<Finding> Take() {
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const Finding &a, const Finding &b) { return a.offset < b.offset; });
        return std::move(findings_);
    }

private:
    const std::string &text_;
    std::vector<std::size_t> newlines_;
    std::vector<Finding> findings_;
};

} // namespace

const char *Name(FindingClass what) {
    constexpr const char *kNames[] = {"refused", "changed", "never", "conflict", "loop", "note"};
    return kNames[static_cast<std::size_t>(what)];
}

const cJSON *Member(const cJSON *object, const char *key) {
    return cJSON_GetObjectItem(object, key);
}

std::string Quoted(const std::string &text) {
    return Dump(Clipped(text, kShownBytes));
}

std::string RuleName(const HeldRule &rule) {
    return "rule " + std::to_string(rule.record.uiRuleId) + ' ' + Quoted(rule.record.acRuleName) + " (" +
           rule.pointer + ')';
}

bool IsKnown(const Surroundings &surroundings, const char *serial) {
    return !surroundings.devices || surroundings.devices->count(serial) != 0 ||
           (surroundings.linkage && surroundings.linkage->serial == serial);
}

std::vector<Finding> CheckRules(const std::string &value, const Surroundings &surroundings) {
    Placing placing(value);
    const ParsedText parsed = ParseText(value);
    const std::optional<SyntaxFault> fault = FindFault(value, parsed);
    if (parsed.tree == nullptr) {
        placing.Add(FindingClass::refused, fault->offset, "",
                    "not JSON: " + fault->text + ": the whole value is refused");
        return placing.Take();
    }
    if (fault) {
        placing.Add(FindingClass::note, fault->offset, "",
                    "not JSON: " + fault->text + "; the module reads it all the same, others may not");
    }
    if (parsed.more != std::string::npos) {
        placing.Add(FindingClass::changed, parsed.more, "",
                    "more text behind the value: the device does not get it");
    }
    Remarks remarks;
    HeldRules rules = ReadHeldRules(parsed.tree.get(), remarks);
    CheckEachRule(rules, surroundings, remarks);
    CheckConflicts(rules, surroundings, remarks);
    CheckLoops(rules, surroundings, remarks);
    placing.AddAll(parsed, remarks);
    return placing.Take();
}

} // namespace tqgateway
