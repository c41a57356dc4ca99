// SPDX-License-Identifier: Apache-2.0
// The opaque rule texts of the version-3 shadow, where the recorded contract does not see them: the limit of
// their length, who owns them, the callbacks' arguments, the call that pushes them.
#include "SmartControl_shadow.h"
#include "SmartControl_shadow_text.h"
#include "module_fixture.h"

namespace {

// What differs between the two keys.
struct Key {
    const char *key;
    int query, item, message;
    int len; // of a text of 100,000 bytes
    std::string to_device, to_cloud;
};

std::ostream &operator<<(std::ostream &out, const Key &key) { return out << key.key; }

const Key kKeys[] = {
    {"SceneLink", TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES, TQDEVSDK_ReportSceneRule, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES,
     8, "error: CenPlt2PuParseJsonSetLinkRuleReq", "error: Pu2CenPltMakeJsonLinkRuleReq"},
    {"LocalLink", TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES, TQDEVSDK_ReportAiRule, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES, 100000,
     "error: CenPlt2PuParseJsonSetAiRuleReq", "error: Pu2CenPltMakeJsonAiRuleReq"},
};

class RuleTextTest : public ModuleTest, public testing::WithParamInterface<Key> {
protected:
    // The application answers with a copy of this text, or none.
    void AnswerWith(const std::optional<std::string> &text, int result = 0) {
        on_query = [this, text, result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, GetParam().query);
            EXPECT_EQ(query.len, query_len_);
            auto *record = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data);
            EXPECT_EQ(std::pair(record->uiVersion, record->rule), std::pair(0U, static_cast<char *>(nullptr)));
            given_ = text ? strdup(text->c_str()) : nullptr;
            *record = {8, given_};
            return result;
        };
    }

    // What the status item makes of such an answer.
    int IsChanged(const std::optional<std::string> &text, int result = 0) {
        AnswerWith(text, result);
        return Item().status_is_changed();
    }

    static tqDevSDK_report_status_info Item() { return StatusItem(GetParam().item); }

    static std::string Reported(const std::string &text) { return std::string("shadow ") + GetParam().key + " version 8 reset 0 type 3 " + text; }

    char *given_ = nullptr;
    int query_len_ = 0;
};

TEST_P(RuleTextTest, TextIsLentWholeAndReportedUpToItsLimit) {
    const std::string lent(100000, 'r');
    on_message = [&](const tqDevSDK_SmartControl_msg_to_dev &msg) {
        const auto &[version, text] = *reinterpret_cast<const tqDevSDK_SmartControl_Rule_S *>(msg.data);
        EXPECT_EQ(std::tuple(msg.type, msg.len, version, std::string(text)), std::tuple(GetParam().message, GetParam().len, 0U, lent));
    };
    EXPECT_EQ(tqhost::ShadowDesire(GetParam().key, lent), 0);
    EXPECT_EQ(TakeReceived().size(), 1U);
    for (const std::string &text : {std::string("{\"a\": 1}"), std::string(), std::string(16383, 'r')}) {
        AnswerWith(text);
        EXPECT_EQ(tqhost::ShadowGet(GetParam().key), 0);
        EXPECT_EQ(Take(), Lines{Reported(text)});
    }
    for (const std::size_t length : {16384U, 65546U}) {
        AnswerWith(std::string(length, 'r'));
        TakeLog();
        EXPECT_EQ(tqhost::ShadowGet(GetParam().key), 0);
        EXPECT_EQ(Take(), Lines{Reported("")});
        EXPECT_EQ(TakeLog(), (Lines{GetParam().to_cloud, "error: rule is more large"}));
    }
}

TEST_P(RuleTextTest, CallbacksCheckTheirArguments) {
    const auto &[business2dev, business2cloud] =
        std::pair(tqhost::ShadowServiceV3(GetParam().key)->business2dev, tqhost::ShadowServiceV3(GetParam().key)->business2cloud);
    tqDevSDK_Shadow_value_t none{};
    tqDevSDK_Shadow_GenValue_Param_S param{};
    EXPECT_EQ(business2dev(nullptr, nullptr), -1);
    EXPECT_EQ(business2dev(&none, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{GetParam().to_device, "error: NULL input param.", GetParam().to_device, "error: NULL input param."}));
    char buffer[4] = "old";
    tqDevSDK_Shadow_value_t value{};
    value.value = buffer;
    EXPECT_EQ(business2cloud(nullptr, &param), -1);
    EXPECT_EQ(business2cloud(&none, &param), -1);
    EXPECT_EQ(business2cloud(&value, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{GetParam().to_cloud, "error: NULL input param.", GetParam().to_cloud, "error: NULL input param.", GetParam().to_cloud,
                                "error: NULL input param."}));
    AnswerWith("x", 6); // released all the same
    param.uiVersion = 77;
    EXPECT_EQ(business2cloud(&value, &param), 6);
    EXPECT_EQ(param.uiVersion, 77U);
    EXPECT_STREQ(buffer, "old");

    SetUnknown(value.type);
    EXPECT_EQ(business2dev(&value, nullptr), 0) << "the type is not looked at";
    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(business2dev(&value, nullptr), -1);
    EXPECT_EQ(TakeLog().back(), "error: Error, SmartControl domain:recv_msg is NULL.");
    EXPECT_EQ(business2cloud(&value, &param), -1);
    EXPECT_EQ(TakeLog().back(), "error: Error, SmartControl domain:on_get_runtime_info is NULL");
}

TEST_P(RuleTextTest, StatusItemPushesUnlessForced) {
    const std::string call = std::string("tqDevSDK_Shadow_PushStatus_v3 TQ00000001 Video 1 TQLink ") + GetParam().key + " 0";
    AnswerWith("t");
    EXPECT_EQ(Item().report_status(0), 0);
    EXPECT_EQ(Take(), (Lines{call, Reported("t")}));
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
    EXPECT_EQ(reset(), 0) << "nothing left to forget";
    EXPECT_EQ(IsChanged("B"), 1);
    reset();
    EXPECT_EQ(IsChanged("C", 0x1004), -1);
    free(given_); // what a failing query leaves is the application's
    EXPECT_EQ(IsChanged("C", 0x104), 0);
    free(given_);
    EXPECT_EQ(IsChanged("D"), 1) << "a failed query stored nothing";
    on_query = [this](tqDevSDK_SmartControl_runtime_info &query) {
        reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = given_;
        return 0;
    };
    EXPECT_EQ(Item().status_is_changed(), 1) << "the same memory once more";
    EXPECT_STREQ(given_, "D");
    tqDevSDK_SmartControl_fini();
    reset();
}

INSTANTIATE_TEST_SUITE_P(Keys, RuleTextTest, testing::ValuesIn(kKeys), [](const auto &row) { return std::string(row.param.key); });

} // namespace
