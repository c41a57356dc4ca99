// SPDX-License-Identifier: Apache-2.0
// Reports of the device application, compared as whole messages.
#include <ctime>

#include "module_fixture.h"

namespace {

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

    // Reports with this result, and compares what is sent and logged; Msg2Server adds to the log of a failure.
    void Try(int type, const void *record, int result, const Lines &sent, Lines log) {
        SCOPED_TRACE("report " + std::to_string(type));
        EXPECT_EQ(Report(type, record), result);
        EXPECT_EQ(Take(), sent);
        if (result != 0) {
            log.push_back("error: Failed to exec msg2server type cmd:" + std::string(type == 0 ? "0" : "0x" + std::to_string(type)));
        }
        EXPECT_EQ(TakeLog(), log);
    }

    // The host refuses a version-2 report, which takes a sequence number all the same.
    void TryRefused(int type, const void *record, const std::string &logged_command, const Lines &trace) {
        tqhost::Fail("tqdev_sdk_kernel_send", 8, 1);
        Lines log = {"error: Failed to send msg to platform:error=0x8",
                     "error: Failed to send msg to platform:domain[0x1b58], cmd[" + logged_command + "]."};
        log.insert(log.end(), trace.begin(), trace.end());
        Try(type, record, -1, {}, log);
        ++next_seq_;
    }

    // A zeroed record that ends in an array of variable length.
    template <typename Record>
    Record *Trailing() {
        return reinterpret_cast<Record *>(memory_);
    }

private:
    UINT32 next_seq_ = 0;
    alignas(8) char memory_[2048] = {};
};

TEST_F(ReportTest, NullRecordsAreRefused) {
    for (const int type : {0, 1, 2, 3, 4, 5, 6}) {
        Try(type, nullptr, -1, {}, {type < 2 ? "error: NULL input param!" : "error: NULL input param."});
    }
}

TEST_F(ReportTest, Event) {
    const tqDevSDK_SmartControl_Event event{1, 4294967295U};
    const std::string body = R"({"channelNo":1,"value":4294967295})";
    Try(0, &event, 0, Sent(19986, body), {});
    Try(0, nullptr, -1, {}, {"error: NULL input param!"}); // takes no number
    TryRefused(0, &event, "0x4e12", {});
    Try(0, &event, 0, Sent(19986, body), {});
}

// The text for now in the wire's form: years since 1900, months since January.
std::string WireTime() {
    const time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    char text[64];
    snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", utc.tm_year, utc.tm_mon, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    return text;
}

TEST_F(ReportTest, ActionResult) {
    tqDevSDK_SmartControl_Info_ActionResult result{4294967295U, {}, 2, 7000, 20034, 255};
    Fill(result.acDeviceId, 'D'); // without a terminator
    // The clock may tick between the two looks at it.
    std::string before;
    Lines sent, expected;
    do {
        before = WireTime();
        EXPECT_EQ(Report(1, &result), 0);
        sent = Take();
        expected = Sent(19988, R"({"id":4294967295,"deviceId":")" + std::string(32, 'D') +
                                   R"(","channelNo":2,"domain":7000,"cmdId":20034,"result":255,"time":")" + before + "\"}");
    } while (before != WireTime());
    EXPECT_EQ(sent, expected);
    TakeLog();
    TryRefused(1, &result, "0x4e12", {}); // the log names the command of events
}

TEST_F(ReportTest, UndoneActions) {
    auto *undone = Trailing<tqDevSDK_SmartControl_UndoneActions_S>();
    auto *action = undone->astUndoneActs;
    undone->uiRuleId = 12;
    undone->usNum = 2;
    Fill(undone->acExtendVal, 'e');
    action[0] = {4294967295U, 20034, {}, 255, 16, {}, 3};
    Fill(action[0].acDevId, 'd');
    std::string values;
    for (int i = 0; i < 16; ++i) {
        action[0].ausValue[i] = static_cast<UINT16>(65535 - i);
        values += (i > 0 ? ",\"value" : "\"value") + std::to_string(i + 1) + "\":" + std::to_string(65535 - i);
    }
    const std::string extend = R"(,"extendValue":")" + std::string(128, 'e') + "\"}";
    const std::string body = R"({"id":12,"undoneActions":[{"domain":4294967295,"cmdId":20034,"deviceId":")" + std::string(32, 'd') +
                             R"(","channelNo":255,"params":{)" + values + R"(},"delay":3)" + extend +
                             R"(,{"domain":0,"cmdId":0,"deviceId":"","channelNo":0,"params":{},"delay":0)" + extend + "]}";
    const Lines trace = {"debug: Undone Actions to plt:" + Printed(body)};
    Try(2, undone, 0, Sent(19990, body), trace);
    TryRefused(2, undone, "0x4e16", trace);
    action[1].ucValueNum = 17;
    Try(2, undone, -1, {}, {"error: Action value num exceeds[17 > 16].", "error: Failed to GenArray_UndoneActions."});
    undone->usNum = 0;
    Try(2, undone, -1, {}, {"error: No undone actions to be reported."});
}

// The payload's length is not read.
tqDevSDK_SmartControl_OtapMsg_S Otap(UINT32 model_type, const char *payload) {
    return {{model_type, "set", "a", "1", "Video", "D", "I", "", ""}, {0, {}, 1, payload}};
}

TEST_F(ReportTest, UndoneActionsV3) {
    auto *undone = Trailing<tqDevSDK_SmartControl_UndoneActions_V3_S>();
    auto *action = undone->pstActions;
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
    const std::string long_topic = "/a/global/global/1-Video/model/event/set/" + std::string(64, 'd') + "/" + std::string(64, 'i');
    const std::string body =
        R"({"Actions":[{"URL":"/a/global/global/1-Video/model/service/set/D/I","params":{"on":true,"deep":[{"a":[1.5,"t",null]}]}},)"
        R"({"URL":"/a/S1/B1/1-Video/model/attribute/set/D/I"},{"URL":"","params":5},)"
        R"({"URL":"/a/sssssssssssssss/global/1-Video/model/event/set/D/I"},{"URL":")" +
        long_topic.substr(0, 127) + R"("}]})";
    Lines log = {"debug: acPayload is NULL.", "error: gen ModelType[] is invalid", "debug: params in acPayload is NULL.", "debug: acPayload is NULL.",
                 "debug: Undone Actions to plt:" + Printed(body)};
    Try(5, undone, 0, SentModel("AssistExecAction", 0, "report", body), log);
    log.insert(log.end() - 1, "error: Failed to send msg to platform for reporting undone action");
    tqhost::Fail("tq_model_send_to_platform", 44, 1);
    Try(5, undone, 44, {}, log);
    undone->usNum = 0;
    Try(5, undone, -1, {}, {"error: No undone actions to be reported."});

    const std::string deepest = R"({"params":)" + std::string(998, '[') + std::string(998, ']') + "}";
    action[0] = Otap(0, deepest.c_str());
    undone->usNum = 1;
    EXPECT_EQ(Report(5, undone), 0);
    EXPECT_NE(Take().at(0).find(deepest.substr(10, 2 * 998)), std::string::npos);
}

TEST_F(ReportTest, UndoneSceneV3) {
    auto *scenes = Trailing<tqDevSDK_SmartControl_UndoneSceneList_S>();
    scenes->uiSceneList[0] = 1;
    scenes->uiSceneList[1] = 2147483648U;
    scenes->uiSceneList[2] = 4294967295U;
    Try(4, scenes, -1, {}, {"error: Push undoScene and not find event."});
    scenes->stSrcEvent.stBody.acPayload = R"({"not": "parsed)";
    Try(4, scenes, -1, {}, {"error: No undone actions to be reported."});
    scenes->uiNum = 3;
    const std::string body = R"({"event":"{\"not\": \"parsed","ruleIds":["1","-2147483648","-1"]})";
    const std::string trace = "debug: Undone Scene to plt:" + Printed(body);
    Try(4, scenes, 0, SentModel("AssistExecScene", 2, "query", body), {trace});
    tqhost::Fail("tq_model_send_to_platform", 44, 1);
    Try(4, scenes, 44, {}, {"error: Failed to send msg to platform for reporting undone Scene", trace});
}

TEST_F(ReportTest, LanCenter) {
    tqDevSDK_SmartControl_LanDevice members[2] = {{"", 4294967295U, 99}, {}};
    Fill(members[0].acDeviceId, 'm');
    tqDevSDK_SmartControl_ReportLanCentor center{"", 3, "", 7, 2, members};
    Fill(center.acCenterDeviceId, 'c');
    Fill(center.acExtend, 'x');
    const std::string serial = R"(":")" + std::string(32, 'c') + "\"";
    const std::string member = R"(":")" + std::string(32, 'm') + "\"";
    const std::string body =
        R"({"centerDeviceSerial)" + serial + R"(,"enable":7,"extend":"1","devList":[{"deviceSerial)" + member + R"(},{"deviceSerial":""}]})";
    const std::string head_v3 =
        R"({"centerSerialNumber)" + serial + R"(,"sceneVersion":3,"enabled":7,"extend":")" + std::string(64, 'x') + R"(","DevList":[)";
    const Lines trace = {"debug: Report lan centor info to Plt: " + Printed(body)};
    Try(3, &center, 0, Sent(19992, body), trace);
    TryRefused(3, &center, "0x4e18", trace);
    const std::string list_v3 = R"({"serialNumber)" + member + R"(,"softwareVersion":4294967295},{"serialNumber":"","softwareVersion":0})";
    Try(6, &center, 0, SentModel("ReportNetTopology", 0, "report", head_v3 + list_v3 + "]}"), {});
    tqhost::Fail("tq_model_send_to_platform", 44, 1);
    Try(6, &center, 44, {}, {"error: Failed to send msg to platform_v3 for reporting center status."});
    center.pLanDevice = nullptr; // counts as none, whatever the number
    Try(6, &center, 0, SentModel("ReportNetTopology", 0, "report", head_v3 + "]}"), {});
}

} // namespace
