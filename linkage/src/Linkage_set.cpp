// SPDX-License-Identifier: Apache-2.0
// Compiling a rule set: rules, events and actions in arrays of their own, events and rule ids found by hash.
#include <cstdlib>

#include "Linkage_engine.h"

namespace {

struct Counts {
    UINT32 rules, triggers, actions;
    UINT32 most_actions; // of one rule
};

UINT32 Mix(UINT32 hash, UINT32 word) {
    hash ^= word;
    return (hash << 15 | hash >> 17) * 0x9E3779B1U;
}

// Two words at a time, which do not wait for each other.
UINT32 Hash(const KeyId &id) {
    UINT32 words[sizeof id / sizeof(UINT32)];
    constexpr std::size_t kLast = sizeof words / sizeof words[0] - 1;
    static_assert(kLast % 2 == 0, "words in pairs, and one");
    memcpy(words, &id, sizeof id);
    UINT32 even = words[kLast];
    UINT32 odd = 1;
    for (std::size_t i = 0; i < kLast; i += 2) {
        even = Mix(even, words[i]);
        odd = Mix(odd, words[i + 1]);
    }
    return Mix(Mix(even, odd), 0);
}

// One of `count` buckets, by the upper bits.
UINT32 Bucket(UINT32 hash, UINT32 count) {
    return static_cast<UINT32>((static_cast<uint64_t>(hash) * count) >> 32);
}

UINT32 &BucketOf(const Set &set, const KeyId &id) {
    return set.key_buckets[Bucket(Hash(id), set.key_buckets_num)];
}

UINT32 &BucketOf(const Set &set, UINT32 rule_id) {
    return set.id_buckets[Bucket(rule_id * 0x9E3779B1U, set.id_buckets_num)];
}

// What a set holds, or why it is refused.
int Count(const RulesRecord &rules, Counts &counts) {
    counts = {};
    for (const UnitRecord &unit : Range(rules.pstUnit, rules.usNum)) {
        for (const RuleRecord &rule : Range(unit.pstRuleUnit, unit.usNum)) {
            const Range actions(rule.pstActions, rule.usActions_Num);
            for (const ActionRecord &action : actions) {
                if (action.ucValueNum > TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX) {
                    return TQDEVSDK_LINKAGE_REASON_VALUES;
                }
            }
            ++counts.rules;
            counts.triggers += Range(rule.pstEvents, rule.usEvents_Num).size();
            counts.actions += actions.size();
            counts.most_actions = actions.size() > counts.most_actions ? actions.size() : counts.most_actions;
            if (counts.rules > kMost || counts.triggers > kMost || counts.actions > kMost) {
                return TQDEVSDK_LINKAGE_REASON_SIZE;
            }
        }
    }
    return TQDEVSDK_LINKAGE_REASON_NONE;
}

// A set without content; `block` begins with it.
Set Arrange(Block &block, const Counts &counts, UINT32 pending) {
    static_assert(sizeof(UndoneRecord) <= 2 * sizeof(ActionRecord), "the head of an undone record");
    // An action that was handed out may come back undone when no rule is in force.
    const UINT32 most_actions = counts.most_actions > 0 ? counts.most_actions : 1;

    Set set{};
    set.key_buckets_num = counts.triggers + 1;
    set.id_buckets_num = counts.rules / 4 + 1; // asked for rarely
    set.undone_max = counts.actions + pending;
    block.Take<Set>(1);
    set.rules = block.Take<Rule>(counts.rules + 1);
    set.keys = block.Take<Key>(counts.triggers);
    set.triggers = block.Take<Trigger>(counts.triggers);
    set.actions = block.Take<ActionRecord>(counts.actions);
    set.key_buckets = block.Take<UINT32>(set.key_buckets_num);
    set.id_buckets = block.Take<UINT32>(set.id_buckets_num);
    set.record = reinterpret_cast<UndoneRecord *>(block.Take<ActionRecord>(most_actions + 2U));
    set.undone = block.Take<Undone>(set.undone_max);
    return set;
}

std::size_t Measure(const Counts &counts, UINT32 pending) {
    Block block(nullptr);
    Arrange(block, counts, pending);
    return block.Size();
}

// ---- Rules ----

UINT16 ClipShort(UINT32 number) {
    return static_cast<UINT16>(number < UINT16_MAX ? number : UINT16_MAX);
}

bool IsTimeOfDay(UINT32 hour, UINT32 minute) {
    return (hour < 24 && minute < 60) || (hour == 24 && minute == 0);
}

void ReadPeriod(const RuleRecord &record, bool end_open, Rule &rule) {
    const bool start_valid = IsTimeOfDay(record.uiStart_hour, record.uiStart_min);
    if (!start_valid || !IsTimeOfDay(record.uiEnd_hour, record.uiEnd_min)) {
        rule.period = kPeriodInvalid;
        rule.start = ClipShort(start_valid ? record.uiEnd_hour : record.uiStart_hour);
        rule.end = ClipShort(start_valid ? record.uiEnd_min : record.uiStart_min);
        return;
    }
    rule.start = static_cast<UINT16>(record.uiStart_hour * 60 + record.uiStart_min);
    rule.end = static_cast<UINT16>(record.uiEnd_hour * 60 + record.uiEnd_min +
                                   (record.ucIsCrossDay != 0 ? kMinutesOfDay : 0));
    const UINT32 last = rule.end - (end_open ? 1U : 0U) + 1; // the minute behind the last, so that 0 is one
    rule.period = last > rule.start ? kPeriodValid : kPeriodEmpty;
}

// Copies what fits and ends with a whole UTF-8 character.
template <std::size_t N>
void CopyName(char (&to)[N], const char (&from)[64]) {
    std::size_t length = strnlen(from, sizeof from);
    if (length > N) {
        length = N;
        while (length > 0 && (static_cast<unsigned char>(from[length]) & 0xC0) == 0x80) {
            --length;
        }
    }
    memset(to, 0, N);
    memcpy(to, from, length);
}

Rule ReadRule(const UnitRecord &unit, const RuleRecord &record, bool end_open) {
    Rule rule{};
    rule.id = record.uiRuleId;
    rule.condition = record.usCondition;
    rule.unit_type = unit.usType;
    rule.unit_channel = unit.ucChannel;
    rule.enabled = record.ucEnable;
    for (unsigned day = 0; day < 7; ++day) {
        rule.days = static_cast<UINT8>(rule.days | (record.aucWeekDaysEn[day] != 0 ? 1U << day : 0U));
    }
    ReadPeriod(record, end_open, rule);
    CopyName(rule.name, record.acRuleName);
    return rule;
}

// The key of an event, made when it is new.
UINT32 TakeKey(Set &set, const KeyId &id) {
    UINT32 &bucket = BucketOf(set, id);
    for (UINT32 key = bucket; key != kNone; key = set.keys[key].next) {
        if (memcmp(&set.keys[key].id, &id, sizeof id) == 0) {
            return key;
        }
    }
    set.keys[set.keys_num] = {0, id, bucket, kNone, 0, 0};
    bucket = set.keys_num;
    return set.keys_num++;
}

// Rules, triggers and actions in their order.
void Fill(Set &set, const RulesRecord &rules, bool end_open) {
    for (const UnitRecord &unit : Range(rules.pstUnit, rules.usNum)) {
        for (const RuleRecord &record : Range(unit.pstRuleUnit, unit.usNum)) {
            Rule &rule = set.rules[set.rules_num];
            rule = ReadRule(unit, record, end_open);
            rule.first_trigger = set.triggers_num;
            rule.first_action = set.actions_num;
            for (const EventRecord &event : Range(record.pstEvents, record.usEvents_Num)) {
                const UINT32 key = TakeKey(set, MakeKeyId(event));
                set.triggers[set.triggers_num++] = {key, set.rules_num, kNone, event.usValue};
            }
            for (const ActionRecord &action : Range(record.pstActions, record.usActions_Num)) {
                set.actions[set.actions_num++] = MakeAction(action);
            }
            ++set.rules_num;
        }
    }
    set.rules[set.rules_num] = {};
    set.rules[set.rules_num].first_trigger = set.triggers_num;
    set.rules[set.rules_num].first_action = set.actions_num;
}

// The lists through triggers and rules, from behind, so that they have the order of the set.
void Link(Set &set) {
    for (UINT32 i = set.triggers_num; i-- > 0;) {
        UINT32 &first = set.keys[set.triggers[i].key].first_trigger;
        set.triggers[i].next = first;
        first = i;
    }
    for (UINT32 i = set.rules_num; i-- > 0;) {
        UINT32 &first = BucketOf(set, set.rules[i].id);
        set.rules[i].next = first;
        first = i;
    }
}

// The first rule of the id in a bucket's list.
UINT32 Find(const Set &set, UINT32 rule, UINT32 id) {
    while (rule != kNone && set.rules[rule].id != id) {
        rule = set.rules[rule].next;
    }
    return rule;
}

} // namespace

Serial MakeSerial(const char *text) {
    Serial serial{};
    memcpy(serial.text, text, strnlen(text, sizeof serial.text));
    return serial;
}

KeyId MakeKeyId(const EventRecord &event) {
    return {event.uiDomain, event.uiCmdId, event.ucChannel, MakeSerial(event.acDevId)};
}

ActionRecord MakeAction(const ActionRecord &record) {
    ActionRecord action{};
    action.uiDomain = record.uiDomain;
    action.uiCmdId = record.uiCmdId;
    const Serial serial = MakeSerial(record.acDevId);
    memcpy(action.acDevId, serial.text, sizeof serial);
    action.ucChannel = record.ucChannel;
    action.ucValueNum = record.ucValueNum;
    for (UINT32 i = 0; i < record.ucValueNum && i < TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX; ++i) {
        action.ausValue[i] = record.ausValue[i];
    }
    action.uiDelay = record.uiDelay;
    return action;
}

bool SameAction(const ActionRecord &left, const ActionRecord &right) {
    return left.uiDomain == right.uiDomain && left.uiCmdId == right.uiCmdId &&
           Same(left.acDevId, right.acDevId) && left.ucChannel == right.ucChannel &&
           left.ucValueNum == right.ucValueNum &&
           memcmp(left.ausValue, right.ausValue, sizeof left.ausValue) == 0 && left.uiDelay == right.uiDelay;
}

std::size_t MeasureSet(const RulesRecord &rules) {
    Counts counts;
    return Count(rules, counts) == TQDEVSDK_LINKAGE_REASON_NONE ? Measure(counts, 0) : 0;
}

Set *CompileSet(const RulesRecord &rules, bool end_open, UINT32 pending, int &reason) {
    Counts counts;
    const int refused = Count(rules, counts);
    if (refused != TQDEVSDK_LINKAGE_REASON_NONE) {
        reason = refused;
        return nullptr;
    }
    void *const memory = malloc(Measure(counts, pending));
    if (memory == nullptr) {
        reason = TQDEVSDK_LINKAGE_REASON_MEMORY;
        return nullptr;
    }
    Block block(memory);
    auto *const set = static_cast<Set *>(memory);
    *set = Arrange(block, counts, pending);
    set->units = Range(rules.pstUnit, rules.usNum).size();
    memset(set->key_buckets, 0xFF, set->key_buckets_num * sizeof(UINT32));
    memset(set->id_buckets, 0xFF, set->id_buckets_num * sizeof(UINT32));
    memset(static_cast<void *>(set->record), 0, sizeof *set->record);
    Fill(*set, rules, end_open);
    Link(*set);
    return set;
}

void Inherit(Set &set, const Set &from) {
    for (const Key &old : Range(from.keys, from.keys_num)) {
        const UINT32 key = old.seen != 0 ? FindKey(set, old.id) : kNone;
        if (key != kNone) {
            set.keys[key].seen_at = old.seen_at;
            set.keys[key].value = old.value;
            set.keys[key].seen = 1;
        }
    }
    for (Rule &rule : Range(set.rules, set.rules_num)) {
        const UINT32 same = FindRule(from, rule.id);
        if (same != kNone) {
            const Rule &old = from.rules[same];
            rule.judged_at = old.judged_at;
            rule.fired_at = old.fired_at;
            rule.fired = old.fired;
            rule.verdict = old.verdict;
        }
    }
}

UINT32 FindKey(const Set &set, const KeyId &id) {
    UINT32 key = BucketOf(set, id);
    while (key != kNone && memcmp(&set.keys[key].id, &id, sizeof id) != 0) {
        key = set.keys[key].next;
    }
    return key;
}

UINT32 FindRule(const Set &set, UINT32 id) {
    return Find(set, BucketOf(set, id), id);
}

UINT32 NextRule(const Set &set, UINT32 rule) {
    return Find(set, set.rules[rule].next, set.rules[rule].id);
}

bool FindAction(const Set &set, UINT32 id, const ActionRecord &action, UINT32 &rule, UINT16 &item) {
    for (rule = FindRule(set, id); rule != kNone; rule = NextRule(set, rule)) {
        const ActionRecord *const actions = set.actions + set.rules[rule].first_action;
        for (UINT32 i = 0; i < ActionsOf(set, rule); ++i) {
            if (SameAction(actions[i], action)) {
                item = static_cast<UINT16>(i);
                return true;
            }
        }
    }
    return false;
}
