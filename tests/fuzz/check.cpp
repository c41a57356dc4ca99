// SPDX-License-Identifier: Apache-2.0
// What is said of linkage rules before the device gets them, against what the module makes of them then.
#include "check/check.h"
#include "harness.h"

namespace {

tqgateway::Surroundings MakeSurroundings() {
    tqgateway::Surroundings all;
    all.linkage = tqgateway::ReadLinkageMeaning(R"({"serial":"a","delay_unit_ms":1,"day_1":"Monday","condition":{"0":"any","1":"all","5":"all"}})");
    all.devices = tqgateway::ReadDevices(R"(["b","BELL00001","CAMERA001"])");
    all.effects =
        tqgateway::ReadEffects(R"([{"action":{"domain":7,"cmdId":8},"event":{"domain":4,"cmdId":3,"deviceId":"b","channelNo":2,"value":1}},)"
                               R"({"action":{"domain":1,"cmdId":2,"params":{"value1":1}},"event":{"domain":1,"cmdId":2,"value":"value2"}}])");
    return all;
}

} // namespace

void Run(Input &input) {
    static const tqgateway::Surroundings surroundings = MakeSurroundings();
    constexpr const char *kKey = "InterconnectionRule";
    static const tqDevSDK_Shadow_Service_S *const service = tqhost::ShadowService(kKey);
    static std::vector<char> buffer(std::size_t{8} << 20); // for the longest input, many times over

    g_application.accepts = true;
    const std::string text = input.TakeText();
    const std::vector<tqgateway::Finding> findings = tqgateway::CheckRules(text, surroundings);
    tqhost::ShadowDesire(kKey, ""); // or the host would not deliver again what it delivered last
    const int result = tqhost::ShadowDesire(kKey, text).value();
    const std::optional<std::string> written = result == 0 ? std::optional(Get(service->gen_value_JsStr, shd_data_type_array, buffer)) : std::nullopt;
    const std::string difference = tqgateway::Disagreement(text, findings, result, written);
    Check(difference.empty(), difference.c_str());
    for (const tqgateway::Finding &finding : findings) {
        Check(finding.offset <= text.size(), "a finding is in the text");
    }
}
