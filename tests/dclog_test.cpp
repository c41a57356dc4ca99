// SPDX-License-Identifier: Apache-2.0
// Records for the data-collection log, byte by byte; what their fields carry is in the recorded contract.
#include "module_fixture.h"

namespace {

class DclogTest : public ModuleTest {};

TEST_F(DclogTest, EachSystemFillsItsOwnBytes) {
    // Which bytes of the private part are copied: [begin, end). Texts leave the last byte of their field.
    const std::pair<const char *, std::vector<std::pair<std::size_t, std::size_t>>> cases[] = {
        {"device_lan_smart_run", {{0, 15}, {16, 31}, {32, 95}}},
        {"device_lan_smart_network", {{0, 67}, {68, 131}, {132, 163}}},
        {"device_lan_smart_center_statistics", {{0, 1}, {4, 40}}},
        {"device_lan_smart_member_statistics", {{0, 20}}},
        {"device_lan_smart_comm_statistics", {{0, 8}}},
    };
    std::vector<tqhost::Observation> seen;
    tqhost::Observe([&](const tqhost::Observation &observation) { seen.push_back(observation); });
    for (const auto &[system, copied] : cases) {
        seen.clear();
        SCOPED_TRACE(system);
        tqDevSDK_SmartControl_DCLogParam_S param{{}, 1, 2, 3, 4, {}, 5, {}};
        Set(param.acSystemName, system);
        tqDevSDK_DCLog_DeliverParam_S expected;
        memset(&expected, 0, sizeof expected);
        expected.uiType = 1050;
        expected.unParam.stLanLink = {{}, 1, 2, 3, 4, {}, {"TQ-HUB"}, {"V1.2.3"}, 5, {}};
        Set(expected.unParam.stLanLink.acSystemName, system);
        auto *from = reinterpret_cast<char *>(&param.unPrivPara);
        auto *to = reinterpret_cast<char *>(&expected.unParam.stLanLink.unPrivPara);
        memset(from, 'x', sizeof param.unPrivPara);
        for (const auto &[begin, end] : copied) {
            memset(to + begin, 'x', end - begin);
        }
        const tqDevSDK_SmartControl_DclogMsg_S msg{tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, &param, 0};
        EXPECT_EQ(tqDevSDK_SmartControl_PushDclog(&msg), 0);
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(tqhost::Describe(seen[0]), std::string("dclog ") + system + " seq 5");
        EXPECT_EQ(Bytes(std::get<tqhost::DclogRecord>(seen[0]).record), Bytes(expected)) << "reserved bytes included";
    }
    tqhost::Observe({});
}

} // namespace
