// SPDX-License-Identifier: Apache-2.0
/// @file Linkage_engine.h
/// The engine as its sources share it: the compiled rule set, the actions in hand, the traces. Only New and
/// SetRules allocate, one block each, in which arrays lie one behind the other.
#ifndef LINKAGE_ENGINE_H
#define LINKAGE_ENGINE_H

#include <cstddef>
#include <cstring>

#include "tqDevSDK_Linkage.h"

/// Marks a public function.
#define LINKAGE_EXPORT __attribute__((visibility("default")))

using Config = tqDevSDK_Linkage_Config_S;
using Now = tqDevSDK_Linkage_Now_S;
using Effect = tqDevSDK_Linkage_Effect_S;
using Trace = tqDevSDK_Linkage_Trace_S;
using EventRecord = tqDevSDK_SmartControl_ConfigRule_Events;
using ActionRecord = tqDevSDK_SmartControl_ConfigRule_Actions;
using RuleRecord = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using UnitRecord = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using RulesRecord = tqDevSDK_SmartControl_ConfigRules;
using UndoneRecord = tqDevSDK_SmartControl_UndoneActions_S;

/// Ends a list of indexes.
constexpr UINT32 kNone = UINT32_MAX;
constexpr UINT32 kMinutesOfDay = 1440;
/// Most rules, events and actions of a set, so that its size is a number of 32 bits.
constexpr UINT32 kMost = TQDEVSDK_LINKAGE_SET_MAX;

/// The elements of an array with its count; none when the pointer is null, whatever the count says.
template <typename Record>
struct Range {
    Range(Record *records, UINT32 count) : first(records), num(records == nullptr ? 0 : count) {}
    Record *begin() const { return first; }
    Record *end() const { return first + num; }
    UINT32 size() const { return num; }

    Record *first;
    UINT32 num;
};

/// Lays arrays out in one block; without a block it only measures.
class Block {
public:
    explicit Block(void *memory) : memory_(static_cast<char *>(memory)) {}

    template <typename Record>
    Record *Take(std::size_t count) {
        static_assert(alignof(Record) <= kAlign, "the places in a block");
        return static_cast<Record *>(Take(count, sizeof(Record)));
    }
    std::size_t Size() const { return size_; }

private:
    static constexpr std::size_t kAlign = 8;

    __attribute__((noinline)) void *Take(std::size_t count, std::size_t size) {
        char *const at = memory_ == nullptr ? nullptr : memory_ + size_;
        size_ += (count * size + kAlign - 1) & ~(kAlign - 1);
        return at;
    }

    char *memory_;
    std::size_t size_ = 0;
};

/// Numbers that fit where they are kept.
constexpr UINT32 Clip(uint64_t number) {
    return static_cast<UINT32>(number < UINT32_MAX ? number : UINT32_MAX);
}

/// A sixtieth. The target has no instruction to divide, and the function for it would be 600 bytes.
constexpr UINT32 Sixtieth(UINT32 number) {
    return static_cast<UINT32>((static_cast<uint64_t>(number) * 0x88888889U) >> 37);
}
static_assert(Sixtieth(59) == 0 && Sixtieth(60) == 1 && Sixtieth(UINT32_MAX) == UINT32_MAX / 60, "rounding");

// ---- Texts and keys ----

/// A serial, filled up with zeros, so that it compares as bytes.
struct Serial {
    char text[32];
};

/// Reads at most 32 characters.
Serial MakeSerial(const char *text);
inline bool Same(const char (&left)[32], const char (&right)[32]) {
    return memcmp(left, right, 32) == 0;
}

/// What an event is filed by.
struct KeyId {
    UINT32 domain;
    UINT32 command;
    UINT32 channel;
    Serial serial;
};
KeyId MakeKeyId(const EventRecord &event);

/// The action with all that is not used zeroed, so that two compare field by field.
ActionRecord MakeAction(const ActionRecord &record);
/// Compares two that MakeAction made.
bool SameAction(const ActionRecord &left, const ActionRecord &right);

// ---- The compiled rule set (Linkage_set) ----

/// An event that rules name.
struct Key {
    uint64_t seen_at;
    KeyId id;
    UINT32 next;          ///< Key of the same bucket.
    UINT32 first_trigger; ///< Of the list through `Trigger::next`, in the order of the rules.
    UINT16 value;         ///< The last that arrived.
    UINT8 seen;           ///< 0: none did.
};

/// One event of one rule.
struct Trigger {
    UINT32 key;
    UINT32 rule;
    UINT32 next; ///< Trigger with the same key; those of one rule follow each other.
    UINT16 value;
};

enum : UINT8 { kPeriodValid, kPeriodInvalid, kPeriodEmpty };

struct Rule {
    uint64_t judged_at;
    uint64_t fired_at;
    UINT32 id;
    UINT32 first_trigger; ///< Its triggers end where the next rule's begin; one rule more stands behind the
                          ///< last.
    UINT32 first_action;  ///< The same for its actions.
    UINT32 next;          ///< Rule of the same bucket of ids.
    UINT32 fired;
    UINT16 start; ///< Minute of the day; of an invalid period the bad hour.
    UINT16 end;   ///< Minute of the start's day, from 1440 on the next; of an invalid period the bad minute.
    UINT16 condition;
    UINT16 unit_type;
    UINT8 unit_channel;
    UINT8 enabled;
    UINT8 days; ///< Bit i: day i + 1.
    UINT8 period;
    UINT8 verdict;
    char name[31]; ///< Its first characters, terminated where there is room.
};

/// An action undone at a firing, for one UNDONE with those of the same firing behind it.
struct Undone {
    UINT32 rule;
    UINT16 item;
    UINT16 firing;
};

/// The next index in a ring.
inline UINT32 Following(UINT32 index, UINT32 max) {
    return index + 1 < max ? index + 1 : 0;
}

struct Set {
    UINT32 units;
    UINT32 rules_num, triggers_num, actions_num, keys_num;
    Rule *rules;
    Trigger *triggers;
    ActionRecord *actions;
    Key *keys;
    UINT32 *key_buckets, *id_buckets;
    UINT32 key_buckets_num, id_buckets_num;
    UndoneRecord *record; ///< Room for all actions of the rule that has most.
    Undone *undone;       ///< A ring; room for all actions at least.
    UINT32 undone_max, undone_first, undone_end, undone_num;
};

inline UINT32 TriggersOf(const Set &set, UINT32 rule) {
    return set.rules[rule + 1].first_trigger - set.rules[rule].first_trigger;
}
inline UINT32 ActionsOf(const Set &set, UINT32 rule) {
    return set.rules[rule + 1].first_action - set.rules[rule].first_action;
}

/// Bytes of the compiled set; 0 when it is refused.
std::size_t MeasureSet(const RulesRecord &rules);

/// The set in a block of its own, for free(); null with a reason. It has room for `pending` undone actions
/// more than the rules ask for.
Set *CompileSet(const RulesRecord &rules, bool end_open, UINT32 pending, int &reason);

/// Takes over what is known of events and rules that both sets have.
void Inherit(Set &set, const Set &from);

/// Index of the key, kNone when no rule names it.
UINT32 FindKey(const Set &set, const KeyId &id);

/// Index of a rule with this id: the first in the order of the set, or the next behind one of the same id.
UINT32 FindRule(const Set &set, UINT32 id);
UINT32 NextRule(const Set &set, UINT32 rule);

/// Looks in all rules of this id for an equal action of MakeAction.
bool FindAction(const Set &set, UINT32 id, const ActionRecord &action, UINT32 &rule, UINT16 &item);

// ---- Judging (Linkage_judge) ----

struct Verdict {
    UINT8 code;
    UINT16 item;
    UINT32 wanted, got;
};

/// What happened, in the terms of a set.
struct Occasion {
    const Now &now;
    uint64_t mono; ///< now's, never before an earlier call's.
    UINT32 key;
    UINT16 value;
    UINT32 depth;
};

/// Judges the rule of this trigger, the first of its rule with the occasion's key, and changes nothing.
Verdict Judge(const Config &config, const Set &set, UINT32 trigger, const Occasion &occasion);

// ---- The engine ----

enum : UINT8 { kFree, kWaiting, kRunning, kEnded };

/// An action in hand, from its firing to its last effect.
struct Action {
    uint64_t due;
    uint64_t order; ///< Counts all actions.
    UINT32 rule_id;
    UINT16 item;
    UINT16 unit_type;
    UINT16 result; ///< Of an ended one.
    UINT8 unit_channel;
    UINT8 depth;
    UINT8 state;
    ActionRecord record;
};

struct Ring {
    Trace *entries;
    UINT32 max, next, num;
};

struct tqDevSDK_Linkage {
    Config config;
    Serial serial;
    int reason;
    uint64_t mono;  ///< The latest moment of any call.
    uint64_t order; ///< Of the action taken in last.
    UINT32 trace_number;
    UINT16 firing;

    Set *set;

    Serial *members; ///< Sorted.
    UINT32 members_num;

    Action *actions;
    UINT16 *free_slots; ///< A stack.
    UINT32 free_num;
    UINT16 *heap; ///< Slots of all that are not running, the next one due first.
    UINT32 heap_num;

    Ring rings[2];
    tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S statistics;
};
using Engine = tqDevSDK_Linkage;

/// Notes the reason; -1.
int Fail(Engine &engine, int reason);

inline bool IsMoment(const Now &now) {
    return now.ucClockSet == 0 ||
           (now.uiSecondOfDay < kMinutesOfDay * 60 && now.ucDay >= 1 && now.ucDay <= 7);
}

/// True when nothing is null and the moment is one; else the reason is noted. Inline for those who check that
/// no null is used, not for speed.
__attribute__((noinline)) inline bool Accepts(Engine *engine, const Now *now, bool others_given = true) {
    if (engine == nullptr) {
        return false;
    }
    if (now == nullptr || !others_given) {
        engine->reason = TQDEVSDK_LINKAGE_REASON_NULL;
        return false;
    }
    if (!IsMoment(*now)) {
        engine->reason = TQDEVSDK_LINKAGE_REASON_NOW;
        return false;
    }
    return true;
}

/// The moment as the engine takes it: not before an earlier one.
inline uint64_t MonoOf(const Engine &engine, const Now &now) {
    return now.ullMonoMs > engine.mono ? now.ullMonoMs : engine.mono;
}

/// The moment after a wait. The last one of all is that of no effect.
inline uint64_t DueAfter(const Engine &engine, uint64_t wait) {
    return wait < UINT64_MAX - 1 - engine.mono ? engine.mono + wait : UINT64_MAX - 1;
}

inline bool IsOwn(const Engine &engine, const char (&serial)[32]) {
    return Same(engine.serial.text, serial);
}
/// True when the action is carried out here or by a reachable member.
bool IsReachable(const Engine &engine, const ActionRecord &action);

// ---- Actions in hand (Linkage_actions) ----

void InitActions(Engine &engine);

/// Puts an action that was undone at a firing behind the others; there is room.
void AddUndone(Set &set, const Undone &undone);

/// Takes in an action whose due time and origin are filled in; false when there is no room.
bool TakeIn(Engine &engine, const Action &action);

/// Drops what waits, or was undone and not pulled, and is not in the new set; moves the rest.
void MoveActions(Engine &engine, Set &to);

/// Depth of an event that the action with this token caused; false when none has or had it.
bool DepthBehind(const Engine &engine, uint64_t token, UINT32 &depth);

// ---- Trace (Linkage_trace) ----

/// An entry as far as the rule or the action tells it.
Trace MakeTrace(const Rule &rule, const Verdict &verdict, UINT32 depth);
Trace MakeTrace(const Action &action, const Verdict &verdict);

/// Files an entry, with number and moment.
void AddTrace(Engine &engine, Trace entry);

#endif
