// SPDX-License-Identifier: Apache-2.0
// The opaque rule texts of the version-3 shadow, in both directions, and the push of a changed one.
#include "SmartControl_shadow.h"
#include "module_fixture.h"

namespace {

// What differs between the two keys.
struct Key {
    const char *key;
    int message, query;
    bool len_is_text;
    const char *to_device, *value_level, *to_device_failure, *to_cloud, *to_cloud_failure;
};

std::ostream &operator<<(std::ostream &out, const Key &key) { return out << key.key; }

const Key kKeys[] = {
    {"SceneLink", 12, 6, false, "CenPlt2PuParseJsonSetLinkRuleReq", "error",
     "error: Failed to send msg to dev in shadow by ParseSync_SmartControl_Rules", "Pu2CenPltMakeJsonLinkRuleReq",
     "error: Failed to get on_run_time_info of shadow by GenJson_SmartControl_Rules_Proc"},
    {"LocalLink", 11, 7, true, "CenPlt2PuParseJsonSetAiRuleReq", "debug",
     "error: Failed to send msg to dev in shadow by CenPlt2PuParseJsonSetAiRuleReq", "Pu2CenPltMakeJsonAiRuleReq",
     "error: Failed to get on_run_time_info of shadow by Pu2CenPltMakeJsonAiRuleReq"},
};

class RuleTextTest : public ModuleTest, public testing::WithParamInterface<Key> {
protected:
    // The application answers with this heap text, or none.
    void AnswerWith(char *text, int result = 0) {
        on_query = [text, result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, GetParam().query);
            EXPECT_EQ(query.len, 0);
            auto *record = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data);
            EXPECT_EQ(record->uiVersion, 0U);
            EXPECT_EQ(record->rule, nullptr);
            record->uiVersion = 8;
            record->rule = text;
            return result;
        };
    }

    static Lines Reported(const std::string &text) { return {std::string("shadow ") + GetParam().key + " version 8 reset 0 type 3 " + text}; }
};

TEST_P(RuleTextTest, TextIsLentToTheDevice) {
    const Key &key = GetParam();
    for (const std::string &text : {std::string("anything"), std::string(), std::string(100000, 'r')}) {
        on_message = nullptr;
        tqhost::ShadowDesire(key.key, "before " + text);
        std::string got = "nothing";
        on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
            const auto *record = reinterpret_cast<const tqDevSDK_SmartControl_Rule_S *>(msg.data);
            EXPECT_EQ(msg.type, key.message);
            EXPECT_EQ(msg.len, key.len_is_text ? static_cast<int>(text.size()) : 8);
            EXPECT_EQ(record->uiVersion, 0U);
            got = record->rule;
        };
        TakeLog();
        EXPECT_EQ(tqhost::ShadowDesire(key.key, text), 0);
        EXPECT_EQ(got, text);
        EXPECT_EQ(TakeLog(), (Lines{std::string("error: ") + key.to_device, std::string(key.value_level) + ": pcValueStr = " + text}));
    }
}

TEST_P(RuleTextTest, RefusalsOnTheWayToTheDevice) {
    const Key &key = GetParam();
    recv_result = 5;
    EXPECT_EQ(tqhost::ShadowDesire(key.key, "x"), 5);
    EXPECT_EQ(TakeLog()[2], key.to_device_failure);

    const auto *service = tqhost::ShadowServiceV3(key.key);
    ASSERT_NE(service, nullptr);
    tqDevSDK_Shadow_value_t value{};
    EXPECT_EQ(service->business2dev(nullptr, nullptr), -1);
    EXPECT_EQ(service->business2dev(&value, nullptr), -1);
    const std::string name = std::string("error: ") + key.to_device;
    EXPECT_EQ(TakeLog(), (Lines{name, "error: NULL input param.", name, "error: NULL input param."}));

    const auto business2dev = service->business2dev;
    tqDevSDK_SmartControl_fini();
    TakeLog();
    char text[] = "x";
    value.value = text;
    EXPECT_EQ(business2dev(&value, nullptr), -1);
    EXPECT_EQ(TakeLog().back(), "error: Error, SmartControl domain:recv_msg is NULL.");
}

TEST_P(RuleTextTest, TextIsReportedUpToItsLimit) {
    const Key &key = GetParam();
    const std::string name = std::string("error: ") + key.to_cloud;
    for (const std::string &text : {std::string("{\"a\": 1}"), std::string(), std::string(16383, 'r')}) {
        AnswerWith(HeapText(text));
        EXPECT_EQ(tqhost::ShadowGet(key.key), 0);
        EXPECT_EQ(Take(), Reported(text));
        EXPECT_EQ(TakeLog(), (Lines{name, std::string("debug: ") + key.to_cloud + " value:" + text}));
    }
    AnswerWith(HeapText(std::string(16384, 'r')));
    EXPECT_EQ(tqhost::ShadowGet(key.key), 0);
    EXPECT_EQ(Take(), Reported(""));
    EXPECT_EQ(TakeLog(), (Lines{name, "error: rule is more large"}));

    AnswerWith(nullptr);
    EXPECT_EQ(tqhost::ShadowGet(key.key), 0);
    EXPECT_EQ(Take(), Reported("{}"));
    EXPECT_EQ(TakeLog(), (Lines{name, std::string("debug: ") + key.to_cloud + " value:{}"}));
}

TEST_P(RuleTextTest, RefusalsOnTheWayToTheCloud) {
    const Key &key = GetParam();
    const auto *service = tqhost::ShadowServiceV3(key.key);
    ASSERT_NE(service, nullptr);
    const std::string name = std::string("error: ") + key.to_cloud;
    char buffer[4] = "old";
    tqDevSDK_Shadow_value_t value{};
    tqDevSDK_Shadow_GenValue_Param_S param{};
    EXPECT_EQ(service->business2cloud(nullptr, &param), -1);
    EXPECT_EQ(service->business2cloud(&value, &param), -1);
    value.value = buffer;
    EXPECT_EQ(service->business2cloud(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{name, "error: NULL input param.", name, "error: NULL input param.", name, "error: NULL input param."}));

    // The text of a failing application is released all the same.
    param.uiVersion = 77;
    AnswerWith(HeapText("x"), 6);
    EXPECT_EQ(service->business2cloud(&value, &param), 6);
    EXPECT_EQ(TakeLog(), (Lines{name, key.to_cloud_failure}));
    EXPECT_EQ(param.uiVersion, 77U);
    EXPECT_STREQ(buffer, "old");

    const auto business2cloud = service->business2cloud;
    tqDevSDK_SmartControl_fini();
    TakeLog();
    EXPECT_EQ(business2cloud(&value, &param), -1);
    EXPECT_EQ(TakeLog().back(), "error: Error, SmartControl domain:on_get_runtime_info is NULL");
}

TEST_P(RuleTextTest, PushReportsTheKeyOfItsType) {
    const Key &key = GetParam();
    const auto type = key.query == 6 ? SMART_CONTROL_SCENE_RULE_REQ : SMART_CONTROL_AI_RULE_REQ;
    const std::string call = std::string("tqDevSDK_Shadow_PushStatus_v3 TQ00000001 Video 1 TQLink ") + key.key + " 0";
    AnswerWith(HeapText("t"));
    EXPECT_EQ(smart_control_shadow_push_status(type), 0);
    EXPECT_EQ(Take(), (Lines{call, Reported("t")[0]}));
    tqhost::Fail("tqDevSDK_Shadow_PushStatus_v3", 41, 1);
    EXPECT_EQ(smart_control_shadow_push_status(type), 41);
    EXPECT_EQ(Take(), Lines{call + " = 41"});
    EXPECT_EQ(smart_control_shadow_push_status(2), -1);
    EXPECT_EQ(Take(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Keys, RuleTextTest, testing::ValuesIn(kKeys), [](const auto &row) { return std::string(row.param.key); });

} // namespace
