// SPDX-License-Identifier: Apache-2.0
// The linkage engine: behind the first byte stand 60 steps of 4 bytes, then the shadow's value of a rule set.
// The steps are events, time, members, effects, results and new rules. In the end everything is drained, and
// every action must have ended once.
#include <array>
#include <set>

#include "harness.h"
#include "tqDevSDK_Linkage.h"

namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Record = tqDevSDK_SmartControl_ConfigRules_RuleUnit;

// More than one step can fill.
constexpr UINT16 kEntries = 2048;
constexpr std::size_t kActions = 500;

struct Step {
    uint8_t what, first, second, third;
};

class Game {
public:
    explicit Game(const Rules &rules) {
        for (const auto &unit : Range(rules.pstUnit, rules.usNum)) {
            for (const Record &rule : Range(unit.pstRuleUnit, unit.usNum)) {
                all_.push_back(rule);
            }
        }
        tqDevSDK_Linkage_Config_S config{"HUB000001", 1000, 3000, 500, 5, 2, kEntries, kEntries, 2, 0, 2, {{0, 1}, {1, 2}}};
        engine_ = tqDevSDK_Linkage_New(&config, nullptr);
        Check(tqDevSDK_Linkage_SetRules(engine_, &rules) == 0, "rules that the module took are taken");
        in_force_ = all_;
    }
    Game(const Game &) = delete;
    Game &operator=(const Game &) = delete;
    ~Game() { tqDevSDK_Linkage_Free(engine_); }

    void Take(const Step &step) {
        switch (step.what % 8) {
        case 0:
            now_.ullMonoMs += step.first * 100U;
            break;
        case 1:
            now_ = {now_.ullMonoMs, (step.first * 256U + step.second) * 1319 % 86400, static_cast<UINT8>(1 + step.third % 7),
                    static_cast<UINT8>(step.third & 0x80)};
            break;
        case 2:
            Member(step);
            break;
        case 3:
            Pull(step.first);
            break;
        case 4:
            Done(step);
            break;
        case 5:
            NewRules(step);
            break;
        default:
            Event(step);
        }
        ReadTraces();
    }

    // Everything that waits or runs comes to its end.
    void Drain() {
        now_.ullMonoMs = UINT64_MAX - 1;
        Pull(255);
        while (!running_.empty()) {
            Check(tqDevSDK_Linkage_Done(engine_, *running_.begin(), 0, &now_) == 0, "what runs can end");
            ended_.insert(*running_.begin());
            running_.erase(running_.begin());
        }
        Pull(255);
        ReadTraces();
        Check(tqDevSDK_Linkage_Deadline(engine_) == UINT64_MAX, "nothing is left");
        Check(ended_.empty(), "each result is reported");
        Check(started_ == runs_ + undone_ - cannot_ + dropped_, "each action ends once");
        Check(runs_ == results_ + cannot_, "each run ends once");
        CheckStatistics();
    }

private:
    const Record *Pick(uint8_t number) const { return in_force_.empty() ? nullptr : &in_force_[number % in_force_.size()]; }

    void Member(const Step &step) {
        const Record *const rule = Pick(step.first);
        if (rule == nullptr || rule->usActions_Num == 0) {
            return;
        }
        char serial[33] = {};
        memcpy(serial, rule->pstActions[step.second % rule->usActions_Num].acDevId, 32);
        tqDevSDK_Linkage_SetMember(engine_, serial, step.third % 4);
    }

    void Event(const Step &step) {
        const Record *const rule = Pick(step.first);
        if (rule == nullptr || rule->usEvents_Num == 0) {
            return;
        }
        auto event = rule->pstEvents[step.second % rule->usEvents_Num];
        event.usValue = static_cast<UINT16>(event.usValue + (step.third % 8 == 0 ? 1 : 0));
        const std::vector<UINT32> before = Fired();
        const uint64_t token = step.third >= 128 && !running_.empty() ? *running_.begin() : 0;
        const int explained = tqDevSDK_Linkage_Explain(engine_, &event, token, &now_, nullptr, 0);
        Check(explained >= 0, "an event that may happen is explained");
        const int fired = tqDevSDK_Linkage_Event(engine_, &event, token, &now_);
        Check(fired <= explained, "what fires names the device");
        events_ += fired >= 0 ? 1 : 0;
        const std::vector<UINT32> after = Fired();
        UINT32 counted = 0;
        for (std::size_t i = 0; i < after.size(); ++i) {
            counted += after[i] - before[i];
            started_ += (after[i] - before[i]) * in_force_[i].usActions_Num;
        }
        Check(counted == static_cast<UINT32>(std::max(fired, 0)), "the result counts the rules that fired");
    }

    std::vector<UINT32> Fired() {
        std::vector<tqDevSDK_Linkage_RuleState_S> states(in_force_.size() + 1);
        const int num = tqDevSDK_Linkage_ReadRules(engine_, 0, states.data(), static_cast<UINT32>(states.size()));
        Check(num == static_cast<int>(in_force_.size()), "every rule has a state");
        std::vector<UINT32> fired;
        for (int i = 0; i < num; ++i) {
            fired.push_back(states[static_cast<std::size_t>(i)].uiFired);
        }
        return fired;
    }

    void Pull(unsigned most) {
        tqDevSDK_Linkage_Effect_S effect;
        for (unsigned i = 0; i < most || most == 255; ++i) {
            const int more = tqDevSDK_Linkage_Next(engine_, &now_, &effect);
            Check(more >= 0, "effects can be pulled");
            if (more == 0) {
                return;
            }
            Take(effect);
        }
    }

    void Take(const tqDevSDK_Linkage_Effect_S &effect) {
        if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_RUN) {
            ++runs_;
            Check(effect.ullToken != 0 && effect.ullToken < (1ULL << 53) && running_.insert(effect.ullToken).second, "each run has a token");
        } else if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_RESULT) {
            ++results_;
            Check(ended_.erase(effect.ullToken) == 1, "a result is of a run that ended");
        } else {
            Check(effect.unWhat.pstUndone->usNum > 0, "undone actions are some");
            undone_ += effect.unWhat.pstUndone->usNum;
        }
    }

    void Done(const Step &step) {
        const bool known = !running_.empty();
        const uint64_t token = known ? *running_.begin() : step.second;
        const int result = step.first % 2 == 0 ? step.third : TQDEVSDK_LINKAGE_CANNOT;
        Check(tqDevSDK_Linkage_Done(engine_, token, result, &now_) == (known ? 0 : -1), "a run ends, and nothing else");
        Check(tqDevSDK_Linkage_Done(engine_, token, result, &now_) == -1, "a run ends once");
        if (known) {
            running_.erase(token);
            cannot_ += result == TQDEVSDK_LINKAGE_CANNOT ? 1 : 0;
            if (result != TQDEVSDK_LINKAGE_CANNOT) {
                ended_.insert(token);
            }
        }
    }

    // Every n-th of the rules, in one unit.
    void NewRules(const Step &step) {
        in_force_.clear();
        for (std::size_t i = step.first % 2; i < all_.size(); i += step.second % 3 + 1U) {
            in_force_.push_back(all_[i]);
        }
        tqDevSDK_SmartControl_ConfigRules_ValueUnit unit{0, 1, static_cast<UINT16>(in_force_.size()), in_force_.data()};
        const Rules rules{0, 1, {}, &unit};
        Rules *const copy = tqDevSDK_Linkage_CopyRules(&rules);
        Check(tqDevSDK_Linkage_EqualRules(&rules, copy) == 1, "a copy is equal");
        Check(tqDevSDK_Linkage_SetRules(engine_, copy) == 0, "rules can be replaced");
        tqDevSDK_Linkage_FreeRules(copy);
    }

    // No number is missing in both traces together.
    void ReadTraces() {
        static std::array<tqDevSDK_Linkage_Trace_S, 2 * kEntries> entries;
        UINT32 num = 0;
        for (const int ring : {TQDEVSDK_LINKAGE_RING_FIRED, TQDEVSDK_LINKAGE_RING_HELD}) {
            num += static_cast<UINT32>(tqDevSDK_Linkage_ReadTrace(engine_, ring, traced_, entries.data() + num, 2 * kEntries - num));
        }
        UINT32 last = traced_;
        for (UINT32 i = 0; i < num; ++i) {
            char text[TQDEVSDK_LINKAGE_TEXT_MAX];
            const int length = tqDevSDK_Linkage_TraceText(engine_, &entries[i], text, sizeof text);
            Check(length > 0 && length < TQDEVSDK_LINKAGE_TEXT_MAX, "a text fits");
            last = std::max(last, entries[i].uiNumber);
            dropped_ += entries[i].ucVerdict == TQDEVSDK_LINKAGE_VERDICT_DROPPED ? 1 : 0;
        }
        Check(last - traced_ == num, "no entry is missing");
        traced_ = last;
    }

    void CheckStatistics() {
        tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S counted;
        Check(tqDevSDK_Linkage_Statistics(engine_, &counted) == 0, "counters can be read");
        Check(counted.uiSelfEvtCnt + counted.uiLanEvtCnt == events_, "events add up");
        Check(counted.uiUndoActCnt == undone_, "undone actions add up");
        Check(counted.uiSelfActRetCnt + counted.uiLanActRetCnt == results_, "results add up");
        Check(counted.uiSelfActCnt + counted.uiLanActSuccCnt + counted.uiLanActFailCnt == runs_, "actions add up");
    }

    std::vector<Record> all_, in_force_;
    tqDevSDK_Linkage *engine_;
    tqDevSDK_Linkage_Now_S now_{0, 0, 1, 1};
    std::set<uint64_t> running_, ended_; // tokens
    UINT32 traced_ = 0;
    std::size_t events_ = 0, started_ = 0, runs_ = 0, results_ = 0, cannot_ = 0, undone_ = 0, dropped_ = 0;
};

// Rules count, too: each may leave an entry without an action.
std::size_t CountActions(const Rules &rules) {
    std::size_t count = 0;
    for (const auto &unit : Range(rules.pstUnit, rules.usNum)) {
        for (const Record &rule : Range(unit.pstRuleUnit, unit.usNum)) {
            count += 1U + rule.usActions_Num;
        }
    }
    return count;
}

} // namespace

void Run(Input &input) {
    const auto steps = input.Take<std::array<Step, 60>>();
    const tqDevSDK_Shadow_Service_S *const service = tqhost::ShadowService("InterconnectionRule");
    Give(service->parse_sync, shd_data_type_array, input.TakeText());
    if (CountActions(g_application.rules) > kActions) {
        return;
    }
    Game game(g_application.rules);
    for (const Step &step : steps) {
        game.Take(step);
    }
    game.Drain();
}
