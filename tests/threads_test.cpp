// SPDX-License-Identifier: Apache-2.0
// All the threads that a host process may call the module on, at once. Mostly for a thread sanitizer; the
// sequence numbers show without one whether any was lost or given twice.
#include <atomic>
#include <set>
#include <thread>

#include "module_fixture.h"

namespace {

constexpr int kRounds = 200;

class ThreadsTest : public ModuleTest {};

TEST_F(ThreadsTest, SequenceNumbersAreUniqueAndWithoutGaps) {
    std::atomic<UINT32> setting{0};
    on_query = [&](tqDevSDK_SmartControl_runtime_info &query) {
        const UINT32 value = setting++;
        if (query.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES || query.type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES) {
            reinterpret_cast<tqDevSDK_SmartControl_Rule_S *>(query.data)->rule = strdup("[]");
        } else if (query.type != TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES) {
            memcpy(query.data, &value, sizeof value);
        }
        return 0;
    };
    std::vector<std::thread> threads;
    const auto start = [&](const std::function<void(int)> &step) {
        threads.emplace_back([step] {
            for (int i = 0; i < kRounds; ++i) {
                step(i);
            }
        });
    };
    const tqDevSDK_SmartControl_Event event{1, 2};
    const tqDevSDK_SmartControl_Info_ActionResult result{};
    const tqDevSDK_SmartControl_ReportLanCentor center{};
    for (const auto &[type, record] : {std::pair<int, const void *>(0, &event), {1, &result}, {3, &center}, {6, &center}}) {
        start([=, type = type, record = record](int) { EXPECT_EQ(Report(type, record), 0); });
    }
    start([this](int) {
        Command(20034, R"({"delay":0,"channelNo":1,"params":{"value1":3}})");
        Command(18829, "<Request><Type>device_video_time</Type><Value>5</Value></Request>");
        tqhost::DeliverEvent(sdk_kernel_event_online);
    });
    start([](int i) {
        tqhost::ShadowDesire("InterconnectionRule", "[{\"channel\":" + std::to_string(i) + ",\"status\":[]}]");
        tqhost::ShadowDesire("SceneLink", std::to_string(i));
        tqhost::ShadowGet("InterconnectionRule");
        tqhost::ShadowGet("LocalLink");
    });
    start([](int) { tqhost::StatusPass(); });
    for (std::thread &thread : threads) {
        thread.join();
    }

    std::set<std::size_t> numbers;
    std::size_t requests = 0;
    for (const std::string &line : Take()) {
        if (line.rfind("command ", 0) == 0 && line.find(" response 0 ") != std::string::npos) {
            ++requests;
            numbers.insert(std::stoul(line.substr(line.find(" seq ") + 5)));
        }
    }
    EXPECT_GT(requests, 3U * kRounds);
    EXPECT_EQ(numbers.size(), requests);
    EXPECT_EQ(*numbers.rbegin(), requests - 1);
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        item.status_reset();
    }
}

} // namespace
