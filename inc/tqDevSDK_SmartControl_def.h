/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file tqDevSDK_SmartControl_def.h
 * The smart control module of the device SDK: linkage between the devices of a home.
 *
 * The module stands between the platform (the cloud service behind the SDK) and the device
 * application. Platform commands, linkage rules and device settings arrive at the application as
 * typed records through two callbacks; events, results, undone actions, LAN state and statistics go
 * to the platform through two functions. The module has no thread of its own.
 *
 * Conventions, unless a comment says otherwise:
 *
 * - **Results.** 0 is success, -1 a local failure (null argument, bad record, no memory, send refused).
 *   Each failed call of the four functions leaves an error line in the SDK log, and so does each command,
 *   setting and linkage rule value that is bad, and each message that finds no memory; a signal query that
 *   is not JSON is passed over without one. What the application refuses is not always logged, nor what the
 *   SDK refuses besides reports.
 * - **Text fields.** A `char[N]` field holds at most N - 1 characters and a terminating NUL. What the
 *   module writes is cut to that and always terminated; what it reads ends at the NUL or at the width
 *   of the field, whichever comes first. Encoding is UTF-8.
 * - **Records given to a function** are read during the call only and stay the caller's.
 * - **Records given to `recv_msg`** are lent: they, and all they point to, are released when the
 *   callback returns. Copy what you keep, and change nothing: a count that was changed does no harm, a
 *   changed pointer of a rule's events or actions would be freed in place of the array.
 * - **Memory returned by `on_get_runtime_info`** (rule sets and rule texts) becomes the module's, which
 *   releases it with `free()`. Allocate it with `malloc`, `calloc` or `strdup`, never statically.
 * - **Arrays.** A count goes with each array; a null array pointer counts as no elements.
 * - **Threads.** The two reporting functions may be called from any number of threads at once. Init
 *   and fini are called in turn, by one thread, while no callback runs and no other function of the module
 *   is being called.
 * - **Layout.** Field order and widths are binding. Sizes in comments are those of the 32-bit target.
 *
 * The header is valid C99 and C++17.
 */
#ifndef TQDEVSDK_SMARTCONTROL_DEF_H
#define TQDEVSDK_SMARTCONTROL_DEF_H

#include <stdint.h>

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Values that one action carries at most. */
#define TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX 16

/* ------------------------------------------------------------------------------------------------
 * Callbacks of the device application
 * --------------------------------------------------------------------------------------------- */

/** Message types of `recv_msg`, each with the record that `data` points at. */
typedef enum {
    /** `tqDevSDK_SmartControl_SetChimeAlarmAction`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION = 0,
    /** `tqDevSDK_SmartControl_ConfigRules`, the complete new rule set; `len` is 0. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_RULES = 1,
    /** `tqDevSDK_SmartControl_device_capture_info`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC = 2,
    /** `tqDevSDK_SmartControl_msg_IcrDss_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_ICR_DSS = 3,
    /** `UINT32`, the new screen overtime. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_OVERTIME = 4,
    /** `UINT32`, the new video recording time. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO_REC_TIME = 5,
    /** `UINT32`, the new screen auto-rouse setting. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_AUTO_ROUSE = 6,
    /** `UINT32`, the new screen lightness. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SCREEN_LIGHTNESS = 7,
    /** `tqDevSDK_SmartControl_Action_Common_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO = 8,
    /** `tqDevSDK_SmartControl_Action_Pic_And_Video_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO = 9,
    /** `tqDevSDK_SmartControl_Action_Sleep_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP = 10,
    /** `tqDevSDK_SmartControl_Rule_S`, the AI rules; `len` is the length of the text. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_AIRULES = 11,
    /** `tqDevSDK_SmartControl_Rule_S`, the scene rules; `len` is 8 on every build. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CONFIG_SCENE_RULES = 12,
    /** `tqDevSDK_SmartControl_ManualScene_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MANUAL_SCENE = 13,
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_MAX = 14
} TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E;

/** Query types of `on_get_runtime_info`, each with what `data` is and what the application fills. */
typedef enum {
    /** `data` is null, `len` 0: set `data` to a heap-allocated `tqDevSDK_SmartControl_ConfigRules`. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_CONFIG_RULES = 0,
    /** `tqDevSDK_SmartControl_msg_IcrDss_S`, zeroed: fill the four values, leave the padding. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_ICR_DSS = 1,
    /** `UINT32`: the current screen overtime. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_OVERTIME = 2,
    /** `UINT32`: the current video recording time. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_VIDEO_TIME = 3,
    /** `UINT32`: the current screen auto-rouse setting. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_AUTO_ROUSE = 4,
    /** `UINT32`: the current screen lightness. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS = 5,
    /**
     * `tqDevSDK_SmartControl_Rule_S`: the scene rules, `rule` null when there are none; `len` is 0 when the
     * shadow service asks and 8 when the status-report service does.
     */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCENE_RULES = 6,
    /** `tqDevSDK_SmartControl_Rule_S`: the AI rules, in the same way. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AI_RULES = 7,
    /** `tqDevSDK_Smartcontrol_ap_signal_info`: fill the signal of each entry; `len` is 8 on every build. */
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC = 8,
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_MAX = 9
} TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E;

/** A message from the platform, lent to `recv_msg`. */
typedef struct {
    int type;   /**< A `TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E` value. */
    char *data; /**< The record of that type. */
    int len;    /**< Size of the record in bytes, unless the type says otherwise. */
} tqDevSDK_SmartControl_msg_to_dev;

/** A question to the device application, lent to `on_get_runtime_info`. */
typedef struct {
    int type;   /**< A `TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E` value. */
    char *data; /**< The record of that type, to be filled. */
    int len;    /**< Size of the record in bytes, unless the type says otherwise. */
} tqDevSDK_SmartControl_runtime_info;

/** The device application's callbacks; the table is copied at init. */
typedef struct {
    /**
     * Takes a platform command, a new rule set or a new setting.
     *
     * Called synchronously on the SDK's routing thread (commands, manual scenes, settings) or on the
     * shadow service's thread (rules): return soon, and expect calls from both at once. It may call
     * the two reporting functions; it must not call init or fini.
     *
     * @return 0 when the message was carried out or queued. Any other value refuses it: a setting is
     *         then answered with result 4, a chime alarm is not answered, a manual scene is answered
     *         with status 400, a rule value is refused with this code. The verdict on capture, video,
     *         capture-and-video and sleep never reaches the platform: report it as an action result.
     *
     * When null, everything that arrives for the device is refused and logged.
     */
    int (*recv_msg)(tqDevSDK_SmartControl_msg_to_dev *msg);

    /**
     * Fills in the device's current state.
     *
     * Called synchronously on the routing thread (signal query), the shadow service's thread (rules)
     * or the status-report service's thread (settings, scene and AI rules). The same restrictions as
     * for `recv_msg` hold.
     *
     * @return 0 when the record was filled. Any other value says that there is no answer: a setting
     *         counts as unchanged (a code whose low 12 bits are 4 makes the status-report service ask
     *         again), a rule value is not reported. The signal query ignores it. A rule text set
     *         before failing is still released by the value request, and is not by a status query.
     *
     * When null, rule values are not reported, signal queries not answered and no setting ever counts as
     * changed.
     *
     * A setting that the SDK forces, as it does whenever the link comes up, is reported with the value seen
     * last, even if the application never gave one: -1 for a number, mode 255 for day/night. A code whose
     * low 12 bits are 4 has the service ask again instead: give it for settings that the device has not
     * read yet, or does not have.
     */
    int (*on_get_runtime_info)(tqDevSDK_SmartControl_runtime_info *info);
} tqDevSDK_SmartControl_callback;

/** The argument of `tqDevSDK_SmartControl_init`. */
typedef struct {
    tqDevSDK_SmartControl_callback cb; /**< Copied. */
    int resetReportAll; /**< For the shadow service, low 16 bits: not 0 has it report the linkage rules anew.
                         */
} tqDevSDK_SmartControl_init_info;

/* ------------------------------------------------------------------------------------------------
 * Platform commands (records of recv_msg)
 * --------------------------------------------------------------------------------------------- */

/** Sound a chime, type `…_CHIME_ALARM_ACTION`; 76 bytes. */
typedef struct {
    char acDevId[32];  /**< Serial of the device that raised the alarm; empty when not given. */
    UINT32 uiEventId;  /**< Event that raised the alarm. */
    UINT32 uiChannel;  /**< Channel of that event. */
    UINT32 uiValueNum; /**< Used entries of `ausValue`, 0 to 16. */
    UINT16 ausValue[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX]; /**< Action parameters in order. */
} tqDevSDK_SmartControl_SetChimeAlarmAction;

/** Take a picture, type `…_CAPTURE_PIC`; 140 bytes. */
typedef struct {
    UINT32 channel;       /**< Channel to capture. */
    UINT32 delay;         /**< Delay before the capture, in the platform's unit. */
    char relation_id[64]; /**< The platform's reference for the picture; empty when not given. */
    UINT32 uiValueNum;    /**< Used entries of `auiValue`, 0 to 16. */
    UINT32 auiValue[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX]; /**< Parameters in order, unused ones 0. */
} tqDevSDK_SmartControl_device_capture_info;

/** Record a video, type `…_VIDEO`; 8 bytes. */
typedef struct {
    UINT32 channel; /**< Channel to record. */
    UINT32 delay;   /**< Delay before the recording, in the platform's unit. */
} tqDevSDK_SmartControl_Action_Common_S;

/** Take a picture and record a video, type `…_PIC_AND_VIDEO`; 72 bytes. */
typedef struct {
    tqDevSDK_SmartControl_Action_Common_S stComm; /**< Channel and delay. */
    char relation_id[64];                         /**< The platform's reference; empty when not given. */
} tqDevSDK_SmartControl_Action_Pic_And_Video_S;

/** Go to sleep or wake up, type `…_SLEEP`; 4 bytes. Also served while the device sleeps. */
typedef struct {
    UINT8 ucEnable;    /**< Low byte of the value: 1 sleep, 0 wake. */
    UINT8 reserved[3]; /**< Upper three bytes of the value, least significant first; 0 for 0 and 1. */
} tqDevSDK_SmartControl_Action_Sleep_S;

/** Run a manual scene, type `…_MANUAL_SCENE`; 4 bytes. */
typedef struct {
    UINT32 uiSceneId; /**< Scene to run; ids above 2147483647 arrive as 2147483647. */
} tqDevSDK_SmartControl_ManualScene_S;

/* ------------------------------------------------------------------------------------------------
 * Signal query (record of on_get_runtime_info)
 * --------------------------------------------------------------------------------------------- */

/** What an entry of the signal query is about. */
enum {
    tqDevSDK_SmartControl_Ap_DevType_Chime = 0,
    tqDevSDK_SmartControl_Ap_DevType_Route = 1,
    tqDevSDK_SmartControl_Ap_DevType_Max = 2
};

/** One chime, or the router; 104 bytes. */
typedef struct {
    int iDevType;        /**< `tqDevSDK_SmartControl_Ap_DevType_Chime` or `…_Route`, set by the module. */
    int iSignalStrength; /**< To be filled, in the application's unit; a chime below 1 is not reported. */
    union {
        struct {
            char acMac[32];       /**< MAC address as the platform wrote it; empty when not given. */
            char acDevSerial[64]; /**< Serial of the chime; empty when not given. */
        } stChime;
        struct {
            char acSSID[64]; /**< To be filled: network name of the uplink. */
        } stRoute;
    } unInfo; /**< `stRoute` for the router, else `stChime`. */
} tqDevSDK_Smartcontrol_ap_signal_result;

/** All chimes asked about, and the router last; 8 bytes. The array is the module's: do not free it. */
typedef struct {
    int num; /**< Entries; a smaller value set by the application shortens the answer. */
    tqDevSDK_Smartcontrol_ap_signal_result *ap_signal_result; /**< Array of `num` entries. */
} tqDevSDK_Smartcontrol_ap_signal_info;

/* ------------------------------------------------------------------------------------------------
 * Device settings (records of both callbacks)
 * --------------------------------------------------------------------------------------------- */

/** Time span of automatic day/night switching; 8 bytes. */
typedef struct {
    int32_t begin; /**< Begin of the span, as the SDK's `tqdev_ParseTimeHHMM` gives it. */
    int32_t end;   /**< End of the span. */
} tqDevSDK_SmartControl_IcrDss_auto_time_S;

/**
 * The day/night (ICR) setting; 12 bytes. Compared bytewise, padding included: when filling it, leave
 * the two bytes after `ucSensitivity` as they were given.
 */
typedef struct {
    UINT8 ucMode;                                      /**< Day/night mode. */
    UINT8 ucSensitivity;                               /**< Switching sensitivity. */
    tqDevSDK_SmartControl_IcrDss_auto_time_S autoTime; /**< When to switch automatically. */
} tqDevSDK_SmartControl_msg_IcrDss_S;

/* ------------------------------------------------------------------------------------------------
 * Linkage rules (records of both callbacks)
 * --------------------------------------------------------------------------------------------- */

/** `usType` of a value unit. */
enum {
    TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_UNKNOWN = 0,
    TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_GLOBAL = 1,
    TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_MAX = 2
};

/** One trigger of a rule; 44 bytes. */
typedef struct {
    UINT32 uiDomain;  /**< Functional domain of the triggering device. */
    UINT32 uiCmdId;   /**< Event within the domain. */
    char acDevId[32]; /**< Serial of the triggering device. */
    UINT8 ucChannel;  /**< Channel on that device. */
    UINT16 usValue;   /**< Event value that triggers the rule. */
} tqDevSDK_SmartControl_ConfigRule_Events;

/** One action of a rule, or one undone action; 80 bytes. */
typedef struct {
    UINT32 uiDomain;                                          /**< Functional domain of the target device. */
    UINT32 uiCmdId;                                           /**< Command within the domain. */
    char acDevId[32];                                         /**< Serial of the target device. */
    UINT8 ucChannel;                                          /**< Channel on that device. */
    UINT8 ucValueNum;                                         /**< Used entries of `ausValue`, 0 to 16. */
    UINT16 ausValue[TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX]; /**< Command parameters in order. */
    UINT32 uiDelay; /**< Delay before the action, in the platform's unit. */
} tqDevSDK_SmartControl_ConfigRule_Actions;

/** One rule; 176 bytes. */
typedef struct {
    UINT32 uiRuleId;        /**< Rule identifier. */
    char acUserId[64];      /**< User who owns the rule. */
    char acRuleName[64];    /**< Display name. */
    UINT8 ucEnable;         /**< 1 enabled, 0 disabled. */
    UINT8 aucWeekDaysEn[7]; /**< Element i: 1 when the rule is active on day number i + 1. */
    UINT32 uiStart_hour;    /**< Start of the daily active period, hour. */
    UINT32 uiStart_min;     /**< Start, minute. */
    UINT32 uiEnd_hour;      /**< End of the daily active period, hour. */
    UINT32 uiEnd_min;       /**< End, minute. */
    UINT16 usCondition;     /**< How the events combine; the application's meaning. */
    UINT8 ucIsCrossDay;     /**< 1 when the end lies on the next day. */
    UINT8 reserved[3];      /**< Zero. */
    UINT16 usEvents_Num;    /**< Number of events. */
    tqDevSDK_SmartControl_ConfigRule_Events *pstEvents;   /**< Array of `usEvents_Num`; null when none. */
    UINT16 usActions_Num;                                 /**< Number of actions. */
    tqDevSDK_SmartControl_ConfigRule_Actions *pstActions; /**< Array of `usActions_Num`; null when none. */
} tqDevSDK_SmartControl_ConfigRules_RuleUnit;

/** The rules of one channel, or the global ones; 12 bytes. */
typedef struct {
    UINT16 usType;   /**< `TQDEVSDK_SMART_CONTROL_CONFIG_RULE_STATUS_TYPE_GLOBAL` or `…_UNKNOWN`. */
    UINT8 ucChannel; /**< Channel of the unit. */
    UINT16 usNum;    /**< Number of rules. */
    tqDevSDK_SmartControl_ConfigRules_RuleUnit *pstRuleUnit; /**< Array of `usNum`; null when none. */
} tqDevSDK_SmartControl_ConfigRules_ValueUnit;

/** A whole rule set; 12 bytes. */
typedef struct {
    UINT32 uiVersion;   /**< Version reported to the shadow; 0 in a set received from the platform. */
    UINT16 usNum;       /**< Number of value units. */
    UINT8 reserved0[2]; /**< Zero. */
    tqDevSDK_SmartControl_ConfigRules_ValueUnit *pstUnit; /**< Array of `usNum`; null when none. */
} tqDevSDK_SmartControl_ConfigRules;

/** Scene or AI rules, opaque to the module; 8 bytes. */
typedef struct {
    UINT32 uiVersion; /**< Version of the text; 0 in a text received from the platform. */
    char *rule;       /**< NUL-terminated text; reported only up to 16,383 bytes. */
} tqDevSDK_SmartControl_Rule_S;

/** Selects which opaque rules a status push is about. */
typedef enum {
    SMART_CONTROL_SCENE_RULE_REQ = 0, /**< Scene rules, shadow key "SceneLink". */
    SMART_CONTROL_AI_RULE_REQ = 1     /**< AI rules, shadow key "LocalLink". */
} SMART_CONTROL_SHADOW_STATUS_TYPE_E;

/* ------------------------------------------------------------------------------------------------
 * Reports to the platform (records of tqDevSDK_SmartControl_Msg2Server)
 * --------------------------------------------------------------------------------------------- */

/** Message types of `tqDevSDK_SmartControl_Msg2Server`, each with the record that `pData` points at. */
enum {
    /** `tqDevSDK_SmartControl_Event`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT = 0,
    /** `tqDevSDK_SmartControl_Info_ActionResult`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_ACTION_RESULT = 1,
    /** `tqDevSDK_SmartControl_UndoneActions_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS = 2,
    /** `tqDevSDK_SmartControl_ReportLanCentor`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR = 3,
    /** `tqDevSDK_SmartControl_UndoneSceneList_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_SCENE_V3 = 4,
    /** `tqDevSDK_SmartControl_UndoneActions_V3_S`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_UNDONE_ACTIONS_V3 = 5,
    /** `tqDevSDK_SmartControl_ReportLanCentor`. */
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_LAN_CENTOR_V3 = 6,
    TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_MAX = 7
};

/** The argument of `tqDevSDK_SmartControl_Msg2Server`. */
typedef struct {
    int iType;    /**< A `TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_…` value. */
    void *pData;  /**< The record of that type. */
    UINT32 uiLen; /**< Size of the record; carried, not read. */
} tqDevSDK_SmartControl_Msg2Server_S;

/** A device event. */
typedef struct {
    UINT32 channel; /**< Channel of the event source. */
    UINT32 value;   /**< Event value. */
} tqDevSDK_SmartControl_Event;

/** The result of a linkage action that the device carried out; 52 bytes. */
typedef struct {
    UINT32 uiRuleId;     /**< Rule whose action was executed. */
    char acDeviceId[32]; /**< Serial of the device that executed it. */
    UINT32 uiChannelNo;  /**< Channel of that device. */
    UINT32 uiDomain;     /**< Domain of the executed command. */
    UINT32 uiCmdId;      /**< Executed command. */
    UINT8 ucResult;      /**< Result code of the action. */
} tqDevSDK_SmartControl_Info_ActionResult;

/** `uiModelType` of an OTAP message. */
enum {
    tqDevSDK_SmartControl_ModelType_Event = 0,
    tqDevSDK_SmartControl_ModelType_Attribute = 1,
    tqDevSDK_SmartControl_ModelType_Option = 2, /**< Written as "service" in topics. */
    tqDevSDK_SmartControl_ModelType_Max = 3
};

/** Address of an OTAP message, a thing-model message with a topic; 260 bytes. */
typedef struct {
    UINT32 uiModelType;      /**< A `tqDevSDK_SmartControl_ModelType_…` value; another gives no topic. */
    char acMethodType[16];   /**< Method type. */
    char acSceneType[16];    /**< Scene type, the first topic element. */
    char acResourceId[32];   /**< Resource id. */
    char acResourceType[32]; /**< Resource type. */
    char acDomain[64];       /**< Model domain. */
    char acIdentifier[64];   /**< Model identifier. */
    char acSerial[16];       /**< Device serial; empty means "global". */
    char acSubSerial[16];    /**< Sub-device serial; empty means "global". */
} tqDevSDK_SmartControl_OtapBaseInfo_S;

/** Body of an OTAP message; 12 bytes. */
typedef struct {
    UINT8 ucMsgType;       /**< Message type; not read. */
    UINT8 reverse[3];      /**< Reserved. */
    UINT32 uiPayloadLen;   /**< Payload length; not read. */
    const char *acPayload; /**< Payload, NUL-terminated JSON text. */
} tqDevSDK_SmartControl_OtapBody_S;

/** An OTAP message; 272 bytes. */
typedef struct {
    tqDevSDK_SmartControl_OtapBaseInfo_S stBaseInfo; /**< Address. */
    tqDevSDK_SmartControl_OtapBody_S stBody;         /**< Payload. */
} tqDevSDK_SmartControl_OtapMsg_S;

/* Three records end in an array of variable length, which C++ has as an extension only. */
#if defined(__cplusplus) && defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#endif

/** Actions of a rule that could not be executed locally; the platform executes them. */
typedef struct {
    UINT32 uiRuleId;       /**< Rule that the actions belong to. */
    UINT16 usNum;          /**< Number of actions, at least 1. */
    char reserved0[2];     /**< Reserved. */
    char acExtendVal[128]; /**< Extension text of the rule, sent with every action. */
    tqDevSDK_SmartControl_ConfigRule_Actions astUndoneActs[]; /**< `usNum` actions, up to 16 values each. */
} tqDevSDK_SmartControl_UndoneActions_S;

/** The same for actions addressed by topic. */
typedef struct {
    UINT16 usNum;                                 /**< Number of actions, at least 1. */
    tqDevSDK_SmartControl_OtapMsg_S pstActions[]; /**< `usNum` actions. */
} tqDevSDK_SmartControl_UndoneActions_V3_S;

/** Scenes that could not be executed locally. */
typedef struct {
    tqDevSDK_SmartControl_OtapMsg_S stSrcEvent; /**< Triggering event; only its payload is sent, required. */
    UINT32 uiNum;                               /**< Number of scenes, at least 1. */
    UINT32 uiSceneList[]; /**< `uiNum` scene ids; written signed, so keep them below 2147483648. */
} tqDevSDK_SmartControl_UndoneSceneList_S;

#if defined(__cplusplus) && defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/** A member of the LAN linkage group; 40 bytes. */
typedef struct {
    char acDeviceId[32]; /**< Serial of the member. */
    UINT32 uiVersion;    /**< Its software version number; sent in the version-3 report only. */
    UINT32 obligate;     /**< Reserved, never sent. */
} tqDevSDK_SmartControl_LanDevice;

/** State of the LAN linkage center, for both versions of the report. */
typedef struct {
    char acCenterDeviceId[32]; /**< Serial of the center. */
    UINT32 uiVersion;          /**< Scene version held by the center; version 3 only. */
    char acExtend[64];         /**< Extension text; version 3 only, version 2 always sends "1". */
    UINT32 uiEnable;           /**< LAN linkage enabled; sent as it is. */
    UINT32 uiLanDeviceNum;     /**< Number of members, may be 0. */
    tqDevSDK_SmartControl_LanDevice *pLanDevice; /**< Array of `uiLanDeviceNum` members. */
} tqDevSDK_SmartControl_ReportLanCentor;

/* ------------------------------------------------------------------------------------------------
 * LAN linkage statistics (records of tqDevSDK_SmartControl_PushDclog)
 * --------------------------------------------------------------------------------------------- */

/** Message types of `tqDevSDK_SmartControl_PushDclog`. */
enum {
    tqDevSDK_SmartControl_DCLogMsg_EntireDCLog = 0, /**< `tqDevSDK_SmartControl_DCLogParam_S`. */
    tqDevSDK_SmartControl_DCLogMsg_Type_Max = 1
};

/** The argument of `tqDevSDK_SmartControl_PushDclog`. */
typedef struct {
    int iType;    /**< `tqDevSDK_SmartControl_DCLogMsg_EntireDCLog`. */
    void *pData;  /**< The record of that type. */
    UINT32 uiLen; /**< Size of the record; carried, not read. */
} tqDevSDK_SmartControl_DclogMsg_S;

/** Run event, system name "device_lan_smart_run". */
typedef struct {
    char acSdkVer[16];  /**< SDK version. */
    char acDevType[16]; /**< Device type as the application names it. */
    char acEvent[64];   /**< Event text. */
} tqDevSDK_SmartControl_DCLog_LanLinkRunEvt_S;

/** Network state, system name "device_lan_smart_network". */
typedef struct {
    UINT8 ucNetIf_IsActive;    /**< Network interface active. */
    UINT8 ucUserid_IsSwitched; /**< User id switched. */
    UINT8 ucDas_IsOnline;      /**< Access server online. */
    UINT8 ucSock_ReInit;       /**< Socket re-initialised. */
    char acIpAddr[64];         /**< IP address. */
    char acNetMask[64];        /**< Network mask. */
    char acNetIfName[32];      /**< Interface name. */
} tqDevSDK_SmartControl_DCLog_LanLinkNetPara_S;

/** Counters of the center, system name "device_lan_smart_center_statistics". */
typedef struct {
    UINT8 ucHasRule;        /**< The center holds rules. */
    UINT8 reserved[3];      /**< Never sent. */
    UINT32 uiRuleRootNum;   /**< Rule roots. */
    UINT32 uiSelfEvtCnt;    /**< Own events. */
    UINT32 uiLanEvtCnt;     /**< Events from members. */
    UINT32 uiSelfActCnt;    /**< Own actions. */
    UINT32 uiLanActSuccCnt; /**< Actions at members, succeeded. */
    UINT32 uiLanActFailCnt; /**< Actions at members, failed. */
    UINT32 uiUndoActCnt;    /**< Undone actions. */
    UINT32 uiSelfActRetCnt; /**< Results of own actions. */
    UINT32 uiLanActRetCnt;  /**< Results of members' actions. */
} tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S;

/** Counters of a member, system name "device_lan_smart_member_statistics". */
typedef struct {
    UINT32 uiLanEvtSuccCnt;    /**< Events delivered to the center. */
    UINT32 uiLanEvtFailCnt;    /**< Events not delivered. */
    UINT32 uiLanActCnt;        /**< Actions received. */
    UINT32 uiLanActRetSuccCnt; /**< Action results delivered. */
    UINT32 uiLanActRetFailCnt; /**< Action results not delivered. */
} tqDevSDK_SmartControl_DCLog_LanLinkMembStatis_S;

/** Retry counters, system name "device_lan_smart_comm_statistics". */
typedef struct {
    UINT32 uiReqRetrySuccCnt; /**< Retried requests that succeeded. */
    UINT32 uiReqRetryFailCnt; /**< Retried requests that failed. */
} tqDevSDK_SmartControl_DCLog_LanLinkCommStatis_S;

/** The private part of a LAN linkage record; `acSystemName` selects the member. */
typedef union {
    tqDevSDK_SmartControl_DCLog_LanLinkRunEvt_S stRunEvent;       /**< Run event. */
    tqDevSDK_SmartControl_DCLog_LanLinkNetPara_S stNetParam;      /**< Network state. */
    tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S stCentStatis; /**< Center. */
    tqDevSDK_SmartControl_DCLog_LanLinkMembStatis_S stMembStatis; /**< Member. */
    tqDevSDK_SmartControl_DCLog_LanLinkCommStatis_S stCommStatis; /**< Retries. */
} tqDevSDK_SmartControl_DCLog_LanLink_PrivParam_U;

/** The private part of a record. */
typedef union {
    tqDevSDK_SmartControl_DCLog_LanLink_PrivParam_U unLanLinkPriv; /**< The only one so far. */
} tqDevSDK_SmartControl_DCLog_PrivParam_U;

/** One data-collection record of LAN linkage; 280 bytes. */
typedef struct {
    char acSystemName[64];   /**< One of the five system names above, exact. */
    UINT32 uiStartTime_sec;  /**< Start of the logged period, seconds since 1970 UTC. */
    UINT32 uiStartTime_usec; /**< Start, microseconds. */
    UINT32 uiEndTime_sec;    /**< End of the logged period, seconds since 1970 UTC. */
    UINT32 uiEndTime_usec;   /**< End, microseconds. */
    char acDevId[32];        /**< Device serial. */
    UINT32 uiLog_Seq;        /**< Log sequence number, the application's. */
    tqDevSDK_SmartControl_DCLog_PrivParam_U unPrivPara; /**< What the system name selects. */
} tqDevSDK_SmartControl_DCLogParam_S;

/* ------------------------------------------------------------------------------------------------
 * Functions
 * --------------------------------------------------------------------------------------------- */

/**
 * tqDevSDK_SmartControl_init stores the callbacks and registers the module with the SDK: status items,
 * both shadow services, the command domain and the model domain. Callbacks may come from then on, the
 * first of them before the function returns.
 *
 * A second call does nothing and returns 0, also when the first one returned 2: call fini before
 * trying again.
 *
 * @param info callbacks and options; read during the call only.
 * @return 0 done, or done before; 2 the SDK kernel refused the command domain: status items and shadow
 *         services are registered, commands, model domain and setting keys are not, and fini undoes it;
 *         3 `info` is null.
 *
 * @code
 * static int recv_msg(tqDevSDK_SmartControl_msg_to_dev *msg)
 * {
 *     if (msg->type == TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC) {
 *         const tqDevSDK_SmartControl_device_capture_info *info = (const void *)msg->data;
 *         return camera_capture(info->channel, info->delay, info->relation_id);
 *     }
 *     return -1;
 * }
 *
 * static int on_get_runtime_info(tqDevSDK_SmartControl_runtime_info *info)
 * {
 *     if (info->type == TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_SCREEN_LIGHTNESS) {
 *         *(UINT32 *)(void *)info->data = screen_lightness();
 *         return 0;
 *     }
 *     return 4; // no such setting here: report none
 * }
 *
 * int main(void)
 * {
 *     tqDevSDK_SmartControl_init_info info = {{recv_msg, on_get_runtime_info}, 0};
 *     if (tqDevSDK_SmartControl_init(&info) != 0) {
 *         tqDevSDK_SmartControl_fini();
 *         return 1;
 *     }
 *     run_until_stopped();
 *     return tqDevSDK_SmartControl_fini();
 * }
 * @endcode
 */
int tqDevSDK_SmartControl_init(const tqDevSDK_SmartControl_init_info *info);

/**
 * tqDevSDK_SmartControl_fini removes the registrations and forgets the callbacks; sequence numbers
 * start again at 0. Without a preceding init it does nothing.
 *
 * The SDK kernel keeps the command domain and the redirected setting keys: commands that arrive after fini
 * are refused, so the library stays loaded.
 *
 * @return 0 always.
 *
 * @code
 * tqDevSDK_SmartControl_fini();
 * @endcode
 */
int tqDevSDK_SmartControl_fini(void);

/**
 * tqDevSDK_SmartControl_Msg2Server reports an event, a result, undone actions or the LAN center to the
 * platform. The message is handed to the SDK before the function returns, whole or not at all; it is not
 * retried.
 *
 * @param msg type and record; read during the call only.
 * @return 0 sent; -1 null argument, null record, unknown type, a record that cannot be sent, no memory,
 *         or the SDK refused a version-2 message; any other value is the SDK's code for a version-3
 *         message. Nothing was sent unless the result is 0.
 *
 * @code
 * tqDevSDK_SmartControl_Event event = {1, 5};
 * tqDevSDK_SmartControl_Msg2Server_S msg = {TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_EVENT, &event,
 *                                           sizeof event};
 * if (tqDevSDK_SmartControl_Msg2Server(&msg) != 0)
 *     keep_for_later(&event);
 * @endcode
 */
int tqDevSDK_SmartControl_Msg2Server(const tqDevSDK_SmartControl_Msg2Server_S *msg);

/**
 * tqDevSDK_SmartControl_PushDclog posts one LAN linkage record to the SDK's data-collection log. The
 * module adds the device type and the firmware version.
 *
 * @param msg type and record; read during the call only.
 * @return 0 posted, or the SDK collects no such records at present; -1 null argument, null record,
 *         unknown type or unknown system name; any other value is the SDK's.
 *
 * @code
 * tqDevSDK_SmartControl_DCLogParam_S param = {0};
 * tqDevSDK_SmartControl_DclogMsg_S msg = {tqDevSDK_SmartControl_DCLogMsg_EntireDCLog, &param,
 *                                         sizeof param};
 * snprintf(param.acSystemName, sizeof param.acSystemName, "device_lan_smart_comm_statistics");
 * snprintf(param.acDevId, sizeof param.acDevId, "%s", serial);
 * param.uiStartTime_sec = period_start;
 * param.uiEndTime_sec = period_end;
 * param.unPrivPara.unLanLinkPriv.stCommStatis.uiReqRetryFailCnt = failed_retries;
 * tqDevSDK_SmartControl_PushDclog(&msg);
 * @endcode
 */
int tqDevSDK_SmartControl_PushDclog(const tqDevSDK_SmartControl_DclogMsg_S *msg);

#ifdef __cplusplus
}
#endif

#endif
