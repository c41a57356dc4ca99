/* SPDX-License-Identifier: Apache-2.0 */
/** @file tq_model.h  The model layer: services, attributes and events of thing-model domains. */
#ifndef TQ_MODEL_H
#define TQ_MODEL_H

#include <stdbool.h>

#include "tqdev_sdk_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { tq_event = 0, tq_attribute = 1, tq_service = 2 } tq_model_type;

typedef enum {
    model_data_type_bool = 0,
    model_data_type_int = 1,
    model_data_type_double = 2,
    model_data_type_string = 3,
    model_data_type_array = 4,
    model_data_type_object = 5,
    model_data_type_null = 6
} tq_json_type;

/** What a model message is about. */
typedef struct {
    tq_model_type type;
    char resource_id[64];
    char resource_type[64];
    char domain[64];
    char identifier[64];
    char subserial[72]; /**< Empty for the device itself. */
    int msg_source_type;
    void *mul_context;
} tq_basic_info;

/** A value; `value` is set for string, array and object values only, and for replies. */
typedef struct {
    tq_json_type type;
    int length; /**< Bytes of `value`. */
    union {
        bool value_bool;
        int value_int;
        double value_double;
        const char *value; /**< NUL-terminated JSON text. */
    };
} tq_model_msg;

typedef struct {
    UINT32 msg_seq;
    UINT32 msg_seq_index;
    int msg_qos;
    char msg_type[64];
} tq_msg_attr;

typedef struct {
    int status; /**< 200 success, 400 failure. */
    char err_code[32];
    char err_msg[256];
} tq_err_info;

/** Takes a platform request; returns what tq_model_reply_to_das gave, -1 when it was not called. */
typedef int (*tq_das_req_router)(tq_basic_info *info, const char *msg_type, tq_model_msg *msg,
                                 unsigned msg_seq, unsigned msg_seq_index);

/** Takes the platform's answer to a report; 0 when it was expected. */
typedef int (*tq_das_reply_router)(tq_basic_info *info, const char *msg_type, tq_err_info *status,
                                   tq_model_msg *msg, unsigned msg_seq, unsigned msg_seq_index);

typedef struct {
    char domain[64];
    char identifier[64]; /**< Empty: the routers receive every identifier of the domain. */
    tq_das_req_router das_req_router;
    tq_das_reply_router das_reply_router;
    int mulitple_data_timeout_interval;
} tq_domain_reg;

/** Registers the routers of a domain; the record is copied. 0 on success. */
int tq_model_domain_reg(const tq_domain_reg *reg);

/** Removes a domain's routers; a null identifier stands for the one that receives every identifier. */
int tq_model_domain_dereg(const char *domain, const char *identifier);

/** Answers a request; all four records and the text are copied. 0 on success. */
int tq_model_reply_to_das(const tq_basic_info *info, const tq_model_msg *msg, const tq_err_info *err,
                          const tq_msg_attr *attr);

/** Sends a report; text of `length` bytes, copied. 0 on success. */
int tq_model_send_to_platform(const tq_basic_info *info, const char *text, int length, int option,
                              const tq_msg_attr *attr);

#ifdef __cplusplus
}
#endif

#endif
