// SPDX-License-Identifier: Apache-2.0
// Commands of the platform, where the recorded contract does not see them: the records byte by byte, an
// application that is not there or careless, a host that passes nothing.
#include <algorithm>

#include "SmartControl_func_action.h"
#include "module_fixture.h"

namespace {

class CommandTest : public ModuleTest {
protected:
    static Lines Answer(int command, const std::string &body) {
        return {"command " + std::to_string(command + 1) + " seq 7 response 1 v1.0.0 " + Printed(body)};
    }
};

TEST_F(CommandTest, RecordsAreHandedOverWhole) {
    const std::string body = R"({"deviceId":"d","eventId":12,"delay":5,"channelNo":3,"params":{"value1":305419896,"value2":2},"extendValue":")" +
                             std::string(65546, 'r') + "\"}";
    tqDevSDK_SmartControl_device_capture_info capture{3, 5, {}, 2, {305419896, 2}};
    tqDevSDK_SmartControl_Action_Pic_And_Video_S pic_and_video{{3, 5}, {}};
    Set(capture.relation_id, std::string(63, 'r'));
    Set(pic_and_video.relation_id, std::string(63, 'r'));
    const struct {
        int command, type;
        std::string record;
    } cases[] = {
        {kCapture, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC, Bytes(capture)},
        {kVideo, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO, Bytes(tqDevSDK_SmartControl_Action_Common_S{3, 5})},
        {kPicAndVideo, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO, Bytes(pic_and_video)},
        {kSleep, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP, Bytes(tqDevSDK_SmartControl_Action_Sleep_S{0x78, {0x56, 0x34, 0x12}})},
        {kChimeAlarm, TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION,
         Bytes(tqDevSDK_SmartControl_SetChimeAlarmAction{"d", 12, 3, 2, {0x5678, 2}})},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(AfterCommand(row.command, body).sent, Answer(row.command, R"({"result":0})"));
        EXPECT_EQ(TakeReceived(), (Messages{{row.type, row.record}}));
    }
}

TEST_F(CommandTest, MissingCallbacksAreSurvived) {
    const auto expect_refusals = [&](Lines alarm_log) {
        Take();
        TakeLog();
        const std::string good = R"({"delay":0,"eventId":1,"channelNo":1,"params":{}})";
        for (const int command : {kVideo, kPicAndVideo, kSleep}) {
            EXPECT_EQ(AfterCommand(command, good), (Outcome{Answer(command, R"({"result":-1})"), {"error: NULL cb func of recv_msg."}}));
        }
        alarm_log.insert(alarm_log.end(), {"error: Failed to handle ReqAndRsp:code=0xffffffff", "error: result_code -1"});
        EXPECT_EQ(AfterCommand(kChimeAlarm, good), (Outcome{{}, alarm_log}));
        EXPECT_EQ(AfterCommand(kSignalQuery, "{}"), (Outcome{{}, {"error: NULL cb func of getting runtime info."}}));
    };
    tqDevSDK_SmartControl_fini();
    expect_refusals({"warning: Smart Control module has not been inited."});
    init_info.cb = {nullptr, nullptr};
    Init();
    expect_refusals({"error: NULL cb func of recv_msg.", "error: Failed to seng msg to app while setting chime alarm action."});
}

TEST_F(CommandTest, AlarmFillsItsBufferEvenWhenItFails) {
    char buffer[5] = "zzzz";
    EXPECT_EQ(SetChimeAlarmAction("{}", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "{\n\t\"");
}

TEST_F(CommandTest, NullRecordsOfTheKernelAreIgnored) {
    const tqdev_sdk_kernel_extend extension = tqhost::Extension(7000).value();
    extension.tqdev_sdk_kernel_extend_event(nullptr, nullptr);
    extension.tqdev_sdk_kernel_extend_data_route(nullptr, nullptr);
    EXPECT_EQ(TakeLog(), Lines{"error: NULL input param!"});
}

TEST_F(CommandTest, EventsOfANewerKernelAreIgnored) {
    tqdev_sdk_kernel_event event{};
    SetUnknown(event.event_type);
    tqhost::Extension(7000).value().tqdev_sdk_kernel_extend_event(&event, nullptr);
    EXPECT_EQ(TakeLog(), Lines{"debug: SmartControl_extend_event type 16"});
    EXPECT_EQ(Take(), Lines{});
}

TEST_F(CommandTest, SignalCountOfTheApplicationIsBounded) {
    for (const int written : {1, 0, -5, 2, 1000000, 2147483647}) {
        on_query = [written](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC);
            EXPECT_EQ(query.len, 8);
            auto &info = *reinterpret_cast<tqDevSDK_Smartcontrol_ap_signal_info *>(query.data);
            EXPECT_EQ(info.num, 1);
            info.ap_signal_result->iDevType = 7; // no router
            Set(info.ap_signal_result->unInfo.stChime.acDevSerial, "odd");
            info.ap_signal_result->iSignalStrength = -3;
            info = {written, nullptr};
            return 9; // ignored
        };
        ASSERT_EQ(AfterCommand(kSignalQuery, "{}").sent,
                  Answer(kSignalQuery,
                         written > 0 ? R"({"result":0,"response":[{"type":"chime","name":"odd","signal":-3}]})" : R"({"result":0,"response":[]})"))
            << written;
    }
}

TEST_F(CommandTest, ManyChimesAreAskedAboutAtOnce) {
    on_query = [](tqDevSDK_SmartControl_runtime_info &query) {
        const auto &info = *reinterpret_cast<tqDevSDK_Smartcontrol_ap_signal_info *>(query.data);
        std::for_each_n(info.ap_signal_result, info.num, [](auto &entry) { entry.iSignalStrength = 5; });
        return 0;
    };
    EXPECT_EQ(AfterCommand(kSignalQuery, R"({"macList":[)" + Repeated(R"({"deviceSerial":"c"})", 300) + "]}").sent,
              Answer(kSignalQuery, R"({"result":0,"response":[)" + Repeated(R"({"type":"chime","name":"c","signal":5})", 300) +
                                       R"(,{"type":"router","name":"","signal":5}]})"));
}

TEST_F(CommandTest, MalformedSignalQueryIsPrintedAndNotAsked) {
    on_query = [](tqDevSDK_SmartControl_runtime_info &) { return ADD_FAILURE() << "asked", 0; };
    EXPECT_EQ(Command(kSignalQuery, "{no"), "[QueryChimeSignalReq_Input]{no\n");
}

} // namespace
