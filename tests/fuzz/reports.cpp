// SPDX-License-Identifier: Apache-2.0
// Reports of the application: the first byte selects the report, the rest fills its record byte by byte.
#include <cstdlib>
#include <memory>

#include "harness.h"

namespace {

// A record that ends in an array of `count` elements, without a spare byte.
template <typename Record>
std::unique_ptr<Record, decltype(&free)> Allocate(std::size_t array_offset, std::size_t count, std::size_t element) {
    return {static_cast<Record *>(calloc(1, std::max(sizeof(Record), array_offset + count * element))), free};
}

// What a report gives, and whether one message went out for it.
void Send(int type, void *record, bool succeeds) {
    const tqDevSDK_SmartControl_Msg2Server_S msg{type, record, 0};
    const int result = tqDevSDK_SmartControl_Msg2Server(&msg);
    Check(result == (succeeds ? 0 : -1), "a complete record is sent, and nothing else");
    const auto &[commands, reports] = std::tie(g_sent<tqhost::CommandMessage>, g_sent<tqhost::ModelReport>);
    Check(commands.size() + reports.size() == (succeeds ? 1 : 0), "one record, one message");
    if (succeeds) {
        ResultIn(commands.empty() ? reports[0].text : commands[0].body);
    }
}

// Short enough that the report, too, is within the depth that JSON is read to.
std::optional<std::string> TakePayload(Input &input) {
    const auto length = input.Take<uint8_t>();
    return length == 0 ? std::nullopt : std::optional(input.TakeText(std::size_t{4} * length));
}

tqDevSDK_SmartControl_OtapMsg_S TakeOtap(Input &input, const std::optional<std::string> &payload) {
    tqDevSDK_SmartControl_OtapMsg_S message{};
    message.stBaseInfo = input.Take<tqDevSDK_SmartControl_OtapBaseInfo_S>();
    message.stBaseInfo.uiModelType %= 4;
    message.stBody.acPayload = payload ? payload->c_str() : nullptr;
    return message;
}

template <typename Record, int type>
void SendRecord(Input &input) {
    auto record = input.Take<Record>();
    Send(type, &record, true);
}

void SendUndoneActions(Input &input) {
    using Record = tqDevSDK_SmartControl_UndoneActions_S;
    using Action = tqDevSDK_SmartControl_ConfigRule_Actions;
    const auto count = input.Take<uint8_t>();
    const auto record = Allocate<Record>(offsetof(Record, astUndoneActs), count, sizeof(Action));
    record->usNum = count;
    record->uiRuleId = input.Take<UINT32>();
    const auto extend = input.Take<Record>();
    memcpy(record->acExtendVal, extend.acExtendVal, sizeof record->acExtendVal);
    bool succeeds = count != 0;
    for (unsigned i = 0; i < count; ++i) {
        record->astUndoneActs[i] = input.Take<Action>();
        succeeds = succeeds && record->astUndoneActs[i].ucValueNum <= TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX;
    }
    Send(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, record.get(), succeeds);
}

void SendUndoneActionsV3(Input &input) {
    using Record = tqDevSDK_SmartControl_UndoneActions_V3_S;
    const auto count = input.Take<uint8_t>() % 8U;
    const auto record = Allocate<Record>(offsetof(Record, pstActions), count, sizeof *Record().pstActions);
    std::vector<std::optional<std::string>> payloads(count);
    record->usNum = static_cast<UINT16>(count);
    for (unsigned i = 0; i < count; ++i) {
        payloads[i] = TakePayload(input);
        record->pstActions[i] = TakeOtap(input, payloads[i]);
    }
    Send(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, record.get(), count != 0);
}

void SendUndoneScene(Input &input) {
    using Record = tqDevSDK_SmartControl_UndoneSceneList_S;
    const auto count = input.Take<uint8_t>();
    const auto record = Allocate<Record>(offsetof(Record, uiSceneList), count, sizeof(UINT32));
    const std::optional<std::string> payload = TakePayload(input);
    record->stSrcEvent = TakeOtap(input, payload);
    record->uiNum = count;
    for (unsigned i = 0; i < count; ++i) {
        record->uiSceneList[i] = input.Take<UINT32>();
    }
    Send(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3, record.get(), payload && count != 0);
}

// An application that does not accept has a count, but no array.
template <int type>
void SendLanCentor(Input &input) {
    std::vector<tqDevSDK_SmartControl_LanDevice> members(input.Take<uint8_t>());
    auto center = input.Take<tqDevSDK_SmartControl_ReportLanCentor>();
    for (tqDevSDK_SmartControl_LanDevice &member : members) {
        member = input.Take<tqDevSDK_SmartControl_LanDevice>();
    }
    center.uiLanDeviceNum = static_cast<UINT32>(members.size());
    center.pLanDevice = input.Accepts() ? members.data() : nullptr;
    Send(type, &center, true);
}

void SendDclog(Input &input) {
    constexpr const char *kSystems[] = {"", "run", "network", "center_statistics", "member_statistics", "comm_statistics"};
    const std::string_view system = kSystems[input.Take<uint8_t>() % std::size(kSystems)];
    auto param = input.Take<tqDevSDK_SmartControl_DCLogParam_S>();
    if (!system.empty()) {
        snprintf(param.acSystemName, sizeof param.acSystemName, "device_lan_smart_%s", system.data());
    }
    const tqDevSDK_SmartControl_DclogMsg_S msg{tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, &param, 0};
    const int result = tqDevSDK_SmartControl_PushDclog(&msg);
    Check(system.empty() || result == 0, "a record of a known system is posted");
    Check(g_sent<tqhost::DclogRecord>.size() == (result == 0 ? 1 : 0), "one record, one post");
    for (const tqhost::DclogRecord &posted : g_sent<tqhost::DclogRecord>) {
        const tqDevSDK_DCLog_LanLinkageParam_S &link = posted.record.unParam.stLanLink;
        CheckEnds(link.acSystemName, link.acDevId, link.acDevType, link.acFwVer);
        if (strcmp(link.acSystemName, "device_lan_smart_run") == 0) {
            CheckEnds(link.unPrivPara.stRunEvent.acSdkVer, link.unPrivPara.stRunEvent.acEvent);
        }
        if (strcmp(link.acSystemName, "device_lan_smart_network") == 0) {
            CheckEnds(link.unPrivPara.stNetParam.acIpAddr, link.unPrivPara.stNetParam.acNetIfName);
        }
    }
}

using SendReport = void (*)(Input &input);

constexpr SendReport kRows[] = {
    SendRecord<tqDevSDK_SmartControl_Event, TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT>,
    SendRecord<tqDevSDK_SmartControl_Info_ActionResult, TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT>,
    SendUndoneActions,
    SendUndoneActionsV3,
    SendUndoneScene,
    SendLanCentor<TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR>,
    SendLanCentor<TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3>,
    SendDclog,
};

} // namespace

void Run(Input &input) { input.Select(kRows)(input); }
