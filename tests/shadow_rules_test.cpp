// SPDX-License-Identifier: Apache-2.0
// The linkage rules of the version-2 shadow, where the recorded contract does not see them: every member that
// may be missing, careless records, counts beyond 16 bits, the callbacks' arguments, the cost.
#include <chrono>
#include <map>

#include "SmartControl_shadow_rules.h"
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

std::string Value(const std::string &rules) { return R"([{"Type":"Global","channel":2,"status":[)" + rules + "]}]"; }

std::string Replaced(std::string text, const std::string &from, const std::string &to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

class RulesTest : public ModuleTest {
protected:
    // The device gives these rules when it is asked next.
    Rules *Give(const std::string &json, int result = 0) {
        auto *rules = static_cast<Rules *>(calloc(1, sizeof(Rules)));
        bscJSON *root = bscJSON_Parse(json.c_str());
        EXPECT_EQ(ReadConfigRules(root, *rules), !json.empty());
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

    // The device's value as it is reported.
    Lines Get() {
        EXPECT_EQ(tqhost::ShadowGet(kKey), 0);
        return Take();
    }

    static Lines Reported(const std::string &json, const std::string &version = "4") {
        return {"shadow InterconnectionRule version " + version + " reset 0 type 4 " + Printed(json)};
    }
};

// ---- From the cloud ----

TEST_F(RulesTest, OneMissingMemberRejectsTheWholeValue) {
    // The bad rule comes after good ones, of its own unit and of an earlier one.
    const std::string before = Replaced(Value(kRule), "]}]", "]},") + R"({"channel":1,"status":[)" + kRule + ",";
    const std::map<std::string, std::string> own_texts = {{"weekdays", "error: Item error:"}, {"params", "error: Item is invalid:"}};
    for (std::size_t end = kRule.find("\":"); end != std::string::npos; end = kRule.find("\":", end + 1)) {
        const std::size_t begin = kRule.rfind('"', end - 1) + 1;
        const std::string key = kRule.substr(begin, end - begin);
        if (key == "value1" || key == "value2") {
            continue; // may be missing
        }
        TakeLog();
        EXPECT_EQ(Sync(before + std::string(kRule).replace(begin, key.size(), "other") + "]}]"), -1);
        const auto text = own_texts.find(key);
        Lines log = {(text != own_texts.end() ? text->second : "error: Failed to find item:") + key, "error: Failed to GenerateStatusRules"};
        if (begin > kRule.find("[{") && key != "actions") {
            log.insert(log.begin() + 1, "error: Failed to generate rule events.");
        }
        const Lines all = TakeLog(); // begins with the value and what it is, ends with the service's own line
        EXPECT_EQ(Lines(all.begin() + 2, all.end() - 1), log);
    }
    EXPECT_EQ(TakeReceived(), Messages{});
    EXPECT_EQ(Sync(before + kRule + "]}]"), 0);
}

TEST_F(RulesTest, CountsAreCutTo16Bits) {
    static const tqDevSDK_SmartControl_ConfigRule_Actions kWhole{5, 6, "A", 7, 2, {8, 9}, 10}; // static: its padding is zero
    using Counts = std::vector<int>; // units, rules, events, actions; up to the first without units or rules
    Counts counts;
    const auto count = [&](int number, const auto *array) {
        EXPECT_EQ(array != nullptr, number != 0);
        counts.push_back(number);
        return number != 0;
    };
    on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
        const auto &rules = *reinterpret_cast<const Rules *>(msg.data);
        if (count(rules.usNum, rules.pstUnit) && count(rules.pstUnit->usNum, rules.pstUnit->pstRuleUnit)) {
            const auto &rule = *rules.pstUnit->pstRuleUnit;
            count(rule.usEvents_Num, rule.pstEvents);
            if (count(rule.usActions_Num, rule.pstActions)) {
                EXPECT_EQ(Bytes(rule.pstActions[rule.usActions_Num - 1]), Bytes(kWhole));
            }
        }
    };
    for (const int size : {300, 65536, 65537}) {
        const int counted = size % 65536;
        const auto array = [=](const std::string &element) {
            std::string text = Repeated(element, counted);
            for (int i = counted; i < size; ++i) {
                text += ",5"; // what is behind the count is not read
            }
            return "[" + text.substr(counted == 0 ? 1 : 0) + "]";
        };
        const std::string one_event = "[" + kEvent + "]", one_action = "[" + kAction + "]";
        const bool none = counted == 0;
        const std::pair<std::string, Counts> cases[] = {
            {array(R"({"channel":2,"status":[)" + kRule + "]}"), none ? Counts{} : Counts{counted, 1, 1, 1}},
            {R"([{"channel":2,"status":)" + array(kRule) + "}]", none ? Counts{1, 0} : Counts{1, counted, 1, 1}},
            {Value(RuleWith(array(kEvent), one_action)), {1, 1, counted, 1}},
            {Value(RuleWith(one_event, array(kAction))), {1, 1, 1, counted}},
        };
        for (const auto &[value, expected] : cases) {
            counts.clear();
            EXPECT_EQ(Sync(value), expected.empty() ? -1 : 0);
            EXPECT_EQ(counts, expected);
            if (counted == size) {
                Give(value);
                EXPECT_EQ(Get(), Reported(value)) << "so many go back, too";
            }
        }
    }
}

TEST_F(RulesTest, LentRecordsMayBeWrittenInto) {
    using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
    const std::function<void(Rules &, Rule &)> writes[] = {
        [](Rules &rules, Rule &) { rules.usNum = 9; },
        [](Rules &rules, Rule &) { rules.usNum = 0; },
        [](Rules &rules, Rule &) { rules.pstUnit = nullptr; },
        [](Rules &rules, Rule &) { rules.pstUnit->usNum = 9; },
        [](Rules &rules, Rule &) { rules.pstUnit->usNum = 0; },
        [](Rules &rules, Rule &) { rules.pstUnit->pstRuleUnit = nullptr; },
        [](Rules &, Rule &rule) { rule.usEvents_Num = rule.usActions_Num = 9; },
    };
    std::string value = Value(kRule);
    for (const auto &write : writes) {
        on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
            auto &rules = *reinterpret_cast<Rules *>(msg.data);
            write(rules, *rules.pstUnit->pstRuleUnit);
        };
        value += " "; // another value, so that it is delivered
        EXPECT_EQ(Sync(value), 0);
    }
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
    SetUnknown(value.type);
    EXPECT_EQ(parse(&value, &param), -1);
    EXPECT_EQ(TakeLog(), Lines{"error:  pValue type err."});
    value.type = shd_data_type_array;
    tqDevSDK_SmartControl_fini();
    TakeLog();
    EXPECT_EQ(parse(&value, &param), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: pcValueStr = {}", "error: Error, SmartControl domain:recv_msg is NULL."}));
}

// ---- To the cloud ----

TEST_F(RulesTest, CarelessRecordsAreWrittenAsFarAsTheyGo) {
    std::string values = R"("value1":8)";
    for (int i = 2; i <= 16; ++i) {
        values += ",\"value" + std::to_string(i) + "\":65535";
    }
    const std::string json = Replaced(Replaced(Value(kRule), R"("value1":8,"value2":9)", values), R"("Type":"Global",)", "");
    auto &unit = Give(json)->pstUnit[0];
    unit.usType = 2; // only 1 has a text
    auto &rule = unit.pstRuleUnit[0];
    rule.aucWeekDaysEn[0] = 2;
    rule.ucIsCrossDay = 7;
    rule.uiStart_hour = 123;
    rule.uiEnd_min = 4294967295U;
    rule.pstActions[0].ucValueNum = 200; // more than there are
    EXPECT_EQ(Get(), Reported(Replaced(Replaced(json, "07:05", "123:05"), "23:00", "23:-1")));
    Give(json)->pstUnit[0].pstRuleUnit[0].usEvents_Num = 0;
    EXPECT_EQ(Get(), Reported(Replaced(json, kEvent, "")));
}

TEST_F(RulesTest, MissingArraysAndRecordsAreEmpty) {
    const std::string empty = R"([{"channel":0}])";
    Give("")->usNum = 1;
    EXPECT_EQ(Get(), Reported(empty));
    on_query = [](tqDevSDK_SmartControl_runtime_info &) { return 0; };
    EXPECT_EQ(Get(), Reported(empty, "0"));
    Give(Value(RuleWith("[]", "[]")))->pstUnit[0].pstRuleUnit[0].usEvents_Num = 1;
    EXPECT_EQ(Get(), Reported(Value(RuleWith("[]", "[]"))));
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
    EXPECT_EQ(Bytes(empty), Bytes(Rules{5, 3, {0, 0}, nullptr}));
    Rules *rules = Give(Value(kRule));
    Free_ConfigRules(rules);
    EXPECT_EQ(Bytes(*rules), Bytes(Rules{}));
    free(rules);
}

std::string PrintedAsItems(const std::vector<double> &numbers) {
    bscJSON *array = bscJSON_CreateArray();
    for (const double number : numbers) {
        bscJSON_AddItemToArray(array, bscJSON_CreateNumber(number));
    }
    char *text = bscJSON_Print(array);
    const std::string printed = text;
    free(text);
    bscJSON_Delete(array);
    return printed;
}

// All numbers of 16 bits, and those around every power of ten and of two, printed as the module writes them
// and as the library prints number items.
template <typename Number>
void CompareNumbers() {
    std::vector<Number> numbers;
    for (int number = 0; number <= UINT16_MAX; ++number) {
        numbers.push_back(static_cast<Number>(number));
    }
    for (const double base : {2.0, 10.0}) {
        for (double power = 1; power <= UINT32_MAX; power *= base) {
            for (int beside = -2; beside <= 2; ++beside) {
                numbers.push_back(static_cast<Number>(static_cast<int64_t>(power) + beside));
                numbers.push_back(static_cast<Number>(-static_cast<int64_t>(power) + beside));
            }
        }
    }
    std::string written;
    for (const Number number : numbers) {
        bscJSON *item = CreateNumber(number);
        char *text = bscJSON_Print(item);
        written += (written.empty() ? "[" : ", ") + std::string(text);
        free(text);
        bscJSON_Delete(item);
    }
    EXPECT_EQ(written + "]", PrintedAsItems({numbers.begin(), numbers.end()}));
}

TEST_F(RulesTest, NumbersAreWrittenAsTheLibraryPrintsThem) {
    CompareNumbers<UINT32>();
    CompareNumbers<int32_t>();
}

// ---- Both ----

TEST_F(RulesTest, CostIsLinear) {
    tqhost::SetLogLevel(0);
    const auto time_of = [&](const std::string &value) {
        Give(value);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Sync(value), 0);
        Get();
        return std::chrono::steady_clock::now() - start;
    };
    const auto rules = [](int count) { return Value(Repeated(kRule, count)); };
    const auto units = [](int count) { return "[" + Repeated(R"({"channel":1,"status":[)" + kRule + "]}", count) + "]"; };
    for (const auto &value : {std::function<std::string(int)>(rules), {units}}) {
        time_of(value(1000));
        EXPECT_LT(time_of(value(65535)), 8 * 4 * time_of(value(8191))) << "eight times as many";
    }
}

} // namespace
