// SPDX-License-Identifier: Apache-2.0
// Requests and replies of the model domain.
#include "module_fixture.h"

namespace {

class ModelTest : public ModuleTest {
protected:
    static tqhost::ModelMessage Scene(const std::optional<std::string> &text) {
        tqhost::ModelMessage request;
        request.identifier = "ExecManualScene";
        request.seq = 9;
        request.text = text;
        return request;
    }

    // The reply to a request of the identifier "ExecManualScene".
    static std::string Reply(int status, const std::string &rest) {
        return "reply ExecManualScene of TQLink type 2 resource 1 Video " + std::to_string(status) + " " + rest;
    }

    const std::string done_ = "0 'success!' seq 9/0 qos 0 [operate_reply] value 5 length 0 {\n}";
    const std::string failed_ = "-1 'manage failed!' seq 9/0 qos 0 [operate_reply] value 6 length 0 ";
};

TEST_F(ModelTest, ManualSceneIsRunAndAnswered) {
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene(R"({"ruleId":"12abc"})")), 0);
    EXPECT_EQ(Received<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE).uiSceneId, 12U);
    EXPECT_EQ(Take(), Lines{Reply(200, done_)});
    EXPECT_EQ(TakeLog(), (Lines{"info: SmartControl_das_req_router_req", "info: identifier:ExecManualScene, res_id:1,msg_type:operate, type:5",
                                R"(error: buf:{"ruleId":"12abc"})", "info: Manual Scene ID is 12", "info: SmartControl_das_req_router_req rsp:{\n}",
                                "info: SmartControl_das_req_router_req,reply_to_das,msg_type:operate_reply"}));
}

TEST_F(ModelTest, SceneIdsConvertAsOnTheTarget) {
    for (const auto &[text, id] : std::vector<std::pair<std::string, UINT32>>{{"x", 0},
                                                                              {"", 0},
                                                                              {"  +7 ", 7},
                                                                              {"-1", 4294967295U},
                                                                              {"2147483647", 2147483647U},
                                                                              {"4294967297", 2147483647U},
                                                                              {"99999999999999999999", 2147483647U},
                                                                              {"-99999999999", 2147483648U}}) {
        SCOPED_TRACE(text);
        tqhost::DeliverModelRequest(Scene(R"({"ruleId":")" + text + "\"}"));
        EXPECT_EQ(Received<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE).uiSceneId, id);
    }
}

TEST_F(ModelTest, BadScenesAreRefused) {
    struct {
        std::optional<std::string> text;
        const char *log;
        const char *reply;
    } const cases[] = {
        {std::nullopt, "error: para is null", "null"},    {"{", "error: ReportManualScene,json parse err", "{\n}"},
        {"{}", "error: Failed to get sceneToDo", "{\n}"}, {R"({"ruleId":5})", "error: Failed to get sceneToDo", "{\n}"},
        {"[]", "error: Failed to get sceneToDo", "{\n}"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text.value_or("null"));
        EXPECT_EQ(tqhost::DeliverModelRequest(Scene(row.text)), 0);
        EXPECT_EQ(Take(), Lines{Reply(400, failed_ + row.reply)});
        const Lines log = TakeLog();
        ASSERT_GE(log.size(), 3U);
        EXPECT_EQ(log[log.size() - 3], row.log);
        EXPECT_EQ(log[log.size() - 2], "info: SmartControl_das_req_router_req,reply_to_das,msg_type:");
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(ModelTest, DeviceVerdictReachesThePlatform) {
    recv_result = 5;
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene(R"({"ruleId":"1"})")), 0);
    EXPECT_EQ(Take(), Lines{Reply(400, "5 'manage failed!' seq 9/0 qos 0 [operate_reply] value 6 length 0 {\n}")});

    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("{}")), std::nullopt) << "the domain is gone";
}

TEST_F(ModelTest, OnlyTextTypesCarryText) {
    for (const auto &[type, has_text] : std::vector<std::pair<tq_json_type, bool>>{{model_data_type_bool, false},
                                                                                   {model_data_type_int, false},
                                                                                   {model_data_type_double, false},
                                                                                   {model_data_type_string, true},
                                                                                   {model_data_type_array, true},
                                                                                   {model_data_type_object, true},
                                                                                   {model_data_type_null, false}}) {
        tq_basic_info info{};
        info.type = tq_service;
        Set(info.identifier, "ExecManualScene");
        tq_model_msg msg{};
        msg.type = type;
        msg.value = R"({"ruleId":"1"})";
        if (!has_text) {
            msg.value_double = 1.5; // no pointer
        }
        const auto domain = tqhost::ModelDomain("TQLink");
        ASSERT_TRUE(domain.has_value());
        EXPECT_EQ(domain->das_req_router(&info, "operate", &msg, 1, 2), 0);
        EXPECT_EQ(ReceivedCount(), has_text ? 1U : 0U) << type;
        if (has_text) {
            Received<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE);
        }
    }
}

TEST_F(ModelTest, ReplyTypeFollowsTheRequest) {
    tqhost::ModelMessage request = Scene(R"({"ruleId":"1"})");
    request.msg_type = "set";
    tqhost::DeliverModelRequest(request);
    request.msg_type = "operate";
    request.type = tq_event;
    tqhost::DeliverModelRequest(request);
    const std::string tail = " resource 1 Video 200 0 'success!' seq 9/0 qos 0 [] value 5 length 0 {\n}";
    EXPECT_EQ(Take(), (Lines{"reply ExecManualScene of TQLink type 2" + tail, "reply ExecManualScene of TQLink type 0" + tail}));
}

TEST_F(ModelTest, UnknownServicesAndAssistResultsAreRefusedAsRequests) {
    for (const char *identifier : {"AssistExecActionResult", "AssistExecSceneResult", "execmanualscene", ""}) {
        tqhost::ModelMessage request = Scene("{}");
        request.identifier = identifier;
        EXPECT_EQ(tqhost::DeliverModelRequest(request), 0);
        EXPECT_EQ(Take(), Lines{std::string("reply ") + identifier + " of TQLink type 2 resource 1 Video 400 " + failed_ + "null"});
    }
    tqhost::Fail("tq_model_reply_to_das", 33, 1);
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("{}")), 33);
}

TEST_F(ModelTest, AssistResultsAreAcceptedAsReplies) {
    for (const auto &[identifier, result] :
         std::vector<std::pair<std::string, int>>{{"AssistExecActionResult", 0}, {"AssistExecSceneResult", 0}, {"ExecManualScene", -1}, {"", -1}}) {
        tqhost::ModelMessage reply = Scene("{}");
        reply.identifier = identifier;
        EXPECT_EQ(tqhost::DeliverModelReply(reply), result) << identifier;
        EXPECT_EQ(TakeLog(), (Lines{"info: SmartControl_das_req_router_rsp (no newline)",
                                    "info: SmartControl_das_req_router_req,res_id:1,msg_type:operate, type:5"}));
    }
    EXPECT_EQ(Take(), Lines{});
}

TEST_F(ModelTest, NullRecordsAreRefusedWithoutAReply) {
    const auto domain = tqhost::ModelDomain("TQLink");
    ASSERT_TRUE(domain.has_value());
    tq_basic_info info{};
    tq_model_msg msg{};
    msg.type = model_data_type_null;
    EXPECT_EQ(domain->das_req_router(&info, "operate", nullptr, 1, 1), -1);
    EXPECT_EQ(domain->das_req_router(nullptr, "operate", &msg, 1, 1), -1);
    EXPECT_EQ(domain->das_reply_router(&info, "operate", nullptr, nullptr, 1, 1), -1);
    EXPECT_EQ(domain->das_reply_router(nullptr, "operate", nullptr, &msg, 1, 1), -1);
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(TakeLog(), (Lines{"info: SmartControl_das_req_router_req", "error: motion_detect_area_req,input null",
                                "info: SmartControl_das_req_router_req", "error: motion_detect_area_req,input null",
                                "info: SmartControl_das_req_router_rsp (no newline)", "error: SmartControl_das_req_router_rsp,input null",
                                "info: SmartControl_das_req_router_rsp (no newline)", "error: SmartControl_das_req_router_rsp,input null"}));
    EXPECT_EQ(domain->das_req_router(&info, nullptr, &msg, 1, 1), 0) << "a missing message type is an empty one";
    EXPECT_EQ(Take().size(), 1U);
}

} // namespace
