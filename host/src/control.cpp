// SPDX-License-Identifier: Apache-2.0
// What the control side does to all services alike: observation, failures, device information.
#include <set>

#include "host_state.h"
#include "tqdev_debug.h"

namespace tqhost {
namespace {

struct Host {
    std::mutex mutex;
    State state;
    std::set<std::string> texts; ///< Every device information text ever set: readers keep pointers.
    std::mutex observer_mutex;
    Observer observer;
};

/// Never destroyed: threads may still call while the process exits.
Host &TheHost() {
    static Host *const host = new Host;
    return *host;
}

Failure *FindFailure(State &state, const std::string &function) {
    const auto found = std::find_if(state.failures.begin(), state.failures.end(),
                                    [&](const Failure &failure) { return function == failure.function; });
    return found == state.failures.end() ? nullptr : &*found;
}

} // namespace

Locked::Locked() : lock_(TheHost().mutex), state_(&TheHost().state) {}

void Notify(const Observation &observation) {
    const std::lock_guard<std::mutex> lock(TheHost().observer_mutex);
    if (TheHost().observer) {
        TheHost().observer(observation);
    }
}

int TakeFailure(const char *function) {
    const Locked state;
    Failure *failure = FindFailure(*state, function);
    if (failure == nullptr || failure->times == 0) {
        return 0;
    }
    if (failure->times > 0) {
        --failure->times;
    }
    return failure->code;
}

std::unique_ptr<char[]> ExactCopy(const std::string &text) {
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

void Observe(Observer observer) {
    const std::lock_guard<std::mutex> lock(TheHost().observer_mutex);
    TheHost().observer = std::move(observer);
}

void Reset() {
    SetLogLevel(LOG_NON);
    *Locked() = State();
}

bool CanFail(const std::string &function) {
    const Locked state;
    return FindFailure(*state, function) != nullptr;
}

bool Fail(const std::string &function, int code, int times) {
    const Locked state;
    Failure *failure = FindFailure(*state, function);
    if (failure == nullptr) {
        return false;
    }
    failure->code = code;
    failure->times = times;
    return true;
}

void SetDeviceInfo(const std::string &key, const std::optional<std::string> &text) {
    const Locked state;
    if (text) {
        state->device_info[key] = TheHost().texts.insert(*text).first->c_str();
    } else {
        state->device_info.erase(key);
    }
}

void SetSleepStatus(int status) {
    Locked()->sleep_status = status;
}

void SetDclogEnabled(bool enabled) {
    Locked()->dclog_enabled = enabled;
}

Settings CurrentSettings() {
    const Locked state;
    Settings settings{state->sleep_status, state->dclog_enabled, {}, {}};
    settings.device_info.insert(state->device_info.begin(), state->device_info.end());
    for (const Failure &failure : state->failures) {
        settings.failures[failure.function] = failure.times == 0 ? 0 : failure.code;
    }
    return settings;
}

} // namespace tqhost
