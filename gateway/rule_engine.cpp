// SPDX-License-Identifier: Apache-2.0
// The engine's surroundings: what goes in, what comes of it, and why.
#include "rule_engine.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>
#include <utility>

#include <sys/timerfd.h>

#include <nlohmann/json.hpp>

#include "records.h"
#include "trace_line.h"

namespace tqgateway {
namespace {

using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Trace = tqDevSDK_Linkage_Trace_S;
using Statistics = tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S;

constexpr std::size_t kKnownTokens = 65536; // of the actions handed out last

/// The counters that run on; a post has what they grew by.
constexpr UINT32 Statistics::*kCounters[] = {&Statistics::uiSelfEvtCnt,    &Statistics::uiLanEvtCnt,
                                             &Statistics::uiSelfActCnt,    &Statistics::uiLanActSuccCnt,
                                             &Statistics::uiLanActFailCnt, &Statistics::uiUndoActCnt,
                                             &Statistics::uiSelfActRetCnt, &Statistics::uiLanActRetCnt};

/// Calls `visit` with every rule of a set, in its order.
template <typename Visit>
void ForEachRule(const tqDevSDK_SmartControl_ConfigRules &rules, Visit visit) {
    for (UINT32 i = 0; i < rules.usNum; ++i) {
        for (UINT32 j = 0; j < rules.pstUnit[i].usNum; ++j) {
            visit(rules.pstUnit[i].pstRuleUnit[j]);
        }
    }
}

bool Names(const Rule &rule, const std::string &device) {
    return std::any_of(rule.pstEvents, rule.pstEvents + rule.usEvents_Num,
                       [&](const RuleEvent &event) { return FieldText(event.acDevId) == device; });
}

/// Those that would fire first, then those that are held, then those that miss.
bool ComesBefore(const Json &left, const Json &right) {
    const auto rank = [](const Json &line) {
        return line["linkage"] == "fires" ? 0 : line["linkage"] == "held" ? 1 : 2;
    };
    return rank(left) < rank(right);
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
    const LinkageConfig config =
        ReadLinkageConfig(ObjectReader(json, "linkage"), config_ ? &*config_ : nullptr);
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
    ForEachRule(*rules_,
                [this](const Rule &rule) { names_.emplace(rule.uiRuleId, FieldText(rule.acRuleName)); });
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
    if (!clock_.IsVirtual()) {
        period_start_ = static_cast<UINT32>(civil.value_or(0)); // a period does not begin in another time
    }
    clock_.Set(civil);
    CarryOutDue();
}

void RuleEngine::Advance(std::uint64_t ms) {
    const ClockTime now = clock_.Now();
    if (now.civil && *now.civil + static_cast<CivilTime>(ms / 1000) > kLastCivil) {
        throw LineError("advance: expected not to pass " + CivilText(kLastCivil));
    }
    const std::uint64_t end = now.mono_ms + ms;
    clock_.MoveTo(now.mono_ms);
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

// ---- Why. ----

/// The entries of both traces that were not shown yet, in their order.
std::vector<RuleEngine::NewEntry> RuleEngine::NewEntries() const {
    std::vector<NewEntry> entries;
    for (const int ring : {TQDEVSDK_LINKAGE_RING_FIRED, TQDEVSDK_LINKAGE_RING_HELD}) {
        std::vector<Trace> buffer(RingSize(ring));
        const int num =
            tqDevSDK_Linkage_ReadTrace(engine_.get(), ring, shown_, buffer.data(), RingSize(ring));
        for (int i = 0; i < num; ++i) {
            entries.push_back({buffer[static_cast<std::size_t>(i)], ring});
        }
    }
    std::sort(entries.begin(), entries.end(), [this](const NewEntry &left, const NewEntry &right) {
        return left.trace.uiNumber - shown_ < right.trace.uiNumber - shown_; // the numbers wrap
    });
    return entries;
}

UINT16 RuleEngine::RingSize(int ring) const {
    return ring == TQDEVSDK_LINKAGE_RING_FIRED ? config_->engine.usFiredMax : config_->engine.usHeldMax;
}

/// Shows what the traces have anew; false when there is nothing. With the action that was handed out.
bool RuleEngine::ShowNew(const tqDevSDK_Linkage_Effect_S *run) {
    const std::vector<NewEntry> entries = NewEntries();
    if (entries.empty()) {
        return false;
    }
    const UINT32 lost = entries.back().trace.uiNumber - shown_ - static_cast<UINT32>(entries.size());
    shown_ = entries.back().trace.uiNumber;
    if (lost > 0) {
        Show({{"linkage", "lost"},
              {"entries", lost},
              {"text", std::to_string(lost) + " entries did not fit into the traces: fired_max, held_max"}});
    }
    for (const auto &[entry, ring] : entries) {
        Json line = TraceLine(entry, NameOf(entry.uiRuleId), TextOf(entry));
        if (run != nullptr && entry.ucVerdict == TQDEVSDK_LINKAGE_VERDICT_RUN) {
            line["token"] = handed_out_;
            line["stAction"] = ActionJson(run->unWhat.stAction);
        }
        std::deque<Json> &lines = shown_lines_[ring];
        lines.push_back(Show(line));
        if (lines.size() > RingSize(ring)) {
            lines.pop_front();
        }
    }
    return true;
}

void RuleEngine::ShowRules() const {
    Statistics now{};
    tqDevSDK_Linkage_Statistics(engine_.get(), &now);
    const UINT32 num = now.uiRuleRootNum;
    Show({{"linkage", "rules"},
          {"rules", num},
          {"text", std::to_string(num) + (num == 1 ? " rule is" : " rules are") + " in force"}});
}

void RuleEngine::ShowTrace(int ring) {
    Require("trace");
    for (const Json &line : shown_lines_[ring]) {
        output_.Show(line);
    }
}

/// The verdicts on the rules that name the event's device.
std::vector<Json> RuleEngine::Verdicts(const RuleEvent &event, std::uint64_t token, const char *path) const {
    const auto now = Now();
    const int num = tqDevSDK_Linkage_Explain(engine_.get(), &event, token, &now, nullptr, 0);
    if (num < 0) {
        Refuse(path);
    }
    std::vector<Trace> entries(static_cast<std::size_t>(num));
    tqDevSDK_Linkage_Explain(engine_.get(), &event, token, &now, entries.data(), static_cast<UINT32>(num));
    std::vector<Json> lines;
    lines.reserve(entries.size());
    for (const Trace &entry : entries) {
        lines.push_back(ExplainLine(entry, NameOf(entry.uiRuleId), TextOf(entry)));
    }
    return lines;
}

/// What comes near to an event that no rule names.
void RuleEngine::ShowNearMisses(const RuleEvent &event) const {
    const std::vector<Json> lines = Verdicts(event, 0, "event");
    for (const Json &line : lines) {
        Show(line);
    }
    if (lines.empty()) {
        Show({{"linkage", "unheard"}, {"text", "no rule names " + FieldText(event.acDevId)}});
    }
}

Json RuleEngine::OtherDevice(const Rule &rule, const RuleEvent &event) const {
    const std::string name = NameOf(rule.uiRuleId);
    const std::string got = FieldText(event.acDevId);
    Json line = {{"linkage", "misses"},
                 {"rule", rule.uiRuleId},
                 {"name", name},
                 {"why", "OTHER_DEVICE"},
                 {"got", got}};
    line["text"] = "rule " + std::to_string(rule.uiRuleId) + " \"" + name +
                   "\" misses: " + (rule.usEvents_Num == 0 ? "it has no events" : "it does not name " + got);
    return line;
}

void RuleEngine::Explain(const RuleEvent &event, std::uint64_t token) {
    Require("explain");
    const std::vector<Json> named = Verdicts(event, EngineToken(token, "explain.token"), "explain");
    std::vector<Json> lines;
    if (rules_) {
        const std::string device = FieldText(event.acDevId);
        ForEachRule(*rules_, [&, next = named.begin()](const Rule &rule) mutable {
            lines.push_back(Names(rule, device) ? *next++ : OtherDevice(rule, event));
        });
    }
    std::stable_sort(lines.begin(), lines.end(), ComesBefore);
    for (const Json &line : lines) {
        Show(line);
    }
    if (lines.empty()) {
        Show({{"linkage", "unheard"}, {"text", "there are no rules"}});
    }
}

std::string RuleEngine::TextOf(const Trace &entry) const {
    char text[TQDEVSDK_LINKAGE_TEXT_MAX];
    tqDevSDK_Linkage_TraceText(engine_.get(), &entry, text, sizeof text);
    return text;
}

/// Empty for a rule that is not in force any more.
std::string RuleEngine::NameOf(UINT32 rule) const {
    const auto found = names_.find(rule);
    return found == names_.end() ? std::string() : found->second;
}

/// Shows a line with its moment; not in the machine's time, in which it comes when it happens. The whole
/// line.
Json RuleEngine::Show(const Json &line) const {
    Json shown = {{"linkage", line.at("linkage")}};
    if (const ClockTime now = clock_.Now(); clock_.IsVirtual() && now.civil) {
        shown["at"] = CivilText(*now.civil);
    }
    shown.update(line);
    output_.Show(shown);
    return shown;
}

} // namespace tqgateway
