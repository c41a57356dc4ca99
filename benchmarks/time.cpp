// SPDX-License-Identifier: Apache-2.0
// Times, for tq_bench. All contestants take turns, in an order that changes from round to round, so that
// what one leaves behind in the heap and the caches meets all others alike. The median of the rounds counts.
#include <algorithm>
#include <chrono>

#include "bench.h"

namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::duration<double, std::nano>;

constexpr Nanoseconds kBatch = std::chrono::microseconds(500); // at least, so that the clock is cheap
constexpr Nanoseconds kCase = std::chrono::milliseconds(300);  // at least, in one process
constexpr std::size_t kFewestRounds = 5;

Nanoseconds RunBatch(const Contestant &contestant, unsigned messages) {
    if (contestant.prepare) {
        contestant.prepare(messages);
    }
    const auto start = Clock::now();
    for (unsigned i = 0; i < messages; ++i) {
        contestant.run();
    }
    return Clock::now() - start;
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
    const auto start = Clock::now();
    for (std::size_t round = 0; round < kFewestRounds || Clock::now() - start < kCase; ++round) {
        for (std::size_t turn = 0; turn < count; ++turn) {
            const std::size_t index = (round % 2 == 0 ? round + turn : round + count - turn) % count;
            samples[index].push_back(RunBatch(contestants[index], messages).count() / messages);
        }
    }

    std::vector<Figures> figures;
    for (const std::vector<double> &sample : samples) {
        figures.push_back({{"ns", Median(sample)}});
    }
    return figures;
}
