// SPDX-License-Identifier: Apache-2.0
// The thread that runs status passes, as a device has one.
#include "status_thread.h"

#include <chrono>

namespace tqgateway {

StatusThread::StatusThread(Gateway &gateway, double seconds) {
    if (seconds <= 0) {
        return;
    }
    thread_ = std::thread([this, &gateway, interval = std::chrono::duration<double>(seconds)] {
        std::unique_lock lock(mutex_);
        while (!wakeup_.wait_for(lock, interval, [this] { return stopping_; })) {
            gateway.StatusPass();
        }
    });
}

StatusThread::~StatusThread() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wakeup_.notify_one();
    if (thread_.joinable()) {
        thread_.join();
    }
}

} // namespace tqgateway
