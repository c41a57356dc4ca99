// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_command.h"
#include "SmartControl_func.h"
#include "SmartControl_func_report.h"

namespace {

constexpr CommandReport kUndoneActionsReport{kPu2CenPltReportUndoneActionsReq,
                                             kPu2CenPltReportUndoneActionsReq, "Undone Actions to plt:"};
constexpr ModelReport kUndoneActionsReportV3 =
    MakeModelReport(tq_event, "AssistExecAction", "report",
                    "Failed to send msg to platform for reporting undone action", "Undone Actions to plt:");
constexpr ModelReport kUndoneSceneReportV3 =
    MakeModelReport(tq_service, "AssistExecScene", "query",
                    "Failed to send msg to platform for reporting undone Scene", "Undone Scene to plt:");

constexpr std::size_t kTopicSize = 128;

bool LogAndFail(const char *text) {
    tqdev_debug(LOG_ERROR, "%s\n", text);
    return false;
}

// False, logged, for a null record or one without actions.
template <typename Record>
bool HasActions(const Record *acts) {
    if (acts == nullptr) {
        return LogAndFail("NULL input param.");
    }
    return acts->usNum != 0 || LogAndFail("No undone actions to be reported.");
}

bool WriteUndoneAction(bscJSON *object, const tqDevSDK_SmartControl_ConfigRule_Actions &action,
                       const char *extend_value) {
    WriteItem(object, "domain", action.uiDomain);
    WriteItem(object, "cmdId", action.uiCmdId);
    WriteItem(object, "deviceId", action.acDevId);
    WriteItem(object, "channelNo", action.ucChannel);
    if (action.ucValueNum > TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX) {
        tqdev_debug(LOG_ERROR, "Action value num exceeds[%d > %d].\n", action.ucValueNum,
                    TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX);
        return false;
    }
    JsonTree params = CreateReportObject();
    if (params == nullptr) {
        return false;
    }
    WriteValues(params.get(), action.ausValue, action.ucValueNum);
    AttachItem(object, "params", std::move(params));
    WriteItem(object, "delay", action.uiDelay);
    WriteItem(object, "extendValue", extend_value);
    return true;
}

// The array of undone actions; null when one of them could not be written.
JsonTree GenArray_UndoneActions(UINT32 uiNum, const tqDevSDK_SmartControl_ConfigRule_Actions *pstAcsList,
                                const char *pcExtendValue) {
    JsonTree array = CreateReportArray();
    if (array == nullptr) {
        return nullptr;
    }
    for (UINT32 i = 0; i < uiNum; ++i) {
        bscJSON *object = AppendReportObject(array.get());
        if (object == nullptr || !WriteUndoneAction(object, pstAcsList[i], pcExtendValue)) {
            return nullptr;
        }
    }
    return array;
}

// The text of a model type in topics; null for an unknown one.
const char *ModelTypeText(UINT32 model_type) {
    constexpr const char *kTexts[] = {"event", "attribute", "service"};
    static_assert(std::size(kTexts) == tqDevSDK_SmartControl_ModelType_Max);
    return model_type < std::size(kTexts) ? kTexts[model_type] : nullptr;
}

void CopySerial(char (&serial)[16], const char (&field)[16]) {
    CopyText(serial, field);
    if (serial[0] == '\0') {
        CopyText(serial, "global");
    }
}

// Writes the topic, cut to 127 characters; -1 and an empty topic for an unknown model type.
int Protocol_GenOtapTopic(const tqDevSDK_SmartControl_OtapBaseInfo_S &info, char (&acTopic)[kTopicSize]) {
    TextWriter topic(acTopic);
    const char *model_type = ModelTypeText(info.uiModelType);
    if (model_type == nullptr) {
        tqdev_debug(LOG_ERROR, "gen ModelType[] is invalid\n");
        return -1;
    }
    char serial[16];
    char sub_serial[16];
    CopySerial(serial, info.acSerial);
    CopySerial(sub_serial, info.acSubSerial);
    topic.Add("/").Add(info.acSceneType).Add("/").Add(serial).Add("/").Add(sub_serial);
    topic.Add("/").Add(info.acResourceId).Add("-").Add(info.acResourceType);
    topic.Add("/model/").Add(model_type).Add("/").Add(info.acMethodType);
    topic.Add("/").Add(info.acDomain).Add("/").Add(info.acIdentifier);
    return 0;
}

// Adds a copy of the payload's "params", if it has any; false without memory for the copy.
bool WritePayloadParams(bscJSON *element, const char *payload_text) {
    const JsonTree payload(bscJSON_Parse(payload_text));
    if (payload == nullptr) {
        tqdev_debug(LOG_DEBUG, "acPayload is NULL.\n");
        return true;
    }
    const bscJSON *params = bscJSON_GetObjectItem(payload.get(), "params");
    if (params == nullptr) {
        tqdev_debug(LOG_DEBUG, "params in acPayload is NULL.\n");
        return true;
    }
    JsonTree copy(bscJSON_Duplicate(params, true));
    if (copy == nullptr) {
        return LogAndFail("Failed to bscJSON_Duplicate.");
    }
    AttachItem(element, "params", std::move(copy));
    return true;
}

bool WriteOtapAction(bscJSON *actions, const tqDevSDK_SmartControl_OtapMsg_S &action) {
    bscJSON *element = AppendReportObject(actions);
    if (element == nullptr) {
        return false;
    }
    char topic[kTopicSize];
    Protocol_GenOtapTopic(action.stBaseInfo, topic); // an element without a topic is sent all the same
    WriteItem(element, "URL", static_cast<const char *>(topic));
    return WritePayloadParams(element, action.stBody.acPayload);
}

bool HasScenes(const tqDevSDK_SmartControl_UndoneSceneList_S *scenes) {
    if (scenes == nullptr) {
        return LogAndFail("NULL input param.");
    }
    if (scenes->stSrcEvent.stBody.acPayload == nullptr) {
        return LogAndFail("Push undoScene and not find event.");
    }
    return scenes->uiNum != 0 || LogAndFail("No undone actions to be reported.");
}

bool WriteSceneId(bscJSON *ids, UINT32 id) {
    char text[16];
    TextWriter(text).AddDecimal(static_cast<int32_t>(id));
    if (AppendItem(ids, JsonTree(bscJSON_CreateString(text))) == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_CreateString for [%d]\n", static_cast<int>(id));
        return false;
    }
    return true;
}

} // namespace

int ReportUndoneActionsToPlt(const tqDevSDK_SmartControl_UndoneActions_S *acts) {
    if (!HasActions(acts)) {
        return -1;
    }
    const JsonTree root = CreateReportObject();
    if (root == nullptr) {
        return -1;
    }
    WriteItem(root.get(), "id", acts->uiRuleId);
    JsonTree actions = GenArray_UndoneActions(acts->usNum, acts->astUndoneActs, FieldText(acts->acExtendVal));
    if (actions == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to GenArray_UndoneActions.\n");
        return -1;
    }
    AttachItem(root.get(), "undoneActions", std::move(actions));
    return SendReport(kUndoneActionsReport, root.get());
}

int ReportUndoneActionsToPltV3(const tqDevSDK_SmartControl_UndoneActions_V3_S *acts) {
    if (!HasActions(acts)) {
        return -1;
    }
    const JsonTree root = CreateReportObject();
    if (root == nullptr) {
        return -1;
    }
    JsonTree actions = CreateReportArray();
    if (actions == nullptr) {
        return -1;
    }
    for (UINT16 i = 0; i < acts->usNum; ++i) {
        if (!WriteOtapAction(actions.get(), acts->pstActions[i])) {
            return -1;
        }
    }
    AttachItem(root.get(), "Actions", std::move(actions));
    return SendReport(kUndoneActionsReportV3, root.get());
}

int ReportUndoneSceneToPltV3(const tqDevSDK_SmartControl_UndoneSceneList_S *scenes) {
    if (!HasScenes(scenes)) {
        return -1;
    }
    const JsonTree root = CreateReportObject();
    if (root == nullptr) {
        return -1;
    }
    WriteItem(root.get(), "event", scenes->stSrcEvent.stBody.acPayload);
    JsonTree ids = CreateReportArray();
    if (ids == nullptr) {
        return -1;
    }
    for (UINT32 i = 0; i < scenes->uiNum; ++i) {
        if (!WriteSceneId(ids.get(), scenes->uiSceneList[i])) {
            return -1;
        }
    }
    AttachItem(root.get(), "ruleIds", std::move(ids));
    return SendReport(kUndoneSceneReportV3, root.get());
}
