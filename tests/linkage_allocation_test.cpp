// SPDX-License-Identifier: Apache-2.0
// The linkage engine without memory: each allocation fails once, alone and with all later ones, and between
// New or SetRules and the next nothing is allocated.
#include "linkage_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

struct Heap {
    int fail_at = 0; // counts from 1; 0: none fails
    bool all_later = false;
    bool forbidden = false;
    int seen = 0;
    long live = 0;
    std::size_t bytes = 0; // of all that did not fail

    bool Fails() {
        if (forbidden) {
            abort();
        }
        ++seen;
        return fail_at != 0 && (seen == fail_at || (all_later && seen > fail_at));
    }
} g_heap;

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *memory);

void *__wrap_malloc(std::size_t size) { return g_heap.Fails() ? nullptr : (++g_heap.live, g_heap.bytes += size, __real_malloc(size)); }
void *__wrap_calloc(std::size_t count, std::size_t size) {
    return g_heap.Fails() ? nullptr : (++g_heap.live, g_heap.bytes += count * size, __real_calloc(count, size));
}
void __wrap_free(void *memory) {
    g_heap.live -= memory != nullptr ? 1 : 0;
    __real_free(memory);
}
}

namespace linkage {
namespace {

const Event kDoor = MakeEvent("DOOR", 1);

// Runs with the n-th allocation failing, for n from 1 until none is left to fail; the number of those.
template <typename Run>
int Sweep(Run run) {
    int points = 0;
    for (const bool all_later : {false, true}) {
        for (int target = 1;; ++target) {
            g_heap = {target, all_later, false, 0, 0, 0};
            run();
            const bool reached = g_heap.seen >= target;
            g_heap.fail_at = 0;
            EXPECT_EQ(g_heap.live, 0) << "allocation " << target;
            if (!reached) {
                break;
            }
            ++points;
        }
    }
    return points;
}

TEST(LinkageAllocation, AFailureLeavesTheOldRulesInForce) {
    const Rules old({Rule(1, {kDoor}, {MakeAction("HUB", 20)})});
    const Rules wanted({Rule(2, {MakeEvent("MOTION", 1)})});
    const Config config = DefaultConfig();
    const int points = Sweep([&] {
        int reason = TQDEVSDK_LINKAGE_REASON_NONE;
        const EnginePtr engine(tqDevSDK_Linkage_New(&config, &reason));
        if (engine == nullptr) {
            EXPECT_EQ(reason, TQDEVSDK_LINKAGE_REASON_MEMORY);
            return;
        }
        const Now now = After(0);
        if (tqDevSDK_Linkage_SetRules(engine.get(), old.get()) != 0) {
            EXPECT_EQ(tqDevSDK_Linkage_LastReason(engine.get()), TQDEVSDK_LINKAGE_REASON_MEMORY);
            EXPECT_EQ(tqDevSDK_Linkage_Event(engine.get(), &kDoor, 0, &now), 0);
            return;
        }
        const int changed = tqDevSDK_Linkage_SetRules(engine.get(), wanted.get());
        EXPECT_EQ(tqDevSDK_Linkage_Event(engine.get(), &kDoor, 0, &now), changed == 0 ? 0 : 1);
    });
    EXPECT_EQ(points, 2 * 4); // engine, empty set, old set, new set
}

TEST(LinkageAllocation, ACopyIsWholeOrNothing) {
    const Rules rules({Rule(1, {kDoor}, {MakeAction("HUB", 20)}), Rule(2, {kDoor}, {MakeAction("HUB", 21)})});
    const int points = Sweep([&] {
        Set *const copy = tqDevSDK_Linkage_CopyRules(rules.get());
        EXPECT_EQ(copy == nullptr, g_heap.seen >= g_heap.fail_at);
        tqDevSDK_Linkage_FreeRules(copy);
    });
    EXPECT_EQ(points, 2 * 7); // record, units, rules, two arrays for each rule
}

TEST(LinkageAllocation, SizeOfIsWhatIsAllocated) {
    const Config config = DefaultConfig();
    const Rules rules(std::vector<Rule>(1000, Rule(1, {kDoor}, {MakeAction("HUB", 20)})));
    const std::size_t empty = tqDevSDK_Linkage_SizeOf(&config, nullptr);
    const std::size_t size = tqDevSDK_Linkage_SizeOf(&config, rules.get()) - empty; // that of the rules alone
    g_heap = {};
    Engine engine(config);
    EXPECT_EQ(g_heap.bytes, empty);
    engine.SetRules(Rules({}));
    const std::size_t set = g_heap.bytes - empty;
    engine.SetRules(rules);
    EXPECT_EQ(g_heap.bytes - empty - set, set + size);
    EXPECT_LE(set + size, 256U * 1000U);
}

TEST(LinkageAllocation, NothingElseAllocates) {
    Config config = DefaultConfig();
    config.uiAllWindowMs = 1000;
    Engine engine(config);
    ASSERT_EQ(engine.SetRules(Rules({Rule(1, {kDoor, MakeEvent("MOTION", 1)}, {MakeAction("HUB", 20, 1), MakeAction("LAMP", 21)}, kAll),
                                     Rule(2, {MakeEvent("MOTION", 1)}, std::vector<Action>(6, MakeAction("HUB", 22)))})),
              0);
    g_heap.forbidden = true;
    for (uint64_t time = 0; time < 5000; time += 100) {
        const Now now = After(time);
        tqDevSDK_Linkage_SetMember(engine.get(), time % 300 == 0 ? "LAMP" : "FAR", time % 700 != 0);
        engine.Happen(time % 200 == 0 ? kDoor : MakeEvent("MOTION", 1), now);
        engine.Take(now);
        for (const uint64_t token : engine.tokens) {
            engine.Done(token, token % 512 == 0 ? TQDEVSDK_LINKAGE_CANNOT : 0, now);
        }
        engine.tokens.clear();
        engine.Take(now);
        engine.Explain(kDoor, now);
        engine.Trace();
        engine.Held();
        tqDevSDK_Linkage_Waiting_S waiting[4];
        const int saved = tqDevSDK_Linkage_SaveWaiting(engine.get(), &now, waiting, 4);
        tqDevSDK_Linkage_LoadWaiting(engine.get(), waiting, saved > 0 ? 1 : 0, &now);
    }
    g_heap.forbidden = false;
    tqDevSDK_Linkage_RuleState_S state{};
    tqDevSDK_Linkage_ReadRules(engine.get(), 0, &state, 1);
    EXPECT_GT(state.uiFired, 40U);
}

} // namespace
} // namespace linkage
