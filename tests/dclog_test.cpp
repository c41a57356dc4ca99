// SPDX-License-Identifier: Apache-2.0
#include "module_fixture.h"

namespace {

class DclogTest : public ModuleTest {
protected:
    static int Push(const tqDevSDK_SmartControl_DCLogParam_S *param) {
        tqDevSDK_SmartControl_DclogMsg_S msg{tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, const_cast<tqDevSDK_SmartControl_DCLogParam_S *>(param), 0};
        return tqDevSDK_SmartControl_PushDclog(&msg);
    }

    // A record whose every byte is set, so that what must not be copied shows.
    static tqDevSDK_SmartControl_DCLogParam_S Param(const std::string &system) {
        tqDevSDK_SmartControl_DCLogParam_S param;
        memset(&param, 'A', sizeof param);
        Set(param.acSystemName, system);
        param.uiStartTime_sec = 1;
        param.uiStartTime_usec = 2;
        param.uiEndTime_sec = 3;
        param.uiEndTime_usec = 4;
        param.uiLog_Seq = 5;
        return param;
    }
};

TEST_F(DclogTest, EachSystemFillsItsOwnFields) {
    const auto set_text = [](char *field, std::size_t size) { memset(field, 'A', size - 1); };
    struct {
        const char *system;
        std::function<void(tqDevSDK_DCLog_LanLinkage_PrivParam_U &)> fill;
    } const cases[] = {
        {"device_lan_smart_run",
         [&](auto &priv) {
             set_text(priv.stRunEvent.acSdkVer, 16);
             set_text(priv.stRunEvent.acDevType, 16);
             set_text(priv.stRunEvent.acEvent, 64);
         }},
        {"device_lan_smart_network",
         [&](auto &priv) {
             memset(&priv.stNetParam, 'A', 4);
             set_text(priv.stNetParam.acIpAddr, 64);
             set_text(priv.stNetParam.acNetMask, 64);
             set_text(priv.stNetParam.acNetIfName, 32);
         }},
        {"device_lan_smart_center_statistics",
         [](auto &priv) {
             memset(&priv.stCentStatis, 'A', 40);
             memset(priv.stCentStatis.reserved, 0, 3);
         }},
        {"device_lan_smart_member_statistics", [](auto &priv) { memset(&priv.stMembStatis, 'A', 20); }},
        {"device_lan_smart_comm_statistics", [](auto &priv) { memset(&priv.stCommStatis, 'A', 8); }},
    };
    tqhost::SetDeviceInfo("dev_type", std::string(40, 't'));
    tqhost::SetDeviceInfo("dev_firmwareversion", std::string(70, 'f'));
    for (const auto &row : cases) {
        SCOPED_TRACE(row.system);
        const tqDevSDK_SmartControl_DCLogParam_S param = Param(row.system);
        EXPECT_EQ(Push(&param), 0);

        tqDevSDK_DCLog_DeliverParam_S expected;
        memset(&expected, 0, sizeof expected);
        expected.uiType = 1050;
        tqDevSDK_DCLog_LanLinkageParam_S &record = expected.unParam.stLanLink;
        Set(record.acSystemName, row.system);
        record.uiStartTime_sec = 1;
        record.uiStartTime_usec = 2;
        record.uiEndTime_sec = 3;
        record.uiEndTime_usec = 4;
        record.uiLog_Seq = 5;
        Set(record.acDevId, std::string(31, 'A'));
        Set(record.acDevType, std::string(31, 't'));
        Set(record.acFwVer, std::string(63, 'f'));
        row.fill(record.unPrivPara);

        const auto posted = TakeDclog();
        ASSERT_EQ(posted.size(), 1U);
        EXPECT_EQ(memcmp(&posted[0], &expected, sizeof expected), 0) << "bytewise, reserved ones included";
    }
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(DclogTest, MissingDeviceInformationIsEmpty) {
    tqhost::SetDeviceInfo("dev_type", std::nullopt);
    tqhost::SetDeviceInfo("dev_firmwareversion", std::nullopt);
    const tqDevSDK_SmartControl_DCLogParam_S param = Param("device_lan_smart_run");
    EXPECT_EQ(Push(&param), 0);
    const auto posted = TakeDclog();
    ASSERT_EQ(posted.size(), 1U);
    EXPECT_STREQ(posted[0].unParam.stLanLink.acDevType, "");
    EXPECT_STREQ(posted[0].unParam.stLanLink.acFwVer, "");
}

TEST_F(DclogTest, RefusalsNameTheSystem) {
    const std::string failed = "error: Failed to exec push dclog of smart control, cmd type:0";
    EXPECT_EQ(Push(nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param.", failed}));

    tqDevSDK_SmartControl_DCLogParam_S param = Param("Device_lan_smart_run");
    EXPECT_EQ(Push(&param), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: Invalid dclog system name of smart_control dclog:Device_lan_smart_run",
                                "error: Failed to fill dclog param of smart_control dclog, systemName is Device_lan_smart_run", failed}));
    Fill(param.acSystemName, 'n');
    EXPECT_EQ(Push(&param), -1);
    EXPECT_EQ(TakeLog()[0], "error: Invalid dclog system name of smart_control dclog:" + std::string(63, 'n'));

    param = Param("device_lan_smart_run");
    tqhost::Fail("tqdev_dclog_Report", 21, 1);
    EXPECT_EQ(Push(&param), 21);
    EXPECT_EQ(TakeLog(), (Lines{"error: Falied to post dclog of smart_control, systemName is device_lan_smart_run", failed}));
    EXPECT_TRUE(TakeDclog().empty());
}

TEST_F(DclogTest, DisabledCollectionComesBeforeTheName) {
    tqhost::SetDclogEnabled(false);
    const tqDevSDK_SmartControl_DCLogParam_S param = Param("unknown");
    EXPECT_EQ(Push(&param), 0);
    EXPECT_EQ(TakeLog(), Lines{"debug: lan linkage is not enable."});
    EXPECT_TRUE(TakeDclog().empty());
}

} // namespace
