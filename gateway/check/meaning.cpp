// SPDX-License-Identifier: Apache-2.0
// What each rule means by itself: whether it can fire, and what it repeats.
#include <algorithm>
#include <iterator>
#include <set>
#include <unordered_map>

#include "check/rules.h"

namespace tqgateway {
namespace {

constexpr unsigned kMinutesOfDay = 1440;

std::string KeyOfEvent(const Event &event) {
    return KeyOf(event.acDevId, event.uiDomain, event.uiCmdId, event.ucChannel);
}

/// All that a rule does and when: what is left when its id, its name and its user do not count.
std::string KeyOfRule(const HeldRule &rule) {
    const Rule &r = rule.record;
    std::string key(std::begin(r.aucWeekDaysEn), std::end(r.aucWeekDaysEn));
    key += KeyOf("", r.ucEnable != 0, r.uiStart_hour, r.uiStart_min, r.uiEnd_hour, r.uiEnd_min,
                 r.ucIsCrossDay, r.usCondition, rule.events.size());
    for (const auto &[event, node] : rule.events) {
        key += KeyOfEvent(event) + KeyOf("", event.usValue);
    }
    for (const auto &[action, node] : rule.actions) {
        key += KeyOf(action.acDevId, action.uiDomain, action.uiCmdId, action.ucChannel, action.uiDelay,
                     action.ucValueNum);
        key.append(reinterpret_cast<const char *>(action.ausValue), sizeof action.ausValue);
    }
    return key;
}

class RuleChecker {
public:
    RuleChecker(HeldRule &rule, const Surroundings &surroundings, Remarks &remarks)
        : rule_(rule), around_(surroundings), remarks_(remarks) {}

    void Check() {
        const bool enabled = rule_.record.ucEnable != 0;
        if (!enabled) {
            Note("enable", "disabled: the rule never fires");
        }
        // One after the other, so that each says what it has to say.
        const bool has_day = HasDay();
        const bool has_period = HasPeriod();
        const bool has_condition = HasCondition();
        const bool has_event = HasEvent();
        rule_.fires = enabled && has_day && has_period && has_condition && has_event;
        CheckActions();
    }

private:
    void Never(const cJSON *node, const std::string &text) {
        remarks_.push_back({node, false, FindingClass::never, text});
    }
    void Note(const char *key, const std::string &text) {
        remarks_.push_back({Member(rule_.node, key), false, FindingClass::note, text});
    }
    const cJSON *Trigger(const char *key) const { return Member(Member(rule_.node, "rule"), key); }

    bool HasDay() {
        const auto &days = rule_.record.aucWeekDaysEn;
        const bool has_day = std::find(std::begin(days), std::end(days), 1) != std::end(days);
        if (!has_day) {
            Never(Member(rule_.node, "weekdays"), "no day is set: the rule never fires");
        }
        return has_day;
    }

    bool ExpectTime(const char *key, UINT32 hour, UINT32 minute) {
        const bool is_time = (hour < 24 && minute < 60) || (hour == 24 && minute == 0);
        if (!is_time) {
            Never(Member(rule_.node, key), Time(hour, minute) + " is no time of a day: the rule never fires");
        }
        return is_time;
    }

    bool HasPeriod() {
        const Rule &r = rule_.record;
        const bool starts = ExpectTime("startTime", r.uiStart_hour, r.uiStart_min);
        const bool ends = ExpectTime("endTime", r.uiEnd_hour, r.uiEnd_min);
        if (!starts || !ends) {
            return false;
        }
        const unsigned start = r.uiStart_hour * 60 + r.uiStart_min;
        const unsigned end = r.uiEnd_hour * 60 + r.uiEnd_min + (r.ucIsCrossDay != 0 ? kMinutesOfDay : 0) + 1 -
                             (around_.linkage && around_.linkage->period_end_open ? 1 : 0); // behind the last
        if (end <= start) {
            Never(Member(rule_.node, "endTime"),
                  "not after the start, " + Time(r.uiStart_hour, r.uiStart_min) +
                      ": the rule never fires; an n in front puts the end on the next day");
            return false;
        }
        if (end == start + 1) {
            Note("endTime", "the period is one minute long");
        }
        rule_.period = {start, end - 1};
        return true;
    }

    bool HasCondition() {
        if (!around_.linkage || rule_.events.size() < 2) {
            return true;
        }
        const auto &known = around_.linkage->condition;
        const auto found = known.find(rule_.record.usCondition);
        if (found == known.end()) {
            Never(Trigger("condition"), "neither any nor all: the linkage configuration does not map " +
                                            std::to_string(rule_.record.usCondition) +
                                            ", and the rule never fires");
            return false;
        }
        rule_.all = found->second;
        return true;
    }

    bool HasEvent() {
        if (rule_.events.empty()) {
            Never(Trigger("events"), "no event: the rule never fires");
            return false;
        }
        std::size_t dead = 0;
        for (const auto &[event, node] : rule_.events) {
            dead += IsDevice(event.acDevId, node, "the event never comes") ? 0 : 1;
        }
        return rule_.all ? dead == 0 && !ContradictsItself() : dead < rule_.events.size();
    }

    /// Whether all of its events are to have happened, but two of them cannot at once.
    bool ContradictsItself() {
        std::unordered_map<std::string, UINT16> values;
        for (const auto &[event, node] : rule_.events) {
            const auto [first, added] = values.emplace(KeyOfEvent(event), event.usValue);
            if (!added && first->second != event.usValue) {
                Never(Member(node, "value"), "all events count, and another wants the same to be " +
                                                 std::to_string(first->second) + ": the rule never fires");
                return true;
            }
        }
        return false;
    }

    void CheckActions() {
        if (rule_.actions.empty()) {
            remarks_.push_back(
                {Trigger("actions"), false, FindingClass::note, "no action: the rule does nothing"});
        }
        for (const auto &[action, node] : rule_.actions) {
            IsDevice(action.acDevId, node, "the action is never carried out");
        }
    }

    bool IsDevice(const char *serial, const cJSON *node, const char *means) {
        const bool known = IsKnown(around_, serial);
        if (!known) {
            Never(Member(node, "deviceId"), std::string("not among the devices: ") + means);
        }
        return known;
    }

    HeldRule &rule_;
    const Surroundings &around_;
    Remarks &remarks_;
};

/// Remarks rules of which an earlier one has the same key.
template <typename Key, typename KeyOfRule>
void CheckRepeats(const HeldRules &rules, KeyOfRule key_of, const char *member, const char *text,
                  Remarks &remarks) {
    std::unordered_map<Key, const HeldRule *> first;
    for (const HeldRule &rule : rules) {
        if (!rule.complete) {
            continue;
        }
        const auto [other, added] = first.emplace(key_of(rule), &rule);
        if (!added) {
            const cJSON *node = member != nullptr ? Member(rule.node, member) : rule.node;
            remarks.push_back({node, false, FindingClass::note, text + RuleName(*other->second)});
        }
    }
}

} // namespace

void CheckEachRule(HeldRules &rules, const Surroundings &surroundings, Remarks &remarks) {
    for (HeldRule &rule : rules) {
        if (rule.complete) {
            RuleChecker(rule, surroundings, remarks).Check();
        }
    }
    CheckRepeats<UINT32>(
        rules, [](const HeldRule &rule) { return rule.record.uiRuleId; }, "id", "the same id as ", remarks);
    CheckRepeats<std::string>(rules, KeyOfRule, nullptr, "does the same as ", remarks);
}

} // namespace tqgateway
