// SPDX-License-Identifier: Apache-2.0
// Requests and replies of the model domain.
#include "module_fixture.h"

namespace {

class ModelTest : public ModuleTest {
protected:
    static tqhost::ModelMessage Message(const std::string &identifier, const std::optional<std::string> &text) {
        tqhost::ModelMessage message;
        message.identifier = identifier;
        message.seq = 9;
        message.text = text;
        return message;
    }
    static tqhost::ModelMessage Scene(const std::string &id) { return Message("ExecManualScene", R"({"ruleId":")" + id + "\"}"); }

    static std::string Reply(const std::string &identifier, int type, const std::string &rest) {
        return "reply " + identifier + " of TQLink type " + std::to_string(type) + " resource 1 Video " + rest;
    }
    // The reply to a refused request.
    static std::string Refusal(const std::string &identifier, int code, const std::string &text) {
        return Reply(identifier, tq_service,
                     "400 " + std::to_string(code) + " 'manage failed!' seq 9/0 qos 0 [operate_reply] value 6 length 0 " + text);
    }
};

TEST_F(ModelTest, ManualSceneIsRunAndAnswered) {
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("12abc")), 0);
    EXPECT_EQ(Received<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE).uiSceneId, 12U);
    EXPECT_EQ(Take(), Lines{Reply("ExecManualScene", tq_service, "200 0 'success!' seq 9/0 qos 0 [operate_reply] value 5 length 0 {\n}")});
    EXPECT_EQ(TakeLog(), (Lines{"info: SmartControl_das_req_router_req", "info: identifier:ExecManualScene, res_id:1,msg_type:operate, type:5",
                                R"(error: buf:{"ruleId":"12abc"})", "info: Manual Scene ID is 12", "info: SmartControl_das_req_router_req rsp:{\n}",
                                "info: SmartControl_das_req_router_req,reply_to_das,msg_type:operate_reply"}));
}

TEST_F(ModelTest, SceneIdsConvertAsOnTheTarget) {
    const std::pair<const char *, UINT32> cases[] = {
        {"x", 0},
        {"", 0},
        {"  +7 ", 7},
        {"-1", 4294967295U},
        {"2147483647", 2147483647U},
        {"4294967297", 2147483647U},
        {"99999999999999999999", 2147483647U},
        {"-99999999999", 2147483648U},
    };
    for (const auto &[text, id] : cases) {
        tqhost::DeliverModelRequest(Scene(text));
        EXPECT_EQ(Received<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE).uiSceneId, id) << text;
    }
}

TEST_F(ModelTest, BadRequestsAreRefused) {
    const struct {
        std::string identifier;
        std::optional<std::string> text;
        std::string log, reply;
    } cases[] = {
        {"ExecManualScene", std::nullopt, "error: para is null", "null"},
        {"ExecManualScene", "{", "error: ReportManualScene,json parse err", "{\n}"},
        {"ExecManualScene", R"({"ruleId":5})", "error: Failed to get sceneToDo", "{\n}"},
        {"AssistExecActionResult", "{}", "error: buf:{}", "null"},
        {"AssistExecSceneResult", "{}", "error: buf:{}", "null"},
        {"execmanualscene", "{}", "error: buf:{}", "null"},
        {"", "{}", "error: buf:{}", "null"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.identifier + " " + row.text.value_or("null"));
        EXPECT_EQ(tqhost::DeliverModelRequest(Message(row.identifier, row.text)), 0);
        EXPECT_EQ(Take(), Lines{Refusal(row.identifier, -1, row.reply)});
        Lines log = TakeLog();
        log.erase(log.begin(), log.end() - 3);
        EXPECT_EQ(log, (Lines{row.log, "info: SmartControl_das_req_router_req,reply_to_das,msg_type:",
                              "info: SmartControl_das_req_router_req,reply_to_das,msg_type:operate_reply"}));
    }
    EXPECT_EQ(ReceivedCount(), 0U);
    tqhost::Fail("tq_model_reply_to_das", 33, 1);
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), 33);
}

TEST_F(ModelTest, DeviceVerdictReachesThePlatform) {
    recv_result = 5;
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), 0);
    init_info.cb = {nullptr, nullptr};
    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), std::nullopt) << "the domain is gone";
    EXPECT_EQ(Take().at(0), Refusal("ExecManualScene", 5, "{\n}"));
    Init();
    Take();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), 0);
    EXPECT_EQ(Take(), Lines{Refusal("ExecManualScene", -1, "{\n}")});
}

TEST_F(ModelTest, OnlyTextTypesCarryText) {
    const auto domain = tqhost::ModelDomain("TQLink");
    ASSERT_TRUE(domain.has_value());
    for (const tq_json_type type : {model_data_type_bool, model_data_type_int, model_data_type_double, model_data_type_string, model_data_type_array,
                                    model_data_type_object, model_data_type_null}) {
        const bool has_text = type == model_data_type_string || type == model_data_type_array || type == model_data_type_object;
        tq_basic_info info{};
        Set(info.identifier, "ExecManualScene");
        tq_model_msg msg{};
        msg.type = type;
        msg.value_double = 1.5; // no pointer
        if (has_text) {
            msg.value = R"({"ruleId":"1"})";
        }
        const std::size_t before = ReceivedCount();
        EXPECT_EQ(domain->das_req_router(&info, "operate", &msg, 1, 2), 0);
        EXPECT_EQ(ReceivedCount() - before, has_text ? 1U : 0U) << type;
    }
}

TEST_F(ModelTest, ReplyTypeFollowsTheRequest) {
    for (const auto &[type, msg_type] : {std::pair{tq_service, "set"}, {tq_event, "operate"}}) {
        tqhost::ModelMessage request = Scene("1");
        request.type = type;
        request.msg_type = msg_type;
        tqhost::DeliverModelRequest(request);
        EXPECT_EQ(Take(), Lines{Reply("ExecManualScene", type, "200 0 'success!' seq 9/0 qos 0 [] value 5 length 0 {\n}")});
    }
}

TEST_F(ModelTest, AssistResultsAreAcceptedAsReplies) {
    for (const auto &[identifier, result] :
         {std::pair{"AssistExecActionResult", 0}, {"AssistExecSceneResult", 0}, {"ExecManualScene", -1}, {"", -1}}) {
        EXPECT_EQ(tqhost::DeliverModelReply(Message(identifier, "{}")), result) << identifier;
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
    const Lines request = {"info: SmartControl_das_req_router_req", "error: motion_detect_area_req,input null"};
    const Lines reply = {"info: SmartControl_das_req_router_rsp (no newline)", "error: SmartControl_das_req_router_rsp,input null"};
    EXPECT_EQ(domain->das_req_router(&info, "operate", nullptr, 1, 1), -1);
    EXPECT_EQ(TakeLog(), request);
    EXPECT_EQ(domain->das_req_router(nullptr, "operate", &msg, 1, 1), -1);
    EXPECT_EQ(TakeLog(), request);
    EXPECT_EQ(domain->das_reply_router(&info, "operate", nullptr, nullptr, 1, 1), -1);
    EXPECT_EQ(TakeLog(), reply);
    EXPECT_EQ(domain->das_reply_router(nullptr, "operate", nullptr, &msg, 1, 1), -1);
    EXPECT_EQ(TakeLog(), reply);
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(domain->das_req_router(&info, nullptr, &msg, 1, 1), 0) << "a missing message type is an empty one";
    EXPECT_EQ(Take().size(), 1U);
}

} // namespace
