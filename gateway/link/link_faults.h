// SPDX-License-Identifier: Apache-2.0
/// @file link_faults.h  What a bad link does to what the platform and the device send each other.
#ifndef TQGATEWAY_LINK_LINK_FAULTS_H
#define TQGATEWAY_LINK_LINK_FAULTS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <random>
#include <string>

namespace tqgateway {

struct LinkFaults {
    std::uint32_t seed = 0; ///< The same seed loses and doubles the same ones of the same messages.
    std::chrono::milliseconds delay{0};
    double loss = 0;       ///< The share that is lost, 0 to 1.
    double duplicates = 0; ///< The share, of what is not lost, that comes twice.

    bool Any() const { return delay.count() > 0 || loss > 0 || duplicates > 0; }
};

/// Sets the faults of the link from now on.
using SetLinkFaults = std::function<void(const LinkFaults &)>;

/// One direction of a link with faults, and the numbers of what it did.
class FaultyWay {
public:
    using Clock = std::chrono::steady_clock;

    /// `way` sets the two directions of a link apart, which draw from the same seed.
    void Set(const LinkFaults &faults, std::uint32_t way);

    bool HasFaults() const { return faults_.Any(); }

    /// How often the next message is to arrive: 0, 1 or 2 times.
    int Copies();

    /// When a message that sets out now arrives.
    Clock::time_point Due() const { return Clock::now() + faults_.delay; }

    std::size_t Lost() const { return lost_; }
    std::size_t Doubled() const { return doubled_; }

private:
    bool Draw(double share);

    LinkFaults faults_;
    std::mt19937 random_{0}; // NOLINT(cert-msc32-c,cert-msc51-cpp): alike each time, unless a seed is given
    std::size_t lost_ = 0;
    std::size_t doubled_ = 0;
};

/// Whether a line in is a message of the platform's. Others, such as those that change the hub, are the
/// bench's own and have no faults.
bool IsFromPlatform(const std::string &line);

} // namespace tqgateway

#endif
