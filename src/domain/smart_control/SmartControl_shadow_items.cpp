// SPDX-License-Identifier: Apache-2.0
// Changes of the scene rules and the AI rules, which travel through the shadow.
#include "SmartControl_shadow_items.h"

#include <cstdlib>
#include <cstring>

#include "SmartControl_shadow.h"
#include "SmartControl_shadow_text.h"

namespace {

// Two items differ in these values only. A cached text is the module's; it is freed by Reset, not by fini.
struct RuleText {
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E query;
    char **cache;
    SMART_CONTROL_SHADOW_STATUS_TYPE_E push;
};

char *g_pSceneRule = nullptr;
char *g_pAiRule = nullptr;

constexpr RuleText kSceneRule{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES, &g_pSceneRule,
                              SMART_CONTROL_SCENE_RULE_REQ};
constexpr RuleText kAiRule{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES, &g_pAiRule,
                           SMART_CONTROL_AI_RULE_REQ};

int HasChanged(const RuleText &item) {
    tqDevSDK_SmartControl_Rule_S record{};
    if (const std::optional<int> result = Ask(item.query, record, kRuleRecordLen); result != 0) {
        return ChangeWithoutAnswer(result);
    }
    if (record.rule == nullptr) {
        return 0;
    }
    // The first text is a change, and so is one equal to the cached text. A different one is dropped, and
    // stays with nobody.
    if (*item.cache != nullptr && strcmp(*item.cache, record.rule) != 0) {
        return 0;
    }
    if (*item.cache != record.rule) { // or the application gave the same memory again
        free(*item.cache);
    }
    *item.cache = record.rule;
    return 1;
}

template <const RuleText &item>
int IsChanged() {
    return HasChanged(item);
}

template <const RuleText &item>
int Report(int force) {
    // Only a report that follows a change pushes; a forced one is done with that.
    return force != 0 ? 0 : smart_control_shadow_push_status(item.push);
}

template <const RuleText &item>
int Reset() {
    free(*item.cache);
    *item.cache = nullptr;
    return 0;
}

constexpr StatusItem kItems[] = {
    {TQDEVSDK_ReportSceneRule, IsChanged<kSceneRule>, Report<kSceneRule>, Reset<kSceneRule>},
    {TQDEVSDK_ReportAiRule, IsChanged<kAiRule>, Report<kAiRule>, Reset<kAiRule>},
};

} // namespace

Rows<StatusItem> RuleTextItems() {
    return Rows(kItems);
}
