// SPDX-License-Identifier: Apache-2.0
// The stand-in host on its own: what the module and its tests take for granted.
#include <algorithm>
#include <cstring>
#include <iterator>

#include <gtest/gtest.h>
#include <pthread.h>

#include "MarkupSTL.h"
#include "tqdev_debug.h"
#include "tqdev_host.h"
#include "tqdev_time.h"

namespace {

using namespace tqhost;

class HostTest : public testing::Test {
protected:
    HostTest() {
        Reset();
        Observe([this](const Observation &observation) { seen_.push_back(observation); });
    }
    ~HostTest() override {
        Observe({});
        Reset();
    }

    // What was seen, in words.
    std::vector<std::string> Seen() const {
        std::vector<std::string> lines;
        std::transform(seen_.begin(), seen_.end(), std::back_inserter(lines), Describe);
        return lines;
    }

    std::vector<Observation> seen_;
};

TEST(Markup, BuildsBehindTheCurrentElement) {
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    CMarkupSTL doc;
    ASSERT_TRUE(doc.SetDoc(declaration.c_str()));
    EXPECT_FALSE(doc.SetData("x"));
    EXPECT_FALSE(doc.SetAttrib("a", 1));
    EXPECT_FALSE(doc.IntoElem());
    EXPECT_EQ(doc.GetDoc(), declaration) << "without a current element nothing changes";
    EXPECT_TRUE(doc.AddElem("R"));
    EXPECT_TRUE(doc.IntoElem());
    EXPECT_TRUE(doc.AddElem("First"));
    EXPECT_TRUE(doc.AddElem("Last", "<&>"));
    EXPECT_TRUE(doc.FindElem("First", true));
    EXPECT_TRUE(doc.AddElem("Middle", "old"));
    EXPECT_TRUE(doc.SetData("new\n"));
    EXPECT_TRUE(doc.SetAttrib("T", "no"));
    EXPECT_TRUE(doc.SetAttrib("T", "a\n\"b\""));
    EXPECT_TRUE(doc.SetAttrib("N", -1));
    EXPECT_EQ(doc.GetDoc(), declaration + "<R><First/><Middle T=\"a&#10;&quot;b&quot;\" N=\"-1\">new\n</Middle><Last>&lt;&amp;&gt;</Last></R>");
}

TEST(Markup, FindsWithinTheLevelAndJoinsTheElementsOwnText) {
    CMarkupSTL doc;
    ASSERT_TRUE(doc.SetDoc("<r><a>1</a><b><deep/></b><a> 2<!-- c -->b <i>no</i> <![CDATA[<c>]]>&lt; </a></r>"));
    ASSERT_TRUE(doc.FindElem("r", true));
    ASSERT_TRUE(doc.IntoElem());
    EXPECT_EQ(doc.GetData(), "") << "no current element after IntoElem";
    ASSERT_TRUE(doc.FindElem("a", false));
    ASSERT_TRUE(doc.FindElem("a", false));
    for (const char *none : {"a", "deep", "A"}) {
        EXPECT_FALSE(doc.FindElem(none, false)) << none;
    }
    EXPECT_EQ(doc.GetData(), " 2b  <c>< ") << "a failed search keeps the position";
    EXPECT_TRUE(doc.SetData("x"));
    EXPECT_TRUE(doc.FindElem("a", true));
    EXPECT_EQ(doc.GetData(), "1");
    EXPECT_EQ(doc.GetDoc(), "<r><a>1</a><b><deep/></b><a>x<i>no</i></a></r>");
}

// The text of a document's root; without one, what is refused as no document.
std::string RootText(const std::string &text) {
    CMarkupSTL doc;
    EXPECT_TRUE(doc.SetDoc("<old/>"));
    if (!doc.SetDoc(text.c_str())) {
        EXPECT_EQ(doc.GetDoc(), "") << text;
        return "refused";
    }
    return doc.FindElem("r", true) ? doc.GetData() : "no root";
}

const std::string kBom = "\xEF\xBB\xBF";

TEST(Markup, TakesWellFormedText) {
    const std::pair<std::string, std::string> cases[] = {
        {"<?xml version=\"1.0\"?>", "no root"},
        {kBom + "<?xml version='1.0'?>\n<!-- - --><?pi?><r/>\n<!-- -->", ""},
        {"<r a='>' b=\"'\">\t\n&#x10FFFF;&gt;]]</r>", "\t\n\xF4\x8F\xBF\xBF>]]"},
        {"<!DOCTYPE r><r>1</r>", "1"},
        {"<!DOCTYPE r [<!ELEMENT r ANY> <!-- ]> -->]><r>1</r>", "1"},
        {"<!DOCTYPE r SYSTEM 'file:///none'><r>1</r>", "1"},
        {"<?xml version='1.0' encoding='Utf-8'?><r>\xC3\xA9</r>", "\xC3\xA9"},
        {"<?xml version='1.0' encoding='iso-8859-1'?><r>\xE9</r>", "\xC3\xA9"},
        {"<?xml version='1.0' encoding='us-ascii'?><r>e</r>", "e"},
    };
    for (const auto &[text, root] : cases) {
        EXPECT_EQ(RootText(text), root) << text;
    }
}

TEST(Markup, RefusesWhatIsNotWellFormed) {
    const std::string texts[] = {
        "", " ", "text", "<r/>text", "<![CDATA[x]]>", "<r>", "<r></b>", "</r>", "<r b=1/>", "<!-- c -->", "<r/>\n<b/>", "<!DOCTYPE r>",
        // What a lenient parser lets through.
        "<r a='1' a='2'/>", "<r a='<'/>", "<r>&</r>", "<r>&e;</r>", "<r a='&e;'/>", "<r>1&#0;2</r>", "<r>]]></r>", "<r>\x01</r>", "<!-- -- --><r/>",
        "<r>\xC0\x80</r>", "<r>\xED\xA0\x80</r>", "<r>\xE9</r>", "<r>\xEF\xBF\xBF</r>", "<a:r></a:b>",
        // Declarations and encodings.
        "<?xml?>", "<?xml encoding='utf-8'?><r/>", "<?XML version='1.0'?><r/>", " <?xml version='1.0'?><r/>", "<r/><?xml version='1.0'?>",
        "<?xml version='1.0' encoding='utf 8'?><r/>", "<?xml version='1.0' encoding='utf-9'?><r/>", "<?xml version='1.0' encoding='utf-16'?><r/>",
        "<?xml version='1.0' encoding='us-ascii'?><r>\xC3\xA9</r>", kBom + "<?xml version='1.0' encoding='iso-8859-1'?><r>\xE9</r>",
        // Document types.
        "<r/><!DOCTYPE r>", "<!DOCTYPE r [", "<?xml version='1.0'?><!DOCTYPE r [<!ELEMENT r ANY>",
        "<!DOCTYPE r [<!ENTITY a 'aa'><!ENTITY b '&a;&a;'><!ENTITY c '&b;&b;'>]><r>&c;</r>", "<!DOCTYPE r [<!ENTITY e SYSTEM 'file:///none'>]><r/>",
        "<!DOCTYPE r [<!ENTITY % e 'x'>]><r/>", "<!DOCTYPE r [<!ATTLIST r a CDATA #IMPLIED>]><r/>", "<!DOCTYPE r SYSTEM 'none'><r>&e;</r>",
        "<!DOCTYPE r [%e; <!ENTITY f 'x'>]><r>&f;</r>"};
    for (const std::string &text : texts) {
        EXPECT_EQ(RootText(text), "refused") << text;
    }
    EXPECT_FALSE(CMarkupSTL().SetDoc(nullptr));
}

void *NestDeeply(void *) {
    constexpr std::size_t kLevels = 500'000;
    CMarkupSTL doc;
    for (std::size_t i = 0; i < kLevels; ++i) {
        doc.AddElem("a");
        doc.IntoElem();
    }
    doc.AddElem("b");
    const std::string text = doc.GetDoc();
    EXPECT_EQ(text.size(), kLevels * 7 + 4);
    EXPECT_TRUE(doc.SetDoc(text.c_str()));
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_FALSE(doc.SetDoc(text.substr(0, kLevels * 3).c_str()));
    EXPECT_TRUE(doc.SetDoc(text.c_str())) << "destroyed as it is";
    return nullptr;
}

TEST(Markup, NestingCostsNoStack) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 << 10);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, NestDeeply, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

struct Device {
    tqDevSDK_Shadow_data_type_t type;
    std::string text;
    int32_t length;
    int result, calls;
};
Device g_device;

int Parse(const tqDevSDK_Shadow_value_t *value, tqDevSDK_Shadow_ParseSync_Param_S *param) {
    ++g_device.calls;
    g_device.type = value->type;
    EXPECT_EQ(static_cast<std::size_t>(value->length), strlen(value->value));
    EXPECT_TRUE(Shadow(reinterpret_cast<const char *>(param->pkey))) << "callbacks may ask the host";
    return g_device.result;
}

int Generate(tqDevSDK_Shadow_value_t *value, tqDevSDK_Shadow_GenValue_Param_S *param) {
    param->uiVersion = static_cast<UINT32>(++g_device.calls);
    g_device.text.copy(value->value, g_device.text.size());
    value->type = shd_data_type_array;
    value->length = g_device.length;
    return g_device.result;
}

class ShadowTest : public HostTest {
protected:
    ShadowTest() {
        g_device = {};
        const tqDevSDK_Shadow_DomainReg_S reg{"", 0, 0, 1, &rules_};
        const tqDevSDK_Shadow_DomainReg_V3_S reg_v3{0, 2, texts_};
        EXPECT_EQ(tqDevSDK_Shadow_DomainReg(7000, &reg), 0);
        EXPECT_EQ(tqDevSDK_Shadow_DomainReg_v3(&resource_, "Link", &reg_v3), 0);
        seen_.clear();
    }

    static int GetWith(const std::string &text, int32_t length, int result) {
        g_device = {shd_data_type_array, text, length, result, g_device.calls};
        return ShadowGet("Rules").value_or(99);
    }

    tqDevSDK_Shadow_Service_S rules_{"Rules", 0, 1, 0, 0, 1, Parse, Generate};
    tqDevSDK_Shadow_Service_S_v3 texts_[2] = {{{'A'}, Parse, Generate}, {{'B'}, Parse, Generate}};
    tqDevSDK_Shadow_Res_t resource_{{'S', 'N'}, {'V', 'i', 'd', 'e', 'o'}, 1};
};

TEST_F(ShadowTest, RedeliversUntilAccepted) {
    for (const int result : {7, 0, 0}) {
        g_device.result = result;
        EXPECT_EQ(ShadowDesire("Rules", " [1]"), result);
    }
    EXPECT_EQ(g_device.calls, 2) << "an accepted value is not delivered again";
    EXPECT_EQ(g_device.type, shd_data_type_array);
    EXPECT_EQ(ShadowDesire("A", ""), 0);
    EXPECT_EQ(Shadow("A")->desired_version, 1U) << "an empty value is new, too";
    EXPECT_EQ(g_device.type, shd_data_type_string);
    EXPECT_EQ(ShadowDesire("Rules", "{}"), 0);
    EXPECT_EQ(Shadow("Rules")->desired_version, 2U);
    EXPECT_EQ(g_device.type, shd_data_type_object);
    EXPECT_EQ(ShadowDesire("C", "[]"), std::nullopt);
}

TEST_F(ShadowTest, KeepsTheLastGoodValue) {
    SetShadowCapacity(4);
    SetLogLevel(LOG_ERROR);
    EXPECT_EQ(GetWith("[12]", 4, 0), 0);
    EXPECT_EQ(GetWith("[123]", 5, 0), -1) << "a byte more than the capacity";
    EXPECT_EQ(GetWith("", -1, 0), -1);
    EXPECT_EQ(GetWith("[]", 2, 5), 5);
    ASSERT_EQ(seen_.size(), 4U) << "a report and three log lines";
    EXPECT_EQ(std::get<ShadowReport>(seen_[0]).text, "[12]");
    EXPECT_TRUE(std::holds_alternative<LogLine>(seen_[3]));
    EXPECT_EQ(Shadow("Rules")->reported, "[12]");
    EXPECT_EQ(Shadow("Rules")->reported_version, 1U);
    EXPECT_EQ(rules_.usVersion, 1U);
}

TEST_F(ShadowTest, ReportsWhatIsOwedOnce) {
    for (const int result : {-1, 0, 0}) {
        g_device.result = result;
        ShadowReportOwed();
    }
    EXPECT_EQ(g_device.calls, 2) << "asked until reported, and only the key that owes";
    EXPECT_EQ(Shadow("Rules")->reports, 1U);
}

int g_changed, g_report_result;
std::string g_asked; // One letter for each question, one digit for each report.

int IsChanged() { return g_asked += 'q', g_changed; }
int Report(int force) { return g_asked += std::to_string(force), g_report_result; }
int ForceItself(int force) { return Report(force), tqDevSDK_report_set_force_report(74); }

std::string Pass(int changed, int report_result) {
    g_asked.clear();
    g_changed = changed;
    g_report_result = report_result;
    StatusPass();
    return g_asked;
}

TEST_F(HostTest, StatusPassRules) {
    tqDevSDK_report_status_info item{0, 74, 0, IsChanged, Report, nullptr};
    EXPECT_EQ(tqDevSDK_report_set_force_report(74), -1) << "not registered";
    tqDevSDK_report_status_register(&item);
    EXPECT_EQ(Pass(0, 0), "q");
    tqDevSDK_report_set_force_report(74);
    EXPECT_EQ(Pass(-1, 0), "q") << "a forced item that cannot be asked is not reported";
    EXPECT_EQ(Pass(0, -1), "q1") << "and keeps its force";
    EXPECT_EQ(Pass(0, 0), "q1") << "a failed forced report is still forced";
    EXPECT_EQ(Pass(1, -1), "q0");
    EXPECT_EQ(Pass(0, 0), "q0") << "a failed report comes again";
    EXPECT_EQ(Pass(0, 0), "q");

    item.report_status = ForceItself;
    tqDevSDK_report_status_register(&item);
    EXPECT_EQ(Pass(1, 0), "q0");
    EXPECT_EQ(Pass(0, 0), "q1") << "a force during the report counts for the next pass";
    tqDevSDK_report_status_fini();
    EXPECT_EQ(Pass(1, 0), "");
}

TEST_F(HostTest, FailuresByName) {
    for (const char *function : {"tqdev_get_sleep_status", ""}) {
        EXPECT_FALSE(CanFail(function)) << function;
        EXPECT_FALSE(Fail(function, 1)) << function;
    }
    EXPECT_TRUE(CanFail("tqdev_sdk_kernel_send"));
    EXPECT_TRUE(Fail("tqdev_sdk_kernel_send", 3, 1));
    EXPECT_TRUE(Fail("tqdev_dclog_DeregisterMod", -5));
    const UINT8 body[] = {'o', 'k', '!'}; // Not terminated.
    tqdev_sdk_kernel_pubmsg msg{};
    msg.msg_body = body;
    msg.msg_body_len = sizeof body;
    EXPECT_EQ(tqdev_sdk_kernel_send(&msg), 3);
    EXPECT_TRUE(seen_.empty()) << "a refused message is not observed";
    EXPECT_EQ(tqdev_sdk_kernel_send(&msg), 0);
    EXPECT_EQ(std::get<CommandMessage>(seen_.at(0)).body, "ok!");

    EXPECT_EQ(tqdev_dclog_DeregisterMod(1050), -5);
    EXPECT_EQ(tqdev_dclog_DeregisterMod(1050), -5) << "until the failure is ended";
    EXPECT_EQ(tqdev_dclog_check_push_enable(1050), 1) << "a failed call does nothing";
    EXPECT_EQ(std::get<Call>(seen_.at(1)).result, -5) << "but is observed";
    EXPECT_TRUE(Fail("tqdev_dclog_DeregisterMod", 0));
    EXPECT_EQ(tqdev_dclog_DeregisterMod(1050), 0);
    EXPECT_EQ(tqdev_dclog_check_push_enable(1050), 0);
}

TEST_F(HostTest, NullRecordsAreRefused) {
    const tq_basic_info info{};
    const tq_model_msg msg = tq_model_msg();
    const tq_err_info err{};
    const tq_msg_attr attr{};
    const tqDevSDK_Shadow_Res_t resource{};
    const tqDevSDK_Shadow_DomainReg_S keys{};
    const tqDevSDK_Shadow_DomainReg_V3_S keys_v3{};
    const tqDevSDK_Shadow_Service_S_v3 service{};
    const std::vector<int> results{tqdev_sdk_kernel_extend_load(nullptr),
                                   tqdev_sdk_kernel_send(nullptr),
                                   tqdev_sdk_kernel_send_v3(nullptr),
                                   tqDevSDK_Common_Module_RedirectReg(nullptr),
                                   tqdev_dclog_Report(nullptr),
                                   tq_model_domain_reg(nullptr),
                                   tq_model_domain_dereg(nullptr, "i"),
                                   tq_model_reply_to_das(nullptr, &msg, &err, &attr),
                                   tq_model_reply_to_das(&info, nullptr, &err, &attr),
                                   tq_model_reply_to_das(&info, &msg, nullptr, &attr),
                                   tq_model_reply_to_das(&info, &msg, &err, nullptr),
                                   tq_model_send_to_platform(nullptr, "", 0, 0, &attr),
                                   tq_model_send_to_platform(&info, "", 0, 0, nullptr),
                                   tq_model_send_to_platform(&info, "", -1, 0, &attr),
                                   tqDevSDK_report_status_register(nullptr),
                                   tqDevSDK_report_status_unregister(nullptr),
                                   tqDevSDK_Shadow_DomainReg(7000, nullptr),
                                   tqDevSDK_Shadow_DomainReg(7000, &keys),
                                   tqDevSDK_Shadow_DomainReg_v3(nullptr, "d", &keys_v3),
                                   tqDevSDK_Shadow_DomainReg_v3(&resource, nullptr, &keys_v3),
                                   tqDevSDK_Shadow_DomainReg_v3(&resource, "d", nullptr),
                                   tqDevSDK_Shadow_DomainReg_v3(&resource, "d", &keys_v3),
                                   tqDevSDK_Shadow_DomainDereg_v3(nullptr, "d"),
                                   tqDevSDK_Shadow_DomainDereg_v3(&resource, nullptr),
                                   tqDevSDK_Shadow_PushStatus_v3(nullptr, "d", &service, 0),
                                   tqDevSDK_Shadow_PushStatus_v3(&resource, nullptr, &service, 0),
                                   tqDevSDK_Shadow_PushStatus_v3(&resource, "d", nullptr, 0)};
    EXPECT_EQ(results, std::vector<int>(results.size(), -1));
    EXPECT_EQ(Seen(), std::vector<std::string>());
    EXPECT_EQ(tqdev_sdk_kernel_getdevinfo_bykey(nullptr), nullptr);
}

// Whatever length comes with them.
TEST_F(HostTest, NullTextsAreEmpty) {
    tqdev_sdk_kernel_pubmsg command{};
    command.msg_body_len = 5;
    EXPECT_EQ(tqdev_sdk_kernel_send(&command), 0);
    tqdev_sdk_kernel_pubmsg_v3 raw{};
    raw.msg_body_len = 5;
    EXPECT_EQ(tqdev_sdk_kernel_send_v3(&raw), 0);
    tq_basic_info info{};
    tq_model_msg msg = tq_model_msg();
    msg.length = 5;
    const tq_msg_attr attr{};
    const tq_err_info err{};
    EXPECT_EQ(tq_model_reply_to_das(&info, &msg, &err, &attr), 0);
    EXPECT_EQ(tq_model_send_to_platform(&info, nullptr, 5, 0, &attr), 0);
    EXPECT_EQ(Seen(), (std::vector<std::string>{"command 0 seq 0 response 0  ", "raw       seq 0 response 0 qos 0   5 ",
                                                "reply  of  type 0 resource   0  '' seq 0/0 qos 0 [] value 0 length 5 null",
                                                "model  of  type 0 resource   seq 0/0 qos 0 [] option 0 "}));
}

// A text of this many bytes, or a field full of it.
std::string Full(std::size_t width) { return std::string(width, 'x'); }
template <typename Field>
void Fill(Field &field) {
    memset(field, 'x', sizeof field);
}

TEST_F(HostTest, TextsMayFillTheirFields) {
    tqdev_sdk_kernel_extend extend{};
    Fill(extend.extend_module_name);
    Fill(extend.extend_module_version);
    tqdev_sdk_kernel_extend_load(&extend);
    tqDevSDK_Common_Module_Redirect_S redirect{};
    Fill(redirect.acKey);
    tqDevSDK_Common_Module_RedirectReg(&redirect);
    EXPECT_TRUE(Redirection(Full(32)));
    tq_domain_reg reg{};
    Fill(reg.domain);
    Fill(reg.identifier);
    tq_model_domain_reg(&reg);
    tqDevSDK_Shadow_Service_S key{};
    Fill(key.acKey);
    const tqDevSDK_Shadow_DomainReg_S keys{"", 0, 0, 1, &key};
    tqDevSDK_Shadow_DomainReg(7000, &keys);
    EXPECT_EQ(ShadowService(Full(64)), &key);
    tqDevSDK_Shadow_Res_t resource{};
    Fill(resource.dev_serial);
    Fill(resource.res_type);
    tqDevSDK_Shadow_Service_S_v3 key_v3{};
    Fill(key_v3.key);
    const tqDevSDK_Shadow_DomainReg_V3_S keys_v3{0, 1, &key_v3};
    tqDevSDK_Shadow_DomainReg_v3(&resource, "d", &keys_v3);
    tqdev_sdk_kernel_pubmsg command{};
    Fill(command.command_ver);
    tqdev_sdk_kernel_send(&command);
    tqdev_sdk_kernel_pubmsg_v3 raw{};
    Fill(raw.resource_id);
    Fill(raw.sub_serial);
    Fill(raw.msg_compress);
    tqdev_sdk_kernel_send_v3(&raw);
    tq_basic_info info{};
    Fill(info.identifier);
    Fill(info.subserial);
    tq_msg_attr attr{};
    Fill(attr.msg_type);
    tq_model_send_to_platform(&info, "", 0, 0, &attr);
    EXPECT_EQ(Seen(),
              (std::vector<std::string>{
                  "tqdev_sdk_kernel_extend_load 0 " + Full(32) + " " + Full(32), "tqDevSDK_Common_Module_RedirectReg " + Full(32) + " 0 0",
                  "tq_model_domain_reg " + Full(64) + " " + Full(64), "tqDevSDK_Shadow_DomainReg 7000 " + Full(64),
                  "tqDevSDK_Shadow_DomainReg_v3 " + Full(72) + " " + Full(64) + " 0 d " + Full(64), "command 0 seq 0 response 0 " + Full(32) + " ",
                  "raw    " + Full(64) + "   seq 0 response 0 qos 0 " + Full(72) + " " + Full(16) + " 0 ",
                  "model " + Full(64) + " of  type 0 resource  /" + Full(72) + " seq 0/0 qos 0 [" + Full(64) + "] option 0 "}));
}

TEST_F(HostTest, DeviceTextsOutliveTheirSetting) {
    SetDeviceInfo("dev_type", std::string(100, 'a'));
    const char *text = tqdev_sdk_kernel_getdevinfo_bykey("dev_type");
    SetDeviceInfo("dev_type", std::nullopt);
    EXPECT_EQ(tqdev_sdk_kernel_getdevinfo_bykey("dev_type"), nullptr);
    Reset();
    EXPECT_EQ(text, std::string(100, 'a'));
    EXPECT_STREQ(tqdev_sdk_kernel_getdevinfo_bykey("dev_type"), "TQ-HUB");
}

TEST(HostTime, HoursAndMinutes) {
    EXPECT_EQ(tqdev_ParseTimeHHMM("7:5"), 7 * 3600 + 5 * 60);
    EXPECT_EQ(tqdev_ParseTimeHHMM("23:59"), 86340);
    for (const char *text : {"", "24:00", "1:60", " 1:00", "1:00 ", "001:00", "1:000", "1", "1:", ":1", "-1:0"}) {
        EXPECT_EQ(tqdev_ParseTimeHHMM(text), 0) << text;
    }
    EXPECT_EQ(tqdev_MakeTimeHHMM(86399), "23:59");
    EXPECT_EQ(tqdev_MakeTimeHHMM(-1), "00:00");
    EXPECT_EQ(tqdev_MakeTimeHHMM(86400), "00:00");
}

} // namespace
