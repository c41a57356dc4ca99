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
#include <pugixml.hpp>
#include <set>

#include "module_fixture.h"

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

// The application's own allocations do not fail.
class Pause {
public:
    Pause() : armed_(g_faults.armed) { g_faults.armed = false; }
    ~Pause() { g_faults.armed = armed_; }
    Pause(const Pause &) = delete;
    Pause &operator=(const Pause &) = delete;

private:
    bool armed_;
};

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *memory, std::size_t size);
char *__real_strdup(const char *text);
void __real_free(void *memory);

void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void *__wrap_realloc(void *memory, std::size_t size);
char *__wrap_strdup(const char *text);
void __wrap_free(void *memory);

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

// ---- What the application sees, in full ----

template <typename Array, typename Count, typename Render>
std::string RenderAll(const Array *array, Count count, Render render) {
    std::string text = "[";
    for (Count i = 0; array != nullptr && i < count; ++i) {
        text += render(array[i]);
    }
    return text + "]";
}

template <typename Record>
std::string Bytes(const Record &record) {
    return std::string(reinterpret_cast<const char *>(&record), sizeof record);
}

std::string RenderRules(const tqDevSDK_SmartControl_ConfigRules &rules) {
    return RenderAll(rules.pstUnit, rules.usNum, [](const auto &unit) {
        return std::to_string(unit.usType) + " " + std::to_string(unit.ucChannel) + RenderAll(unit.pstRuleUnit, unit.usNum, [](auto rule) {
                   const std::string arrays = RenderAll(rule.pstEvents, rule.usEvents_Num, Bytes<tqDevSDK_SmartControl_ConfigRule_Events>) +
                                              RenderAll(rule.pstActions, rule.usActions_Num, Bytes<tqDevSDK_SmartControl_ConfigRule_Actions>);
                   rule.pstEvents = nullptr;
                   rule.pstActions = nullptr;
                   return Bytes(rule) + arrays;
               });
    });
}

std::string RenderMessage(const tqDevSDK_SmartControl_msg_to_dev &msg) {
    switch (msg.type) {
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES:
        return RenderRules(*reinterpret_cast<const tqDevSDK_SmartControl_ConfigRules *>(msg.data));
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES:
    case TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES:
        return reinterpret_cast<const tqDevSDK_SmartControl_Rule_S *>(msg.data)->rule;
    default:
        return std::string(msg.data, static_cast<std::size_t>(msg.len));
    }
}

// ---- What the platform sees ----

// True when `part` is `whole`, or lacks some of its keys somewhere.
bool IsPartOf(const cJSON *part, const cJSON *whole) {
    if (part->type != whole->type) {
        return false;
    }
    if (cJSON_IsArray(part)) {
        const cJSON *of = whole->child;
        for (const cJSON *item = part->child; item != nullptr; item = item->next, of = of->next) {
            if (of == nullptr || !IsPartOf(item, of)) {
                return false;
            }
        }
        return of == nullptr;
    }
    for (const cJSON *item = part->child; item != nullptr; item = item->next) {
        const cJSON *of = cJSON_GetObjectItemCaseSensitive(whole, item->string);
        if (of == nullptr || !IsPartOf(item, of)) {
            return false;
        }
    }
    return cJSON_IsObject(part) || cJSON_Compare(part, whole, true) != 0;
}

std::string Head(const std::string &line) { return line.substr(0, line.find('{')); }

// A sent line is whole, or a JSON body that lacks a key.
bool IsPartOf(const std::string &line, const Lines &whole) {
    for (const std::string &candidate : whole) {
        if (line == candidate) {
            return true;
        }
        if (Head(line) == Head(candidate) && line.size() > Head(line).size()) {
            cJSON *part = cJSON_Parse(line.c_str() + Head(line).size());
            cJSON *full = cJSON_Parse(candidate.c_str() + Head(candidate).size());
            const bool found = part != nullptr && full != nullptr && IsPartOf(part, full);
            cJSON_Delete(part);
            cJSON_Delete(full);
            if (found) {
                return true;
            }
        }
    }
    return false;
}

// Sequence numbers differ from run to run, as does the time of an action result. JSON in an attribute is read
// as JSON elsewhere.
std::string Masked(std::string line) {
    for (const auto &[mark, end] : {std::pair<const char *, const char *>{" seq ", " "}, {"\"time\":\t\"", "\""}}) {
        if (const std::size_t at = line.find(mark); at != std::string::npos) {
            const std::size_t from = at + strlen(mark);
            line.erase(from, line.find(end, from) - from);
        }
    }
    for (const auto &[reference, text] : {std::pair<const char *, const char *>{"&quot;", "\""}, {"&#10;", "\n"}, {"&#09;", "\t"}}) {
        for (std::size_t at = line.find(reference); at != std::string::npos; at = line.find(reference, at)) {
            line.replace(at, strlen(reference), text);
        }
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

    struct Outcome {
        int result = 0;
        Lines sent;
        Lines received;
        bool operator==(const Outcome &other) const { return result == other.result && sent == other.sent && received == other.received; }
    };

    void SetUp() override {
        ModuleTest::SetUp();
        cJSON_Hooks hooks{__wrap_malloc, __wrap_free};
        cJSON_InitHooks(&hooks);
        pugi::set_memory_management_functions(__wrap_malloc, __wrap_free);
        on_message = [this](const tqDevSDK_SmartControl_msg_to_dev &msg) {
            const Pause pause;
            received_.push_back(std::to_string(msg.type) + " " + RenderMessage(msg));
        };
        on_query = [](tqDevSDK_SmartControl_runtime_info &query) {
            const Pause pause;
            return Answer(query);
        };
    }

    ~AllocationTest() override {
        cJSON_InitHooks(nullptr);
        pugi::set_memory_management_functions(malloc, free);
    }

    static int Answer(tqDevSDK_SmartControl_runtime_info &query) {
        switch (query.type) {
        case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES: {
            auto *rules = static_cast<tqDevSDK_SmartControl_ConfigRules *>(calloc(1, sizeof(tqDevSDK_SmartControl_ConfigRules)));
            rules->usNum = 1;
            rules->pstUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_ValueUnit *>(calloc(1, sizeof *rules->pstUnit));
            auto &unit = rules->pstUnit[0];
            unit.usType = 1;
            unit.usNum = 1;
            unit.pstRuleUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_RuleUnit *>(calloc(1, sizeof *unit.pstRuleUnit));
            auto &rule = unit.pstRuleUnit[0];
            rule.aucWeekDaysEn[2] = 1;
            rule.usEvents_Num = 1;
            rule.pstEvents = static_cast<tqDevSDK_SmartControl_ConfigRule_Events *>(calloc(1, sizeof *rule.pstEvents));
            rule.usActions_Num = 1;
            rule.pstActions = static_cast<tqDevSDK_SmartControl_ConfigRule_Actions *>(calloc(1, sizeof *rule.pstActions));
            rule.pstActions->ucValueNum = 2;
            query.data = reinterpret_cast<char *>(rules);
            break;
        }
        case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES:
            reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = strdup("[]");
            break;
        default: // AI rules: none; settings: zero; signals: nothing heard
            break;
        }
        return 0;
    }

    Outcome Run(const Entry &entry) {
        received_.clear();
        Take();
        Outcome outcome;
        outcome.result = entry.run();
        const Pause pause;
        for (const std::string &line : Take()) {
            outcome.sent.push_back(Masked(line));
        }
        outcome.received = received_;
        TakeWholeLog();
        return outcome;
    }

    int CommandEntry(int command, const std::string &body) {
        Command(command, body);
        return 0;
    }

    std::vector<Entry> Entries();

private:
    Lines received_;
};

std::vector<AllocationTest::Entry> AllocationTest::Entries() {
    std::vector<Entry> entries;
    const std::string action = R"({"delay":1,"channelNo":2,"params":{"value1":3},"extendValue":"e"})";
    for (const int command : {20034, 20036, 20038, 20040}) {
        entries.push_back({"command " + std::to_string(command), true, [=] { return CommandEntry(command, action); }});
    }
    entries.push_back(
        {"chime alarm", true, [=] { return CommandEntry(20064, R"({"deviceId":"d","eventId":1,"channelNo":2,"params":{"value1":3}})"); }});
    entries.push_back({"signal query", true, [=] { return CommandEntry(20058, R"({"macList":[{"mac":"m","deviceSerial":"s"},{}]})"); }});
    for (const auto &[key, value] : std::vector<std::pair<std::string, std::string>>{
             {"device_ICR_DSS", R"({"mode":1,"sensitivity":2,"autoTimeBegin":"7:05","autoTimeEnd":"23:00"})"},
             {"device_screen_overtime", "123456789012345678901234567890"},
             {"no such key, and longer than a short string holds", "1"}}) {
        const std::string body = "<Request><Type>" + key + "</Type><Value>" + value + "</Value></Request>";
        entries.push_back({"set " + key, true, [=] { return CommandEntry(18829, body); }});
    }
    entries.push_back({"malformed XML", true, [=] { return CommandEntry(18829, "<Request>"); }});
    entries.push_back({"malformed command", true, [=] { return CommandEntry(20034, "{"); }});
    entries.push_back({"kernel event", false, [] {
                           tqhost::DeliverEvent(sdk_kernel_event_online);
                           return 0;
                       }});
    for (const char *text : {R"({"ruleId":"7"})", "{}", "{"}) {
        entries.push_back({std::string("manual scene ") + text, true, [=] {
                               tqhost::ModelMessage message;
                               message.identifier = "ExecManualScene";
                               message.text = text;
                               return tqhost::DeliverModelRequest(message).value_or(-99);
                           }});
    }
    const std::string rule = R"({"id":1,"userId":"u","name":"n","enable":1,"weekdays":["1"],"startTime":"1:2","endTime":"n3:4","rule":{)"
                             R"("condition":0,"events":[{"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"value":4}],"actions":[)"
                             R"({"domain":1,"cmdId":2,"deviceId":"d","channelNo":3,"params":{"value1":4},"delay":5}]}})";
    const std::string rules = R"([{"channel":1,"status":[)" + rule + "," + rule + R"(]},{"channel":2,"status":[)" + rule + "]}]";
    entries.push_back({"rules from the cloud", true, [=] {
                           // Straight to the callback: the service delivers an accepted value once only.
                           std::string text = rules;
                           tqDevSDK_Shadow_value_t value{};
                           value.type = shd_data_type_array;
                           value.value = text.data();
                           tqDevSDK_Shadow_ParseSync_Param_S param{};
                           return tqhost::ShadowService("InterconnectionRule")->parse_sync(&value, &param);
                       }});
    entries.push_back({"rules to the cloud", true, [] { return tqhost::ShadowGet("InterconnectionRule").value_or(-99); }});
    entries.push_back({"scene rules to the cloud", false, [] { return tqhost::ShadowGet("SceneLink").value_or(-99); }});
    entries.push_back({"no AI rules to the cloud", true, [] { return tqhost::ShadowGet("LocalLink").value_or(-99); }});
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

    static tqDevSDK_SmartControl_Event event{};
    static tqDevSDK_SmartControl_Info_ActionResult result{};
    static tqDevSDK_SmartControl_LanDevice members[2] = {};
    static tqDevSDK_SmartControl_ReportLanCentor center{};
    center.uiLanDeviceNum = 2;
    center.pLanDevice = members;
    // One block that is wide enough for each of the records that end in an array.
    alignas(8) static char undone_bytes[1024];
    auto *undone = reinterpret_cast<tqDevSDK_SmartControl_UndoneActions_S *>(undone_bytes);
    undone->usNum = 2;
    undone->astUndoneActs[0].ucValueNum = 2;
    alignas(8) static char otap_bytes[1024];
    auto *otap = reinterpret_cast<tqDevSDK_SmartControl_UndoneActions_V3_S *>(otap_bytes);
    otap->usNum = 2;
    otap->pstActions[0].stBody.acPayload = R"({"params":{"a":[1,{"b":"c"}]}})";
    alignas(8) static char scene_bytes[1024];
    auto *scenes = reinterpret_cast<tqDevSDK_SmartControl_UndoneSceneList_S *>(scene_bytes);
    scenes->stSrcEvent.stBody.acPayload = "event";
    scenes->uiNum = 2;
    const std::pair<int, const void *> reports[] = {{0, &event}, {1, &result}, {2, undone}, {3, &center}, {4, scenes}, {5, otap}, {6, &center}};
    for (const auto &[type, record] : reports) {
        entries.push_back({"report " + std::to_string(type), true, [=, type = type, record = record] { return Report(type, record); }});
    }
    entries.push_back({"dclog", false, [] {
                           tqDevSDK_SmartControl_DCLogParam_S param{};
                           Set(param.acSystemName, "device_lan_smart_run");
                           tqDevSDK_SmartControl_DclogMsg_S msg{0, &param, 0};
                           return tqDevSDK_SmartControl_PushDclog(&msg);
                       }});
    return entries;
}

TEST_F(AllocationTest, EveryFailureIsSurvived) {
    backtrace(std::array<void *, 1>{}.data(), 1); // loads what it needs
    // Answers that tell the platform of a failure: to a setting, a manual scene, the four device actions; and
    // the empty value when there is no memory for the empty object.
    Lines refusals = {"command 18830 seq  response 1 v1.0.0 <?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                      "<Response><Result>4</Result></Response>",
                      "shadow LocalLink version 0 reset 0 type 3 "};
    for (const char *text : {"{\n}", "null"}) {
        for (const char *status :
             {"200 0 'success!' seq  qos 0 [operate_reply] value 5", "400 -1 'manage failed!' seq  qos 0 [operate_reply] value 6"}) {
            refusals.push_back(std::string("reply ExecManualScene of TQLink type 2 resource 1 Video ") + status + " length 0 " + text);
        }
    }
    for (const int answer : {20035, 20037, 20039, 20041}) {
        refusals.push_back("command " + std::to_string(answer) + " seq  response 1 v1.0.0 " + Printed(R"({"result":-1})"));
    }
    int points = 0;
    const std::vector<Entry> entries = Entries();
    for (const Entry &entry : entries) {
        SCOPED_TRACE(entry.name);
        const Outcome clean = Run(entry);
        int entry_points = 0;
        for (const bool all_later : {false, true}) {
            for (int target = 1;; ++target) {
                SCOPED_TRACE("allocation " + std::to_string(target) + (all_later ? " and all later ones" : ""));
                const long live = g_faults.live;
                g_faults.target = target;
                g_faults.seen = 0;
                g_faults.all_later = all_later;
                g_faults.armed = true;
                const Outcome outcome = Run(entry);
                g_faults.armed = false;
                if (g_faults.seen < target) {
                    EXPECT_EQ(outcome, clean);
                    break;
                }
                ++entry_points;
                EXPECT_EQ(g_faults.live, live) << "leaked";
                for (const std::string &line : outcome.sent) {
                    EXPECT_TRUE(IsPartOf(line, clean.sent) || IsPartOf(line, refusals)) << line;
                }
                for (const std::string &record : outcome.received) {
                    EXPECT_TRUE(std::find(clean.received.begin(), clean.received.end(), record) != clean.received.end()) << "a half-filled record";
                }
                EXPECT_EQ(Run(entry), clean) << "the next message";
                ASSERT_LT(target, 10000);
            }
        }
        EXPECT_EQ(entry_points > 0, entry.allocates);
        points += entry_points;
    }
    printf("Injection points: %d in %zu entry points\n", points, entries.size());
}

} // namespace
