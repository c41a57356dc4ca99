// SPDX-License-Identifier: Apache-2.0
// Device settings: set by the platform, reported by status passes; and the rule texts that status passes
// watch.
#include <map>

#include "SmartControl_xml_proc.h"
#include "module_fixture.h"

namespace {

constexpr int kSetKeyValue = 18829;

std::string Xml(const std::string &elements) { return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + elements; }

std::string SetRequest(const std::string &key, const std::string &value) {
    return Xml("<Request><Type>" + key + "</Type><Value>" + value + "</Value></Request>");
}

std::string Result(int result) {
    return "command 18830 seq 7 response 1 v1.0.0 " + Xml("<Response><Result>" + std::to_string(result) + "</Result></Response>");
}

std::string Forced(int status) { return "tqDevSDK_report_set_force_report " + std::to_string(status); }

struct Number {
    const char *key;
    int message, query, status;
    const char *failure;
};

const Number kNumbers[] = {
    {"device_screen_overtime", 4, 2, 75, "error: Failed to set screen overtime cfg."},
    {"device_video_time", 5, 3, 76, "error: Failed to set video time cfg."},
    {"device_auto_rouse", 6, 4, 77, "error: Failed to set auto-rouse cfg."},
    {"device_screen_lightness", 7, 5, 78, "error: Failed to set screen-lightness cfg."},
};

class SetTest : public ModuleTest {};

TEST_F(SetTest, NumbersConvertAsOnTheTarget) {
    const std::pair<const char *, UINT32> values[] = {
        {"30", 30},
        {"abc", 0},
        {"", 0},
        {"  +7x", 7},
        {"-5", 4294967291U},
        {"4294967295", 4294967295U},
        {"4294967296", 4294967295U},
        {"-4294967296", 4294967295U},
        {"-4294967295", 1},
        {"99999999999999999999999", 4294967295U},
        {"0x10", 0},
    };
    for (const Number &number : kNumbers) {
        for (const auto &[text, value] : values) {
            SCOPED_TRACE(std::string(number.key) + " " + text);
            Command(kSetKeyValue, SetRequest(number.key, text));
            EXPECT_EQ(Received<UINT32>(number.message), value);
            EXPECT_EQ(Take(), (Lines{Forced(number.status), Result(0)}));
        }
    }
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(SetTest, RefusalByTheApplicationIsAnsweredAndReported) {
    recv_result = 1;
    for (const Number &number : kNumbers) {
        const Outcome outcome = AfterCommand(kSetKeyValue, SetRequest(number.key, " 5&amp; "));
        EXPECT_EQ(outcome.sent, (Lines{Forced(number.status), Result(4)}));
        EXPECT_EQ(outcome.log, (Lines{number.failure, std::string("error: Failed to set key value, key=") + number.key + ", value= 5& "}));
    }
    const Outcome outcome = AfterCommand(kSetKeyValue, SetRequest("device_ICR_DSS", R"({"mode":1,"sensitivity":2})"));
    EXPECT_EQ(outcome.sent, (Lines{Forced(74), Result(4)}));
    EXPECT_EQ(outcome.log[0], "error: Failed to set icr dss cfg.");

    tqDevSDK_SmartControl_fini();
    Take();
    TakeLog();
    for (const char *key : {"device_ICR_DSS", "device_auto_rouse"}) {
        EXPECT_EQ(AfterCommand(kSetKeyValue, SetRequest(key, "{")).log,
                  (Lines{"error: NULL cb func of recv_msg.", std::string("error: Failed to set key value, key=") + key + ", value={"}))
            << "the callback is looked at first";
    }
}

TEST_F(SetTest, DayNightSettingIsReadFromJson) {
    struct {
        const char *json;
        UINT8 mode, sensitivity;
        int32_t begin, end;
    } const cases[] = {
        {R"({"mode":1,"sensitivity":300})", 1, 44, 0, 0},
        {R"({"autoTimeEnd":"23:59","autoTimeBegin":"7:05","sensitivity":2,"mode":-1})", 255, 2, 25500, 86340},
        {R"({"mode":"1","sensitivity":true,"autoTimeBegin":5,"autoTimeEnd":"25:00"})", 0, 1, 0, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.json);
        Command(kSetKeyValue, SetRequest("device_ICR_DSS", row.json));
        tqDevSDK_SmartControl_msg_IcrDss_S expected;
        memset(&expected, 0, sizeof expected);
        expected.ucMode = row.mode;
        expected.ucSensitivity = row.sensitivity;
        expected.autoTime = {row.begin, row.end};
        const auto record = Received<tqDevSDK_SmartControl_msg_IcrDss_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS, 12);
        EXPECT_EQ(memcmp(&record, &expected, sizeof expected), 0);
        EXPECT_EQ(Take(), (Lines{Forced(74), Result(0)}));
    }
    const std::pair<std::string, std::string> bad[] = {
        {"{", "Failed to parse value string of icr dss:{"},
        {"", "Failed to parse value string of icr dss:"},
        {R"({"sensitivity":1})", "Failed to find item:mode"},
        {R"({"mode":1})", "Failed to find item:sensitivity"},
    };
    TakeLog();
    for (const auto &[json, text] : bad) {
        SCOPED_TRACE(json);
        const Outcome outcome = AfterCommand(kSetKeyValue, SetRequest("device_ICR_DSS", json));
        EXPECT_EQ(outcome.sent, (Lines{Forced(74), Result(4)}));
        EXPECT_EQ(outcome.log, (Lines{"error: " + text, "error: Failed to set key value, key=device_ICR_DSS, value=" + json}));
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(SetTest, BadRequestsAreAnsweredWithTheirClass) {
    const std::string parse = "error: Failed to parse XML of smart control, while rsp_cmd = 0x498e";
    const std::string root = "error: Can not find Request or Response about smart control, while rsp_cmd = 0x498e";
    const std::string long_key(70, 'k');
    struct {
        std::optional<std::string> body;
        int result;
        std::string log;
    } const cases[] = {
        {std::nullopt, 3, parse},
        {"", 3, parse},
        {"text", 3, parse},
        {"<Request><Type>", 3, parse},
        {"<Request></Reply>", 3, parse},
        {"<Other/><Request><Type>device_auto_rouse</Type><Value>1</Value></Request>", 3, parse},
        {"<Other/>", 3, root},
        {"<request/>", 3, root},
        {"<?xml version=\"1.0\"?>", 3, root},
        {"<Request/>", 3, "error: Failed to find elem:Type."},
        {"<Request>device_auto_rouse<Value>1</Value></Request>", 3, "error: Failed to find elem:Type."},
        {"<Request><Type>device_auto_rouse</Type></Request>", 3, "error: Failed to find elem:Value."},
        {"<Request><Type/><Value>1</Value></Request>", 2, "error: Invalid Key:"},
        {SetRequest("Device_auto_rouse", "1"), 2, "error: Invalid Key:Device_auto_rouse"},
        {SetRequest(" device_auto_rouse", "1"), 2, "error: Invalid Key: device_auto_rouse"},
        {SetRequest(long_key, "1"), 2, "error: Invalid Key:" + long_key.substr(0, 63)},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.body.value_or("null"));
        const Outcome outcome = AfterCommand(kSetKeyValue, row.body);
        EXPECT_EQ(outcome.sent, Lines{Result(row.result)}) << "nothing is forced";
        EXPECT_EQ(outcome.log, Lines{row.log});
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(SetTest, UnusualDocumentsAreRead) {
    const char *const bodies[] = {
        "<Response><Value>5</Value><Type>device_video_time</Type></Response>",
        "\xEF\xBB\xBF<?xml version=\"1.0\"?><!-- c --><Request a=\"b\"><Other><Type>x</Type></Other>"
        "<Type>device_<![CDATA[video]]>_time</Type><Value><!-- c -->5</Value><Type>y</Type></Request>",
        "<!DOCTYPE r [<!ENTITY e "
        "\"9\">]><Request><Type>device_video_time</Type><Value>5&e;</Value></Request>",
        "<Request xmlns=\"u\"><Type>device&#95;video_time</Type><Value>5</Value><UserDefine "
        "MsgSeq=\"3\"/></Request>",
    };
    for (const char *body : bodies) {
        SCOPED_TRACE(body);
        Command(kSetKeyValue, body);
        EXPECT_EQ(Received<UINT32>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME), 5U);
        EXPECT_EQ(Take(), (Lines{Forced(76), Result(0)}));
    }
}

TEST_F(SetTest, HostileDocumentsEndInAResult) {
    std::string nested;
    for (int i = 0; i < 500000; ++i) {
        nested += "<a>";
    }
    EXPECT_EQ(AfterCommand(kSetKeyValue, nested).sent, Lines{Result(3)});
    EXPECT_EQ(AfterCommand(kSetKeyValue, "<Request>" + std::string(4 << 20, ' ') + "</Request>").sent, Lines{Result(3)});
    std::string bomb = "<!DOCTYPE r [<!ENTITY a0 \"ha\">";
    for (int i = 1; i < 30; ++i) {
        const std::string last = "&a" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY a" + std::to_string(i) + " \"" + last + last + "\">";
    }
    EXPECT_EQ(AfterCommand(kSetKeyValue, bomb + "]>" + SetRequest("&a29;", "1").substr(39)).sent, Lines{Result(2)});
}

TEST_F(SetTest, EntryPointKeepsItsOddCases) {
    const std::string good = SetRequest("device_auto_rouse", "1");
    const Lines silent = {"debug: SmartControl XML Proc: rsp_cmd=0x498e, No rsp msg, Ret=-1."};
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(18830, 0, 7, good.c_str()), -1);
    EXPECT_EQ(TakeLog(), (Lines{"debug: Invalid cmdid in SmartControl XML Rsp Proc:0x498e", silent[0]}));
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(18830, 2, 7, "no"), -1);
    EXPECT_EQ(TakeLog().back(), silent[0]);
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(5, 1, 7, good.c_str()), 0);
    EXPECT_EQ(Take(), Lines{"command 5 seq 7 response 1 v1.0.0 " + Xml("<Response><Result>0</Result></Response>")});
    EXPECT_EQ(TakeLog(), Lines{"debug: Invalid cmdid in SmartControl XML Req Proc:0x5"});
    EXPECT_EQ(ReceivedCount(), 0U);

    tqhost::Fail("tqdev_sdk_kernel_send", 4, 1);
    EXPECT_EQ(AfterCommand(kSetKeyValue, good).log, (Lines{"error: Failed to send msg to platform:error=0x4", "error: result_code -1"}));
}

// ---- Status items of settings ----

class StatusTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
            items_[static_cast<int>(item.status_value)] = item;
        }
    }

    const tqDevSDK_report_status_info &Item(int key) { return items_.at(key); }

    // The application answers a query of this type with these bytes.
    template <typename Record>
    void AnswerWith(int type, const Record &record, int result = 0) {
        // As bytes: a copied record may lose its padding.
        const char *first = reinterpret_cast<const char *>(&record);
        on_query = [type, bytes = std::vector<char>(first, first + sizeof record), result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, type);
            EXPECT_EQ(query.len, static_cast<int>(bytes.size()));
            const std::vector<char> zeros(bytes.size());
            EXPECT_EQ(memcmp(query.data, zeros.data(), bytes.size()), 0) << "zeroed before the query";
            memcpy(query.data, bytes.data(), bytes.size());
            return result;
        };
    }

    std::string Reported(const std::string &key, const std::string &value) {
        return "command 12382 seq " + std::to_string(next_seq_++) + " response 0 v1.0.0 " +
               Xml("<Request><DevSerial>TQ00000001</DevSerial><Authorization/><Status Type=\"" + key + "\" Value=\"" + value + "\"/></Request>");
    }

private:
    std::map<int, tqDevSDK_report_status_info> items_;
    UINT32 next_seq_ = 0;
};

TEST_F(StatusTest, NumbersAreReportedAsSeenLast) {
    for (const Number &number : kNumbers) {
        SCOPED_TRACE(number.key);
        const tqDevSDK_report_status_info &item = Item(number.status);
        EXPECT_EQ(item.report_status(0), 0);
        EXPECT_EQ(Take(), Lines{Reported(number.key, "-1")}) << "nothing seen yet";
        for (const auto &[value, text] :
             std::vector<std::pair<UINT32, std::string>>{{0, "0"}, {2147483647U, "2147483647"}, {2147483648U, "-2147483648"}}) {
            AnswerWith(number.query, value);
            EXPECT_EQ(item.status_is_changed(), 1);
            EXPECT_EQ(item.status_is_changed(), 0);
            EXPECT_EQ(item.report_status(1), 0);
            EXPECT_EQ(item.report_status(0), 0) << "a forced report is the same";
            const std::string forced = Reported(number.key, text);
            EXPECT_EQ(Take(), (Lines{forced, Reported(number.key, text)}));
        }
        AnswerWith(number.query, UINT32{5}, 0x1004);
        EXPECT_EQ(item.status_is_changed(), -1);
        AnswerWith(number.query, UINT32{5}, 5);
        EXPECT_EQ(item.status_is_changed(), 0);
        AnswerWith(number.query, 4294967295U);
        EXPECT_EQ(item.status_reset(), 0);
        EXPECT_EQ(item.status_is_changed(), 0) << "the reset value is not a change";
        EXPECT_EQ(Take(), Lines{});
    }
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(StatusTest, DayNightIsComparedBytewise) {
    const tqDevSDK_report_status_info &item = Item(74);
    const auto json = [](int mode, int sensitivity, const char *begin, const char *end) {
        return "{&#10;&#09;&quot;mode&quot;:&#09;" + std::to_string(mode) + ",&#10;&#09;&quot;sensitivity&quot;:&#09;" + std::to_string(sensitivity) +
               ",&#10;&#09;&quot;autoTimeBegin&quot;:&#09;&quot;" + begin + "&quot;,&#10;&#09;&quot;autoTimeEnd&quot;:&#09;&quot;" + end +
               "&quot;&#10;}";
    };
    EXPECT_EQ(item.report_status(0), 0);
    EXPECT_EQ(Take(), Lines{Reported("device_ICR_DSS", json(255, 255, "00:00", "00:00"))});

    // As the reset value, but for the padding.
    tqDevSDK_SmartControl_msg_IcrDss_S record;
    memset(&record, 0, sizeof record);
    record.ucMode = 255;
    record.ucSensitivity = 255;
    record.autoTime = {-1, -1};
    AnswerWith(1, record);
    EXPECT_EQ(item.status_is_changed(), 1);
    EXPECT_EQ(item.status_is_changed(), 0);

    record.autoTime = {25500, 86340};
    AnswerWith(1, record);
    EXPECT_EQ(item.status_is_changed(), 1);
    EXPECT_EQ(item.report_status(7), 0);
    EXPECT_EQ(Take(), Lines{Reported("device_ICR_DSS", json(255, 255, "07:05", "23:59"))});
    reinterpret_cast<char *>(&record)[3] = 1;
    AnswerWith(1, record);
    EXPECT_EQ(item.status_is_changed(), 1) << "the padding counts";

    memset(&record, 0xFF, sizeof record);
    AnswerWith(1, record);
    EXPECT_EQ(item.status_reset(), 0);
    EXPECT_EQ(item.status_is_changed(), 0);
    AnswerWith(1, record, 0x2004);
    EXPECT_EQ(item.status_is_changed(), -1);
}

TEST_F(StatusTest, FailuresAreReturnedAndLogged) {
    tqhost::SetDeviceInfo("dev_subserial", std::nullopt);
    EXPECT_EQ(Item(75).report_status(0), 0);
    EXPECT_NE(Take()[0].find("<DevSerial/>"), std::string::npos);
    tqhost::Fail("tqdev_sdk_kernel_send", 4);
    for (const int key : {74, 75}) {
        EXPECT_EQ(Item(key).report_status(0), -1);
    }
    const std::vector<int> keys = {74, 75, 76, 77, 78, 125, 126};
    std::vector<tqDevSDK_report_status_info> items;
    for (const int key : keys) {
        items.push_back(Item(key));
    }
    tqDevSDK_SmartControl_fini();
    TakeLog();
    for (const tqDevSDK_report_status_info &item : items) {
        EXPECT_EQ(item.status_is_changed(), 0);
    }
    EXPECT_EQ(TakeLog(), Lines(keys.size(), "error: NULL cb func of getting runtime info."));
}

TEST_F(StatusTest, SettingOfThePlatformIsReportedAtTheNextPass) {
    UINT32 lightness = 50;
    on_query = [&](tqDevSDK_SmartControl_runtime_info &query) {
        if (query.type != TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS) {
            return 1;
        }
        memcpy(query.data, &lightness, sizeof lightness);
        return 0;
    };
    const std::string key = "device_screen_lightness";
    tqhost::StatusPass();
    EXPECT_EQ(Take(), Lines{Reported(key, "50")});
    Command(kSetKeyValue, SetRequest(key, "50"));
    EXPECT_EQ(Take(), (Lines{Forced(78), Result(0)}));
    tqhost::StatusPass();
    EXPECT_EQ(Take(), Lines{Reported(key, "50")}) << "unchanged, but forced";
    tqhost::StatusPass();
    EXPECT_EQ(Take(), Lines{});
    lightness = 70;
    tqhost::StatusPass();
    EXPECT_EQ(Take(), Lines{Reported(key, "70")});
}

// ---- Status items of rule texts ----

class RuleItemTest : public StatusTest, public testing::WithParamInterface<int> {
protected:
    int Type() const { return GetParam() == 125 ? 6 : 7; }

    // The application answers with this text; a null one for none. The copy is the module's.
    void Answer(const char *text, int result = 0) {
        on_query = [this, text, result](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, Type());
            auto *record = reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data);
            EXPECT_EQ(record->uiVersion, 0U);
            EXPECT_EQ(record->rule, nullptr);
            lens_.push_back(query.len);
            record->rule = text != nullptr ? strdup(text) : nullptr;
            given_ = record->rule;
            return result;
        };
    }

    int IsChanged(const char *text, int result = 0) {
        Answer(text, result);
        return Item(GetParam()).status_is_changed();
    }

    char *given_ = nullptr;
    std::vector<int> lens_;
};

TEST_P(RuleItemTest, OnlyTheFirstTextAndEqualOnesCountAsChanged) {
    const tqDevSDK_report_status_info &item = Item(GetParam());
    EXPECT_EQ(IsChanged(nullptr), 0);
    EXPECT_EQ(IsChanged("A"), 1);
    EXPECT_EQ(IsChanged("A"), 1);
    EXPECT_EQ(IsChanged(nullptr), 0);
    EXPECT_EQ(IsChanged("B"), 0);
    free(given_); // neither stored nor released: the module has forgotten it
    EXPECT_EQ(IsChanged("A"), 1) << "the cache is still A";
    EXPECT_EQ(lens_, std::vector<int>(6, 8));

    EXPECT_EQ(item.status_reset(), 0);
    EXPECT_EQ(item.status_reset(), 0);
    EXPECT_EQ(IsChanged("B"), 1);
    item.status_reset();
    EXPECT_EQ(IsChanged("C", 0x1004), -1);
    free(given_); // what a failing query leaves is the application's
    EXPECT_EQ(IsChanged("C", 0x1003), 0);
    free(given_);
    EXPECT_EQ(IsChanged("D"), 1) << "a failed query stored nothing";
    tqDevSDK_SmartControl_fini();
    item.status_reset();
}

TEST_P(RuleItemTest, ReportPushesUnlessForced) {
    const tqDevSDK_report_status_info &item = Item(GetParam());
    EXPECT_EQ(item.report_status(1), 0);
    EXPECT_EQ(item.report_status(-5), 0);
    EXPECT_EQ(Take(), Lines{});
    const std::string key = GetParam() == 125 ? "SceneLink" : "LocalLink";
    const std::string call = "tqDevSDK_Shadow_PushStatus_v3 TQ00000001 Video 1 TQLink " + key + " 0";
    on_query = [](tqDevSDK_SmartControl_runtime_info &query) {
        reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = strdup("[1]");
        return 0;
    };
    EXPECT_EQ(item.report_status(0), 0);
    EXPECT_EQ(Take(), (Lines{call, "shadow " + key + " version 0 reset 0 type 3 [1]"}));
    tqhost::Fail("tqDevSDK_Shadow_PushStatus_v3", 41, 1);
    EXPECT_EQ(item.report_status(0), 41);
    item.status_reset();
}

INSTANTIATE_TEST_SUITE_P(Keys, RuleItemTest, testing::Values(125, 126));

} // namespace
