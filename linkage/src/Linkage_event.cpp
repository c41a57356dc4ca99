// SPDX-License-Identifier: Apache-2.0
// Events: every rule that names one is judged; those that fire have their actions taken in or undone.
#include "Linkage_engine.h"

namespace {

// What an event means at this moment; false with a reason.
bool ReadDepth(Engine &engine, uint64_t token, UINT32 &depth) {
    depth = 0;
    if (token != 0 && !DepthBehind(engine, token, depth)) {
        engine.reason = TQDEVSDK_LINKAGE_REASON_TOKEN;
        return false;
    }
    return true;
}

// The first trigger of the next rule in the list of a key.
UINT32 NextRuleOfKey(const Set &set, UINT32 trigger) {
    const UINT32 rule = set.triggers[trigger].rule;
    do {
        trigger = set.triggers[trigger].next;
    } while (trigger != kNone && set.triggers[trigger].rule == rule);
    return trigger;
}

// True when all actions of the rules with this key may be undone. The empty ring takes those of all rules.
bool HasRoom(const Set &set, const Key &key) {
    if (set.undone_num == 0) {
        return true;
    }
    uint64_t needed = set.undone_num;
    for (UINT32 i = key.first_trigger; i != kNone; i = NextRuleOfKey(set, i)) {
        needed += ActionsOf(set, set.triggers[i].rule);
    }
    return needed <= set.undone_max;
}

void StartAction(Engine &engine, UINT32 index, UINT16 item, UINT8 depth) {
    Set &set = *engine.set;
    const Rule &rule = set.rules[index];
    const ActionRecord &record = set.actions[rule.first_action + item];
    Action action{};
    action.due = DueAfter(engine, static_cast<uint64_t>(record.uiDelay) * engine.config.uiDelayUnitMs);
    action.rule_id = rule.id;
    action.item = item;
    action.unit_type = rule.unit_type;
    action.unit_channel = rule.unit_channel;
    action.depth = depth;
    action.record = record;

    if (!IsReachable(engine, record)) {
        AddUndone(set, {index, item, engine.firing});
        AddTrace(engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_UNDONE, item, 0, 0}));
    } else if (!TakeIn(engine, action)) {
        const UINT32 max = engine.config.usRunningMax;
        AddUndone(set, {index, item, engine.firing});
        AddTrace(engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_QUEUE_FULL, item, max, 0}));
    } else if (record.uiDelay != 0) {
        const UINT32 wait = Clip(action.due - engine.mono);
        AddTrace(engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_DELAYED, item, wait, 0}));
    }
}

void Fire(Engine &engine, UINT32 index, UINT8 depth) {
    Rule &rule = engine.set->rules[index];
    rule.fired_at = engine.mono;
    ++rule.fired;
    ++engine.firing;
    for (UINT32 i = 0; i < ActionsOf(*engine.set, index); ++i) {
        StartAction(engine, index, static_cast<UINT16>(i), depth);
    }
}

// Judges the rule of a trigger and lets it fire.
bool Serve(Engine &engine, UINT32 trigger, const Occasion &occasion) {
    const UINT32 index = engine.set->triggers[trigger].rule;
    Rule &rule = engine.set->rules[index];
    const Verdict verdict = Judge(engine.config, *engine.set, trigger, occasion);
    rule.verdict = verdict.code;
    rule.judged_at = engine.mono;
    AddTrace(engine, MakeTrace(rule, verdict, occasion.depth));
    if (verdict.code != TQDEVSDK_LINKAGE_VERDICT_FIRED) {
        return false;
    }
    Fire(engine, index, static_cast<UINT8>(occasion.depth));
    return true;
}

// The verdict on a rule that names the device: of the event itself, or how far its first event for the device
// is from it.
Verdict JudgeNear(const Engine &engine, UINT32 index, const KeyId &id, const Occasion &occasion) {
    const Set &set = *engine.set;
    const UINT32 first = set.rules[index].first_trigger;
    Verdict near{};
    for (UINT32 i = 0; i < TriggersOf(set, index); ++i) {
        const Trigger &trigger = set.triggers[first + i];
        if (trigger.key == occasion.key) {
            return Judge(engine.config, set, first + i, occasion);
        }
        const KeyId &other = set.keys[trigger.key].id;
        if (near.code != 0 || !Same(other.serial.text, id.serial.text)) {
            continue;
        }
        const auto item = static_cast<UINT16>(i);
        if (other.domain != id.domain) {
            near = {TQDEVSDK_LINKAGE_VERDICT_OTHER_DOMAIN, item, other.domain, id.domain};
        } else if (other.command != id.command) {
            near = {TQDEVSDK_LINKAGE_VERDICT_OTHER_COMMAND, item, other.command, id.command};
        } else {
            near = {TQDEVSDK_LINKAGE_VERDICT_OTHER_CHANNEL, item, other.channel, id.channel};
        }
    }
    return near;
}

} // namespace

LINKAGE_EXPORT int tqDevSDK_Linkage_Event(tqDevSDK_Linkage *engine,
                                          const tqDevSDK_SmartControl_ConfigRule_Events *event,
                                          uint64_t token, const tqDevSDK_Linkage_Now_S *now) {
    UINT32 depth;
    if (!Accepts(engine, now, event != nullptr) || !ReadDepth(*engine, token, depth)) {
        return -1;
    }
    Set &set = *engine->set;
    const KeyId id = MakeKeyId(*event);
    const UINT32 index = FindKey(set, id);
    if (index != kNone && !HasRoom(set, set.keys[index])) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_EFFECTS);
    }

    engine->mono = MonoOf(*engine, *now);
    ++(IsOwn(*engine, id.serial.text) ? engine->statistics.uiSelfEvtCnt : engine->statistics.uiLanEvtCnt);
    if (index == kNone) {
        return 0;
    }
    Key &key = set.keys[index];
    key.value = event->usValue;
    key.seen = 1;
    key.seen_at = engine->mono;
    const Occasion occasion{*now, engine->mono, index, event->usValue, depth};
    int fired = 0;
    for (UINT32 i = key.first_trigger; i != kNone; i = NextRuleOfKey(set, i)) {
        fired += Serve(*engine, i, occasion) ? 1 : 0;
    }
    return fired;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_Explain(tqDevSDK_Linkage *engine,
                                            const tqDevSDK_SmartControl_ConfigRule_Events *event,
                                            uint64_t token, const tqDevSDK_Linkage_Now_S *now,
                                            tqDevSDK_Linkage_Trace_S *entries, UINT32 max) {
    UINT32 depth;
    if (!Accepts(engine, now, event != nullptr && (entries != nullptr || max == 0)) ||
        !ReadDepth(*engine, token, depth)) {
        return -1;
    }
    const Set &set = *engine->set;
    const KeyId id = MakeKeyId(*event);
    const Occasion occasion{*now, MonoOf(*engine, *now), FindKey(set, id), event->usValue, depth};
    UINT32 num = 0;
    for (UINT32 i = 0; i < set.rules_num; ++i) {
        const Verdict verdict = JudgeNear(*engine, i, id, occasion);
        if (verdict.code == TQDEVSDK_LINKAGE_VERDICT_NONE) {
            continue;
        }
        if (num < max) {
            entries[num] = MakeTrace(set.rules[i], verdict, depth);
            entries[num].ullMonoMs = occasion.mono;
            entries[num].uiNumber = num + 1;
        }
        ++num;
    }
    return static_cast<int>(num);
}
