// SPDX-License-Identifier: Apache-2.0
/// @file status_thread.h  Status passes at intervals.
#ifndef TQGATEWAY_STATUS_THREAD_H
#define TQGATEWAY_STATUS_THREAD_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "gateway.h"

namespace tqgateway {

/// A status pass every so many seconds, on a thread of its own, until destruction; none for 0.
class StatusThread {
public:
    StatusThread(Gateway &gateway, double seconds);
    ~StatusThread();
    StatusThread(const StatusThread &) = delete;
    StatusThread &operator=(const StatusThread &) = delete;

private:
    std::mutex mutex_;
    std::condition_variable wakeup_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace tqgateway

#endif
