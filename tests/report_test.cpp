// SPDX-License-Identifier: Apache-2.0
// Reports of the device application, where the recorded contract does not see them: what every message of a
// channel has alike, the clock, pointers, the limit of nesting.
#include <cstdlib>
#include <ctime>
#include <memory>

#include "module_fixture.h"

namespace {

class ReportTest : public ModuleTest {
protected:
    // A zeroed record with room for the array at its end.
    template <typename Record>
    static auto Allocate(std::size_t array_bytes) {
        return std::unique_ptr<Record, decltype(&free)>(static_cast<Record *>(calloc(1, sizeof(Record) + array_bytes)), free);
    }
};

// The text for now in the wire's form: years since 1900, months since January.
std::string WireTime() {
    const time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    char text[64];
    snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", utc.tm_year, utc.tm_mon, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    return text;
}

TEST_F(ReportTest, ActionResultTellsTheTime) {
    const tqDevSDK_SmartControl_Info_ActionResult result{1, "D", 2, 7000, 20034, 5};
    const std::string before = WireTime();
    EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT, &result), 0);
    const std::string sent = Take().at(0);
    const bool ticked = sent.find(before) == std::string::npos;
    EXPECT_EQ(sent, "command 19988 seq 0 response 0 V2.0.0 " +
                        Printed(R"({"id":1,"deviceId":"D","channelNo":2,"domain":7000,"cmdId":20034,"result":5,"time":")" +
                                (ticked ? WireTime() : before) + "\"}"));
}

TEST_F(ReportTest, ArraysGoWhole) {
    // More elements than a byte counts, more text than 16 bits count.
    static constexpr UINT16 kCount = 2000;
    const auto array = [](const std::string &element) { return "[" + Repeated(element, kCount) + "]"; };
    auto undone = Allocate<tqDevSDK_SmartControl_UndoneActions_S>(kCount * sizeof(tqDevSDK_SmartControl_ConfigRule_Actions));
    undone->usNum = kCount;
    std::vector<tqDevSDK_SmartControl_LanDevice> members(kCount, tqDevSDK_SmartControl_LanDevice{"a member of the group", 5, 9});
    const tqDevSDK_SmartControl_ReportLanCentor center{"C", 3, "x", 7, kCount, members.data()};
    const tqDevSDK_SmartControl_ReportLanCentor no_members{"C", 3, "x", 7, 2, nullptr};
    auto scenes = Allocate<tqDevSDK_SmartControl_UndoneSceneList_S>(kCount * sizeof(UINT32));
    const std::string event(70000, 'e');
    scenes->stSrcEvent.stBody.acPayload = event.c_str();
    scenes->uiNum = kCount;
    auto otap = Allocate<tqDevSDK_SmartControl_UndoneActions_V3_S>(kCount * sizeof(tqDevSDK_SmartControl_OtapMsg_S));
    otap->usNum = kCount;
    const std::string undone_head = "command 19990 seq 0 response 0 V2.0.0 ", center_head = "command 19992 seq 1 response 0 V2.0.0 ",
                      scenes_head = "model AssistExecScene of TQLink type 2 resource 1 Video seq 0/0 qos 0 [query] option 0 ",
                      otap_head = "model AssistExecAction of TQLink type 0 resource 1 Video seq 0/0 qos 0 [report] option 0 ",
                      center_v3_head = "model ReportNetTopology of TQLink type 0 resource 1 Video seq 0/0 qos 0 [report] option 0 ";
    const std::string undone_body = R"({"domain":0,"cmdId":0,"deviceId":"","channelNo":0,"params":{},"delay":0,"extendValue":""})";
    const std::string center_v3_body = R"({"centerSerialNumber":"C","sceneVersion":3,"enabled":7,"extend":"x","DevList":)";
    const std::string member_v3 = R"({"serialNumber":"a member of the group","softwareVersion":5})";
    const std::tuple<int, const void *, std::string, std::string> cases[] = {
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, undone.get(), undone_head, R"({"id":0,"undoneActions":)" + array(undone_body) + "}"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR, &center, center_head,
         R"({"centerDeviceSerial":"C","enable":7,"extend":"1","devList":)" + array(R"({"deviceSerial":"a member of the group"})") + "}"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3, scenes.get(), scenes_head,
         R"({"event":")" + event + R"(","ruleIds":)" + array("\"0\"") + "}"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, otap.get(), otap_head,
         R"({"Actions":)" + array(R"({"URL":"//global/global/-/model/event///"})") + "}"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3, &center, center_v3_head, center_v3_body + array(member_v3) + "}"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3, &no_members, center_v3_head, center_v3_body + "[]}"},
    };
    for (const auto &[type, record, head, body] : cases) {
        EXPECT_EQ(Report(type, record), 0);
        EXPECT_EQ(Take(), Lines{head + Printed(body)});
    }
}

TEST_F(ReportTest, PayloadsAreParsedToTheLimitOfNesting) {
    auto record = Allocate<tqDevSDK_SmartControl_UndoneActions_V3_S>(sizeof(tqDevSDK_SmartControl_OtapMsg_S));
    const std::string deepest = R"({"params":)" + std::string(998, '[') + std::string(998, ']') + "}";
    record->usNum = 1;
    record->pstActions[0].stBody = {0, {}, 1, deepest.c_str()}; // the length is not read
    EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, record.get()), 0);
    EXPECT_NE(Take().at(0).find(deepest.substr(10, 2 * 998)), std::string::npos);
}

TEST_F(ReportTest, NullRecordsAreRefused) {
    for (int type = TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT; type < TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_MAX; ++type) {
        EXPECT_EQ(Report(type, nullptr), -1);
        EXPECT_EQ(TakeLog(),
                  (Lines{type < TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS ? "error: NULL input param!" : "error: NULL input param.",
                         "error: Failed to exec msg2server type cmd:" + std::string(type == 0 ? "0" : "0x" + std::to_string(type))}));
    }
    const tqDevSDK_SmartControl_Event event{1, 2};
    EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event), 0);
    EXPECT_NE(Take().at(0).find(" seq 0 "), std::string::npos) << "they take no number";
}

} // namespace
