// SPDX-License-Identifier: Apache-2.0
// The device application of the benchmarks, and how they begin.
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include <malloc.h>

#include "bench.h"
#include "tqdev_host.h"

std::function<void(const tqDevSDK_SmartControl_msg_to_dev &)> g_on_message;
std::function<int(tqDevSDK_SmartControl_runtime_info &)> g_on_query;

namespace {

bool g_showing = false;
std::string g_shown;

int RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    if (g_on_message) {
        g_on_message(*msg);
    }
    return 0;
}

int OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info) {
    return g_on_query ? g_on_query(*info) : -1;
}

// The value of a JSON text, without the time of day that a report carries; else the text itself.
nlohmann::json ValueOf(const std::string &text) {
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        return text;
    }
    if (value.is_object()) {
        value.erase("time");
    }
    return value;
}

} // namespace

void InitModule() {
    tqDevSDK_SmartControl_init_info info{};
    info.cb = {RecvMsg, OnGetRuntimeInfo};
    Need(tqDevSDK_SmartControl_init(&info) == 0, "the module's init");
}

void Show(const char *text) {
    if (g_showing) {
        g_shown = text;
    }
}

bool Showing() {
    return g_showing;
}

void Compare(const Contestants &contestants) {
    nlohmann::json first;
    g_showing = true;
    for (const Contestant &contestant : contestants) {
        g_shown.clear();
        if (contestant.prepare) {
            contestant.prepare(1);
        }
        contestant.run();
        if (g_shown.empty()) {
            continue;
        }
        const nlohmann::json value = ValueOf(g_shown);
        if (!first.is_null() && value != first) {
            fprintf(stderr, "%s made %s\n%s made %s\n", contestants[0].name, first.dump().c_str(),
                    contestant.name, value.dump().c_str());
            Need(false, "the same text from all contestants");
        }
        first = value;
    }
    g_showing = false;
}

void FixHeap() {
    constexpr int kMiB = 1 << 20;
    // Setting anything joins the freed blocks.
    Need(mallopt(M_MMAP_THRESHOLD, 32 * kMiB) == 1, "setting the mmap threshold");
    Need(mallopt(M_TRIM_THRESHOLD, 2047 * kMiB) == 1, "setting the trim threshold");
}

void Need(bool happened, const char *what) {
    if (!happened) {
        fprintf(stderr, "This did not happen: %s.\n", what);
        exit(1);
    }
}
