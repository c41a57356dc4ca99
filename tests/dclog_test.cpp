// SPDX-License-Identifier: Apache-2.0
#include "module_fixture.h"

namespace {

class DclogTest : public ModuleTest {
protected:
    static int Push(tqDevSDK_SmartControl_DCLogParam_S *param) {
        tqDevSDK_SmartControl_DclogMsg_S msg{tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, param, 0};
        return tqDevSDK_SmartControl_PushDclog(&msg);
    }

    // A record whose every byte is set, the private ones each differently, so that what must not be copied shows.
    static tqDevSDK_SmartControl_DCLogParam_S Param(const std::string &system) {
        tqDevSDK_SmartControl_DCLogParam_S param{{}, 1, 2, 3, 4, {}, 5, {}};
        Set(param.acSystemName, system);
        Fill(param.acDevId, 'd');
        auto *bytes = reinterpret_cast<UINT8 *>(&param.unPrivPara);
        for (std::size_t i = 0; i < sizeof param.unPrivPara; ++i) {
            bytes[i] = static_cast<UINT8>(i + 1);
        }
        return param;
    }
};

TEST_F(DclogTest, EachSystemFillsItsOwnFields) {
    // Which bytes of the private part are copied: [begin, end). Texts leave the last byte of their field.
    const std::pair<const char *, std::vector<std::pair<std::size_t, std::size_t>>> cases[] = {
        {"device_lan_smart_run", {{0, 15}, {16, 31}, {32, 95}}},
        {"device_lan_smart_network", {{0, 67}, {68, 131}, {132, 163}}},
        {"device_lan_smart_center_statistics", {{0, 1}, {4, 40}}},
        {"device_lan_smart_member_statistics", {{0, 20}}},
        {"device_lan_smart_comm_statistics", {{0, 8}}},
    };
    std::optional<std::string> device_info = std::string(100, 't'); // missing, and empty in the record, after the first
    for (const auto &[system, copied] : cases) {
        SCOPED_TRACE(system);
        tqhost::SetDeviceInfo("dev_type", device_info);
        tqhost::SetDeviceInfo("dev_firmwareversion", device_info);
        tqDevSDK_SmartControl_DCLogParam_S param = Param(system);
        EXPECT_EQ(Push(&param), 0);

        tqDevSDK_DCLog_DeliverParam_S expected;
        memset(&expected, 0, sizeof expected);
        expected.uiType = 1050;
        expected.unParam.stLanLink = {{}, 1, 2, 3, 4, {}, {}, {}, 5, {}};
        Set(expected.unParam.stLanLink.acSystemName, system);
        Set(expected.unParam.stLanLink.acDevId, std::string(31, 'd'));
        Set(expected.unParam.stLanLink.acDevType, device_info.value_or("").substr(0, 31));
        Set(expected.unParam.stLanLink.acFwVer, device_info.value_or("").substr(0, 63));
        for (const auto &[begin, end] : copied) {
            memcpy(reinterpret_cast<char *>(&expected.unParam.stLanLink.unPrivPara) + begin, reinterpret_cast<char *>(&param.unPrivPara) + begin,
                   end - begin);
        }
        const auto posted = TakeDclog();
        ASSERT_EQ(posted.size(), 1U);
        EXPECT_EQ(memcmp(&posted[0], &expected, sizeof expected), 0) << "bytewise, reserved ones included";
        device_info.reset();
    }
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(DclogTest, RefusalsNameTheSystem) {
    const std::string failed = "error: Failed to exec push dclog of smart control, cmd type:0";
    EXPECT_EQ(Push(nullptr), -1);
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param.", failed}));
    tqDevSDK_SmartControl_DCLogParam_S param = Param("Device_lan_smart_run");
    for (const std::string &system : {std::string("Device_lan_smart_run"), std::string(63, 'n')}) {
        EXPECT_EQ(Push(&param), -1);
        EXPECT_EQ(TakeLog(), (Lines{"error: Invalid dclog system name of smart_control dclog:" + system,
                                    "error: Failed to fill dclog param of smart_control dclog, systemName is " + system, failed}));
        Fill(param.acSystemName, 'n');
    }
    tqhost::SetDclogEnabled(false);
    EXPECT_EQ(Push(&param), 0) << "the name is not looked at";
    EXPECT_EQ(TakeLog(), Lines{"debug: lan linkage is not enable."});
    tqhost::SetDclogEnabled(true);
    param = Param("device_lan_smart_run");
    tqhost::Fail("tqdev_dclog_Report", 21, 1);
    EXPECT_EQ(Push(&param), 21);
    EXPECT_EQ(TakeLog(), (Lines{"error: Falied to post dclog of smart_control, systemName is device_lan_smart_run", failed}));
    EXPECT_TRUE(TakeDclog().empty());
}

} // namespace
