// SPDX-License-Identifier: Apache-2.0
// Reports of the device application, where the recorded contract does not see them: what every message of a
// channel has alike, the clock, pointers, the limit of nesting.
#include <ctime>

#include "module_fixture.h"

namespace {

class ReportTest : public ModuleTest {};

// The text for now in the wire's form: years since 1900, months since January.
std::string WireTime() {
    const time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    char text[64];
    snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", utc.tm_year, utc.tm_mon, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    return text;
}

TEST_F(ReportTest, ActionResultTellsTheTime) {
    const tqDevSDK_SmartControl_Info_ActionResult result{1, "D", 2, 7000, 20034, 5};
    const std::string before = WireTime();
    EXPECT_EQ(Report(1, &result), 0);
    const std::string sent = Take().at(0);
    const bool ticked = sent.find(before) == std::string::npos;
    EXPECT_EQ(sent, "command 19988 seq 0 response 0 V2.0.0 " +
                        Printed(R"({"id":1,"deviceId":"D","channelNo":2,"domain":7000,"cmdId":20034,"result":5,"time":")" +
                                (ticked ? WireTime() : before) + "\"}"));
}

TEST_F(ReportTest, LanCentorWithoutAnArrayHasNoMembers) {
    tqDevSDK_SmartControl_ReportLanCentor center{"C", 3, "x", 7, 2, nullptr};
    EXPECT_EQ(Report(6, &center), 0);
    EXPECT_EQ(Take(), Lines{"model ReportNetTopology of TQLink type 0 resource 1 Video seq 0/0 qos 0 [report] option 0 " +
                            Printed(R"({"centerSerialNumber":"C","sceneVersion":3,"enabled":7,"extend":"x","DevList":[]})")});
    EXPECT_EQ(Report(3, &center), 0);
    EXPECT_NE(Take().at(0).find("\"devList\":\t[]"), std::string::npos);
}

TEST_F(ReportTest, PayloadsAreParsedToTheLimitOfNesting) {
    alignas(8) char memory[1024] = {};
    auto *record = reinterpret_cast<tqDevSDK_SmartControl_UndoneActions_V3_S *>(memory);
    const std::string deepest = R"({"params":)" + std::string(998, '[') + std::string(998, ']') + "}";
    record->usNum = 1;
    record->pstActions[0].stBody = {0, {}, 1, deepest.c_str()}; // the length is not read
    EXPECT_EQ(Report(5, record), 0);
    EXPECT_NE(Take().at(0).find(deepest.substr(10, 2 * 998)), std::string::npos);
}

TEST_F(ReportTest, NullRecordsAreRefused) {
    for (int type = 0; type <= 6; ++type) {
        EXPECT_EQ(Report(type, nullptr), -1);
        EXPECT_EQ(TakeLog(), (Lines{type < 2 ? "error: NULL input param!" : "error: NULL input param.",
                                    "error: Failed to exec msg2server type cmd:" + std::string(type == 0 ? "0" : "0x" + std::to_string(type))}));
    }
    const tqDevSDK_SmartControl_Event event{1, 2};
    EXPECT_EQ(Report(0, &event), 0);
    EXPECT_NE(Take().at(0).find(" seq 0 "), std::string::npos) << "they take no number";
}

} // namespace
