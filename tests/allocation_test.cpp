// SPDX-License-Identifier: Apache-2.0
// Fails every allocation of every entry point once, alone and with all later ones. Each failure must end as if
// nothing had failed, or in a failure that says why and sends nothing that is not whole; it must leak nothing,
// hand nothing half-filled to the application, and leave the module fit for the same message again.
//
// Allocations are failed where they reach different code: those of the JSON library through its hooks, those
// of the XML library through its own, those of the module (and of this test, as the application) by wrapping
// malloc and its kin at link time, and those of the XML class's strings in operator new. The stand-in host's
// own bookkeeping does not fail in the module's place.
#include <cjson/cJSON.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <deque>
#include <new>
#include <pugixml.hpp>
#include <regex>
#include <set>
#include <utility>

#include "module_fixture.h"
#include "records.h"

namespace {

// Which allocation fails. One thread runs the tests.
struct Faults {
    bool armed = false;
    bool all_later = false;
    int target = 0; // counts from 1
    int seen = 0;
    long live = 0; // allocations made and not freed yet, armed or not

    bool Hit() {
        if (!armed) {
            return false;
        }
        ++seen;
        return seen == target || (all_later && seen > target);
    }
} g_faults;

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *memory, std::size_t size);
char *__real_strdup(const char *text);
void __real_free(void *memory);

void *__wrap_malloc(std::size_t size) { return g_faults.Hit() ? nullptr : (++g_faults.live, __real_malloc(size)); }

void *__wrap_calloc(std::size_t count, std::size_t size) { return g_faults.Hit() ? nullptr : (++g_faults.live, __real_calloc(count, size)); }

void *__wrap_realloc(void *memory, std::size_t size) {
    return g_faults.Hit() ? nullptr : (g_faults.live += memory == nullptr ? 1 : 0, __real_realloc(memory, size));
}

char *__wrap_strdup(const char *text) { return g_faults.Hit() ? nullptr : (++g_faults.live, __real_strdup(text)); }

void __wrap_free(void *memory) {
    g_faults.live -= memory != nullptr ? 1 : 0;
    __real_free(memory);
}
}

namespace {

// True when the XML class is among the callers.
bool InXmlClass() {
    std::array<void *, 16> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    for (int i = 0; i < count; ++i) {
        Dl_info info{};
        if (dladdr(frames[static_cast<std::size_t>(i)], &info) != 0 && info.dli_sname != nullptr && strstr(info.dli_sname, "CMarkupSTL") != nullptr) {
            return true;
        }
    }
    return false;
}

} // namespace

void *operator new(std::size_t size) {
    if (g_faults.armed && InXmlClass() && g_faults.Hit()) {
        throw std::bad_alloc();
    }
    void *memory = __real_malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void *memory) noexcept { __real_free(memory); }
void operator delete(void *memory, std::size_t) noexcept { __real_free(memory); }

namespace {

// Sequence numbers differ from run to run, as does the time of an action result.
std::string Masked(const std::string &line) {
    static const std::regex kNumber(" seq [^ ]*"), kTime("\"time\":\t\"[^\"]*");
    return std::regex_replace(std::regex_replace(line, kNumber, " seq"), kTime, "\"time\":\t\"");
}

long Matches(const Lines &lines, const std::string &pattern) {
    return std::count_if(lines.begin(), lines.end(), [regex = std::regex(pattern)](const auto &line) { return std::regex_match(line, regex); });
}

// ---- How a run may end ----

using Ending = std::tuple<int, Lines, Lines>; // result, sent, received

// An entry point, and what a failure of it looks like. Texts but those of `leaves` are patterns.
struct Entry {
    std::string name;
    std::function<int()> run;
    bool allocates = true;
    int failure = 0;                 // its result
    std::string refusal{};           // what may be sent
    std::string verdict{};           // is in the log; none when empty
    std::string unanswered{};        // is in the log when what the application was given is not answered
    Lines leaves{};                  // are in the log after one failure or another
    bool leaves_more = true;         // and so are other errors
    std::optional<Ending> instead{}; // an ending that is no failure
};

// A line that says why, other than those that tell a result only.
const char *const kReason = "error: (?!result_code|Failed to handle ReqAndRsp|Failed to exec )[^]*";

// What is wrong with a run in which an allocation failed; empty when nothing is.
std::string Fault(const Entry &entry, const Ending &clean, const Ending &ending, const Lines &log) {
    if (ending == clean || ending == entry.instead) {
        return "";
    }
    const auto &[result, sent, received] = ending;
    const bool owes_answer = !received.empty() && Matches(sent, "(command|reply) [^]*") == 0;
    const std::pair<bool, std::string> demands[] = {
        {result == entry.failure, " result " + std::to_string(result) + ";"},
        {Matches(sent, entry.refusal) == static_cast<long>(sent.size()), " sent " + testing::PrintToString(sent) + ";"},
        {received.empty() || received == std::get<2>(clean), " given a half-filled record;"},
        {Matches(log, kReason) > 0, " no word why;"},
        {entry.verdict.empty() || Matches(log, entry.verdict) > 0, " no word what failed;"},
        {!owes_answer || Matches(log, entry.unanswered) > 0, " no word that there is no answer;"},
    };
    std::string fault;
    for (const auto &[holds, otherwise] : demands) {
        fault += holds ? "" : otherwise;
    }
    return fault;
}

Lines Without(const std::set<std::string> &lines, const std::set<std::string> &known) {
    Lines unknown;
    std::set_difference(lines.begin(), lines.end(), known.begin(), known.end(), std::back_inserter(unknown));
    return unknown;
}

// ---- Entry points ----

class AllocationTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        cJSON_Hooks hooks{__wrap_malloc, __wrap_free};
        cJSON_InitHooks(&hooks);
        pugi::set_memory_management_functions(__wrap_malloc, __wrap_free);
        on_message = [this](const auto &msg) { Unarmed([&] { received_.push_back(tqgateway::DeviceLine(msg).dump()); }); };
        on_query = [](auto &query) { return Unarmed([&] { Answer(query); }), 0; };
    }

    // What the application does: its own allocations do not fail.
    template <typename Work>
    static void Unarmed(Work work) {
        const bool armed = std::exchange(g_faults.armed, false);
        work();
        g_faults.armed = armed;
    }

    ~AllocationTest() override {
        cJSON_InitHooks(nullptr);
        pugi::set_memory_management_functions(malloc, free);
    }

    // AI rules: none; settings: zero; signals: nothing heard.
    static void Answer(tqDevSDK_SmartControl_runtime_info &query) {
        if (query.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES) {
            auto *rules = Allocate<tqDevSDK_SmartControl_ConfigRules>();
            query.data = reinterpret_cast<char *>(rules);
            rules->usNum = 1;
            rules->pstUnit = Allocate<tqDevSDK_SmartControl_ConfigRules_ValueUnit>();
            rules->pstUnit->usType = 1;
            rules->pstUnit->usNum = 1;
            auto *rule = rules->pstUnit->pstRuleUnit = Allocate<tqDevSDK_SmartControl_ConfigRules_RuleUnit>();
            rule->aucWeekDaysEn[2] = 1;
            rule->usEvents_Num = 1;
            rule->pstEvents = Allocate<tqDevSDK_SmartControl_ConfigRule_Events>();
            rule->usActions_Num = 1;
            rule->pstActions = Allocate<tqDevSDK_SmartControl_ConfigRule_Actions>();
            rule->pstActions->ucValueNum = 2;
        } else if (query.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES) {
            reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = strdup("[]");
        }
    }

    template <typename Record>
    static Record *Allocate() {
        return static_cast<Record *>(calloc(1, sizeof(Record)));
    }

    Ending Run(const Entry &entry) {
        Take();
        const int result = entry.run();
        g_faults.armed = false;
        Lines sent = Take();
        std::transform(sent.begin(), sent.end(), sent.begin(), Masked);
        log_ = TakeLog();
        return {result, sent, std::exchange(received_, {})};
    }

    std::deque<Entry> Entries();

    Lines log_; // of the last run

private:
    Lines received_;
};

// A record in a block that is wide enough for an array at its end, too.
template <typename Record>
Record *Zeroed() {
    alignas(8) static char bytes[1024];
    return reinterpret_cast<Record *>(bytes);
}

std::deque<Entry> AllocationTest::Entries() {
    std::deque<Entry> entries;
    const auto add = [&](const std::string &name, const std::function<int()> &run) -> Entry & { return entries.emplace_back(Entry{name, run}); };
    const auto add_command = [&](int id, const std::string &body) -> Entry & {
        return add("command " + std::to_string(id) + " " + body, [=] { return Command(id, body), 0; });
    };
    for (const int id : {kCapture, kVideo, kPicAndVideo, kSleep}) {
        Entry &entry = add_command(id, R"({"delay":1,"channelNo":2,"params":{"value1":3},"extendValue":"e"})");
        entry.refusal = "command 200(35|37|39|41) seq response 1 v1.0.0 [{]\n\t\"result\":\t-1\n[}]";
        entry.unanswered = "error: Failed to fill response message\\.";
        entry.leaves = {"error: Failed to cJson create", "error: Failed to cJson print", "error: Failed to fill response message."};
    }
    add_command(kCapture, "{");
    add_command(kChimeAlarm, R"({"deviceId":"d","eventId":1,"channelNo":2,"params":{"value1":3}})").leaves = {
        "error: Failed to bscJSON_CreateObject."};
    Entry &signals = add_command(kSignalQuery, R"({"macList":[{"mac":"m","deviceSerial":"s"},{}]})");
    signals.leaves = {"error: No memory for a signal query."};
    signals.instead = {0, {}, {}}; // one that could not be parsed looks like one that is no JSON, which is passed over
    const std::string sets[] = {
        R"(<Type>device_ICR_DSS</Type><Value>{"mode":1,"sensitivity":2,"autoTimeBegin":"7:05","autoTimeEnd":"23:00"}</Value></Request>)",
        "<Type>device_screen_overtime</Type><Value>123456789012345678901234567890</Value></Request>",
        "<Type>no such key, and longer than a short string holds</Type><Value>1</Value></Request>", ""};
    for (const std::string &set : sets) {
        Entry &entry = add_command(kSetKeyValue, "<Request>" + set);
        entry.refusal = "tqDevSDK_report_set_force_report 7[45]|command 18830 [^]*<Response><Result>4</Result></Response>";
        entry.unanswered = "error: .*not answered.*";
    }
    for (const char *text : {R"({"ruleId":"7"})", "{}", "{"}) {
        tqhost::ModelMessage message;
        message.identifier = "ExecManualScene";
        message.text = text;
        add(std::string("manual scene ") + text, [=] { return tqhost::DeliverModelRequest(message).value_or(-99); }).refusal =
            "reply ExecManualScene [^]* 400 -1 'manage failed!' seq qos 0 .operate_reply. value 6 length 0 ([{]\n[}]|null)";
    }
    const std::string rule = R"({"id":1,"userId":"u","name":"n","enable":1,"weekdays":["1"],"startTime":"1:2","endTime":"n3:4","rule":{)"
                             R"("condition":0,"events":[{"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"value":4}],"actions":[)"
                             R"({"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"params":{"value1":4},"delay":5}]}})";
    const std::string rules = R"([{"channel":1,"status":[)" + rule + "," + rule + R"(]},{"channel":2,"status":[)" + rule + "]}]";
    // Straight to the callbacks: the service delivers an accepted value once only.
    const auto add_value = [&](const std::string &key, tqDevSDK_Shadow_ParseSync parse, tqDevSDK_Shadow_data_type_t type) -> Entry & {
        return add(key + " from the cloud", [=] {
            std::string text = rules;
            tqDevSDK_Shadow_value_t value{};
            value.type = type;
            value.value = text.data();
            tqDevSDK_Shadow_ParseSync_Param_S param{};
            return parse(&value, &param);
        });
    };
    Entry &parsed = add_value("InterconnectionRule", tqhost::ShadowService("InterconnectionRule")->parse_sync, shd_data_type_array);
    parsed.failure = -1;
    parsed.leaves = {"error: Failed to bscJSON_Parse", "error: Failed to calloc memory!", "error: Failed to calloc memory.",
                     "error: Failed to generate rule events.", "error: Failed to GenerateStatusRules"};
    add_value("SceneLink", tqhost::ShadowServiceV3("SceneLink")->business2dev, shd_data_type_string).allocates = false;
    add_value("LocalLink", tqhost::ShadowServiceV3("LocalLink")->business2dev, shd_data_type_string).allocates = false;
    const auto add_query = [&](const char *key) -> Entry & {
        return add(std::string(key) + " to the cloud", [=] { return tqhost::ShadowGet(key).value_or(-99); });
    };
    Entry &printed = add_query("InterconnectionRule");
    printed.failure = -1;
    printed.leaves_more = false;
    printed.leaves = {"error: Failed to bscJSON_CreateArray", "error: Failed to bscJSON_CreateObject", "error: Failed to bscJSON_Print.",
                      "error: Failed to GenJson_SmartControl_Rules.", "error: Shadow InterconnectionRule: no value from the device, result -1."};
    Entry &printed_empty = add("no rules to the cloud", [this] {
        const auto query = std::exchange(on_query, [](auto &) { return 0; });
        const int result = tqhost::ShadowGet("InterconnectionRule").value_or(-99);
        on_query = query;
        return result;
    });
    printed_empty.failure = -1;
    printed_empty.leaves = printed.leaves;
    printed_empty.leaves_more = false;
    printed.leaves.insert(printed.leaves.end(), {"error: Failed to bscJSON_CreateString", "error: Failed to GenerateJsonSmartConfigRules."});
    add_query("SceneLink").allocates = false;
    // Of AI rules there are none, so the module makes an empty object. Without memory the value is empty.
    const auto expect_empty_value = [](Entry &entry) {
        entry.failure = 0;
        entry.refusal = "(tqDevSDK_Shadow_PushStatus_v3 .*|shadow LocalLink version 0 reset 0 type 3 )";
        entry.leaves = {"error: bscJSON_CreateObject fail", "error: bscJSON_PrintUnformatted fail"};
    };
    expect_empty_value(add_query("LocalLink"));
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        const std::string key = std::to_string(item.status_value);
        add("status query " + key, [=] { return std::pair(item.status_is_changed(), item.status_reset()).first; }).allocates = false;
        Entry &report = add("status report " + key, [=] { return item.report_status(0); });
        report.failure = -1;
        report.allocates = item.status_value != TQDEVSDK_ReportSceneRule; // pushes the application's text
        if (item.status_value == TQDEVSDK_ReportDeviceIcrDss) {
            report.leaves = {"error: Failed to create json object.", "error: Failed to gen string from cjson object."};
        } else if (item.status_value == TQDEVSDK_ReportAiRule) {
            expect_empty_value(report);
        }
    }

    auto *undone = Zeroed<tqDevSDK_SmartControl_UndoneActions_S>();
    undone->usNum = 2;
    undone->astUndoneActs[0].ucValueNum = 2;
    auto *center = Zeroed<tqDevSDK_SmartControl_ReportLanCentor>();
    center->uiLanDeviceNum = 2;
    center->pLanDevice = Zeroed<tqDevSDK_SmartControl_LanDevice>();
    auto *scenes = Zeroed<tqDevSDK_SmartControl_UndoneSceneList_S>();
    scenes->stSrcEvent.stBody.acPayload = "event";
    scenes->uiNum = 2;
    auto *otap = Zeroed<tqDevSDK_SmartControl_UndoneActions_V3_S>();
    otap->usNum = 2;
    const std::string no_array = "error: Failed to bscJSON_CreateArray.", no_element = "error: Failed to cJSON_CreateObject for array.";
    const std::tuple<const void *, const char *, Lines> reports[TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_MAX] = {
        {Zeroed<tqDevSDK_SmartControl_Event>(), "an event", {}},
        {Zeroed<tqDevSDK_SmartControl_Info_ActionResult>(), "an action result", {}},
        {undone, "undone actions", {no_array, "error: Failed to GenArray_UndoneActions."}},
        {center, "the LAN center", {"error: Failed to cJSON_CreateArray.", no_element}},
        {scenes, "undone scenes", {no_array, "error: Failed to bscJSON_CreateString for [0]"}},
        {otap, "undone actions, version 3", {no_array, "error: Failed to bscJSON_Duplicate."}},
        {center, "the LAN center, version 3", {"error: Failed to cJSON_CreateArray.", no_element}},
    };
    for (int type = 0; type < TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_MAX; ++type) {
        const auto &[record, name, leaves] = reports[type];
        Entry &report = add("report " + std::to_string(type), [=, record = record] { return Report(type, record); });
        report.failure = -1;
        report.verdict = "error: Failed to exec msg2server type cmd:(0x)?" + std::to_string(type);
        report.leaves = {"error: Failed to bscJSON_CreateObject.", "error: Failed to bscJSON_Print.",
                         "error: No memory for the report of " + std::string(name) + "."};
        report.leaves.insert(report.leaves.end(), leaves.begin(), leaves.end());
        if (record == otap) {
            // A payload whose parse finds no memory looks like one that is no JSON.
            otap->pstActions[0].stBody.acPayload = "{";
            report.instead = Run(report);
            otap->pstActions[0].stBody.acPayload = R"({"params":{"a":[1,{"b":"c"}]}})";
        }
    }
    auto *param = Zeroed<tqDevSDK_SmartControl_DCLogParam_S>();
    Set(param->acSystemName, "device_lan_smart_run");
    const tqDevSDK_SmartControl_DclogMsg_S dclog{0, param, 0};
    add("dclog", [=] { return tqDevSDK_SmartControl_PushDclog(&dclog); }).allocates = false;
    add("kernel event", [] { return tqhost::DeliverEvent(sdk_kernel_event_online), 0; }).allocates = false;
    return entries;
}

TEST_F(AllocationTest, EveryFailureIsSurvived) {
    backtrace(std::array<void *, 1>{}.data(), 1); // loads what it needs
    int points = 0;
    const std::deque<Entry> entries = Entries();
    for (const Entry &entry : entries) {
        SCOPED_TRACE(entry.name);
        const Ending clean = Run(entry);
        const int before = points;
        std::string faults;
        Lines log;
        for (const bool all_later : {false, true}) {
            for (int target = 1;; ++target, ++points) {
                const std::string where = "allocation " + std::to_string(target) + (all_later ? " and all later ones:" : ":");
                const long live = g_faults.live;
                g_faults = {true, all_later, target, 0, live};
                const Ending ending = Run(entry);
                if (g_faults.seen < target) {
                    EXPECT_EQ(ending, clean);
                    break;
                }
                const std::string fault = Fault(entry, clean, ending, log_);
                faults += fault.empty() ? "" : where + fault + "\n";
                log.insert(log.end(), log_.begin(), log_.end());
                EXPECT_EQ(g_faults.live, live) << where << " leaked";
                EXPECT_EQ(Run(entry), clean) << where << " the next message";
                ASSERT_LT(target, 10000);
            }
        }
        EXPECT_EQ(faults, "");
        const std::set<std::string> left(log.begin(), log.end()), expected(entry.leaves.begin(), entry.leaves.end());
        EXPECT_EQ(Without(expected, left), Lines{}) << "not left";
        EXPECT_EQ(entry.leaves_more ? Lines{} : Without(left, expected), Lines{}) << "left, too";
        EXPECT_EQ(points > before, entry.allocates);
    }
    printf("Injection points: %d in %zu entry points\n", points, entries.size());
}

} // namespace
