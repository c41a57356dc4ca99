/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file tqdev_sdk_kernel.h
 * The SDK kernel: domain extensions, the command channel, device information.
 */
#ifndef TQDEV_SDK_KERNEL_H
#define TQDEV_SDK_KERNEL_H

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { QOS_T0 = 0, QOS_T1 = 1, QOS_T2 = 2 } QOS_T;

/** A message to the platform on the command channel. */
typedef struct {
    UINT8 msg_response; /**< 1 reply to a platform request, 0 originated by the device. */
    QOS_T msg_qos;
    UINT32 msg_seq;        /**< The request's number for a reply, else the sender's own. */
    const UINT8 *msg_body; /**< NUL-terminated text, the caller's. */
    UINT32 msg_body_len;   /**< Bytes of the body, without the NUL. */
    UINT32 msg_domain_id;
    UINT32 msg_command_id;
    void *externel_ctx;
    UINT32 externel_ctx_len;
    char command_ver[32];
    char msg_compress[16];
} tqdev_sdk_kernel_pubmsg;

/** A message to the platform on the model channel, past the model layer. */
typedef struct {
    UINT8 msg_response;
    QOS_T msg_qos;
    UINT32 msg_seq;
    UINT32 msg_body_len;
    const UINT8 *msg_body;
    char resource_id[64];
    char resource_type[64];
    char module[16];
    char method[128];
    char msg_type[64];
    char sub_serial[72];
    char ext_msg[128]; /**< "domain/identifier". */
    char msg_compress[16];
} tqdev_sdk_kernel_pubmsg_v3;

/** A platform command as the data route receives it; valid during the call. */
typedef struct {
    UINT32 msg_seq;
    const char *buf; /**< Body, NUL-terminated; may be null. */
    UINT32 buf_len;
    int32_t msg_domain_id;
    int32_t msg_command_id;
    char command_ver[32];
    char msg_compress[16];
    void *user_data;
} tqdev_sdk_kernel_submsg;

typedef enum {
    sdk_kernel_event_online = 0,
    sdk_kernel_event_break = 1,
    sdk_kernel_event_switchover = 2,
    sdk_kernel_event_invaild_authcode = 3,
    sdk_kernel_event_fast_reg_online = 4,
    sdk_kernel_event_runtime_err = 5,
    sdk_kernel_event_reconnect_success = 6,
    sdk_kernel_event_heartbeat_interval_changed = 7,
    sdk_kernel_event_bind_hub = 8
} sdk_kernel_event_type;

typedef struct {
    sdk_kernel_event_type event_type;
    void *event_context;
    void *user_data;
} tqdev_sdk_kernel_event;

/** A domain module's callbacks, all called on the kernel's routing thread with `pUser`. */
typedef struct {
    UINT16 domain_id;
    void (*tqdev_sdk_kernel_extend_start)(void *pUser);
    void (*tqdev_sdk_kernel_extend_stop)(void *pUser);
    void (*tqdev_sdk_kernel_extend_data_route)(const tqdev_sdk_kernel_submsg *msg, void *pUser);
    void (*tqdev_sdk_kernel_extend_event)(const tqdev_sdk_kernel_event *event, void *pUser);
    void *pUser;
    char extend_module_name[32];
    char extend_module_version[32];
} tqdev_sdk_kernel_extend;

/** Loads a domain module; the record is copied and stays loaded while the process lives. 0 on success. */
int tqdev_sdk_kernel_extend_load(const tqdev_sdk_kernel_extend *extend);

/** Sends on the command channel; record and body are copied. 0 on success. */
int tqdev_sdk_kernel_send(const tqdev_sdk_kernel_pubmsg *msg);

/** Sends on the model channel; record and body are copied. 0 on success. */
int tqdev_sdk_kernel_send_v3(const tqdev_sdk_kernel_pubmsg_v3 *msg);

/** Device information such as "dev_subserial"; the SDK's text, valid while the process lives, or null. */
const char *tqdev_sdk_kernel_getdevinfo_bykey(const char *key);

/** Non-zero while the device sleeps. */
int tqdev_get_sleep_status(void);

#ifdef __cplusplus
}
#endif

#endif
