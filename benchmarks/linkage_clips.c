/* SPDX-License-Identifier: Apache-2.0 */
/* CLIPS behind the few calls that the comparison makes: templates, facts, marks that rules leave. */
#include "linkage_clips.h"

#include <clips/clips.h>
#include <stdio.h>
#include <string.h>

void *ClipsNew(unsigned day, unsigned minute) {
    void *engine = CreateEnvironment();
    char clock[64];

    if (engine == NULL) {
        return NULL;
    }
    EnvBuild(engine,
             "(deftemplate event (slot domain) (slot command) (slot serial) (slot channel) (slot value))");
    EnvBuild(engine, "(deftemplate clock (slot day) (slot minute))");
    snprintf(clock, sizeof clock, "(clock (day %u) (minute %u))", day, minute);
    EnvAssertString(engine, clock);
    return engine;
}

int ClipsBuild(void *engine, const char *construct) {
    return EnvBuild(engine, construct);
}

long long ClipsHappen(void *engine, const char *fact) {
    void *asserted = EnvAssertString(engine, fact);
    long long fired;

    if (asserted == NULL) {
        return -1;
    }
    fired = EnvRun(engine, -1);
    EnvRetract(engine, asserted);
    return fired;
}

void ClipsReplace(void *engine, const char *key, const char *fact) {
    char start[64];
    void *old = NULL;
    char text[128];

    snprintf(start, sizeof start, "(last %s ", key);
    while ((old = EnvGetNextFact(engine, old)) != NULL) {
        EnvGetFactPPForm(engine, text, sizeof text, old);
        if (strstr(text, start) != NULL) {
            EnvRetract(engine, old);
            break;
        }
    }
    EnvAssertString(engine, fact);
}

long long ClipsTakeMark(void *engine, const char *global) {
    DATA_OBJECT value;
    DATA_OBJECT zero;
    long long mark;

    if (!EnvGetDefglobalValue(engine, global, &value)) {
        return -1;
    }
    mark = DOToLong(value);
    SetType(zero, INTEGER);
    SetValue(zero, EnvAddLong(engine, 0));
    EnvSetDefglobalValue(engine, global, &zero);
    return mark;
}

void ClipsFree(void *engine) {
    DestroyEnvironment(engine);
}
