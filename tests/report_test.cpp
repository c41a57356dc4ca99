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
    constexpr UINT16 kCount = 2000; // more elements than a byte counts, in more text than 16 bits count
    auto undone = Allocate<tqDevSDK_SmartControl_UndoneActions_S>(kCount * sizeof(tqDevSDK_SmartControl_ConfigRule_Actions));
    undone->usNum = kCount;
    std::vector<tqDevSDK_SmartControl_LanDevice> members(kCount, tqDevSDK_SmartControl_LanDevice{"a member of the group", 5, 9});
    const tqDevSDK_SmartControl_ReportLanCentor center{"C", 3, "x", 7, kCount, members.data()};
    const tqDevSDK_SmartControl_ReportLanCentor no_array{"C", 3, "x", 7, kCount, nullptr};
    auto scenes = Allocate<tqDevSDK_SmartControl_UndoneSceneList_S>(kCount * sizeof(UINT32));
    const std::string event(70000, 'e');
    scenes->stSrcEvent.stBody.acPayload = event.c_str();
    scenes->uiNum = kCount;
    auto otap = Allocate<tqDevSDK_SmartControl_UndoneActions_V3_S>(kCount * sizeof(tqDevSDK_SmartControl_OtapMsg_S));
    otap->usNum = kCount;
    const struct {
        int type;
        const void *record;
        std::string head, element;
        int count = kCount;
    } cases[] = {
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, undone.get(), R"({"id":0,"undoneActions":[)",
         R"({"domain":0,"cmdId":0,"deviceId":"","channelNo":0,"params":{},"delay":0,"extendValue":""})"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR, &center, R"({"centerDeviceSerial":"C","enable":7,"extend":"1","devList":[)",
         R"({"deviceSerial":"a member of the group"})"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR, &no_array, R"({"centerDeviceSerial":"C","enable":7,"extend":"1","devList":[)", "", 0},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3, scenes.get(), R"({"event":")" + event + R"(","ruleIds":[)", R"("0")"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, otap.get(), R"({"Actions":[)", R"({"URL":"//global/global/-/model/event///"})"},
        {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3, &center,
         R"({"centerSerialNumber":"C","sceneVersion":3,"enabled":7,"extend":"x","DevList":[)",
         R"({"serialNumber":"a member of the group","softwareVersion":5})"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(Report(row.type, row.record), 0);
        const std::string sent = Take().at(0);
        EXPECT_EQ(Lines{sent.substr(sent.find('{'))}, Lines{Printed(row.head + Repeated(row.element, row.count) + "]}")});
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
    EXPECT_EQ(Take(), Lines{"command 19986 seq 0 response 0 V2.0.0 " + Printed(R"({"channelNo":1,"value":2})")}) << "they take no number";
}

} // namespace
