// SPDX-License-Identifier: Apache-2.0
// A device application that does one thing wrong, or nothing: its configuration names it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

#include <malloc.h>
#include <unistd.h>

#include "tqDevSDK_SmartControl_def.h"
#include "tq_application.h"

namespace {

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using RuleText = tqDevSDK_SmartControl_Rule_S;
using Signals = tqDevSDK_Smartcontrol_ap_signal_info;

std::string g_misuse;
const volatile char *g_kept = nullptr;
tqDevSDK_SmartControl_init_info g_info{};

template <typename Record>
Record &As(char *data) {
    return *reinterpret_cast<Record *>(data);
}

template <typename Item>
Item *Allocate(std::size_t count) {
    return static_cast<Item *>(calloc(count, sizeof(Item)));
}

// ---- What it is lent. ----

int ReportEvent() {
    tqDevSDK_SmartControl_Event event{1, 5};
    const tqDevSDK_SmartControl_Msg2Server_S msg{TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event, sizeof event};
    return tqDevSDK_SmartControl_Msg2Server(&msg);
}

int Receive(tqDevSDK_SmartControl_msg_to_dev *msg) {
    if (msg->type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO) {
        return ReportEvent();
    }
    if (g_misuse == "reads the record of the message before" || g_misuse == "reads on a thread of its own") {
        const volatile char *before = g_kept;
        g_kept = msg->data;
        const auto read = [=] { printf("%02x\n", static_cast<unsigned char>(*before)); };
        if (before != nullptr && g_misuse == "reads on a thread of its own") {
            std::thread(read).join();
        } else if (before != nullptr) {
            read();
        }
    } else if (g_misuse == "reads behind the record") {
        printf("%02x\n", static_cast<unsigned char>(msg->data[4096]));
    } else if (g_misuse == "changes the record") {
        As<UINT32>(msg->data + 4) = 7;
    } else if (g_misuse == "raises a count") {
        ++As<Rules>(msg->data).pstUnit[0].usNum;
    } else if (g_misuse == "changes a text") {
        As<RuleText>(msg->data).rule[1] = 'x';
    } else if (g_misuse == "is slow") {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    } else if (g_misuse == "hangs") {
        for (;;) {
            pause();
        }
    } else if (g_misuse == "throws") {
        throw std::runtime_error("out of film");
    } else if (g_misuse == "throws a number") {
        throw 7;
    } else if (g_misuse == "initialises") {
        printf("init %d\n", tqDevSDK_SmartControl_init(&g_info));
    } else if (g_misuse == "finalises") {
        printf("fini %d\n", tqDevSDK_SmartControl_fini());
    } else if (g_misuse == "finalises on a thread") {
        std::thread([] { printf("fini %d\n", tqDevSDK_SmartControl_fini()); }).join();
    }
    return 0;
}

// ---- What it hands over. ----

/// One unit with one rule that has an event, all on the heap.
Rules *GoodRules() {
    auto *rules = Allocate<Rules>(1);
    rules->usNum = 1;
    rules->pstUnit = Allocate<Unit>(1);
    rules->pstUnit->usNum = 1;
    rules->pstUnit->pstRuleUnit = Allocate<Rule>(1);
    rules->pstUnit->pstRuleUnit->usEvents_Num = 1;
    rules->pstUnit->pstRuleUnit->pstEvents = Allocate<Event>(1);
    return rules;
}

Rules *BadRules() {
    if (g_misuse == "hands over a static rule set") {
        static Rules rules;
        return &rules;
    }
    if (g_misuse == "hands over one block") {
        struct Block {
            Rules rules;
            Unit unit;
        };
        auto *block = Allocate<Block>(1);
        block->rules.usNum = 1;
        block->rules.pstUnit = &block->unit;
        return &block->rules;
    }
    Rules *rules = GoodRules();
    Rule &rule = *rules->pstUnit->pstRuleUnit;
    if (g_misuse == "hands over static events") {
        static Event events[2];
        free(rule.pstEvents);
        rule.pstEvents = events;
    } else if (g_misuse == "hands over an array twice") {
        rule.usActions_Num = 0;
        rule.pstActions = reinterpret_cast<tqDevSDK_SmartControl_ConfigRule_Actions *>(rule.pstEvents);
    } else if (g_misuse == "counts too many") {
        rule.usEvents_Num = 1000;
    }
    return rules;
}

int GiveText(RuleText &record) {
    record.uiVersion = 1;
    if (g_misuse == "hands over a literal") {
        record.rule = const_cast<char *>("[]");
    } else if (g_misuse == "hands over a text without end") {
        record.rule = static_cast<char *>(malloc(64));
        memset(record.rule, 'x', malloc_usable_size(record.rule));
    } else if (g_misuse == "hands over its only text") {
        static char *text = strdup("[]");
        record.rule = text;
    } else {
        record.rule = strdup("[]");
    }
    return 0;
}

int Answer(tqDevSDK_SmartControl_runtime_info *info) {
    switch (info->type) {
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES:
        info->data = reinterpret_cast<char *>(BadRules());
        return 0;
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES:
        return GiveText(As<RuleText>(info->data));
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS: {
        static UINT32 lightness = 80;
        if (g_misuse == "replaces the record to fill") {
            info->data = reinterpret_cast<char *>(&lightness);
        } else {
            As<UINT32>(info->data) = lightness;
        }
        return 0;
    }
    case TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC: {
        auto &signals = As<Signals>(info->data);
        for (int i = 0; i < signals.num; ++i) {
            signals.ap_signal_result[i].iSignalStrength = -40 - i;
        }
        signals.num += g_misuse == "lengthens the list" ? 1 : 0;
        return 0;
    }
    default:
        return -1;
    }
}

/// Finalises once more when the process ends, as a static object may.
struct AtExit {
    ~AtExit() { tqDevSDK_SmartControl_fini(); }
} g_at_exit;

} // namespace

int tq_application_start(const char *configuration) {
    g_misuse = configuration;
    if (g_misuse == "does not start") {
        return 5;
    }
    if (g_misuse == "does not initialise") {
        return 0;
    }
    if (g_misuse == "throws at start") {
        throw std::runtime_error("no lens");
    }
    g_info.cb.recv_msg = Receive;
    g_info.cb.on_get_runtime_info = Answer;
    return tqDevSDK_SmartControl_init(&g_info);
}

int tq_application_stop() {
    if (g_misuse != "does not finalise") {
        tqDevSDK_SmartControl_fini();
    }
    return g_misuse == "does not stop" ? 6 : 0;
}
