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

} // namespace

void Run(Input &input) {
    const char *key = input.Select(kKeys);
    const tqDevSDK_Shadow_Service_S_v3 &service = *tqhost::ShadowServiceV3(key);
    const auto length = input.Take<uint16_t>();
    const std::string text = Repeat(input.TakeText(), length);

    Check(Give(service.business2dev, shd_data_type_string, text) == (g_application.accepts ? 0 : 1), "the result is the application's");
    const std::string reported = text.size() < kLimit ? text : std::string();
    std::vector<char> buffer(kLimit - 1);
    Check(Get(service.business2cloud, shd_data_type_string, buffer) == reported, "a text comes back as it is");

    // A first text and an equal one are pushed.
    for (int pass = 1; pass <= 2; ++pass) {
        const UINT32 reports = tqhost::Shadow(key)->reports;
        tqhost::StatusPass();
        Check(tqhost::Shadow(key)->reports == reports + 1, "each pass pushes the text");
        Check(tqhost::Shadow(key)->reported == reported, "the text is pushed as it is");
    }
}
