// SPDX-License-Identifier: Apache-2.0
// The linkage engine against a second opinion in another form: the periods of a rule are listed on a calendar
// of minutes, partners and rests are looked up in the list of all that happened. Times are drawn at the edges
// of periods, ages and rests, since a fault there is hardly ever met elsewhere.
#include "linkage_fixture.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <map>
#include <random>

namespace linkage {
namespace {

constexpr int kDay = 1440;
constexpr int kWeek = 7 * kDay;
// Of ten years each minute is asked for; under emulation, every fifth.
constexpr int kStep = sizeof(void *) == 4 ? 5 : 1;

using Verdicts = std::vector<std::pair<UINT32, int>>; // rule id, verdict

bool IsTime(UINT32 hour, UINT32 minute) { return hour * 60 + minute <= 24 * 60 && minute < 60; }

// The minutes of a week in which a rule is active if the day is set on which its period starts.
std::vector<bool> Calendar(const Record &rule, bool end_open, bool every_day) {
    std::vector<bool> active(kWeek);
    const int start = static_cast<int>(rule.uiStart_hour * 60 + rule.uiStart_min);
    int end = static_cast<int>(rule.uiEnd_hour * 60 + rule.uiEnd_min) + (end_open ? 0 : 1);
    end += rule.ucIsCrossDay != 0 ? kDay : 0;
    for (int day = 0; day < 7; ++day) {
        for (int at = start; at < end && (every_day || rule.aucWeekDaysEn[day] != 0); ++at) {
            active[static_cast<std::size_t>((day * kDay + at) % kWeek)] = true;
        }
    }
    return active;
}

class Oracle {
public:
    Oracle(const Config &config, const std::vector<Rule> &rules) : config_(config), rules_(rules) {
        for (const Rule &rule : rules) {
            own_.push_back(Calendar(rule.record, config.ucPeriodEndOpen != 0, false));
            every_.push_back(Calendar(rule.record, config.ucPeriodEndOpen != 0, true));
        }
    }

    Verdicts Happen(const Event &event, const Now &now, int depth) {
        time_ = std::max(time_, now.ullMonoMs);
        happened_.push_back({event, time_});
        Verdicts verdicts;
        for (std::size_t i = 0; i < rules_.size(); ++i) {
            const auto &events = rules_[i].events;
            const auto named = std::count_if(events.begin(), events.end(), [&](const Event &e) { return SameKey(e, event); });
            if (named == 0) {
                continue;
            }
            verdicts.push_back({rules_[i].record.uiRuleId, Judge(i, event, now, depth)});
            if (verdicts.back().second == TQDEVSDK_LINKAGE_VERDICT_FIRED) {
                fired_[i] = time_;
            }
        }
        return verdicts;
    }

private:
    struct Happened {
        Event event;
        uint64_t at;
    };

    static bool SameKey(const Event &left, const Event &right) {
        return left.uiCmdId == right.uiCmdId && std::string(left.acDevId) == right.acDevId && left.ucChannel == right.ucChannel;
    }

    int Judge(std::size_t index, const Event &event, const Now &now, int depth) const {
        const Rule &rule = rules_[index];
        const Record &record = rule.record;
        const auto equals = [&](const Event &e) { return SameKey(e, event) && e.usValue == event.usValue; };
        if (std::none_of(rule.events.begin(), rule.events.end(), equals)) {
            return TQDEVSDK_LINKAGE_VERDICT_VALUE;
        }
        if (record.ucEnable == 0) {
            return TQDEVSDK_LINKAGE_VERDICT_DISABLED;
        }
        if (!IsTime(record.uiStart_hour, record.uiStart_min) || !IsTime(record.uiEnd_hour, record.uiEnd_min)) {
            return TQDEVSDK_LINKAGE_VERDICT_PERIOD_INVALID;
        }
        if (std::find(every_[index].begin(), every_[index].end(), true) == every_[index].end()) {
            return TQDEVSDK_LINKAGE_VERDICT_PERIOD_EMPTY;
        }
        if (now.ucClockSet == 0) {
            return TQDEVSDK_LINKAGE_VERDICT_CLOCK_NOT_SET;
        }
        const std::size_t minute = (now.ucDay - 1U) * kDay + now.uiSecondOfDay / 60;
        if (!own_[index][minute]) {
            return every_[index][minute] ? TQDEVSDK_LINKAGE_VERDICT_DAY : TQDEVSDK_LINKAGE_VERDICT_PERIOD;
        }
        if (const int partners = JudgePartners(rule)) {
            return partners;
        }
        const auto fired = fired_.find(index);
        if (fired != fired_.end() && time_ < fired->second + config_.uiCooldownMs) {
            return TQDEVSDK_LINKAGE_VERDICT_COOLDOWN;
        }
        return depth > config_.ucChainMax ? TQDEVSDK_LINKAGE_VERDICT_CHAIN : TQDEVSDK_LINKAGE_VERDICT_FIRED;
    }

    // 0 when nothing is against it.
    int JudgePartners(const Rule &rule) const {
        if (rule.events.size() < 2 || rule.record.usCondition == kAny) {
            return 0;
        }
        if (rule.record.usCondition != kAll) {
            return TQDEVSDK_LINKAGE_VERDICT_CONDITION;
        }
        for (const Event &partner : rule.events) {
            const auto last = std::find_if(happened_.rbegin(), happened_.rend(), [&](const Happened &h) { return SameKey(h.event, partner); });
            if (last == happened_.rend()) {
                return TQDEVSDK_LINKAGE_VERDICT_NEVER_SEEN;
            }
            if (last->event.usValue != partner.usValue) {
                return TQDEVSDK_LINKAGE_VERDICT_OTHER_VALUE;
            }
            if (config_.uiAllWindowMs != 0 && last->at + config_.uiAllWindowMs < time_) {
                return TQDEVSDK_LINKAGE_VERDICT_TOO_OLD;
            }
        }
        return 0;
    }

    const Config &config_;
    const std::vector<Rule> &rules_;
    std::vector<std::vector<bool>> own_, every_;
    std::vector<Happened> happened_;
    std::map<std::size_t, uint64_t> fired_;
    uint64_t time_ = 0;
};

// ---- What is drawn ----

class Draw {
public:
    explicit Draw(unsigned seed) : random_(seed) {}

    UINT32 Below(UINT32 bound) { return static_cast<UINT32>(random_()) % bound; }
    bool Once(UINT32 in) { return Below(in) == 0; }

    Event AnEvent() {
        return MakeEvent(Once(2) ? "DOOR" : "MOTION", static_cast<UINT16>(Below(2)), 5 + Below(2), static_cast<UINT8>(1 + Below(5) / 4));
    }
    Rule ARule(UINT32 id) {
        static const UINT32 kHours[] = {0, 0, 6, 12, 22, 23, 24, 25};
        static const UINT32 kMinutes[] = {0, 0, 1, 30, 59, 60};
        Rule rule(id);
        for (UINT32 left = 1 + Below(3); left > 0; --left) {
            rule.events.push_back(AnEvent());
        }
        if (!Once(3)) {
            rule.actions.push_back(MakeAction("HUB", id));
        }
        rule.record.ucEnable = Once(20) ? 0 : 1;
        for (UINT8 &day : rule.record.aucWeekDaysEn) {
            day = Once(3) ? 0 : 1;
        }
        rule.record.uiStart_hour = kHours[Below(Once(8) ? 8 : 6)];
        rule.record.uiStart_min = kMinutes[Below(Once(8) ? 6 : 5)];
        rule.record.uiEnd_hour = kHours[Below(Once(8) ? 8 : 7)];
        rule.record.uiEnd_min = rule.record.uiEnd_hour == 24 && !Once(4) ? 0 : kMinutes[Below(Once(8) ? 6 : 5)];
        rule.record.ucIsCrossDay = Once(2);
        rule.record.usCondition = static_cast<UINT16>(Once(20) ? 9 : Below(2));
        return rule;
    }
    Config AConfig() {
        Config config = DefaultConfig();
        config.ucPeriodEndOpen = Once(2);
        config.uiAllWindowMs = Once(2) ? 0 : 1000;
        config.uiCooldownMs = Once(2) ? 0 : 500;
        config.ucChainMax = static_cast<UINT8>(Below(3));
        return config;
    }
    // A second at or beside the edge of a period, or midnight, on any day; the other clock a step on, which
    // may be an age or a rest exactly, or back.
    void Move(const Rule &rule, Now &now) {
        static const uint64_t kSteps[] = {0, 1, 499, 500, 501, 999, 1000, 1001};
        const UINT32 edges[] = {rule.record.uiStart_hour * 60 + rule.record.uiStart_min, rule.record.uiEnd_hour * 60 + rule.record.uiEnd_min,
                                rule.record.uiEnd_hour * 60 + rule.record.uiEnd_min + 1, 0, Below(kDay)};
        const UINT32 second = edges[Below(5)] * 60 + 86400 - 1 + Below(3);
        now = {Once(10) ? now.ullMonoMs - std::min<uint64_t>(now.ullMonoMs, 700) : now.ullMonoMs + kSteps[Below(8)], second % 86400,
               static_cast<UINT8>(1 + Below(7)), static_cast<UINT8>(Once(30) ? 0 : 1)};
    }

private:
    std::mt19937 random_;
};

// What the engine said in both traces, in order.
Verdicts ReadVerdicts(Engine &engine, UINT32 &last) {
    std::map<UINT32, std::pair<UINT32, int>> entries;
    for (const int ring : {TQDEVSDK_LINKAGE_RING_FIRED, TQDEVSDK_LINKAGE_RING_HELD}) {
        tqDevSDK_Linkage_Trace_S read[64];
        const int num = tqDevSDK_Linkage_ReadTrace(engine.get(), ring, last, read, 64);
        for (int i = 0; i < num; ++i) {
            entries[read[i].uiNumber] = {read[i].uiRuleId, read[i].ucVerdict};
        }
    }
    Verdicts verdicts;
    for (const auto &[number, entry] : entries) {
        last = number;
        if (entry.second <= TQDEVSDK_LINKAGE_VERDICT_FIRED) {
            verdicts.push_back(entry);
        }
    }
    return verdicts;
}

// One rule set and what happens to it; the number of evaluations.
std::size_t Play(unsigned seed) {
    Draw draw(seed);
    const Config config = draw.AConfig();
    std::vector<Rule> made;
    for (UINT32 id = 1; id <= 8; ++id) {
        made.push_back(draw.ARule(id));
    }
    const Rules rules(made);
    Oracle oracle(config, made);
    Engine engine(config);
    engine.SetRules(rules);

    std::size_t evaluations = 0;
    UINT32 last = 0;
    Now now{};
    std::vector<std::pair<uint64_t, int>> depths{{0, 0}}; // a token, and the depth of an event with it
    for (int i = 0; i < 400; ++i) {
        if (draw.Once(25)) {
            engine.SetRules(rules); // the same again: nothing is forgotten
        }
        draw.Move(made[draw.Below(8)], now);
        const Event event = draw.AnEvent();
        const auto [token, depth] = depths[draw.Below(static_cast<UINT32>(depths.size()))];
        const Verdicts expected = oracle.Happen(event, now, depth);
        engine.Happen(event, now, token);
        const Verdicts found = ReadVerdicts(engine, last);
        if (found != expected) {
            ADD_FAILURE() << "seed " << seed << ", event " << i << ": " << testing::PrintToString(found) << " instead of "
                          << testing::PrintToString(expected);
            return 0;
        }
        evaluations += found.size();
        engine.Take(now);
        for (const uint64_t started : engine.tokens) {
            depths.push_back({started, depth + 1});
            engine.Done(started, 0, now);
        }
        engine.tokens.clear();
        engine.Take(now);
    }
    return evaluations;
}

TEST(LinkageOracle, AMillionEvaluationsDoNotDiffer) {
    std::size_t evaluations = 0;
    for (unsigned seed = 1; evaluations < 1000000; ++seed) {
        const std::size_t more = Play(seed);
        ASSERT_NE(more, 0U);
        evaluations += more;
    }
}

// ---- Ten years of days ----

// Days since 1970 of a civil date, counted year by year and month by month.
int DayNumber(const tm &date) {
    static const int kBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const int year = date.tm_year + 1900;
    const auto leaps = [](int y) { return y / 4 - y / 100 + y / 400; };
    const bool leap = leaps(year) != leaps(year - 1);
    return (year - 1970) * 365 + leaps(year - 1) - leaps(1969) + kBefore[date.tm_mon] + (leap && date.tm_mon > 1 ? 1 : 0) + date.tm_mday - 1;
}

// One rule at each minute of ten years: the minutes in which it fires, by the engine and as the calendar of
// this place has them, where a period is listed on each date that has a set weekday. 1 is Monday.
void CompareYears(const char *zone, const Rule &rule) {
    SCOPED_TRACE(std::string(zone) + " " + std::to_string(rule.record.uiRuleId));
    setenv("TZ", zone, 1);
    tzset();
    constexpr int kFirst = 20089; // 2025-01-01
    constexpr int kDays = 3652;
    std::vector<bool> active(static_cast<std::size_t>((kDays + 4) * kDay));
    const int start = static_cast<int>(rule.record.uiStart_hour * 60 + rule.record.uiStart_min);
    const int end = static_cast<int>(rule.record.uiEnd_hour * 60 + rule.record.uiEnd_min) + rule.record.ucIsCrossDay * kDay;
    for (int day = -2; day < kDays + 2; ++day) {
        const int weekday = (kFirst + day + 3) % 7; // the first of 1970 was a Thursday
        for (int at = start; at <= end && rule.record.aucWeekDaysEn[weekday] != 0; ++at) {
            const int minute = (day + 2) * kDay + at;
            if (minute < (kDays + 4) * kDay) {
                active[static_cast<std::size_t>(minute)] = true;
            }
        }
    }

    Engine engine;
    engine.SetRules(Rules({rule}));
    uint64_t fired_seconds = 0;
    uint64_t listed_seconds = 0;
    std::map<long, int> offsets;
    tm local{};
    for (time_t minute = static_cast<time_t>(kFirst) * kDay; minute < static_cast<time_t>(kFirst + kDays) * kDay; minute += kStep) {
        if (minute % 15 == 0) { // no zone changes between the quarters of an hour
            const time_t seconds = minute * 60;
            localtime_r(&seconds, &local);
            ++offsets[local.tm_gmtoff];
        } else {
            local.tm_min += kStep;
        }
        const Now now{static_cast<uint64_t>(minute) * 60000, static_cast<UINT32>(local.tm_hour * 3600 + local.tm_min * 60 + 59),
                      static_cast<UINT8>(local.tm_wday == 0 ? 7 : local.tm_wday), 1};
        fired_seconds += engine.Happen(rule.events[0], now) == 1 ? 60 * kStep : 0;
        const int listed = (DayNumber(local) - kFirst + 2) * kDay + local.tm_hour * 60 + local.tm_min;
        listed_seconds += active[static_cast<std::size_t>(listed)] ? 60 * kStep : 0;
    }
    EXPECT_EQ(fired_seconds, listed_seconds);
    EXPECT_EQ(offsets.size(), 2U); // the zone is known here, and saves daylight
}

TEST(LinkageOracle, FiresForTenYearsAsTheCalendarSaysInZonesThatSaveDaylight) {
    const std::vector<Event> events{MakeEvent("DOOR", 1)};
    const char *const zones[] = {"Europe/Berlin",    "America/New_York", "Australia/Lord_Howe",
                                 "America/St_Johns", "Pacific/Auckland", "America/Santiago"};
    for (UINT32 i = 0; i < 6; ++i) {
        const Rule night = Rule(1, events).On("12345").Within("22:00", "n06:30");
        const Rule change = Rule(2, events).On("7").Within("01:30", "02:29"); // when clocks are set
        CompareYears(zones[i], i % 2 == 0 ? night : change);
    }
    unsetenv("TZ");
    tzset();
}

} // namespace
} // namespace linkage
