// SPDX-License-Identifier: Apache-2.0
// The module as it is built for a host whose buffer for rule values holds TQ_SHADOW_VALUE_CAPACITY bytes.
#include "module_fixture.h"

namespace {

class CapacityTest : public ModuleTest {};

TEST_F(CapacityTest, OnlyATextThatFitsIsWritten) {
    const std::string empty = Printed(R"([{"channel":0}])");
    ASSERT_EQ(empty.size(), std::size_t{TQ_SHADOW_VALUE_CAPACITY});
    const auto *service = tqhost::ShadowService("InterconnectionRule");
    // Exactly as large as it may be, so that a sanitizer sees what is written beyond.
    std::vector<char> buffer(TQ_SHADOW_VALUE_CAPACITY, '-');
    tqDevSDK_Shadow_value_t value{};
    value.value = buffer.data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    for (const UINT16 units : {UINT16{0}, UINT16{1}}) {
        on_query = [=](tqDevSDK_SmartControl_runtime_info &query) {
            auto *rules = static_cast<tqDevSDK_SmartControl_ConfigRules *>(calloc(1, sizeof(tqDevSDK_SmartControl_ConfigRules)));
            rules->usNum = units;
            rules->pstUnit = static_cast<tqDevSDK_SmartControl_ConfigRules_ValueUnit *>(calloc(1, sizeof *rules->pstUnit));
            query.data = reinterpret_cast<char *>(rules);
            return 0;
        };
        EXPECT_EQ(service->gen_value_JsStr(&value, &param), units == 0 ? 0 : -1);
        EXPECT_EQ(std::string(buffer.begin(), buffer.end()), empty) << "untouched by the second";
    }
    EXPECT_EQ(TakeLog().back(), "error: Failed to GenJson_SmartControl_Rules.");
}

} // namespace
