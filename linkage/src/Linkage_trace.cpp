// SPDX-License-Identifier: Apache-2.0
// The two traces: entries as they are filed and read.
#include "Linkage_engine.h"

namespace {

static_assert(sizeof(Trace) == 32, "an entry of a trace");

Ring &RingFor(Engine &engine, UINT8 verdict) {
    const bool fired =
        verdict >= TQDEVSDK_LINKAGE_VERDICT_CHAIN && verdict <= TQDEVSDK_LINKAGE_VERDICT_DROPPED;
    return engine.rings[fired ? TQDEVSDK_LINKAGE_RING_FIRED : TQDEVSDK_LINKAGE_RING_HELD];
}

// True when the number was given out later than the other; numbers wrap.
bool IsLater(UINT32 number, UINT32 other) {
    return static_cast<int32_t>(number - other) > 0;
}

} // namespace

Trace MakeTrace(const Rule &rule, const Verdict &verdict, UINT32 depth) {
    const auto cut = static_cast<UINT8>(depth < UINT8_MAX ? depth : UINT8_MAX);
    return {0,
            0,
            rule.id,
            verdict.wanted,
            verdict.got,
            verdict.item,
            rule.unit_type,
            rule.unit_channel,
            verdict.code,
            cut,
            0};
}

Trace MakeTrace(const Action &action, const Verdict &verdict) {
    return {0,
            0,
            action.rule_id,
            verdict.wanted,
            verdict.got,
            verdict.item,
            action.unit_type,
            action.unit_channel,
            verdict.code,
            action.depth,
            0};
}

void AddTrace(Engine &engine, Trace entry) {
    entry.ullMonoMs = engine.mono;
    entry.uiNumber = ++engine.trace_number;
    Ring &ring = RingFor(engine, entry.ucVerdict);
    if (ring.max == 0) {
        return;
    }
    ring.entries[ring.next] = entry;
    ring.next = Following(ring.next, ring.max);
    ring.num += ring.num < ring.max ? 1 : 0;
}

LINKAGE_EXPORT int tqDevSDK_Linkage_ReadTrace(tqDevSDK_Linkage *engine, int ring, UINT32 after,
                                              tqDevSDK_Linkage_Trace_S *entries, UINT32 max) {
    if (engine == nullptr) {
        return -1;
    }
    if (entries == nullptr) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_NULL);
    }
    if (ring != TQDEVSDK_LINKAGE_RING_FIRED && ring != TQDEVSDK_LINKAGE_RING_HELD) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_RING);
    }
    const Ring &from = engine->rings[ring];
    UINT32 num = 0;
    for (UINT32 i = from.num; i > 0 && num < max; --i) {
        const UINT32 at = from.next >= i ? from.next - i : from.next + from.max - i;
        // After none every entry is new, however often the numbers wrapped.
        if (after == 0 || IsLater(from.entries[at].uiNumber, after)) {
            entries[num++] = from.entries[at];
        }
    }
    return static_cast<int>(num);
}
