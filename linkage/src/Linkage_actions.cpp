// SPDX-License-Identifier: Apache-2.0
// Actions in hand: they wait for their time, run, and end in a result or undone.
#include "Linkage_engine.h"

namespace {

static_assert(sizeof(tqDevSDK_Linkage_Waiting_S) == 96, "a record that applications store");

// A token is the action's order, its slot and its depth; 53 bits, which every JSON number holds.
constexpr uint64_t kOrderMask = (UINT64_C(1) << 29) - 1;

uint64_t TokenOf(const Engine &engine, UINT16 slot) {
    const Action &action = engine.actions[slot];
    return (action.order & kOrderMask) << 24 | static_cast<uint64_t>(slot) << 8 | action.depth;
}

UINT32 SlotOf(uint64_t token) {
    return static_cast<UINT32>(token >> 8 & 0xFFFF);
}

// ---- The heap ----

bool Before(const Engine &engine, UINT16 left, UINT16 right) {
    const Action &a = engine.actions[left];
    const Action &b = engine.actions[right];
    return a.due != b.due ? a.due < b.due : a.order < b.order;
}

void Swap(UINT16 &left, UINT16 &right) {
    const UINT16 kept = left;
    left = right;
    right = kept;
}

// Puts the first of `num` slots where it belongs.
void SiftDown(Engine &engine, UINT32 at, UINT32 num) {
    for (UINT32 child = 2 * at + 1; child < num; child = 2 * at + 1) {
        if (child + 1 < num && Before(engine, engine.heap[child + 1], engine.heap[child])) {
            ++child;
        }
        if (!Before(engine, engine.heap[child], engine.heap[at])) {
            return;
        }
        Swap(engine.heap[child], engine.heap[at]);
        at = child;
    }
}

void Push(Engine &engine, UINT16 slot) {
    UINT32 at = engine.heap_num++;
    engine.heap[at] = slot;
    while (at > 0 && Before(engine, engine.heap[at], engine.heap[(at - 1) / 2])) {
        Swap(engine.heap[at], engine.heap[(at - 1) / 2]);
        at = (at - 1) / 2;
    }
}

void Pop(Engine &engine) {
    engine.heap[0] = engine.heap[--engine.heap_num];
    SiftDown(engine, 0, engine.heap_num);
}

// Sorts the slots; they are a heap still.
void Sort(Engine &engine) {
    for (UINT32 num = engine.heap_num; num > 1; --num) {
        Swap(engine.heap[0], engine.heap[num - 1]);
        SiftDown(engine, 0, num - 1);
    }
    for (UINT32 i = 0; i < engine.heap_num / 2; ++i) {
        Swap(engine.heap[i], engine.heap[engine.heap_num - 1 - i]);
    }
}

void Release(Engine &engine, UINT16 slot) {
    engine.actions[slot].state = kFree;
    engine.free_slots[engine.free_num++] = slot;
}

// ---- Effects ----

Effect RunEffect(Engine &engine, UINT16 slot) {
    Action &action = engine.actions[slot];
    action.state = kRunning;
    engine.statistics.uiSelfActCnt += IsOwn(engine, action.record.acDevId) ? 1 : 0;
    AddTrace(engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_RUN, action.item, 0, 0}));
    Effect effect{TokenOf(engine, slot), action.rule_id, TQDEVSDK_LINKAGE_EFFECT_RUN, {}, {}};
    effect.unWhat.stAction = action.record;
    return effect;
}

Effect ResultEffect(const Engine &engine, UINT16 slot) {
    const Action &action = engine.actions[slot];
    const ActionRecord &record = action.record;
    Effect effect{TokenOf(engine, slot), action.rule_id, TQDEVSDK_LINKAGE_EFFECT_RESULT, {}, {}};
    auto &result = effect.unWhat.stResult;
    result = {action.rule_id,   {},
              record.ucChannel, record.uiDomain,
              record.uiCmdId,   static_cast<UINT8>(action.result)};
    memcpy(result.acDeviceId, record.acDevId, sizeof result.acDeviceId);
    return effect;
}

void WriteUndone(Engine &engine, const ActionRecord &action) {
    UndoneRecord &record = *engine.set->record;
    record.astUndoneActs[record.usNum++] = action;
    ++engine.statistics.uiUndoActCnt;
}

Effect UndoneEffect(Engine &engine, UINT32 rule_id) {
    UndoneRecord &record = *engine.set->record;
    record.uiRuleId = rule_id;
    Effect effect{0, rule_id, TQDEVSDK_LINKAGE_EFFECT_UNDONE, {}, {}};
    effect.unWhat.pstUndone = &record;
    return effect;
}

// All that was undone at the firing that comes first.
Effect UndoneOfFiring(Engine &engine) {
    Set &set = *engine.set;
    const Undone first = set.undone[set.undone_first];
    const Rule &rule = set.rules[first.rule];
    set.record->usNum = 0;
    for (;;) {
        const Undone &next = set.undone[set.undone_first];
        if (set.undone_num == 0 || next.firing != first.firing || next.rule != first.rule) {
            return UndoneEffect(engine, rule.id);
        }
        WriteUndone(engine, set.actions[rule.first_action + next.item]);
        set.undone_first = Following(set.undone_first, set.undone_max);
        --set.undone_num;
    }
}

// An action that failed after its delay.
Effect UndoneAlone(Engine &engine, const Action &action) {
    ActionRecord record = action.record;
    record.uiDelay = 0;
    engine.set->record->usNum = 0;
    WriteUndone(engine, record);
    return UndoneEffect(engine, action.rule_id);
}

// The effect of an action that is due.
Effect EffectOf(Engine &engine, UINT16 slot) {
    const Action &action = engine.actions[slot];
    if (action.state == kWaiting && IsReachable(engine, action.record)) {
        return RunEffect(engine, slot);
    }
    if (action.state == kWaiting) {
        AddTrace(engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_UNDONE, action.item, 0, 0}));
    }
    const bool undone = action.state == kWaiting || action.result == TQDEVSDK_LINKAGE_CANNOT;
    const Effect effect = undone ? UndoneAlone(engine, action) : ResultEffect(engine, slot);
    Release(engine, slot);
    return effect;
}

// ---- New rules ----

void Drop(Engine &engine, const Action &action) {
    AddTrace(engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_DROPPED, action.item, 0, 0}));
}

void MoveWaiting(Engine &engine, const Set &to) {
    engine.heap_num = 0;
    for (UINT32 i = 0; i < engine.config.usRunningMax; ++i) {
        const auto slot = static_cast<UINT16>(i);
        Action &action = engine.actions[i];
        UINT32 rule;
        if (action.state == kWaiting && !FindAction(to, action.rule_id, action.record, rule, action.item)) {
            Drop(engine, action);
            Release(engine, slot);
        } else if (action.state == kWaiting || action.state == kEnded) {
            Push(engine, slot);
        }
    }
}

void MoveUndone(Engine &engine, Set &to) {
    const Set &from = *engine.set;
    UINT32 at = from.undone_first;
    for (UINT32 i = 0; i < from.undone_num; ++i, at = Following(at, from.undone_max)) {
        Undone undone = from.undone[at];
        const Rule &rule = from.rules[undone.rule];
        const ActionRecord &record = from.actions[rule.first_action + undone.item];
        if (FindAction(to, rule.id, record, undone.rule, undone.item)) {
            AddUndone(to, undone);
        } else {
            AddTrace(engine, MakeTrace(rule, {TQDEVSDK_LINKAGE_VERDICT_DROPPED, undone.item, 0, 0}, 0));
        }
    }
}

bool HasTooManyValues(const tqDevSDK_Linkage_Waiting_S *waiting, UINT32 num) {
    for (UINT32 i = 0; i < num; ++i) {
        if (waiting[i].stAction.ucValueNum > TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX) {
            return true;
        }
    }
    return false;
}

} // namespace

void InitActions(Engine &engine) {
    for (UINT32 i = engine.config.usRunningMax; i-- > 0;) {
        Release(engine, static_cast<UINT16>(i));
    }
}

void AddUndone(Set &set, const Undone &undone) {
    set.undone[set.undone_end] = undone;
    set.undone_end = Following(set.undone_end, set.undone_max);
    ++set.undone_num;
}

bool TakeIn(Engine &engine, const Action &action) {
    if (engine.free_num == 0) {
        return false;
    }
    const UINT16 slot = engine.free_slots[--engine.free_num];
    engine.actions[slot] = action;
    engine.actions[slot].state = kWaiting;
    ++engine.order;
    engine.order += (engine.order & kOrderMask) == 0 ? 1 : 0; // no token is 0
    engine.actions[slot].order = engine.order;
    Push(engine, slot);
    return true;
}

void MoveActions(Engine &engine, Set &to) {
    MoveWaiting(engine, to);
    MoveUndone(engine, to);
}

bool DepthBehind(const Engine &engine, uint64_t token, UINT32 &depth) {
    const uint64_t order = token >> 24;
    depth = static_cast<UINT32>(token & 0xFF) + 1;
    return order != 0 && order <= kOrderMask && order <= engine.order &&
           SlotOf(token) < engine.config.usRunningMax;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_Next(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Now_S *now,
                                         tqDevSDK_Linkage_Effect_S *effect) {
    if (!Accepts(engine, now, effect != nullptr)) {
        return -1;
    }
    engine->mono = MonoOf(*engine, *now);
    if (engine->set->undone_num != 0) {
        *effect = UndoneOfFiring(*engine);
        return 1;
    }
    if (tqDevSDK_Linkage_Deadline(engine) > engine->mono) {
        return 0;
    }
    const UINT16 slot = engine->heap[0];
    Pop(*engine);
    *effect = EffectOf(*engine, slot);
    return 1;
}

LINKAGE_EXPORT uint64_t tqDevSDK_Linkage_Deadline(const tqDevSDK_Linkage *engine) {
    if (engine == nullptr) {
        return UINT64_MAX;
    }
    if (engine->set->undone_num != 0) {
        return 0;
    }
    return engine->heap_num != 0 ? engine->actions[engine->heap[0]].due : UINT64_MAX;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_Done(tqDevSDK_Linkage *engine, uint64_t token, int result,
                                         const tqDevSDK_Linkage_Now_S *now) {
    if (!Accepts(engine, now)) {
        return -1;
    }
    if (result < 0 || result > TQDEVSDK_LINKAGE_CANNOT) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_RESULT);
    }
    const auto slot = static_cast<UINT16>(SlotOf(token));
    if (slot >= engine->config.usRunningMax || engine->actions[slot].state != kRunning ||
        TokenOf(*engine, slot) != token) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_TOKEN);
    }

    engine->mono = MonoOf(*engine, *now);
    Action &action = engine->actions[slot];
    action.state = kEnded;
    action.result = static_cast<UINT16>(result);
    action.due = engine->mono;
    Push(*engine, slot);

    auto &statistics = engine->statistics;
    const bool own = IsOwn(*engine, action.record.acDevId);
    if (!own) {
        ++(result == 0 ? statistics.uiLanActSuccCnt : statistics.uiLanActFailCnt);
    }
    if (result == TQDEVSDK_LINKAGE_CANNOT) {
        AddTrace(*engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_UNDONE, action.item, 0, 1}));
        return 0;
    }
    ++(own ? statistics.uiSelfActRetCnt : statistics.uiLanActRetCnt);
    AddTrace(*engine, MakeTrace(action, {TQDEVSDK_LINKAGE_VERDICT_RESULT, action.item, 0, action.result}));
    return 0;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_SaveWaiting(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Now_S *now,
                                                tqDevSDK_Linkage_Waiting_S *waiting, UINT32 max) {
    if (!Accepts(engine, now, waiting != nullptr || max == 0)) {
        return -1;
    }
    engine->mono = MonoOf(*engine, *now);
    Sort(*engine);
    UINT32 num = 0;
    for (const UINT16 slot : Range(engine->heap, engine->heap_num)) {
        const Action &action = engine->actions[slot];
        if (action.state != kWaiting) {
            continue;
        }
        if (num < max) {
            const uint64_t left = action.due > engine->mono ? action.due - engine->mono : 0;
            waiting[num] = {left, action.rule_id, action.depth, {}, action.record};
        }
        ++num;
    }
    return static_cast<int>(num);
}

LINKAGE_EXPORT int tqDevSDK_Linkage_LoadWaiting(tqDevSDK_Linkage *engine,
                                                const tqDevSDK_Linkage_Waiting_S *waiting, UINT32 num,
                                                const tqDevSDK_Linkage_Now_S *now) {
    if (!Accepts(engine, now, waiting != nullptr || num == 0)) {
        return -1;
    }
    if (HasTooManyValues(waiting, num)) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_VALUES);
    }
    if (num > engine->free_num) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_RUNNING);
    }
    engine->mono = MonoOf(*engine, *now);
    int taken = 0;
    for (const tqDevSDK_Linkage_Waiting_S &saved : Range(waiting, num)) {
        Action action{};
        action.due = DueAfter(*engine, saved.ullDelayMs);
        action.rule_id = saved.uiRuleId;
        action.depth = saved.ucDepth;
        action.record = MakeAction(saved.stAction);
        UINT32 index;
        if (!FindAction(*engine->set, action.rule_id, action.record, index, action.item)) {
            Drop(*engine, action);
            continue;
        }
        action.unit_type = engine->set->rules[index].unit_type;
        action.unit_channel = engine->set->rules[index].unit_channel;
        TakeIn(*engine, action);
        ++taken;
    }
    return taken;
}
