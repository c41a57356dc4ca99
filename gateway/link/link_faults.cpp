// SPDX-License-Identifier: Apache-2.0
// Draws which messages a bad link loses and doubles.
#include "link/link_faults.h"

#include <cstring>

#include <nlohmann/json.hpp>

#include "lines/lines.h"

namespace tqgateway {

void FaultyWay::Set(const LinkFaults &faults, std::uint32_t way) {
    faults_ = faults;
    std::seed_seq seed{faults.seed, way};
    random_.seed(seed);
}

// Both are drawn for each message, so that one share does not move what the other one hits.
int FaultyWay::Copies() {
    const bool lost = Draw(faults_.loss);
    const bool doubled = Draw(faults_.duplicates);
    if (lost) {
        ++lost_;
        return 0;
    }
    doubled_ += doubled ? 1 : 0;
    return doubled ? 2 : 1;
}

bool FaultyWay::Draw(double share) {
    return static_cast<double>(random_()) < share * (1.0 + std::mt19937::max());
}

bool IsFromPlatform(const std::string &line) {
    try {
        const LineKind *kind = KindOf(ParseJson(line));
        return kind != nullptr && std::strcmp(kind->from, "platform") == 0;
    } catch (const LineError &) {
        return false;
    }
}

} // namespace tqgateway
