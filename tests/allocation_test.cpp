// SPDX-License-Identifier: Apache-2.0
// Fails every allocation of every entry point once, alone and with all later ones. Each failure must end in a
// failure or in a body that lacks a key; it must leak nothing, hand nothing half-filled to the application,
// and leave the module fit for the same message again.
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
#include <new>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <regex>
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

// ---- What the platform sees ----

using Json = nlohmann::ordered_json;

// True when `part` is `whole`, or lacks some of its keys somewhere.
bool IsPartOf(const Json &part, const Json &whole) {
    if (!part.is_structured() || part.type() != whole.type() || (part.is_array() && part.size() != whole.size())) {
        return part == whole;
    }
    const auto items = part.items();
    return std::all_of(items.begin(), items.end(), [&](const auto &item) {
        return part.is_array() ? IsPartOf(item.value(), whole[std::stoul(item.key())])
                               : whole.contains(item.key()) && IsPartOf(item.value(), whole[item.key()]);
    });
}

// A sent line is whole, or its JSON lacks a key.
bool IsPartOf(const std::string &line, const std::string &whole) {
    const auto json = [](const std::string &text, std::size_t begin) {
        return Json::parse(text.substr(begin, text.rfind('}') + 1 - begin), nullptr, false);
    };
    const std::size_t begin = line.find('{');
    return line == whole ||
           (begin != std::string::npos && line.compare(0, begin, whole, 0, begin) == 0 && IsPartOf(json(line, begin), json(whole, begin)));
}

// Sequence numbers differ from run to run, as does the time of an action result. JSON in an attribute is read
// as JSON elsewhere.
std::string Masked(std::string line) {
    static const std::pair<std::regex, const char *> kMasks[] = {{std::regex(" seq [^ ]*"), " seq"},
                                                                 {std::regex("\"time\":\t\"[^\"]*"), "\"time\":\t\""},
                                                                 {std::regex("&quot;"), "\""},
                                                                 {std::regex("&#10;|&#09;"), " "}};
    for (const auto &[mask, with] : kMasks) {
        line = std::regex_replace(line, mask, with);
    }
    return line;
}

// ---- Entry points ----

class AllocationTest : public ModuleTest {
protected:
    struct Entry {
        std::string name;
        bool allocates;
        std::function<int()> run;
    };

    using Outcome = std::tuple<int, Lines, Lines>; // result, sent, received

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

    Outcome Run(const Entry &entry) {
        Take();
        const int result = entry.run();
        g_faults.armed = false;
        Lines sent = Take();
        std::transform(sent.begin(), sent.end(), sent.begin(), Masked);
        TakeLog();
        return {result, sent, std::exchange(received_, {})};
    }

    std::vector<Entry> Entries();

private:
    Lines received_;
};

// A record in a block that is wide enough for an array at its end, too.
template <typename Record>
Record *Zeroed() {
    alignas(8) static char bytes[1024];
    return reinterpret_cast<Record *>(bytes);
}

std::vector<AllocationTest::Entry> AllocationTest::Entries() {
    std::vector<Entry> entries;
    const std::string action = R"({"delay":1,"channelNo":2,"params":{"value1":3},"extendValue":"e"})";
    const std::pair<int, std::string> commands[] = {
        {20034, action},
        {20036, action},
        {20038, action},
        {20040, action},
        {20034, "{"},
        {20064, R"({"deviceId":"d","eventId":1,"channelNo":2,"params":{"value1":3}})"},
        {20058, R"({"macList":[{"mac":"m","deviceSerial":"s"},{}]})"},
        {18829,
         R"(<Request><Type>device_ICR_DSS</Type><Value>{"mode":1,"sensitivity":2,"autoTimeBegin":"7:05","autoTimeEnd":"23:00"}</Value></Request>)"},
        {18829, "<Request><Type>device_screen_overtime</Type><Value>123456789012345678901234567890</Value></Request>"},
        {18829, "<Request><Type>no such key, and longer than a short string holds</Type><Value>1</Value></Request>"},
        {18829, "<Request>"},
    };
    for (const auto &[command, body] : commands) {
        entries.push_back({"command " + std::to_string(command) + " " + body, true, [=, command = command, body = body] {
                               Command(command, body);
                               return 0;
                           }});
    }
    for (const char *text : {R"({"ruleId":"7"})", "{}", "{"}) {
        tqhost::ModelMessage message;
        message.identifier = "ExecManualScene";
        message.text = text;
        entries.push_back({std::string("manual scene ") + text, true, [=] { return tqhost::DeliverModelRequest(message).value_or(-99); }});
    }
    const std::string rule = R"({"id":1,"userId":"u","name":"n","enable":1,"weekdays":["1"],"startTime":"1:2","endTime":"n3:4","rule":{)"
                             R"("condition":0,"events":[{"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"value":4}],"actions":[)"
                             R"({"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"params":{"value1":4},"delay":5}]}})";
    const std::string rules = R"([{"channel":1,"status":[)" + rule + "," + rule + R"(]},{"channel":2,"status":[)" + rule + "]}]";
    // Straight to the callbacks: the service delivers an accepted value once only.
    const auto from_cloud = [&](const std::string &key, tqDevSDK_Shadow_ParseSync parse, tqDevSDK_Shadow_data_type_t type, bool allocates) {
        entries.push_back({key + " from the cloud", allocates, [=] {
                               std::string text = rules;
                               tqDevSDK_Shadow_value_t value{};
                               value.type = type;
                               value.value = text.data();
                               tqDevSDK_Shadow_ParseSync_Param_S param{};
                               return parse(&value, &param);
                           }});
    };
    from_cloud("InterconnectionRule", tqhost::ShadowService("InterconnectionRule")->parse_sync, shd_data_type_array, true);
    from_cloud("SceneLink", tqhost::ShadowServiceV3("SceneLink")->business2dev, shd_data_type_string, false);
    from_cloud("LocalLink", tqhost::ShadowServiceV3("LocalLink")->business2dev, shd_data_type_string, false);
    for (const char *key : {"InterconnectionRule", "SceneLink", "LocalLink"}) {
        // For AI rules, of which there are none, the module makes an empty object.
        entries.push_back(
            {std::string(key) + " to the cloud", key != std::string("SceneLink"), [=] { return tqhost::ShadowGet(key).value_or(-99); }});
    }
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        const std::string key = std::to_string(item.status_value);
        entries.push_back({"status query " + key, false, [=] {
                               const int result = item.status_is_changed();
                               item.status_reset();
                               return result;
                           }});
        // The AI item pushes the empty object, the scene item the application's text.
        entries.push_back({"status report " + key, item.status_value != 125, [=] { return item.report_status(0); }});
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
    otap->pstActions[0].stBody.acPayload = R"({"params":{"a":[1,{"b":"c"}]}})";
    const void *reports[] = {
        Zeroed<tqDevSDK_SmartControl_Event>(), Zeroed<tqDevSDK_SmartControl_Info_ActionResult>(), undone, center, scenes, otap, center};
    for (int type = 0; type < static_cast<int>(std::size(reports)); ++type) {
        entries.push_back({"report " + std::to_string(type), true, [=, record = reports[type]] { return Report(type, record); }});
    }
    auto *param = Zeroed<tqDevSDK_SmartControl_DCLogParam_S>();
    Set(param->acSystemName, "device_lan_smart_run");
    const tqDevSDK_SmartControl_DclogMsg_S dclog{0, param, 0};
    entries.push_back({"dclog", false, [=] { return tqDevSDK_SmartControl_PushDclog(&dclog); }});
    entries.push_back({"kernel event", false, [] {
                           tqhost::DeliverEvent(sdk_kernel_event_online);
                           return 0;
                       }});
    return entries;
}

TEST_F(AllocationTest, EveryFailureIsSurvived) {
    backtrace(std::array<void *, 1>{}.data(), 1); // loads what it needs
    // Answers that tell the platform of a failure: to a setting, a manual scene, the four device actions; and
    // the empty value when there is no memory for the empty object.
    const std::regex refusal("command 18830 seq response 1 v1.0.0 <.xml version=.1.0. encoding=.utf-8..>\n<Response><Result>4</Result></Response>"
                             "|reply ExecManualScene of TQLink type 2 resource 1 Video "
                             "(200 0 'success!' seq qos 0 .operate_reply. value 5|400 -1 'manage failed!' seq qos 0 .operate_reply. value 6)"
                             " length 0 ([{]\n[}]|null)"
                             "|command 200(35|37|39|41) seq response 1 v1.0.0 [{]\n\t\"result\":\t-1\n[}]"
                             "|shadow LocalLink version 0 reset 0 type 3 ");
    int points = 0;
    const std::vector<Entry> entries = Entries();
    for (const Entry &entry : entries) {
        const Outcome clean = Run(entry);
        const auto &[clean_result, clean_sent, clean_received] = clean;
        const int before = points;
        for (const bool all_later : {false, true}) {
            for (int target = 1;; ++target, ++points) {
                SCOPED_TRACE(entry.name + ", allocation " + std::to_string(target) + (all_later ? " and all later ones" : ""));
                const long live = g_faults.live;
                g_faults = {true, all_later, target, 0, live};
                const auto [result, sent, received] = Run(entry);
                if (g_faults.seen < target) {
                    EXPECT_EQ(Outcome(result, sent, received), clean);
                    break;
                }
                EXPECT_EQ(g_faults.live, live) << "leaked";
                for (const std::string &line : sent) {
                    const auto holds = [&](const std::string &whole) { return IsPartOf(line, whole); };
                    EXPECT_TRUE(std::regex_match(line, refusal) || std::any_of(clean_sent.begin(), clean_sent.end(), holds)) << line;
                }
                for (const std::string &record : received) {
                    EXPECT_NE(std::find(clean_received.begin(), clean_received.end(), record), clean_received.end()) << "a half-filled record";
                }
                EXPECT_EQ(Run(entry), clean) << "the next message";
                ASSERT_LT(target, 10000);
            }
        }
        EXPECT_EQ(points > before, entry.allocates) << entry.name;
    }
    printf("Injection points: %d in %zu entry points\n", points, entries.size());
}

} // namespace
