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

    // "status code 'text' seq 9/0 qos 0 [message type] value type", and the value.
    static Lines Reply(const std::string &identifier, const std::string &how, const std::string &value = "{\n}", int type = tq_service) {
        return {"reply " + identifier + " of TQLink type " + std::to_string(type) + " resource 1 Video " + how + " length 0 " + value};
    }
    const std::string done_ = "200 0 'success!' seq 9/0 qos 0 [operate_reply] value 5";
    const std::string failed_ = "400 -1 'manage failed!' seq 9/0 qos 0 [operate_reply] value 6";
};

TEST_F(ModelTest, ManualSceneIsRunAndAnswered) {
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("12abc")), 0);
    EXPECT_EQ(Received<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE).uiSceneId, 12U);
    EXPECT_EQ(Take(), Reply("ExecManualScene", done_));
    EXPECT_EQ(TakeLog(), (Lines{"info: SmartControl_das_req_router_req", "info: identifier:ExecManualScene, res_id:1,msg_type:operate, type:5",
                                R"(error: buf:{"ruleId":"12abc"})", "info: Manual Scene ID is 12", "info: SmartControl_das_req_router_req rsp:{\n}",
                                "info: SmartControl_das_req_router_req,reply_to_das,msg_type:operate_reply"}));
}

TEST_F(ModelTest, SceneIdsConvertAsOnTheTarget) {
    const std::pair<const char *, UINT32> cases[] = {{"x", 0},
                                                     {"", 0},
                                                     {"  +7 ", 7},
                                                     {"-1", 4294967295U},
                                                     {"2147483647", 2147483647U},
                                                     {"4294967297", 2147483647U},
                                                     {"99999999999999999999", 2147483647U},
                                                     {"-99999999999", 2147483648U}};
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
        EXPECT_EQ(Take(), Reply(row.identifier, failed_, row.reply));
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
    EXPECT_EQ(Take(), Reply("ExecManualScene", "400 5 'manage failed!' seq 9/0 qos 0 [operate_reply] value 6"));
    init_info.cb = {nullptr, nullptr};
    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), std::nullopt) << "the domain is gone";
    Init();
    Take();
    EXPECT_EQ(tqhost::DeliverModelRequest(Scene("1")), 0);
    EXPECT_EQ(Take(), Reply("ExecManualScene", failed_));
}

TEST_F(ModelTest, OnlyTextTypesCarryText) {
    const auto domain = tqhost::ModelDomain("TQLink");
    ASSERT_TRUE(domain.has_value());
    std::size_t received = 0;
    for (int type = model_data_type_bool; type <= model_data_type_null; ++type) {
        const bool has_text = type == model_data_type_string || type == model_data_type_array || type == model_data_type_object;
        tq_basic_info info{};
        Set(info.identifier, "ExecManualScene");
        tq_model_msg msg{static_cast<tq_json_type>(type), 0, {}};
        msg.value_double = 1.5; // no pointer
        if (has_text) {
            msg.value = R"({"ruleId":"1"})";
        }
        EXPECT_EQ(domain->das_req_router(&info, "operate", &msg, 1, 2), 0);
        EXPECT_EQ(ReceivedCount(), received += has_text ? 1 : 0) << type;
    }
}

TEST_F(ModelTest, ReplyTypeFollowsTheRequest) {
    for (const auto &[type, msg_type] : {std::pair{tq_service, "set"}, {tq_event, "operate"}}) {
        tqhost::ModelMessage request = Scene("1");
        request.type = type;
        request.msg_type = msg_type;
        tqhost::DeliverModelRequest(request);
        EXPECT_EQ(Take(), Reply("ExecManualScene", "200 0 'success!' seq 9/0 qos 0 [] value 5", "{\n}", type));
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
    info.type = tq_service;
    tq_model_msg msg{model_data_type_null, 0, {}};
    EXPECT_EQ(domain->das_req_router(&info, "operate", nullptr, 1, 1), -1);
    EXPECT_EQ(domain->das_req_router(nullptr, "operate", &msg, 1, 1), -1);
    EXPECT_EQ(domain->das_reply_router(&info, "operate", nullptr, nullptr, 1, 1), -1);
    EXPECT_EQ(domain->das_reply_router(nullptr, "operate", nullptr, &msg, 1, 1), -1);
    const std::string request[] = {"info: SmartControl_das_req_router_req", "error: motion_detect_area_req,input null"};
    const std::string reply[] = {"info: SmartControl_das_req_router_rsp (no newline)", "error: SmartControl_das_req_router_rsp,input null"};
    EXPECT_EQ(TakeLog(), (Lines{request[0], request[1], request[0], request[1], reply[0], reply[1], reply[0], reply[1]}));
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(domain->das_req_router(&info, nullptr, &msg, 1, 1), 0) << "a missing message type is an empty one";
    EXPECT_EQ(Take().at(0).find("reply  of  type 2 resource   400 -1 'manage failed!' seq 1/0 qos 0 [] value 6"), 0U);
}

} // namespace
