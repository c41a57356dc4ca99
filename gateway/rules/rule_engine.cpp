// SPDX-License-Identifier: Apache-2.0
// The engine's surroundings: what goes in, what comes of it, and why.
#include "rules/rule_engine.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>
#include <utility>

#include <sys/timerfd.h>

#include <nlohmann/json.hpp>

#include "lines/records.h"
#include "rules/rules.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Statistics = tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S;

constexpr std::size_t kKnownTokens = 65536; // of the actions handed out last

/// The counters that run on; a post has what they grew by.
constexpr UINT32 Statistics::*kCounters[] = {&Statistics::uiSelfEvtCnt,    &Statistics::uiLanEvtCnt,
                                             &Statistics::uiSelfActCnt,    &Statistics::uiLanActSuccCnt,
                                             &Statistics::uiLanActFailCnt, &Statistics::uiUndoActCnt,
                                             &Statistics::uiSelfActRetCnt, &Statistics::uiLanActRetCnt};

/// Throws LineError when the device has none that rules could name.
void CopyDeviceSerial(char (&field)[32]) {
    const std::string serial = tqhost::CurrentSettings().device_info["dev_subserial"];
    if (serial.empty() || serial.size() >= sizeof field) {
        throw LineError("linkage.serial: missing, and the device's own has not 1 to 31 bytes");
    }
    serial.copy(field, sizeof field);
}

} // namespace

RuleEngine::RuleEngine(const Module &module, Output &output)
    : module_(module), output_(output), timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (timer_.Get() < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a timer");
    }
}

// ---- What goes in. ----

void RuleEngine::Configure(const Json &json) {
    if (json.is_null()) {
        engine_.reset();
        config_.reset();
        ArmTimer();
        return;
    }
    LinkageConfig config = ReadLinkageConfig(ObjectReader(json, "linkage"), config_ ? &*config_ : nullptr);
    if (config.engine.acSerial[0] == '\0') {
        CopyDeviceSerial(config.engine.acSerial);
    }
    const bool restart = !engine_ || json.size() > 1 || !json.contains("auto_done");
    if (restart) {
        CarryOutDue();
        engine_ = MakeEngine(config);
        shown_ = 0;
        shown_lines_.clear();
        tokens_.clear();
        posted_ = {};
        period_start_ = clock_.LogTime();
    }
    config_ = config;
    if (restart && rules_) {
        ShowRules();
    }
    CarryOutDue();
}

/// An engine with the hub's rules and members, and with what waits in the present one.
LinkageEngine RuleEngine::MakeEngine(const LinkageConfig &config) const {
    if (members_.count(FieldText(config.engine.acSerial)) != 0) {
        throw LineError("linkage.serial: expected another than that of a member that can be reached");
    }
    if (members_.size() > config.engine.usMemberMax) {
        throw LineError("linkage.member_max: expected at least " + std::to_string(members_.size()) +
                        ", as can be reached");
    }
    int reason = TQDEVSDK_LINKAGE_REASON_NONE;
    LinkageEngine engine(tqDevSDK_Linkage_New(&config.engine, &reason));
    if (!engine) {
        throw LineError(std::string("linkage: ") + tqDevSDK_Linkage_ReasonText(reason));
    }
    for (const std::string &member : members_) {
        tqDevSDK_Linkage_SetMember(engine.get(), member.c_str(), 1);
    }
    if (rules_ && tqDevSDK_Linkage_SetRules(engine.get(), rules_.get()) != 0) {
        throw LineError(std::string("linkage: ") +
                        tqDevSDK_Linkage_ReasonText(tqDevSDK_Linkage_LastReason(engine.get())));
    }
    if (engine_) {
        MoveWaiting(*engine);
    }
    return engine;
}

void RuleEngine::MoveWaiting(tqDevSDK_Linkage &engine) const {
    const auto now = Now();
    std::vector<tqDevSDK_Linkage_Waiting_S> waiting(config_->engine.usRunningMax);
    const auto num = static_cast<UINT32>(
        tqDevSDK_Linkage_SaveWaiting(engine_.get(), &now, waiting.data(), config_->engine.usRunningMax));
    if (tqDevSDK_Linkage_LoadWaiting(&engine, waiting.data(), num, &now) < 0) {
        throw LineError("linkage.running_max: expected at least " + std::to_string(num) + ", as wait");
    }
}

bool RuleEngine::Take(SharedRules rules) {
    if (engine_ && tqDevSDK_Linkage_SetRules(engine_.get(), rules.get()) != 0) {
        return false;
    }
    rules_ = std::move(rules);
    names_.clear();
    ForEachRule(*rules_, [this](const Rule &rule) {
        const std::string name = FieldText(rule.acRuleName);
        const auto [same_id, added] = names_.emplace(rule.uiRuleId, name);
        if (!added && same_id->second != name) {
            same_id->second = std::nullopt;
        }
    });
    if (engine_) {
        ShowNew();
        ShowRules();
        ArmTimer();
    }
    return true;
}

void RuleEngine::Event(const RuleEvent &event, std::uint64_t token) {
    Require("event");
    const std::uint64_t cause = EngineToken(token, "event.token");
    CarryOutDue();
    const auto now = Now();
    if (tqDevSDK_Linkage_Event(engine_.get(), &event, cause, &now) < 0) {
        Refuse("event");
    }
    if (!ShowNew()) {
        ShowNearMisses(event);
    }
    CarryOutDue();
}

void RuleEngine::SetMembers(const std::vector<std::pair<std::string, bool>> &members) {
    Require("members");
    std::set<std::string> reachable = members_;
    for (const auto &[serial, is_reachable] : members) {
        if (serial.empty() || serial == FieldText(config_->engine.acSerial)) {
            throw LineError("members." + serial + ": expected the serial of another device");
        }
        if (is_reachable) {
            reachable.insert(serial);
        } else {
            reachable.erase(serial);
        }
    }
    if (reachable.size() > config_->engine.usMemberMax) {
        throw LineError("members: expected at most " + std::to_string(config_->engine.usMemberMax) +
                        " that can be reached, as member_max says");
    }
    CarryOutDue();
    for (const bool come : {false, true}) { // those that go make room for those that come
        for (const auto &[serial, is_reachable] : members) {
            if (is_reachable == come) {
                tqDevSDK_Linkage_SetMember(engine_.get(), serial.c_str(), come ? 1 : 0);
            }
        }
    }
    members_ = std::move(reachable);
}

void RuleEngine::Done(std::uint64_t token, int result) {
    Require("done");
    const std::uint64_t engine_token = EngineToken(token, "done.token");
    const auto now = Now();
    if (engine_token == 0 || tqDevSDK_Linkage_Done(engine_.get(), engine_token, result, &now) != 0) {
        throw LineError("done.token: expected that of an action that runs");
    }
    CarryOutDue();
}

void RuleEngine::SetTime(std::optional<CivilTime> civil) {
    const auto now = static_cast<UINT32>(civil.value_or(0));
    const bool was_set = period_start_ != 0;
    if (!clock_.IsVirtual() || !was_set || now < period_start_) {
        period_start_ = now; // a period begins neither in another time nor behind its end
    }
    clock_.Set(civil);
    CarryOutDue();
}

void RuleEngine::Advance(std::uint64_t ms) {
    const ClockTime now = clock_.Now();
    if (now.civil && *now.civil + static_cast<CivilTime>(ms / 1000) > kLastCivil) {
        throw LineError("advance: expected not to pass " + CivilText(kLastCivil));
    }
    if (!clock_.IsVirtual()) {
        SetTime(now.civil); // from here on it stands still
    }
    const std::uint64_t end = clock_.Now().mono_ms + ms;
    CarryOutDue();
    for (;;) {
        const std::uint64_t deadline = tqDevSDK_Linkage_Deadline(engine_.get());
        if (deadline > end) {
            break;
        }
        clock_.MoveTo(deadline);
        CarryOutDue();
    }
    clock_.MoveTo(end);
}

std::uint64_t RuleEngine::UntilNext() const {
    const std::uint64_t deadline = tqDevSDK_Linkage_Deadline(engine_.get());
    if (deadline == UINT64_MAX) {
        throw LineError("advance: no action waits");
    }
    return deadline - std::min(deadline, clock_.Now().mono_ms);
}

tqDevSDK_Linkage_Now_S RuleEngine::Now() const {
    const ClockTime now = clock_.Now();
    tqDevSDK_Linkage_Now_S record{now.mono_ms, 0, 0, 0};
    if (now.civil) {
        record.uiSecondOfDay = SecondOfDay(*now.civil);
        record.ucDay = static_cast<UINT8>((WeekdayOf(*now.civil) - config_->day_1 + 7) % 7 + 1);
        record.ucClockSet = 1;
    }
    return record;
}

void RuleEngine::Require(const char *path) const {
    if (!engine_) {
        throw LineError(std::string(path) +
                        R"(: expected a line {"linkage":{…}} before, which starts the engine)");
    }
}

void RuleEngine::Refuse(const std::string &path) const {
    throw LineError(path + ": " + tqDevSDK_Linkage_ReasonText(tqDevSDK_Linkage_LastReason(engine_.get())));
}

/// The engine's token for one of ours, which count the actions from 1; 0 stays 0.
std::uint64_t RuleEngine::EngineToken(std::uint64_t token, const std::string &path) const {
    if (token == 0) {
        return 0;
    }
    const std::uint64_t age = handed_out_ - token; // huge for those that are yet to come
    if (age >= tokens_.size()) {
        throw LineError(path + ": expected that of an action that was handed out");
    }
    return tokens_[tokens_.size() - 1 - static_cast<std::size_t>(age)];
}

// ---- What comes of it. ----

void RuleEngine::CarryOutDue() {
    if (engine_) {
        ShowNew();
        for (;;) {
            const auto now = Now();
            tqDevSDK_Linkage_Effect_S effect;
            if (tqDevSDK_Linkage_Next(engine_.get(), &now, &effect) != 1) {
                break;
            }
            CarryOut(effect);
        }
    }
    ArmTimer();
}

void RuleEngine::CarryOut(const tqDevSDK_Linkage_Effect_S &effect) {
    if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_UNDONE) {
        // The record is the engine's until its next call.
        const auto &record = *effect.unWhat.pstUndone;
        const auto size = static_cast<UINT32>(sizeof record + record.usNum * sizeof record.astUndoneActs[0]);
        const auto *bytes = reinterpret_cast<const char *>(&record);
        std::vector<char> copy(bytes, bytes + size);
        ShowNew();
        Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, copy.data(), size, effect.uiRuleId);
        return;
    }
    if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_RESULT) {
        auto result = effect.unWhat.stResult;
        Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT, &result, sizeof result, effect.uiRuleId);
        return;
    }
    tokens_.push_back(effect.ullToken);
    ++handed_out_;
    if (tokens_.size() > kKnownTokens) {
        tokens_.pop_front();
    }
    ShowNew(&effect);
    if (config_->auto_done) {
        const auto now = Now();
        tqDevSDK_Linkage_Done(engine_.get(), effect.ullToken, *config_->auto_done, &now);
        ShowNew();
    }
}

void RuleEngine::Report(int type, void *record, UINT32 size, UINT32 rule) {
    const tqDevSDK_SmartControl_Msg2Server_S message = {type, record, size};
    if (const int result = module_.msg_to_server(&message); result != 0) {
        Show({{"linkage", "unreported"},
              {"rule", rule},
              {"text",
               "rule " + std::to_string(rule) + " could not be reported: result " + std::to_string(result)}});
    }
}

void RuleEngine::ArmTimer() {
    itimerspec timer{};
    const std::uint64_t deadline = tqDevSDK_Linkage_Deadline(engine_.get());
    if (!clock_.IsVirtual() && deadline != UINT64_MAX) {
        const std::uint64_t now = clock_.Now().mono_ms;
        const std::uint64_t wait = deadline > now ? deadline - now : 0;
        timer.it_value.tv_sec = static_cast<time_t>(wait / 1000);
        timer.it_value.tv_nsec = static_cast<long>(wait % 1000 * 1'000'000 + 1); // 0 would disarm it
    }
    timerfd_settime(timer_.Get(), 0, &timer, nullptr);
}

int RuleEngine::PostStatistics() {
    Require("from");
    Statistics now{};
    tqDevSDK_Linkage_Statistics(engine_.get(), &now);
    tqDevSDK_SmartControl_DCLogParam_S param{};
    strcpy(param.acSystemName, "device_lan_smart_center_statistics");
    param.uiStartTime_sec = period_start_;
    param.uiEndTime_sec = clock_.LogTime();
    memcpy(param.acDevId, config_->engine.acSerial, sizeof param.acDevId);
    param.uiLog_Seq = posts_;
    Statistics &grown = param.unPrivPara.unLanLinkPriv.stCentStatis;
    grown = now;
    for (const auto counter : kCounters) {
        grown.*counter -= posted_.*counter;
    }
    const tqDevSDK_SmartControl_DclogMsg_S message = {tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, &param,
                                                      sizeof param};
    const int result = module_.push_dclog(&message);
    if (result == 0) {
        posted_ = now;
        period_start_ = param.uiEndTime_sec;
        ++posts_;
    }
    return result;
}

} // namespace tqgateway
