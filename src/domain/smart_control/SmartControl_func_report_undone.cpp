// SPDX-License-Identifier: Apache-2.0
// Reports of actions and scenes that the device could not carry out, so that the platform does.
#include <utility>

#include "SmartControl_command.h"
#include "SmartControl_func_report.h"
#include "SmartControl_func_report_send.h"

namespace {

using UndoneActions = tqDevSDK_SmartControl_UndoneActions_S;
using UndoneAction = tqDevSDK_SmartControl_ConfigRule_Actions;
using UndoneActionsV3 = tqDevSDK_SmartControl_UndoneActions_V3_S;
using UndoneScenes = tqDevSDK_SmartControl_UndoneSceneList_S;
using OtapBaseInfo = tqDevSDK_SmartControl_OtapBaseInfo_S;
using OtapMsg = tqDevSDK_SmartControl_OtapMsg_S;

constexpr const char *kNoActions = "Failed to GenArray_UndoneActions.";

template <typename Record>
bool HasActions(const Record *acts) {
    if (acts == nullptr) {
        return Fail("NULL input param.");
    }
    return acts->usNum != 0 || Fail("No undone actions to be reported.");
}

// ---- Actions, version 2: domain and command ----

bool IsReportable(const UndoneActions *acts) {
    if (!HasActions(acts)) {
        return false;
    }
    for (UINT16 i = 0; i < acts->usNum; ++i) {
        const int values = acts->astUndoneActs[i].ucValueNum;
        if (values > TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX) {
            tqdev_debug(LOG_ERROR, "Action value num exceeds[%d > %d].\n", values,
                        TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX);
            return Fail(kNoActions);
        }
    }
    return true;
}

bool WriteAction(bscJSON *object, const UndoneAction &action, const UndoneActions &acts) {
    if (!WriteItem(object, "domain", action.uiDomain) || !WriteItem(object, "cmdId", action.uiCmdId) ||
        !WriteField(object, "deviceId", action.acDevId) ||
        !WriteItem(object, "channelNo", action.ucChannel)) {
        return false;
    }
    bscJSON *params = AttachObject(object, "params", kNoReportObject);
    return params != nullptr && WriteValues(params, action.ausValue, action.ucValueNum) &&
           WriteItem(object, "delay", action.uiDelay) && WriteField(object, "extendValue", acts.acExtendVal);
}

// Adds the array of the actions.
bool GenArray_UndoneActions(bscJSON *root, const UndoneActions &acts) {
    bscJSON *array = AttachArray(root, "undoneActions", kNoReportArray);
    if (array == nullptr) {
        return false;
    }
    for (UINT16 i = 0; i < acts.usNum; ++i) {
        bscJSON *object = AppendObject(array, kNoReportObject);
        if (object == nullptr || !WriteAction(object, acts.astUndoneActs[i], acts)) {
            return false;
        }
    }
    return true;
}

bool WriteActions(bscJSON *root, const UndoneActions &acts) {
    return WriteItem(root, "id", acts.uiRuleId) && (GenArray_UndoneActions(root, acts) || Fail(kNoActions));
}

constexpr ReportKind<CommandWay, UndoneActions> kUndoneActionsReport{
    {"undone actions", kPu2CenPltReportUndoneActionsReq, kPu2CenPltReportUndoneActionsReq,
     "Undone Actions to plt:"},
    IsReportable,
    WriteActions};

// ---- Actions, version 3: topic and payload ----

// The text of a model type in topics; null for an unknown one.
const char *ModelTypeText(UINT32 model_type) {
    switch (model_type) {
    case tqDevSDK_SmartControl_ModelType_Event:
        return "event";
    case tqDevSDK_SmartControl_ModelType_Attribute:
        return "attribute";
    case tqDevSDK_SmartControl_ModelType_Option:
        return "service";
    default:
        return nullptr;
    }
}

using Topic = TextWriter<128>;

// A serial in topics, up to 15 characters of it.
constexpr std::size_t kSerialMax = 15;
const char *SerialText(const char (&serial)[kSerialMax + 1]) {
    return serial[0] != '\0' ? serial : "global";
}

// Adds the topic, cut to 127 characters; nothing, logged, for an unknown model type.
void Protocol_GenOtapTopic(Topic &topic, const OtapBaseInfo &info) {
    const char *model_type = ModelTypeText(info.uiModelType);
    if (model_type == nullptr) {
        Fail("gen ModelType[] is invalid");
        return;
    }
    topic.Add('/').Add(info.acSceneType);
    topic.Add('/').AddUpTo(SerialText(info.acSerial), kSerialMax);
    topic.Add('/').AddUpTo(SerialText(info.acSubSerial), kSerialMax);
    topic.Add('/').Add(info.acResourceId).Add('-').Add(info.acResourceType);
    topic.Add("/model/").Add(model_type).Add('/').Add(info.acMethodType);
    topic.Add('/').Add(info.acDomain).Add('/').Add(info.acIdentifier);
}

// Adds the payload's "params", if it has any; false when there is no memory for it. A payload that the
// library cannot parse for lack of memory counts as one without: it does not say why it failed.
bool WritePayloadParams(bscJSON *element, const char *payload_text) {
    const JsonTree payload(bscJSON_Parse(payload_text));
    if (payload == nullptr) {
        tqdev_debug(LOG_DEBUG, "acPayload is NULL.\n");
        return true;
    }
    bscJSON *params = bscJSON_GetObjectItem(payload.get(), "params");
    if (params == nullptr) {
        tqdev_debug(LOG_DEBUG, "params in acPayload is NULL.\n");
        return true;
    }
    JsonTree copy(bscJSON_Duplicate(params, false));
    if (copy == nullptr) {
        return Fail("Failed to bscJSON_Duplicate.");
    }
    // What is below comes along: the payload is deleted anyway.
    copy->child = std::exchange(params->child, nullptr);
    return AttachItem(element, "params", std::move(copy)) != nullptr;
}

bool WriteOtapAction(bscJSON *actions, const OtapMsg &action) {
    bscJSON *element = AppendObject(actions, kNoReportObject);
    if (element == nullptr) {
        return false;
    }
    char text[128];
    Topic topic(text);
    Protocol_GenOtapTopic(topic, action.stBaseInfo); // an element without a topic is sent all the same
    return WriteItem(element, "URL", static_cast<const char *>(text)) &&
           WritePayloadParams(element, action.stBody.acPayload);
}

bool WriteActionsV3(bscJSON *root, const UndoneActionsV3 &acts) {
    bscJSON *actions = AttachArray(root, "Actions", kNoReportArray);
    if (actions == nullptr) {
        return false;
    }
    for (UINT16 i = 0; i < acts.usNum; ++i) {
        if (!WriteOtapAction(actions, acts.pstActions[i])) {
            return false;
        }
    }
    return true;
}

constexpr ReportKind<ModelWay, UndoneActionsV3> kUndoneActionsReportV3{
    MakeModelWay("undone actions, version 3", tq_event, "AssistExecAction", "report",
                 "Failed to send msg to platform for reporting undone action", "Undone Actions to plt:"),
    HasActions, WriteActionsV3};

// ---- Scenes ----

bool HasScenes(const UndoneScenes *scenes) {
    if (scenes == nullptr) {
        return Fail("NULL input param.");
    }
    if (scenes->stSrcEvent.stBody.acPayload == nullptr) {
        return Fail("Push undoScene and not find event.");
    }
    return scenes->uiNum != 0 || Fail("No undone actions to be reported.");
}

bool WriteScenes(bscJSON *root, const UndoneScenes &scenes) {
    if (!WriteItem(root, "event", scenes.stSrcEvent.stBody.acPayload)) {
        return false;
    }
    bscJSON *ids = AttachArray(root, "ruleIds", kNoReportArray);
    if (ids == nullptr) {
        return false;
    }
    for (UINT32 i = 0; i < scenes.uiNum; ++i) {
        const auto id = static_cast<int32_t>(scenes.uiSceneList[i]);
        if (AppendItem(ids, JsonTree(bscJSON_CreateString(DecimalText(id)))) == nullptr) {
            tqdev_debug(LOG_ERROR, "Failed to bscJSON_CreateString for [%d]\n", static_cast<int>(id));
            return false;
        }
    }
    return true;
}

constexpr ReportKind<ModelWay, UndoneScenes> kUndoneSceneReportV3{
    MakeModelWay("undone scenes", tq_service, "AssistExecScene", "query",
                 "Failed to send msg to platform for reporting undone Scene", "Undone Scene to plt:"),
    HasScenes, WriteScenes};

} // namespace

int ReportUndoneActionsToPlt(const tqDevSDK_SmartControl_UndoneActions_S *acts) {
    return SendReport(kUndoneActionsReport, acts);
}

int ReportUndoneActionsToPltV3(const tqDevSDK_SmartControl_UndoneActions_V3_S *acts) {
    return SendReport(kUndoneActionsReportV3, acts);
}

int ReportUndoneSceneToPltV3(const tqDevSDK_SmartControl_UndoneSceneList_S *scenes) {
    return SendReport(kUndoneSceneReportV3, scenes);
}
