// SPDX-License-Identifier: Apache-2.0
// The opaque rule texts of the version-3 shadow, in both directions, and their status items, which push a
// changed one.
#include "SmartControl_shadow.h"
#include "module_fixture.h"

namespace {

// What differs between the two keys.
struct Key {
    const char *key;
    int message, query;
    bool len_is_text;
    std::string to_device, value_level, to_device_failure, to_cloud, to_cloud_failure;
};

std::ostream &operator<<(std::ostream &out, const Key &key) { return out << key.key; }

const Key kKeys[] = {
    {"SceneLink", 12, 6, false, "error: CenPlt2PuParseJsonSetLinkRuleReq", "error",
     "error: Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules", "Pu2CenPltMakeJsonLinkRuleReq",
     "error: Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc"},
    {"LocalLink", 11, 7, true, "error: CenPlt2PuParseJsonSetAiRuleReq", "debug",
     "error: Failed to send msg to dev in shadow by CenPlt2PuParseJsonSetAiRuleReq", "Pu2CenPltMakeJsonAiRuleReq",
     "error: Failed to get on_run_time_info of shadow by Pu2CenPltMakeJsonAiRuleReq"},
};

class RuleTextTest : public ModuleTest, public testing::WithParamInterface<Key> {
protected:
    // The application answers with a copy of this text, or none.
    void AnswerWith(const std::optional<std::string> &text, int result = 0) {
        on_query = [this, text, result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, GetParam().query);
            EXPECT_EQ(query.len, query_len_);
            auto *record = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data);
            EXPECT_EQ(record->uiVersion, 0U);
            EXPECT_EQ(record->rule, nullptr);
            given_ = text ? HeapText(*text) : nullptr;
            *record = {8, given_};
            return result;
        };
    }

    // What the status item makes of such an answer.
    int IsChanged(const std::optional<std::string> &text, int result = 0) {
        AnswerWith(text, result);
        return Item().status_is_changed();
    }

    static tqDevSDK_report_status_info Item() { return tqhost::StatusItems().at(GetParam().query == 6 ? 5 : 6); }

    static std::string Reported(const std::string &text) { return std::string("shadow ") + GetParam().key + " version 8 reset 0 type 3 " + text; }

    char *given_ = nullptr;
    int query_len_ = 0;
};

TEST_P(RuleTextTest, TextIsLentToTheDevice) {
    const Key &key = GetParam();
    std::string got;
    on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
        const auto *record = reinterpret_cast<const tqDevSDK_SmartControl_Rule_S *>(msg.data);
        got = std::to_string(msg.type) + " " + std::to_string(msg.len) + " " + std::to_string(record->uiVersion) + " " + record->rule;
    };
    for (const std::string &text : {std::string("anything"), std::string(), std::string(100000, 'r')}) {
        EXPECT_EQ(tqhost::ShadowDesire(key.key, text), 0);
        EXPECT_EQ(got, std::to_string(key.message) + " " + std::to_string(key.len_is_text ? text.size() : 8) + " 0 " + text);
        EXPECT_EQ(TakeLog(), (Lines{key.to_device, key.value_level + ": pcValueStr = " + text}));
    }
    recv_result = 5;
    EXPECT_EQ(tqhost::ShadowDesire(key.key, "x"), 5);
    EXPECT_EQ(TakeLog()[2], key.to_device_failure);

    const auto business2dev = tqhost::ShadowServiceV3(key.key)->business2dev;
    char text[] = "x";
    tqDevSDK_Shadow_value_t value{};
    EXPECT_EQ(business2dev(nullptr, nullptr), -1);
    EXPECT_EQ(business2dev(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{key.to_device, "error: NULL input param.", key.to_device, "error: NULL input param."}));
    tqDevSDK_SmartControl_fini();
    value.value = text;
    EXPECT_EQ(business2dev(&value, nullptr), -1);
    EXPECT_EQ(TakeLog().back(), "error: Error, SmartControl domain:recv_msg is NULL.");
}

TEST_P(RuleTextTest, TextIsReportedUpToItsLimit) {
    const Key &key = GetParam();
    const std::string name = "error: " + key.to_cloud;
    const std::string value = "debug: " + key.to_cloud + " value:";
    const auto get = [&](const std::optional<std::string> &text) {
        AnswerWith(text);
        EXPECT_EQ(tqhost::ShadowGet(key.key), 0);
        return Outcome{Take(), TakeLog()};
    };
    for (const std::string &text : {std::string("{\"a\": 1}"), std::string(), std::string(16383, 'r')}) {
        EXPECT_EQ(get(text), (Outcome{{Reported(text)}, {name, value + text}}));
    }
    EXPECT_EQ(get(std::string(16384, 'r')), (Outcome{{Reported("")}, {name, "error: rule is more large"}}));
    EXPECT_EQ(get(std::nullopt), (Outcome{{Reported("{}")}, {name, value + "{}"}}));
}

TEST_P(RuleTextTest, RefusalsOnTheWayToTheCloud) {
    const auto business2cloud = tqhost::ShadowServiceV3(GetParam().key)->business2cloud;
    const std::string name = "error: " + GetParam().to_cloud;
    char buffer[4] = "old";
    tqDevSDK_Shadow_value_t value{};
    tqDevSDK_Shadow_value_t none{};
    value.value = buffer;
    tqDevSDK_Shadow_GenValue_Param_S param{};
    param.uiVersion = 77;
    EXPECT_TRUE(business2cloud(nullptr, &param) == -1 && business2cloud(&none, &param) == -1 && business2cloud(&value, nullptr) == -1);
    EXPECT_EQ(TakeLog(), (Lines{name, "error: NULL input param.", name, "error: NULL input param.", name, "error: NULL input param."}));
    AnswerWith("x", 6); // released all the same
    EXPECT_EQ(business2cloud(&value, &param), 6);
    EXPECT_EQ(TakeLog(), (Lines{name, GetParam().to_cloud_failure}));
    EXPECT_EQ(param.uiVersion, 77U);
    EXPECT_STREQ(buffer, "old");
    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(business2cloud(&value, &param), -1);
    EXPECT_EQ(TakeLog().back(), "error: Error, SmartControl domain:on_get_runtime_info is NULL");
}

TEST_P(RuleTextTest, StatusItemPushesUnlessForced) {
    const std::string call = std::string("tqDevSDK_Shadow_PushStatus_v3 TQ00000001 Video 1 TQLink ") + GetParam().key + " 0";
    AnswerWith("t");
    EXPECT_EQ(Item().report_status(0), 0);
    EXPECT_EQ(Take(), (Lines{call, Reported("t")}));
    tqhost::Fail("tqDevSDK_Shadow_PushStatus_v3", 41, 1);
    EXPECT_EQ(Item().report_status(0), 41);
    EXPECT_EQ(Take(), Lines{call + " = 41"});
    EXPECT_EQ(Item().report_status(1), 0);
    EXPECT_EQ(Item().report_status(-5), 0);
    EXPECT_EQ(smart_control_shadow_push_status(2), -1);
    EXPECT_EQ(Take(), Lines{});
}

TEST_P(RuleTextTest, OnlyTheFirstTextAndEqualOnesCountAsChanged) {
    query_len_ = 8;
    EXPECT_EQ(IsChanged(std::nullopt), 0);
    EXPECT_EQ(IsChanged("A"), 1);
    EXPECT_EQ(IsChanged("A"), 1);
    EXPECT_EQ(IsChanged(std::nullopt), 0);
    EXPECT_EQ(IsChanged("B"), 0);
    free(given_); // neither stored nor released: the module has forgotten it
    EXPECT_EQ(IsChanged("A"), 1) << "the cache is still A";

    const auto reset = Item().status_reset;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(IsChanged("B"), 1);
    reset();
    EXPECT_EQ(IsChanged("C", 0x1004), -1);
    free(given_); // what a failing query leaves is the application's
    EXPECT_EQ(IsChanged("C", 0x1003), 0);
    free(given_);
    EXPECT_EQ(IsChanged("D"), 1) << "a failed query stored nothing";
    tqDevSDK_SmartControl_fini();
    reset();
}

INSTANTIATE_TEST_SUITE_P(Keys, RuleTextTest, testing::ValuesIn(kKeys), [](const auto &row) { return std::string(row.param.key); });

} // namespace
