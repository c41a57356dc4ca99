// SPDX-License-Identifier: Apache-2.0
// Scene and AI rules: the first byte selects the key, the next two the length of the text, which repeats
// the rest of the input.
#include "harness.h"

namespace {

constexpr std::size_t kLimit = 16384; // texts of this length are not reported

constexpr const char *kKeys[] = {"SceneLink", "LocalLink"};

std::string Repeat(const std::string &pattern, std::size_t length) {
    std::string text;
    while (!pattern.empty() && text.size() < length) {
        text += pattern;
    }
    text.resize(std::min(text.size(), length));
    return text;
}

std::string Generate(const tqDevSDK_Shadow_Service_S_v3 &service) {
    std::vector<char> buffer(kLimit - 1);
    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = buffer.data();
    tqDevSDK_Shadow_GenValue_Param_S param{};
    Check(service.business2cloud(&value, &param) == 0, "the text is reported");
    Check(value.type == shd_data_type_string, "a text is reported as string");
    return {buffer.data(), static_cast<std::size_t>(value.length)};
}

} // namespace

void Run(Input &input) {
    const char *key = input.Select(kKeys);
    const tqDevSDK_Shadow_Service_S_v3 &service = *tqhost::ShadowServiceV3(key);
    const auto length = input.Take<uint16_t>();
    std::string text = Repeat(input.TakeText(), length);

    tqDevSDK_Shadow_value_t value = tqDevSDK_Shadow_value_t();
    value.value = text.data();
    Check(service.business2dev(&value, nullptr) == (g_application.accepts ? 0 : 1), "the result is the application's");
    const std::string reported = text.size() < kLimit ? text : std::string();
    Check(Generate(service) == reported, "a text comes back as it is");

    // A first text and an equal one are pushed.
    for (int pass = 1; pass <= 2; ++pass) {
        const UINT32 reports = tqhost::Shadow(key)->reports;
        tqhost::StatusPass();
        Check(tqhost::Shadow(key)->reports == reports + 1, "each pass pushes the text");
        Check(tqhost::Shadow(key)->reported == reported, "the text is pushed as it is");
    }
}
