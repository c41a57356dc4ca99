// SPDX-License-Identifier: Apache-2.0
// Life of an engine: configuration, members, the rule set in force, statistics.
#include <cstdlib>

#include "Linkage_engine.h"

namespace {

static_assert(sizeof(tqDevSDK_Linkage_RuleState_S) == 24, "the state of a rule");

int CheckHow(const Config &config) {
    if (config.usHowNum > sizeof config.astHow / sizeof config.astHow[0]) {
        return TQDEVSDK_LINKAGE_REASON_HOW;
    }
    for (UINT16 i = 0; i < config.usHowNum; ++i) {
        const UINT8 how = config.astHow[i].ucHow;
        if (how != TQDEVSDK_LINKAGE_HOW_ANY && how != TQDEVSDK_LINKAGE_HOW_ALL) {
            return TQDEVSDK_LINKAGE_REASON_HOW;
        }
        for (UINT16 j = 0; j < i; ++j) {
            if (config.astHow[j].usCondition == config.astHow[i].usCondition) {
                return TQDEVSDK_LINKAGE_REASON_CONDITION_TWICE;
            }
        }
    }
    return TQDEVSDK_LINKAGE_REASON_NONE;
}

int CheckConfig(const Config *config) {
    if (config == nullptr) {
        return TQDEVSDK_LINKAGE_REASON_NULL;
    }
    if (config->acSerial[0] == '\0') {
        return TQDEVSDK_LINKAGE_REASON_SERIAL;
    }
    if (config->uiDelayUnitMs == 0) {
        return TQDEVSDK_LINKAGE_REASON_DELAY_UNIT;
    }
    return CheckHow(*config);
}

// An engine without content; `block` begins with it.
Engine Arrange(Block &block, const Config &config) {
    Engine engine{};
    block.Take<Engine>(1);
    engine.actions = block.Take<Action>(config.usRunningMax);
    engine.rings[TQDEVSDK_LINKAGE_RING_FIRED] = {block.Take<Trace>(config.usFiredMax), config.usFiredMax, 0,
                                                 0};
    engine.rings[TQDEVSDK_LINKAGE_RING_HELD] = {block.Take<Trace>(config.usHeldMax), config.usHeldMax, 0, 0};
    engine.members = block.Take<Serial>(config.usMemberMax);
    engine.free_slots = block.Take<UINT16>(config.usRunningMax);
    engine.heap = block.Take<UINT16>(config.usRunningMax);
    return engine;
}

// The engine alone, in a zeroed block.
Engine *Make(const Config &config) {
    Block measure(nullptr);
    Arrange(measure, config);
    void *const memory = calloc(1, measure.Size());
    if (memory == nullptr) {
        return nullptr;
    }
    Block block(memory);
    auto *const engine = static_cast<Engine *>(memory);
    *engine = Arrange(block, config);
    engine->config = config;
    engine->serial = MakeSerial(config.acSerial);
    InitActions(*engine);
    return engine;
}

// Index of the first member that is not before the serial.
UINT32 MemberIndex(const Engine &engine, const char (&serial)[32]) {
    UINT32 first = 0;
    UINT32 last = engine.members_num;
    while (first < last) {
        const UINT32 middle = first + (last - first) / 2;
        if (memcmp(engine.members[middle].text, serial, sizeof serial) < 0) {
            first = middle + 1;
        } else {
            last = middle;
        }
    }
    return first;
}

bool IsMemberAt(const Engine &engine, UINT32 index, const char (&serial)[32]) {
    return index < engine.members_num && Same(engine.members[index].text, serial);
}

} // namespace

int Fail(Engine &engine, int reason) {
    engine.reason = reason;
    return -1;
}

bool IsReachable(const Engine &engine, const ActionRecord &action) {
    return IsOwn(engine, action.acDevId) ||
           IsMemberAt(engine, MemberIndex(engine, action.acDevId), action.acDevId);
}

LINKAGE_EXPORT tqDevSDK_Linkage *tqDevSDK_Linkage_New(const tqDevSDK_Linkage_Config_S *config, int *reason) {
    int refused = CheckConfig(config);
    Engine *engine = nullptr;
    if (refused == TQDEVSDK_LINKAGE_REASON_NONE) {
        refused = TQDEVSDK_LINKAGE_REASON_MEMORY;
        engine = Make(*config);
    }
    if (engine != nullptr) {
        engine->set = CompileSet({}, false, 0, refused);
        if (engine->set != nullptr) {
            return engine;
        }
    }
    free(engine);
    if (reason != nullptr) {
        *reason = refused;
    }
    return nullptr;
}

LINKAGE_EXPORT void tqDevSDK_Linkage_Free(tqDevSDK_Linkage *engine) {
    if (engine != nullptr) {
        free(engine->set);
        free(engine);
    }
}

LINKAGE_EXPORT size_t tqDevSDK_Linkage_SizeOf(const tqDevSDK_Linkage_Config_S *config,
                                              const tqDevSDK_SmartControl_ConfigRules *rules) {
    if (CheckConfig(config) != TQDEVSDK_LINKAGE_REASON_NONE) {
        return 0;
    }
    Block block(nullptr);
    Arrange(block, *config);
    const size_t set = MeasureSet(rules != nullptr ? *rules : RulesRecord{});
    return set != 0 ? block.Size() + set : 0;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_LastReason(const tqDevSDK_Linkage *engine) {
    return engine != nullptr ? engine->reason : static_cast<int>(TQDEVSDK_LINKAGE_REASON_NULL);
}

LINKAGE_EXPORT int tqDevSDK_Linkage_SetRules(tqDevSDK_Linkage *engine,
                                             const tqDevSDK_SmartControl_ConfigRules *rules) {
    if (engine == nullptr) {
        return -1;
    }
    if (rules == nullptr) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_NULL);
    }
    Set *const set =
        CompileSet(*rules, engine->config.ucPeriodEndOpen != 0, engine->set->undone_num, engine->reason);
    if (set == nullptr) {
        return -1;
    }
    Inherit(*set, *engine->set);
    MoveActions(*engine, *set);
    free(engine->set);
    engine->set = set;
    return 0;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_SetMember(tqDevSDK_Linkage *engine, const char *serial, int reachable) {
    if (engine == nullptr) {
        return -1;
    }
    if (serial == nullptr) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_NULL);
    }
    const Serial member = MakeSerial(serial);
    if (member.text[0] == '\0' || IsOwn(*engine, member.text)) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_SERIAL);
    }
    const UINT32 index = MemberIndex(*engine, member.text);
    if (IsMemberAt(*engine, index, member.text) == (reachable != 0)) {
        return 0;
    }
    Serial *const at = engine->members + index;
    const UINT32 behind = engine->members_num - index;
    if (reachable == 0) {
        memmove(at, at + 1, (behind - 1) * sizeof *at);
        --engine->members_num;
        return 0;
    }
    if (engine->members_num == engine->config.usMemberMax) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_MEMBERS);
    }
    memmove(at + 1, at, behind * sizeof *at);
    *at = member;
    ++engine->members_num;
    return 0;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_Statistics(tqDevSDK_Linkage *engine,
                                               tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S *statistics) {
    if (engine == nullptr) {
        return -1;
    }
    if (statistics == nullptr) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_NULL);
    }
    *statistics = engine->statistics;
    statistics->ucHasRule = engine->set->rules_num != 0;
    statistics->uiRuleRootNum = engine->set->rules_num;
    return 0;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_ReadRules(tqDevSDK_Linkage *engine, UINT32 first,
                                              tqDevSDK_Linkage_RuleState_S *states, UINT32 max) {
    if (engine == nullptr) {
        return -1;
    }
    if (states == nullptr) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_NULL);
    }
    const Set &set = *engine->set;
    UINT32 num = 0;
    for (; num < max && first < set.rules_num; ++num, ++first) {
        const Rule &rule = set.rules[first];
        states[num] = {rule.judged_at,    rule.id,      rule.fired,  rule.unit_type,
                       rule.unit_channel, rule.verdict, {0, 0, 0, 0}};
    }
    return static_cast<int>(num);
}
