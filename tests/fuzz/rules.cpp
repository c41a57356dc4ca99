// SPDX-License-Identifier: Apache-2.0
// Linkage rules: the input behind the first byte is the shadow's value. What the device got, it reports,
// and what it reports, it can be given again without a change.
#include <memory>

#include "bscJSON.h"
#include "harness.h"

namespace {

const tqDevSDK_Shadow_Service_S &Service() {
    static const tqDevSDK_Shadow_Service_S *const service = tqhost::ShadowService("InterconnectionRule");
    return *service;
}

int Parse(const std::string &text) { return Give(Service().parse_sync, shd_data_type_array, text); }

std::string Generate() {
    static std::vector<char> buffer(std::size_t{8} << 20); // for the longest input, many times over
    return Get(Service().gen_value_JsStr, shd_data_type_array, buffer);
}

// Numbers are written unsigned, and read up to the largest signed one.
void Saturate(bscJSON *items) {
    for (bscJSON *item = items; item != nullptr; item = item->next) {
        item->valuedouble = item->valueint;
        Saturate(item->child);
    }
}

// What the device reports after it was given this.
std::string SecondRound(const std::string &first) {
    bscJSON *json = bscJSON_Parse(first.c_str());
    Saturate(json);
    const std::unique_ptr<char, decltype(&free)> text(bscJSON_Print(json), free);
    bscJSON_Delete(json);
    return text.get();
}

} // namespace

void Run(Input &input) {
    const std::string text = input.TakeText();
    const int result = Parse(text);
    Check(result == (g_application.received == 0 ? -1 : (g_application.accepts ? 0 : 1)), "the result is the application's once it is asked");
    if (g_application.received == 0) {
        return;
    }
    const std::string first = Generate();

    g_application.accepts = true;
    Check(Parse(first) == 0, "what is reported can be given again");
    Check(Generate() == SecondRound(first), "a second round changes nothing");
}
