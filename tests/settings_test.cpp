// SPDX-License-Identifier: Apache-2.0
// Device settings, where the recorded contract does not see them: records byte by byte, the status items
// called one by one, a module without an application, the odd cases of the entry point.
#include "MarkupSTL.h"
#include "SmartControl_xml_proc.h"
#include "module_fixture.h"

namespace {

thread_local std::vector<std::pair<std::string, int>> g_numbers; // set as attributes
}

// SetAttrib with a number, put between the module and the XML class by the linker.
extern "C" bool __real__ZN10CMarkupSTL9SetAttribEPKci(CMarkupSTL *document, const char *name, int value);
extern "C" bool __wrap__ZN10CMarkupSTL9SetAttribEPKci(CMarkupSTL *document, const char *name, int value) {
    g_numbers.emplace_back(name, value);
    return __real__ZN10CMarkupSTL9SetAttribEPKci(document, name, value);
}

namespace {

// What differs between the settings.
struct Setting {
    const char *key;
    int message, query, item;
};

constexpr Setting kIcrDss = {"device_ICR_DSS", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS,
                             TQDEVSDK_ReportDeviceIcrDss};
constexpr Setting kNumbers[] = {
    {"device_screen_overtime", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME,
     TQDEVSDK_ReportDeviceScreenOvertime},
    {"device_video_time", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_VIDEO_TIME,
     TQDEVSDK_ReportDeviceVideoTime},
    {"device_auto_rouse", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_AUTO_ROUSE,
     TQDEVSDK_ReportDeviceScreenAutoRaise},
    {"device_screen_lightness", TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS, TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS,
     TQDEVSDK_ReportDeviceScreenLightness},
};

class SettingsTest : public ModuleTest {
protected:
    // What a setting's item makes of this answer by the application.
    template <typename Record>
    int IsChanged(const Setting &setting, const Record &record, int result = 0) {
        on_query = [&](tqDevSDK_SmartControl_runtime_info &query) {
            EXPECT_EQ(query.type, setting.query);
            EXPECT_EQ(query.len, static_cast<int>(sizeof record));
            EXPECT_EQ(std::string(query.data, sizeof record), std::string(sizeof record, '\0')) << "zeroed before the query";
            memcpy(query.data, &record, sizeof record);
            return result;
        };
        return StatusItem(setting.item).status_is_changed();
    }

    static std::string Request(const std::string &key, const std::string &value) {
        return "<Request><Type>" + key + "</Type><Value>" + value + "</Value></Request>";
    }
};

TEST_F(SettingsTest, RecordsAreHandedOverWhole) {
    for (const Setting &setting : kNumbers) {
        Command(kSetKeyValue, Request(setting.key, "-5"));
        EXPECT_EQ(TakeReceived(), (Messages{{setting.message, Bytes(UINT32{4294967291U})}}));
    }
    static const tqDevSDK_SmartControl_msg_IcrDss_S setting{1, 2, {25500, 0}}; // static, so that the padding is zero
    Command(kSetKeyValue, Request(kIcrDss.key, R"({"mode":1,"sensitivity":2,"autoTimeBegin":"7:05"})"));
    EXPECT_EQ(TakeReceived(), (Messages{{kIcrDss.message, Bytes(setting)}}));
    EXPECT_EQ(sizeof setting, 12U);
}

TEST_F(SettingsTest, RequestsAreMarkedWithTheirSequenceNumber) {
    g_numbers.clear();
    Command(kSetKeyValue, Request("device_auto_rouse", "1"));
    EXPECT_EQ(g_numbers, (std::vector<std::pair<std::string, int>>{{"MsgSeq", 7}})) << "though the answer does not carry it";
}

TEST_F(SettingsTest, OddCallsOfTheEntryPoint) {
    const std::string good = Request("device_auto_rouse", "1");
    const std::string silent = "debug: SmartControl XML Proc: rsp_cmd=0x498e, No rsp msg, Ret=-1.";
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(18830, 0, 7, good.c_str()), -1);
    EXPECT_EQ(TakeLog(), (Lines{"debug: Invalid cmdid in SmartControl XML Rsp Proc:0x498e", silent}));
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(18830, 2, 7, "no"), -1);
    EXPECT_EQ(TakeLog().back(), silent);
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(SmartControl_BusPlatform_XmlHandle_ReqAndRsp(5, 1, 7, good.c_str()), 0);
    EXPECT_EQ(Take(), Lines{"command 5 seq 7 response 1 v1.0.0 <?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                            "<Response><Result>0</Result></Response>"});
    EXPECT_EQ(TakeLog(), Lines{"debug: Invalid cmdid in SmartControl XML Req Proc:0x5"});
    EXPECT_EQ(TakeReceived(), Messages{});
}

TEST_F(SettingsTest, NumbersAreAskedForAndCompared) {
    for (const Setting &setting : kNumbers) {
        SCOPED_TRACE(setting.key);
        EXPECT_EQ(IsChanged(setting, 5U), 1);
        EXPECT_EQ(IsChanged(setting, 5U), 0);
        EXPECT_EQ(IsChanged(setting, 6U, 0x1004), -1);
        EXPECT_EQ(IsChanged(setting, 6U, 0x104), 0) << "a query that fails otherwise is no change";
        EXPECT_EQ(StatusItem(setting.item).status_reset(), 0);
        EXPECT_EQ(IsChanged(setting, 4294967295U), 0) << "what a reset leaves";
    }
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(SettingsTest, DayNightIsComparedBytewise) {
    tqDevSDK_SmartControl_msg_IcrDss_S record;
    memset(&record, 0xFF, sizeof record);
    const tqDevSDK_report_status_info item = StatusItem(kIcrDss.item);
    EXPECT_EQ(IsChanged(kIcrDss, record), 0) << "as after a reset";
    EXPECT_EQ(IsChanged(kIcrDss, record, 0x2004), -1);
    reinterpret_cast<char *>(&record)[3] = 0;
    EXPECT_EQ(IsChanged(kIcrDss, record), 1) << "the padding counts";
    EXPECT_EQ(IsChanged(kIcrDss, record), 0);
    tqhost::SetDeviceInfo("dev_subserial", std::nullopt);
    EXPECT_EQ(item.report_status(0), 0);
    EXPECT_EQ(Take(), Lines{"command 12382 seq 0 response 0 v1.0.0 <?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Request><DevSerial/>"
                            "<Authorization/><Status Type=\"device_ICR_DSS\" Value=\"{&#10;&#09;&quot;mode&quot;:&#09;255,&#10;&#09;"
                            "&quot;sensitivity&quot;:&#09;255,&#10;&#09;&quot;autoTimeBegin&quot;:&#09;&quot;00:00&quot;,&#10;&#09;"
                            "&quot;autoTimeEnd&quot;:&#09;&quot;00:00&quot;&#10;}\"/></Request>"})
        << "no serial, times outside the day";
    memset(&record, 0xFF, sizeof record);
    EXPECT_EQ(item.status_reset(), 0);
    EXPECT_EQ(IsChanged(kIcrDss, record), 0);
}

TEST_F(SettingsTest, NothingIsAskedOrSetWithoutAnApplication) {
    const std::vector<tqDevSDK_report_status_info> items = tqhost::StatusItems();
    tqDevSDK_SmartControl_fini();
    TakeLog();
    for (const tqDevSDK_report_status_info &item : items) {
        EXPECT_EQ(item.status_is_changed(), 0);
    }
    EXPECT_EQ(TakeLog(), Lines(7, "error: NULL cb func of getting runtime info."));
    for (const std::string key : {kIcrDss.key, kNumbers[0].key}) {
        Command(kSetKeyValue, Request(key, "{"));
        EXPECT_EQ(TakeLog(), (Lines{"error: NULL cb func of recv_msg.", "error: Failed to set key value, key=" + key + ", value={"}))
            << "the callback is looked at first";
    }
}

} // namespace
