// SPDX-License-Identifier: Apache-2.0
// The module as it is built for a host whose buffer for rule values holds TQ_SHADOW_VALUE_CAPACITY bytes.
#include "module_fixture.h"

namespace {

class CapacityTest : public ModuleTest {};

TEST_F(CapacityTest, OnlyATextThatFitsIsWritten) {
    const std::string empty = Printed(R"([{"channel":0}])");
    ASSERT_EQ(empty.size(), std::size_t{TQ_SHADOW_VALUE_CAPACITY});
    UINT16 units = 0;
    on_query = [&](tqDevSDK_SmartControl_runtime_info &query) {
        auto *rules = static_cast<tqDevSDK_SmartControl_ConfigRules *>(calloc(1, sizeof(tqDevSDK_SmartControl_ConfigRules)));
        rules->usNum = units;
        rules->pstUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_ValueUnit *>(calloc(1, sizeof *rules->pstUnit));
        query.data = reinterpret_cast<char *>(rules);
        return 0;
    };
    const auto *service = tqhost::ShadowService("InterconnectionRule");
    ASSERT_NE(service, nullptr);
    // Exactly as large as it may be, so that a sanitizer sees what is written beyond.
    std::vector<char> buffer(TQ_SHADOW_VALUE_CAPACITY, '-');
    tqDevSDK_Shadow_value_t value{};
    value.value = buffer.data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    EXPECT_EQ(service->gen_value_JsStr(&value, &param), 0);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), empty);
    TakeLog();

    units = 1;
    EXPECT_EQ(service->gen_value_JsStr(&value, &param), -1);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), empty) << "untouched";
    EXPECT_EQ(TakeLog(), Lines{"error: Failed to GenJson_SmartControl_Rules."});
}

} // namespace
