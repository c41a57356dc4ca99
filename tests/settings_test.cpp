// SPDX-License-Identifier: Apache-2.0
// Device settings: set by the platform, reported by status passes.
#include "SmartControl_xml_proc.h"
#include "module_fixture.h"

namespace {

constexpr int kSetKeyValue = 18829;

std::string Xml(const std::string &elements) { return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + elements; }

std::string Result(int result) {
    return "command 18830 seq 7 response 1 v1.0.0 " + Xml("<Response><Result>" + std::to_string(result) + "</Result></Response>");
}

std::string Forced(int status) { return "tqDevSDK_report_set_force_report " + std::to_string(status); }

struct Number {
    const char *key;
    int message, status;
    const char *failure;
};

const Number kNumbers[] = {{"device_screen_overtime", 4, 75, "error: Failed to set screen overtime cfg."},
                           {"device_video_time", 5, 76, "error: Failed to set video time cfg."},
                           {"device_auto_rouse", 6, 77, "error: Failed to set auto-rouse cfg."},
                           {"device_screen_lightness", 7, 78, "error: Failed to set screen-lightness cfg."}};

class SettingsTest : public ModuleTest {
protected:
    Outcome Set(const std::string &key, const std::string &value) {
        return AfterCommand(kSetKeyValue, "<Request><Type>" + key + "</Type><Value>" + value + "</Value></Request>");
    }

    // The settings are the first status items.
    static tqDevSDK_report_status_info Item(int key) { return tqhost::StatusItems().at(static_cast<std::size_t>(key - 74)); }

    // What an item makes of this answer by the application.
    template <typename Record>
    int IsChanged(int key, const Record &record, int result = 0) {
        on_query = [&](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, key - 73);
            EXPECT_EQ(query.len, static_cast<int>(sizeof record));
            EXPECT_EQ(std::string(query.data, sizeof record), std::string(sizeof record, '\0')) << "zeroed before the query";
            memcpy(query.data, &record, sizeof record);
            return result;
        };
        return Item(key).status_is_changed();
    }

    std::string Reported(const std::string &key, const std::string &value) {
        return "command 12382 seq " + std::to_string(next_seq_++) + " response 0 v1.0.0 " +
               Xml("<Request><DevSerial>TQ00000001</DevSerial><Authorization/><Status Type=\"" + key + "\" Value=\"" + value + "\"/></Request>");
    }

private:
    UINT32 next_seq_ = 0;
};

// ---- Set by the platform ----

TEST_F(SettingsTest, NumbersConvertAsOnTheTarget) {
    const std::pair<const char *, UINT32> values[] = {
        {"30", 30},
        {"abc", 0},
        {"", 0},
        {"  +7x", 7},
        {"0x10", 0},
        {"-5", 4294967291U},
        {"-4294967295", 1},
        {"4294967295", 4294967295U},
        {"4294967296", 4294967295U},
        {"-4294967296", 4294967295U},
        {"99999999999999999999999", 4294967295U},
    };
    for (const Number &number : kNumbers) {
        for (const auto &[text, value] : values) {
            SCOPED_TRACE(std::string(number.key) + " " + text);
            EXPECT_EQ(Set(number.key, text), (Outcome{{Forced(number.status), Result(0)}, {}}));
            EXPECT_EQ(Received<UINT32>(number.message), value);
        }
    }
}

TEST_F(SettingsTest, RefusalByTheApplicationIsAnsweredAndReported) {
    recv_result = 1;
    for (const Number &number : kNumbers) {
        const std::string refused = std::string("error: Failed to set key value, key=") + number.key + ", value= 5& ";
        EXPECT_EQ(Set(number.key, " 5&amp; "), (Outcome{{Forced(number.status), Result(4)}, {number.failure, refused}}));
    }
    const Outcome outcome = Set("device_ICR_DSS", R"({"mode":1,"sensitivity":2})");
    EXPECT_EQ(outcome.sent, (Lines{Forced(74), Result(4)}));
    EXPECT_EQ(outcome.log[0], "error: Failed to set icr dss cfg.");

    tqDevSDK_SmartControl_fini();
    TakeLog();
    for (const std::string key : {"device_ICR_DSS", "device_auto_rouse"}) {
        EXPECT_EQ(Set(key, "{").log, (Lines{"error: NULL cb func of recv_msg.", "error: Failed to set key value, key=" + key + ", value={"}))
            << "the callback is looked at first";
    }
}

TEST_F(SettingsTest, DayNightSettingIsReadFromJson) {
    static const struct { // static, so that the padding is zero
        const char *json;
        tqDevSDK_SmartControl_msg_IcrDss_S setting;
    } cases[] = {
        {R"({"mode":1,"sensitivity":300})", {1, 44, {0, 0}}},
        {R"({"autoTimeEnd":"23:59","autoTimeBegin":"7:05","sensitivity":2,"mode":-1})", {255, 2, {25500, 86340}}},
        {R"({"mode":"1","sensitivity":true,"autoTimeBegin":5,"autoTimeEnd":"25:00"})", {0, 1, {0, 0}}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.json);
        EXPECT_EQ(Set("device_ICR_DSS", row.json).sent, (Lines{Forced(74), Result(0)}));
        const auto record = Received<tqDevSDK_SmartControl_msg_IcrDss_S>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS, 12);
        EXPECT_EQ(memcmp(&record, &row.setting, sizeof record), 0);
    }
}

TEST_F(SettingsTest, BadRequestsAreAnsweredWithTheirClass) {
    const std::string parse = "error: Failed to parse XML of smart control, while rsp_cmd = 0x498e";
    const std::string root = "error: Can not find Request or Response about smart control, while rsp_cmd = 0x498e";
    const std::pair<std::optional<std::string>, std::string> bodies[] = {
        {std::nullopt, parse},
        {"", parse},
        {"<Request></Reply>", parse},
        {"<Other/><Request><Type>device_auto_rouse</Type><Value>1</Value></Request>", parse},
        {"<Other/>", root},
        {"<request/>", root},
        {"<?xml version=\"1.0\"?>", root},
        {"<Request>device_auto_rouse<Value>1</Value></Request>", "error: Failed to find elem:Type."},
        {"<Request><Type>device_auto_rouse</Type></Request>", "error: Failed to find elem:Value."},
    };
    for (const auto &[body, text] : bodies) {
        EXPECT_EQ(AfterCommand(kSetKeyValue, body), (Outcome{{Result(3)}, {text}})) << body.value_or("null").substr(0, 80);
    }
    for (const std::string &key : {std::string(), std::string("Device_auto_rouse"), std::string(" device_auto_rouse"), std::string(70, 'k')}) {
        EXPECT_EQ(Set(key, "1"), (Outcome{{Result(2)}, {"error: Invalid Key:" + key.substr(0, 63)}})) << "nothing is forced";
    }
    const std::pair<std::string, std::string> day_night[] = {
        {"{", "Failed to parse value string of icr dss:{"},
        {"", "Failed to parse value string of icr dss:"},
        {R"({"sensitivity":1})", "Failed to find item:mode"},
        {R"({"mode":1})", "Failed to find item:sensitivity"},
    };
    for (const auto &[json, text] : day_night) {
        const std::string refused = "error: Failed to set key value, key=device_ICR_DSS, value=" + json;
        EXPECT_EQ(Set("device_ICR_DSS", json), (Outcome{{Forced(74), Result(4)}, {"error: " + text, refused}}));
    }
    EXPECT_EQ(ReceivedCount(), 0U);
}

TEST_F(SettingsTest, RequestsOfOtherFormsAreRead) {
    for (const char *body : {"<Response><Value>5</Value><Other><Type>x</Type></Other><Type>device_video_time</Type></Response>",
                             "<Request a=\"b\"><Type>device_<![CDATA[video]]>_time</Type><Value>5&e;</Value><Type>y</Type><UserDefine/></Request>"}) {
        EXPECT_EQ(AfterCommand(kSetKeyValue, body).sent, (Lines{Forced(76), Result(0)})) << body;
        EXPECT_EQ(Received<UINT32>(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME), 5U);
    }
}

TEST_F(SettingsTest, EntryPointKeepsItsOddCases) {
    const std::string good = "<Request><Type>device_auto_rouse</Type><Value>1</Value></Request>";
    const std::string silent = "debug: SmartControl XML Proc: rsp_cmd=0x498e, No rsp msg, Ret=-1.";
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(18830, 0, 7, good.c_str()), -1);
    EXPECT_EQ(TakeLog(), (Lines{"debug: Invalid cmdid in SmartControl XML Rsp Proc:0x498e", silent}));
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(18830, 2, 7, "no"), -1);
    EXPECT_EQ(TakeLog().back(), silent);
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(5, 1, 7, good.c_str()), 0);
    EXPECT_EQ(Take(), Lines{"command 5 seq 7 response 1 v1.0.0 " + Xml("<Response><Result>0</Result></Response>")});
    EXPECT_EQ(TakeLog(), Lines{"debug: Invalid cmdid in SmartControl XML Req Proc:0x5"});
    EXPECT_EQ(ReceivedCount(), 0U);

    tqhost::Fail("tqdev_sdk_kernel_send", 4, 1);
    EXPECT_EQ(AfterCommand(kSetKeyValue, good).log, (Lines{"error: Failed to send msg to platform:error=0x4", "error: result_code -1"}));
}

// ---- Reported by status passes ----

TEST_F(SettingsTest, NumbersAreReportedAsSeenLast) {
    for (const Number &number : kNumbers) {
        SCOPED_TRACE(number.key);
        const tqDevSDK_report_status_info item = Item(number.status);
        EXPECT_EQ(item.report_status(0), 0);
        EXPECT_EQ(Take(), Lines{Reported(number.key, "-1")}) << "nothing seen yet";
        for (const auto &[value, text] : {std::pair(0U, "0"), {2147483647U, "2147483647"}, {2147483648U, "-2147483648"}}) {
            EXPECT_EQ(IsChanged(number.status, value), 1);
            EXPECT_EQ(IsChanged(number.status, value), 0);
            EXPECT_EQ(item.report_status(1), 0);
            EXPECT_EQ(Take(), Lines{Reported(number.key, text)}) << "a forced report is the same";
        }
        EXPECT_EQ(IsChanged(number.status, 5U, 0x1004), -1);
        EXPECT_EQ(IsChanged(number.status, 5U, 5), 0);
        EXPECT_EQ(item.status_reset(), 0);
        EXPECT_EQ(IsChanged(number.status, 4294967295U), 0) << "the reset value is not a change";
    }
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(SettingsTest, DayNightIsComparedBytewise) {
    const auto reported = [&](const std::string &begin, const std::string &end) {
        EXPECT_EQ(Item(74).report_status(0), 0);
        EXPECT_EQ(Take(),
                  Lines{Reported("device_ICR_DSS", "{&#10;&#09;&quot;mode&quot;:&#09;255,&#10;&#09;&quot;sensitivity&quot;:&#09;254,&#10;&#09;"
                                                   "&quot;autoTimeBegin&quot;:&#09;&quot;" +
                                                       begin +
                                                       "&quot;,&#10;&#09;"
                                                       "&quot;autoTimeEnd&quot;:&#09;&quot;" +
                                                       end + "&quot;&#10;}")});
    };
    tqDevSDK_SmartControl_msg_IcrDss_S record;
    memset(&record, 0xFF, sizeof record);
    EXPECT_EQ(IsChanged(74, record), 0) << "as after a reset";
    EXPECT_EQ(IsChanged(74, record, 0x2004), -1);
    reinterpret_cast<char *>(&record)[3] = 0;
    EXPECT_EQ(IsChanged(74, record), 1) << "the padding counts";
    EXPECT_EQ(IsChanged(74, record), 0);
    record.ucSensitivity = 254;
    EXPECT_EQ(IsChanged(74, record), 1);
    reported("00:00", "00:00");
    record.autoTime = {25500, 86340};
    EXPECT_EQ(IsChanged(74, record), 1);
    reported("07:05", "23:59");
    memset(&record, 0xFF, sizeof record);
    EXPECT_EQ(Item(74).status_reset(), 0);
    EXPECT_EQ(IsChanged(74, record), 0);
}

TEST_F(SettingsTest, FailuresOfReportsAreReturnedAndLogged) {
    tqhost::SetDeviceInfo("dev_subserial", std::nullopt);
    EXPECT_EQ(Item(75).report_status(0), 0);
    EXPECT_NE(Take()[0].find("<DevSerial/>"), std::string::npos);
    tqhost::Fail("tqdev_sdk_kernel_send", 4);
    EXPECT_EQ(Item(74).report_status(0), -1);
    EXPECT_EQ(Item(75).report_status(0), -1);
    const std::vector<tqDevSDK_report_status_info> items = tqhost::StatusItems();
    tqDevSDK_SmartControl_fini();
    TakeLog();
    for (const tqDevSDK_report_status_info &item : items) {
        EXPECT_EQ(item.status_is_changed(), 0);
    }
    EXPECT_EQ(TakeLog(), Lines(7, "error: NULL cb func of getting runtime info."));
}

} // namespace
