// SPDX-License-Identifier: Apache-2.0
// Every message but the rules. The floor is the plain use of the JSON or XML library for the same message;
// where a message needs neither library there is none.
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dlfcn.h>

#include "MarkupSTL.h"
#include "floor.h"
#include "tqdev_host.h"

namespace {

constexpr double kCommandLimit = 1.2;
constexpr double kSceneLimit = 1.4;
constexpr double kReportLimit = 1.05;
constexpr double kXmlLimit = 1.3;

// ---- The floor's steps ----

void ParseAndDelete(const char *text) {
    bscJSON *root = bscJSON_Parse(text);
    Need(root != nullptr, "parsing");
    bscJSON_Delete(root);
}

void AnswerResult() {
    bscJSON *root = bscJSON_CreateObject();
    Num(root, "result", 0);
    PrintAndDelete(root);
}

template <std::size_t N>
void Set(char (&field)[N], const char *text) {
    Need(strlen(text) < N, "a text that fits");
    strcpy(field, text);
}

// ---- Commands ----

// The kernel's record of a command, which goes straight to the extension that the module loaded.
std::function<void()> Deliver(int command, const char *body) {
    const std::optional<tqdev_sdk_kernel_extend> extend = tqhost::Extension(7000);
    Need(extend.has_value(), "loading the extension");
    tqdev_sdk_kernel_submsg msg{};
    msg.msg_seq = 7;
    msg.buf = body;
    msg.buf_len = static_cast<UINT32>(strlen(body));
    msg.msg_domain_id = 7000;
    msg.msg_command_id = command;
    Set(msg.command_ver, "v1.0.0");
    return [route = extend->tqdev_sdk_kernel_extend_data_route, msg] { route(&msg, nullptr); };
}

Case Command(const char *name, int command, const char *body) {
    return {name, kCommandLimit, 0, [=]() -> Contestants {
                return {{"module", Deliver(command, body)}, {"floor", [=] {
                                                                 ParseAndDelete(body);
                                                                 AnswerResult();
                                                             }}};
            }};
}

constexpr const char *kSignalQuery = R"({"macList":[{"deviceSerial":"CHIME0001","mac":"aa:bb:cc:00:00:01"},)"
                                     R"({"deviceSerial":"CHIME0002","mac":"aa:bb:cc:00:00:02"}]})";

int AnswerSignals(tqDevSDK_SmartControl_runtime_info &query) {
    const auto *info = reinterpret_cast<const tqDevSDK_Smartcontrol_ap_signal_info *>(query.data);
    for (int i = 0; i < info->num; ++i) {
        info->ap_signal_result[i].iSignalStrength = 40 + i;
    }
    Set(info->ap_signal_result[info->num - 1].unInfo.stRoute.acSSID, "home");
    return 0;
}

Contestants SignalQuery() {
    g_on_query = AnswerSignals;
    return {{"module", Deliver(20058, kSignalQuery)},
            {"floor", [] {
                 ParseAndDelete(kSignalQuery);
                 bscJSON *root = bscJSON_CreateObject();
                 Num(root, "result", 0);
                 bscJSON *entries = Attach(root, "response", bscJSON_CreateArray());
                 int signal = 40;
                 for (const char *name : {"CHIME0001", "CHIME0002", "home"}) {
                     bscJSON *entry = Append(entries);
                     Str(entry, "type", signal == 42 ? "router" : "chime");
                     Str(entry, "name", name);
                     Num(entry, "signal", signal++);
                 }
                 PrintAndDelete(root);
             }}};
}

Contestants ManualScene() {
    static const char kBody[] = R"({"ruleId":"42"})";
    const std::optional<tq_domain_reg> domain = tqhost::ModelDomain("TQLink");
    Need(domain.has_value(), "registering the model domain");
    tq_basic_info info{};
    info.type = tq_service;
    Set(info.resource_id, "1");
    Set(info.resource_type, "Video");
    Set(info.domain, "TQLink");
    Set(info.identifier, "ExecManualScene");
    tq_model_msg msg = tq_model_msg();
    msg.type = model_data_type_object;
    msg.length = static_cast<int>(strlen(kBody));
    msg.value = kBody;
    return {{"module", [router = domain->das_req_router, info,
                        msg]() mutable { Need(router(&info, "operate", &msg, 7, 0) == 0, "the reply"); }},
            {"floor", [] {
                 ParseAndDelete(kBody);
                 PrintAndDelete(bscJSON_CreateObject());
             }}};
}

// ---- Reports ----

std::function<void()> Msg2Server(int type, void *record) {
    return [msg = tqDevSDK_SmartControl_Msg2Server_S{type, record, 0}] {
        Need(tqDevSDK_SmartControl_Msg2Server(&msg) == 0, "the report");
    };
}

// Zeroed memory for a record that ends in an array. It stays for the life of the process.
template <typename Record>
Record *NewRecord(std::size_t extra = 0) {
    return static_cast<Record *>(calloc(1, sizeof(Record) + extra));
}

Contestants Event() {
    auto *event = NewRecord<tqDevSDK_SmartControl_Event>();
    *event = {1, 5};
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, event)},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 Num(root, "channelNo", 1);
                 Num(root, "value", 5);
                 PrintAndDelete(root);
             }}};
}

Contestants ActionResult() {
    auto *result = NewRecord<tqDevSDK_SmartControl_Info_ActionResult>();
    *result = {17, "CAMERA001", 1, 7000, 20034, 0};
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT, result)},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 Num(root, "id", 17);
                 Str(root, "deviceId", "CAMERA001");
                 Num(root, "channelNo", 1);
                 Num(root, "domain", 7000);
                 Num(root, "cmdId", 20034);
                 Num(root, "result", 0);
                 Str(root, "time", "125-10-21 09:35:00");
                 PrintAndDelete(root);
             }}};
}

Contestants UndoneActions() {
    using Action = tqDevSDK_SmartControl_ConfigRule_Actions;
    static const Action kActions[] = {{7000, 20034, "CAMERA002", 1, 2, {1, 3}, 0},
                                      {7000, 20036, "CAMERA003", 1, 2, {2, 30}, 5}};
    auto *undone = NewRecord<tqDevSDK_SmartControl_UndoneActions_S>(sizeof kActions);
    undone->uiRuleId = 17;
    undone->usNum = 2;
    Set(undone->acExtendVal, "r-1");
    memcpy(undone->astUndoneActs, kActions, sizeof kActions);
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, undone)},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 Num(root, "id", 17);
                 bscJSON *actions = Attach(root, "undoneActions", bscJSON_CreateArray());
                 for (const Action &action : kActions) {
                     bscJSON *object = Append(actions);
                     Num(object, "domain", action.uiDomain);
                     Num(object, "cmdId", action.uiCmdId);
                     Str(object, "deviceId", action.acDevId);
                     Num(object, "channelNo", action.ucChannel);
                     bscJSON *params = Attach(object, "params", bscJSON_CreateObject());
                     Num(params, "value1", action.ausValue[0]);
                     Num(params, "value2", action.ausValue[1]);
                     Num(object, "delay", action.uiDelay);
                     Str(object, "extendValue", "r-1");
                 }
                 PrintAndDelete(root);
             }}};
}

Contestants UndoneActionsV3() {
    static const char kPayload[] = R"({"params":{"seconds":10,"volume":3}})";
    auto *undone =
        NewRecord<tqDevSDK_SmartControl_UndoneActions_V3_S>(sizeof(tqDevSDK_SmartControl_OtapMsg_S));
    undone->usNum = 1;
    undone->pstActions[0] = {{2, "set", "a", "1", "Video", "Siren", "Sound", "SIREN0001", ""},
                             {0, {}, 0, kPayload}};
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3, undone)},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 bscJSON *action = Append(Attach(root, "Actions", bscJSON_CreateArray()));
                 Str(action, "URL", "/a/SIREN0001/global/1-Video/model/service/set/Siren/Sound");
                 bscJSON *payload = bscJSON_Parse(kPayload);
                 const bscJSON *params = bscJSON_GetObjectItem(payload, "params");
                 Attach(action, "params", bscJSON_Duplicate(params, true));
                 bscJSON_Delete(payload);
                 PrintAndDelete(root);
             }}};
}

Contestants UndoneSceneV3() {
    static const char kPayload[] = R"({"motion":true})";
    auto *undone = NewRecord<tqDevSDK_SmartControl_UndoneSceneList_S>(2 * sizeof(UINT32));
    undone->stSrcEvent.stBody.acPayload = kPayload;
    undone->uiNum = 2;
    undone->uiSceneList[0] = 42;
    undone->uiSceneList[1] = 43;
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3, undone)},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 Str(root, "event", kPayload);
                 bscJSON *ids = Attach(root, "ruleIds", bscJSON_CreateArray());
                 bscJSON_AddItemToArray(ids, bscJSON_CreateString("42"));
                 bscJSON_AddItemToArray(ids, bscJSON_CreateString("43"));
                 PrintAndDelete(root);
             }}};
}

tqDevSDK_SmartControl_LanDevice g_lan_members[] = {{"CAMERA001", 105, 0}, {"SIREN0001", 7, 0}};

tqDevSDK_SmartControl_ReportLanCentor *LanCenter() {
    auto *center = NewRecord<tqDevSDK_SmartControl_ReportLanCentor>();
    *center = {"HUB000001", 3, "x", 1, 2, g_lan_members};
    return center;
}

Contestants LanCentor() {
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR, LanCenter())},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 Str(root, "centerDeviceSerial", "HUB000001");
                 Num(root, "enable", 1);
                 Str(root, "extend", "1");
                 bscJSON *members = Attach(root, "devList", bscJSON_CreateArray());
                 for (const auto &member : g_lan_members) {
                     Str(Append(members), "deviceSerial", member.acDeviceId);
                 }
                 PrintAndDelete(root);
             }}};
}

Contestants LanCentorV3() {
    return {{"module", Msg2Server(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3, LanCenter())},
            {"floor", [] {
                 bscJSON *root = bscJSON_CreateObject();
                 Str(root, "centerSerialNumber", "HUB000001");
                 Num(root, "sceneVersion", 3);
                 Num(root, "enabled", 1);
                 Str(root, "extend", "x");
                 bscJSON *members = Attach(root, "DevList", bscJSON_CreateArray());
                 for (const auto &member : g_lan_members) {
                     bscJSON *object = Append(members);
                     Str(object, "serialNumber", member.acDeviceId);
                     Num(object, "softwareVersion", member.uiVersion);
                 }
                 PrintAndDelete(root);
             }}};
}

Contestants Dclog() {
    auto *param = NewRecord<tqDevSDK_SmartControl_DCLogParam_S>();
    Set(param->acSystemName, "device_lan_smart_center_statistics");
    Set(param->acDevId, "HUB000001");
    return {{"module",
             [msg = tqDevSDK_SmartControl_DclogMsg_S{tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, param, 0}] {
                 Need(tqDevSDK_SmartControl_PushDclog(&msg) == 0, "the record");
             }}};
}

// ---- Opaque rule texts ----

const std::string kRuleText(1024, 'r');

int AnswerRuleText(tqDevSDK_SmartControl_runtime_info &query) {
    reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = strdup(kRuleText.c_str());
    return 0;
}

Contestants TextToDevice() {
    const tqDevSDK_Shadow_Service_S_v3 *service = tqhost::ShadowServiceV3("SceneLink");
    Need(service != nullptr, "registering the key");
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.type = shd_data_type_string;
    value.value = const_cast<char *>(kRuleText.c_str());
    return {{"module", [parse = service->business2dev, value] {
                 tqDevSDK_Shadow_ParseSync_Param_S param{};
                 Need(parse(&value, &param) == 0, "taking the text");
             }}};
}

Contestants TextToCloud() {
    g_on_query = AnswerRuleText;
    const tqDevSDK_Shadow_Service_S_v3 *service = tqhost::ShadowServiceV3("SceneLink");
    Need(service != nullptr, "registering the key");
    return {{"module", [generate = service->business2cloud] {
                 static char buffer[16384];
                 tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
                 value.value = buffer;
                 tqDevSDK_Shadow_GenValue_Param_S param{};
                 Need(generate(&value, &param) == 0 && value.length == 1024, "giving the text");
             }}};
}

// ---- XML settings and status items ----

constexpr const char *kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

void FloorXmlSet(const char *body, const char *json) {
    CMarkupSTL req;
    CMarkupSTL rsp;
    rsp.SetDoc(kDeclaration);
    rsp.AddElem("Response");
    rsp.IntoElem();
    rsp.AddElem("Result", "0");
    req.SetDoc(body);
    req.FindElem("Request", true);
    req.IntoElem();
    req.AddElem("UserDefine");
    req.SetAttrib("MsgSeq", 7);
    req.FindElem("Type", true);
    const std::string key = req.GetData();
    req.FindElem("Value", true);
    const std::string value = req.GetData();
    if (json != nullptr) {
        ParseAndDelete(json);
    }
    rsp.FindElem("Result", true);
    rsp.SetData("0");
    Show(rsp.GetDoc().c_str());
}

Case XmlSet(const char *name, const char *body, const char *json) {
    return {name, kXmlLimit, 0, [=]() -> Contestants {
                return {{"module", Deliver(18829, body)}, {"floor", [=] { FloorXmlSet(body, json); }}};
            }};
}

constexpr int kOvertimeItem = TQDEVSDK_ReportDeviceScreenOvertime;
constexpr int kIcrDssItem = TQDEVSDK_ReportDeviceIcrDss;

tqDevSDK_report_status_info StatusItem(int key) {
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        if (item.status_value == static_cast<UINT32>(key)) {
            return item;
        }
    }
    Need(false, "registering the status item");
    return {};
}

int AnswerSetting(tqDevSDK_SmartControl_runtime_info &query) {
    if (query.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS) {
        auto *setting = reinterpret_cast<tqDevSDK_SmartControl_msg_IcrDss_S *>(query.data);
        setting->ucMode = 2;
        setting->ucSensitivity = 4;
        setting->autoTime = {70200, 22500};
    } else {
        *reinterpret_cast<UINT32 *>(query.data) = 30;
    }
    return 0;
}

template <typename Value>
void FloorXmlReport(const char *key, Value value) {
    CMarkupSTL msg;
    msg.SetDoc(kDeclaration);
    msg.AddElem("Request");
    msg.IntoElem();
    msg.AddElem("DevSerial", "TQ00000001");
    msg.AddElem("Authorization", "");
    msg.AddElem("Status");
    msg.SetAttrib("Type", key);
    msg.SetAttrib("Value", value);
    Show(msg.GetDoc().c_str());
}

void FloorIcrDssReport() {
    bscJSON *root = bscJSON_CreateObject();
    Num(root, "mode", 2);
    Num(root, "sensitivity", 4);
    Str(root, "autoTimeBegin", "19:30");
    Str(root, "autoTimeEnd", "06:15");
    char *text = bscJSON_Print(root);
    FloorXmlReport("device_ICR_DSS", static_cast<const char *>(text));
    free(text);
    bscJSON_Delete(root);
}

Case XmlReport(const char *name, int key, const std::function<void()> &floor) {
    return {
        name, 0, 0, [=]() -> Contestants {
            g_on_query = AnswerSetting;
            const tqDevSDK_report_status_info item = StatusItem(key);
            Need(item.status_is_changed() == 1, "a change of the item");
            return {{"module", [item] { Need(item.report_status(0) == 0, "the report"); }}, {"floor", floor}};
        }};
}

Case StatusQuery(const char *name, int key, int (*answer)(tqDevSDK_SmartControl_runtime_info &),
                 int changed) {
    return {name, 0, 0, [=]() -> Contestants {
                g_on_query = answer;
                const tqDevSDK_report_status_info item = StatusItem(key);
                Need(item.status_is_changed() == 1, "a change of the item");
                return {{"module", [=] { Need(item.status_is_changed() == changed, "the item's answer"); }}};
            }};
}

// ---- The stand-in host ----

// What the host library itself does in place of the empty functions.
template <typename Function>
Function InHost(const char *name, Function /*same type*/) {
    auto function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    Need(function != nullptr, name);
    return function;
}

Contestants HostDeliver() {
    return {{"host", [] {
                 tqhost::PlatformCommand command;
                 command.command = 1;
                 command.body = R"({"delay":0,"channelNo":1,"params":{"value1":3}})";
                 Need(tqhost::DeliverCommand(command), "the delivery");
             }}};
}

Contestants HostSend() {
    static const char kBody[] = "{\n\t\"result\":\t0\n}";
    return {{"host", [send = InHost("tqdev_sdk_kernel_send", tqdev_sdk_kernel_send)] {
                 tqdev_sdk_kernel_pubmsg msg{};
                 msg.msg_body = reinterpret_cast<const UINT8 *>(kBody);
                 msg.msg_body_len = sizeof kBody - 1;
                 send(&msg);
             }}};
}

Contestants HostSendModel() {
    return {{"host", [send = InHost("tq_model_send_to_platform", tq_model_send_to_platform)] {
                 const tq_basic_info info{};
                 const tq_msg_attr attr{};
                 send(&info, "{}", 2, 0, &attr);
             }}};
}

Contestants HostDeviceInfo() {
    return {{"host", [get = InHost("tqdev_sdk_kernel_getdevinfo_bykey", tqdev_sdk_kernel_getdevinfo_bykey)] {
                 get("dev_subserial");
             }}};
}

} // namespace

Cases MessageCases() {
    return {
        Command("command 20034 picture", 20034,
                R"({"delay":0,"channelNo":1,"params":{"value1":3},"extendValue":"picture-17"})"),
        Command("command 20036 video", 20036, R"({"delay":5,"channelNo":1,"params":{"value1":30}})"),
        Command("command 20038 picture and video", 20038,
                R"({"delay":0,"channelNo":2,"params":{"value1":3},"extendValue":"clip-4"})"),
        Command("command 20040 sleep", 20040, R"({"delay":0,"channelNo":0,"params":{"value1":1}})"),
        Command("command 20064 chime alarm", 20064,
                R"({"deviceId":"BELL00001","eventId":12,"channelNo":1,"params":{"value1":2,"value2":30}})"),
        {"command 20058 signal query", kCommandLimit, 0, SignalQuery},
        {"manual scene", kSceneLimit, 0, ManualScene},
        {"command unknown", 0, 0,
         [] {
             return Contestants{{"module", Deliver(1, "{}")}};
         }},
        {"report event", kReportLimit, 0, Event},
        {"report action result", kReportLimit, 0, ActionResult},
        {"report undone actions", kReportLimit, 0, UndoneActions},
        {"report undone actions v3", kReportLimit, 0, UndoneActionsV3},
        {"report undone scene v3", kReportLimit, 0, UndoneSceneV3},
        {"report lan center", kReportLimit, 0, LanCentor},
        {"report lan center v3", kReportLimit, 0, LanCentorV3},
        {"dclog center statistics", 0, 0, Dclog},
        {"rule text to device, 1 KiB", 0, 0, TextToDevice},
        {"rule text to cloud, 1 KiB", 0, 0, TextToCloud},
        XmlSet("xml set number",
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Request><Type>device_screen_overtime</Type>"
               "<Value>30</Value></Request>",
               nullptr),
        XmlSet("xml set day/night",
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Request><Type>device_ICR_DSS</Type><Value>"
               R"({"mode":2,"sensitivity":4,"autoTimeBegin":"19:30","autoTimeEnd":"06:15"})"
               "</Value></Request>",
               R"({"mode":2,"sensitivity":4,"autoTimeBegin":"19:30","autoTimeEnd":"06:15"})"),
        XmlReport("xml report number", kOvertimeItem, [] { FloorXmlReport("device_screen_overtime", 30); }),
        XmlReport("xml report day/night", kIcrDssItem, FloorIcrDssReport),
        StatusQuery("status query number", kOvertimeItem, AnswerSetting, 0),
        StatusQuery("status query day/night", kIcrDssItem, AnswerSetting, 0),
        StatusQuery("status query rule text", TQDEVSDK_ReportAiRule, AnswerRuleText, 1),
        {"host delivers a command", 0, 0, HostDeliver},
        {"host sends a command", 0, 0, HostSend},
        {"host sends a model report", 0, 0, HostSendModel},
        {"host gives a device text", 0, 0, HostDeviceInfo},
    };
}
