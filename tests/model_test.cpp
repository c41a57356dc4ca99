// SPDX-License-Identifier: Apache-2.0
// Requests and replies of the model domain, where the recorded contract does not see them: what all replies
// have alike, records that the host leaves out, values that are no text.
#include "module_fixture.h"

namespace {

class ModelTest : public ModuleTest {
protected:
    static tqhost::ModelMessage Scene(const std::string &id) {
        tqhost::ModelMessage message;
        message.identifier = "ExecManualScene";
        message.seq = 9;
        message.text = R"({"ruleId":")" + id + "\"}";
        return message;
    }

    static Lines Reply(const std::string &how) { return {"reply ExecManualScene of TQLink type 2 resource 1 Video " + how + " length 0 {\n}"}; }

    void SetUp() override {
        ModuleTest::SetUp();
        routers_ = tqhost::ModelDomain("TQLink").value();
    }

    tq_domain_reg routers_{};
};

TEST_F(ModelTest, ManualSceneIsRunAndAnswered) {
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("12")), 0);
    EXPECT_EQ(TakeReceived(), (Messages{{TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE, Bytes(tqDevSDK_SmartControl_ManualScene_S{12})}}));
    EXPECT_EQ(Take(), Reply("200 0 'success!' seq 9/0 qos 0 [operate_reply] value 5"));

    init_info.cb = {nullptr, nullptr};
    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), std::nullopt) << "the domain is gone";
    Init();
    Take();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), 0);
    EXPECT_EQ(Take(), Reply("400 -1 'manage failed!' seq 9/0 qos 0 [operate_reply] value 6"));
}

TEST_F(ModelTest, OnlyTextTypesCarryText) {
    tq_basic_info info{};
    Set(info.identifier, "ExecManualScene");
    tq_model_msg msg{model_data_type_null, 0, {}};
    const std::string of = "reply ExecManualScene of  type 0 resource   ", seq = " seq 1/0 qos 0 [] value "; // the type is the request's
    Lines expected;
    for (const int type : {0, 1, 2, 3, 4, 5, 6, 16}) { // the last is a newer host's
        const bool has_text = type == model_data_type_string || type == model_data_type_array || type == model_data_type_object;
        memcpy(&msg.type, &type, sizeof msg.type);
        msg.value_double = 1.5; // no pointer
        if (has_text) {
            msg.value = R"({"ruleId":"1"})";
        }
        EXPECT_EQ(routers_.das_req_router(&info, "operate", &msg, 1, 2), 0);
        EXPECT_EQ(TakeReceived().size(), has_text ? 1U : 0U) << type;
        expected.push_back(of + (has_text ? "200 0 'success!'" + seq + "5 length 0 {\n}" : "400 -1 'manage failed!'" + seq + "6 length 0 null"));
    }
    EXPECT_EQ(Take(), expected);
    EXPECT_EQ(routers_.das_reply_router(&info, "operate", nullptr, &msg, 1, 1), -1);
    EXPECT_EQ(TakeLog().back(), "info: SmartControl_das_req_router_req,res_id:,msg_type:operate, type:16");
    SetUnknown(info.type);
    tqhost::Fail("tq_model_reply_to_das", 5); // the stand-in does not know the type either
    EXPECT_EQ(routers_.das_req_router(&info, "operate", &msg, 1, 2), 5);
}

TEST_F(ModelTest, NullRecordsAreRefusedWithoutAReply) {
    tq_basic_info info{};
    info.type = tq_service;
    tq_model_msg msg{model_data_type_null, 0, {}};
    EXPECT_EQ(routers_.das_req_router(&info, "operate", nullptr, 1, 1), -1);
    EXPECT_EQ(routers_.das_req_router(nullptr, "operate", &msg, 1, 1), -1);
    EXPECT_EQ(routers_.das_reply_router(&info, "operate", nullptr, nullptr, 1, 1), -1);
    EXPECT_EQ(routers_.das_reply_router(nullptr, "operate", nullptr, &msg, 1, 1), -1);
    const std::string request[] = {"info: SmartControl_das_req_router_req", "error: motion_detect_area_req,input null"};
    const std::string reply[] = {"info: SmartControl_das_req_router_rsp (no newline)", "error: SmartControl_das_req_router_rsp,input null"};
    EXPECT_EQ(TakeLog(), (Lines{request[0], request[1], request[0], request[1], reply[0], reply[1], reply[0], reply[1]}));
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(routers_.das_req_router(&info, nullptr, &msg, 1, 1), 0) << "a missing message type is an empty one";
    EXPECT_EQ(Take(), Lines{"reply  of  type 2 resource   400 -1 'manage failed!' seq 1/0 qos 0 [] value 6 length 0 null"});
}

} // namespace
