// SPDX-License-Identifier: Apache-2.0
// What a run found: tables, the plot, and whether it is within the limits.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "bench.h"

namespace {

// A figure that was measured, else NAN.
double Get(const Results &results, const std::string &name, const char *contestant, const char *figure) {
    const auto found = results.find(name);
    if (found == results.end()) {
        return NAN;
    }
    const auto figures = found->second.find(contestant);
    if (figures == found->second.end()) {
        return NAN;
    }
    const auto value = figures->second.find(figure);
    return value == figures->second.end() ? NAN : value->second;
}

// A number in a column; nothing for NAN.
void Column(int width, int decimals, double value) {
    if (std::isnan(value)) {
        printf(" %*s", width, "");
    } else {
        printf(" %*.*f", width, decimals, value);
    }
}

void Ratio(double ratio, double limit, bool broken) {
    Column(7, 2, ratio);
    Column(6, 2, limit == 0 ? NAN : limit);
    printf(" %s", broken ? "!" : " ");
}

constexpr const char *kContestants[] = {"module", "floor", "nlohmann", "RapidJSON"};

// One line for each size: a figure for one rule of each contestant.
void PrintForOneRule(const Results &results, const Cases &cases, const std::string &prefix,
                     const char *figure, int decimals) {
    for (const Case &item : cases) {
        if (results.count(item.name) == 0 || item.name.find(prefix) != 0) {
            continue;
        }
        printf("%-22s", item.name.c_str());
        for (const char *contestant : kContestants) {
            Column(10, decimals, Get(results, item.name, contestant, figure) / item.rules);
        }
        // Times compare best within a round.
        const bool timed = strcmp(figure, "ns") == 0;
        const char *compared = timed ? "ratio" : figure;
        const double module = Get(results, item.name, "module", compared);
        Ratio(timed ? module : module / Get(results, item.name, "floor", figure), timed ? item.limit : 0,
              timed && IsBroken(item, results.at(item.name)));
        Column(9, 2, Get(results, item.name, "nlohmann", compared) / module);
        Column(9, 2, Get(results, item.name, "RapidJSON", compared) / module);
        printf("\n");
    }
}

// ---- Plot ----

struct Panel {
    const char *prefix;
    const char *title;
    double left;
};

constexpr Panel kPanels[] = {{"rules parse ", "Parse", 70}, {"rules generate ", "Generate", 470}};
constexpr double kTop = 70;
constexpr double kWidth = 330;
constexpr double kHeight = 260;

double X(const Panel &panel, unsigned rules) {
    return panel.left + kWidth * std::log10(rules) / std::log10(100000.0);
}

double Y(double ns, double most) {
    return kTop + kHeight * (1 - ns / most);
}

// The next 1, 2 or 5 times a power of ten.
double RoundUp(double value) {
    const double power = std::pow(10, std::floor(std::log10(value)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (value <= step * power) {
            return step * power;
        }
    }
    return 10 * power;
}

void PlotAxes(FILE *out, const Panel &panel, double most) {
    fprintf(out, "<text class=\"title\" x=\"%g\" y=\"%g\">%s</text>\n", panel.left, kTop - 14, panel.title);
    for (int i = 0; i <= 5; ++i) {
        const double ns = most * i / 5;
        fprintf(out,
                "<path class=\"grid\" d=\"M%g %.1fh%g\"/><text class=\"end\" x=\"%g\" y=\"%.1f\">%g</text>\n",
                panel.left, Y(ns, most), kWidth, panel.left - 8, Y(ns, most) + 4, ns / 1000);
    }
    static const char *const kTicks[] = {"1", "10", "100", "1,000", "10,000", "100,000"};
    unsigned rules = 1;
    for (const char *tick : kTicks) {
        fprintf(out, "<text class=\"middle\" x=\"%.1f\" y=\"%g\">%s</text>\n", X(panel, rules),
                kTop + kHeight + 18, tick);
        rules *= 10;
    }
    fprintf(out, "<text class=\"middle\" x=\"%g\" y=\"%g\">rules in the set</text>\n",
            panel.left + kWidth / 2, kTop + kHeight + 38);
}

void PlotPanel(FILE *out, const Panel &panel, const Cases &cases, const Results &results) {
    double most = 0;
    for (const Case &item : cases) {
        for (const char *contestant : kContestants) {
            if (item.name.find(panel.prefix) == 0) {
                most = std::max(most, Get(results, item.name, contestant, "ns") / item.rules);
            }
        }
    }
    most = RoundUp(most);
    PlotAxes(out, panel, most);
    for (std::size_t i = 0; i < std::size(kContestants); ++i) {
        std::string line;
        std::string dots;
        for (const Case &item : cases) {
            if (item.name.find(panel.prefix) != 0) {
                continue;
            }
            char point[64];
            const double x = X(panel, item.rules);
            const double y = Y(Get(results, item.name, kContestants[i], "ns") / item.rules, most);
            snprintf(point, sizeof point, "%s%.1f %.1f", line.empty() ? "M" : "L", x, y);
            line += point;
            snprintf(point, sizeof point, "M%.1f %.1fh0", x, y);
            dots += point;
        }
        fprintf(out, "<path class=\"line c%zu\" d=\"%s\"/><path class=\"dot c%zu\" d=\"%s\"/>\n", i,
                line.c_str(), i, dots.c_str());
    }
}

constexpr const char *kHead =
    R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 830 380" role="img" font-family="sans-serif" font-size="12">
<title>Microseconds per rule against the number of rules</title>
<style>
text { fill: #333 } .title { font-size: 14px; font-weight: bold } .end { text-anchor: end } .middle { text-anchor: middle }
.grid { stroke: #8884; fill: none } .line { fill: none; stroke-width: 2 } .dot { stroke-width: 7; stroke-linecap: round }
.c0 { stroke: #1f77d0 } .c1 { stroke: #888 } .line.c1 { stroke-dasharray: 6 3 } .c2 { stroke: #d9662b } .c3 { stroke: #2a9d5c }
@media (prefers-color-scheme: dark) { text { fill: #ddd } .c0 { stroke: #5aa9f5 } .c1 { stroke: #aaa } }
</style>
)";

} // namespace

bool IsBroken(const Case &item, const Measured &measured) {
    const auto ratio = [&measured](const char *contestant) { return measured.at(contestant).at("ratio"); };
    return (item.limit != 0 && ratio("module") > item.limit) ||
           (item.nlohmann != 0 && ratio("nlohmann") < item.nlohmann * ratio("module"));
}

void PrintMessages(const Results &results) {
    bool any = false;
    for (const Case &item : MessageCases()) {
        if (results.count(item.name) == 0) {
            continue;
        }
        if (!any) {
            printf("%-31s %9s %9s %7s %6s    %11s   %15s\n", "", "module", "floor", "", "", "allocations",
                   "peak heap, B");
            printf("%-31s %9s %9s %7s %6s   %6s %6s  %7s %7s\n", "message", "ns", "ns", "ratio", "limit",
                   "module", "floor", "module", "floor");
            any = true;
        }
        const auto get = [&](const char *contestant, const char *figure) {
            return Get(results, item.name, contestant, figure);
        };
        printf("%-31s", item.name.c_str());
        const char *measured = std::isnan(get("host", "ns")) ? "module" : "host";
        Column(9, 0, get(measured, "ns"));
        Column(9, 0, get("floor", "ns"));
        Ratio(get("module", "ratio"), item.limit, IsBroken(item, results.at(item.name)));
        Column(6, 0, get(measured, "allocations"));
        Column(6, 0, get("floor", "allocations"));
        printf(" ");
        Column(7, 0, get(measured, "peak"));
        Column(7, 0, get("floor", "peak"));
        printf("\n");
    }
    if (any) {
        printf("\nThe module's host functions are empty here. \"host\" lines: what the stand-in's own cost,\n"
               "which is in no other line. No floor: the message needs neither library. \"!\": beyond a "
               "limit.\n\n");
    }
}

void PrintRules(const Results &results) {
    const Cases cases = RuleCases();
    if (std::none_of(cases.begin(), cases.end(),
                     [&](const Case &item) { return results.count(item.name) != 0; })) {
        return;
    }
    struct Table {
        const char *title;
        const char *figure;
        int decimals;
    };
    for (const Table &table :
         {Table{"ns for one rule", "ns", 0}, Table{"allocations for one rule", "allocations", 2},
          Table{"peak heap for one rule, bytes", "peak", 0}}) {
        printf("%s\n%-22s %10s %10s %10s %10s %7s %6s   %9s %9s\n", table.title, "", kContestants[0],
               kContestants[1], kContestants[2], kContestants[3], "ratio", "limit", "nlohmann/",
               "RapidJSON/");
        PrintForOneRule(results, cases, "rules parse", table.figure, table.decimals);
        PrintForOneRule(results, cases, "rules generate", table.figure, table.decimals);
        printf("\n");
    }
}

bool WritePlot(const char *path, const Results &results) {
    const Cases cases = RuleCases();
    for (const Case &item : cases) {
        if (results.count(item.name) == 0) {
            return false;
        }
    }
    FILE *out = fopen(path, "w");
    if (out == nullptr) {
        return false;
    }
    fputs(kHead, out);
    double x = kPanels[0].left;
    for (std::size_t i = 0; i < std::size(kContestants); ++i) {
        static const char *const kNames[] = {"this module", "bare JSON library", "nlohmann/json",
                                             "RapidJSON"};
        fprintf(out, "<path class=\"line c%zu\" d=\"M%g 24h24\"/><text x=\"%g\" y=\"28\">%s</text>\n", i, x,
                x + 30, kNames[i]);
        x += 160;
    }
    fprintf(
        out,
        "<text transform=\"translate(24 %g) rotate(-90)\" class=\"middle\">microseconds per rule</text>\n",
        kTop + kHeight / 2);
    for (const Panel &panel : kPanels) {
        PlotPanel(out, panel, cases, results);
    }
    fputs("</svg>\n", out);
    return fclose(out) == 0;
}
