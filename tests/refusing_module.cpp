// SPDX-License-Identifier: Apache-2.0
// A module that refuses every rule value, for the test of a check that the module does not agree with.
#include "tqDevSDK_Shadow.h"
#include "tqDevSDK_SmartControl_def.h"

namespace {

tqDevSDK_Shadow_Service_S g_service = {"InterconnectionRule",
                                       tqDevSDK_Shadow_Service_Type_Status,
                                       0,
                                       0,
                                       0,
                                       1,
                                       [](const tqDevSDK_Shadow_value_t *, tqDevSDK_Shadow_ParseSync_Param_S *) { return -1; },
                                       [](tqDevSDK_Shadow_value_t *, tqDevSDK_Shadow_GenValue_Param_S *) { return -1; }};

} // namespace

int tqDevSDK_SmartControl_init(const tqDevSDK_SmartControl_init_info *) {
    tqDevSDK_Shadow_DomainReg_S reg{};
    reg.usNum = 1;
    reg.pstSrvList = &g_service;
    return tqDevSDK_Shadow_DomainReg(7000, &reg);
}
int tqDevSDK_SmartControl_fini() { return tqDevSDK_Shadow_DomainDereg(7000); }
int tqDevSDK_SmartControl_Msg2Server(const tqDevSDK_SmartControl_Msg2Server_S *) { return -1; }
int tqDevSDK_SmartControl_PushDclog(const tqDevSDK_SmartControl_DclogMsg_S *) { return -1; }
