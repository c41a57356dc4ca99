// SPDX-License-Identifier: Apache-2.0
// The data-collection log.
#include "tqdev_dclog.h"

#include "host_state.h"

int tqdev_dclog_check_push_enable(UINT32 type) {
    return type == TQDEV_DCLOG_REG_TYPE_LAN_LINKAGE && tqhost::Locked()->dclog_enabled ? 1 : 0;
}

int tqdev_dclog_Report(const tqDevSDK_DCLog_DeliverParam_S *deliver) {
    if (deliver == nullptr) {
        return -1;
    }
    const int result = tqhost::TakeFailure(__func__);
    if (result == 0) {
        tqhost::Notify(tqhost::DclogRecord{*deliver});
    }
    return result;
}

int tqdev_dclog_DeregisterMod(UINT32 type) {
    return tqhost::ObservedCall(__func__, std::to_string(type), [&](tqhost::State &state) {
        if (type == TQDEV_DCLOG_REG_TYPE_LAN_LINKAGE) {
            state.dclog_enabled = false;
        }
        return 0;
    });
}
