// SPDX-License-Identifier: Apache-2.0
// Each record's fields, and the tables of messages and reports that carry them.
#include "records.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <type_traits>

#include "names.h"

namespace tqgateway {

// ---- Field lists: one line per field, visited by the reader and by the writer. ----

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_SetChimeAlarmAction &r) {
    v.Field("acDevId", r.acDevId);
    v.Field("uiEventId", r.uiEventId);
    v.Field("uiChannel", r.uiChannel);
    v.Values("uiValueNum", r.uiValueNum, "ausValue", r.ausValue);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_device_capture_info &r) {
    v.Field("channel", r.channel);
    v.Field("delay", r.delay);
    v.Field("relation_id", r.relation_id);
    v.Values("uiValueNum", r.uiValueNum, "auiValue", r.auiValue);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_Action_Common_S &r) {
    v.Field("channel", r.channel);
    v.Field("delay", r.delay);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_Action_Pic_And_Video_S &r) {
    v.Field("stComm", r.stComm);
    v.Field("relation_id", r.relation_id);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_Action_Sleep_S &r) {
    v.Field("ucEnable", r.ucEnable);
    v.Field("reserved", r.reserved);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ManualScene_S &r) {
    v.Field("uiSceneId", r.uiSceneId);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_IcrDss_auto_time_S &r) {
    v.Field("begin", r.begin);
    v.Field("end", r.end);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_msg_IcrDss_S &r) {
    v.Field("ucMode", r.ucMode);
    v.Field("ucSensitivity", r.ucSensitivity);
    v.Field("autoTime", r.autoTime);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ConfigRule_Events &r) {
    v.Field("uiDomain", r.uiDomain);
    v.Field("uiCmdId", r.uiCmdId);
    v.Field("acDevId", r.acDevId);
    v.Field("ucChannel", r.ucChannel);
    v.Field("usValue", r.usValue);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ConfigRule_Actions &r) {
    v.Field("uiDomain", r.uiDomain);
    v.Field("uiCmdId", r.uiCmdId);
    v.Field("acDevId", r.acDevId);
    v.Field("ucChannel", r.ucChannel);
    v.Values("ucValueNum", r.ucValueNum, "ausValue", r.ausValue);
    v.Field("uiDelay", r.uiDelay);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ConfigRules_RuleUnit &r) {
    v.Field("uiRuleId", r.uiRuleId);
    v.Field("acUserId", r.acUserId);
    v.Field("acRuleName", r.acRuleName);
    v.Field("ucEnable", r.ucEnable);
    v.Field("aucWeekDaysEn", r.aucWeekDaysEn);
    v.Field("uiStart_hour", r.uiStart_hour);
    v.Field("uiStart_min", r.uiStart_min);
    v.Field("uiEnd_hour", r.uiEnd_hour);
    v.Field("uiEnd_min", r.uiEnd_min);
    v.Field("usCondition", r.usCondition);
    v.Field("ucIsCrossDay", r.ucIsCrossDay);
    v.Unread("reserved", r.reserved);
    v.List("usEvents_Num", r.usEvents_Num, "pstEvents", r.pstEvents);
    v.List("usActions_Num", r.usActions_Num, "pstActions", r.pstActions);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ConfigRules_ValueUnit &r) {
    v.Field("usType", r.usType);
    v.Field("ucChannel", r.ucChannel);
    v.List("usNum", r.usNum, "pstRuleUnit", r.pstRuleUnit);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ConfigRules &r) {
    v.Field("uiVersion", r.uiVersion);
    v.Unread("reserved0", r.reserved0);
    v.List("usNum", r.usNum, "pstUnit", r.pstUnit);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_Event &r) {
    v.Field("channel", r.channel);
    v.Field("value", r.value);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_Info_ActionResult &r) {
    v.Field("uiRuleId", r.uiRuleId);
    v.Field("acDeviceId", r.acDeviceId);
    v.Field("uiChannelNo", r.uiChannelNo);
    v.Field("uiDomain", r.uiDomain);
    v.Field("uiCmdId", r.uiCmdId);
    v.Field("ucResult", r.ucResult);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_UndoneActions_S &r) {
    v.Field("uiRuleId", r.uiRuleId);
    v.Unread("reserved0", r.reserved0);
    v.Field("acExtendVal", r.acExtendVal);
    v.Trailing("usNum", r.usNum, "astUndoneActs", r.astUndoneActs);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_OtapBaseInfo_S &r) {
    v.Field("uiModelType", r.uiModelType);
    v.Field("acMethodType", r.acMethodType);
    v.Field("acSceneType", r.acSceneType);
    v.Field("acResourceId", r.acResourceId);
    v.Field("acResourceType", r.acResourceType);
    v.Field("acDomain", r.acDomain);
    v.Field("acIdentifier", r.acIdentifier);
    v.Field("acSerial", r.acSerial);
    v.Field("acSubSerial", r.acSubSerial);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_OtapBody_S &r) {
    v.Unread("ucMsgType", r.ucMsgType);
    v.Unread("reverse", r.reverse);
    v.Unread("uiPayloadLen", r.uiPayloadLen);
    v.Payload("acPayload", r.acPayload);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_OtapMsg_S &r) {
    v.Field("stBaseInfo", r.stBaseInfo);
    v.Field("stBody", r.stBody);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_UndoneActions_V3_S &r) {
    v.Trailing("usNum", r.usNum, "pstActions", r.pstActions);
}

/// The event that triggered scenes: an OTAP message of which only the payload counts.
struct SourceEvent {
    tqDevSDK_SmartControl_OtapMsg_S &message;
};

template <typename Visitor>
void Fields(Visitor &v, SourceEvent &r) {
    v.Unread("stBaseInfo", r.message.stBaseInfo);
    v.Field("stBody", r.message.stBody);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_UndoneSceneList_S &r) {
    SourceEvent event{r.stSrcEvent};
    v.Field("stSrcEvent", event);
    v.Trailing("uiNum", r.uiNum, "uiSceneList", r.uiSceneList);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_LanDevice &r) {
    v.Field("acDeviceId", r.acDeviceId);
    v.Field("uiVersion", r.uiVersion);
    v.Unread("obligate", r.obligate);
}

template <typename Visitor>
void Fields(Visitor &v, tqDevSDK_SmartControl_ReportLanCentor &r) {
    v.Field("acCenterDeviceId", r.acCenterDeviceId);
    v.Field("uiVersion", r.uiVersion);
    v.Field("acExtend", r.acExtend);
    v.Field("uiEnable", r.uiEnable);
    v.List("uiLanDeviceNum", r.uiLanDeviceNum, "pLanDevice", r.pLanDevice);
}

// The private parts of a log record exist twice, in the application's record and in the host's, with the
// same fields; one that no other record has selects the list.

template <typename Visitor, typename Record>
auto Fields(Visitor &v, Record &r) -> decltype(void(r.acSdkVer)) {
    v.Field("acSdkVer", r.acSdkVer);
    v.Field("acDevType", r.acDevType);
    v.Field("acEvent", r.acEvent);
}

template <typename Visitor, typename Record>
auto Fields(Visitor &v, Record &r) -> decltype(void(r.acNetIfName)) {
    v.Field("ucNetIf_IsActive", r.ucNetIf_IsActive);
    v.Field("ucUserid_IsSwitched", r.ucUserid_IsSwitched);
    v.Field("ucDas_IsOnline", r.ucDas_IsOnline);
    v.Field("ucSock_ReInit", r.ucSock_ReInit);
    v.Field("acIpAddr", r.acIpAddr);
    v.Field("acNetMask", r.acNetMask);
    v.Field("acNetIfName", r.acNetIfName);
}

template <typename Visitor, typename Record>
auto Fields(Visitor &v, Record &r) -> decltype(void(r.ucHasRule)) {
    v.Field("ucHasRule", r.ucHasRule);
    v.Unread("reserved", r.reserved);
    v.Field("uiRuleRootNum", r.uiRuleRootNum);
    v.Field("uiSelfEvtCnt", r.uiSelfEvtCnt);
    v.Field("uiLanEvtCnt", r.uiLanEvtCnt);
    v.Field("uiSelfActCnt", r.uiSelfActCnt);
    v.Field("uiLanActSuccCnt", r.uiLanActSuccCnt);
    v.Field("uiLanActFailCnt", r.uiLanActFailCnt);
    v.Field("uiUndoActCnt", r.uiUndoActCnt);
    v.Field("uiSelfActRetCnt", r.uiSelfActRetCnt);
    v.Field("uiLanActRetCnt", r.uiLanActRetCnt);
}

template <typename Visitor, typename Record>
auto Fields(Visitor &v, Record &r) -> decltype(void(r.uiLanEvtSuccCnt)) {
    v.Field("uiLanEvtSuccCnt", r.uiLanEvtSuccCnt);
    v.Field("uiLanEvtFailCnt", r.uiLanEvtFailCnt);
    v.Field("uiLanActCnt", r.uiLanActCnt);
    v.Field("uiLanActRetSuccCnt", r.uiLanActRetSuccCnt);
    v.Field("uiLanActRetFailCnt", r.uiLanActRetFailCnt);
}

template <typename Visitor, typename Record>
auto Fields(Visitor &v, Record &r) -> decltype(void(r.uiReqRetrySuccCnt)) {
    v.Field("uiReqRetrySuccCnt", r.uiReqRetrySuccCnt);
    v.Field("uiReqRetryFailCnt", r.uiReqRetryFailCnt);
}

namespace {

/// The writing visitor: appends the fields to a JSON object.
class RecordWriter {
public:
    explicit RecordWriter(Json &object) : object_(object) {}

    template <typename Number>
    std::enable_if_t<std::is_integral_v<Number>> Field(const char *name, Number field) {
        object_[name] = field;
    }

    template <std::size_t N>
    void Field(const char *name, const char (&field)[N]) {
        object_[name] = FieldText(field);
    }

    template <std::size_t N>
    void Field(const char *name, const UINT8 (&field)[N]) {
        object_[name] = Json::array_t(std::begin(field), std::end(field));
    }

    template <typename Record>
    std::enable_if_t<std::is_class_v<Record>> Field(const char *name, Record &record) {
        object_[name] = Write(record);
    }

    template <typename Type>
    void Unread(const char *, const Type &) {}

    template <typename Count, typename Number, std::size_t N>
    void Values(const char *count_name, Count count, const char *name, const Number (&values)[N]) {
        object_[count_name] = count;
        object_[name] = Json::array_t(values, values + std::min<std::size_t>(count, N));
    }

    template <typename Count, typename Item>
    void List(const char *count_name, Count count, const char *name, Item *items) {
        object_[count_name] = count;
        Json &array = object_[name] = Json::array();
        for (std::size_t i = 0; items != nullptr && i < count; ++i) {
            array.push_back(Write(items[i]));
        }
    }

private:
    template <typename Record>
    static Json Write(Record &record) {
        Json object = Json::object();
        RecordWriter writer(object);
        Fields(writer, record);
        return object;
    }

    Json &object_;
};

// ---- Messages to the device. ----

template <typename Record>
void WriteRecord(const tqDevSDK_SmartControl_msg_to_dev &message, Json &line) {
    RecordWriter writer(line);
    Fields(writer, As<Record>(message.data));
}

void WriteValue(const tqDevSDK_SmartControl_msg_to_dev &message, Json &line) {
    line["value"] = As<UINT32>(message.data);
}

void WriteRuleText(const tqDevSDK_SmartControl_msg_to_dev &message, Json &line) {
    const auto &rule = As<tqDevSDK_SmartControl_Rule_S>(message.data);
    line["uiVersion"] = rule.uiVersion;
    line["rule"] = rule.rule == nullptr ? Json() : ParseOrText(rule.rule);
    line["len"] = message.len;
}

/// What a message type is called and how its record is shown.
struct MessageKind {
    int type;
    const char *name;
    void (*write)(const tqDevSDK_SmartControl_msg_to_dev &message, Json &line);
};

constexpr MessageKind kMessages[] = {
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION, "CHIME_ALARM_ACTION",
     WriteRecord<tqDevSDK_SmartControl_SetChimeAlarmAction>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES, "CONFIG_RULES",
     WriteRecord<tqDevSDK_SmartControl_ConfigRules>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC, "CAPTURE_PIC",
     WriteRecord<tqDevSDK_SmartControl_device_capture_info>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS, "ICR_DSS", WriteRecord<tqDevSDK_SmartControl_msg_IcrDss_S>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME, "SCREEN_OVERTIME", WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME, "VIDEO_REC_TIME", WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE, "SCREEN_AUTO_ROUSE", WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS, "SCREEN_LIGHTNESS", WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO, "VIDEO", WriteRecord<tqDevSDK_SmartControl_Action_Common_S>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO, "PIC_AND_VIDEO",
     WriteRecord<tqDevSDK_SmartControl_Action_Pic_And_Video_S>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP, "SLEEP", WriteRecord<tqDevSDK_SmartControl_Action_Sleep_S>},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES, "CONFIG_AIRULES", WriteRuleText},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES, "CONFIG_SCENE_RULES", WriteRuleText},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE, "MANUAL_SCENE",
     WriteRecord<tqDevSDK_SmartControl_ManualScene_S>},
};
static_assert(std::size(kMessages) == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MAX);

// ---- Log records, which exist twice: the application's, and the host's with what the module adds. ----

template <typename Visitor, typename Record>
void LogFields(Visitor &v, Record &r) {
    v.Field("uiStartTime_sec", r.uiStartTime_sec);
    v.Field("uiStartTime_usec", r.uiStartTime_usec);
    v.Field("uiEndTime_sec", r.uiEndTime_sec);
    v.Field("uiEndTime_usec", r.uiEndTime_usec);
    v.Field("acDevId", r.acDevId);
    if constexpr (std::is_same_v<Record, tqDevSDK_DCLog_LanLinkageParam_S>) {
        v.Field("acDevType", r.acDevType);
        v.Field("acFwVer", r.acFwVer);
    }
    v.Field("uiLog_Seq", r.uiLog_Seq);
}

using ApplicationPrivate = tqDevSDK_SmartControl_DCLog_LanLink_PrivParam_U;
using HostPrivate = tqDevSDK_DCLog_LanLinkage_PrivParam_U;

template <auto kMember, typename Visitor, typename Union>
void PrivateField(Visitor &v, const char *member, Union &r) {
    v.Field(member, r.*kMember);
}

/// The member of both private parts that a system name selects.
struct PrivateKind {
    const char *system_name;
    const char *member;
    void (*read)(RecordReader &v, const char *member, ApplicationPrivate &r);
    void (*write)(RecordWriter &v, const char *member, HostPrivate &r);
};

constexpr PrivateKind kPrivateKinds[] = {
    {"device_lan_smart_run", "stRunEvent", PrivateField<&ApplicationPrivate::stRunEvent>,
     PrivateField<&HostPrivate::stRunEvent>},
    {"device_lan_smart_network", "stNetParam", PrivateField<&ApplicationPrivate::stNetParam>,
     PrivateField<&HostPrivate::stNetParam>},
    {"device_lan_smart_center_statistics", "stCentStatis", PrivateField<&ApplicationPrivate::stCentStatis>,
     PrivateField<&HostPrivate::stCentStatis>},
    {"device_lan_smart_member_statistics", "stMembStatis", PrivateField<&ApplicationPrivate::stMembStatis>,
     PrivateField<&HostPrivate::stMembStatis>},
    {"device_lan_smart_comm_statistics", "stCommStatis", PrivateField<&ApplicationPrivate::stCommStatis>,
     PrivateField<&HostPrivate::stCommStatis>},
};

/// Null for a name that selects none.
const PrivateKind *FindPrivate(const std::string &system_name) {
    const auto found = std::find_if(std::begin(kPrivateKinds), std::end(kPrivateKinds),
                                    [&](const PrivateKind &row) { return system_name == row.system_name; });
    return found == std::end(kPrivateKinds) ? nullptr : found;
}

/// The unions around the member may be left out, one or both.
void ReadPrivatePart(RecordReader &v, const PrivateKind *kind, ApplicationPrivate &r) {
    for (const char *around : {"unPrivPara", "unLanLinkPriv"}) {
        if (v.Object().Find(around) != nullptr) {
            RecordReader inner = v.Inner(around);
            ReadPrivatePart(inner, kind, r);
            inner.Done();
            return;
        }
    }
    if (kind != nullptr) {
        kind->read(v, kind->member, r);
    }
}

// ---- Reports of the device. ----

/// Makes room for a report's record.
template <typename Record>
Record &Allocate(Report &report, std::size_t length = sizeof(Record)) {
    report.record.reset(AllocateItems<UINT8>(length));
    report.length = static_cast<UINT32>(length);
    return *static_cast<Record *>(report.record.get());
}

template <typename Record>
void ReadPlain(RecordReader &reader, Report &report) {
    Fields(reader, Allocate<Record>(report));
}

/// A record that ends in an array of at most `kMost`, `kOffset` bytes into it; both in one block.
template <typename Record, typename Item, std::size_t kOffset, std::size_t kMost>
void ReadTrailing(RecordReader &reader, const char *list, Report &report) {
    const std::size_t count = reader.Array(list, kMost).size();
    Fields(reader, Allocate<Record>(report, std::max(sizeof(Record), kOffset + count * sizeof(Item))));
}

void ReadUndoneActions(RecordReader &reader, Report &report) {
    using Record = tqDevSDK_SmartControl_UndoneActions_S;
    ReadTrailing<Record, tqDevSDK_SmartControl_ConfigRule_Actions, offsetof(Record, astUndoneActs),
                 UINT16_MAX>(reader, "astUndoneActs", report);
}

void ReadUndoneActionsV3(RecordReader &reader, Report &report) {
    using Record = tqDevSDK_SmartControl_UndoneActions_V3_S;
    ReadTrailing<Record, tqDevSDK_SmartControl_OtapMsg_S, offsetof(Record, pstActions), UINT16_MAX>(
        reader, "pstActions", report);
}

void ReadUndoneScene(RecordReader &reader, Report &report) {
    using Record = tqDevSDK_SmartControl_UndoneSceneList_S;
    ReadTrailing<Record, UINT32, offsetof(Record, uiSceneList), UINT32_MAX>(reader, "uiSceneList", report);
}

void ReadDclog(RecordReader &reader, Report &report) {
    report.dclog = true;
    auto &record = Allocate<tqDevSDK_SmartControl_DCLogParam_S>(report);
    reader.Field("acSystemName", record.acSystemName);
    LogFields(reader, record);
    ReadPrivatePart(reader, FindPrivate(FieldText(record.acSystemName)), record.unPrivPara.unLanLinkPriv);
}

struct ReportKind {
    const char *name;
    int type;
    void (*read)(RecordReader &reader, Report &report);
};

constexpr ReportKind kReports[] = {
    {"event", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, ReadPlain<tqDevSDK_SmartControl_Event>},
    {"action_result", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT,
     ReadPlain<tqDevSDK_SmartControl_Info_ActionResult>},
    {"undone_actions", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, ReadUndoneActions},
    {"undone_actions_v3", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, ReadUndoneActionsV3},
    {"undone_scene_v3", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3, ReadUndoneScene},
    {"lan_centor", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR,
     ReadPlain<tqDevSDK_SmartControl_ReportLanCentor>},
    {"lan_centor_v3", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3,
     ReadPlain<tqDevSDK_SmartControl_ReportLanCentor>},
    {"dclog", tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, ReadDclog},
};

} // namespace

Json DeviceLine(const tqDevSDK_SmartControl_msg_to_dev &message) {
    Json line = {{"to", "device"}};
    const auto kind = std::find_if(std::begin(kMessages), std::end(kMessages),
                                   [&](const MessageKind &row) { return row.type == message.type; });
    if (kind == std::end(kMessages)) {
        line["msg"] = message.type;
        return line;
    }
    line["msg"] = kind->name;
    kind->write(message, line);
    return line;
}

Json DclogLine(const tqDevSDK_DCLog_LanLinkageParam_S &record) {
    auto r = record;
    const std::string system_name = FieldText(r.acSystemName);
    Json line = {{"to", "platform"}, {"dclog", system_name}};
    RecordWriter v(line);
    LogFields(v, r);
    Json &private_part = line["unPrivPara"];
    if (const PrivateKind *kind = FindPrivate(system_name)) {
        RecordWriter writer(private_part);
        kind->write(writer, kind->member, r.unPrivPara);
    }
    return line;
}

Report ReadReport(ObjectReader line) {
    const std::string name = line.Text("report", SIZE_MAX);
    const ReportKind &kind = RowNamed(name, "report", kReports);
    Report report;
    report.type = kind.type;
    RecordReader reader(std::move(line), report.storage);
    kind.read(reader, report);
    reader.Done();
    return report;
}

} // namespace tqgateway
