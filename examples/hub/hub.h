/* SPDX-License-Identifier: Apache-2.0 */
/** @file hub.h  A hub as a device application: it carries out the linkage rules of a home. */
#ifndef HUB_H
#define HUB_H

#include "tqDevSDK_Linkage.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The hub's own serial. */
#define HUB_SERIAL "HUB000001"

/** Starts the module with the hub's callbacks; 0 on success. `clock` fills in a moment; null: the system's.
 */
int hub_start(void (*clock)(tqDevSDK_Linkage_Now_S *now));

/** Says that a device of the home was found, or lost. */
void hub_member(const char *serial, int reachable);

/** Takes an event of the hub's or a member's, and says of each rule that did not fire why. */
void hub_event(const char *serial, UINT32 domain, UINT32 command, UINT8 channel, UINT16 value);

/** Does what is due; milliseconds until there is more, at most a minute. For the hub's own loop. */
unsigned hub_work(void);

/** Posts the center's counters. */
void hub_post_statistics(void);

/** Stops the module. */
void hub_stop(void);

#ifdef __cplusplus
}
#endif

#endif
