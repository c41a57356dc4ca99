// SPDX-License-Identifier: Apache-2.0
// Reports of the device application, compared as whole messages.
#include <ctime>
#include <memory>

#include "module_fixture.h"

namespace {

// A record that ends in an array of variable length.
template <typename Record, typename Element>
class Trailing {
public:
    explicit Trailing(std::size_t count) : memory_(static_cast<Record *>(calloc(1, sizeof(Record) + count * sizeof(Element))), free) {}
    Record *operator->() const { return memory_.get(); }
    const Record *get() const { return memory_.get(); }

private:
    std::unique_ptr<Record, void (*)(void *)> memory_;
};

class ReportTest : public ModuleTest {
protected:
    // A version-2 report as it is sent; `seq` is the next sequence number, which a sent report takes.
    Lines Sent(int command, const std::string &json) {
        return {"command " + std::to_string(command) + " seq " + std::to_string(next_seq_++) + " response 0 V2.0.0 " + Printed(json)};
    }

    static Lines SentModel(const std::string &identifier, int type, const std::string &msg_type, const std::string &json) {
        return {"model " + identifier + " of TQLink type " + std::to_string(type) + " resource 1 Video seq 0/0 qos 0 [" + msg_type + "] option 0 " +
                Printed(json)};
    }

    // What Msg2Server adds to the log of a failed report.
    static std::string Failed(int type) {
        return "error: Failed to exec msg2server type cmd:" + std::string(type == 0 ? "0" : "0x" + std::to_string(type));
    }

private:
    UINT32 next_seq_ = 0;
};

TEST_F(ReportTest, Event) {
    tqDevSDK_SmartControl_Event event{1, 4294967295U};
    EXPECT_EQ(Report(0, &event), 0);
    EXPECT_EQ(Take(), Sent(19986, R"({"channelNo":1,"value":4294967295})"));
    EXPECT_EQ(Report(0, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param!", Failed(0)}));
    tqhost::Fail("tqdev_sdk_kernel_send", 8, 1);
    EXPECT_EQ(Report(0, &event), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: Failed to send msg to platform:error=0x8",
                                "error: Failed to send msg to platform:domain[0x1b58], cmd[0x4e12].", Failed(0)}));
    EXPECT_EQ(Take(), Lines{});
    Sent(0, "0"); // the refused report took a number, the null one did not
    EXPECT_EQ(Report(0, &event), 0);
    EXPECT_EQ(Take(), Sent(19986, R"({"channelNo":1,"value":4294967295})"));
}

// The text for now in the wire's form: years since 1900, months since January.
std::string WireTime(time_t now) {
    tm utc{};
    gmtime_r(&now, &utc);
    char text[64];
    strftime(text, sizeof text, "-%d %H:%M:%S", &utc);
    char head[32];
    snprintf(head, sizeof head, "%d-%02d", utc.tm_year, utc.tm_mon);
    return std::string(head) + text;
}

TEST_F(ReportTest, ActionResult) {
    tqDevSDK_SmartControl_Info_ActionResult result{};
    result.uiRuleId = 4294967295U;
    Fill(result.acDeviceId, 'D'); // without a terminator
    result.uiChannelNo = 2;
    result.uiDomain = 7000;
    result.uiCmdId = 20034;
    result.ucResult = 255;
    // The clock may tick between the two looks at it.
    std::string before;
    Lines sent;
    do {
        before = WireTime(time(nullptr));
        Take();
        EXPECT_EQ(Report(1, &result), 0);
        sent = Take();
    } while (before != WireTime(time(nullptr)));
    const std::string body = Printed(R"({"id":4294967295,"deviceId":")" + std::string(32, 'D') +
                                     R"(","channelNo":2,"domain":7000,"cmdId":20034,"result":255,"time":")" + before + "\"}");
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].substr(sent[0].find('{')), body);
    EXPECT_EQ(sent[0].substr(0, 18), "command 19988 seq ");

    TakeLog();
    EXPECT_EQ(Report(1, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param!", Failed(1)}));
    tqhost::Fail("tqdev_sdk_kernel_send", 8, 1);
    EXPECT_EQ(Report(1, &result), -1);
    const Lines log = TakeWholeLog();
    EXPECT_EQ(log.front(), "error: s:4e14");
    EXPECT_EQ(log[log.size() - 2], "error: Failed to send msg to platform:domain[0x1b58], cmd[0x4e12].");
}

using Undone = Trailing<tqDevSDK_SmartControl_UndoneActions_S, tqDevSDK_SmartControl_ConfigRule_Actions>;

TEST_F(ReportTest, UndoneActions) {
    const Undone undone(2);
    undone->uiRuleId = 12;
    undone->usNum = 2;
    Fill(undone->acExtendVal, 'e');
    auto *action = const_cast<tqDevSDK_SmartControl_ConfigRule_Actions *>(undone->astUndoneActs);
    action[0].uiDomain = 4294967295U;
    action[0].uiCmdId = 20034;
    Fill(action[0].acDevId, 'd');
    action[0].ucChannel = 255;
    action[0].ucValueNum = 16;
    std::string values;
    for (int i = 0; i < 16; ++i) {
        action[0].ausValue[i] = static_cast<UINT16>(65535 - i);
        values += (i > 0 ? "," : "") + std::string("\"value") + std::to_string(i + 1) + "\":" + std::to_string(65535 - i);
    }
    action[0].uiDelay = 3;
    const std::string extend(128, 'e');
    EXPECT_EQ(Report(2, undone.get()), 0);
    const std::string body = R"({"id":12,"undoneActions":[{"domain":4294967295,"cmdId":20034,"deviceId":")" + std::string(32, 'd') +
                             R"(","channelNo":255,"params":{)" + values + R"(},"delay":3,"extendValue":")" + extend +
                             R"("},{"domain":0,"cmdId":0,"deviceId":"","channelNo":0,"params":{},"delay":0,"extendValue":")" + extend + R"("}]})";
    EXPECT_EQ(Take(), Sent(19990, body));
    EXPECT_EQ(TakeLog(), Lines{"debug: Undone Actions to plt:" + Printed(body)});

    action[1].ucValueNum = 17;
    EXPECT_EQ(Report(2, undone.get()), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: Action value num exceeds[17 > 16].", "error: Failed to GenArray_UndoneActions.", Failed(2)}));
    undone->usNum = 0;
    EXPECT_EQ(Report(2, undone.get()), -1);
    EXPECT_EQ(Report(2, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: No undone actions to be reported.", Failed(2), "error: NULL input param.", Failed(2)}));
    EXPECT_EQ(Take(), Lines{});

    undone->usNum = 1;
    tqhost::Fail("tqdev_sdk_kernel_send", 8, 1);
    EXPECT_EQ(Report(2, undone.get()), -1);
    const Lines log = TakeLog();
    ASSERT_EQ(log.size(), 4U);
    EXPECT_EQ(log[1], "error: Failed to send msg to platform:domain[0x1b58], cmd[0x4e16].");
    EXPECT_EQ(log[2].rfind("debug: Undone Actions to plt:{", 0), 0U);
}

using UndoneV3 = Trailing<tqDevSDK_SmartControl_UndoneActions_V3_S, tqDevSDK_SmartControl_OtapMsg_S>;

tqDevSDK_SmartControl_OtapMsg_S Otap(UINT32 model_type, const char *payload) {
    tqDevSDK_SmartControl_OtapMsg_S msg{};
    msg.stBaseInfo.uiModelType = model_type;
    Set(msg.stBaseInfo.acMethodType, "set");
    Set(msg.stBaseInfo.acSceneType, "a");
    Set(msg.stBaseInfo.acResourceId, "1");
    Set(msg.stBaseInfo.acResourceType, "Video");
    Set(msg.stBaseInfo.acDomain, "D");
    Set(msg.stBaseInfo.acIdentifier, "I");
    msg.stBody.uiPayloadLen = 1; // not read
    msg.stBody.acPayload = payload;
    return msg;
}

TEST_F(ReportTest, UndoneActionsV3) {
    const UndoneV3 undone(5);
    auto *action = const_cast<tqDevSDK_SmartControl_OtapMsg_S *>(undone->pstActions);
    undone->usNum = 5;
    action[0] = Otap(2, R"({"x":1,"params":{"on":true,"deep":[{"a":[1.5,"t",null]}]}})");
    action[1] = Otap(1, "not json");
    Set(action[1].stBaseInfo.acSerial, "S1");
    Set(action[1].stBaseInfo.acSubSerial, "B1");
    action[2] = Otap(3, R"({"params":5})");
    action[3] = Otap(0, "{}");
    Fill(action[3].stBaseInfo.acSerial, 's');
    action[4] = Otap(0, nullptr);
    Fill(action[4].stBaseInfo.acDomain, 'd');
    Fill(action[4].stBaseInfo.acIdentifier, 'i');
    EXPECT_EQ(Report(5, undone.get()), 0);
    const std::string long_topic = "/a/global/global/1-Video/model/event/set/" + std::string(64, 'd') + "/" + std::string(64, 'i');
    const std::string body =
        R"({"Actions":[{"URL":"/a/global/global/1-Video/model/service/set/D/I","params":{"on":true,"deep":[{"a":[1.5,"t",null]}]}},)"
        R"({"URL":"/a/S1/B1/1-Video/model/attribute/set/D/I"},{"URL":"","params":5},)"
        R"({"URL":"/a/)" +
        std::string(15, 's') + R"(/global/1-Video/model/event/set/D/I"},{"URL":")" + long_topic.substr(0, 127) + R"("}]})";
    EXPECT_EQ(Take(), SentModel("AssistExecAction", 0, "report", body));
    EXPECT_EQ(TakeLog(), (Lines{"debug: acPayload is NULL.", "error: gen ModelType[] is invalid", "debug: params in acPayload is NULL.",
                                "debug: acPayload is NULL.", "debug: Undone Actions to plt:" + Printed(body)}));

    tqhost::Fail("tq_model_send_to_platform", 44, 1);
    EXPECT_EQ(Report(5, undone.get()), 44);
    const Lines log = TakeLog();
    EXPECT_EQ(log[log.size() - 3], "error: Failed to send msg to platform for reporting undone action");
    undone->usNum = 0;
    EXPECT_EQ(Report(5, undone.get()), -1);
    EXPECT_EQ(Report(5, nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: No undone actions to be reported.", Failed(5), "error: NULL input param.", Failed(5)}));
}

TEST_F(ReportTest, DeepestPayloadIsReported) {
    const UndoneV3 undone(1);
    undone->usNum = 1;
    const std::string payload = R"({"params":)" + std::string(998, '[') + std::string(998, ']') + "}";
    const_cast<tqDevSDK_SmartControl_OtapMsg_S *>(undone->pstActions)[0] = Otap(0, payload.c_str());
    EXPECT_EQ(Report(5, undone.get()), 0);
    const Lines sent = Take();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_NE(sent[0].find(std::string(998, '[') + std::string(998, ']')), std::string::npos);
}

using Scenes = Trailing<tqDevSDK_SmartControl_UndoneSceneList_S, UINT32>;

TEST_F(ReportTest, UndoneSceneV3) {
    const Scenes scenes(3);
    auto *ids = const_cast<UINT32 *>(scenes->uiSceneList);
    ids[0] = 1;
    ids[1] = 2147483648U;
    ids[2] = 4294967295U;
    EXPECT_EQ(Report(4, nullptr), -1);
    EXPECT_EQ(Report(4, scenes.get()), -1);
    scenes->stSrcEvent.stBody.acPayload = R"({"not": "parsed)";
    EXPECT_EQ(Report(4, scenes.get()), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param.", Failed(4), "error: Push undoScene and not find event.", Failed(4),
                                "error: No undone actions to be reported.", Failed(4)}));
    scenes->uiNum = 3;
    EXPECT_EQ(Report(4, scenes.get()), 0);
    const std::string body = R"({"event":"{\"not\": \"parsed","ruleIds":["1","-2147483648","-1"]})";
    EXPECT_EQ(Take(), SentModel("AssistExecScene", 2, "query", body));
    EXPECT_EQ(TakeLog(), Lines{"debug: Undone Scene to plt:" + Printed(body)});
    tqhost::Fail("tq_model_send_to_platform", 44, 1);
    EXPECT_EQ(Report(4, scenes.get()), 44);
    EXPECT_EQ(TakeLog(),
              (Lines{"error: Failed to send msg to platform for reporting undone Scene", "debug: Undone Scene to plt:" + Printed(body), Failed(4)}));
}

TEST_F(ReportTest, LanCenter) {
    tqDevSDK_SmartControl_LanDevice members[2] = {};
    Fill(members[0].acDeviceId, 'm');
    members[0].uiVersion = 4294967295U;
    members[0].obligate = 99;
    tqDevSDK_SmartControl_ReportLanCentor center{};
    Fill(center.acCenterDeviceId, 'c');
    Fill(center.acExtend, 'x');
    center.uiVersion = 3;
    center.uiEnable = 7;
    center.uiLanDeviceNum = 2;
    center.pLanDevice = members;
    const std::string serial(32, 'c');
    const std::string member(32, 'm');
    const std::string body =
        R"({"centerDeviceSerial":")" + serial + R"(","enable":7,"extend":"1","devList":[{"deviceSerial":")" + member + R"("},{"deviceSerial":""}]})";
    const std::string body_v3 = R"({"centerSerialNumber":")" + serial + R"(","sceneVersion":3,"enabled":7,"extend":")" + std::string(64, 'x') +
                                R"(","DevList":[{"serialNumber":")" + member +
                                R"(","softwareVersion":4294967295},{"serialNumber":"","softwareVersion":0}]})";
    EXPECT_EQ(Report(3, &center), 0);
    EXPECT_EQ(Take(), Sent(19992, body));
    EXPECT_EQ(TakeLog(), Lines{"debug: Report lan centor info to Plt: " + Printed(body)});
    EXPECT_EQ(Report(6, &center), 0);
    EXPECT_EQ(Take(), SentModel("ReportNetTopology", 0, "report", body_v3));
    EXPECT_EQ(TakeLog(), Lines{});

    tqhost::Fail("tqdev_sdk_kernel_send", 8, 1);
    EXPECT_EQ(Report(3, &center), -1);
    EXPECT_EQ(TakeLog(),
              (Lines{"error: Failed to send msg to platform:error=0x8", "error: Failed to send msg to platform:domain[0x1b58], cmd[0x4e18].",
                     "debug: Report lan centor info to Plt: " + Printed(body), Failed(3)}));
    tqhost::Fail("tq_model_send_to_platform", 44, 1);
    EXPECT_EQ(Report(6, &center), 44);
    EXPECT_EQ(TakeLog(), (Lines{"error: Failed to send msg to platform_v3 for reporting center status.", Failed(6)}));
    for (const int type : {3, 6}) {
        EXPECT_EQ(Report(type, nullptr), -1);
        EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param.", Failed(type)}));
    }

    center.pLanDevice = nullptr; // counts as none, whatever the number
    EXPECT_EQ(Report(6, &center), 0);
    EXPECT_EQ(Take(), SentModel("ReportNetTopology", 0, "report", body_v3.substr(0, body_v3.find("[")) + "[]}"));
}

} // namespace
