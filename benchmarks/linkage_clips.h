/* SPDX-License-Identifier: Apache-2.0 */
/** @file linkage_clips.h  The same rules and events in CLIPS, a rule engine for everything. */
#ifndef LINKAGE_CLIPS_H
#define LINKAGE_CLIPS_H

#ifdef __cplusplus
extern "C" {
#endif

/** An engine with the templates of events and of the clock, set to a day and a minute; null without memory.
 */
void *ClipsNew(unsigned day, unsigned minute);

/** Reads a construct, a rule say; 1 on success. */
int ClipsBuild(void *engine, const char *construct);

/** Asserts a fact, lets rules fire, takes the fact back; the number of rules that fired, -1 for a bad fact.
 */
long long ClipsHappen(void *engine, const char *fact);

/** Asserts a fact (last KEY VALUE) in place of the one with this key. */
void ClipsReplace(void *engine, const char *key, const char *fact);

/** A global number, which is set to 0 again; -1 when there is none. */
long long ClipsTakeMark(void *engine, const char *global);

void ClipsFree(void *engine);

#ifdef __cplusplus
}
#endif

#endif
