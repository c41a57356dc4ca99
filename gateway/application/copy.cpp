// SPDX-License-Identifier: Apache-2.0
// Copies records with all that they point at: first what goes where, then the bytes, then the pointers.
#include "application/copy.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "lines/records.h"

namespace tqgateway {
namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using RuleText = tqDevSDK_SmartControl_Rule_S;
using Signals = tqDevSDK_Smartcontrol_ap_signal_info;

constexpr QueryKind kQueries[] = {
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES, "CONFIG_RULES", 0},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS, "ICR_DSS", sizeof(tqDevSDK_SmartControl_msg_IcrDss_S)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME, "SCREEN_OVERTIME", sizeof(UINT32)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_VIDEO_TIME, "VIDEO_TIME", sizeof(UINT32)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_AUTO_ROUSE, "SCREEN_AUTO_ROUSE", sizeof(UINT32)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS, "SCREEN_LIGHTNESS", sizeof(UINT32)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES, "SCENE_RULES", sizeof(RuleText)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES, "AI_RULES", sizeof(RuleText)},
    {TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC, "AP_SIGNAL_WITH_MAC", sizeof(Signals)},
};
static_assert(std::size(kQueries) == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_MAX);

} // namespace

const QueryKind *FindQuery(int type) {
    const auto kind = std::find_if(std::begin(kQueries), std::end(kQueries),
                                   [=](const QueryKind &row) { return row.type == type; });
    return kind == std::end(kQueries) ? nullptr : kind;
}

/// Room for items; where they will be.
template <typename Item>
std::size_t LentCopy::Add(const char *name, const Item *items, std::size_t count) {
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    const std::size_t offset = (size_ + kAlignment - 1) / kAlignment * kAlignment;
    parts_.push_back({name, items, count, sizeof(Item), offset});
    size_ = offset + count * sizeof(Item);
    return offset;
}

/// The same for items that the pointer at an offset points at; null and none stay as they are.
template <typename Item>
std::size_t LentCopy::AddAt(std::size_t pointer, const char *name, const Item *items, std::size_t count) {
    if (items == nullptr || count == 0) {
        return 0;
    }
    const std::size_t offset = Add(name, items, count);
    links_.push_back({pointer, offset});
    return offset;
}

/// The argument and its record; where the record will be.
template <typename Argument>
std::size_t LentCopy::AddArgument(const Argument &argument, std::size_t size) {
    Add("the argument", &argument, 1);
    return AddAt(offsetof(Argument, data), "the record", argument.data, size);
}

void LentCopy::AddRules(std::size_t at, const Rules &rules) {
    const std::size_t units = AddAt(at + offsetof(Rules, pstUnit), "pstUnit", rules.pstUnit, rules.usNum);
    for (std::size_t i = 0; rules.pstUnit != nullptr && i < rules.usNum; ++i) {
        const Unit &unit = rules.pstUnit[i];
        const std::size_t list = AddAt(units + i * sizeof(Unit) + offsetof(Unit, pstRuleUnit), "pstRuleUnit",
                                       unit.pstRuleUnit, unit.usNum);
        for (std::size_t j = 0; unit.pstRuleUnit != nullptr && j < unit.usNum; ++j) {
            const Rule &rule = unit.pstRuleUnit[j];
            const std::size_t place = list + j * sizeof(Rule);
            AddAt(place + offsetof(Rule, pstEvents), "pstEvents", rule.pstEvents, rule.usEvents_Num);
            AddAt(place + offsetof(Rule, pstActions), "pstActions", rule.pstActions, rule.usActions_Num);
        }
    }
}

void LentCopy::Lend(std::uint16_t tag) {
    original_.resize(size_);
    for (const Part &part : parts_) {
        memcpy(&original_[part.offset], part.source, part.count * part.item_size);
    }
    memory_.emplace(tag, size_);
    for (const Link &link : links_) {
        char *target = memory_->Data() + link.target;
        memcpy(&original_[link.pointer], &target, sizeof target);
    }
    memcpy(memory_->Data(), original_.data(), size_);
}

LentCopy::LentCopy(std::uint16_t tag, const tqDevSDK_SmartControl_msg_to_dev &message) {
    const MessageKind *kind = FindMessage(message.type);
    const std::size_t record = AddArgument(message, kind == nullptr ? 0 : kind->size);
    switch (message.type) {
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES:
        AddRules(record, tqgateway::As<Rules>(message.data));
        break;
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES:
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES: {
        const char *text = tqgateway::As<RuleText>(message.data).rule;
        AddAt(record + offsetof(RuleText, rule), "the text", text, text == nullptr ? 0 : strlen(text) + 1);
        break;
    }
    default:
        break;
    }
    Lend(tag);
}

LentCopy::LentCopy(std::uint16_t tag, const tqDevSDK_SmartControl_runtime_info &info) {
    const QueryKind *kind = FindQuery(info.type);
    const std::size_t record = AddArgument(info, kind == nullptr ? 0 : kind->size);
    if (info.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC) {
        const auto &signals = tqgateway::As<Signals>(info.data);
        AddAt(record + offsetof(Signals, ap_signal_result), "ap_signal_result", signals.ap_signal_result,
              static_cast<std::size_t>(std::max(signals.num, 0)));
    }
    Lend(tag);
}

std::string LentCopy::Written() const {
    for (const Part &part : parts_) {
        const char *now = memory_->Data() + part.offset;
        const char *end = now + part.count * part.item_size;
        const char *changed = std::mismatch(now, end, &original_[part.offset]).first;
        if (changed != end) {
            const auto byte = static_cast<std::size_t>(changed - now);
            const std::string index = part.count == 1 || part.item_size == 1
                                          ? ""
                                          : '[' + std::to_string(byte / part.item_size) + ']';
            const std::size_t within = part.item_size == 1 ? byte : byte % part.item_size;
            return part.name + index + ", byte " + std::to_string(within);
        }
    }
    return {};
}

} // namespace tqgateway
