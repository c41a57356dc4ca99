// SPDX-License-Identifier: Apache-2.0
// Holds findings against what the module made of the value.
#include <algorithm>
#include <cstring>

#include "check/check.h"
#include "check/rules.h"
#include "check/tree.h"

namespace tqgateway {
namespace {

/// Whether what is held is what was sent. Held objects have no key twice.
bool Same(const cJSON *sent, const cJSON *held) {
    if ((sent->type & 0xFF) != (held->type & 0xFF)) {
        return false;
    }
    if (cJSON_IsNumber(sent)) {
        return sent->valuedouble == held->valuedouble;
    }
    if (cJSON_IsString(sent)) {
        const bool is_time = sent->string != nullptr &&
                             (strcmp(sent->string, "startTime") == 0 || strcmp(sent->string, "endTime") == 0);
        return strcmp(sent->valuestring, held->valuestring) == 0 ||
               (is_time && WithoutPadding(sent->valuestring) == WithoutPadding(held->valuestring));
    }
    if (cJSON_GetArraySize(sent) != cJSON_GetArraySize(held)) {
        return false;
    }
    const cJSON *element = sent->child;
    for (const cJSON *child = held->child; child != nullptr; child = child->next) {
        const cJSON *counterpart = element;
        if (child->string != nullptr) {
            counterpart = cJSON_GetObjectItemCaseSensitive(sent, child->string);
        } else {
            element = element->next;
        }
        if (counterpart == nullptr || !Same(counterpart, child)) {
            return false;
        }
    }
    return true;
}

bool SameRules(const std::string &value, const std::string &written) {
    const ParsedText sent = ParseText(value);
    bool whole = sent.more == std::string::npos;
    VisitPlaces(value, sent, [&](const cJSON *, const Place &place, const std::string &) {
        whole = whole && !place.ends_early;
    });
    return whole && Same(sent.tree.get(), ParseText(written).tree.get());
}

} // namespace

std::string Disagreement(const std::string &value, const std::vector<Finding> &findings, int result,
                         const std::optional<std::string> &written) {
    const auto found = [&](FindingClass what) {
        return std::any_of(findings.begin(), findings.end(),
                           [&](const Finding &finding) { return finding.what == what; });
    };
    if (found(FindingClass::refused) != (result != 0)) {
        return "the module's result is " + std::to_string(result) + ", but the check finds " +
               (result != 0 ? "no reason to refuse the value" : "the value refused");
    }
    if (!written) {
        return {};
    }
    const bool same = SameRules(value, *written);
    if (found(FindingClass::changed) != same) {
        return {};
    }
    return std::string("what the device holds is ") + (same ? "" : "not ") +
           "what was sent, but the check finds " + (same ? "a change" : "no change");
}

} // namespace tqgateway
