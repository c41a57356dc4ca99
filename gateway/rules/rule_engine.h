// SPDX-License-Identifier: Apache-2.0
/// @file rule_engine.h  The virtual hub carries out its linkage rules.
#ifndef TQGATEWAY_RULES_RULE_ENGINE_H
#define TQGATEWAY_RULES_RULE_ENGINE_H

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "file_descriptor.h"
#include "module.h"
#include "output/output.h"
#include "rules/clock.h"
#include "rules/linkage_config.h"

namespace tqgateway {

struct LinkageFree {
    void operator()(tqDevSDK_Linkage *engine) const { tqDevSDK_Linkage_Free(engine); }
};
using LinkageEngine = std::unique_ptr<tqDevSDK_Linkage, LinkageFree>;

using SharedRules = std::shared_ptr<const tqDevSDK_SmartControl_ConfigRules>;
using RuleEvent = tqDevSDK_SmartControl_ConfigRule_Events;

/// The linkage engine with all that a device has around it: a clock, devices that carry out actions, reports
/// to the platform through the module. There is none until it is configured; then each step of it is shown.
/// To be used by one thread. What throws LineError, which names the member at fault, has done nothing then.
class RuleEngine {
public:
    /// Throws std::system_error.
    RuleEngine(const Module &module, Output &output);

    /// Starts the engine with the rules that the hub has, or changes it. A change of more than `auto_done` is
    /// a restart: members stay and actions that wait go on, all else is forgotten. Null ends it. Throws
    /// LineError.
    void Configure(const Json &config);

    /// Puts a rule set in force, also of an engine that is yet to start. False when the engine refuses it.
    bool Take(SharedRules rules);

    /// Says that an event happened, caused by an action with this token or by none, 0. Throws LineError.
    void Event(const RuleEvent &event, std::uint64_t token);

    /// Says which members of the home can be reached, by serial. Throws LineError.
    void SetMembers(const std::vector<std::pair<std::string, bool>> &members);

    /// Says how an action ended that was left running: 0 to 255 or CANNOT. Throws LineError.
    void Done(std::uint64_t token, int result);

    /// Shows what an event would do to each rule, those first that would fire. Throws LineError.
    void Explain(const RuleEvent &event, std::uint64_t token);

    /// Shows a trace again, a `TQDEVSDK_LINKAGE_RING_…`. Throws LineError.
    void ShowTrace(int ring);

    /// Posts the counters since the last post as a log record; the module's result. Throws LineError.
    int PostStatistics();

    /// Sets the clock, which stands still from then on; nothing: it is not set.
    void SetTime(std::optional<CivilTime> civil);

    /// Moves the clock on, and stops at each moment at which something is due. Throws LineError.
    void Advance(std::uint64_t ms);

    /// Milliseconds until the next action is due. Throws LineError when none waits.
    std::uint64_t UntilNext() const;

    /// Readable when something is due by the machine's time, which CarryOutDue is to be called for.
    int DueFd() const { return timer_.Get(); }
    void CarryOutDue();

private:
    tqDevSDK_Linkage_Now_S Now() const;
    void Require(const char *path) const;
    [[noreturn]] void Refuse(const std::string &path) const;
    std::uint64_t EngineToken(std::uint64_t token, const std::string &path) const;
    LinkageEngine MakeEngine(const LinkageConfig &config) const;
    void MoveWaiting(tqDevSDK_Linkage &engine) const;

    void CarryOut(const tqDevSDK_Linkage_Effect_S &effect);
    void Report(int type, void *record, UINT32 size, UINT32 rule);
    void ArmTimer();

    struct NewEntry {
        tqDevSDK_Linkage_Trace_S trace;
        int ring;
    };
    std::vector<NewEntry> NewEntries() const;
    UINT16 RingSize(int ring) const;
    bool ShowNew(const tqDevSDK_Linkage_Effect_S *run = nullptr);
    void ShowRules() const;
    void ShowNearMisses(const RuleEvent &event) const;
    enum class Whose { device, all }; ///< Rules that name the event's device, or all.
    std::vector<Json> Verdicts(const RuleEvent &event, std::uint64_t token, const char *path,
                               Whose whose) const;
    Json OtherDevice(const tqDevSDK_SmartControl_ConfigRules_RuleUnit &rule, const RuleEvent &event) const;
    std::string EngineText(const tqDevSDK_Linkage_Trace_S &entry) const;
    std::string TextOf(const tqDevSDK_Linkage_Trace_S &entry, const std::optional<std::string> &name) const;
    std::optional<std::string> NameOf(UINT32 rule) const;
    Json Show(const Json &line) const;

    const Module module_;
    Output &output_;
    FileDescriptor timer_;
    Clock clock_;
    SharedRules rules_;
    std::unordered_map<UINT32, std::optional<std::string>> names_; ///< By id; none where rules share it.
    std::set<std::string> members_;                                ///< Those that can be reached.

    std::optional<LinkageConfig> config_; ///< Nothing: there is no engine.
    LinkageEngine engine_;
    UINT32 shown_ = 0;                            ///< The last entry of the traces that was shown.
    std::map<int, std::deque<Json>> shown_lines_; ///< Of each trace, as many as it holds.
    std::deque<std::uint64_t> tokens_;            ///< The engine's, of the actions handed out last.
    std::uint64_t handed_out_ = 0;                ///< Actions, of which the last is the last of the tokens.

    tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S posted_{}; ///< The counters as posted last.
    UINT32 posts_ = 0;
    UINT32 period_start_ = 0; ///< Of the next post; 0: the clock was not set then.
};

} // namespace tqgateway

#endif
