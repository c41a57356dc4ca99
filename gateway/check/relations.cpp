// SPDX-License-Identifier: Apache-2.0
// How rules act on each other: with different values at the same moment, or in a circle.
//
// Rules are never compared all with all. Conflicts are looked for among the actions on one target, and loops
// along the events that actions make happen; both stop after a bounded number of steps.
#include <algorithm>
#include <bitset>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "SmartControl_text.h"
#include "check/rules.h"

namespace tqgateway {
namespace {

constexpr std::size_t kMostSteps = 100'000'000;
constexpr std::size_t kMinutesOfDay = 1440;
constexpr std::size_t kMinutesOfWeek = 7 * kMinutesOfDay;

/// Numbers keys in the order in which they first come.
class Numbering {
public:
    std::uint32_t Of(const std::string &key) {
        return numbers_.emplace(key, static_cast<std::uint32_t>(numbers_.size())).first->second;
    }

private:
    std::unordered_map<std::string, std::uint32_t> numbers_;
};

constexpr std::size_t kWeekSteps = 10; ///< What it costs to compare two weeks.

/// What is left of the steps that may be taken.
class Steps {
public:
    bool Take(std::size_t count = 1) {
        left_ -= std::min(left_, count);
        return left_ > 0;
    }

    /// Says so when they did not do.
    void Conclude(const char *what, Remarks &remarks) const {
        if (left_ == 0) {
            remarks.push_back(
                {nullptr, false, FindingClass::note,
                 std::string("too many rules are alike in events and actions to find all ") + what});
        }
    }

private:
    std::size_t left_ = kMostSteps;
};

// ---- When rules are active ----

using Week = std::bitset<kMinutesOfWeek>; ///< From midnight of day 1.

/// The first minute in it that is not before `from`; its size when there is none.
std::size_t NextMinute(const Week &week, std::size_t from) {
    while (from < week.size() && !week[from]) {
        ++from;
    }
    return from;
}

/// The minutes of the week in which rules are active. Rules with the same days and period share theirs.
class Timetable {
public:
    const Week &Of(const HeldRule &rule) {
        const auto [found, added] = weeks_.try_emplace(
            {std::string(std::begin(rule.record.aucWeekDaysEn), std::end(rule.record.aucWeekDaysEn)),
             rule.period.start, rule.period.end});
        if (added) {
            Fill(rule, found->second);
        }
        return found->second;
    }

private:
    static void Fill(const HeldRule &rule, Week &week) {
        Week one_day;
        for (unsigned minute = rule.period.start; minute <= rule.period.end; ++minute) {
            one_day.set(minute % kMinutesOfWeek);
        }
        for (std::size_t day = 0; day < std::size(rule.record.aucWeekDaysEn); ++day) {
            if (rule.record.aucWeekDaysEn[day] != 0) {
                const std::size_t shift = day * kMinutesOfDay;
                week |= one_day << shift | one_day >> (kMinutesOfWeek - shift) % kMinutesOfWeek;
            }
        }
    }

    std::map<std::tuple<std::string, unsigned, unsigned>, Week> weeks_;
};

/// A minute of the week in words.
std::string Moment(std::size_t minute) {
    const auto two_digits = [](std::size_t number) {
        return (number < 10 ? "0" : "") + std::to_string(number);
    };
    return "day " + std::to_string(minute / kMinutesOfDay + 1) + " at " +
           two_digits(minute % kMinutesOfDay / 60) + ':' + two_digits(minute % 60);
}

std::string KeyOfTrigger(const Event &event) {
    return KeyOf(event.acDevId, event.uiDomain, event.uiCmdId, event.ucChannel, event.usValue);
}

// ---- Conflicts ----

/// One action of a rule that can fire. Actions on one target at one delay meet each other.
struct Deed {
    std::uint32_t target, values;
    const HeldRule *rule;
    const Held<Action> *action;
    const Week *week = nullptr; ///< When the rule is active; known when it matters.
};

/// A deed at one of the events that cause it.
struct Trial {
    std::uint32_t trigger, values;
    std::size_t deed;
};

std::string ValuesOf(const Action &action) {
    std::string text;
    for (unsigned i = 0; i < action.ucValueNum; ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(action.ausValue[i]);
    }
    return text.empty() ? "no value" : text;
}

class ConflictFinder {
public:
    ConflictFinder(const Surroundings &surroundings, Remarks &remarks)
        : around_(surroundings), remarks_(remarks) {}

    void Find(const HeldRules &rules) {
        Numbering targets, values;
        for (const HeldRule &rule : rules) {
            for (const auto &held : rule.actions) {
                const Action &a = held.record;
                if (rule.fires && IsKnown(around_, a.acDevId)) {
                    deeds_.push_back(
                        {targets.Of(KeyOf(a.acDevId, a.uiDomain, a.uiCmdId, a.ucChannel, a.uiDelay)),
                         values.Of(std::string(reinterpret_cast<const char *>(a.ausValue),
                                               a.ucValueNum * sizeof *a.ausValue)),
                         &rule, &held});
                }
            }
        }
        std::stable_sort(deeds_.begin(), deeds_.end(),
                         [](const Deed &a, const Deed &b) { return a.target < b.target; });
        ForEachRun(
            0, deeds_.size(), [&](std::size_t i) { return deeds_[i].target; },
            [&](std::size_t begin, std::size_t end) { CheckTarget(begin, end); });
        steps_.Conclude("conflicts", remarks_);
    }

private:
    /// Calls `take` for each range of neighbours with the same key.
    template <typename KeyAt, typename Take>
    static void ForEachRun(std::size_t begin, std::size_t end, KeyAt key_at, Take take) {
        while (begin < end) {
            std::size_t behind = begin + 1;
            while (behind < end && key_at(behind) == key_at(begin)) {
                ++behind;
            }
            take(begin, behind);
            begin = behind;
        }
    }

    /// The deeds on one target, by the events that cause them.
    void CheckTarget(std::size_t begin, std::size_t end) {
        const bool alike = std::all_of(deeds_.begin() + static_cast<std::ptrdiff_t>(begin),
                                       deeds_.begin() + static_cast<std::ptrdiff_t>(end),
                                       [&](const Deed &deed) { return deed.values == deeds_[begin].values; });
        if (alike) {
            return;
        }
        trials_.clear();
        told_.assign(end - begin, false);
        first_deed_ = begin;
        for (std::size_t i = begin; i < end; ++i) {
            deeds_[i].week = &timetable_.Of(*deeds_[i].rule);
            for (const auto &[event, node] : deeds_[i].rule->events) {
                if (IsKnown(around_, event.acDevId) && steps_.Take()) {
                    trials_.push_back({triggers_.Of(KeyOfTrigger(event)), deeds_[i].values, i});
                }
            }
        }
        std::sort(trials_.begin(), trials_.end(), [](const Trial &a, const Trial &b) {
            return std::tie(a.trigger, a.values, a.deed) < std::tie(b.trigger, b.values, b.deed);
        });
        ForEachRun(
            0, trials_.size(), [&](std::size_t i) { return trials_[i].trigger; },
            [&](std::size_t first, std::size_t last) { CheckTrigger(first, last); });
    }

    /// The deeds on one target at one event, those with the same values together: each against the minutes
    /// that those with other values before it have taken.
    void CheckTrigger(std::size_t begin, std::size_t end) {
        if (trials_[begin].values == trials_[end - 1].values) {
            return;
        }
        Week taken;
        ForEachRun(
            begin, end, [&](std::size_t i) { return trials_[i].values; },
            [&](std::size_t first, std::size_t last) {
                for (std::size_t i = first; i < last; ++i) {
                    CheckTrial(begin, i, first, taken);
                }
                for (std::size_t i = first; i < last; ++i) {
                    Occupy(trials_[i].deed, taken);
                }
            });
    }

    void CheckTrial(std::size_t begin, std::size_t at, std::size_t others_end, const Week &taken) {
        const std::size_t mine = trials_[at].deed;
        const Week &week = *deeds_[mine].week;
        const Week common = week & taken;
        if (told_[mine - first_deed_] || common.none()) {
            return;
        }
        const std::size_t minute = NextMinute(common, 0);
        if (FireTogether(*deeds_[mine].rule, *deeds_[owners_[minute]].rule)) {
            Tell(mine, owners_[minute], minute);
            return;
        }
        // The one that took the minute first is no match; another may be.
        for (std::size_t i = begin; i < others_end && steps_.Take(); ++i) {
            const std::size_t other = trials_[i].deed;
            if (!FireTogether(*deeds_[mine].rule, *deeds_[other].rule) || !steps_.Take(kWeekSteps)) {
                continue;
            }
            const Week both = week & *deeds_[other].week;
            if (both.any()) {
                Tell(mine, other, NextMinute(both, 0));
                return;
            }
        }
    }

    void Occupy(std::size_t deed, Week &taken) {
        const Week &week = *deeds_[deed].week;
        const Week added = week & ~taken;
        for (std::size_t i = NextMinute(added, 0); i < added.size(); i = NextMinute(added, i + 1)) {
            owners_[i] = deed;
        }
        taken |= week;
    }

    /// Whether one event can make both fire. Not when each wants another value of a third event to be the
    /// last.
    bool FireTogether(const HeldRule &a, const HeldRule &b) {
        if (&a == &b) {
            return false;
        }
        if (!a.all || !b.all) {
            return true;
        }
        for (const auto &[mine, my_node] : a.events) {
            for (const auto &[other, other_node] : b.events) {
                const bool same = mine.uiDomain == other.uiDomain && mine.uiCmdId == other.uiCmdId &&
                                  mine.ucChannel == other.ucChannel &&
                                  strcmp(mine.acDevId, other.acDevId) == 0;
                if ((same && mine.usValue != other.usValue) || !steps_.Take()) {
                    return false;
                }
            }
        }
        return true;
    }

    void Tell(std::size_t mine, std::size_t other, std::size_t minute) {
        told_[mine - first_deed_] = true;
        const Deed &deed = deeds_[mine];
        remarks_.push_back({Member(deed.action->node, "params"), false, FindingClass::conflict,
                            "sends " + ValuesOf(deed.action->record) + ", and at the same event " +
                                RuleName(*deeds_[other].rule) + " sends " +
                                ValuesOf(deeds_[other].action->record) + ", for example on " +
                                Moment(minute) + ": the device does both, one after the other"});
    }

    const Surroundings &around_;
    Remarks &remarks_;
    Steps steps_;
    Timetable timetable_;
    Numbering triggers_;
    std::vector<Deed> deeds_;   ///< Those on one target stand together.
    std::vector<Trial> trials_; ///< Of the target that is being checked, like
    std::vector<bool> told_;    ///< whether a deed was remarked, from
    std::size_t first_deed_ = 0;
    std::vector<std::size_t> owners_ = std::vector<std::size_t>(kMinutesOfWeek); ///< Who took a minute first.
};

// ---- Loops ----

/// The event that an action makes happen by an effect of its command and device; none when it does not.
std::optional<Event> Caused(const Effect &effect, const Action &action) {
    if (effect.action_channel.value_or(action.ucChannel) != action.ucChannel) {
        return std::nullopt;
    }
    const auto has = [&](unsigned param) { return param <= action.ucValueNum; };
    for (const auto &[param, value] : effect.params) {
        if (!has(param) || action.ausValue[param - 1] != value) {
            return std::nullopt;
        }
    }
    if (!has(effect.param)) {
        return std::nullopt;
    }
    Event event{};
    event.uiDomain = effect.event_domain;
    event.uiCmdId = effect.event_command;
    event.ucChannel = effect.event_channel.value_or(action.ucChannel);
    event.usValue = effect.param != 0 ? action.ausValue[effect.param - 1] : effect.value;
    CopyText(event.acDevId, effect.event_serial ? effect.event_serial->c_str() : action.acDevId);
    return event;
}

class LoopFinder {
public:
    LoopFinder(const HeldRules &rules, const Surroundings &surroundings, Remarks &remarks)
        : rules_(rules), around_(surroundings), remarks_(remarks), seen_(rules.size(), Seen::no),
          places_(rules.size()) {}

    void Find() {
        for (const Effect &effect : around_.effects) {
            effects_[KeyOfEffect(effect.action_serial, effect.action_domain, effect.action_command)]
                .push_back(&effect);
        }
        for (std::size_t i = 0; i < rules_.size(); ++i) {
            for (const auto &[event, node] : rules_[i].events) {
                if (rules_[i].fires && IsKnown(around_, event.acDevId)) {
                    triggered_[KeyOfTrigger(event)].push_back(i);
                }
            }
        }
        for (std::size_t i = 0; i < rules_.size(); ++i) {
            if (seen_[i] == Seen::no) {
                Follow(i);
            }
        }
        steps_.Conclude("loops", remarks_);
    }

private:
    enum class Seen { no, on_path, done };

    /// An event that an action makes happen, by the rules that it sets off.
    struct Cause {
        const Held<Action> *action;
        const std::vector<std::size_t> *rules;
    };

    /// A rule on the path that is being followed, and how far what it leads to has been followed.
    struct Stop {
        std::size_t rule;
        std::vector<Cause> causes;
        std::size_t cause = 0, next = 0;
        bool told = false;
    };

    /// Effects of actions on one device, or on any.
    static std::string KeyOfEffect(const std::optional<std::string> &serial, UINT32 domain, UINT32 command) {
        return KeyOf(serial ? serial->c_str() : "", serial.has_value(), domain, command);
    }

    /// Goes from rule to rule, deeper first; whatever leads back to the path closes a loop.
    void Follow(std::size_t start) {
        Enter(start);
        while (!path_.empty()) {
            Stop &stop = path_.back();
            if (stop.cause == stop.causes.size() || !steps_.Take()) {
                seen_[stop.rule] = Seen::done;
                path_.pop_back();
                continue;
            }
            const Cause &cause = stop.causes[stop.cause];
            if (stop.next == cause.rules->size()) {
                ++stop.cause;
                stop.next = 0;
                continue;
            }
            const std::size_t next = (*cause.rules)[stop.next++];
            // Later, the other rule may be active though it is not now.
            if (seen_[next] == Seen::done ||
                (cause.action->record.uiDelay == 0 && !Overlap(rules_[stop.rule], rules_[next]))) {
                continue;
            }
            if (seen_[next] == Seen::no) {
                Enter(next);
            } else if (!stop.told) {
                stop.told = true;
                Tell(cause.action->node, next);
            }
        }
    }

    void Enter(std::size_t rule) {
        seen_[rule] = Seen::on_path;
        places_[rule] = path_.size();
        path_.push_back({rule, CausesOf(rules_[rule])});
    }

    std::vector<Cause> CausesOf(const HeldRule &rule) const {
        std::vector<Cause> causes;
        for (const Held<Action> &held : rule.actions) {
            const Action &action = held.record;
            if (!rule.fires || !IsKnown(around_, action.acDevId)) {
                continue;
            }
            for (const auto &serial :
                 {std::optional<std::string>(action.acDevId), std::optional<std::string>()}) {
                const auto effects = effects_.find(KeyOfEffect(serial, action.uiDomain, action.uiCmdId));
                if (effects == effects_.end()) {
                    continue;
                }
                for (const Effect *effect : effects->second) {
                    const std::optional<Event> event = Caused(*effect, action);
                    const auto triggered = event ? triggered_.find(KeyOfTrigger(*event)) : triggered_.end();
                    if (triggered != triggered_.end()) {
                        causes.push_back({&held, &triggered->second});
                    }
                }
            }
        }
        return causes;
    }

    bool Overlap(const HeldRule &a, const HeldRule &b) {
        steps_.Take(kWeekSteps);
        const Week &mine = timetable_.Of(a);
        const Week &other = timetable_.Of(b);
        return &mine == &other || (mine & other).any();
    }

    /// The last rule of the path leads back to another on it.
    void Tell(const cJSON *action, std::size_t back_to) {
        constexpr std::size_t kMostNames = 3;
        const std::size_t first = places_[back_to];
        const std::size_t count = path_.size() - 1 - first; // without the rule itself
        std::string others;
        for (std::size_t i = 0; i < std::min(count, kMostNames); ++i) {
            others += (i == 0 ? "" : ", then ") + RuleName(rules_[path_[first + i].rule]);
        }
        if (count > kMostNames) {
            others += " and " + std::to_string(count - kMostNames) + " more";
        }
        remarks_.push_back({action, false, FindingClass::loop,
                            others.empty() ? "makes an event happen that sets off this rule again"
                                           : "makes an event happen that sets off " + others +
                                                 ", and then this rule again"});
    }

    const HeldRules &rules_;
    const Surroundings &around_;
    Remarks &remarks_;
    Steps steps_;
    Timetable timetable_;
    std::unordered_map<std::string, std::vector<const Effect *>> effects_;
    std::unordered_map<std::string, std::vector<std::size_t>>
        triggered_; ///< By event, the rules that it sets off.
    std::vector<Seen> seen_;
    std::vector<Stop> path_;
    std::vector<std::size_t> places_; ///< Of the rules on it.
};

} // namespace

void CheckConflicts(const HeldRules &rules, const Surroundings &surroundings, Remarks &remarks) {
    ConflictFinder(surroundings, remarks).Find(rules);
}

void CheckLoops(const HeldRules &rules, const Surroundings &surroundings, Remarks &remarks) {
    LoopFinder(rules, surroundings, remarks).Find();
}

} // namespace tqgateway
