// SPDX-License-Identifier: Apache-2.0
// All the threads that a host process may call the module on, at once, for a thread sanitizer above all; and
// reports alone, whose sequence numbers show without one when any is lost.
#include <atomic>
#include <thread>

#include "module_fixture.h"

namespace {

using Step = std::function<void(int round)>;

class ThreadsTest : public ModuleTest {
protected:
    // Repeats each step on a thread of its own. None begins before all are there.
    static void Run(int rounds, const std::vector<Step> &steps) {
        std::atomic<std::size_t> missing = steps.size();
        std::vector<std::thread> threads;
        for (const Step &step : steps) {
            threads.emplace_back([&missing, rounds, step] {
                for (--missing; missing != 0;) {
                    std::this_thread::yield();
                }
                for (int i = 0; i < rounds; ++i) {
                    step(i);
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }
};

TEST_F(ThreadsTest, NoSequenceNumberIsLost) {
    // Reports that end early, so that the threads meet at the counter.
    constexpr int kReports = 20000;
    tqhost::SetLogLevel(0);
    tqhost::Fail("tqdev_sdk_kernel_send", 1);
    const tqDevSDK_SmartControl_Event event{1, 2};
    const auto report = [&] { return Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event); };
    Run(kReports, std::vector<Step>(8, [&](int) { report(); }));
    tqhost::Fail("tqdev_sdk_kernel_send", 0);
    EXPECT_EQ(report(), 0);
    EXPECT_EQ(Take(), Lines{"command 19986 seq 160000 response 0 V2.0.0 " + Printed(R"({"channelNo":1,"value":2})")});
}

TEST_F(ThreadsTest, AllAtOnce) {
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
    const tqDevSDK_SmartControl_Event event{1, 2};
    const tqDevSDK_SmartControl_Info_ActionResult result{};
    const tqDevSDK_SmartControl_ReportLanCentor center{};
    Run(200, {[&](int) { EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event), 0); },
              [&](int) { EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT, &result), 0); },
              [&](int) { EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR, &center), 0); },
              [&](int) { EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3, &center), 0); },
              [](int) {
                  tqhost::DeliverCommand({7000, kCapture, 7, R"({"delay":0,"channelNo":1,"params":{"value1":3}})"});
                  tqhost::DeliverCommand({7000, kSetKeyValue, 7, "<Request><Type>device_video_time</Type><Value>5</Value></Request>"});
                  tqhost::DeliverEvent(sdk_kernel_event_online);
              },
              [](int i) {
                  tqhost::ShadowDesire("InterconnectionRule", "[{\"channel\":" + std::to_string(i) + ",\"status\":[]}]");
                  tqhost::ShadowDesire("SceneLink", std::to_string(i));
                  tqhost::ShadowGet("InterconnectionRule");
                  tqhost::ShadowGet("LocalLink");
              },
              [](int) { tqhost::StatusPass(); }});
    for (const tqDevSDK_report_status_info &item : tqhost::StatusItems()) {
        item.status_reset();
    }
}

} // namespace
