// SPDX-License-Identifier: Apache-2.0
// Times, for tq_bench. All contestants take turns, in an order that changes from round to round, so that
// what one leaves behind in the heap and the caches meets all others alike. Times are those of the
// processor, which other programs disturb less. The median of the rounds counts: of the times, and of the
// ratios within each round, since what disturbs lasts longer than a round.
#include <algorithm>
#include <cstring>

#include <time.h>

#include "bench.h"

namespace {

constexpr double kBatch = 0.5e6; // ns at least, so that the clock is cheap
constexpr double kCase = 150e6;  // ns at least, in one process
constexpr std::size_t kFewestRounds = 5;

double Now() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double RunBatch(const Contestant &contestant, unsigned messages) {
    if (contestant.prepare) {
        contestant.prepare(messages);
    }
    FixHeap();
    const double start = Now();
    for (unsigned i = 0; i < messages; ++i) {
        contestant.run();
    }
    FixHeap(); // joining the blocks that it freed is its work, too, whenever it is done
    return Now() - start;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

std::vector<Figures> Measure(const Contestants &contestants) {
    unsigned messages = 1;
    for (const Contestant &contestant : contestants) { // each warms up
        while (RunBatch(contestant, messages) < kBatch) {
            messages *= 2;
        }
    }

    const std::size_t count = contestants.size();
    std::vector<std::vector<double>> samples(count);
    const double start = Now();
    for (std::size_t round = 0; round < kFewestRounds || Now() - start < kCase; ++round) {
        for (std::size_t turn = 0; turn < count; ++turn) {
            const std::size_t index = (round % 2 == 0 ? round + turn : round + count - turn) % count;
            samples[index].push_back(RunBatch(contestants[index], messages) / messages);
        }
    }

    const auto is_floor = [](const Contestant &contestant) { return strcmp(contestant.name, "floor") == 0; };
    const auto floor = std::find_if(contestants.begin(), contestants.end(), is_floor);
    std::vector<Figures> figures;
    for (const std::vector<double> &sample : samples) {
        figures.push_back({{"ns", Median(sample)}});
        if (floor != contestants.end()) {
            std::vector<double> ratios = samples[static_cast<std::size_t>(floor - contestants.begin())];
            std::transform(sample.begin(), sample.end(), ratios.begin(), ratios.begin(), std::divides<>());
            figures.back()["ratio"] = Median(ratios);
        }
    }
    return figures;
}
