// SPDX-License-Identifier: Apache-2.0
// The library as it is shipped.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_host.h"

namespace {

TEST(Library, ExportsExactlyItsInterface) {
    FILE *nm = popen(TQ_NM " -D --defined-only --format=posix " TQ_LIBRARY, "r");
    ASSERT_NE(nm, nullptr);
    std::set<std::string> names;
    for (char name[256]; fscanf(nm, "%255s%*[^\n]", name) == 1;) {
        names.insert(name);
    }
    EXPECT_EQ(pclose(nm), 0);
    EXPECT_EQ(names, (std::set<std::string>{"tqDevSDK_SmartControl_init", "tqDevSDK_SmartControl_fini", "tqDevSDK_SmartControl_Msg2Server",
                                            "tqDevSDK_SmartControl_PushDclog", "SmartControl_bus_dev_init", "SmartControl_bus_dev_fini",
                                            "SmartControl_send_msg_to_dev", "SmartControl_recv_brimo_msg"}));
}

TEST(Library, LoadsReportsItsSettingsAndServesACommand) {
    // Stays loaded, as in a host process: the kernel keeps the extension.
    void *library = dlopen(TQ_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto init = reinterpret_cast<decltype(&tqDevSDK_SmartControl_init)>(dlsym(library, "tqDevSDK_SmartControl_init"));
    const auto fini = reinterpret_cast<decltype(&tqDevSDK_SmartControl_fini)>(dlsym(library, "tqDevSDK_SmartControl_fini"));
    ASSERT_NE(init, nullptr);
    ASSERT_NE(fini, nullptr);
    std::string sent;
    tqhost::Observe([&](const tqhost::Observation &seen) { sent = tqhost::Describe(seen); });
    const tqDevSDK_SmartControl_init_info info{{[](tqDevSDK_SmartControl_msg_to_dev *) { return 0; }, nullptr}, 0};
    ASSERT_EQ(init(&info), 0);
    // The settings as they are at load, before a status pass has asked for them.
    const auto items = tqhost::StatusItems();
    ASSERT_EQ(items.size(), 7U);
    EXPECT_EQ(items[0].report_status(0), 0);
    EXPECT_NE(sent.find("mode&quot;:&#09;255,&#10;&#09;&quot;sensitivity&quot;:&#09;0,"), std::string::npos) << sent;
    EXPECT_EQ(items[4].report_status(0), 0);
    EXPECT_NE(sent.find("Type=\"device_screen_lightness\" Value=\"-1\""), std::string::npos) << sent;
    EXPECT_TRUE(tqhost::DeliverCommand({7000, 20040, 0, R"({"delay":0,"channelNo":0,"params":{}})"}));
    EXPECT_EQ(sent, "command 20041 seq 0 response 1 v1.0.0 {\n\t\"result\":\t0\n}");
    EXPECT_EQ(fini(), 0);
    tqhost::Observe({});
}

} // namespace
