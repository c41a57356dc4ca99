// SPDX-License-Identifier: Apache-2.0
// All the threads that a host process may call the module on, at once. Mostly for a thread sanitizer; the
// sequence numbers show without one whether any was lost or given twice.
#include <algorithm>
#include <atomic>
#include <thread>

#include "module_fixture.h"

namespace {

constexpr int kRounds = 200;

class ThreadsTest : public ModuleTest {
protected:
    static UINT32 SequenceNumber(const std::string &line) { return static_cast<UINT32>(std::stoul(line.substr(line.find(" seq ") + 5))); }
};

TEST_F(ThreadsTest, SequenceNumbersAreUniqueAndWithoutGaps) {
    std::atomic<UINT32> setting{0};
    on_query = [&](tqDevSDK_SmartControl_runtime_info &query) {
        const UINT32 value = setting++;
        switch (query.type) {
        case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES:
        case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC:
            break;
        case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES:
        case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES:
            reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = HeapText("[]");
            break;
        default:
            memcpy(query.data, &value, sizeof value);
        }
        return 0;
    };
    const auto report = [this](int type, const void *record) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(Report(type, record), 0);
        }
    };
    const tqDevSDK_SmartControl_Event event{1, 2};
    const tqDevSDK_SmartControl_Info_ActionResult result{};
    const tqDevSDK_SmartControl_ReportLanCentor center{};
    std::vector<std::thread> threads;
    threads.emplace_back(report, 0, &event);
    threads.emplace_back(report, 1, &result);
    threads.emplace_back(report, 3, &center);
    threads.emplace_back(report, 6, &center);
    threads.emplace_back([this] { // routing
        for (int i = 0; i < kRounds; ++i) {
            Command(20034, R"({"delay":0,"channelNo":1,"params":{"value1":3}})");
            Command(18829, "<Request><Type>device_video_time</Type><Value>5</Value></Request>");
            tqhost::DeliverEvent(sdk_kernel_event_online);
        }
    });
    threads.emplace_back([] { // shadow
        for (int i = 0; i < kRounds; ++i) {
            tqhost::ShadowDesire("InterconnectionRule", "[{\"channel\":" + std::to_string(i) + ",\"status\":[]}]");
            tqhost::ShadowDesire("SceneLink", std::to_string(i));
            tqhost::ShadowGet("InterconnectionRule");
            tqhost::ShadowGet("LocalLink");
        }
    });
    threads.emplace_back([] { // status
        for (int i = 0; i < kRounds; ++i) {
            tqhost::StatusPass();
        }
    });
    for (std::thread &thread : threads) {
        thread.join();
    }

    std::vector<UINT32> numbers;
    for (const std::string &line : Take()) {
        if (line.rfind("command ", 0) == 0 && line.find(" response 0 ") != std::string::npos) {
            numbers.push_back(SequenceNumber(line));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_GT(numbers.size(), 3U * kRounds);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], i);
    }
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        item.status_reset();
    }
}

} // namespace
