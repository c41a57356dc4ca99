// SPDX-License-Identifier: Apache-2.0
// tq_bench_linkage [--plot FILE] [LIBRARY]: what the linkage engine costs, with its limits, beside a scan
// over the records and beside CLIPS. LIBRARY is the stripped one of the 32-bit target. Ends with 1 when a
// limit is broken.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <time.h>

#include "linkage_clips.h"
#include "tqDevSDK_Linkage.h"

namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Action = tqDevSDK_SmartControl_ConfigRule_Actions;
using Now = tqDevSDK_Linkage_Now_S;

constexpr unsigned kSizes[] = {10, 100, 1000, 10000, 65535};
constexpr unsigned kClipsMost = 10000; // its rules are read from texts, which takes time
constexpr unsigned kScanRounds = 5;
constexpr Now kNow{0, 23 * 3600, 3, 1};

void Need(bool happened, const char *what) {
    if (!happened) {
        fprintf(stderr, "%s failed.\n", what);
        exit(1);
    }
}

// ---- Rules: each of one event at a device of its own and one action here, from 22:00 to 06:30 ----

struct RuleSet {
    explicit RuleSet(unsigned count) : events(count), actions(count), rules(count) {
        for (unsigned i = 0; i < count; ++i) {
            events[i] = {1100, 5, {}, 1, 1};
            snprintf(events[i].acDevId, sizeof events[i].acDevId, "SENSOR%05u", i);
            actions[i] = {7000, 20034, {}, 1, 2, {1, 2}, 0};
            snprintf(actions[i].acDevId, sizeof actions[i].acDevId, "HUB000001");
            Rule &rule = rules[i];
            rule = {};
            rule.uiRuleId = i;
            snprintf(rule.acRuleName, sizeof rule.acRuleName, "Porch at night %u", i);
            rule.ucEnable = 1;
            memset(rule.aucWeekDaysEn, 1, sizeof rule.aucWeekDaysEn);
            rule.uiStart_hour = 22;
            rule.uiEnd_hour = 6;
            rule.uiEnd_min = 30;
            rule.ucIsCrossDay = 1;
            rule.usEvents_Num = 1;
            rule.pstEvents = &events[i];
            rule.usActions_Num = 1;
            rule.pstActions = &actions[i];
        }
        unit = {1, 1, static_cast<UINT16>(count), rules.data()};
        set = {0, 1, {}, &unit};
    }
    RuleSet(const RuleSet &) = delete;
    RuleSet &operator=(const RuleSet &) = delete;

    std::vector<Event> events;
    std::vector<Action> actions;
    std::vector<Rule> rules;
    Unit unit{};
    Rules set{};
};

// Events of rules all over the set, or of devices with another serial that no rule names.
std::vector<Event> MakeEvents(const RuleSet &rules, const char *serial = nullptr) {
    std::vector<Event> events;
    for (unsigned i = 0; i < 4096; ++i) {
        events.push_back(rules.events[i * 7919ULL % rules.events.size()]);
        if (serial != nullptr) {
            snprintf(events.back().acDevId, sizeof events.back().acDevId, "%s%05u", serial, i);
        }
    }
    return events;
}

// ---- Measuring ----

double Time() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Nanoseconds for one of `times` calls: the median of several rounds.
double Measure(unsigned times, const std::function<void(unsigned)> &call, unsigned rounds = 15) {
    std::vector<double> samples;
    for (unsigned round = 0; round <= rounds; ++round) {
        const double start = Time();
        for (unsigned i = 0; i < times; ++i) {
            call(i);
        }
        samples.push_back((Time() - start) / times);
    }
    samples.erase(samples.begin()); // it warmed up
    std::nth_element(samples.begin(), samples.begin() + rounds / 2, samples.end());
    return samples[rounds / 2];
}

// ---- Contestants ----

class Engine {
public:
    explicit Engine(const RuleSet &rules) {
        tqDevSDK_Linkage_Config_S config{};
        snprintf(config.acSerial, sizeof config.acSerial, "HUB000001");
        config.uiDelayUnitMs = 1000;
        config.usRunningMax = 64;
        config.usFiredMax = 256;
        config.usHeldMax = 256;
        engine_ = tqDevSDK_Linkage_New(&config, nullptr);
        bytes_ = tqDevSDK_Linkage_SizeOf(&config, &rules.set) - tqDevSDK_Linkage_SizeOf(&config, nullptr);
        Set(rules);
    }
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    ~Engine() { tqDevSDK_Linkage_Free(engine_); }

    void Set(const RuleSet &rules) {
        Need(tqDevSDK_Linkage_SetRules(engine_, &rules.set) == 0, "Setting rules");
    }
    std::size_t Bytes() const { return bytes_; }
    int Happen(const Event &event) { return tqDevSDK_Linkage_Event(engine_, &event, 0, &kNow); }

    // The event, the action that it causes, its end and its result.
    void Serve(const Event &event) {
        tqDevSDK_Linkage_Effect_S effect;
        Need(Happen(event) == 1 && tqDevSDK_Linkage_Next(engine_, &kNow, &effect) == 1 &&
                 tqDevSDK_Linkage_Done(engine_, effect.ullToken, 0, &kNow) == 0 &&
                 tqDevSDK_Linkage_Next(engine_, &kNow, &effect) == 1 &&
                 tqDevSDK_Linkage_Next(engine_, &kNow, &effect) == 0,
             "Carrying out a rule");
    }

private:
    tqDevSDK_Linkage *engine_;
    std::size_t bytes_;
};

// As one would write it without an index; the number of rules that fire.
unsigned Scan(const Rules &rules, const Event &event, const Now &now) {
    unsigned fired = 0;
    const UINT32 minute = now.uiSecondOfDay / 60;
    for (UINT16 u = 0; u < rules.usNum; ++u) {
        for (UINT16 r = 0; r < rules.pstUnit[u].usNum; ++r) {
            const Rule &rule = rules.pstUnit[u].pstRuleUnit[r];
            for (UINT16 e = 0; e < rule.usEvents_Num; ++e) {
                const Event &wanted = rule.pstEvents[e];
                if (wanted.uiDomain != event.uiDomain || wanted.uiCmdId != event.uiCmdId ||
                    strcmp(wanted.acDevId, event.acDevId) != 0 || wanted.ucChannel != event.ucChannel ||
                    wanted.usValue != event.usValue) {
                    continue;
                }
                const UINT32 start = rule.uiStart_hour * 60 + rule.uiStart_min;
                const UINT32 end = rule.uiEnd_hour * 60 + rule.uiEnd_min;
                const bool today = rule.aucWeekDaysEn[now.ucDay - 1] != 0 && minute >= start &&
                                   (rule.ucIsCrossDay != 0 || minute <= end);
                const bool yesterday =
                    rule.ucIsCrossDay != 0 && rule.aucWeekDaysEn[(now.ucDay + 5) % 7] != 0 && minute <= end;
                fired += rule.ucEnable != 0 && (today || yesterday) ? 1 : 0;
                break;
            }
        }
    }
    return fired;
}

std::string ClipsRule(const Rule &rule) {
    char text[512];
    snprintf(text, sizeof text,
             "(defrule rule-%u (event (domain %u) (command %u) (serial \"%s\") (channel %u) (value %u)) "
             "(clock (day ?day) (minute ?minute&:(or (>= ?minute %u) (<= ?minute %u)))) =>)",
             rule.uiRuleId, rule.pstEvents->uiDomain, rule.pstEvents->uiCmdId, rule.pstEvents->acDevId,
             rule.pstEvents->ucChannel, rule.pstEvents->usValue, rule.uiStart_hour * 60 + rule.uiStart_min,
             rule.uiEnd_hour * 60 + rule.uiEnd_min);
    return text;
}

std::string ClipsFact(const Event &event) {
    char text[192];
    snprintf(text, sizeof text, "(event (domain %u) (command %u) (serial \"%s\") (channel %u) (value %u))",
             event.uiDomain, event.uiCmdId, event.acDevId, event.ucChannel, event.usValue);
    return text;
}

double MeasureClips(const RuleSet &rules, const std::vector<Event> &events) {
    void *const engine = ClipsNew(kNow.ucDay, kNow.uiSecondOfDay / 60);
    Need(engine != nullptr, "Starting CLIPS");
    for (const Rule &rule : rules.rules) {
        Need(ClipsBuild(engine, ClipsRule(rule).c_str()) == 1, "Reading a rule");
    }
    std::vector<std::string> facts;
    std::transform(events.begin(), events.begin() + 256, std::back_inserter(facts), ClipsFact);
    const double time = Measure(
        256, [&](unsigned i) { Need(ClipsHappen(engine, facts[i].c_str()) == 1, "Firing in CLIPS"); }, 5);
    ClipsFree(engine);
    return time;
}

// ---- Results ----

struct Row {
    double served, unnamed, set, bytes, scan, clips; // ns, ns, ms, bytes for a rule, ns, ns
};

Row MeasureSize(unsigned size) {
    const RuleSet rules(size);
    const std::vector<Event> events = MakeEvents(rules);
    const std::vector<Event> unknown = MakeEvents(rules, "UNKNOWN");
    Engine engine(rules);
    Row row{};
    row.bytes = static_cast<double>(engine.Bytes()) / size;
    row.set = Measure(
                  1, [&](unsigned) { engine.Set(rules); }, 9) /
              1e6;
    row.served = Measure(4096, [&](unsigned i) { engine.Serve(events[i]); });
    row.unnamed = Measure(4096, [&](unsigned i) { Need(engine.Happen(unknown[i]) == 0, "Doing nothing"); });
    const unsigned scans = std::max(1U, std::min(4096U, 2000000U / size));
    row.scan = Measure(
        scans, [&](unsigned i) { Need(Scan(rules.set, events[i], kNow) == 1, "Scanning"); }, kScanRounds);
    row.clips = size <= kClipsMost ? MeasureClips(rules, events) : 0;
    return row;
}

bool g_broken = false;

void Limit(const char *what, double value, double limit, const char *unit) {
    const bool broken = value > limit;
    g_broken = g_broken || broken;
    printf("%-46s %10.1f %-10s at most %8.0f%s\n", what, value, unit, limit, broken ? " !" : "");
}

// Logarithmic in both directions: 10 to 65,535 rules, 10 ns to 1 ms.
void Plot(const char *path, const std::map<unsigned, Row> &rows) {
    FILE *out = fopen(path, "w");
    Need(out != nullptr, "Writing the plot");
    const auto x = [](double rules) { return 70 + 120 * (log10(rules) - 1); };
    const auto y = [](double time) { return 280 - 50 * (log10(time) - 1); };
    fputs("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 600 330\" font-family=\"sans-serif\" "
          "font-size=\"12\">\n<style>text { fill: #333 } .line { fill: none; stroke-width: 2 } .grid { "
          "stroke: #8884 "
          "} @media (prefers-color-scheme: dark) { text { fill: #ddd } }</style>\n",
          out);
    static const char *const kTimes[] = {"10 ns", "100 ns", "1 µs", "10 µs", "100 µs", "1 ms"};
    for (int i = 0; i < 6; ++i) {
        fprintf(
            out,
            "<path class=\"grid\" d=\"M70 %dh470\"/><text x=\"62\" y=\"%d\" text-anchor=\"end\">%s</text>\n",
            280 - 50 * i, 284 - 50 * i, kTimes[i]);
    }
    for (const unsigned size : kSizes) {
        fprintf(out, "<text x=\"%.0f\" y=\"300\" text-anchor=\"middle\">%u</text>\n", x(size), size);
    }
    fputs("<text x=\"305\" y=\"320\" text-anchor=\"middle\">rules</text>\n", out);
    struct Line {
        const char *name, *color;
        double Row::*value;
    };
    for (const Line &line :
         {Line{"event, carried out", "#1f77d0", &Row::served},
          Line{"event that no rule names", "#2a9d5c", &Row::unnamed},
          Line{"scan over the records", "#888", &Row::scan}, Line{"CLIPS", "#d9662b", &Row::clips}}) {
        fprintf(out, "<path class=\"line\" stroke=\"%s\" d=\"", line.color);
        double last_x = 0;
        double last_y = 0;
        for (const auto &[size, row] : rows) {
            if (row.*line.value > 0) {
                fprintf(out, "%s%.1f %.1f", last_x == 0 ? "M" : "L", x(size), y(row.*line.value));
                last_x = x(size);
                last_y = y(row.*line.value);
            }
        }
        fprintf(out, "\"/><text x=\"%.0f\" y=\"%.0f\" text-anchor=\"end\">%s</text>\n", last_x, last_y - 6,
                line.name);
    }
    fputs("</svg>\n", out);
    Need(fclose(out) == 0, "Writing the plot");
}

} // namespace

int main(int argc, char **argv) {
    const char *plot = nullptr;
    int next = 1;
    if (argc > 2 && strcmp(argv[1], "--plot") == 0) {
        plot = argv[2];
        next = 3;
    }
    std::map<unsigned, Row> rows;
    printf("%8s %14s %14s %12s %14s %14s %14s\n", "rules", "carried out", "nobody's", "SetRules", "heap, B",
           "scan", "CLIPS");
    printf("%8s %14s %14s %12s %14s %14s %14s\n", "", "ns an event", "ns an event", "ms", "a rule",
           "ns an event", "ns an event");
    for (const unsigned size : kSizes) {
        const Row &row = rows[size] = MeasureSize(size);
        printf("%8u %14.0f %14.1f %12.2f %14.1f %14.0f ", size, row.served, row.unnamed, row.set, row.bytes,
               row.scan);
        printf("%14s\n", row.clips > 0 ? std::to_string(std::lround(row.clips)).c_str() : "-");
    }
    printf("\n");
    Limit("event at 10,000 rules, carried out", rows[10000].served, 1000, "ns");
    Limit("the same, to that at 10 rules", rows[10000].served / rows[10].served, 3, "times");
    Limit("event that none of 10,000 rules names", rows[10000].unnamed, 50, "ns");
    Limit("SetRules of 65,535 rules", rows[65535].set, 50, "ms");
    Limit("heap for a rule, of 1,000", rows[1000].bytes, 256, "bytes");
    struct stat library {};
    if (argc > next && stat(argv[next], &library) == 0) {
        Limit("stripped library, 32-bit target", static_cast<double>(library.st_size), 16384, "bytes");
    }
    if (plot != nullptr) {
        Plot(plot, rows);
    }
    if (g_broken) {
        printf("\"!\": above the limit.\n");
    }
    return g_broken ? 1 : 0;
}
