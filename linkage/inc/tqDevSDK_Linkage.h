/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file tqDevSDK_Linkage.h
 * The linkage engine: decides at each event which linkage rules fire and what is to be done, and says of
 * every rule why it fired or did not.
 *
 * The engine takes the rule records of tqDevSDK_SmartControl_def.h. Events and time go in as arguments,
 * effects are pulled out: it has no clock, no thread, no lock and no callback, opens nothing and prints
 * nothing.
 *
 * @code
 * tqDevSDK_Linkage_SetRules(engine, rules);
 * tqDevSDK_Linkage_Event(engine, &event, 0, &now);
 * while (tqDevSDK_Linkage_Next(engine, &now, &effect) == 1)
 *     carry_out(&effect);
 * sleep_until(tqDevSDK_Linkage_Deadline(engine));
 * @endcode
 *
 * Conventions, unless a comment says otherwise:
 *
 * - **Results.** -1 is a failure: nothing was changed, and tqDevSDK_Linkage_LastReason says why. A null
 *   argument is such a failure.
 * - **Text fields.** A `char[N]` field ends at its NUL or at its width, whichever comes first. What the
 *   engine writes is always terminated where the field has room for it. Encoding is UTF-8.
 * - **Records given to a function** are read during the call only and stay the caller's.
 * - **Arrays.** A count goes with each array; a null array pointer counts as no elements.
 * - **Memory.** New and SetRules allocate, each once, and so do the rule set functions at the end; nothing
 *   else does.
 * - **Threads.** One engine is used by one thread at a time; the caller locks.
 * - **Time** that runs backwards is taken as standing still.
 *
 * The header is valid C99 and C++17.
 */
#ifndef TQDEVSDK_LINKAGE_H
#define TQDEVSDK_LINKAGE_H

#include <stddef.h>
#include <stdint.h>

#include "tqDevSDK_SmartControl_def.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An engine; made by tqDevSDK_Linkage_New. */
typedef struct tqDevSDK_Linkage tqDevSDK_Linkage;

/* ------------------------------------------------------------------------------------------------
 * Configuration and time
 * --------------------------------------------------------------------------------------------- */

/** How the events of a rule combine. */
enum {
    TQDEVSDK_LINKAGE_HOW_ANY = 1, /**< Each event fires the rule by itself. */
    TQDEVSDK_LINKAGE_HOW_ALL = 2  /**< Each event fires it while all others have their values. */
};

/** What one value of a rule's `usCondition` means. */
typedef struct {
    UINT16 usCondition; /**< The platform's value. */
    UINT8 ucHow;        /**< `TQDEVSDK_LINKAGE_HOW_ANY` or `…_ALL`. */
} tqDevSDK_Linkage_How_S;

/** The argument of tqDevSDK_Linkage_New. Ask the platform what it means; little here has a default. */
typedef struct {
    char acSerial[32];     /**< Own serial; actions for it are carried out here. Not empty. */
    UINT32 uiDelayUnitMs;  /**< Unit of an action's `uiDelay` in milliseconds; 0 is refused. */
    UINT32 uiAllWindowMs;  /**< ALL: age up to which an event's value counts; 0: until another arrives. */
    UINT32 uiCooldownMs;   /**< How long a rule rests after firing; 0: it does not. */
    UINT16 usRunningMax;   /**< Actions waiting or running at once; those beyond go to the platform. */
    UINT16 usMemberMax;    /**< Members reachable at once. */
    UINT16 usFiredMax;     /**< Entries of the trace of firings and what follows them. */
    UINT16 usHeldMax;      /**< Entries of the trace of rules that did not fire. */
    UINT8 ucChainMax;      /**< Rules in a row that may set each other off behind the first; 0: none. */
    UINT8 ucPeriodEndOpen; /**< 0: the end's minute belongs to a period; else it does not. */
    UINT16 usHowNum;       /**< Used entries of `astHow`. */
    tqDevSDK_Linkage_How_S astHow[8]; /**< Each value once; a value that is missing holds its rules. */
} tqDevSDK_Linkage_Config_S;

/** The moment of a call. */
typedef struct {
    uint64_t ullMonoMs;   /**< Monotonic milliseconds: delays and ages. */
    UINT32 uiSecondOfDay; /**< Local civil time, 0 to 86399. */
    UINT8 ucDay;          /**< The platform's number of the local day, 1 to 7. */
    UINT8 ucClockSet;     /**< 0: civil time is not known yet, and the two above are not read. */
} tqDevSDK_Linkage_Now_S;

/** Most rules of a set, most events of its rules, and most actions. */
#define TQDEVSDK_LINKAGE_SET_MAX 8388607

/** Why a function failed. */
typedef enum {
    TQDEVSDK_LINKAGE_REASON_NONE = 0,            /**< Nothing failed yet. */
    TQDEVSDK_LINKAGE_REASON_NULL = 1,            /**< An argument is null. */
    TQDEVSDK_LINKAGE_REASON_SERIAL = 2,          /**< A serial is empty, or a member's is the own one. */
    TQDEVSDK_LINKAGE_REASON_DELAY_UNIT = 3,      /**< The configuration has no unit of delays. */
    TQDEVSDK_LINKAGE_REASON_HOW = 4,             /**< `usHowNum` is above 8, or `ucHow` unknown. */
    TQDEVSDK_LINKAGE_REASON_CONDITION_TWICE = 5, /**< A value of `usCondition` stands twice. */
    TQDEVSDK_LINKAGE_REASON_NOW = 6,             /**< The second or the day is out of range. */
    TQDEVSDK_LINKAGE_REASON_TOKEN = 7,           /**< No action has or had this token. */
    TQDEVSDK_LINKAGE_REASON_RESULT = 8,          /**< The result is neither 0 to 255 nor CANNOT. */
    TQDEVSDK_LINKAGE_REASON_VALUES = 9,          /**< An action has more than 16 values. */
    TQDEVSDK_LINKAGE_REASON_MEMORY = 10,         /**< There is not enough memory. */
    TQDEVSDK_LINKAGE_REASON_MEMBERS = 11,        /**< `usMemberMax` members are reachable. */
    TQDEVSDK_LINKAGE_REASON_RUNNING = 12,        /**< More actions than `usRunningMax` leaves room for. */
    TQDEVSDK_LINKAGE_REASON_EFFECTS = 13,        /**< Effects have to be pulled first. */
    TQDEVSDK_LINKAGE_REASON_RING = 14,           /**< There is no such trace. */
    TQDEVSDK_LINKAGE_REASON_SIZE = 15, /**< The set is larger than `TQDEVSDK_LINKAGE_SET_MAX` allows. */
    TQDEVSDK_LINKAGE_REASON_MAX = 16
} TQDEVSDK_LINKAGE_REASON_E;

/* ------------------------------------------------------------------------------------------------
 * Effects
 * --------------------------------------------------------------------------------------------- */

/** What an effect asks for. */
enum {
    TQDEVSDK_LINKAGE_EFFECT_RUN = 1,    /**< Carry out the action, then call tqDevSDK_Linkage_Done. */
    TQDEVSDK_LINKAGE_EFFECT_RESULT = 2, /**< Report the result: `…_MSG_TO_SERVER_ACTION_RESULT`. */
    TQDEVSDK_LINKAGE_EFFECT_UNDONE = 3  /**< Report the actions: `…_MSG_TO_SERVER_UNDONE_ACTIONS`. */
};

/** Something to be done. */
typedef struct {
    uint64_t ullToken; /**< RUN and RESULT: names the action, never 0 and below 2^53; UNDONE: 0. */
    UINT32 uiRuleId;   /**< Rule that fired. */
    UINT8 ucType;      /**< A `TQDEVSDK_LINKAGE_EFFECT_…` value, selects the member. */
    UINT8 reserved[3]; /**< Zero. */
    union {
        tqDevSDK_SmartControl_ConfigRule_Actions stAction; /**< RUN. */
        tqDevSDK_SmartControl_Info_ActionResult stResult;  /**< RESULT. */
        tqDevSDK_SmartControl_UndoneActions_S *pstUndone;  /**< UNDONE; the engine's, until its next call. */
    } unWhat;                                              /**< What the type selects. */
} tqDevSDK_Linkage_Effect_S;

/** A result of tqDevSDK_Linkage_Done: the action cannot be carried out here, the platform is to do it. */
#define TQDEVSDK_LINKAGE_CANNOT 256

/** An action that waits for the end of its delay; 96 bytes. */
typedef struct {
    uint64_t ullDelayMs;                               /**< Time that is left, milliseconds. */
    UINT32 uiRuleId;                                   /**< Rule that fired. */
    UINT8 ucDepth;                                     /**< Rules before it in the chain. */
    UINT8 reserved[3];                                 /**< Zero. */
    tqDevSDK_SmartControl_ConfigRule_Actions stAction; /**< The action. */
} tqDevSDK_Linkage_Waiting_S;

/* ------------------------------------------------------------------------------------------------
 * Trace
 * --------------------------------------------------------------------------------------------- */

/**
 * What became of a rule or an action, with what `uiWanted` and `uiGot` hold. Those from VALUE to CHAIN stand
 * in the order in which they are checked; the first that fails is the verdict.
 */
typedef enum {
    TQDEVSDK_LINKAGE_VERDICT_NONE = 0, /**< No event yet. */

    TQDEVSDK_LINKAGE_VERDICT_VALUE = 1,          /**< The event has another value: its and the event's. */
    TQDEVSDK_LINKAGE_VERDICT_DISABLED = 2,       /**< The rule is disabled. */
    TQDEVSDK_LINKAGE_VERDICT_PERIOD_INVALID = 3, /**< No time of day: got hour * 65536 + minute. */
    TQDEVSDK_LINKAGE_VERDICT_PERIOD_EMPTY = 4,   /**< The end is before the start: wanted as for PERIOD. */
    TQDEVSDK_LINKAGE_VERDICT_CLOCK_NOT_SET = 5,  /**< Civil time is not known. */
    TQDEVSDK_LINKAGE_VERDICT_PERIOD = 6, /**< Minutes: wanted start * 65536 + end, got the present one. */
    TQDEVSDK_LINKAGE_VERDICT_DAY =
        7, /**< Wanted bit i: day i + 1; got the day on which the period started. */
    TQDEVSDK_LINKAGE_VERDICT_CONDITION = 8,    /**< The configuration does not map it: got `usCondition`. */
    TQDEVSDK_LINKAGE_VERDICT_NEVER_SEEN = 9,   /**< ALL: no value yet: wanted it. */
    TQDEVSDK_LINKAGE_VERDICT_OTHER_VALUE = 10, /**< ALL: another value: wanted, got. */
    TQDEVSDK_LINKAGE_VERDICT_TOO_OLD = 11,     /**< ALL: age in milliseconds: at most, got. */
    TQDEVSDK_LINKAGE_VERDICT_COOLDOWN = 12,    /**< The rule rests: milliseconds at least, got. */
    TQDEVSDK_LINKAGE_VERDICT_CHAIN = 13,       /**< Too many rules in a row: at most, got. */

    TQDEVSDK_LINKAGE_VERDICT_FIRED = 14,      /**< The rule fired: wanted and got the event's value. */
    TQDEVSDK_LINKAGE_VERDICT_DELAYED = 15,    /**< The action waits: wanted milliseconds. */
    TQDEVSDK_LINKAGE_VERDICT_RUN = 16,        /**< The action was handed out. */
    TQDEVSDK_LINKAGE_VERDICT_RESULT = 17,     /**< Its result came: got. */
    TQDEVSDK_LINKAGE_VERDICT_UNDONE = 18,     /**< Its device is not reachable; got 1: it said CANNOT. */
    TQDEVSDK_LINKAGE_VERDICT_QUEUE_FULL = 19, /**< Undone, for want of room: wanted `usRunningMax`. */
    TQDEVSDK_LINKAGE_VERDICT_DROPPED = 20,    /**< New rules do not have it any more. */

    TQDEVSDK_LINKAGE_VERDICT_OTHER_DOMAIN = 21,  /**< Explain: another domain: wanted, got. */
    TQDEVSDK_LINKAGE_VERDICT_OTHER_COMMAND = 22, /**< Explain: another command: wanted, got. */
    TQDEVSDK_LINKAGE_VERDICT_OTHER_CHANNEL = 23, /**< Explain: another channel: wanted, got. */
    TQDEVSDK_LINKAGE_VERDICT_MAX = 24
} TQDEVSDK_LINKAGE_VERDICT_E;

/** The two traces, so that dull entries never wash away firings. */
enum {
    TQDEVSDK_LINKAGE_RING_FIRED = 0, /**< FIRED to DROPPED, and CHAIN. */
    TQDEVSDK_LINKAGE_RING_HELD = 1   /**< All others. */
};

/** An entry of a trace; 32 bytes. */
typedef struct {
    uint64_t ullMonoMs;  /**< Moment. */
    UINT32 uiNumber;     /**< Counts the entries of both traces, from 1; wraps. */
    UINT32 uiRuleId;     /**< Rule. */
    UINT32 uiWanted;     /**< As the verdict says, else 0. */
    UINT32 uiGot;        /**< As the verdict says, else 0. */
    UINT16 usItem;       /**< Event of the rule, from DELAYED to DROPPED the action; zero-based. */
    UINT16 usUnitType;   /**< `usType` of the value unit in which the rule is filed. */
    UINT8 ucUnitChannel; /**< Its `ucChannel`. */
    UINT8 ucVerdict;     /**< A `TQDEVSDK_LINKAGE_VERDICT_E` value. */
    UINT8 ucDepth;       /**< Rules before it in the chain. */
    UINT8 reserved;      /**< Zero. */
} tqDevSDK_Linkage_Trace_S;

/** What the engine remembers of a rule; 24 bytes. */
typedef struct {
    uint64_t ullMonoMs;  /**< Moment of the last verdict. */
    UINT32 uiRuleId;     /**< Rule. */
    UINT32 uiFired;      /**< How often it fired. */
    UINT16 usUnitType;   /**< `usType` of the value unit in which the rule is filed. */
    UINT8 ucUnitChannel; /**< Its `ucChannel`. */
    UINT8 ucVerdict;     /**< Last verdict, NONE to FIRED. */
    UINT8 reserved[4];   /**< Zero. */
} tqDevSDK_Linkage_RuleState_S;

/** Bytes that hold every text of tqDevSDK_Linkage_TraceText. */
#define TQDEVSDK_LINKAGE_TEXT_MAX 160

/* ------------------------------------------------------------------------------------------------
 * Life of an engine
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_Linkage_New makes an engine without rules and without members.
 *
 * @param config read during the call only.
 * @param reason receives a `TQDEVSDK_LINKAGE_REASON_E` value when the result is null; may be null.
 * @return the engine, for tqDevSDK_Linkage_Free; null when the configuration is refused or memory is out.
 *
 * @code
 * tqDevSDK_Linkage_Config_S config = {"HUB000001", 1000, 0, 0, 64, 32, 256, 256, 4, 0, 2,
 *                                     {{0, TQDEVSDK_LINKAGE_HOW_ANY}, {1, TQDEVSDK_LINKAGE_HOW_ALL}}};
 * int reason;
 * tqDevSDK_Linkage *engine = tqDevSDK_Linkage_New(&config, &reason);
 * if (engine == NULL)
 *     fprintf(stderr, "%s\n", tqDevSDK_Linkage_ReasonText(reason));
 * @endcode
 */
tqDevSDK_Linkage *tqDevSDK_Linkage_New(const tqDevSDK_Linkage_Config_S *config, int *reason);

/**
 * tqDevSDK_Linkage_Free ends an engine; what waits or runs is forgotten.
 *
 * @param engine may be null.
 *
 * @code
 * tqDevSDK_Linkage_Free(engine);
 * @endcode
 */
void tqDevSDK_Linkage_Free(tqDevSDK_Linkage *engine);

/**
 * tqDevSDK_Linkage_SizeOf says how much memory an engine with these rules takes. SetRules needs that of the
 * new rules beside that of the old ones, and 8 bytes for each undone action that was not pulled yet.
 *
 * @param config as for tqDevSDK_Linkage_New.
 * @param rules as for tqDevSDK_Linkage_SetRules; null: none.
 * @return bytes, without what the allocator adds; 0 when New or SetRules would refuse them.
 *
 * @code
 * if (tqDevSDK_Linkage_SizeOf(&config, rules) > memory_for_rules)
 *     return -1;
 * @endcode
 */
size_t tqDevSDK_Linkage_SizeOf(const tqDevSDK_Linkage_Config_S *config,
                               const tqDevSDK_SmartControl_ConfigRules *rules);

/**
 * tqDevSDK_Linkage_LastReason tells why the last function that failed did so.
 *
 * @param engine null gives `TQDEVSDK_LINKAGE_REASON_NULL`.
 * @return a `TQDEVSDK_LINKAGE_REASON_E` value.
 *
 * @code
 * if (tqDevSDK_Linkage_SetRules(engine, rules) != 0)
 *     fprintf(stderr, "%s\n", tqDevSDK_Linkage_ReasonText(tqDevSDK_Linkage_LastReason(engine)));
 * @endcode
 */
int tqDevSDK_Linkage_LastReason(const tqDevSDK_Linkage *engine);

/**
 * tqDevSDK_Linkage_ReasonText puts a reason into words.
 *
 * @param reason a `TQDEVSDK_LINKAGE_REASON_E` value.
 * @return a constant text; "unknown reason" for another value.
 *
 * @code
 * puts(tqDevSDK_Linkage_ReasonText(TQDEVSDK_LINKAGE_REASON_TOKEN)); // no action has this token
 * @endcode
 */
const char *tqDevSDK_Linkage_ReasonText(int reason);

/* ------------------------------------------------------------------------------------------------
 * What goes in
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_Linkage_SetRules puts a rule set in force, in place of the one before. The set is copied.
 *
 * Last values of events that the new rules name, too, stay known; rules that keep their id keep what
 * tqDevSDK_Linkage_ReadRules tells and their rest after firing. An action that waits, or that was undone and
 * not pulled yet, stays when the new set has a rule of its id with an equal action, else it is dropped with
 * an entry in the trace. An action that was handed out is the device's, and its result will be reported.
 *
 * @param engine the engine.
 * @param rules the complete set; of a name, 31 bytes are kept. Two rules of one id are both rules.
 * @return 0; -1 with the old rules in force when an action has too many values, the set is too large, or
 * memory is out.
 *
 * @code
 * static int take_rules(const tqDevSDK_SmartControl_msg_to_dev *msg)
 * {
 *     return tqDevSDK_Linkage_SetRules(engine, (const void *)msg->data);
 * }
 * @endcode
 */
int tqDevSDK_Linkage_SetRules(tqDevSDK_Linkage *engine, const tqDevSDK_SmartControl_ConfigRules *rules);

/**
 * tqDevSDK_Linkage_SetMember says whether a member of the group can be reached. At first none can. Actions
 * for members that cannot, and for all other devices, go to the platform as undone.
 *
 * @param engine the engine.
 * @param serial the member's, NUL-terminated; 32 characters count.
 * @param reachable 0: not, else it is.
 * @return 0; -1 when the serial is empty or the own one, or `usMemberMax` others are reachable.
 *
 * @code
 * tqDevSDK_Linkage_SetMember(engine, "CAMERA001", 1);
 * @endcode
 */
int tqDevSDK_Linkage_SetMember(tqDevSDK_Linkage *engine, const char *serial, int reachable);

/**
 * tqDevSDK_Linkage_Event says that an event happened, here or at a member. Each rule that names its domain,
 * command, serial and channel is judged, in the order of the set; those that fire cause effects.
 *
 * @param engine the engine.
 * @param event what happened.
 * @param token of the action that caused it, also when that is done by now; 0: none did.
 * @param now the moment.
 * @return number of rules that fired; -1 when token or moment are bad, or when more undone actions might come
 *         of the event than there is room for before effects are pulled.
 *
 * @code
 * tqDevSDK_SmartControl_ConfigRule_Events event = {1100, 5, "SENSOR001", 1, 1};
 * tqDevSDK_Linkage_Event(engine, &event, 0, &now);
 * @endcode
 */
int tqDevSDK_Linkage_Event(tqDevSDK_Linkage *engine, const tqDevSDK_SmartControl_ConfigRule_Events *event,
                           uint64_t token, const tqDevSDK_Linkage_Now_S *now);

/**
 * tqDevSDK_Linkage_Done says how an action ended that a RUN effect asked for; RESULT comes of it, or UNDONE
 * when it could not be carried out. It is owed once for each RUN: until then the action takes up room.
 *
 * @param engine the engine.
 * @param token of the effect.
 * @param result 0 to 255, which is reported as it is, 0 counting as success; or `TQDEVSDK_LINKAGE_CANNOT`.
 * @param now the moment.
 * @return 0; -1 when no action with this token is running, or result or moment are bad.
 *
 * @code
 * tqDevSDK_Linkage_Done(engine, effect.ullToken, switch_light(&effect.unWhat.stAction) ? 0 : 1, &now);
 * @endcode
 */
int tqDevSDK_Linkage_Done(tqDevSDK_Linkage *engine, uint64_t token, int result,
                          const tqDevSDK_Linkage_Now_S *now);

/* ------------------------------------------------------------------------------------------------
 * What comes out
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_Linkage_Next takes out the next effect that is due: first what was undone at a firing, one UNDONE
 * for each firing; then RUN, RESULT and later UNDONE by due time, order of firing, order in the rule.
 *
 * @param engine the engine.
 * @param now the moment.
 * @param effect receives the effect.
 * @return 1; 0 when none is due; -1 when the moment is bad.
 *
 * @code
 * while (tqDevSDK_Linkage_Next(engine, &now, &effect) == 1) {
 *     if (effect.ucType == TQDEVSDK_LINKAGE_EFFECT_RUN)
 *         start_action(effect.ullToken, &effect.unWhat.stAction);
 *     else
 *         report(&effect);
 * }
 * @endcode
 */
int tqDevSDK_Linkage_Next(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Now_S *now,
                          tqDevSDK_Linkage_Effect_S *effect);

/**
 * tqDevSDK_Linkage_Deadline tells when tqDevSDK_Linkage_Next will have an effect, if nothing goes in before.
 *
 * @param engine null has none.
 * @return `ullMonoMs` of that moment, in the past or 0 when one is due; UINT64_MAX when there is none.
 *
 * @code
 * uint64_t deadline = tqDevSDK_Linkage_Deadline(engine);
 * uint64_t wait = deadline <= now.ullMonoMs ? 0 : deadline - now.ullMonoMs;
 * @endcode
 */
uint64_t tqDevSDK_Linkage_Deadline(const tqDevSDK_Linkage *engine);

/**
 * tqDevSDK_Linkage_Statistics fills in the center's counters. Own is what has the own serial, a member's what
 * has any other. Counted are the rules in force, then since New: events; own actions handed out; members'
 * actions that ended with 0, and with another result or CANNOT; actions given to the platform as undone;
 * results that came, CANNOT apart.
 *
 * @param engine the engine.
 * @param statistics receives them; the application subtracts what it posted before.
 * @return 0.
 *
 * @code
 * tqDevSDK_SmartControl_DCLogParam_S param = {0};
 * tqDevSDK_Linkage_Statistics(engine, &param.unPrivPara.unLanLinkPriv.stCentStatis);
 * @endcode
 */
int tqDevSDK_Linkage_Statistics(tqDevSDK_Linkage *engine,
                                tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S *statistics);

/* ------------------------------------------------------------------------------------------------
 * Why
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_Linkage_ReadTrace copies entries of a trace, oldest first. The numbers put both traces in order,
 * and a gap to what was read before says that entries were overwritten or stand in the other one.
 *
 * @param engine the engine.
 * @param ring `TQDEVSDK_LINKAGE_RING_FIRED` or `…_HELD`.
 * @param after number of the last entry that is known; 0 at first.
 * @param entries receives up to `max` entries.
 * @param max their number.
 * @return number of entries; -1 when there is no such ring.
 *
 * @code
 * tqDevSDK_Linkage_Trace_S entries[16];
 * int num = tqDevSDK_Linkage_ReadTrace(engine, TQDEVSDK_LINKAGE_RING_HELD, last, entries, 16);
 * @endcode
 */
int tqDevSDK_Linkage_ReadTrace(tqDevSDK_Linkage *engine, int ring, UINT32 after,
                               tqDevSDK_Linkage_Trace_S *entries, UINT32 max);

/**
 * tqDevSDK_Linkage_TraceText puts an entry into words, with the name that the rule has now:
 * `rule 1 "Porch at night" held: day 6 is not among 1 2 3 4 5`.
 *
 * @param engine the engine.
 * @param entry an entry of a trace or of tqDevSDK_Linkage_Explain.
 * @param text receives the text, cut and terminated.
 * @param size its bytes; `TQDEVSDK_LINKAGE_TEXT_MAX` hold every text.
 * @return length of the whole text, as of snprintf.
 *
 * @code
 * char text[TQDEVSDK_LINKAGE_TEXT_MAX];
 * tqDevSDK_Linkage_TraceText(engine, &entries[0], text, sizeof text);
 * @endcode
 */
int tqDevSDK_Linkage_TraceText(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Trace_S *entry, char *text,
                               size_t size);

/**
 * tqDevSDK_Linkage_Explain judges an event without changing anything, with a verdict for every rule that
 * names its device: FIRED where it would fire; near misses have OTHER_DOMAIN, OTHER_COMMAND or OTHER_CHANNEL.
 * It looks at all rules.
 *
 * @param engine the engine.
 * @param event the event in question.
 * @param token as for tqDevSDK_Linkage_Event.
 * @param now the moment in question.
 * @param entries receives up to `max` verdicts in the order of the rules, numbered from 1.
 * @param max their number; 0 with null entries only counts.
 * @return number of rules that name the device, which may be above `max`; -1 as for tqDevSDK_Linkage_Event.
 *
 * @code
 * int num = tqDevSDK_Linkage_Explain(engine, &event, 0, &now, entries, 16);
 * @endcode
 */
int tqDevSDK_Linkage_Explain(tqDevSDK_Linkage *engine, const tqDevSDK_SmartControl_ConfigRule_Events *event,
                             uint64_t token, const tqDevSDK_Linkage_Now_S *now,
                             tqDevSDK_Linkage_Trace_S *entries, UINT32 max);

/**
 * tqDevSDK_Linkage_ReadRules tells what is remembered of the rules, in the order of the set.
 *
 * @param engine the engine.
 * @param first zero-based number of the first rule.
 * @param states receives up to `max` rules.
 * @param max their number.
 * @return number of rules that were written, 0 behind the last.
 *
 * @code
 * tqDevSDK_Linkage_RuleState_S state;
 * for (UINT32 i = 0; tqDevSDK_Linkage_ReadRules(engine, i, &state, 1) == 1; ++i)
 *     printf("rule %u fired %u times\n", (unsigned)state.uiRuleId, (unsigned)state.uiFired);
 * @endcode
 */
int tqDevSDK_Linkage_ReadRules(tqDevSDK_Linkage *engine, UINT32 first, tqDevSDK_Linkage_RuleState_S *states,
                               UINT32 max);

/* ------------------------------------------------------------------------------------------------
 * Over a restart
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_Linkage_SaveWaiting copies the actions whose delay has not ended, in the order in which they will
 * go out. Actions that are running are not among them, since nothing is carried out twice; pull the effects
 * that are due before.
 *
 * @param engine the engine.
 * @param now the moment.
 * @param waiting receives up to `max` actions.
 * @param max their number; 0 with null `waiting` only counts.
 * @return number of actions that wait, which may be above `max`; -1 when the moment is bad.
 *
 * @code
 * int num = tqDevSDK_Linkage_SaveWaiting(engine, &now, waiting, 64);
 * fwrite(waiting, sizeof waiting[0], num, file);
 * @endcode
 */
int tqDevSDK_Linkage_SaveWaiting(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Now_S *now,
                                 tqDevSDK_Linkage_Waiting_S *waiting, UINT32 max);

/**
 * tqDevSDK_Linkage_LoadWaiting takes actions again that were saved. Those that the rules in force do not have
 * are dropped with an entry in the trace, so set the rules before.
 *
 * @param engine the engine.
 * @param waiting the actions; shorten `ullDelayMs` by the time that passed if delays are to go on meanwhile.
 * @param num their number.
 * @param now the moment.
 * @return number of actions that wait again; -1 when there is no room for all, or the moment is bad.
 *
 * @code
 * tqDevSDK_Linkage_LoadWaiting(engine, waiting, num, &now);
 * @endcode
 */
int tqDevSDK_Linkage_LoadWaiting(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Waiting_S *waiting,
                                 UINT32 num, const tqDevSDK_Linkage_Now_S *now);

/* ------------------------------------------------------------------------------------------------
 * Rule sets
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_Linkage_CopyRules copies a rule set with all its arrays, each on the heap, so that the module may
 * be given it by `on_get_runtime_info`.
 *
 * @param rules the set; a count with a null array is written as 0.
 * @return the copy, for the module or tqDevSDK_Linkage_FreeRules; null for null, and when memory is out.
 *
 * @code
 * info->data = (void *)tqDevSDK_Linkage_CopyRules(kept);
 * return info->data != NULL ? 0 : -1;
 * @endcode
 */
tqDevSDK_SmartControl_ConfigRules *tqDevSDK_Linkage_CopyRules(const tqDevSDK_SmartControl_ConfigRules *rules);

/**
 * tqDevSDK_Linkage_FreeRules releases a rule set on the heap, its arrays and the record itself.
 *
 * @param rules may be null.
 *
 * @code
 * tqDevSDK_Linkage_FreeRules(kept);
 * @endcode
 */
void tqDevSDK_Linkage_FreeRules(tqDevSDK_SmartControl_ConfigRules *rules);

/**
 * tqDevSDK_Linkage_EqualRules compares two rule sets, all but the versions, reserved bytes, and what stands
 * behind the end of a text or of the used values.
 *
 * @param left a set.
 * @param right another.
 * @return 1 they are equal; 0 they are not; -1 one is null.
 *
 * @code
 * if (tqDevSDK_Linkage_EqualRules(kept, rules) == 1)
 *     return 0; // nothing new
 * @endcode
 */
int tqDevSDK_Linkage_EqualRules(const tqDevSDK_SmartControl_ConfigRules *left,
                                const tqDevSDK_SmartControl_ConfigRules *right);

#ifdef __cplusplus
}
#endif

#endif
