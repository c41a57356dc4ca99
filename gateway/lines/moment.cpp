// SPDX-License-Identifier: Apache-2.0
// Times and durations as texts.
#include "lines/moment.h"

#include <cstdio>
#include <ctime>
#include <regex>

#include <nlohmann/json.hpp>

namespace tqgateway {

using std::chrono::milliseconds;
using std::chrono::system_clock;

std::string MomentText(Moment moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
    const auto fraction = std::chrono::floor<milliseconds>(moment) - seconds;
    const std::time_t time = system_clock::to_time_t(seconds);
    std::tm utc{};
    gmtime_r(&time, &utc);
    char day[sizeof "2026-11-16T04:19:51"];
    strftime(day, sizeof day, "%FT%T", &utc);
    char text[sizeof day + sizeof ".123Z"];
    snprintf(text, sizeof text, "%s.%03dZ", day, static_cast<int>(fraction.count()));
    return text;
}

Moment ReadMoment(const Json &value, const std::string &path) {
    const std::string text = value.is_string() ? value.get<std::string>() : "";
    std::tm utc{};
    int fraction = 0;
    // NOLINTNEXTLINE(cert-err34-c): what it makes of the text is compared with the text
    if (sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3dZ", &utc.tm_year, &utc.tm_mon, &utc.tm_mday,
               &utc.tm_hour, &utc.tm_min, &utc.tm_sec, &fraction) == 7) {
        utc.tm_year -= 1900;
        utc.tm_mon -= 1;
        const Moment moment = system_clock::from_time_t(timegm(&utc)) + milliseconds(fraction);
        if (MomentText(moment) == text) { // also refuses days that no month has
            return moment;
        }
    }
    throw LineError(path + ": expected a time such as \"2026-11-16T04:19:51.123Z\"");
}

milliseconds ReadDuration(const Json &value, const std::string &path) {
    static const std::regex kDuration(R"(([0-9]{1,8}(?:\.[0-9]{1,3})?)(ms|s|m))");
    constexpr std::chrono::hours kLongest{24};
    const std::string text = value.is_string() ? value.get<std::string>() : "";
    if (std::smatch match; text.size() < 16 && std::regex_match(text, match, kDuration)) {
        const double unit = match[2] == "ms" ? 1 : match[2] == "s" ? 1000 : 60000;
        const auto duration = std::chrono::duration<double, std::milli>(std::stod(match[1]) * unit);
        if (duration <= kLongest) {
            return std::chrono::round<milliseconds>(duration);
        }
    }
    throw LineError(path + ": expected a duration of up to a day, such as \"500ms\", \"1.5s\" or \"2m\"");
}

} // namespace tqgateway
