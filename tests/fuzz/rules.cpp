// SPDX-License-Identifier: Apache-2.0
// Linkage rules: the input behind the first byte is the shadow's value. What the device got, it reports,
// and what it reports, it can be given again without a change.
#include "harness.h"

namespace {

const tqDevSDK_Shadow_Service_S &Service() {
    static const tqDevSDK_Shadow_Service_S *const service = tqhost::ShadowService("InterconnectionRule");
    return *service;
}

int Parse(std::string text) {
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.type = shd_data_type_array;
    value.length = static_cast<int32_t>(text.size());
    value.value = text.data();
    tqDevSDK_Shadow_ParseSync_Param_S param{};
    return Service().parse_sync(&value, &param);
}

std::string Generate() {
    static std::vector<char> buffer(std::size_t{8} << 20); // for the longest input, many times over
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = buffer.data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    Check(Service().gen_value_JsStr(&value, &param) == 0, "rules that were accepted are reported");
    return {buffer.data(), static_cast<std::size_t>(value.length)};
}

// Numbers are written unsigned, and read up to the largest signed one.
void Saturate(UINT32 &number) {
    number = std::min<UINT32>(number, INT32_MAX);
}

void Saturate(std::vector<Unit> &units) {
    for (Unit &unit : units) {
        for (Rule &rule : unit.rules) {
            Saturate(rule.record.uiRuleId);
            for (auto &event : rule.events) {
                Saturate(event.uiDomain);
                Saturate(event.uiCmdId);
            }
            for (auto &action : rule.actions) {
                Saturate(action.uiDomain);
                Saturate(action.uiCmdId);
                Saturate(action.uiDelay);
            }
        }
    }
}

} // namespace

void Run(Input &input) {
    const int result = Parse(input.TakeText());
    Check(result == (g_application.received == 0 ? -1 : (g_application.accepts ? 0 : 1)),
          "the result is the application's once it is asked");
    if (g_application.received == 0) {
        return;
    }
    const std::string first = Generate();
    Saturate(g_application.rules);
    const std::string expected = Generate();

    g_application.accepts = true;
    Check(Parse(first) == 0, "what is reported can be given again");
    Check(Generate() == expected, "a second round changes nothing");
}
