// SPDX-License-Identifier: Apache-2.0
/// @file clock.h  The virtual hub's time: the machine's, or one that moves only when it is told to.
#ifndef TQGATEWAY_RULES_CLOCK_H
#define TQGATEWAY_RULES_CLOCK_H

#include <cstdint>
#include <optional>
#include <string>

#include "tqdev_sdk_types.h"

namespace tqgateway {

/// Seconds since 1970 as clocks on the wall count them, without time zone and leap seconds; up to 2099.
using CivilTime = std::int64_t;
constexpr CivilTime kLastCivil = 4102444799; ///< The last second of 2099.

/// A moment such as "2026-11-21T23:30:00" or "2026-11-21T23:30". Throws LineError, which names `path`.
CivilTime ReadCivil(const std::string &text, const std::string &path);

/// The milliseconds of "90s", "5m", "2h" or "7d", up to a hundred years. Throws LineError, which names
/// `path`.
std::uint64_t ReadSpan(const std::string &text, const std::string &path);

/// "2026-11-21T23:30:00".
std::string CivilText(CivilTime time);

/// "Sat 21 Nov 23:30:00".
std::string CivilForPeople(CivilTime time);

/// 0 is Monday.
int WeekdayOf(CivilTime time);

UINT32 SecondOfDay(CivilTime time);

struct ClockTime {
    std::uint64_t mono_ms;          ///< Never runs backwards, also when the clock is set.
    std::optional<CivilTime> civil; ///< Nothing: the clock is not set.
};

/// Shows the machine's time until it is set or moved; from then on it stands still in between.
class Clock {
public:
    ClockTime Now() const;
    bool IsVirtual() const { return set_.has_value(); }

    /// Sets the civil time; monotonic time goes on from where it is.
    void Set(std::optional<CivilTime> civil);

    /// Moves on to a moment of monotonic time, which is not in the past.
    void MoveTo(std::uint64_t mono_ms);

    /// Seconds as log records have them: since 1970 UTC, or the virtual civil time; 0 when the clock is not
    /// set.
    UINT32 LogTime() const;

private:
    struct Virtual {
        std::optional<CivilTime> civil; ///< When it was set.
        std::uint64_t set_ms;
        std::uint64_t now_ms;
    };

    std::uint64_t start_ms_ = MachineMs();
    std::optional<Virtual> set_;

    static std::uint64_t MachineMs();
};

} // namespace tqgateway

#endif
