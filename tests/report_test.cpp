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

    // Reports without success; the log ends in what Msg2Server adds to it.
    void ExpectFailure(int type, const void *record, int result, Lines log) {
        SCOPED_TRACE("report " + std::to_string(type));
        EXPECT_EQ(Report(type, record), result);
        log.push_back("error: Failed to exec msg2server type cmd:" + std::string(type == 0 ? "0" : "0x" + std::to_string(type)));
        EXPECT_EQ(TakeLog(), log);
        EXPECT_EQ(Take(), Lines{});
    }

    // The same when the host refuses a version-2 report, which takes a sequence number all the same.
    void ExpectRefusal(int type, const void *record, const std::string &logged_command, const Lines &trace = {}) {
        tqhost::Fail("tqdev_sdk_kernel_send", 8, 1);
        Lines log = {"error: Failed to send msg to platform:error=0x8",
                     "error: Failed to send msg to platform:domain[0x1b58], cmd[" + logged_command + "]."};
        log.insert(log.end(), trace.begin(), trace.end());
        ExpectFailure(type, record, -1, log);
        ++next_seq_;
    }

    // The same for a version-3 report.
    void ExpectModelRefusal(int type, const void *record, Lines log) {
        tqhost::Fail("tq_model_send_to_platform", 44, 1);
        ExpectFailure(type, record, 44, std::move(log));
    }

private:
    UINT32 next_seq_ = 0;
};

TEST_F(ReportTest, NullRecordsAreRefused) {
    for (const int type : {0, 1}) {
        ExpectFailure(type, nullptr, -1, {"error: NULL input param!"});
    }
    for (const int type : {2, 3, 4, 5, 6}) {
        ExpectFailure(type, nullptr, -1, {"error: NULL input param."});
    }
}

TEST_F(ReportTest, Event) {
    const tqDevSDK_SmartControl_Event event{1, 4294967295U};
    const std::string body = R"({"channelNo":1,"value":4294967295})";
    EXPECT_EQ(Report(0, &event), 0);
    EXPECT_EQ(Take(), Sent(19986, body));
    EXPECT_EQ(TakeLog(), Lines{});
    ExpectFailure(0, nullptr, -1, {"error: NULL input param!"}); // takes no number
    ExpectRefusal(0, &event, "0x4e12");
    EXPECT_EQ(Report(0, &event), 0);
    EXPECT_EQ(Take(), Sent(19986, body));
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
    ExpectRefusal(1, &result, "0x4e12"); // the log names the command of events
}

using Undone = Trailing<tqDevSDK_SmartControl_UndoneActions_S, tqDevSDK_SmartControl_ConfigRule_Actions>;

TEST_F(ReportTest, UndoneActions) {
    const Undone undone(2);
    undone->uiRuleId = 12;
    undone->usNum = 2;
    Fill(undone->acExtendVal, 'e');
    auto *action = const_cast<tqDevSDK_SmartControl_ConfigRule_Actions *>(undone->astUndoneActs);
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
    EXPECT_EQ(Report(2, undone.get()), 0);
    EXPECT_EQ(Take(), Sent(19990, body));
    EXPECT_EQ(TakeLog(), trace);
    ExpectRefusal(2, undone.get(), "0x4e16", trace);
    action[1].ucValueNum = 17;
    ExpectFailure(2, undone.get(), -1, {"error: Action value num exceeds[17 > 16].", "error: Failed to GenArray_UndoneActions."});
    undone->usNum = 0;
    ExpectFailure(2, undone.get(), -1, {"error: No undone actions to be reported."});
}

using UndoneV3 = Trailing<tqDevSDK_SmartControl_UndoneActions_V3_S, tqDevSDK_SmartControl_OtapMsg_S>;

// The payload's length is not read.
tqDevSDK_SmartControl_OtapMsg_S Otap(UINT32 model_type, const char *payload) {
    return {{model_type, "set", "a", "1", "Video", "D", "I", "", ""}, {0, {}, 1, payload}};
}

TEST_F(ReportTest, UndoneActionsV3) {
    const UndoneV3 undone(5);
    undone->usNum = 5;
    auto *action = const_cast<tqDevSDK_SmartControl_OtapMsg_S *>(undone->pstActions);
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
    const Lines log = {"debug: acPayload is NULL.", "error: gen ModelType[] is invalid", "debug: params in acPayload is NULL.",
                       "debug: acPayload is NULL.", "debug: Undone Actions to plt:" + Printed(body)};
    EXPECT_EQ(Report(5, undone.get()), 0);
    EXPECT_EQ(Take(), SentModel("AssistExecAction", 0, "report", body));
    EXPECT_EQ(TakeLog(), log);
    Lines refused = log;
    refused.insert(refused.end() - 1, "error: Failed to send msg to platform for reporting undone action");
    ExpectModelRefusal(5, undone.get(), refused);
    undone->usNum = 0;
    ExpectFailure(5, undone.get(), -1, {"error: No undone actions to be reported."});

    const std::string deepest = R"({"params":)" + std::string(998, '[') + std::string(998, ']') + "}";
    action[0] = Otap(0, deepest.c_str());
    undone->usNum = 1;
    EXPECT_EQ(Report(5, undone.get()), 0);
    EXPECT_NE(Take().at(0).find(deepest.substr(10, 2 * 998)), std::string::npos);
}

using Scenes = Trailing<tqDevSDK_SmartControl_UndoneSceneList_S, UINT32>;

TEST_F(ReportTest, UndoneSceneV3) {
    const Scenes scenes(3);
    auto *ids = const_cast<UINT32 *>(scenes->uiSceneList);
    ids[0] = 1;
    ids[1] = 2147483648U;
    ids[2] = 4294967295U;
    ExpectFailure(4, scenes.get(), -1, {"error: Push undoScene and not find event."});
    scenes->stSrcEvent.stBody.acPayload = R"({"not": "parsed)";
    ExpectFailure(4, scenes.get(), -1, {"error: No undone actions to be reported."});
    scenes->uiNum = 3;
    const std::string body = R"({"event":"{\"not\": \"parsed","ruleIds":["1","-2147483648","-1"]})";
    const std::string trace = "debug: Undone Scene to plt:" + Printed(body);
    EXPECT_EQ(Report(4, scenes.get()), 0);
    EXPECT_EQ(Take(), SentModel("AssistExecScene", 2, "query", body));
    EXPECT_EQ(TakeLog(), Lines{trace});
    ExpectModelRefusal(4, scenes.get(), {"error: Failed to send msg to platform for reporting undone Scene", trace});
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
    const std::string serial = R"(":")" + std::string(32, 'c') + "\"";
    const std::string member = R"(":")" + std::string(32, 'm') + "\"";
    const std::string body =
        R"({"centerDeviceSerial)" + serial + R"(,"enable":7,"extend":"1","devList":[{"deviceSerial)" + member + R"(},{"deviceSerial":""}]})";
    const std::string head_v3 =
        R"({"centerSerialNumber)" + serial + R"(,"sceneVersion":3,"enabled":7,"extend":")" + std::string(64, 'x') + R"(","DevList":[)";
    const Lines trace = {"debug: Report lan centor info to Plt: " + Printed(body)};
    EXPECT_EQ(Report(3, &center), 0);
    EXPECT_EQ(Take(), Sent(19992, body));
    EXPECT_EQ(TakeLog(), trace);
    ExpectRefusal(3, &center, "0x4e18", trace);
    EXPECT_EQ(Report(6, &center), 0);
    EXPECT_EQ(Take(),
              SentModel("ReportNetTopology", 0, "report",
                        head_v3 + R"({"serialNumber)" + member + R"(,"softwareVersion":4294967295},{"serialNumber":"","softwareVersion":0}]})"));
    EXPECT_EQ(TakeLog(), Lines{});
    ExpectModelRefusal(6, &center, {"error: Failed to send msg to platform_v3 for reporting center status."});
    center.pLanDevice = nullptr; // counts as none, whatever the number
    EXPECT_EQ(Report(6, &center), 0);
    EXPECT_EQ(Take(), SentModel("ReportNetTopology", 0, "report", head_v3 + "]}"));
}

} // namespace
