// SPDX-License-Identifier: Apache-2.0
// Looks at each block that the module would free, in the order in which it would find them.
#include "application/handover.h"

#include <cstdlib>
#include <cstring>

#include "application/heap.h"

namespace tqgateway {
namespace {

std::string Element(const char *name, std::size_t index) {
    return name + ('[' + std::to_string(index) + ']');
}

} // namespace

/// A block of at least so many bytes; null is none, and fine.
std::string HandOver::Block(const std::string &name, const void *block, std::size_t size) {
    if (block == nullptr) {
        return {};
    }
    const auto *address = static_cast<const char *>(block);
    auto next = blocks_.upper_bound(address);
    if (next != blocks_.begin()) {
        const auto &[begin, length] = *--next;
        if (address == begin) {
            return name + " is the same block as another array, and each is freed on its own";
        }
        if (address < begin + length) {
            return name + " lies inside the block of another array, and each is freed on its own";
        }
    }
    if (!IsHeapBlock(block)) {
        return name + " is no block of malloc, or was freed already";
    }
    if (IsGiven(block)) {
        return name + " was handed over before and is the module's";
    }
    blocks_[address] = HeapBlockSize(block);
    return HeapBlockSize(block) < size ? name + " is shorter than its count says" : std::string();
}

std::string HandOver::RuleUnits(const std::string &path,
                                const tqDevSDK_SmartControl_ConfigRules_ValueUnit &unit) {
    std::string problem =
        Block(path + ".pstRuleUnit", unit.pstRuleUnit, unit.usNum * sizeof *unit.pstRuleUnit);
    for (std::size_t i = 0; unit.pstRuleUnit != nullptr && i < unit.usNum && problem.empty(); ++i) {
        const tqDevSDK_SmartControl_ConfigRules_RuleUnit &rule = unit.pstRuleUnit[i];
        const std::string rule_path = path + '.' + Element("pstRuleUnit", i);
        problem = Block(rule_path + ".pstEvents", rule.pstEvents, rule.usEvents_Num * sizeof *rule.pstEvents);
        if (problem.empty()) {
            problem = Block(rule_path + ".pstActions", rule.pstActions,
                            rule.usActions_Num * sizeof *rule.pstActions);
        }
    }
    return problem;
}

std::string HandOver::Rules(const tqDevSDK_SmartControl_ConfigRules *rules) {
    std::string problem = Block("the rule set", rules, sizeof *rules);
    if (rules == nullptr || !problem.empty()) {
        return problem;
    }
    problem = Block("pstUnit", rules->pstUnit, rules->usNum * sizeof *rules->pstUnit);
    for (std::size_t i = 0; rules->pstUnit != nullptr && i < rules->usNum && problem.empty(); ++i) {
        problem = RuleUnits(Element("pstUnit", i), rules->pstUnit[i]);
    }
    return problem;
}

std::string HandOver::Text(const char *text) {
    std::string problem = Block("the text", text, 1);
    if (text == nullptr || !problem.empty()) {
        return problem;
    }
    const std::size_t size = HeapBlockSize(text);
    return strnlen(text, size) == size ? "the text does not end within its block" : std::string();
}

void HandOver::Accept() {
    for (const auto &[block, size] : blocks_) {
        MarkGiven(block);
    }
}

void HandOver::Release() const {
    for (const auto &[block, size] : blocks_) {
        free(const_cast<char *>(block));
    }
}

} // namespace tqgateway
