// SPDX-License-Identifier: Apache-2.0
// The linkage rules of the version-2 shadow, in both directions.
#include <algorithm>
#include <chrono>
#include <sstream>

#include "SmartControl_shadow.h"
#include "SmartControl_shadow_rules_json.h"
#include "module_fixture.h"

namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;

constexpr const char *kKey = "InterconnectionRule";

const std::string kEvent = R"({"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":4})";
const std::string kAction = R"({"domain":5,"cmdId":6,"deviceId":"A","channelNo":7,"params":{"value1":8,"value2":9},"delay":10})";

std::string RuleWith(const std::string &events, const std::string &actions) {
    return R"({"id":11,"userId":"U","name":"N","enable":1,"weekdays":["1","3","7"],"startTime":"07:05","endTime":"n23:00",)"
           R"("rule":{"condition":2,"events":)" +
           events + R"(,"actions":)" + actions + "}}";
}

const std::string kRule = RuleWith("[" + kEvent + "]", "[" + kAction + "]");

// A whole value, as the platform sends it and as the device sees it.
std::string Value(const std::string &rules) { return R"([{"Type":"Global","channel":2,"status":[)" + rules + "]}]"; }
const std::string kSeen = "unit 1 2\nrule 11 U N enable 1 days 1 0 1 0 0 0 1 from 7:5 to 23:0 cross 1 condition 2\n"
                          "event 1 2 E 3 4\naction 5 6 A 7 2 values 8 9 delay 10\n";

std::string Replaced(std::string text, const std::string &from, const std::string &to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

// A rule set as text, all but its version.
std::string Render(const Rules &rules) {
    std::ostringstream out;
    for (UINT16 i = 0; i < rules.usNum; ++i) {
        const auto &unit = rules.pstUnit[i];
        out << "unit " << unit.usType << " " << +unit.ucChannel << (unit.pstRuleUnit == nullptr ? " empty\n" : "\n");
        for (UINT16 j = 0; j < unit.usNum; ++j) {
            const auto &rule = unit.pstRuleUnit[j];
            out << "rule " << rule.uiRuleId << " " << rule.acUserId << " " << rule.acRuleName << " enable " << +rule.ucEnable << " days";
            std::for_each(rule.aucWeekDaysEn, rule.aucWeekDaysEn + 7, [&](UINT8 day) { out << " " << +day; });
            out << " from " << rule.uiStart_hour << ":" << rule.uiStart_min << " to " << rule.uiEnd_hour << ":" << rule.uiEnd_min << " cross "
                << +rule.ucIsCrossDay << " condition " << rule.usCondition << (rule.pstEvents == nullptr ? " no events\n" : "\n");
            std::for_each(rule.pstEvents, rule.pstEvents + rule.usEvents_Num, [&](const auto &event) {
                out << "event " << event.uiDomain << " " << event.uiCmdId << " " << event.acDevId << " " << +event.ucChannel << " " << event.usValue
                    << "\n";
            });
            std::for_each(rule.pstActions, rule.pstActions + rule.usActions_Num, [&](const auto &action) {
                out << "action " << action.uiDomain << " " << action.uiCmdId << " " << action.acDevId << " " << +action.ucChannel << " "
                    << +action.ucValueNum << " values " << action.ausValue[0] << " " << action.ausValue[1] << " delay " << action.uiDelay << "\n";
            });
        }
    }
    return out.str();
}

class RulesTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        on_message = [this](const tqDevSDK_SmartControl_msg_to_dev &msg) {
            EXPECT_EQ(msg.type, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES);
            EXPECT_EQ(msg.len, 0);
            const auto *rules = reinterpret_cast<const Rules *>(msg.data);
            EXPECT_EQ(rules->uiVersion, 0U);
            seen_ = Render(*rules);
        };
    }

    // The device gives these rules when it is asked next.
    Rules *Give(const std::string &json, int result = 0) {
        auto *rules = static_cast<Rules *>(calloc(1, sizeof(Rules)));
        bscJSON *root = bscJSON_Parse(json.c_str());
        EXPECT_TRUE(json.empty() || ReadConfigRules(root, *rules));
        bscJSON_Delete(root);
        rules->uiVersion = 4;
        on_query = [rules, result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES);
            EXPECT_EQ(query.data, nullptr);
            EXPECT_EQ(query.len, 0);
            query.data = reinterpret_cast<char *>(rules);
            return result;
        };
        return rules;
    }

    // The cloud has a new value; the result of the device.
    static int Sync(const std::string &json) { return tqhost::ShadowDesire(kKey, json).value_or(-99); }

    // What the device gets of a good value.
    std::string Seen(const std::string &json) {
        seen_ = "nothing";
        EXPECT_EQ(Sync(json), 0);
        return seen_;
    }

    // The log of a refused value, without the lines that every value leaves.
    Lines Refused(const std::string &json) {
        TakeLog();
        EXPECT_EQ(Sync(json), -1);
        Lines log = TakeLog();
        EXPECT_GE(log.size(), 3U);
        EXPECT_EQ(log[0], "error: pcValueStr = " + json);
        EXPECT_EQ(log[1], "debug: Shadow Service, Parse interconnection rules info.");
        return {log.begin() + 2, log.end() - 1}; // the last is the service's own line
    }

    // The device's value as it is reported.
    Lines Get() {
        EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
        return Take();
    }

    static Lines Reported(const std::string &json, const std::string &version = "4") {
        return {"shadow InterconnectionRule version " + version + " reset 0 type 4 " + Printed(json)};
    }

    std::string seen_;
};

// ---- From the cloud ----

TEST_F(RulesTest, EveryFieldArrives) {
    const std::string times = R"(07:05","endTime":"n23:00)";
    const std::string seen_times = "7:5 to 23:0 cross 1";
    const std::string ids = R"("id":11,"userId":"U")";
    struct {
        std::string from, to, seen, as;
    } const cases[] = {
        {"", "", "", ""},
        {"]}}]}]", R"(]}}]},{"Type":"global","channel":300,"status":[]}])", "delay 10\n", "delay 10\nunit 0 44 empty\n"},
        {R"(["1","3","7"])", R"(["1","7","9","x","0","-1","2 ","4294967299","65539",5])", "1 0 1", "1 1 1"}, // 65539 is 3 in 16 bits
        {R"("U")", "\"" + std::string(100, 'u') + "\"", "U", std::string(63, 'u')},
        {R"("N")", "5", "N", ""}, // a number has no text
        {R"("enable":1)", R"("ENABLE":257)", "", ""},
        {R"("condition":2)", R"("condition":-1)", "condition 2", "condition 65535"},
        {R"("value":4)", R"("value":-70000.5)", "E 3 4", "E 3 61072"},
        {R"("id":11)", R"("id":4294967295)", "11", "2147483647"},
        // The first of a key counts, whatever its case and place.
        {ids, R"("userId":"U","id":11,"userId":"b","id":2)", "", ""},
        {ids, R"("ID":11,"USERID":"U","id":2,"userId":"b")", "", ""},
        {R"("enable":1,"weekdays":["1","3","7"])", R"("weekdays":["3","1","7"],"enable":1)", "", ""},
        {R"("condition":2,"events":[)" + kEvent + "]", R"("events":[)" + kEvent + R"(],"condition":2)", "", ""},
        // Times read as far as they go.
        {times, R"(7:5","endTime":"n6:30)", seen_times, "7:5 to 6:30 cross 1"},
        {times, R"(24:99","endTime":"16:30n)", seen_times, "24:99 to 0:0 cross 1"},
        {times, R"(","endTime":"1)", seen_times, "0:0 to 1:0 cross 0"},
        {times, R"( 8: 9x","endTime":" n8:00)", seen_times, "8:9 to 0:0 cross 1"},
        {times, R"(8 :9","endTime":"8:)", seen_times, "8:0 to 8:0 cross 0"},
        {times, R"(noon","endTime":"nn7:8)", seen_times, "0:0 to 0:0 cross 1"},
        {times, R"(-1:4294967296","endTime":"n 7: 8)", seen_times, "4294967295:2147483647 to 7:8 cross 1"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.from + " -> " + row.to);
        EXPECT_EQ(Seen(Replaced(Value(kRule), row.from, row.to)), Replaced(kSeen, row.seen, row.as));
    }
}

TEST_F(RulesTest, OneFaultRejectsTheWholeValue) {
    // The bad rule comes after good ones, of its own item and of an earlier one.
    const std::string before = Replaced(Value(kRule), "]}]", "]},") + R"({"channel":1,"status":[)" + kRule + ",";
    const std::string of_rule = "error: Failed to GenerateStatusRules";
    const std::string of_array = "error: Failed to generate rule events.";
    const auto with = [&](const std::string &from, const std::string &to) { return before + Replaced(kRule, from, to) + "]}]"; };
    for (const std::string member :
         {R"("id":)",        R"("userId":)",  R"("name":)",    R"("enable":)",      R"("startTime":)",  R"("endTime":)",     R"("rule":)",
          R"("condition":)", R"("events":)",  R"("actions":)", R"("domain":1)",     R"("cmdId":2)",     R"("deviceId":"E")", R"("channelNo":3)",
          R"("value":)",     R"("domain":5)", R"("cmdId":6)",  R"("deviceId":"A")", R"("channelNo":7)", R"("delay":)"}) {
        const std::string key = member.substr(1, member.find('"', 1) - 1);
        const bool in_array = RuleWith("", "").find(member) == std::string::npos;
        const std::string text = "error: Failed to find item:" + key;
        EXPECT_EQ(Refused(with(member, Replaced(member, key, "other"))), in_array ? (Lines{text, of_array, of_rule}) : (Lines{text, of_rule}))
            << member;
    }
    const std::pair<std::string, Lines> cases[] = {
        {with(R"("weekdays":)", R"("other":)"), {"error: Item error:weekdays", of_rule}},
        {with(R"(["1","3","7"])", R"({"1":1})"), {"error: Item error:weekdays", of_rule}},
        {with("[" + kEvent + "]", "{}"), {"error: This is not a array bscJSON object.", of_array, of_rule}},
        {with("[" + kAction + "]", "7"), {"error: This is not a array bscJSON object.", of_array, of_rule}},
        {with(kEvent, "null"), {"error: Failed to find item:domain", of_array, of_rule}},
        {with(R"("params":)", R"("other":)"), {"error: Item is invalid:params", of_array, of_rule}},
        {with(R"({"value1":8,"value2":9})", "[8,9]"), {"error: Item is invalid:params", of_array, of_rule}},
        {"[", {"error: Failed to bscJSON_Parse"}},
        {"[]", {"error: Array value, item num is empty"}},
        {"[{}]", {"error: Failed to find item:channel"}},
        {"[1]", {"error: Failed to find item:channel"}},
        {R"([{"channel":1,"status":[]},{"channel":1}])", {"warning: Array item num is empty.", "error: Array value[1], item error:status"}},
        {R"([{"channel":1,"status":{}}])", {"error: Array value[0], item error:status"}},
    };
    for (const auto &[json, log] : cases) {
        EXPECT_EQ(Refused(json), log) << json;
    }
    EXPECT_EQ(ReceivedCount(), 0U);
    EXPECT_EQ(Sync(with("", "")), 0) << "the next value is served";
    recv_result = 5;
    TakeLog();
    EXPECT_EQ(Sync(Value(kRule)), 5);
    EXPECT_EQ(TakeLog()[2], "error: Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules");
}

TEST_F(RulesTest, ParseCallbackChecksItsArguments) {
    const auto parse = tqhost::ShadowService(kKey)->parse_sync;
    char text[] = "{}";
    tqDevSDK_Shadow_value_t value{};
    value.type = shd_data_type_array;
    tqDevSDK_Shadow_ParseSync_Param_S param{};
    EXPECT_EQ(parse(nullptr, &param), -1);
    EXPECT_EQ(parse(&value, &param), -1);
    value.value = text;
    EXPECT_EQ(parse(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), Lines(3, "error: NULL input param."));
    EXPECT_EQ(parse(&value, &param), -1);
    EXPECT_EQ(TakeLog().back(), "error: Value String is not json array");
    value.type = shd_data_type_string;
    EXPECT_EQ(parse(&value, &param), -1);
    EXPECT_EQ(TakeLog(), Lines{"error:  pValue type err."});

    tqDevSDK_SmartControl_fini();
    TakeLog();
    value.type = shd_data_type_array;
    EXPECT_EQ(parse(&value, &param), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: pcValueStr = {}", "error: Error, SmartControl domain:recv_msg is NULL."}));
}

// ---- To the cloud ----

TEST_F(RulesTest, EveryFieldIsWritten) {
    std::string values = R"("value1":8)";
    for (int i = 2; i <= 16; ++i) {
        values += ",\"value" + std::to_string(i) + "\":65535";
    }
    const std::string json =
        R"([{"channel":255,"status":[{"id":4294967295,"userId":")" + std::string(64, 'u') + R"(","name":")" + std::string(64, 'n') +
        R"(","enable":9,"weekdays":["1","3","7"],"startTime":"123:05","endTime":"n23:-1",)"
        R"("rule":{"condition":65535,"events":[{"domain":1,"cmdId":2,"deviceId":")" +
        std::string(32, 'e') + R"(","channelNo":3,"value":65535}],"actions":[{"domain":5,"cmdId":6,"deviceId":"A","channelNo":7,"params":{)" +
        values + R"(},"delay":4294967295}]}}]}])";
    auto &unit = Give(json)->pstUnit[0];
    unit.usType = 2; // only 1 has a text
    auto &rule = unit.pstRuleUnit[0];
    rule.uiRuleId = 4294967295U; // read, as the delay is, up to the largest signed number
    Fill(rule.acUserId, 'u');
    Fill(rule.acRuleName, 'n');
    rule.aucWeekDaysEn[0] = 2;
    rule.ucIsCrossDay = 7;
    Fill(rule.pstEvents[0].acDevId, 'e');
    rule.pstActions[0].ucValueNum = 200; // more than there are
    rule.pstActions[0].uiDelay = 4294967295U;
    TakeLog();
    EXPECT_EQ(Get(), Reported(json));
    EXPECT_EQ(TakeLog(), Lines{"debug: GenJson_Trusteeship_Proc:" + Printed(json)});
}

TEST_F(RulesTest, EmptySetsHaveAFormOfTheirOwn) {
    const std::string empty = R"([{"channel":0}])";
    Give("");
    EXPECT_EQ(Get(), Reported(empty));
    Give("")->usNum = 1; // a count without an array
    EXPECT_EQ(Get(), Reported(empty));
    on_query = [](tqDevSDK_SmartControl_runtime_info &) { return 0; };
    EXPECT_EQ(Get(), Reported(empty, "0"));
    EXPECT_EQ(Refused(empty).back(), "error: Array value[0], item error:status") << "not readable, on purpose";
    Give(Value(RuleWith("[]", "[]")))->pstUnit[0].pstRuleUnit[0].usEvents_Num = 1;
    EXPECT_EQ(Get(), Reported(Value(RuleWith("[]", "[]"))));
    const std::string units = kRule + "," + kRule + R"(]},{"channel":255,"status":[]},{"channel":0,"status":[)" + Replaced(kRule, "n23:00", "23:59");
    Give(Value(units));
    EXPECT_EQ(Get(), Reported(Value(units)));
}

TEST_F(RulesTest, GenerateCallbackChecksItsArguments) {
    const auto generate = tqhost::ShadowService(kKey)->gen_value_JsStr;
    char buffer[4] = "old";
    tqDevSDK_Shadow_value_t value{};
    tqDevSDK_Shadow_GenValue_Param_S param{};
    EXPECT_EQ(generate(nullptr, &param), -1);
    EXPECT_EQ(generate(&value, &param), -1);
    value.value = buffer;
    EXPECT_EQ(generate(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), Lines(3, "error: NULL input param."));

    // A failing application: its rules are released, nothing is touched.
    Give(Value(kRule), 3);
    param.uiVersion = 77;
    value.length = 3;
    EXPECT_EQ(generate(&value, &param), 3);
    EXPECT_EQ(TakeLog(), Lines{"error: Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc"});
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(value.length, 3);
    EXPECT_EQ(param.uiVersion, 77U);

    tqDevSDK_SmartControl_fini();
    TakeLog();
    EXPECT_EQ(generate(&value, &param), -1);
    EXPECT_EQ(TakeLog(), Lines{"error: Error, SmartControl domain:on_get_runtime_info is NULL"});
}

TEST_F(RulesTest, FreeLeavesEmptyRecordsAndZeroesFullOnes) {
    Free_ConfigRules(nullptr);
    Rules empty{5, 3, {0, 0}, nullptr};
    Free_ConfigRules(&empty);
    EXPECT_TRUE(empty.uiVersion == 5 && empty.usNum == 3);
    Rules *rules = Give(Value(kRule));
    Free_ConfigRules(rules);
    EXPECT_TRUE(rules->uiVersion == 0 && rules->usNum == 0 && rules->pstUnit == nullptr);
    free(rules);
}

// ---- Both ----

TEST_F(RulesTest, CountsAreCutTo16Bits) {
    const std::string unit = R"({"channel":1,"status":[]})";
    std::string units = unit;
    std::string events = kEvent;
    for (int i = 1; i < 65536; ++i) {
        units += "," + unit;
        events += ",5"; // never read: the count ends before
    }
    EXPECT_EQ(Refused("[" + units + "]").back(), "error: Array value, item num is empty");
    EXPECT_EQ(Seen("[" + units + "," + unit + "]"), "unit 0 1 empty\n");
    EXPECT_EQ(TakeLog().back(), "warning: Array item num is empty.");
    const std::string seen = Replaced(kSeen, "action 5 6 A 7 2 values 8 9 delay 10\n", "");
    EXPECT_EQ(Seen(Value(RuleWith("[" + events + ",5]", "[]"))), seen);
    EXPECT_EQ(Seen(Value(RuleWith("[" + events + "]", "[]"))), Replaced(seen, "\nevent 1 2 E 3 4\n", " no events\n"));
}

TEST_F(RulesTest, CostIsLinear) {
    tqhost::SetLogLevel(0);
    const auto time_of = [&](int count, const std::string &separator) {
        std::string rules = kRule;
        for (int i = 1; i < count; ++i) {
            rules += separator + kRule;
        }
        Give(Value(rules));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Sync(Value(rules)), 0);
        Get();
        return std::chrono::steady_clock::now() - start;
    };
    for (const char *separator : {",", R"(]},{"channel":1,"status":[)"}) { // of rules, and of units
        time_of(1000, separator);
        EXPECT_LT(time_of(65535, separator), 8 * 4 * time_of(8191, separator)) << "eight times as many";
    }
}

} // namespace
