// SPDX-License-Identifier: Apache-2.0
// Commands of the platform, from the kernel's routing to the answer.
#include <sys/mman.h>
#include <unistd.h>

#include "SmartControl_func.h"
#include "module_fixture.h"
#include "tqdev_debug.h"

namespace {

constexpr int kCapture = 20034;
constexpr int kVideo = 20036;
constexpr int kPicAndVideo = 20038;
constexpr int kSleep = 20040;
constexpr int kChimeSignal = 20058;
constexpr int kChimeAlarm = 20064;

std::string Answer(int command, int result, UINT32 seq = 7) {
    return "command " + std::to_string(command + 1) + " seq " + std::to_string(seq) + " response 1 v1.0.0 {\n\t\"result\":\t" +
           std::to_string(result) + "\n}";
}

class CommandTest : public ModuleTest {};

TEST_F(CommandTest, CaptureReachesTheDeviceAndIsAnswered) {
    Command(kCapture, R"({"delay":4294967295,"channelNo":2.9,"params":{"value1":3,"value2":-1},"extendValue":"r-1"})", 9);
    const auto record = Received<tqDevSDK_SmartControl_device_capture_info>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC);
    EXPECT_EQ(record.channel, 2U);
    EXPECT_EQ(record.delay, 2147483647U) << "the integer view saturates";
    EXPECT_STREQ(record.relation_id, "r-1");
    EXPECT_EQ(record.uiValueNum, 2U);
    EXPECT_EQ(record.auiValue[0], 3U);
    EXPECT_EQ(record.auiValue[1], 4294967295U);
    EXPECT_EQ(record.auiValue[2], 0U);
    EXPECT_EQ(Take(), Lines{Answer(kCapture, 0, 9)});
    EXPECT_EQ(TakeWholeLog(),
              (Lines{"error: R:4e42",
                     R"(debug: [SetDevCaptureReq]:{"delay":4294967295,"channelNo":2.9,"params":{"value1":3,"value2":-1},"extendValue":"r-1"})",
                     "error: s:4e43", "info: rsp msg:{\n\t\"result\":\t0\n}"}));
}

TEST_F(CommandTest, VideoCommandsReachTheDeviceAndAreAnswered) {
    const std::string body = R"({"delay":5,"channelNo":1,"params":{},"extendValue":")" + std::string(70, 'x') + "\"}";
    Command(kVideo, body);
    const auto video = Received<tqDevSDK_SmartControl_Action_Common_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO);
    EXPECT_EQ(video.channel, 1U);
    EXPECT_EQ(video.delay, 5U);
    Command(kPicAndVideo, body);
    const auto both = Received<tqDevSDK_SmartControl_Action_Pic_And_Video_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO);
    EXPECT_EQ(both.stComm.channel, 1U);
    EXPECT_EQ(both.stComm.delay, 5U);
    EXPECT_EQ(both.relation_id, std::string(63, 'x'));
    EXPECT_EQ(Take(), (Lines{Answer(kVideo, 0), Answer(kPicAndVideo, 0)}));
}

TEST_F(CommandTest, SleepValueFillsTheWholeRecord) {
    struct {
        const char *params;
        UINT8 bytes[4];
    } const cases[] = {
        {R"({"value1":1})", {1, 0, 0, 0}},
        {R"({})", {0, 0, 0, 0}},
        {R"({"value1":257})", {1, 1, 0, 0}},
        {R"({"value1":305419896})", {0x78, 0x56, 0x34, 0x12}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.params);
        Command(kSleep, std::string(R"({"delay":0,"channelNo":0,"params":)") + row.params + "}");
        const auto record = Received<tqDevSDK_SmartControl_Action_Sleep_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP);
        EXPECT_EQ(memcmp(&record, row.bytes, sizeof record), 0);
        EXPECT_EQ(Take(), Lines{Answer(kSleep, 0)});
    }
}

TEST_F(CommandTest, CommonAttributesAreReadLeniently) {
    std::string twenty;
    for (int i = 1; i <= 20; ++i) {
        twenty += (i > 1 ? "," : "") + std::string("\"value") + std::to_string(i) + "\":" + std::to_string(i);
    }
    struct {
        std::string body;
        UINT32 channel, delay;
        std::string relation;
        UINT32 values;
    } const cases[] = {
        {R"({"delay":0,"channelNo":1,"params":{)" + twenty + "}}", 1, 0, "", 16},
        {R"({"delay":0,"channelNo":1,"params":{"value1":1,"value3":3}})", 1, 0, "", 1},
        {R"({"delay":"9","channelNo":true,"params":{"value1":"x"},"extendValue":5})", 1, 0, "", 1},
        {R"({"DELAY":4,"ChannelNo":3,"Params":{"VALUE1":1},"extendvalue":"e"} trailing)", 3, 4, "e", 1},
        {R"({"delay":1,"delay":2,"channelNo":1e308,"params":{}})", 2147483647, 1, "", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.body);
        Command(kCapture, row.body);
        const auto record = Received<tqDevSDK_SmartControl_device_capture_info>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC);
        EXPECT_EQ(record.channel, row.channel);
        EXPECT_EQ(record.delay, row.delay);
        EXPECT_EQ(record.relation_id, row.relation);
        EXPECT_EQ(record.uiValueNum, row.values);
        EXPECT_EQ(Take(), Lines{Answer(kCapture, 0)});
    }
}

TEST_F(CommandTest, BadAttributesAreAnsweredWithMinusOne) {
    const std::string rest = R"("channelNo":1,"params":{}})";
    const std::pair<std::string, std::string> cases[] = {
        {"{" + rest, "Failed to find item:delay"},
        {R"({"delay":0,"params":{}})", "Failed to find item:channelNo"},
        {R"({"delay":0,"channelNo":1})", "Item is invalid:params"},
        {R"({"delay":0,"channelNo":1,"params":[1]})", "Item is invalid:params"},
        {R"({"delay":0,"channelNo":1,"params":"{}"})", "Item is invalid:params"},
        {"[]", "Failed to find item:delay"},
        {"5", "Failed to find item:delay"},
        {"null", "Failed to find item:delay"},
    };
    const std::pair<int, std::string> actions[] = {{kCapture, "pic"}, {kVideo, "video"}, {kPicAndVideo, "pic&&video"}, {kSleep, "sleep"}};
    for (const auto &[command, name] : actions) {
        for (const auto &[body, text] : cases) {
            SCOPED_TRACE(name + " " + body);
            Lines log;
            if (command == kCapture) {
                log.push_back("debug: [SetDevCaptureReq]:" + body);
            }
            log.push_back("error: " + text);
            log.push_back("error: Failed to parse common attr of " + name + " action.");
            const Outcome outcome = AfterCommand(command, body);
            EXPECT_EQ(outcome.sent, Lines{Answer(command, -1)});
            EXPECT_EQ(outcome.log, log);
        }
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(CommandTest, MalformedBodiesAreNotAnswered) {
    const Outcome null = AfterCommand(kVideo, std::nullopt);
    EXPECT_EQ(null.sent, Lines{});
    EXPECT_EQ(null.log, (Lines{"error: Failed to cJSON_Parse:", "error: Failed to handle ReqAndRsp:code=0xffffffff", "error: result_code -1"}));
    for (const std::string &body :
         {std::string(), std::string("{\"delay\":"), std::string("nonsense"), std::string(2000, '['), std::string(100000, '{')}) {
        const Outcome outcome = AfterCommand(kVideo, body);
        EXPECT_EQ(outcome.sent, Lines{});
        EXPECT_EQ(outcome.log.front(), "error: Failed to cJSON_Parse:" + body);
    }
    EXPECT_EQ(ReceivedCount(), 0U);
    EXPECT_EQ(AfterCommand(kVideo, R"({"delay":0,"channelNo":1,"params":{}})").sent, Lines{Answer(kVideo, 0)});
}

TEST_F(CommandTest, DeviceVerdictOnActionsStaysAtTheDevice) {
    recv_result = 5;
    for (const int command : {kCapture, kVideo, kPicAndVideo, kSleep}) {
        EXPECT_EQ(AfterCommand(command, R"({"delay":0,"channelNo":1,"params":{}})").sent, Lines{Answer(command, 0)});
    }
    EXPECT_EQ(ReceivedCount(), 4U);
}

TEST_F(CommandTest, ChimeAlarmIsAnsweredOnlyOnSuccess) {
    Command(kChimeAlarm, R"({"deviceId":")" + std::string(40, 'd') + R"(","eventId":12,"channelNo":3,"params":{"value1":70000,"value2":2}})");
    const auto record = Received<tqDevSDK_SmartControl_SetChimeAlarmAction>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION);
    EXPECT_EQ(record.acDevId, std::string(31, 'd'));
    EXPECT_EQ(record.uiEventId, 12U);
    EXPECT_EQ(record.uiChannel, 3U);
    EXPECT_EQ(record.uiValueNum, 2U);
    EXPECT_EQ(record.ausValue[0], 4464);
    EXPECT_EQ(record.ausValue[1], 2);
    EXPECT_EQ(record.ausValue[2], 0);
    EXPECT_EQ(Take(), Lines{Answer(kChimeAlarm, 0)});
    TakeLog();

    const std::string good = R"({"eventId":1,"channelNo":1,"params":{}})";
    EXPECT_EQ(AfterCommand(kChimeAlarm, good).sent, Lines{Answer(kChimeAlarm, 0)});
    EXPECT_STREQ(Received<tqDevSDK_SmartControl_SetChimeAlarmAction>(0).acDevId, "");

    const std::pair<std::optional<std::string>, std::string> cases[] = {
        {std::nullopt, "NULL input param!"},
        {"{", "Failed to bscJSON_Parse:{"},
        {R"({"channelNo":1,"params":{}})", "Failed to find item:eventId"},
        {R"({"eventId":1,"params":{}})", "Failed to find item:channelNo"},
        {R"({"eventId":1,"channelNo":1})", "Failed to find item:params"},
        {R"({"eventId":1,"channelNo":1,"params":[]})", "Failed to find item:params"},
    };
    for (const auto &[body, text] : cases) {
        SCOPED_TRACE(body.value_or("null"));
        const Outcome outcome = AfterCommand(kChimeAlarm, body);
        EXPECT_EQ(outcome.sent, Lines{});
        EXPECT_EQ(outcome.log, (Lines{"error: " + text, "error: Failed to handle ReqAndRsp:code=0xffffffff", "error: result_code -1"}));
    }
    EXPECT_EQ(ReceivedCount(), 0U);

    recv_result = 1;
    const Outcome refused = AfterCommand(kChimeAlarm, good);
    EXPECT_EQ(refused.sent, Lines{});
    EXPECT_EQ(refused.log.front(), "error: Failed to seng msg to app while setting chime alarm action.");
}

TEST_F(CommandTest, SleepingDeviceServesTheSleepCommandOnly) {
    tqhost::SetSleepStatus(1);
    const std::string body = R"({"delay":0,"channelNo":1,"params":{}})";
    for (const int command : {kCapture, kVideo, kPicAndVideo, kChimeAlarm, kChimeSignal, 18829, 1}) {
        const Outcome outcome = AfterCommand(command, body);
        EXPECT_EQ(outcome.sent, Lines{});
        EXPECT_EQ(outcome.log, Lines{"debug: alarm: device sleep!"});
    }
    EXPECT_EQ(AfterCommand(kSleep, body).sent, Lines{Answer(kSleep, 0)});
}

TEST_F(CommandTest, UnknownCommandsLeaveOnlyTheirId) {
    for (const int command : {20042, 0, -1, 20035}) {
        Command(command, "{}");
        char id[32];
        snprintf(id, sizeof id, "error: R:%x", static_cast<unsigned>(command));
        EXPECT_EQ(TakeWholeLog(), Lines{id});
        EXPECT_EQ(Take(), Lines{});
    }
}

TEST_F(CommandTest, RefusedAnswerIsLogged) {
    tqhost::Fail("tqdev_sdk_kernel_send", 6, 1);
    const Outcome outcome = AfterCommand(kVideo, R"({"delay":0,"channelNo":1,"params":{}})");
    EXPECT_EQ(outcome.sent, Lines{});
    EXPECT_EQ(outcome.log, (Lines{"error: Failed to send msg to platform:error=0x6", "error: result_code -1"}));
}

TEST_F(CommandTest, CommandsAfterFiniAreSurvived) {
    tqDevSDK_SmartControl_fini();
    Take();
    TakeLog();
    const std::string body = R"({"delay":0,"channelNo":1,"params":{},"eventId":1})";
    for (const int command : {kVideo, kPicAndVideo, kSleep}) {
        const Outcome outcome = AfterCommand(command, body);
        EXPECT_EQ(outcome.sent, Lines{Answer(command, -1)});
        EXPECT_EQ(outcome.log, Lines{"error: NULL cb func of recv_msg."});
    }
    const Outcome alarm = AfterCommand(kChimeAlarm, body);
    EXPECT_EQ(alarm.sent, Lines{});
    EXPECT_EQ(alarm.log.front(), "warning: Smart Control module has not been inited.");
    const Outcome signal = AfterCommand(kChimeSignal, "{}");
    EXPECT_EQ(signal.sent, Lines{});
    EXPECT_EQ(signal.log, Lines{"error: NULL cb func of getting runtime info."});
}

TEST_F(CommandTest, ApplicationWithoutCallbacksIsSurvived) {
    tqDevSDK_SmartControl_fini();
    init_info.cb = {nullptr, nullptr};
    Init();
    Take();
    TakeLog();
    EXPECT_EQ(AfterCommand(kVideo, R"({"delay":0,"channelNo":1,"params":{}})").sent, Lines{Answer(kVideo, -1)});
    const Outcome alarm = AfterCommand(kChimeAlarm, R"({"eventId":1,"channelNo":1,"params":{}})");
    EXPECT_EQ(alarm.sent, Lines{});
    EXPECT_EQ(alarm.log, (Lines{"error: NULL cb func of recv_msg.", "error: Failed to seng msg to app while setting chime alarm action.",
                                "error: Failed to handle ReqAndRsp:code=0xffffffff", "error: result_code -1"}));
    tqhost::ModelMessage scene;
    scene.identifier = "ExecManualScene";
    scene.text = R"({"ruleId":"1"})";
    EXPECT_EQ(tqhost::DeliverModelRequest(scene), 0);
    EXPECT_NE(Take().at(0).find(" 400 -1 "), std::string::npos);
}

TEST_F(CommandTest, ChimeAlarmFillsItsBufferEvenWhenItFails) {
    char buffer[5] = "zzzz";
    tqDevSDK_SmartControl_fini();
    EXPECT_EQ(SetChimeAlarmAction("{}", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "{\n\t\"");
    EXPECT_EQ(FillCommonResp(buffer, 4, 0), 0);
    EXPECT_STREQ(buffer, "{\n\t");
}

TEST_F(CommandTest, KernelEventsAndNullRecords) {
    const Lines forced = {"tqDevSDK_report_set_force_report 74", "tqDevSDK_report_set_force_report 75", "tqDevSDK_report_set_force_report 76",
                          "tqDevSDK_report_set_force_report 77", "tqDevSDK_report_set_force_report 78"};
    for (int type = sdk_kernel_event_online; type <= sdk_kernel_event_bind_hub; ++type) {
        tqhost::DeliverEvent(static_cast<sdk_kernel_event_type>(type));
        EXPECT_EQ(Take(), type == sdk_kernel_event_online || type == sdk_kernel_event_switchover ? forced : Lines{});
        EXPECT_EQ(TakeLog(), Lines{"debug: SmartControl_extend_event type " + std::to_string(type)});
    }
    const auto extension = tqhost::Extension(7000);
    ASSERT_TRUE(extension.has_value());
    extension->tqdev_sdk_kernel_extend_event(nullptr, nullptr);
    extension->tqdev_sdk_kernel_extend_data_route(nullptr, nullptr);
    tqhost::StartExtensions();
    tqhost::StopExtensions();
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param!", "debug: SmartControl_extend_start_cb", "debug: SmartControl_extend_stop_cb"}));
}

// ---- Signal query ----

class SignalTest : public ModuleTest {
protected:
    using Info = tqDevSDK_Smartcontrol_ap_signal_info;
    using Entry = tqDevSDK_Smartcontrol_ap_signal_result;

    // The application fills the entries.
    void OnSignal(std::function<void(Info &)> fill) {
        on_query = [fill = std::move(fill)](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC);
            EXPECT_EQ(query.len, 8);
            fill(*reinterpret_cast<Info *>(query.data));
            return 9; // ignored
        };
    }

    static std::string SignalAnswer(const std::string &response) {
        return "command 20059 seq 7 response 1 v1.0.0 " + Printed(R"({"result":0,"response":)" + response + "}");
    }
};

TEST_F(SignalTest, AsksForTheListedChimesAndTheRouter) {
    OnSignal([](Info &info) {
        ASSERT_EQ(info.num, 4);
        const Entry *entries = info.ap_signal_result;
        EXPECT_EQ(entries[0].iDevType, 0);
        EXPECT_EQ(entries[0].unInfo.stChime.acMac, std::string(31, 'm'));
        EXPECT_EQ(entries[0].unInfo.stChime.acDevSerial, std::string(63, 's'));
        EXPECT_STREQ(entries[1].unInfo.stChime.acMac, "") << "not a text";
        EXPECT_STREQ(entries[1].unInfo.stChime.acDevSerial, "C2");
        EXPECT_STREQ(entries[2].unInfo.stChime.acDevSerial, "") << "not an object";
        EXPECT_EQ(entries[3].iDevType, 1);
        EXPECT_EQ(entries[3].iSignalStrength, 0);
        info.ap_signal_result[0].iSignalStrength = 1;
        info.ap_signal_result[1].iSignalStrength = 0;
        info.ap_signal_result[2].iDevType = 7;
        info.ap_signal_result[2].iSignalStrength = -3;
        Set(info.ap_signal_result[2].unInfo.stChime.acDevSerial, "odd");
        Fill(info.ap_signal_result[3].unInfo.stRoute.acSSID, 'w');
        info.ap_signal_result[3].iSignalStrength = -60;
    });
    Command(kChimeSignal, R"({"macList":[{"mac":")" + std::string(40, 'm') + R"(","deviceSerial":")" + std::string(70, 's') +
                              R"("},{"mac":5,"deviceSerial":"C2"},3]})");
    EXPECT_EQ(Take(), Lines{SignalAnswer(R"([{"type":"chime","name":")" + std::string(63, 's') +
                                         R"(","signal":1},{"type":"chime","name":"odd","signal":-3},{"type":"router","name":")" +
                                         std::string(64, 'w') + R"(","signal":-60}])")});
    EXPECT_EQ(TakeLog(), Lines{}) << "the application's result is ignored";
}

TEST_F(SignalTest, WithoutAListTheRouterIsAskedFor) {
    OnSignal([](Info &info) {
        EXPECT_EQ(info.num, 1);
        Set(info.ap_signal_result[0].unInfo.stRoute.acSSID, "home");
    });
    for (const char *body : {"{}", "[]", "7", R"({"macList":{"a":{},"b":{}}})", R"({"macList":"x"})", R"({"macList":[]})"}) {
        SCOPED_TRACE(body);
        EXPECT_EQ(AfterCommand(kChimeSignal, body).sent, Lines{SignalAnswer(R"([{"type":"router","name":"home","signal":0}])")});
    }
}

TEST_F(SignalTest, EntryCountIsBoundedWhateverTheApplicationWrites) {
    const std::string router = R"([{"type":"router","name":"","signal":0}])";
    for (const auto &[count, expected] :
         std::vector<std::pair<int, std::string>>{{1000000, router}, {2147483647, router}, {1, router}, {0, "[]"}, {-5, "[]"}}) {
        OnSignal([count = count](Info &info) {
            info.num = count;
            info.ap_signal_result = nullptr;
        });
        EXPECT_EQ(AfterCommand(kChimeSignal, "{}").sent, Lines{SignalAnswer(expected)}) << count;
    }
}

TEST_F(SignalTest, BadRequestsGiveNoAnswer) {
    OnSignal([](Info &) { FAIL() << "asked"; });
    for (const std::optional<std::string> &body : {std::optional<std::string>(), {"{"}, {""}}) {
        const Outcome outcome = AfterCommand(kChimeSignal, body);
        EXPECT_EQ(outcome.sent, Lines{});
        EXPECT_EQ(outcome.log, Lines{}) << "no result_code either";
    }
    OnSignal([](Info &) {});
    tqhost::Fail("tqdev_sdk_kernel_send", 6, 1);
    EXPECT_EQ(AfterCommand(kChimeSignal, "{}").log, Lines{"error: Failed to send msg to platform:error=0x6"});
}

TEST_F(SignalTest, RequestIsPrintedOnStandardOutput) {
    fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int memory = memfd_create("stdout", 0);
    dup2(memory, STDOUT_FILENO);
    Command(kChimeSignal, "{no");
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    char text[64] = {};
    EXPECT_GT(pread(memory, text, sizeof text - 1, 0), 0);
    close(memory);
    EXPECT_STREQ(text, "[QueryChimeSignalReq_Input]{no\n");
}

} // namespace
