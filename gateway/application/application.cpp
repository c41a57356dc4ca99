// SPDX-License-Identifier: Apache-2.0
// Runs a device application behind the module.
//
// The application links the module, and calls init and fini itself. Both are the gateway's: the program
// exports functions of these names, and a program's symbols come before those of any library. All else the
// application finds in the one module of the process, which was opened first and for everybody: a library
// that is loaded is not loaded again under the same name, and were there a second copy, its symbols would
// come later. The host is the program's own dependency, and so there is one of it, too.
#include "application/application.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <dlfcn.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "application/copy.h"
#include "application/handover.h"
#include "application/heap.h"
#include "lines/records.h"
#include "process.h"
#include "tq_application.h"

namespace tqgateway {
namespace {

using Clock = std::chrono::steady_clock;
using RuntimeInfo = tqDevSDK_SmartControl_runtime_info;
using Message = tqDevSDK_SmartControl_msg_to_dev;
using Rules = tqDevSDK_SmartControl_ConfigRules;
using RuleText = tqDevSDK_SmartControl_Rule_S;
using Signals = tqDevSDK_Smartcontrol_ap_signal_info;

constexpr std::chrono::seconds kStartStopLimit{2};
constexpr std::chrono::milliseconds kLookAgain{500}; // at a call that is overdue
constexpr int kLooksAtStop = 2;                      // until a program that is to stop goes without it

/// The application behind the exported functions and the callbacks, which carry no context.
Application *g_application = nullptr;

thread_local int t_callbacks = 0; // that run on this thread

// A call as the tag of what is lent for it.

constexpr std::uint16_t kQuery = 0x2000;
constexpr std::uint16_t kTypeBits = 0x1FFF;

std::uint16_t TagOf(const Message &message) {
    return static_cast<std::uint16_t>(message.type & kTypeBits);
}

std::uint16_t TagOf(const RuntimeInfo &info) {
    return static_cast<std::uint16_t>((info.type & kTypeBits) | kQuery);
}

template <typename Kind>
std::string TypeName(const Kind *kind) {
    return kind == nullptr ? "of an unknown type" : kind->name;
}

std::string CallName(std::uint16_t tag) {
    const int type = tag & kTypeBits;
    return (tag & kQuery) != 0 ? "on_get_runtime_info " + TypeName(FindQuery(type))
                               : "recv_msg " + TypeName(FindMessage(type));
}

int ReceiveMessage(Message *message) {
    return Guarded([&] { return g_application->Receive(*message); });
}

int GetRuntimeInfo(RuntimeInfo *info) {
    return Guarded([&] { return g_application->Answer(*info); });
}

template <typename Function>
void Resolve(void *library, const std::string &path, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
        throw std::runtime_error(path + ": it offers no function " + name + ", see tq_application.h");
    }
}

bool StopIsPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGINT) == 1 || sigismember(&pending, SIGTERM) == 1;
}

} // namespace

/// Lists a call while it runs.
class Application::Running {
public:
    Running(Application &application, const std::string &name, bool callback)
        : application_(application), callback_(callback) {
        const auto limit = callback ? std::chrono::milliseconds(application.options_.callback_limit)
                                    : std::chrono::milliseconds(kStartStopLimit);
        const std::lock_guard lock(application_.calls_mutex_);
        call_ = application_.calls_.insert(application_.calls_.end(),
                                           {name, Clock::now() + limit, callback, false});
        application_.CheckAt(call_->deadline);
        t_callbacks += callback_ ? 1 : 0;
    }

    ~Running() {
        t_callbacks -= callback_ ? 1 : 0;
        const std::lock_guard lock(application_.calls_mutex_);
        application_.calls_.erase(call_);
    }

    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

private:
    Application &application_;
    bool callback_;
    std::list<Call>::iterator call_;
};

/// Calls a function of the application; -1 when an exception leaves it.
template <typename Function>
int Application::Into(const std::string &name, bool callback, Function function) {
    int result = -1;
    {
        const Running running(*this, name, callback);
        try {
            result = function();
        } catch (const std::exception &error) {
            Tell("exception", name + ": an exception left it: " + error.what());
        } catch (...) {
            Tell("exception", name + ": an exception left it");
        }
    }
    TellFaults();
    return result;
}

// ---- Start and stop. ----

Application::~Application() {
    g_application = nullptr; // its library stays, with exit handlers that may call fini
}

void Application::Load() {
    if (start_ != nullptr) {
        return;
    }
    WatchHeap();
    // A file, never a name to search for.
    const std::string path =
        options_.path.find('/') == std::string::npos ? "./" + options_.path : options_.path;
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    Resolve(library, options_.path, "tq_application_stop", stop_);
    Resolve(library, options_.path, "tq_application_start", start_);
}

void Application::Start(const Module &module, Output &output) {
    module_ = module;
    output_ = &output;
    g_application = this;
    end_ = FileDescriptor(eventfd(0, EFD_CLOEXEC));
    timer_ = FileDescriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (end_.Get() < 0 || timer_.Get() < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot watch the application");
    }
    watch_ = std::thread([this] { Watch(); });

    Load();
    const int result =
        Into("tq_application_start", false, [&] { return start_(options_.configuration.c_str()); });
    if (result != 0) {
        throw std::runtime_error("tq_application_start failed: " + std::to_string(result));
    }
    started_ = true;
    if (!initialised_) {
        throw std::runtime_error(
            "tq_application_start did not initialise the module: tqDevSDK_SmartControl_init was not called");
    }
}

void Application::Stop() noexcept {
    Guarded([&] {
        if (std::exchange(started_, false)) {
            if (const int result = Into("tq_application_stop", false, stop_); result != 0) {
                Tell("lifecycle", "tq_application_stop returned " + std::to_string(result));
            }
        }
        if (initialised_) {
            Tell("lifecycle", "the application left the module initialised: it did not call "
                              "tqDevSDK_SmartControl_fini");
        }
        return 0;
    });
    if (std::exchange(initialised_, false)) {
        module_.fini();
    }
    if (watch_.joinable()) {
        eventfd_write(end_.Get(), 1);
        watch_.join();
    }
    const std::lock_guard lock(telling_);
    output_ = nullptr;
}

bool Application::MayChangeLifecycle(const char *function) {
    if (t_callbacks > 0) {
        Tell("lifecycle", std::string(function) + " is called in a callback, and refused");
        return false;
    }
    std::string other;
    {
        const std::lock_guard lock(calls_mutex_);
        const auto call =
            std::find_if(calls_.begin(), calls_.end(), [](const Call &row) { return row.callback; });
        other = call == calls_.end() ? "" : call->name;
    }
    if (!other.empty()) {
        Tell("lifecycle", std::string(function) + " is called while " + other + " runs on another thread");
    }
    return true;
}

int Application::Init(const tqDevSDK_SmartControl_init_info *info) {
    if (!MayChangeLifecycle("tqDevSDK_SmartControl_init")) {
        return -1;
    }
    if (initialised_ || info == nullptr) {
        return module_.init(info);
    }
    callbacks_ = info->cb;
    initialised_ = true; // a failed init is undone by fini, too
    tqDevSDK_SmartControl_init_info between = *info;
    between.cb.recv_msg = callbacks_.recv_msg == nullptr ? nullptr : ReceiveMessage;
    between.cb.on_get_runtime_info = callbacks_.on_get_runtime_info == nullptr ? nullptr : GetRuntimeInfo;
    return module_.init(&between);
}

int Application::Fini() {
    if (!MayChangeLifecycle("tqDevSDK_SmartControl_fini")) {
        return -1;
    }
    initialised_ = false;
    return module_.fini();
}

// ---- The callbacks. ----

int Application::Receive(const Message &message) {
    Show(DeviceLine(message));
    const std::uint16_t tag = TagOf(message);
    const std::string name = CallName(tag);
    const LentCopy lent(tag, message);
    const int result = Into(name, true, [&] { return callbacks_.recv_msg(&lent.As<Message>()); });
    if (const std::string where = lent.Written(); !where.empty()) {
        Tell("write", name + ": it wrote into what it is lent: " + where);
    }
    return result;
}

int Application::Answer(RuntimeInfo &info) {
    const std::uint16_t tag = TagOf(info);
    const std::string name = CallName(tag);
    const LentCopy lent(tag, info);
    auto &question = lent.As<RuntimeInfo>();
    const int result = Into(name, true, [&] { return callbacks_.on_get_runtime_info(&question); });
    if (info.type != TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES &&
        question.data != lent.Was(question).data) {
        Tell("write", name + ": it replaced data, whose record it is to fill");
        return -1;
    }
    return TakeAnswer(name, lent, info) ? result : -1;
}

/// Copies what was filled into the module's records; false, with nothing copied, when it is no good.
bool Application::TakeAnswer(const std::string &name, const LentCopy &lent, RuntimeInfo &info) {
    const RuntimeInfo &filled = lent.As<RuntimeInfo>();
    switch (info.type) {
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES: {
        HandOver given;
        if (!Take(name, given, given.Rules(reinterpret_cast<const Rules *>(filled.data)))) {
            return false;
        }
        info.data = filled.data;
        return true;
    }
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES:
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES: {
        HandOver given;
        if (!Take(name, given, given.Text(As<RuleText>(filled.data).rule))) {
            return false;
        }
        As<RuleText>(info.data) = As<RuleText>(filled.data);
        return true;
    }
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC:
        return TakeSignals(name, lent, As<Signals>(filled.data), As<Signals>(info.data));
    default:
        if (const QueryKind *kind = FindQuery(info.type)) {
            memcpy(info.data, filled.data, kind->size);
        }
        return true;
    }
}

/// Makes what was handed over the module's, unless there is a problem with it.
bool Application::Take(const std::string &name, HandOver &given, const std::string &problem) {
    if (!problem.empty()) {
        Tell("memory", name + ": " + problem);
        given.Release();
        return false;
    }
    given.Accept();
    return true;
}

bool Application::TakeSignals(const std::string &name, const LentCopy &lent, const Signals &filled,
                              Signals &signals) {
    if (filled.ap_signal_result != lent.Was(filled).ap_signal_result || filled.num > signals.num) {
        Tell("write", name + ": it replaced or lengthened the list, whose entries it is to fill");
        return false;
    }
    memcpy(signals.ap_signal_result, filled.ap_signal_result,
           static_cast<std::size_t>(signals.num) * sizeof *signals.ap_signal_result);
    signals.num = filled.num;
    return true;
}

// ---- Telling. ----

void Application::Show(const Json &line) {
    const std::lock_guard lock(telling_);
    if (output_ != nullptr) {
        output_->Show(line);
    }
}

void Application::Tell(const char *misuse, const std::string &text) {
    ++misuses_;
    Show({{"misuse", misuse}, {"text", text}});
}

void Application::TellFaults() {
    const std::lock_guard lock(telling_); // whoever takes a fault tells it before anybody goes on
    while (const std::optional<LentFault> fault = NextLentFault()) {
        if (fault->beyond) {
            Tell("beyond", CallName(fault->tag) + ": it used memory behind what it is lent");
        } else {
            Tell("late_use", CallName(fault->tag) + ": it used what was lent to it after it had returned");
        }
    }
}

// ---- The watch: tells what happens outside of calls, and of calls that do not end. ----

void Application::Watch() {
    pollfd waiting[] = {{end_.Get(), POLLIN, 0}, {LentFaultsFd(), POLLIN, 0}, {timer_.Get(), POLLIN, 0}};
    while (waiting[0].revents == 0) {
        if (poll(waiting, std::size(waiting), -1) < 0) {
            continue;
        }
        TellFaults();
        std::uint64_t expirations = 0;
        if (read(timer_.Get(), &expirations, sizeof expirations) > 0) {
            CheckCalls();
        }
    }
}

/// Has the calls checked no later than at this time. To be called with the lock.
void Application::CheckAt(Clock::time_point time) {
    if (time >= next_check_) {
        return;
    }
    next_check_ = time;
    const std::chrono::nanoseconds wait = std::max(time - Clock::now(), Clock::duration(1));
    itimerspec when{};
    when.it_value.tv_sec = static_cast<time_t>(wait.count() / 1'000'000'000);
    when.it_value.tv_nsec = static_cast<long>(wait.count() % 1'000'000'000);
    timerfd_settime(timer_.Get(), 0, &when, nullptr);
}

void Application::CheckCalls() {
    std::vector<std::string> slow;
    std::string stuck;
    {
        const std::lock_guard lock(calls_mutex_);
        const auto now = Clock::now();
        next_check_ = Clock::time_point::max();
        for (Call &call : calls_) {
            if (!call.overdue && call.deadline <= now) {
                call.overdue = true;
                slow.insert(slow.end(), call.callback ? 1 : 0, call.name);
            }
            stuck = call.overdue ? call.name : stuck;
            CheckAt(call.overdue ? now + kLookAgain : call.deadline);
        }
    }
    for (const std::string &name : slow) {
        Tell("slow", name + ": it has not returned after " + std::to_string(options_.callback_limit) +
                         " ms, and a thread of the SDK waits");
    }
    looks_at_stop_ = !stuck.empty() && StopIsPending() ? looks_at_stop_ + 1 : 0;
    if (looks_at_stop_ > kLooksAtStop) {
        Say(stuck + " does not return; stopped without it");
        _exit(EXIT_FAILURE);
    }
}

Module LoadWith(const std::string &path, Application &application) {
    Module module = LoadModule(path);
    module.application = application.IsGiven() ? &application : nullptr;
    return module;
}

} // namespace tqgateway

int tqDevSDK_SmartControl_init(const tqDevSDK_SmartControl_init_info *info) {
    return tqgateway::g_application == nullptr ? -1 : tqgateway::g_application->Init(info);
}

int tqDevSDK_SmartControl_fini(void) {
    return tqgateway::g_application == nullptr ? 0 : tqgateway::g_application->Fini();
}
