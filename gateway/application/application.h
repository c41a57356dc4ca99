// SPDX-License-Identifier: Apache-2.0
/// @file application.h
/// A device application in the place of the virtual hub, with the gateway between its callbacks and the
/// module.
///
/// What it does wrong is told in lines, `{"misuse":"write","text":"recv_msg CONFIG_RULES: …"}`:
///
/// - memory: what it handed over cannot be freed block by block; it counts as a failure of the callback
/// - late_use: it used a lent record after the callback
/// - beyond: it used what lies right behind a lent record
/// - write: it wrote into a lent record, or replaced one that it is to fill
/// - slow: a callback has not returned in time; told while it runs
/// - exception: an exception left a callback, which counts as its failure, -1
/// - lifecycle: init or fini at the wrong time; in a callback it is refused with -1
#ifndef TQGATEWAY_APPLICATION_APPLICATION_H
#define TQGATEWAY_APPLICATION_APPLICATION_H

#include <atomic>
#include <chrono>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "file_descriptor.h"
#include "module.h"
#include "output/output.h"

namespace tqgateway {

class HandOver;
class LentCopy;

struct ApplicationOptions {
    std::string path; ///< Empty: none.
    std::string configuration;
    int callback_limit = 200; ///< Milliseconds that a callback may take.
};

/// One in a process: its callbacks carry no context. Loaded, it stays so.
class Application {
public:
    explicit Application(ApplicationOptions options) : options_(std::move(options)) {}
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    /// False without a path: the virtual hub has its place then.
    bool IsGiven() const { return !options_.path.empty(); }

    /// Loads the application when that is still to be done, and starts it. `module` was loaded before. Throws
    /// std::runtime_error.
    void Start(const Module &module, Output &output);

    /// Stops it, and the module if it did not. It may be started again.
    void Stop() noexcept;

    /// How often it did something wrong.
    std::size_t Misuses() const { return misuses_; }

    // What the application reaches instead of the module's functions.
    int Init(const tqDevSDK_SmartControl_init_info *info);
    int Fini();

    // The callbacks that the module has.
    int Receive(const tqDevSDK_SmartControl_msg_to_dev &message);
    int Answer(tqDevSDK_SmartControl_runtime_info &info);

private:
    /// A call into the application that runs.
    struct Call {
        std::string name;
        std::chrono::steady_clock::time_point deadline;
        bool callback; ///< Has to return in time, and must not call init or fini.
        bool overdue;
    };
    class Running;

    void Load();
    template <typename Function>
    int Into(const std::string &name, bool callback, Function function);
    bool MayChangeLifecycle(const char *function);
    bool TakeAnswer(const std::string &name, const LentCopy &lent, tqDevSDK_SmartControl_runtime_info &info);
    bool Take(const std::string &name, HandOver &given, const std::string &problem);
    bool TakeSignals(const std::string &name, const LentCopy &lent,
                     const tqDevSDK_Smartcontrol_ap_signal_info &filled,
                     tqDevSDK_Smartcontrol_ap_signal_info &signals);

    void Show(const Json &line);
    void Tell(const char *misuse, const std::string &text);
    void TellFaults();
    void Watch();
    void CheckAt(std::chrono::steady_clock::time_point time);
    void CheckCalls();

    const ApplicationOptions options_;
    int (*start_)(const char *configuration) = nullptr;
    int (*stop_)() = nullptr;

    Module module_{};
    bool started_ = false;
    bool initialised_ = false;
    tqDevSDK_SmartControl_callback callbacks_{};

    std::recursive_mutex telling_; ///< Also what is waiting to be told keeps its order.
    Output *output_ = nullptr;     ///< Null when nobody listens.
    std::atomic<std::size_t> misuses_{0};

    std::mutex calls_mutex_;
    std::list<Call> calls_;
    std::chrono::steady_clock::time_point next_check_ = std::chrono::steady_clock::time_point::max();
    FileDescriptor timer_;
    FileDescriptor end_;
    int looks_at_stop_ = 0; ///< That found a call overdue and the program to stop.
    std::thread watch_;
};

/// Loads the module for the application, or for the virtual hub when none is given.
Module LoadWith(const std::string &module, Application &application);

} // namespace tqgateway

#endif
