/* SPDX-License-Identifier: Apache-2.0 */
/* The hub: the linkage engine between the module, the clock and the devices. */
#define _POSIX_C_SOURCE 200809L

#include "hub.h"

#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* The hub's own devices take commands of this domain. */
#define HUB_DOMAIN  1100
#define SWITCH_LAMP 1
#define SOUND_SIREN 2

typedef tqDevSDK_SmartControl_ConfigRules rule_set;
typedef tqDevSDK_SmartControl_ConfigRule_Actions action_record;

/* The engine and the kept rules are used by the SDK's threads and by the hub's own, one at a time. */
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static tqDevSDK_Linkage *engine;
static rule_set *kept;
static UINT32 last_held; /* entry of the trace that was shown last */
static UINT32 statistics_seq;
static UINT32 statistics_start;
static void (*read_clock)(tqDevSDK_Linkage_Now_S *now);

/* The platform of this home numbers Monday as day 1. */
static void system_clock(tqDevSDK_Linkage_Now_S *now) {
    struct timespec mono;
    struct tm local;
    time_t civil = time(NULL);

    clock_gettime(CLOCK_MONOTONIC, &mono);
    localtime_r(&civil, &local);
    now->ullMonoMs = (uint64_t)mono.tv_sec * 1000 + (uint64_t)mono.tv_nsec / 1000000;
    now->uiSecondOfDay =
        (UINT32)(local.tm_hour * 3600 + local.tm_min * 60 + (local.tm_sec < 60 ? local.tm_sec : 59));
    now->ucDay = (UINT8)(local.tm_wday == 0 ? 7 : local.tm_wday);
    now->ucClockSet = local.tm_year >= 2020 - 1900; /* it starts in 1970, until the network has set it */
}

static tqDevSDK_Linkage_Now_S moment(void) {
    tqDevSDK_Linkage_Now_S now;

    memset(&now, 0, sizeof now);
    read_clock(&now);
    return now;
}

/* ---- What the SDK asks ---- */

static int take_rules(const rule_set *rules) {
    rule_set *copy;

    if (tqDevSDK_Linkage_EqualRules(kept, rules) == 1) {
        return 0;
    }
    copy = tqDevSDK_Linkage_CopyRules(rules);
    if (copy == NULL || tqDevSDK_Linkage_SetRules(engine, rules) != 0) {
        tqDevSDK_Linkage_FreeRules(copy);
        return -1;
    }
    copy->uiVersion = kept != NULL ? kept->uiVersion + 1 : 1;
    tqDevSDK_Linkage_FreeRules(kept);
    kept = copy;
    return 0;
}

static int recv_msg(tqDevSDK_SmartControl_msg_to_dev *msg) {
    int result;

    if (msg->type != TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES) {
        return -1; /* This hub can do nothing else. */
    }
    pthread_mutex_lock(&lock);
    result = take_rules((const rule_set *)(void *)msg->data);
    pthread_mutex_unlock(&lock);
    return result;
}

/* The module frees what it is given, so it gets a copy. Before there are rules there is nothing to tell. */
static int on_get_runtime_info(tqDevSDK_SmartControl_runtime_info *info) {
    if (info->type != TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES) {
        return 4; /* It has nothing else: nothing is reported of it. */
    }
    pthread_mutex_lock(&lock);
    info->data = (char *)(void *)tqDevSDK_Linkage_CopyRules(kept);
    pthread_mutex_unlock(&lock);
    return info->data != NULL ? 0 : -1;
}

/* ---- Effects ---- */

static void report(int type, void *record, UINT32 size) {
    tqDevSDK_SmartControl_Msg2Server_S msg = {0, NULL, 0};

    msg.iType = type;
    msg.pData = record;
    msg.uiLen = size;
    if (tqDevSDK_SmartControl_Msg2Server(&msg) != 0) {
        fprintf(stderr, "hub: a report could not be sent\n");
    }
}

/* The result that is reported; a real hub would ask its hardware, and members over the network. */
static int carry_out(const action_record *action) {
    if (strcmp(action->acDevId, HUB_SERIAL) != 0) {
        printf("hub: to %s: command %u\n", action->acDevId, (unsigned)action->uiCmdId);
        return 0;
    }
    if (action->uiDomain == HUB_DOMAIN && action->uiCmdId == SWITCH_LAMP && action->ucValueNum >= 1) {
        printf("hub: lamp %s\n", action->ausValue[0] != 0 ? "on" : "off");
        return 0;
    }
    if (action->uiDomain == HUB_DOMAIN && action->uiCmdId == SOUND_SIREN) {
        printf("hub: siren\n");
        return 0;
    }
    return TQDEVSDK_LINKAGE_CANNOT;
}

/* Reports are made under the lock, because the record of undone actions lives until the engine's next call.
 */
static void serve(tqDevSDK_Linkage_Effect_S *effect, const tqDevSDK_Linkage_Now_S *now) {
    switch (effect->ucType) {
    case TQDEVSDK_LINKAGE_EFFECT_RUN:
        tqDevSDK_Linkage_Done(engine, effect->ullToken, carry_out(&effect->unWhat.stAction), now);
        break;
    case TQDEVSDK_LINKAGE_EFFECT_RESULT:
        report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT, &effect->unWhat.stResult,
               sizeof effect->unWhat.stResult);
        break;
    case TQDEVSDK_LINKAGE_EFFECT_UNDONE:
        report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS, effect->unWhat.pstUndone,
               sizeof *effect->unWhat.pstUndone);
        break;
    default:
        break;
    }
}

unsigned hub_work(void) {
    tqDevSDK_Linkage_Now_S now = moment();
    tqDevSDK_Linkage_Effect_S effect;
    uint64_t deadline;

    pthread_mutex_lock(&lock);
    while (tqDevSDK_Linkage_Next(engine, &now, &effect) == 1) {
        serve(&effect, &now);
    }
    deadline = tqDevSDK_Linkage_Deadline(engine);
    pthread_mutex_unlock(&lock);
    return deadline - now.ullMonoMs < 60000 ? (unsigned)(deadline - now.ullMonoMs) : 60000;
}

/* ---- Events ---- */

static void show(const tqDevSDK_Linkage_Trace_S *entry) {
    char text[TQDEVSDK_LINKAGE_TEXT_MAX];

    tqDevSDK_Linkage_TraceText(engine, entry, text, sizeof text);
    printf("hub: %s\n", text);
}

/* Rules that named the event stand in the trace; of others a near miss may be what the user wonders at. */
static void say_why_not(const tqDevSDK_SmartControl_ConfigRule_Events *event,
                        const tqDevSDK_Linkage_Now_S *now) {
    tqDevSDK_Linkage_Trace_S entries[4];
    int shown = 0;
    int num;
    int i;

    while (tqDevSDK_Linkage_ReadTrace(engine, TQDEVSDK_LINKAGE_RING_HELD, last_held, entries, 1) == 1) {
        show(&entries[0]);
        last_held = entries[0].uiNumber;
        shown = 1;
    }
    num = shown ? 0 : tqDevSDK_Linkage_Explain(engine, event, 0, now, entries, 4);
    for (i = 0; i < num && i < 4; ++i) {
        show(&entries[i]);
    }
}

void hub_event(const char *serial, UINT32 domain, UINT32 command, UINT8 channel, UINT16 value) {
    tqDevSDK_SmartControl_ConfigRule_Events event;
    tqDevSDK_Linkage_Now_S now = moment();
    int fired;

    memset(&event, 0, sizeof event);
    event.uiDomain = domain;
    event.uiCmdId = command;
    snprintf(event.acDevId, sizeof event.acDevId, "%s", serial);
    event.ucChannel = channel;
    event.usValue = value;

    pthread_mutex_lock(&lock);
    fired = tqDevSDK_Linkage_Event(engine, &event, 0, &now);
    if (fired < 0) {
        fprintf(stderr, "hub: %s\n", tqDevSDK_Linkage_ReasonText(tqDevSDK_Linkage_LastReason(engine)));
    } else if (fired == 0) {
        say_why_not(&event, &now);
    }
    pthread_mutex_unlock(&lock);
}

void hub_member(const char *serial, int reachable) {
    pthread_mutex_lock(&lock);
    if (tqDevSDK_Linkage_SetMember(engine, serial, reachable) != 0) {
        fprintf(stderr, "hub: %s\n", tqDevSDK_Linkage_ReasonText(tqDevSDK_Linkage_LastReason(engine)));
    }
    pthread_mutex_unlock(&lock);
}

void hub_post_statistics(void) {
    tqDevSDK_SmartControl_DCLogParam_S param;
    tqDevSDK_SmartControl_DclogMsg_S msg = {tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, NULL, sizeof param};

    memset(&param, 0, sizeof param);
    snprintf(param.acSystemName, sizeof param.acSystemName, "device_lan_smart_center_statistics");
    snprintf(param.acDevId, sizeof param.acDevId, "%s", HUB_SERIAL);
    param.uiStartTime_sec = statistics_start;
    param.uiEndTime_sec = (UINT32)time(NULL);
    pthread_mutex_lock(&lock);
    param.uiLog_Seq = statistics_seq++;
    tqDevSDK_Linkage_Statistics(engine, &param.unPrivPara.unLanLinkPriv.stCentStatis);
    pthread_mutex_unlock(&lock);
    msg.pData = &param;
    if (tqDevSDK_SmartControl_PushDclog(&msg) != 0) {
        fprintf(stderr, "hub: the statistics could not be posted\n");
    }
}

/* ---- Life ---- */

int hub_start(void (*clock)(tqDevSDK_Linkage_Now_S *now)) {
    /* Delays are seconds; condition 0 is any, 1 is all, whose values count until others arrive. */
    static const tqDevSDK_Linkage_Config_S config = {
        HUB_SERIAL, 1000, 0, 0, 64, 32,
        64,         64,   4, 0, 2,  {{0, TQDEVSDK_LINKAGE_HOW_ANY}, {1, TQDEVSDK_LINKAGE_HOW_ALL}}};
    tqDevSDK_SmartControl_init_info info = {{recv_msg, on_get_runtime_info}, 0};
    int reason = 0;

    read_clock = clock != NULL ? clock : system_clock;
    statistics_start = (UINT32)time(NULL);
    engine = tqDevSDK_Linkage_New(&config, &reason);
    if (engine == NULL) {
        fprintf(stderr, "hub: %s\n", tqDevSDK_Linkage_ReasonText(reason));
        return -1;
    }
    if (tqDevSDK_SmartControl_init(&info) != 0) {
        hub_stop();
        return -1;
    }
    return 0;
}

void hub_stop(void) {
    tqDevSDK_SmartControl_fini();
    tqDevSDK_Linkage_FreeRules(kept);
    tqDevSDK_Linkage_Free(engine);
    kept = NULL;
    engine = NULL;
}
