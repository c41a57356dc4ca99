// SPDX-License-Identifier: Apache-2.0
// Civil time from 1970 to 2099, in which every fourth year is a leap year, and the two ways of time to pass.
#include "rules/clock.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <regex>

#include "lines/json.h"

namespace tqgateway {
namespace {

constexpr int kFirstYear = 1970;
constexpr int kLastYear = 2099;
constexpr CivilTime kMinute = 60;
constexpr CivilTime kHour = 60 * kMinute;
constexpr CivilTime kDay = 24 * kHour;
constexpr std::uint64_t kLongestSpan = std::uint64_t{36525} * kDay * 1000;

struct Month {
    int year;
    int month; ///< 1 is January.
};

int DaysIn(Month month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month.month - 1] + (month.month == 2 && month.year % 4 == 0 ? 1 : 0);
}

Month Following(Month month) {
    return month.month == 12 ? Month{month.year + 1, 1} : Month{month.year, month.month + 1};
}

CivilTime CivilOf(int year, int month, int day, CivilTime second_of_day) {
    CivilTime days = day - 1;
    for (Month past{kFirstYear, 1}; past.year < year || past.month < month; past = Following(past)) {
        days += DaysIn(past);
    }
    return days * kDay + second_of_day;
}

struct Date {
    Month month;
    int day;
};

Date DateOf(CivilTime time) {
    auto days = static_cast<int>(time / kDay);
    Month month{kFirstYear, 1};
    for (; days >= DaysIn(month); month = Following(month)) {
        days -= DaysIn(month);
    }
    return {month, days + 1};
}

template <typename... Values>
std::string Format(const char *format, Values... values) {
    char text[64];
    snprintf(text, sizeof text, format, values...);
    return text;
}

std::string TimeOfDay(CivilTime time) {
    const UINT32 second = SecondOfDay(time);
    return Format("%02u:%02u:%02u", second / 3600, second / 60 % 60, second % 60);
}

CivilTime MachineCivil() {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    const int second = std::min(local.tm_sec, 59); // a leap second is not counted
    return CivilOf(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                   local.tm_hour * kHour + local.tm_min * kMinute + second);
}

} // namespace

CivilTime ReadCivil(const std::string &text, const std::string &path) {
    static const std::regex kForm("([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2})(:([0-9]{2}))?");
    std::smatch match;
    if (std::regex_match(text, match, kForm)) {
        const auto number = [&](std::size_t group) {
            return match[group].matched ? std::stoi(match[group]) : 0;
        };
        const int year = number(1);
        const int month = number(2);
        if (year >= kFirstYear && year <= kLastYear && month >= 1 && month <= 12) {
            const CivilTime time =
                CivilOf(year, month, number(3), number(4) * kHour + number(5) * kMinute + number(7));
            if (CivilText(time) == text + (match[6].matched ? "" : ":00")) {
                return time;
            }
        }
    }
    throw LineError(path + ": expected a time of the years 1970 to 2099 such as \"2026-11-21T23:30:00\"");
}

std::uint64_t ReadSpan(const std::string &text, const std::string &path) {
    static const std::regex kForm("([0-9]{1,10})([smhd])");
    std::smatch match;
    if (std::regex_match(text, match, kForm)) {
        const char unit = *match[2].first;
        const CivilTime seconds = unit == 's' ? 1 : unit == 'm' ? kMinute : unit == 'h' ? kHour : kDay;
        const std::uint64_t span = std::stoull(match[1]) * static_cast<std::uint64_t>(seconds) * 1000;
        if (span <= kLongestSpan) {
            return span;
        }
    }
    throw LineError(path + ": expected a time such as \"90s\", \"5m\", \"2h\" or \"7d\", up to \"36525d\"");
}

std::string CivilText(CivilTime time) {
    const Date date = DateOf(time);
    return Format("%04d-%02d-%02dT", date.month.year, date.month.month, date.day) + TimeOfDay(time);
}

std::string CivilForPeople(CivilTime time) {
    constexpr const char *kWeekdays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    constexpr const char *kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const Date date = DateOf(time);
    return Format("%s %2d %s ", kWeekdays[WeekdayOf(time)], date.day, kMonths[date.month.month - 1]) +
           TimeOfDay(time);
}

int WeekdayOf(CivilTime time) {
    return static_cast<int>((time / kDay + 3) % 7); // 1970 began on a Thursday
}

UINT32 SecondOfDay(CivilTime time) {
    return static_cast<UINT32>(time % kDay);
}

ClockTime Clock::Now() const {
    if (!set_) {
        return {MachineMs() - start_ms_, MachineCivil()};
    }
    ClockTime now{set_->now_ms, set_->civil};
    if (now.civil) {
        *now.civil += static_cast<CivilTime>((set_->now_ms - set_->set_ms) / 1000);
    }
    return now;
}

void Clock::Set(std::optional<CivilTime> civil) {
    const std::uint64_t now = Now().mono_ms;
    set_ = {civil, now, now};
}

void Clock::MoveTo(std::uint64_t mono_ms) {
    if (!set_) {
        Set(Now().civil);
    }
    set_->now_ms = std::max(set_->now_ms, mono_ms);
}

UINT32 Clock::LogTime() const {
    return static_cast<UINT32>(set_ ? Now().civil.value_or(0) : time(nullptr));
}

std::uint64_t Clock::MachineMs() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

} // namespace tqgateway
