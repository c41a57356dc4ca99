// SPDX-License-Identifier: Apache-2.0
// The linkage engine: what fires, what comes of it, and what it says about it.
#include "linkage_fixture.h"

#include <gtest/gtest.h>

namespace linkage {
namespace {

const Event kDoor = MakeEvent("DOOR", 1);
const Event kMotion = MakeEvent("MOTION", 1);

// ---- What fires ----

TEST(Linkage, SaysWhyARuleDoesNotFireInTheOrderOfTheChecks) {
    // Each row mends what the row before was held by; all else is wrong from the start.
    Rule rule(1, {kDoor, kMotion, MakeEvent("LIGHT", 7)}, {}, 9);
    rule.Named("Porch").On("").Within("25:70", "8:00");
    rule.record.ucEnable = 0;
    Config config = DefaultConfig();
    config.uiAllWindowMs = 1000;
    config.uiCooldownMs = 5000;
    config.ucChainMax = 0;
    Engine engine(config);
    Now now{10000, 0, 0, 0};
    const auto judge = [&](UINT16 value) {
        EXPECT_EQ(engine.SetRules(Rules({rule})), 0);
        EXPECT_EQ(engine.Happen(MakeEvent("DOOR", value), now), 0);
        const Lines held = engine.Held();
        return held.size() == 1 ? held[0] : std::to_string(held.size()) + " entries";
    };

    EXPECT_EQ(judge(2), "rule 1 \"Porch\" held: event 1 has value 2, not 1");
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: it is disabled");
    rule.record.ucEnable = 5;
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: 25:70 is no time of day");
    rule.Within("22:00", "24:01");
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: 24:01 is no time of day");
    rule.Within("22:00", "6:30");
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: the period 22:00 to 06:30 is empty");
    rule.Within("22:00", "n6:30");
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: the clock is not set");
    now = At(6, "12:00", now.ullMonoMs);
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: 12:00 is not within 22:00 to n06:30");
    now = At(6, "22:00", now.ullMonoMs);
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: no day is set");
    rule.On("13457");
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: day 6 is not among 1 3 4 5 7");
    rule.On("1234567");
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: condition 9 is not configured");
    rule.record.usCondition = kAll;
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: event 2 was not seen yet");
    engine.Happen(kMotion, now);
    EXPECT_EQ(engine.Held(), Lines{"rule 1 \"Porch\" held: event 3 was not seen yet"});
    engine.Happen(MakeEvent("LIGHT", 8), now);
    EXPECT_EQ(engine.Held(), Lines{"rule 1 \"Porch\" held: event 3 has value 8, not 7"});
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: event 3 has value 8, not 7");
    now.ullMonoMs += 1001;
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: event 2 is 1001 ms old, more than 1000");
    engine.Happen(kMotion, now);
    engine.Held();
    EXPECT_EQ(engine.Happen(MakeEvent("LIGHT", 7), now), 1);
    EXPECT_EQ(engine.Trace(), Lines{"rule 1 \"Porch\" fired: event 3 has value 7"});
    now.ullMonoMs += 1000; // an age of the window still counts
    EXPECT_EQ(judge(1), "rule 1 \"Porch\" held: it fired 1000 ms ago and rests 5000");
    now.ullMonoMs += 3999;
    EXPECT_EQ(engine.Explain(kDoor, now), Lines{"rule 1 \"Porch\" held: event 2 is 4999 ms old, more than 1000"});
}

TEST(Linkage, RestsAfterFiringAndTakesTimeThatRunsBackwardsAsStandingStill) {
    Config config = DefaultConfig();
    config.uiCooldownMs = 5000;
    Engine engine(config);
    engine.SetRules(Rules({Rule(1, {kDoor})}));
    EXPECT_EQ(engine.Happen(kDoor, After(10000)), 1);
    EXPECT_EQ(engine.Happen(kDoor, After(14999)), 0);
    EXPECT_EQ(engine.Happen(kDoor, After(3)), 0);
    EXPECT_EQ(engine.Held(),
              (Lines{"rule 1 \"\" held: it fired 4999 ms ago and rests 5000", "rule 1 \"\" held: it fired 4999 ms ago and rests 5000"}));
    engine.SetRules(Rules({Rule(1, {kDoor})})); // the rest survives, and ends
    EXPECT_EQ(engine.Happen(kDoor, After(14999)), 0);
    EXPECT_EQ(engine.Happen(kDoor, After(15000)), 1);
    tqDevSDK_Linkage_RuleState_S state{};
    EXPECT_EQ(tqDevSDK_Linkage_ReadRules(engine.get(), 0, &state, 1), 1);
    EXPECT_EQ(state.uiFired, 2U);
    EXPECT_EQ(state.ullMonoMs, 15000U);
    EXPECT_EQ(state.ucVerdict, TQDEVSDK_LINKAGE_VERDICT_FIRED);
    EXPECT_EQ(tqDevSDK_Linkage_ReadRules(engine.get(), 1, &state, 1), 0);
}

TEST(Linkage, FilesEventsByAllTheirPartsAndJudgesEachRuleOnce) {
    // Two events of one rule have the same key; a serial fills its field; a count without an array is none.
    const std::string longest(32, 'S');
    Rules rules({Rule(1, {MakeEvent(longest, 1), MakeEvent(longest, 2)}), Rule(2, {MakeEvent(longest, 2)}), Rule(3)});
    rules.records()[2].usEvents_Num = 5;
    Engine engine;
    ASSERT_EQ(engine.SetRules(rules), 0);
    EXPECT_EQ(engine.Happen(MakeEvent(longest, 2), After(0)), 2);
    EXPECT_EQ(engine.Happen(MakeEvent(longest, 3), After(0)), 0);
    EXPECT_EQ(engine.Happen(MakeEvent(longest.substr(1), 2), After(0)), 0);
    EXPECT_EQ(engine.Happen(MakeEvent(longest, 2, 6), After(0)), 0);
    EXPECT_EQ(engine.Happen(MakeEvent(longest, 2, 5, 2), After(0)), 0);
    EXPECT_EQ(engine.Trace(), (Lines{"rule 1 \"\" fired: event 2 has value 2", "rule 2 \"\" fired: event 1 has value 2"}));
    EXPECT_EQ(engine.Held(), (Lines{"rule 1 \"\" held: event 1 has value 3, not 1", "rule 2 \"\" held: event 1 has value 3, not 2"}));
}

TEST(Linkage, ExplainsNearMissesAndChangesNothing) {
    Engine engine;
    engine.SetRules(Rules({Rule(1, {kMotion, MakeEvent("DOOR", 1, 6)}), Rule(2, {MakeEvent("DOOR", 1, 5, 2)}), Rule(3, {kMotion}),
                           Rule(4, {kDoor, kMotion}, {}, kAll), Rule(5, {kDoor}, {MakeAction("HUB", 20)})}));
    const Lines expected{"rule 1 \"\" misses: event 2 has command 6, not 5", "rule 2 \"\" misses: event 1 has channel 2, not 1",
                         "rule 4 \"\" held: event 2 was not seen yet", "rule 5 \"\" fired: event 1 has value 1"};
    EXPECT_EQ(engine.Explain(kDoor, After(0)), expected);
    EXPECT_EQ(engine.Explain(kDoor, After(0)), expected);
    EXPECT_EQ(engine.Happen(kMotion, After(0)), 2); // rules 1 and 3; the door of rule 4 was only explained
    EXPECT_EQ(engine.Held(), Lines{"rule 4 \"\" held: event 1 was not seen yet"});
    EXPECT_EQ(engine.Take(After(0)), Lines{});
    EXPECT_EQ(tqDevSDK_Linkage_Explain(engine.get(), &kDoor, 0, std::make_unique<Now>(After(0)).get(), nullptr, 0), 4);
}

TEST(Linkage, KeepsLastValuesOfKeysThatStay) {
    Engine engine;
    engine.SetRules(Rules({Rule(1, {kDoor, kMotion}, {}, kAll)}));
    engine.Happen(kMotion, After(0));
    engine.SetRules(Rules({Rule(8, {MakeEvent("LIGHT", 1)}), Rule(9, {kDoor, kMotion}, {}, kAll)}));
    EXPECT_EQ(engine.Happen(kDoor, After(0)), 1);
    engine.SetRules(Rules({}));
    engine.SetRules(Rules({Rule(1, {kDoor, kMotion}, {}, kAll)}));
    EXPECT_EQ(engine.Happen(kDoor, After(0)), 0);
}

// ---- What comes of it ----

TEST(Linkage, RunsInOrderOfDueTimeFiringAndRule) {
    Engine engine;
    EXPECT_EQ(tqDevSDK_Linkage_SetMember(engine.get(), "LAMP", 1), 0);
    engine.SetRules(Rules(
        {Rule(1, {kDoor}, {MakeAction("HUB", 20, 2), MakeAction("LAMP", 21)}), Rule(2, {kDoor}, {MakeAction("HUB", 22, 1), MakeAction("HUB", 23)})}));
    EXPECT_EQ(tqDevSDK_Linkage_Deadline(engine.get()), UINT64_MAX);
    EXPECT_EQ(engine.Happen(kDoor, After(100)), 2);
    EXPECT_EQ(tqDevSDK_Linkage_Deadline(engine.get()), 100U);
    EXPECT_EQ(engine.Take(After(100)), (Lines{"run 1 LAMP 21+0", "run 2 HUB 23+0"}));
    EXPECT_EQ(tqDevSDK_Linkage_Deadline(engine.get()), 1100U);
    EXPECT_EQ(engine.Take(After(1099)), Lines{});
    EXPECT_EQ(engine.Done(engine.tokens[1], 0, After(1099)), 0);
    EXPECT_EQ(engine.Done(engine.tokens[0], 255, After(1099)), 0);
    EXPECT_EQ(engine.Take(After(2100)), (Lines{"result 1 LAMP 1 7000/21 255", "result 2 HUB 1 7000/23 0", "run 2 HUB 22+1", "run 1 HUB 20+2"}));
    EXPECT_EQ(engine.Trace(), (Lines{"rule 1 \"\" fired: event 1 has value 1", "rule 1 \"\" action 1 waits 2000 ms",
                                     "rule 2 \"\" fired: event 1 has value 1", "rule 2 \"\" action 1 waits 1000 ms", "rule 1 \"\" action 2 runs",
                                     "rule 2 \"\" action 2 runs", "rule 2 \"\" action 2 ended with result 0",
                                     "rule 1 \"\" action 2 ended with result 255", "rule 2 \"\" action 1 runs", "rule 1 \"\" action 1 runs"}));
}

TEST(Linkage, GivesToThePlatformWhatCannotBeDoneHere) {
    Engine engine; // room for four
    tqDevSDK_Linkage_SetMember(engine.get(), "LAMP", 1);
    std::vector<Action> actions{MakeAction("FAR", 20, 3), MakeAction("LAMP", 21, 1)};
    for (UINT32 command = 30; command < 34; ++command) {
        actions.push_back(MakeAction("HUB", command));
    }
    engine.SetRules(Rules({Rule(1, {kDoor}, actions), Rule(2, {kDoor}, {MakeAction("FAR", 40)})}));
    engine.Happen(kDoor, After(0));
    EXPECT_EQ(tqDevSDK_Linkage_Deadline(engine.get()), 0U);
    EXPECT_EQ(engine.Take(After(0)),
              (Lines{"undone 1 FAR 20+3 HUB 33+0", "undone 2 FAR 40+0", "run 1 HUB 30+0", "run 1 HUB 31+0", "run 1 HUB 32+0"}));
    tqDevSDK_Linkage_SetMember(engine.get(), "LAMP", 0);
    EXPECT_EQ(engine.Done(engine.tokens[0], TQDEVSDK_LINKAGE_CANNOT, After(0)), 0);
    EXPECT_EQ(engine.Done(engine.tokens[0], 0, After(0)), -1); // never both
    EXPECT_EQ(engine.Reason(), "no action has this token");
    EXPECT_EQ(engine.Take(After(1000)), (Lines{"undone 1 HUB 30+0", "undone 1 LAMP 21+0"}));
    EXPECT_EQ(engine.Trace(), (Lines{"rule 1 \"\" fired: event 1 has value 1", "rule 1 \"\" action 1 undone: its device is not reachable",
                                     "rule 1 \"\" action 2 waits 1000 ms", "rule 1 \"\" action 6 undone: 4 wait or run",
                                     "rule 2 \"\" fired: event 1 has value 1", "rule 2 \"\" action 1 undone: its device is not reachable",
                                     "rule 1 \"\" action 3 runs", "rule 1 \"\" action 4 runs", "rule 1 \"\" action 5 runs",
                                     "rule 1 \"\" action 3 undone: its device cannot", "rule 1 \"\" action 2 undone: its device is not reachable"}));
    EXPECT_EQ(engine.Done(engine.tokens[1], 3, After(1000)), 0);

    tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S counted{};
    EXPECT_EQ(tqDevSDK_Linkage_Statistics(engine.get(), &counted), 0);
    const std::vector<UINT32> counters{counted.ucHasRule,       counted.uiRuleRootNum,   counted.uiSelfEvtCnt,    counted.uiLanEvtCnt,
                                       counted.uiSelfActCnt,    counted.uiLanActSuccCnt, counted.uiLanActFailCnt, counted.uiUndoActCnt,
                                       counted.uiSelfActRetCnt, counted.uiLanActRetCnt};
    EXPECT_EQ(counters, (std::vector<UINT32>{1, 2, 0, 1, 3, 0, 0, 5, 1, 0}));
}

TEST(Linkage, RefusesAnEventWhoseUndoneActionsMightNotFit) {
    Engine engine;
    engine.SetRules(Rules({Rule(1, {kDoor}, {MakeAction("FAR", 20), MakeAction("FAR", 21)}), Rule(2, {kMotion}, {MakeAction("FAR", 22)})}));
    EXPECT_EQ(engine.Happen(kDoor, After(0)), 1);
    EXPECT_EQ(engine.Happen(kDoor, After(0)), -1);
    EXPECT_EQ(engine.Reason(), "effects have to be pulled first");
    EXPECT_EQ(engine.Happen(kMotion, After(0)), 1); // its one fits
    EXPECT_EQ(engine.Take(After(0)), (Lines{"undone 1 FAR 20+0 FAR 21+0", "undone 2 FAR 22+0"}));
    EXPECT_EQ(engine.Happen(kMotion, After(0)), 1);
    EXPECT_EQ(engine.Happen(kMotion, After(0)), 1);
    EXPECT_EQ(engine.Take(After(0)), (Lines{"undone 2 FAR 22+0", "undone 2 FAR 22+0"})); // one for each firing
}

TEST(Linkage, EndsChainsOfRules) {
    Engine engine; // two rules may follow
    engine.SetRules(Rules({Rule(1, {kDoor}, {MakeAction("HUB", 20)})}));
    uint64_t token = 0;
    for (int rules = 0; rules < 3; ++rules) {
        EXPECT_EQ(engine.Happen(kDoor, After(0), token), 1);
        engine.Take(After(0));
        EXPECT_EQ(engine.Done(token, 0, After(0)), -1); // that of the action before
        token = engine.tokens.back();
        EXPECT_EQ(engine.Done(token, 0, After(0)), 0); // the event may come when the action is done
        engine.Take(After(0));
    }
    engine.Trace();
    EXPECT_EQ(engine.Happen(kDoor, After(0), token), 0);
    EXPECT_EQ(engine.Trace(), Lines{"rule 1 \"\" held: 3 rules are before it in the chain, more than 2"});
    EXPECT_EQ(engine.Happen(kDoor, After(0), token + (1 << 24)), -1);
    EXPECT_EQ(engine.Reason(), "no action has this token");
}

TEST(Linkage, NewRulesKeepWhatTheyStillHave) {
    const Rules before({Rule(1, {kDoor}, {MakeAction("HUB", 20, 1), MakeAction("FAR", 21)}),
                        Rule(2, {kDoor}, {MakeAction("HUB", 22, 1), MakeAction("FAR", 23), MakeAction("HUB", 24)})});
    Rules after(
        {Rule(1, {kDoor}, {MakeAction("HUB", 20, 2), MakeAction("FAR", 21, 1)}), Rule(2, {}, {MakeAction("FAR", 23), MakeAction("HUB", 22, 1)})});
    Config config = DefaultConfig();
    config.usRunningMax = 8;
    Engine engine(config);
    engine.SetRules(before);
    engine.Happen(kDoor, After(0));
    engine.Take(After(0));
    engine.Happen(kDoor, After(1)); // nothing of this is pulled yet
    engine.Trace();
    EXPECT_EQ(engine.SetRules(after), 0);
    EXPECT_EQ(engine.Trace(),
              (Lines{"rule 1 \"\" action 1 dropped: new rules do not have it", "rule 1 \"\" action 1 dropped: new rules do not have it",
                     "rule 2 \"\" action 3 dropped: new rules do not have it", "rule 1 \"\" action 2 dropped: new rules do not have it"}));
    EXPECT_EQ(engine.Done(engine.tokens[0], 0, After(2)), 0); // what runs is the device's
    EXPECT_EQ(engine.SetRules(after), 0);
    EXPECT_EQ(engine.Take(After(2000)), (Lines{"undone 2 FAR 23+0", "result 2 HUB 1 7000/24 0", "run 2 HUB 22+1", "run 2 HUB 22+1"}));
    EXPECT_EQ(engine.Trace().back(), "rule 2 \"\" action 2 runs");
}

TEST(Linkage, WaitingActionsSurviveARestart) {
    const Rules rules({Rule(1, {kDoor}, {MakeAction("HUB", 20, 1), MakeAction("HUB", 21, 3), MakeAction("HUB", 22, 2), MakeAction("HUB", 23)})});
    Engine engine;
    engine.SetRules(rules);
    engine.Happen(kDoor, After(500));
    engine.Take(After(500));
    tqDevSDK_Linkage_Waiting_S saved[4];
    const Now later = After(700);
    ASSERT_EQ(tqDevSDK_Linkage_SaveWaiting(engine.get(), &later, saved, 4), 3);
    EXPECT_EQ((std::vector<uint64_t>{saved[0].ullDelayMs, saved[1].ullDelayMs, saved[2].ullDelayMs}), (std::vector<uint64_t>{800, 1800, 2800}));
    saved[3] = saved[0];
    saved[3].uiRuleId = 7; // no rule of now

    Engine next;
    next.SetRules(rules);
    const Now start = After(0);
    EXPECT_EQ(tqDevSDK_Linkage_LoadWaiting(next.get(), saved, 4, &start), 3);
    EXPECT_EQ(next.Trace(), Lines{"rule 7 action 1 dropped: new rules do not have it"});
    EXPECT_EQ(next.Take(After(799)), Lines{});
    EXPECT_EQ(next.Take(After(2800)), (Lines{"run 1 HUB 20+1", "run 1 HUB 22+2", "run 1 HUB 21+3"}));
    EXPECT_EQ(tqDevSDK_Linkage_LoadWaiting(next.get(), saved, 4, &start), -1);
    EXPECT_EQ(next.Reason(), "more actions wait or run than the configuration allows");
}

// ---- Traces ----

TEST(Linkage, RingsKeepTheLastEntriesApart) {
    Config config = DefaultConfig();
    config.usFiredMax = 2;
    config.usHeldMax = 3;
    Engine engine(config);
    engine.SetRules(Rules({Rule(5, {kDoor}).Named("Türklingel an der Gartentür-Übung")}));
    for (const UINT16 value : std::vector<UINT16>{1, 2, 3, 1, 4, 5, 1}) {
        engine.Happen(MakeEvent("DOOR", value), After(value));
    }
    tqDevSDK_Linkage_Trace_S entries[8];
    ASSERT_EQ(tqDevSDK_Linkage_ReadTrace(engine.get(), TQDEVSDK_LINKAGE_RING_HELD, 0, entries, 8), 3);
    EXPECT_EQ(entries[0].uiNumber, 3U);
    EXPECT_EQ(entries[2].uiNumber, 6U);
    EXPECT_EQ(engine.Text(entries[2]), "rule 5 \"Türklingel an der Gartentür-\" held: event 1 has value 5, not 1");
    ASSERT_EQ(tqDevSDK_Linkage_ReadTrace(engine.get(), TQDEVSDK_LINKAGE_RING_FIRED, 4, entries, 8), 1);
    EXPECT_EQ(entries[0].uiNumber, 7U);
    EXPECT_EQ(entries[0].usUnitType, 1U);
    EXPECT_EQ(entries[0].ucUnitChannel, 3U);
    EXPECT_EQ(entries[0].ullMonoMs, 5U);
    char cut[8];
    EXPECT_EQ(tqDevSDK_Linkage_TraceText(engine.get(), &entries[0], cut, sizeof cut), static_cast<int>(engine.Text(entries[0]).size()));
    EXPECT_STREQ(cut, "rule 5 ");
}

// ---- Bad input ----

TEST(Linkage, RefusesAConfigurationThatLeavesQuestions) {
    const auto refused = [](void (*spoil)(Config &)) {
        Config config = DefaultConfig();
        spoil(config);
        int reason = 0;
        const EnginePtr engine(tqDevSDK_Linkage_New(&config, &reason));
        EXPECT_EQ(engine, nullptr);
        EXPECT_EQ(tqDevSDK_Linkage_SizeOf(&config, nullptr), 0U);
        return std::string(tqDevSDK_Linkage_ReasonText(reason));
    };
    EXPECT_EQ(refused([](Config &config) { config.acSerial[0] = 0; }), "a serial is empty, or a member's is the own one");
    EXPECT_EQ(refused([](Config &config) { config.uiDelayUnitMs = 0; }), "the unit of delays is missing");
    EXPECT_EQ(refused([](Config &config) { config.usHowNum = 9; }), "the meaning of a condition is unknown, or there are more than 8");
    EXPECT_EQ(refused([](Config &config) { config.astHow[1].ucHow = 3; }), "the meaning of a condition is unknown, or there are more than 8");
    EXPECT_EQ(refused([](Config &config) { config.astHow[1].usCondition = kAny; }), "a condition is mapped twice");
    int reason = 0;
    EXPECT_EQ(tqDevSDK_Linkage_New(nullptr, &reason), nullptr);
    EXPECT_EQ(reason, TQDEVSDK_LINKAGE_REASON_NULL);
    EXPECT_STREQ(tqDevSDK_Linkage_ReasonText(-1), "unknown reason");
}

TEST(Linkage, RefusesBadArgumentsAndChangesNothing) {
    Engine engine;
    Rules rules({Rule(1, {kDoor}, {MakeAction("HUB", 20)})});
    engine.SetRules(rules);
    tqDevSDK_Linkage *const e = engine.get();
    const Now now = After(0);
    const Now no_day = At(8, "12:00");
    const Now no_second{0, 86400, 1, 1};
    const Now no_clock{0, 86400, 9, 0};
    const auto reason = [&](int result) {
        EXPECT_EQ(result, -1);
        return tqDevSDK_Linkage_LastReason(e);
    };
    EXPECT_EQ(tqDevSDK_Linkage_LastReason(e), TQDEVSDK_LINKAGE_REASON_NONE);
    EXPECT_EQ(tqDevSDK_Linkage_LastReason(nullptr), TQDEVSDK_LINKAGE_REASON_NULL);
    EXPECT_EQ(reason(tqDevSDK_Linkage_Event(e, &kDoor, 0, &no_day)), TQDEVSDK_LINKAGE_REASON_NOW);
    EXPECT_EQ(reason(tqDevSDK_Linkage_Event(e, &kDoor, 0, &no_second)), TQDEVSDK_LINKAGE_REASON_NOW);
    EXPECT_EQ(tqDevSDK_Linkage_Event(e, &kDoor, 0, &no_clock), 0);
    EXPECT_EQ(reason(tqDevSDK_Linkage_Done(e, 1 << 24, 257, &now)), TQDEVSDK_LINKAGE_REASON_RESULT);
    EXPECT_EQ(reason(tqDevSDK_Linkage_Done(e, 1 << 24, -1, &now)), TQDEVSDK_LINKAGE_REASON_RESULT);
    EXPECT_EQ(reason(tqDevSDK_Linkage_Done(e, 0xFFFFFFFFFFFF, 0, &now)), TQDEVSDK_LINKAGE_REASON_TOKEN);
    EXPECT_EQ(reason(tqDevSDK_Linkage_SetMember(e, "", 1)), TQDEVSDK_LINKAGE_REASON_SERIAL);
    EXPECT_EQ(reason(tqDevSDK_Linkage_SetMember(e, "HUB", 0)), TQDEVSDK_LINKAGE_REASON_SERIAL);
    for (const char *serial : {"D", "B", "C", "A", "C"}) {
        EXPECT_EQ(tqDevSDK_Linkage_SetMember(e, serial, 1), 0);
    }
    EXPECT_EQ(reason(tqDevSDK_Linkage_SetMember(e, "E", 1)), TQDEVSDK_LINKAGE_REASON_MEMBERS);
    EXPECT_EQ(tqDevSDK_Linkage_SetMember(e, "E", 0), 0);
    tqDevSDK_Linkage_Trace_S entry;
    EXPECT_EQ(reason(tqDevSDK_Linkage_ReadTrace(e, 2, 0, &entry, 1)), TQDEVSDK_LINKAGE_REASON_RING);
    rules.rules()[0].actions[0].ucValueNum = 17;
    EXPECT_EQ(reason(tqDevSDK_Linkage_SetRules(e, rules.get())), TQDEVSDK_LINKAGE_REASON_VALUES);
    EXPECT_EQ(engine.Happen(kDoor, now), 1); // the old rules are in force

    // Rules that share their arrays can name more than there is memory for.
    const std::vector<Event> events(65535, kDoor);
    Rules many(std::vector<Rule>(129, Rule(1)));
    for (Record &record : many.records()) {
        record.pstEvents = const_cast<Event *>(events.data());
        record.usEvents_Num = 65535;
    }
    EXPECT_EQ(reason(tqDevSDK_Linkage_SetRules(e, many.get())), TQDEVSDK_LINKAGE_REASON_SIZE);
}

TEST(Linkage, RefusesNullEverywhere) {
    Engine engine;
    tqDevSDK_Linkage *const e = engine.get();
    const Now now = After(0);
    tqDevSDK_Linkage_Effect_S effect;
    tqDevSDK_Linkage_Trace_S entry{};
    char text[8];
    // Each after another failure, so that the reason is its own.
    const auto reason = [&](auto call) {
        tqDevSDK_Linkage_SetMember(e, "", 1);
        EXPECT_EQ(call(), -1);
        return tqDevSDK_Linkage_LastReason(e);
    };
    constexpr int kNull = TQDEVSDK_LINKAGE_REASON_NULL;
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_SetRules(e, nullptr); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_SetMember(e, nullptr, 1); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Event(e, nullptr, 0, &now); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Event(e, &kDoor, 0, nullptr); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Done(e, 1, 0, nullptr); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Next(e, nullptr, &effect); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Next(e, &now, nullptr); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Statistics(e, nullptr); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_ReadTrace(e, 0, 0, nullptr, 1); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_TraceText(e, nullptr, text, 8); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_TraceText(e, &entry, nullptr, 8); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_Explain(e, &kDoor, 0, &now, nullptr, 1); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_ReadRules(e, 0, nullptr, 1); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_SaveWaiting(e, &now, nullptr, 1); }), kNull);
    EXPECT_EQ(reason([&] { return tqDevSDK_Linkage_LoadWaiting(e, nullptr, 1, &now); }), kNull);
    EXPECT_EQ(tqDevSDK_Linkage_Event(nullptr, &kDoor, 0, &now), -1);
    EXPECT_EQ(tqDevSDK_Linkage_Deadline(nullptr), UINT64_MAX);
    EXPECT_EQ(tqDevSDK_Linkage_CopyRules(nullptr), nullptr);
    EXPECT_EQ(tqDevSDK_Linkage_EqualRules(nullptr, nullptr), -1);
    tqDevSDK_Linkage_FreeRules(nullptr);
    tqDevSDK_Linkage_Free(nullptr);
}

// ---- Rule sets ----

TEST(LinkageRules, CopiesAndComparesAllThatCounts) {
    Rules rules({Rule(1, {kDoor, kMotion}, {MakeAction("HUB", 20, 1)}).Named("Porch"), Rule(2)});
    rules.records()[1].usActions_Num = 3; // a count without an array
    Set *const copy = tqDevSDK_Linkage_CopyRules(rules.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(tqDevSDK_Linkage_EqualRules(rules.get(), copy), 1);
    EXPECT_EQ(copy->pstUnit->pstRuleUnit[1].usActions_Num, 0U);
    copy->uiVersion = 9;
    copy->pstUnit->pstRuleUnit[0].acRuleName[60] = 'x';           // behind the end
    copy->pstUnit->pstRuleUnit[0].pstActions[0].ausValue[1] = 77; // not used
    EXPECT_EQ(tqDevSDK_Linkage_EqualRules(rules.get(), copy), 1);

    Record &rule = copy->pstUnit->pstRuleUnit[0];
    UINT32 differences = 0;
    const auto differs = [&](auto &field) {
        const auto kept = field;
        field = static_cast<std::decay_t<decltype(field)>>(field + 1);
        differences += tqDevSDK_Linkage_EqualRules(rules.get(), copy) == 0 ? 1 : 0;
        field = kept;
    };
    differs(copy->pstUnit->usType), differs(copy->pstUnit->ucChannel), differs(rule.uiRuleId), differs(rule.acUserId[0]);
    differs(rule.acRuleName[4]), differs(rule.ucEnable), differs(rule.aucWeekDaysEn[6]), differs(rule.uiStart_hour);
    differs(rule.uiStart_min), differs(rule.uiEnd_hour), differs(rule.uiEnd_min), differs(rule.usCondition);
    differs(rule.ucIsCrossDay), differs(rule.pstEvents[1].uiDomain), differs(rule.pstEvents[1].uiCmdId);
    differs(rule.pstEvents[1].acDevId[0]), differs(rule.pstEvents[1].ucChannel), differs(rule.pstEvents[1].usValue);
    differs(rule.pstActions->uiDomain), differs(rule.pstActions->uiCmdId), differs(rule.pstActions->acDevId[0]);
    differs(rule.pstActions->ucChannel), differs(rule.pstActions->ucValueNum), differs(rule.pstActions->ausValue[0]);
    differs(rule.pstActions->uiDelay);
    EXPECT_EQ(differences, 25U);
    --rule.usEvents_Num;
    EXPECT_EQ(tqDevSDK_Linkage_EqualRules(rules.get(), copy), 0);
    tqDevSDK_Linkage_FreeRules(copy);
}

} // namespace
} // namespace linkage
