// SPDX-License-Identifier: Apache-2.0
// Each record's fields, and the tables of messages and reports that carry them.
#include "lines/records.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <type_traits>

#include "lines/names.h"

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

/// The describing visitor: what the reading one takes, for a person.
class RecordDescriber {
public:
    explicit RecordDescriber(std::vector<FieldHelp> &fields, std::string path = {})
        : fields_(fields), path_(std::move(path)) {}

    template <typename Number>
    std::enable_if_t<std::is_integral_v<Number>> Field(const char *name, Number &) {
        Add(name, Range<Number>());
    }

    template <std::size_t N>
    void Field(const char *name, const char (&)[N]) {
        Add(name, "text of at most " + std::to_string(N) + " bytes");
    }

    template <std::size_t N>
    void Field(const char *name, const UINT8 (&)[N]) {
        Add(name, "array of at most " + std::to_string(N) + " numbers, " + Range<UINT8>());
    }

    template <typename Record>
    std::enable_if_t<std::is_class_v<Record>> Field(const char *name, Record &record) {
        RecordDescriber within(fields_, path_ + name + '.');
        Fields(within, record);
    }

    template <typename Type>
    void Unread(const char *name, Type &field) {
        const std::size_t first = fields_.size();
        Field(name, field);
        for (std::size_t i = first; i < fields_.size(); ++i) {
            fields_[i].takes += " (may be missing)";
        }
    }

    template <typename Count, typename Number, std::size_t N>
    void Values(const char *count_name, Count, const char *name, const Number (&)[N]) {
        Add(name, "array of at most " + std::to_string(N) + " numbers, " + Range<Number>());
        Add(count_name, Range<Count>() + " (may be missing: as many as there are)");
    }

    template <typename Count, typename Item>
    void List(const char *count_name, Count count, const char *name, Item *items) {
        Trailing(count_name, count, name, items);
    }

    template <typename Count, typename Item>
    void Trailing(const char *count_name, Count, const char *name, Item *) {
        const std::string most = std::to_string(std::numeric_limits<Count>::max());
        if constexpr (std::is_integral_v<Item>) {
            Add(name, "array of at most " + most + " numbers, " + Range<Item>());
        } else {
            Add(name, "array of at most " + most);
            RecordDescriber within(fields_, path_ + name + "[].");
            Item item{};
            Fields(within, item);
        }
        Add(count_name, "as many as there are (may be missing)");
    }

    void Payload(const char *name, const char *) {
        Add(name, "a text, or JSON that is printed as one; null for none");
    }

private:
    template <typename Number>
    static std::string Range() {
        return std::to_string(std::numeric_limits<Number>::min()) + " to " +
               std::to_string(std::numeric_limits<Number>::max());
    }

    void Add(const char *name, std::string takes) { fields_.push_back({path_ + name, std::move(takes)}); }

    std::vector<FieldHelp> &fields_;
    std::string path_;
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

template <typename Record>
constexpr MessageKind Message(int type, const char *name) {
    return {type, name, sizeof(Record), WriteRecord<Record>};
}

constexpr MessageKind kMessages[] = {
    Message<tqDevSDK_SmartControl_SetChimeAlarmAction>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION,
                                                       "CHIME_ALARM_ACTION"),
    Message<tqDevSDK_SmartControl_ConfigRules>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES,
                                               "CONFIG_RULES"),
    Message<tqDevSDK_SmartControl_device_capture_info>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC,
                                                       "CAPTURE_PIC"),
    Message<tqDevSDK_SmartControl_msg_IcrDss_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS, "ICR_DSS"),
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME, "SCREEN_OVERTIME", sizeof(UINT32), WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME, "VIDEO_REC_TIME", sizeof(UINT32), WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE, "SCREEN_AUTO_ROUSE", sizeof(UINT32), WriteValue},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS, "SCREEN_LIGHTNESS", sizeof(UINT32), WriteValue},
    Message<tqDevSDK_SmartControl_Action_Common_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO, "VIDEO"),
    Message<tqDevSDK_SmartControl_Action_Pic_And_Video_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO,
                                                          "PIC_AND_VIDEO"),
    Message<tqDevSDK_SmartControl_Action_Sleep_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP, "SLEEP"),
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES, "CONFIG_AIRULES", sizeof(tqDevSDK_SmartControl_Rule_S),
     WriteRuleText},
    {TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES, "CONFIG_SCENE_RULES",
     sizeof(tqDevSDK_SmartControl_Rule_S), WriteRuleText},
    Message<tqDevSDK_SmartControl_ManualScene_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE,
                                                 "MANUAL_SCENE"),
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
    void (*describe)(RecordDescriber &v, const char *member, ApplicationPrivate &r);
};

constexpr PrivateKind kPrivateKinds[] = {
    {"device_lan_smart_run", "stRunEvent", PrivateField<&ApplicationPrivate::stRunEvent>,
     PrivateField<&HostPrivate::stRunEvent>, PrivateField<&ApplicationPrivate::stRunEvent>},
    {"device_lan_smart_network", "stNetParam", PrivateField<&ApplicationPrivate::stNetParam>,
     PrivateField<&HostPrivate::stNetParam>, PrivateField<&ApplicationPrivate::stNetParam>},
    {"device_lan_smart_center_statistics", "stCentStatis", PrivateField<&ApplicationPrivate::stCentStatis>,
     PrivateField<&HostPrivate::stCentStatis>, PrivateField<&ApplicationPrivate::stCentStatis>},
    {"device_lan_smart_member_statistics", "stMembStatis", PrivateField<&ApplicationPrivate::stMembStatis>,
     PrivateField<&HostPrivate::stMembStatis>, PrivateField<&ApplicationPrivate::stMembStatis>},
    {"device_lan_smart_comm_statistics", "stCommStatis", PrivateField<&ApplicationPrivate::stCommStatis>,
     PrivateField<&HostPrivate::stCommStatis>, PrivateField<&ApplicationPrivate::stCommStatis>},
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

template <typename Record>
void DescribePlain(RecordDescriber &v) {
    const HeapBlock record(AllocateItems<Record>(1));
    Fields(v, *static_cast<Record *>(record.get()));
}

void DescribeDclog(RecordDescriber &v) {
    tqDevSDK_SmartControl_DCLogParam_S record{};
    v.Field("acSystemName", record.acSystemName);
    LogFields(v, record);
    for (const PrivateKind &kind : kPrivateKinds) {
        kind.describe(v, kind.member, record.unPrivPara.unLanLinkPriv);
    }
}

struct ReportKind {
    const char *name;
    int type;
    void (*read)(RecordReader &reader, Report &report);
    void (*describe)(RecordDescriber &v);
    const char *summary;
    const char *sample;
};

constexpr ReportKind kReports[] = {
    {"event", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, ReadPlain<tqDevSDK_SmartControl_Event>,
     DescribePlain<tqDevSDK_SmartControl_Event>, "Something happened on a channel.",
     R"({"report":"event","channel":1,"value":5})"},
    {"action_result", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT,
     ReadPlain<tqDevSDK_SmartControl_Info_ActionResult>,
     DescribePlain<tqDevSDK_SmartControl_Info_ActionResult>, "An action was carried out, or failed.",
     R"({"report":"action_result","uiRuleId":1,"acDeviceId":"CAMERA001","uiChannelNo":1,"uiDomain":7000,)"
     R"("uiCmdId":20034,"ucResult":0})"},
    {"undone_actions", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, ReadUndoneActions,
     DescribePlain<tqDevSDK_SmartControl_UndoneActions_S>, "Actions that are left to the platform.",
     R"({"report":"undone_actions","uiRuleId":1,"acExtendVal":"r-1","astUndoneActs":[{"uiDomain":7000,)"
     R"("uiCmdId":20034,"acDevId":"CAMERA002","ucChannel":1,"ausValue":[1,3],"uiDelay":0}]})"},
    {"undone_actions_v3", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, ReadUndoneActionsV3,
     DescribePlain<tqDevSDK_SmartControl_UndoneActions_V3_S>,
     "Actions that are left to the platform, on the model channel.",
     R"({"report":"undone_actions_v3","pstActions":[{"stBaseInfo":{"uiModelType":2,"acMethodType":"set",)"
     R"("acSceneType":"a","acResourceId":"1","acResourceType":"Video","acDomain":"D","acIdentifier":"I",)"
     R"("acSerial":"","acSubSerial":""},"stBody":{"acPayload":{"params":{"on":true}}}}]})"},
    {"undone_scene_v3", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3, ReadUndoneScene,
     DescribePlain<tqDevSDK_SmartControl_UndoneSceneList_S>,
     "Scenes that are left to the platform, and the event that calls for them.",
     R"({"report":"undone_scene_v3","stSrcEvent":{"stBody":{"acPayload":"{\"motion\":1}"}},"uiSceneList":[42]})"},
    {"lan_centor", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR,
     ReadPlain<tqDevSDK_SmartControl_ReportLanCentor>, DescribePlain<tqDevSDK_SmartControl_ReportLanCentor>,
     "The center of the LAN and its devices.",
     R"({"report":"lan_centor","acCenterDeviceId":"HUB000001","uiVersion":3,"acExtend":"x","uiEnable":1,)"
     R"("pLanDevice":[{"acDeviceId":"CAMERA001","uiVersion":105}]})"},
    {"lan_centor_v3", TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3,
     ReadPlain<tqDevSDK_SmartControl_ReportLanCentor>, DescribePlain<tqDevSDK_SmartControl_ReportLanCentor>,
     "The center of the LAN and its devices, on the model channel.",
     R"({"report":"lan_centor_v3","acCenterDeviceId":"HUB000001","uiVersion":3,"acExtend":"x","uiEnable":1,)"
     R"("pLanDevice":[{"acDeviceId":"CAMERA001","uiVersion":105}]})"},
    {"dclog", tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, ReadDclog, DescribeDclog,
     "A record for the data-collection log.",
     R"({"report":"dclog","acSystemName":"device_lan_smart_comm_statistics","uiStartTime_sec":1760000000,)"
     R"("uiStartTime_usec":0,"uiEndTime_sec":1760003600,"uiEndTime_usec":5,"acDevId":"HUB000001",)"
     R"("uiLog_Seq":1,"stCommStatis":{"uiReqRetrySuccCnt":7,"uiReqRetryFailCnt":1}})"},
};

} // namespace

const MessageKind *FindMessage(int type) {
    const auto kind = std::find_if(std::begin(kMessages), std::end(kMessages),
                                   [=](const MessageKind &row) { return row.type == type; });
    return kind == std::end(kMessages) ? nullptr : kind;
}

Json DeviceLine(const tqDevSDK_SmartControl_msg_to_dev &message) {
    Json line = {{"to", "device"}};
    const MessageKind *kind = FindMessage(message.type);
    if (kind == nullptr) {
        line["msg"] = message.type;
        return line;
    }
    line["msg"] = kind->name;
    kind->write(message, line);
    return line;
}

Json ActionJson(const tqDevSDK_SmartControl_ConfigRule_Actions &action) {
    auto r = action;
    Json object = Json::object();
    RecordWriter writer(object);
    Fields(writer, r);
    return object;
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

std::vector<ReportHelp> DescribeReports() {
    std::vector<ReportHelp> reports;
    for (const ReportKind &kind : kReports) {
        std::vector<FieldHelp> fields;
        RecordDescriber describer(fields);
        kind.describe(describer);
        reports.push_back({kind.name, kind.summary, kind.sample, std::move(fields)});
    }
    return reports;
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
