// SPDX-License-Identifier: Apache-2.0
// The linkage rules of the version-2 shadow, in both directions.
#include <chrono>

#include "SmartControl_shadow.h"
#include "module_fixture.h"

namespace {

constexpr const char *kKey = "InterconnectionRule";

const std::string kEvent = R"({"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":4})";
const std::string kAction = R"({"domain":5,"cmdId":6,"deviceId":"A","channelNo":7,"params":{"value1":8,"value2":9},"delay":10})";

std::string RuleWith(const std::string &events, const std::string &actions) {
    return R"({"id":11,"userId":"U","name":"N","enable":1,"weekdays":["1","3","7"],"startTime":"07:05","endTime":"n23:00",)"
           R"("rule":{"condition":2,"events":)" +
           events + R"(,"actions":)" + actions + "}}";
}

std::string Unit(const std::string &rules) { return R"({"Type":"Global","channel":2,"status":[)" + rules + "]}"; }

const std::string kRule = RuleWith("[" + kEvent + "]", "[" + kAction + "]");

std::string Replaced(std::string text, const std::string &from, const std::string &to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

class RulesTest : public ModuleTest {
protected:
    // The cloud has a new value; the result of the device.
    static int Sync(const std::string &json) { return tqhost::ShadowDesire(kKey, json).value_or(-99); }

    // The only rule that the device gets of a value.
    tqDevSDK_SmartControl_ConfigRules_RuleUnit RuleOf(const std::string &rule) {
        tqDevSDK_SmartControl_ConfigRules_RuleUnit copy{};
        int calls = 0;
        on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
            const auto *rules = reinterpret_cast<const tqDevSDK_SmartControl_ConfigRules *>(msg.data);
            ASSERT_EQ(rules->usNum, 1);
            ASSERT_EQ(rules->pstUnit[0].usNum, 1);
            copy = rules->pstUnit[0].pstRuleUnit[0];
            ++calls;
        };
        EXPECT_EQ(Sync("[" + Unit(rule) + "]"), 0);
        EXPECT_EQ(calls, 1);
        on_message = nullptr;
        return copy;
    }

    // The log of a refused value, without the lines that every value leaves.
    Lines Refused(const std::string &json) {
        TakeLog();
        EXPECT_EQ(Sync(json), -1);
        Lines log = TakeLog();
        EXPECT_GE(log.size(), 3U);
        EXPECT_EQ(log[0], "error: pcValueStr = " + json);
        EXPECT_EQ(log[1], "debug: Shadow Service, Parse interconnection rules info.");
        log.erase(log.begin(), log.begin() + 2);
        log.pop_back(); // the service's own line
        return log;
    }

    // The device answers the next query with one unit of this many rules, each with an event and an action.
    static tqDevSDK_SmartControl_ConfigRules *MakeRules(UINT16 units, UINT16 rules_each) {
        auto *set = static_cast<tqDevSDK_SmartControl_ConfigRules *>(calloc(1, sizeof(tqDevSDK_SmartControl_ConfigRules)));
        set->uiVersion = 4;
        set->usNum = units;
        set->pstUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_ValueUnit *>(calloc(units, sizeof *set->pstUnit));
        for (UINT16 i = 0; i < units; ++i) {
            auto &unit = set->pstUnit[i];
            unit.usNum = rules_each;
            unit.pstRuleUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_RuleUnit *>(calloc(rules_each, sizeof *unit.pstRuleUnit));
            for (UINT16 j = 0; j < rules_each; ++j) {
                auto &rule = unit.pstRuleUnit[j];
                rule.usEvents_Num = 1;
                rule.pstEvents = static_cast<tqDevSDK_SmartControl_ConfigRule_Events *>(calloc(1, sizeof *rule.pstEvents));
                rule.usActions_Num = 1;
                rule.pstActions = static_cast<tqDevSDK_SmartControl_ConfigRule_Actions *>(calloc(1, sizeof *rule.pstActions));
            }
        }
        return set;
    }

    void AnswerWith(tqDevSDK_SmartControl_ConfigRules *rules, int result = 0) {
        on_query = [rules, result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES);
            EXPECT_EQ(query.data, nullptr);
            EXPECT_EQ(query.len, 0);
            query.data = reinterpret_cast<char *>(rules);
            return result;
        };
    }

    static std::string Reported(const std::string &json, UINT32 version = 4) {
        return "shadow InterconnectionRule version " + std::to_string(version) + " reset 0 type 4 " + Printed(json);
    }

    // Keeps what the device gets and gives it back on request.
    void StoreAndGiveBack() {
        on_message = [this](const tqDevSDK_SmartControl_msg_to_dev &msg) {
            Free_ConfigRules(&stored_);
            const auto *rules = reinterpret_cast<const tqDevSDK_SmartControl_ConfigRules *>(msg.data);
            EXPECT_EQ(rules->uiVersion, 0U);
            stored_ = Copy(*rules);
        };
        on_query = [this](tqDevSDK_SmartControl_runtime_info &query) {
            auto *copy = static_cast<tqDevSDK_SmartControl_ConfigRules *>(malloc(sizeof stored_));
            *copy = Copy(stored_);
            copy->uiVersion = 4;
            query.data = reinterpret_cast<char *>(copy);
            return 0;
        };
    }

    ~RulesTest() override { Free_ConfigRules(&stored_); }

private:
    template <typename Element>
    static Element *CopyArray(const Element *from, UINT16 count) {
        if (from == nullptr) {
            return nullptr;
        }
        auto *to = static_cast<Element *>(malloc(count * sizeof(Element)));
        memcpy(to, from, count * sizeof(Element));
        return to;
    }

    static tqDevSDK_SmartControl_ConfigRules Copy(const tqDevSDK_SmartControl_ConfigRules &from) {
        tqDevSDK_SmartControl_ConfigRules to = from;
        to.pstUnit = CopyArray(from.pstUnit, from.usNum);
        for (UINT16 i = 0; to.pstUnit != nullptr && i < to.usNum; ++i) {
            auto &unit = to.pstUnit[i];
            unit.pstRuleUnit = CopyArray(unit.pstRuleUnit, unit.usNum);
            for (UINT16 j = 0; unit.pstRuleUnit != nullptr && j < unit.usNum; ++j) {
                auto &rule = unit.pstRuleUnit[j];
                rule.pstEvents = CopyArray(rule.pstEvents, rule.usEvents_Num);
                rule.pstActions = CopyArray(rule.pstActions, rule.usActions_Num);
            }
        }
        return to;
    }

    tqDevSDK_SmartControl_ConfigRules stored_{};
};

// ---- From the cloud ----

TEST_F(RulesTest, EveryFieldArrives) {
    bool called = false;
    on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
        called = true;
        EXPECT_EQ(msg.type, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES);
        EXPECT_EQ(msg.len, 0);
        const auto *rules = reinterpret_cast<const tqDevSDK_SmartControl_ConfigRules *>(msg.data);
        EXPECT_EQ(rules->uiVersion, 0U);
        ASSERT_EQ(rules->usNum, 2);
        EXPECT_EQ(rules->pstUnit[0].usType, 1);
        EXPECT_EQ(rules->pstUnit[0].ucChannel, 2);
        EXPECT_EQ(rules->pstUnit[1].usType, 0);
        EXPECT_EQ(rules->pstUnit[1].ucChannel, 44) << "300 cut to 8 bits";
        EXPECT_EQ(rules->pstUnit[1].usNum, 0);
        EXPECT_EQ(rules->pstUnit[1].pstRuleUnit, nullptr);
        ASSERT_EQ(rules->pstUnit[0].usNum, 1);
        const auto &rule = rules->pstUnit[0].pstRuleUnit[0];
        EXPECT_EQ(rule.uiRuleId, 11U);
        EXPECT_STREQ(rule.acUserId, "U");
        EXPECT_STREQ(rule.acRuleName, "N");
        EXPECT_EQ(rule.ucEnable, 1);
        const UINT8 days[7] = {1, 0, 1, 0, 0, 0, 1};
        EXPECT_EQ(memcmp(rule.aucWeekDaysEn, days, 7), 0);
        EXPECT_EQ(rule.uiStart_hour, 7U);
        EXPECT_EQ(rule.uiStart_min, 5U);
        EXPECT_EQ(rule.uiEnd_hour, 23U);
        EXPECT_EQ(rule.uiEnd_min, 0U);
        EXPECT_EQ(rule.usCondition, 2);
        EXPECT_EQ(rule.ucIsCrossDay, 1);
        ASSERT_EQ(rule.usEvents_Num, 1);
        const auto &event = rule.pstEvents[0];
        EXPECT_EQ(event.uiDomain, 1U);
        EXPECT_EQ(event.uiCmdId, 2U);
        EXPECT_STREQ(event.acDevId, "E");
        EXPECT_EQ(event.ucChannel, 3);
        EXPECT_EQ(event.usValue, 4);
        ASSERT_EQ(rule.usActions_Num, 1);
        const auto &action = rule.pstActions[0];
        EXPECT_EQ(action.uiDomain, 5U);
        EXPECT_EQ(action.uiCmdId, 6U);
        EXPECT_STREQ(action.acDevId, "A");
        EXPECT_EQ(action.ucChannel, 7);
        EXPECT_EQ(action.ucValueNum, 2);
        EXPECT_EQ(action.ausValue[0], 8);
        EXPECT_EQ(action.ausValue[1], 9);
        EXPECT_EQ(action.uiDelay, 10U);
    };
    EXPECT_EQ(Sync("[" + Unit(kRule) + R"(,{"Type":"global","channel":300,"status":[]}])"), 0);
    EXPECT_TRUE(called);
    EXPECT_EQ(TakeLog().back(), "warning: Array item num is empty.");
}

TEST_F(RulesTest, TimesAndWeekdaysReadAsOnTheTarget) {
    struct {
        const char *start, *end;
        UINT32 start_hour, start_min, end_hour, end_min;
        int cross_day;
    } const times[] = {
        {"7:5", "n6:30", 7, 5, 6, 30, 1},    {"24:99", "6:30n", 24, 99, 0, 0, 1}, {"", "1", 0, 0, 1, 0, 0},
        {" 8: 9x", " n8:00", 8, 9, 0, 0, 1}, {"8 :9", "8:", 8, 0, 8, 0, 0},       {"-1:4294967296", "n 7: 8", 4294967295U, 2147483647U, 7, 8, 1},
        {"noon", "nn7:8", 0, 0, 0, 0, 1},
    };
    for (const auto &row : times) {
        SCOPED_TRACE(std::string(row.start) + " " + row.end);
        const auto rule = RuleOf(Replaced(Replaced(kRule, "07:05", row.start), "n23:00", row.end));
        EXPECT_EQ(rule.uiStart_hour, row.start_hour);
        EXPECT_EQ(rule.uiStart_min, row.start_min);
        EXPECT_EQ(rule.uiEnd_hour, row.end_hour);
        EXPECT_EQ(rule.uiEnd_min, row.end_min);
        EXPECT_EQ(rule.ucIsCrossDay, row.cross_day);
    }
    const auto rule = RuleOf(Replaced(kRule, R"(["1","3","7"])", R"(["1","7","9","x","0","-1","2 ","4294967299","65539",5])"));
    const UINT8 days[7] = {1, 1, 1, 0, 0, 0, 1};
    EXPECT_EQ(memcmp(rule.aucWeekDaysEn, days, 7), 0) << "65539 is day 3 in 16 bits, 4294967299 is none";
}

TEST_F(RulesTest, TextsAndNumbersAreCutToTheirFields) {
    const auto rule = RuleOf(
        Replaced(Replaced(Replaced(Replaced(kRule, "\"U\"", "\"" + std::string(100, 'u') + "\""), "\"N\"", "5"), "\"enable\":1", "\"ENABLE\":257"),
                 "\"condition\":2", "\"condition\":-1"));
    EXPECT_EQ(rule.acUserId, std::string(63, 'u'));
    EXPECT_STREQ(rule.acRuleName, "") << "a number has no text";
    EXPECT_EQ(rule.ucEnable, 1);
    EXPECT_EQ(rule.usCondition, 65535);
}

TEST_F(RulesTest, FirstOfAKeyCountsWhateverTheOrder) {
    const std::string rest =
        R"("endTime":"3:4","startTime":"1:2","weekdays":[],"enable":1,"name":"N","rule":{"actions":[],"events":[],"condition":7})";
    for (const char *head : {R"("userId":"a","id":1,"userId":"b","id":2,)", R"("ID":1,"USERID":"a","id":2,"userId":"b",)",
                             R"("id":1,"x":0,"userId":"a","userId":"b",)", R"("UserId":"a","userId":"b","id":1,)"}) {
        SCOPED_TRACE(head);
        const auto rule = RuleOf("{" + std::string(head) + rest + "}");
        EXPECT_EQ(rule.uiRuleId, 1U);
        EXPECT_STREQ(rule.acUserId, "a");
        EXPECT_EQ(rule.uiStart_min, 2U);
        EXPECT_EQ(rule.uiEnd_hour, 3U);
        EXPECT_EQ(rule.usCondition, 7);
    }
}

TEST_F(RulesTest, OneMissingKeyRejectsTheWholeValue) {
    const Lines of_rule = {"error: Failed to GenerateStatusRules"};
    const Lines of_array = {"error: Failed to generate rule events.", "error: Failed to GenerateStatusRules"};
    struct {
        std::string from, to;
        const char *text;
        Lines rest;
    } const cases[] = {
        {R"("id":11,)", "", "Failed to find item:id", of_rule},
        {R"("userId":"U",)", "", "Failed to find item:userId", of_rule},
        {R"("name":"N",)", "", "Failed to find item:name", of_rule},
        {R"("enable":1,)", "", "Failed to find item:enable", of_rule},
        {R"("weekdays":["1","3","7"],)", "", "Item error:weekdays", of_rule},
        {R"(["1","3","7"])", R"({"1":1})", "Item error:weekdays", of_rule},
        {R"("startTime":"07:05",)", "", "Failed to find item:startTime", of_rule},
        {R"("endTime":"n23:00",)", "", "Failed to find item:endTime", of_rule},
        {R"("rule":)", R"("other":)", "Failed to find item:rule", of_rule},
        {R"("condition":2,)", "", "Failed to find item:condition", of_rule},
        {R"("events":)", R"("other":)", "Failed to find item:events", of_rule},
        {R"("actions":)", R"("other":)", "Failed to find item:actions", of_rule},
        {"[" + kEvent + "]", "{}", "This is not a array bscJSON object.", of_array},
        {"[" + kAction + "]", "7", "This is not a array bscJSON object.", of_array},
        {R"("domain":1,)", "", "Failed to find item:domain", of_array},
        {R"("cmdId":2,)", "", "Failed to find item:cmdId", of_array},
        {R"("deviceId":"E",)", "", "Failed to find item:deviceId", of_array},
        {R"("channelNo":3,)", "", "Failed to find item:channelNo", of_array},
        {R"(,"value":4)", "", "Failed to find item:value", of_array},
        {kEvent, "null", "Failed to find item:domain", of_array},
        {R"("domain":5,)", "", "Failed to find item:domain", of_array},
        {R"("cmdId":6,)", "", "Failed to find item:cmdId", of_array},
        {R"("deviceId":"A",)", "", "Failed to find item:deviceId", of_array},
        {R"("channelNo":7,)", "", "Failed to find item:channelNo", of_array},
        {R"(,"delay":10)", "", "Failed to find item:delay", of_array},
        {R"("params":{"value1":8,"value2":9},)", "", "Item is invalid:params", of_array},
        {R"({"value1":8,"value2":9})", "[8,9]", "Item is invalid:params", of_array},
    };
    // The bad rule comes after good ones, of its own item and of an earlier one.
    const std::string before = "[" + Unit(kRule) + "," + R"({"channel":1,"status":[)" + kRule + ",";
    for (const auto &row : cases) {
        SCOPED_TRACE(row.from + " -> " + row.to);
        Lines expected{"error: " + std::string(row.text)};
        expected.insert(expected.end(), row.rest.begin(), row.rest.end());
        EXPECT_EQ(Refused(before + Replaced(kRule, row.from, row.to) + "]}]"), expected);
    }
    EXPECT_EQ(ReceivedCount(), 0U);
    EXPECT_EQ(Sync(before + kRule + "]}]"), 0) << "the next value is served";
}

TEST_F(RulesTest, BadItemsAreRefused) {
    const std::pair<const char *, const char *> cases[] = {
        {"[", "error: Failed to bscJSON_Parse"},
        {"[]", "error: Array value, item num is empty"},
        {"[{}]", "error: Failed to find item:channel"},
        {"[1]", "error: Failed to find item:channel"},
        {R"([{"channel":1,"status":[]},{"channel":1}])", "error: Array value[1], item error:status"},
        {R"([{"channel":1,"status":{}}])", "error: Array value[0], item error:status"},
    };
    for (const auto &[json, text] : cases) {
        SCOPED_TRACE(json);
        EXPECT_EQ(Refused(json).back(), text);
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(RulesTest, ParseCallbackChecksItsArguments) {
    const auto *service = tqhost::ShadowService(kKey);
    ASSERT_NE(service, nullptr);
    char text[] = "{}";
    tqDevSDK_Shadow_value_t value{};
    tqDevSDK_Shadow_ParseSync_Param_S param{};
    EXPECT_EQ(service->parse_sync(nullptr, &param), -1);
    EXPECT_EQ(service->parse_sync(&value, &param), -1);
    value.value = text;
    value.type = shd_data_type_array;
    EXPECT_EQ(service->parse_sync(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), Lines(3, "error: NULL input param."));
    value.type = shd_data_type_string;
    EXPECT_EQ(service->parse_sync(&value, &param), -1);
    EXPECT_EQ(TakeLog(), Lines{"error:  pValue type err."});
    value.type = shd_data_type_array;
    EXPECT_EQ(service->parse_sync(&value, &param), -1);
    EXPECT_EQ(TakeLog().back(), "error: Value String is not json array");

    tqDevSDK_SmartControl_fini();
    TakeLog();
    EXPECT_EQ(ParseSync_SmartControl_Rules(&value, &param), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: pcValueStr = {}", "error: Error, SmartControl domain:recv_msg is NULL."}));
}

TEST_F(RulesTest, RefusalOfTheApplicationIsPassedOn) {
    recv_result = 5;
    TakeLog();
    EXPECT_EQ(Sync("[" + Unit(kRule) + "]"), 5);
    EXPECT_EQ(TakeLog()[2], "error: Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules");
}

// ---- To the cloud ----

TEST_F(RulesTest, EveryFieldIsWritten) {
    auto *rules = MakeRules(1, 1);
    auto &unit = rules->pstUnit[0];
    unit.usType = 2; // only 1 has a text
    unit.ucChannel = 255;
    auto &rule = unit.pstRuleUnit[0];
    rule.uiRuleId = 4294967295U;
    Fill(rule.acUserId, 'u');
    Fill(rule.acRuleName, 'n');
    rule.ucEnable = 9;
    rule.aucWeekDaysEn[0] = 2;
    rule.aucWeekDaysEn[6] = 1;
    rule.uiStart_hour = 123;
    rule.uiEnd_min = 4294967295U;
    rule.ucIsCrossDay = 7;
    rule.usCondition = 65535;
    Fill(rule.pstEvents[0].acDevId, 'e');
    rule.pstEvents[0].usValue = 65535;
    rule.pstActions[0].ucValueNum = 200; // more than there are
    rule.pstActions[0].ausValue[15] = 65535;
    rule.pstActions[0].uiDelay = 4294967295U;
    AnswerWith(rules);
    TakeLog();
    EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
    std::string values;
    for (int i = 1; i <= 16; ++i) {
        values += (i > 1 ? "," : "") + std::string("\"value") + std::to_string(i) + "\":" + (i == 16 ? "65535" : "0");
    }
    const std::string json =
        R"([{"channel":255,"status":[{"id":4294967295,"userId":")" + std::string(64, 'u') + R"(","name":")" + std::string(64, 'n') +
        R"(","enable":9,"weekdays":["1","7"],"startTime":"123:00","endTime":"n00:-1",)"
        R"("rule":{"condition":65535,"events":[{"domain":0,"cmdId":0,"deviceId":")" +
        std::string(32, 'e') + R"(","channelNo":0,"value":65535}],"actions":[{"domain":0,"cmdId":0,"deviceId":"","channelNo":0,"params":{)" + values +
        R"(},"delay":4294967295}]}}]}])";
    EXPECT_EQ(Take(), Lines{Reported(json)});
    EXPECT_EQ(TakeLog(), Lines{"debug: GenJson_Trusteeship_Proc:" + Printed(json)});
}

TEST_F(RulesTest, EmptySetsHaveAFormOfTheirOwn) {
    auto *no_array = MakeRules(1, 0);
    free(no_array->pstUnit->pstRuleUnit);
    free(no_array->pstUnit);
    no_array->pstUnit = nullptr; // a count without an array
    AnswerWith(no_array);
    EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
    AnswerWith(MakeRules(0, 0));
    EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
    AnswerWith(nullptr);
    EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
    EXPECT_EQ(Take(), (Lines{Reported(R"([{"channel":0}])"), Reported(R"([{"channel":0}])"), Reported(R"([{"channel":0}])", 0)}));
    EXPECT_EQ(Refused(R"([{"channel":0}])").back(), "error: Array value[0], item error:status") << "not readable, on purpose";

    auto *global = MakeRules(1, 1);
    auto &unit = global->pstUnit[0];
    unit.usType = 1;
    unit.ucChannel = 2;
    free(unit.pstRuleUnit[0].pstEvents);
    unit.pstRuleUnit[0].pstEvents = nullptr;
    unit.pstRuleUnit[0].usActions_Num = 0;
    AnswerWith(global);
    EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
    EXPECT_EQ(Take(), Lines{Reported(R"([{"Type":"Global","channel":2,"status":[{"id":0,"userId":"","name":"","enable":0,)"
                                     R"("weekdays":[],"startTime":"00:00","endTime":"00:00","rule":{"condition":0,"events":[],"actions":[]}}]}])")});
}

TEST_F(RulesTest, GenerateCallbackChecksItsArguments) {
    const auto *service = tqhost::ShadowService(kKey);
    ASSERT_NE(service, nullptr);
    char buffer[4] = "old";
    tqDevSDK_Shadow_value_t value{};
    tqDevSDK_Shadow_GenValue_Param_S param{};
    EXPECT_EQ(service->gen_value_JsStr(nullptr, &param), -1);
    EXPECT_EQ(service->gen_value_JsStr(&value, &param), -1);
    value.value = buffer;
    EXPECT_EQ(service->gen_value_JsStr(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), Lines(3, "error: NULL input param."));

    // A failing application: its rules are released, nothing is touched.
    param.uiVersion = 77;
    value.length = 3;
    AnswerWith(MakeRules(1, 1), 3);
    EXPECT_EQ(service->gen_value_JsStr(&value, &param), 3);
    EXPECT_EQ(TakeLog(), Lines{"error: Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc"});
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(value.length, 3);
    EXPECT_EQ(param.uiVersion, 77U);

    tqDevSDK_SmartControl_fini();
    TakeLog();
    EXPECT_EQ(GenJson_SmartControl_Rules_Proc(&value, &param), -1);
    EXPECT_EQ(TakeLog(), Lines{"error: Error, SmartControl domain:on_get_runtime_info is NULL"});
}

TEST_F(RulesTest, FreeLeavesEmptyRecordsAndZeroesFullOnes) {
    Free_ConfigRules(nullptr);
    tqDevSDK_SmartControl_ConfigRules empty{5, 3, {0, 0}, nullptr};
    Free_ConfigRules(&empty);
    EXPECT_EQ(empty.uiVersion, 5U);
    EXPECT_EQ(empty.usNum, 3);
    auto *rules = MakeRules(2, 2);
    Free_ConfigRules(rules);
    Free_ConfigRules(rules);
    EXPECT_EQ(rules->uiVersion, 0U);
    EXPECT_EQ(rules->usNum, 0);
    EXPECT_EQ(rules->pstUnit, nullptr);
    free(rules);
}

// ---- Both ----

TEST_F(RulesTest, WhatTheDeviceStoresComesBack) {
    StoreAndGiveBack();
    const std::string value = "[" + Unit(kRule + "," + RuleWith("[]", "[" + kAction + "," + kAction + "]")) + R"(,{"channel":255,"status":[]},)" +
                              R"({"channel":0,"status":[)" + Replaced(RuleWith("[" + kEvent + "]", "[]"), "n23:00", "23:59") + "]}]";
    EXPECT_EQ(Sync(value), 0);
    EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
    EXPECT_EQ(Take(), Lines{Reported(value)});
}

TEST_F(RulesTest, OddValuesAreStableFromTheSecondRoundOn) {
    StoreAndGiveBack();
    for (const std::string &value :
         {"[" + Unit(Replaced(Replaced(kRule, "07:05", "7:5x"), R"("id":11)", R"("id":4294967295)")) + "]",
          "[" + Unit(Replaced(kRule, R"("value":4)", R"("value":-70000.5)")) + "]", std::string(R"([{"Type":5,"channel":-1,"status":[]}])")}) {
        std::string rounds[2];
        EXPECT_EQ(Sync(value), 0);
        for (std::string &round : rounds) {
            EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
            round = tqhost::Shadow(kKey)->reported;
            EXPECT_EQ(Sync(round), 0);
        }
        EXPECT_EQ(rounds[0], rounds[1]);
    }
}

TEST_F(RulesTest, CountsAreCutTo16Bits) {
    std::string rules = kRule;
    std::string units = R"({"channel":1,"status":[]})";
    std::string events = kEvent;
    for (int i = 1; i < 65536; ++i) {
        units += R"(,{"channel":1,"status":[]})";
        events += ",5"; // never read: the count ends before
    }
    EXPECT_EQ(Refused("[" + units + "]").back(), "error: Array value, item num is empty");
    on_message = [](const tqDevSDK_SmartControl_msg_to_dev &msg) {
        EXPECT_EQ(reinterpret_cast<const tqDevSDK_SmartControl_ConfigRules *>(msg.data)->usNum, 1);
    };
    EXPECT_EQ(Sync("[" + units + R"(,{"channel":1,"status":[]}])"), 0);
    EXPECT_EQ(RuleOf(RuleWith("[" + events + ",5]", "[]")).usEvents_Num, 1);
    EXPECT_EQ(RuleOf(RuleWith("[" + events + "]", "[]")).pstEvents, nullptr);
}

TEST_F(RulesTest, CostIsLinearInRulesAndUnits) {
    tqhost::SetLogLevel(0);
    const auto time_of = [&](int count, bool as_units) {
        std::string text = as_units ? Unit("") : kRule;
        const std::string one = "," + text;
        for (int i = 1; i < count; ++i) {
            text += one;
        }
        text = as_units ? "[" + text + "]" : "[" + Unit(text) + "]";
        StoreAndGiveBack();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Sync(text), 0);
        EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    for (const bool as_units : {false, true}) {
        time_of(1000, as_units);
        const double some = time_of(8191, as_units);
        const double all = time_of(65535, as_units);
        EXPECT_LT(all, 8 * some * 4) << "eight times as many";
    }
}

} // namespace
