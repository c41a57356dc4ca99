// SPDX-License-Identifier: Apache-2.0
// The host functions on a message's way, empty. The program's definitions come before those of the host
// library, so that the module is measured and not the stand-in's copies, maps and locks. Registration,
// the log, JSON and XML stay the stand-in's.
#include "bench.h"
#include "tqDevSDK_report_status.h"
#include "tq_model.h"
#include "tqdev_dclog.h"
#include "tqdev_sdk_kernel.h"

int tqdev_sdk_kernel_send(const tqdev_sdk_kernel_pubmsg *msg) {
    Show(reinterpret_cast<const char *>(msg->msg_body));
    return 0;
}

const char *tqdev_sdk_kernel_getdevinfo_bykey(const char * /*key*/) {
    return "TQ00000001";
}

int tqdev_get_sleep_status(void) {
    return 0;
}

int tq_model_reply_to_das(const tq_basic_info *, const tq_model_msg *msg, const tq_err_info *,
                          const tq_msg_attr *) {
    Show(msg->value);
    return 0;
}

int tq_model_send_to_platform(const tq_basic_info *, const char *text, int, int, const tq_msg_attr *) {
    Show(text);
    return 0;
}

int tqDevSDK_report_set_force_report(int /*status_key*/) {
    return 0;
}

int tqdev_dclog_check_push_enable(UINT32 /*type*/) {
    return 1;
}

int tqdev_dclog_Report(const tqDevSDK_DCLog_DeliverParam_S *deliver) {
    Show(deliver->unParam.stLanLink.acSystemName);
    return 0;
}
