// SPDX-License-Identifier: Apache-2.0
// tq_linkage_peer [SETS]: random rule sets and events, any and all, judged by the linkage engine and by
// CLIPS; ends with 1 when they differ. Called by ./bench linkage --peer.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "linkage_clips.h"
#include "tqDevSDK_Linkage.h"

namespace {

using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;

constexpr unsigned kRules = 4;
constexpr unsigned kEvents = 12; // that happen in each set
constexpr tqDevSDK_Linkage_Now_S kNow{0, 0, 1, 1};

std::mt19937 g_random(1);

UINT32 Below(UINT32 bound) {
    return static_cast<UINT32>(g_random() % bound);
}

// One of four events of two devices, with one of three values.
Event AnEvent() {
    Event event{1100, 5 + Below(2), {}, 1, static_cast<UINT16>(Below(3))};
    snprintf(event.acDevId, sizeof event.acDevId, "SENSOR%u", Below(2));
    return event;
}

std::string Key(const Event &event) {
    return std::string(event.acDevId) + "-" + std::to_string(event.uiCmdId);
}

std::string Fact(const char *what, const Event &event) {
    return std::string("(") + what + " " + Key(event) + " " + std::to_string(event.usValue) + ")";
}

// A rule leaves its mark when one of its events arrived, with ALL while every event has its last value.
std::string ClipsRule(unsigned index, const std::vector<Event> &events, bool all) {
    std::string arrived;
    std::string last;
    for (const Event &event : events) {
        arrived += Fact("arrived", event);
        last += Fact("last", event);
    }
    return "(defrule rule-" + std::to_string(index) + " (or " + arrived + ") " + (all ? last : "") +
           " => (bind ?*fired-" + std::to_string(index) + "* 1))";
}

struct RandomSet {
    RandomSet() {
        for (unsigned i = 0; i < kRules; ++i) {
            for (UINT32 left = 1 + Below(3); left > 0; --left) {
                events[i].push_back(AnEvent());
            }
            Rule &rule = rules[i];
            rule.uiRuleId = i;
            rule.ucEnable = 1;
            for (UINT8 &day : rule.aucWeekDaysEn) {
                day = 1;
            }
            rule.uiEnd_hour = 24;
            rule.usCondition = static_cast<UINT16>(Below(2));
            rule.usEvents_Num = static_cast<UINT16>(events[i].size());
            rule.pstEvents = events[i].data();
        }
        unit = {1, 1, kRules, rules};
        set = {0, 1, {}, &unit};
    }
    RandomSet(const RandomSet &) = delete;
    RandomSet &operator=(const RandomSet &) = delete;

    std::vector<Event> events[kRules];
    Rule rules[kRules] = {};
    tqDevSDK_SmartControl_ConfigRules_ValueUnit unit{};
    tqDevSDK_SmartControl_ConfigRules set{};
};

void *NewPeer(const RandomSet &set) {
    void *const peer = ClipsNew(1, 0);
    for (unsigned i = 0; peer != nullptr && i < kRules; ++i) {
        const std::string global = "(defglobal ?*fired-" + std::to_string(i) + "* = 0)";
        if (ClipsBuild(peer, global.c_str()) != 1 ||
            ClipsBuild(peer, ClipsRule(i, set.events[i], set.rules[i].usCondition == 1).c_str()) != 1) {
            exit(2);
        }
    }
    return peer;
}

// Plays one set; the number of verdicts, or -1 after telling the first that differs.
int Play(unsigned number) {
    const RandomSet set;
    tqDevSDK_Linkage_Config_S config{
        "HUB", 1000, 0, 0, 1, 0,
        0,     0,    0, 0, 2, {{0, TQDEVSDK_LINKAGE_HOW_ANY}, {1, TQDEVSDK_LINKAGE_HOW_ALL}}};
    tqDevSDK_Linkage *const engine = tqDevSDK_Linkage_New(&config, nullptr);
    void *const peer = NewPeer(set);
    if (engine == nullptr || peer == nullptr || tqDevSDK_Linkage_SetRules(engine, &set.set) != 0) {
        exit(2);
    }
    std::vector<UINT32> fired(kRules);
    int verdicts = 0;
    for (unsigned i = 0; i < kEvents && verdicts >= 0; ++i) {
        const Event event = AnEvent();
        tqDevSDK_Linkage_Event(engine, &event, 0, &kNow);
        ClipsReplace(peer, Key(event).c_str(), Fact("last", event).c_str());
        ClipsHappen(peer, Fact("arrived", event).c_str());
        for (unsigned r = 0; r < kRules && verdicts >= 0; ++r) {
            tqDevSDK_Linkage_RuleState_S state{};
            tqDevSDK_Linkage_ReadRules(engine, r, &state, 1);
            const bool ours = state.uiFired != fired[r];
            const bool theirs = ClipsTakeMark(peer, ("fired-" + std::to_string(r)).c_str()) == 1;
            fired[r] = state.uiFired;
            ++verdicts;
            if (ours != theirs) {
                printf("set %u, event %u, rule %u: %d here, %d there\n", number, i, r, ours, theirs);
                verdicts = -1;
            }
        }
    }
    ClipsFree(peer);
    tqDevSDK_Linkage_Free(engine);
    return verdicts;
}

} // namespace

int main(int argc, char **argv) {
    const unsigned sets = argc > 1 ? static_cast<unsigned>(strtoul(argv[1], nullptr, 10)) : 10000;
    long verdicts = 0;
    for (unsigned number = 0; number < sets; ++number) {
        const int more = Play(number);
        if (more < 0) {
            return 1;
        }
        verdicts += more;
    }
    printf("%ld verdicts on %u rule sets, all the same.\n", verdicts, sets);
    return 0;
}
