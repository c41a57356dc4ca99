// SPDX-License-Identifier: Apache-2.0
/// @file linkage_fixture.h
/// Rule sets put together in a test, and an engine whose effects and traces come out as words.
#ifndef LINKAGE_FIXTURE_H
#define LINKAGE_FIXTURE_H

#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tqDevSDK_Linkage.h"

namespace linkage {

using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Action = tqDevSDK_SmartControl_ConfigRule_Actions;
using Record = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Set = tqDevSDK_SmartControl_ConfigRules;
using Now = tqDevSDK_Linkage_Now_S;
using Config = tqDevSDK_Linkage_Config_S;
using Lines = std::vector<std::string>;

constexpr UINT16 kAny = 0;
constexpr UINT16 kAll = 1;

template <std::size_t N>
void Copy(char (&to)[N], const std::string &from) {
    memset(to, 0, N);
    memcpy(to, from.data(), from.size() < N ? from.size() : N);
}

inline Event MakeEvent(const std::string &serial, UINT16 value, UINT32 command = 5, UINT8 channel = 1) {
    Event event{1100, command, {}, channel, value};
    Copy(event.acDevId, serial);
    return event;
}

inline Action MakeAction(const std::string &serial, UINT32 command, UINT32 delay = 0) {
    Action action{7000, command, {}, 1, 1, {1}, delay};
    Copy(action.acDevId, serial);
    return action;
}

/// A rule with its arrays. As it is made it is enabled on all days from 00:00 to 23:59.
struct Rule {
    explicit Rule(UINT32 id, std::vector<Event> its_events = {}, std::vector<Action> its_actions = {}, UINT16 condition = kAny)
        : events(std::move(its_events)), actions(std::move(its_actions)) {
        record.uiRuleId = id;
        record.ucEnable = 1;
        memset(record.aucWeekDaysEn, 1, sizeof record.aucWeekDaysEn);
        record.uiEnd_hour = 23;
        record.uiEnd_min = 59;
        record.usCondition = condition;
    }
    Rule &Named(const std::string &name) {
        Copy(record.acRuleName, name);
        return *this;
    }
    Rule &On(const std::string &days) {
        for (unsigned i = 0; i < 7; ++i) {
            record.aucWeekDaysEn[i] = days.find(static_cast<char>('1' + i)) != std::string::npos;
        }
        return *this;
    }
    /// Times as 22:00, an end on the next day as n06:30.
    Rule &Within(const char *start, const char *end) {
        record.ucIsCrossDay = *end == 'n';
        sscanf(start, "%u:%u", &record.uiStart_hour, &record.uiStart_min);
        sscanf(end + record.ucIsCrossDay, "%u:%u", &record.uiEnd_hour, &record.uiEnd_min);
        return *this;
    }

    Record record{};
    std::vector<Event> events;
    std::vector<Action> actions;
};

/// A set of one unit, global, channel 3.
class Rules {
public:
    explicit Rules(std::vector<Rule> rules) : rules_(std::move(rules)) {
        for (Rule &rule : rules_) {
            rule.record.pstEvents = rule.events.data();
            rule.record.usEvents_Num = static_cast<UINT16>(rule.events.size());
            rule.record.pstActions = rule.actions.data();
            rule.record.usActions_Num = static_cast<UINT16>(rule.actions.size());
            records_.push_back(rule.record);
        }
        unit_ = {TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_GLOBAL, 3, static_cast<UINT16>(records_.size()), records_.data()};
        set_ = {0, 1, {0, 0}, &unit_};
    }
    Rules(const Rules &) = delete;
    Rules &operator=(const Rules &) = delete;

    const Set *get() const { return &set_; }
    std::vector<Record> &records() { return records_; }
    std::vector<Rule> &rules() { return rules_; }

private:
    std::vector<Rule> rules_;
    std::vector<Record> records_;
    Unit unit_;
    Set set_;
};

inline Config DefaultConfig() {
    Config config{};
    Copy(config.acSerial, "HUB");
    config.uiDelayUnitMs = 1000;
    config.usRunningMax = 4;
    config.usMemberMax = 4;
    config.usFiredMax = 64;
    config.usHeldMax = 64;
    config.ucChainMax = 2;
    config.usHowNum = 2;
    config.astHow[0] = {kAny, TQDEVSDK_LINKAGE_HOW_ANY};
    config.astHow[1] = {kAll, TQDEVSDK_LINKAGE_HOW_ALL};
    return config;
}

/// Day 1 to 7, time of day as 22:00:30, and the monotonic time.
inline Now At(UINT8 day, const char *time, uint64_t mono = 0) {
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    sscanf(time, "%u:%u:%u", &hour, &minute, &second);
    return {mono, hour * 3600 + minute * 60 + second, day, 1};
}
inline Now After(uint64_t mono) { return At(1, "12:00", mono); }

struct EngineFree {
    void operator()(tqDevSDK_Linkage *engine) const { tqDevSDK_Linkage_Free(engine); }
};
using EnginePtr = std::unique_ptr<tqDevSDK_Linkage, EngineFree>;

class Engine {
public:
    explicit Engine(const Config &config = DefaultConfig()) : engine_(tqDevSDK_Linkage_New(&config, nullptr)) {}

    tqDevSDK_Linkage *get() { return engine_.get(); }
    int SetRules(const Rules &rules) { return tqDevSDK_Linkage_SetRules(get(), rules.get()); }
    int Happen(const Event &event, const Now &now, uint64_t token = 0) { return tqDevSDK_Linkage_Event(get(), &event, token, &now); }
    int Done(uint64_t token, int result, const Now &now) { return tqDevSDK_Linkage_Done(get(), token, result, &now); }

    /// Everything that is due, in words; the tokens of what runs are kept.
    Lines Take(const Now &now) {
        Lines lines;
        tqDevSDK_Linkage_Effect_S effect;
        while (tqDevSDK_Linkage_Next(get(), &now, &effect) == 1) {
            lines.push_back(Describe(effect));
        }
        return lines;
    }
    /// Entries of a trace since the last call, in words.
    Lines Trace(int ring = TQDEVSDK_LINKAGE_RING_FIRED) {
        Lines lines;
        tqDevSDK_Linkage_Trace_S entry;
        while (tqDevSDK_Linkage_ReadTrace(get(), ring, read_[ring], &entry, 1) == 1) {
            lines.push_back(Text(entry));
            read_[ring] = entry.uiNumber;
        }
        return lines;
    }
    Lines Held() { return Trace(TQDEVSDK_LINKAGE_RING_HELD); }
    Lines Explain(const Event &event, const Now &now, uint64_t token = 0) {
        tqDevSDK_Linkage_Trace_S entries[8];
        const int num = tqDevSDK_Linkage_Explain(get(), &event, token, &now, entries, 8);
        Lines lines;
        for (int i = 0; i < num; ++i) {
            lines.push_back(Text(entries[i]));
        }
        return lines;
    }
    std::string Text(const tqDevSDK_Linkage_Trace_S &entry) {
        char text[TQDEVSDK_LINKAGE_TEXT_MAX];
        tqDevSDK_Linkage_TraceText(get(), &entry, text, sizeof text);
        return text;
    }
    std::string Reason() { return tqDevSDK_Linkage_ReasonText(tqDevSDK_Linkage_LastReason(get())); }

    std::deque<uint64_t> tokens; ///< Of the RUN effects, in their order.

private:
    std::string Describe(const tqDevSDK_Linkage_Effect_S &effect) {
        const std::string rule = std::to_string(effect.uiRuleId);
        if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_RUN) {
            tokens.push_back(effect.ullToken);
            return "run " + rule + Describe(effect.unWhat.stAction);
        }
        if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_RESULT) {
            const auto &result = effect.unWhat.stResult;
            return "result " + std::to_string(result.uiRuleId) + " " + result.acDeviceId + " " + std::to_string(result.uiChannelNo) + " " +
                   std::to_string(result.uiDomain) + "/" + std::to_string(result.uiCmdId) + " " + std::to_string(result.ucResult);
        }
        std::string text = "undone " + std::to_string(effect.unWhat.pstUndone->uiRuleId);
        for (UINT16 i = 0; i < effect.unWhat.pstUndone->usNum; ++i) {
            text += Describe(effect.unWhat.pstUndone->astUndoneActs[i]);
        }
        return text + effect.unWhat.pstUndone->acExtendVal;
    }
    static std::string Describe(const Action &action) {
        return " " + std::string(action.acDevId) + " " + std::to_string(action.uiCmdId) + "+" + std::to_string(action.uiDelay);
    }

    EnginePtr engine_;
    UINT32 read_[2] = {0, 0};
};

} // namespace linkage

#endif
