// SPDX-License-Identifier: Apache-2.0
// tq_bench [--plot FILE] [FILTER] measures every case whose name contains FILTER, each in processes of its
// own, and prints tables; it ends with 1 when a case is beyond a limit in three runs. tq_bench --case NAME
// [CONTESTANT...] is such a process; with contestants named, for a profile say, it runs these alone.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <unistd.h>

#include "bench.h"

namespace {

// Smaller cases are measured in several processes, because the places of code and heap, which differ from
// process to process, move the times.
constexpr int kProcesses = 3;
constexpr unsigned kLargeRules = 10000;

Cases AllCases() {
    Cases cases = MessageCases();
    const Cases rules = RuleCases();
    cases.insert(cases.end(), rules.begin(), rules.end());
    return cases;
}

int RunCase(const char *name, const std::vector<std::string> &only) {
    FixHeap();
    // The module writes to the standard output, too: that goes nowhere.
    FILE *out = fdopen(dup(STDOUT_FILENO), "w");
    Need(out != nullptr && freopen("/dev/null", "w", stdout) != nullptr, "setting up the output");
    InitModule();
    for (const Case &item : AllCases()) {
        if (item.name == name) {
            Contestants contestants = item.set_up();
            if (only.empty() && item.rules < kLargeRules) {
                Compare(contestants);
            }
            if (!only.empty()) {
                const auto unwanted = [&](const Contestant &contestant) {
                    return std::find(only.begin(), only.end(), contestant.name) == only.end();
                };
                contestants.erase(std::remove_if(contestants.begin(), contestants.end(), unwanted),
                                  contestants.end());
            }
            const std::vector<Figures> figures = Measure(contestants);
            for (std::size_t i = 0; i < contestants.size(); ++i) {
                for (const auto &[figure, value] : figures[i]) {
                    fprintf(out, "%s %s %.17g\n", contestants[i].name, figure.c_str(), value);
                }
            }
            return fclose(out);
        }
    }
    Need(false, "finding the case");
    return 1;
}

// ---- The driver ----

std::string Folder() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    Need(length > 0, "finding the program");
    const std::string text(path, static_cast<std::size_t>(length));
    return text.substr(0, text.rfind('/'));
}

// All values of each figure of each contestant, from several processes.
using Samples = std::map<std::string, std::map<std::string, std::vector<double>>>;

void StartCase(const std::string &program, const std::string &name, Samples &samples) {
    const std::string command = "'" + program + "' --case '" + name + "'";
    FILE *output = popen(command.c_str(), "r");
    Need(output != nullptr, "starting a process");
    char contestant[64];
    char figure[64];
    double value = 0;
    while (fscanf(output, "%63s %63s %lf", contestant, figure, &value) == 3) {
        samples[contestant][figure].push_back(value);
    }
    Need(pclose(output) == 0, ("measuring " + name).c_str());
}

Measured MeasureCase(const std::string &folder, const Case &item) {
    Samples samples;
    const int processes = item.rules < kLargeRules ? kProcesses : 1;
    for (int i = 0; i < processes; ++i) {
        StartCase(folder + "/tq_bench", item.name, samples);
    }
    StartCase(folder + "/tq_bench_memory", item.name, samples);

    Measured result;
    for (auto &[contestant, figures] : samples) {
        for (auto &[figure, values] : figures) {
            std::sort(values.begin(), values.end());
            result[contestant][figure] = values[values.size() / 2];
        }
    }
    return result;
}

// A machine that others work on now and then shows a case slower than it is.
constexpr int kRunsToBreak = 3;

Measured MeasureWithinLimits(const std::string &folder, const Case &item) {
    fprintf(stderr, "%s ...\n", item.name.c_str());
    Measured measured = MeasureCase(folder, item);
    for (int run = 1; run < kRunsToBreak && IsBroken(item, measured); ++run) {
        fprintf(stderr, "%s: beyond its limit, again ...\n", item.name.c_str());
        measured = MeasureCase(folder, item);
    }
    return measured;
}

int Run(const char *filter, const char *plot) {
    const std::string folder = Folder();
    Results results;
    int broken = 0;
    for (const Case &item : AllCases()) {
        if (item.name.find(filter) != std::string::npos) {
            results[item.name] = MeasureWithinLimits(folder, item);
            broken += IsBroken(item, results[item.name]) ? 1 : 0;
        }
    }
    if (results.empty()) {
        fprintf(stderr, "No case has \"%s\" in its name.\n", filter);
        return 1;
    }
    PrintMessages(results);
    PrintRules(results);
    if (plot != nullptr && !WritePlot(plot, results)) {
        fprintf(stderr, "Could not write %s; it takes a run of all rule sets.\n", plot);
        return 1;
    }
    if (broken != 0) {
        fprintf(stderr, "Beyond a limit in %d runs: %d of %zu cases, marked with \"!\".\n", kRunsToBreak,
                broken, results.size());
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const char *plot = nullptr;
    int next = 1;
    if (argc > 2 && strcmp(argv[1], "--case") == 0) {
        return RunCase(argv[2], {argv + 3, argv + argc});
    }
    if (argc > 2 && strcmp(argv[1], "--plot") == 0) {
        plot = argv[2];
        next = 3;
    }
    if (argc > next + 1 || (argc > next && argv[next][0] == '-')) {
        fprintf(stderr,
                "usage: tq_bench [--plot FILE] [FILTER]\n       tq_bench --case NAME [CONTESTANT...]\n");
        return 2;
    }
    return Run(argc > next ? argv[next] : "", plot);
}
