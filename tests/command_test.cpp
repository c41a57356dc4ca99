// SPDX-License-Identifier: Apache-2.0
// Commands of the platform, from the kernel's routing to the answer.
#include "SmartControl_func.h"
#include "module_fixture.h"

namespace {

constexpr int kCapture = 20034, kVideo = 20036, kPicAndVideo = 20038, kSleep = 20040, kChimeSignal = 20058, kChimeAlarm = 20064;

const std::string kGood = R"({"delay":0,"eventId":1,"channelNo":1,"params":{}})"; // for every action

std::string Answer(int command, int result, UINT32 seq = 7) {
    const std::string body = Printed("{\"result\":" + std::to_string(result) + "}");
    return "command " + std::to_string(command + 1) + " seq " + std::to_string(seq) + " response 1 v1.0.0 " + body;
}

template <typename Record>
std::string Bytes(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

class CommandTest : public ModuleTest {
protected:
    // A command that failed with these lines and is not answered.
    static Outcome Unanswered(Lines log) {
        log.insert(log.end(), {"error: Failed to handle ReqAndRsp:code=0xffffffff", "error: result_code -1"});
        return {{}, log};
    }
};

TEST_F(CommandTest, CommandAndAnswerAreLogged) {
    Command(kCapture, kGood, 9);
    EXPECT_EQ(Take(), Lines{Answer(kCapture, 0, 9)});
    EXPECT_EQ(TakeWholeLog(),
              (Lines{"error: R:4e42", "debug: [SetDevCaptureReq]:" + kGood, "error: s:4e43", "info: rsp msg:{\n\t\"result\":\t0\n}"}));
}

TEST_F(CommandTest, ActionsReachTheDeviceAndAreAnswered) {
    using Capture = tqDevSDK_SmartControl_device_capture_info;
    using Sleep = tqDevSDK_SmartControl_Action_Sleep_S;
    using Alarm = tqDevSDK_SmartControl_SetChimeAlarmAction;
    std::string seventeen = "\"value1\":1";
    for (int i = 2; i <= 17; ++i) {
        seventeen += ",\"value" + std::to_string(i) + "\":" + std::to_string(i);
    }
    tqDevSDK_SmartControl_Action_Pic_And_Video_S both{{1, 5}, {}};
    Set(both.relation_id, std::string(63, 'x'));
    Alarm alarm{"", 12, 3, 2, {4464, 2}};
    Set(alarm.acDevId, std::string(31, 'd'));
    const std::string long_relation = R"({"delay":5,"channelNo":1,"params":{},"extendValue":")" + std::string(70, 'x') + "\"}";
    const struct {
        int command, type;
        std::string record, body;
    } cases[] = {
        {kCapture, 2, Bytes(Capture{2, 2147483647U, "r-1", 2, {3, 4294967295U}}),
         R"({"delay":4294967295,"channelNo":2.9,"params":{"value1":3,"value2":-1},"extendValue":"r-1"})"},
        {kCapture, 2, Bytes(Capture{1, 0, "", 16, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}),
         R"({"delay":0,"channelNo":1,"params":{)" + seventeen + "}}"},
        {kCapture, 2, Bytes(Capture{1, 0, "", 1, {1}}), R"({"delay":0,"channelNo":1,"params":{"value1":1,"value3":3}})"},
        {kCapture, 2, Bytes(Capture{1, 0, "", 1, {}}), R"({"delay":"9","channelNo":true,"params":{"value1":"x"},"extendValue":5})"},
        {kCapture, 2, Bytes(Capture{3, 4, "e", 1, {1}}), R"({"DELAY":4,"ChannelNo":3,"Params":{"VALUE1":1},"extendvalue":"e"} trailing)"},
        {kCapture, 2, Bytes(Capture{2147483647, 1, "", 0, {}}), R"({"delay":1,"delay":2,"channelNo":1e308,"params":{}})"},
        {kVideo, 8, Bytes(tqDevSDK_SmartControl_Action_Common_S{1, 5}), long_relation},
        {kPicAndVideo, 9, Bytes(both), long_relation},
        {kSleep, 10, Bytes(Sleep{0, {}}), R"({"delay":0,"channelNo":0,"params":{}})"},
        {kSleep, 10, Bytes(Sleep{0x78, {0x56, 0x34, 0x12}}), R"({"delay":0,"channelNo":0,"params":{"value1":305419896}})"},
        {kChimeAlarm, 0, Bytes(Alarm{"", 1, 1, 0, {}}), kGood},
        {kChimeAlarm, 0, Bytes(alarm),
         R"({"deviceId":")" + std::string(40, 'd') + R"(","eventId":12,"channelNo":3,"params":{"value1":70000,"value2":2}})"},
    };
    std::pair<int, std::string> received;
    on_message = [&](const auto &msg) { received = {msg.type, std::string(msg.data, static_cast<std::size_t>(msg.len))}; };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.body);
        EXPECT_EQ(AfterCommand(row.command, row.body).sent, Lines{Answer(row.command, 0)});
        EXPECT_EQ(received, std::pair(row.type, row.record));
    }
    EXPECT_EQ(ReceivedCount(), std::size(cases));
}

TEST_F(CommandTest, BadAttributesAreAnsweredWithMinusOne) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"channelNo":1,"params":{}})", "Failed to find item:delay"},
        {R"({"delay":0,"params":{}})", "Failed to find item:channelNo"},
        {R"({"delay":0,"channelNo":1,"params":[1]})", "Item is invalid:params"},
        {"null", "Failed to find item:delay"},
    };
    const std::pair<int, std::string> actions[] = {{kCapture, "pic"}, {kVideo, "video"}, {kPicAndVideo, "pic&&video"}, {kSleep, "sleep"}};
    for (const auto &[command, name] : actions) {
        for (const auto &[body, text] : cases) {
            SCOPED_TRACE(name + " " + body);
            Lines log = {"error: " + text, "error: Failed to parse common attr of " + name + " action."};
            if (command == kCapture) {
                log.insert(log.begin(), "debug: [SetDevCaptureReq]:" + body);
            }
            EXPECT_EQ(AfterCommand(command, body), (Outcome{{Answer(command, -1)}, log}));
        }
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(CommandTest, MalformedBodiesAndBadAlarmsAreNotAnswered) {
    const struct {
        int command;
        std::optional<std::string> body;
        std::string text;
    } cases[] = {
        {kVideo, std::nullopt, "Failed to cJSON_Parse:"},
        {kVideo, "", "Failed to cJSON_Parse:"},
        {kVideo, std::string(100000, '{'), "Failed to cJSON_Parse:" + std::string(100000, '{')},
        {kChimeAlarm, std::nullopt, "NULL input param!"},
        {kChimeAlarm, "{", "Failed to bscJSON_Parse:{"},
        {kChimeAlarm, R"({"channelNo":1,"params":{}})", "Failed to find item:eventId"},
        {kChimeAlarm, R"({"eventId":1,"params":{}})", "Failed to find item:channelNo"},
        {kChimeAlarm, R"({"eventId":1,"channelNo":1})", "Failed to find item:params"},
        {kChimeAlarm, R"({"eventId":1,"channelNo":1,"params":[]})", "Failed to find item:params"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(AfterCommand(row.command, row.body), Unanswered({"error: " + row.text}));
    }
    EXPECT_EQ(ReceivedCount(), 0U);
    EXPECT_EQ(AfterCommand(kVideo, kGood).sent, Lines{Answer(kVideo, 0)});
}

TEST_F(CommandTest, DeviceVerdictStaysAtTheDeviceExceptForAnAlarm) {
    recv_result = 5;
    for (const int command : {kCapture, kVideo, kPicAndVideo, kSleep}) {
        EXPECT_EQ(AfterCommand(command, kGood).sent, Lines{Answer(command, 0)});
    }
    EXPECT_EQ(AfterCommand(kChimeAlarm, kGood), Unanswered({"error: Failed to seng msg to app while setting chime alarm action."}));
    EXPECT_EQ(ReceivedCount(), 5U);
}

TEST_F(CommandTest, UnknownCommandsAndThoseToASleepingDeviceAreIgnored) {
    EXPECT_EQ(AfterCommand(20035, "{}"), Outcome{});
    EXPECT_EQ(AfterCommand(-1, "{}"), Outcome{});
    tqhost::SetSleepStatus(1);
    for (const int command : {kCapture, kVideo, kPicAndVideo, kChimeAlarm, kChimeSignal, 18829, 1}) {
        EXPECT_EQ(AfterCommand(command, kGood), (Outcome{{}, {"debug: alarm: device sleep!"}}));
    }
    EXPECT_EQ(AfterCommand(kSleep, kGood).sent, Lines{Answer(kSleep, 0)});
}

TEST_F(CommandTest, RefusedAnswerIsLogged) {
    tqhost::Fail("tqdev_sdk_kernel_send", 6, 2);
    EXPECT_EQ(AfterCommand(kVideo, kGood), (Outcome{{}, {"error: Failed to send msg to platform:error=0x6", "error: result_code -1"}}));
    on_query = [](tqDevSDK_SmartControl_runtime_info &) { return 0; };
    EXPECT_EQ(AfterCommand(kChimeSignal, "{}"), (Outcome{{}, {"error: Failed to send msg to platform:error=0x6"}})) << "the query's result is lost";
}

TEST_F(CommandTest, CommandsWithoutCallbacksAreSurvived) {
    tqDevSDK_SmartControl_fini();
    const auto expect_refusals = [&](const Lines &alarm_log) {
        Take();
        TakeLog();
        for (const int command : {kVideo, kPicAndVideo, kSleep}) {
            EXPECT_EQ(AfterCommand(command, kGood), (Outcome{{Answer(command, -1)}, {"error: NULL cb func of recv_msg."}}));
        }
        EXPECT_EQ(AfterCommand(kChimeAlarm, kGood), Unanswered(alarm_log));
        EXPECT_EQ(AfterCommand(kChimeSignal, "{}"), (Outcome{{}, {"error: NULL cb func of getting runtime info."}}));
    };
    expect_refusals({"warning: Smart Control module has not been inited."});
    init_info.cb = {nullptr, nullptr};
    Init();
    expect_refusals({"error: NULL cb func of recv_msg.", "error: Failed to seng msg to app while setting chime alarm action."});
}

TEST_F(CommandTest, ChimeAlarmFillsItsBufferEvenWhenItFails) {
    char buffer[5] = "zzzz";
    EXPECT_EQ(SetChimeAlarmAction("{}", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "{\n\t\"");
    EXPECT_EQ(FillCommonResp(buffer, 4, 0), 0);
    EXPECT_STREQ(buffer, "{\n\t");
}

TEST_F(CommandTest, KernelEventsAndNullRecords) {
    const std::string force = "tqDevSDK_report_set_force_report ";
    const Lines forced = {force + "74", force + "75", force + "76", force + "77", force + "78"};
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

    // The application fills the entries.
    void OnSignal(std::function<void(Info &)> fill) {
        on_query = [fill = std::move(fill)](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC);
            EXPECT_EQ(query.len, 8);
            fill(*reinterpret_cast<Info *>(query.data));
            return 9; // ignored
        };
    }

    static Outcome Answered(const std::string &response) {
        return {{"command 20059 seq 7 response 1 v1.0.0 " + Printed(R"({"result":0,"response":)" + response + "}")}, {}};
    }
};

TEST_F(SignalTest, AsksForTheListedChimesAndTheRouter) {
    const std::string serial(63, 's');
    OnSignal([&](Info &info) {
        ASSERT_EQ(info.num, 4);
        auto *entries = info.ap_signal_result;
        Lines asked;
        for (int i = 0; i < info.num; ++i) {
            const auto &[mac, device] = entries[i].unInfo.stChime;
            asked.push_back(std::to_string(entries[i].iDevType) + " " + mac + " " + device);
        }
        EXPECT_EQ(asked, (Lines{"0 " + std::string(31, 'm') + " " + serial, "0  C2", "0  ", "1  "})) << "not a text, not an object, the router";
        entries[0].iSignalStrength = 1;
        entries[1].iSignalStrength = 0; // too weak to be reported
        entries[2].iDevType = 7;
        entries[2].iSignalStrength = -3;
        Set(entries[2].unInfo.stChime.acDevSerial, "odd");
        Fill(entries[3].unInfo.stRoute.acSSID, 'w');
        entries[3].iSignalStrength = -60;
    });
    const std::string list =
        R"([{"mac":")" + std::string(40, 'm') + R"(","deviceSerial":")" + std::string(70, 's') + R"("},{"mac":5,"deviceSerial":"C2"},3])";
    EXPECT_EQ(AfterCommand(kChimeSignal, R"({"macList":)" + list + "}"),
              Answered(R"([{"type":"chime","name":")" + serial +
                       R"(","signal":1},{"type":"chime","name":"odd","signal":-3},{"type":"router","name":")" + std::string(64, 'w') +
                       R"(","signal":-60}])"));
}

TEST_F(SignalTest, WithoutAListTheRouterIsAskedForAndItsCountIsBounded) {
    const std::string router = R"([{"type":"router","name":"home","signal":0}])";
    int count = 1;
    OnSignal([&](Info &info) {
        EXPECT_EQ(info.num, 1);
        Set(info.ap_signal_result[0].unInfo.stRoute.acSSID, "home");
        info = {count, nullptr};
    });
    for (const char *body : {"{}", "[]", "7", R"({"macList":{"a":{},"b":{}}})", R"({"macList":"x"})", R"({"macList":[]})"}) {
        EXPECT_EQ(AfterCommand(kChimeSignal, body), Answered(router)) << body;
    }
    for (const int written : {0, -5, 2, 1000000, 2147483647}) {
        count = written;
        ASSERT_EQ(AfterCommand(kChimeSignal, "{}"), Answered(count > 0 ? router : "[]")) << count;
    }
}

TEST_F(SignalTest, BadRequestsArePrintedAndGiveNoAnswer) {
    OnSignal([](Info &) { FAIL() << "asked"; });
    testing::internal::CaptureStdout();
    for (const std::optional<std::string> &body : {std::optional<std::string>(), {"{no"}, {""}}) {
        EXPECT_EQ(AfterCommand(kChimeSignal, body), Outcome{}) << "no result_code either";
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[QueryChimeSignalReq_Input]\n[QueryChimeSignalReq_Input]{no\n[QueryChimeSignalReq_Input]\n");
}

} // namespace
