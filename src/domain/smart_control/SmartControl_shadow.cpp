// SPDX-License-Identifier: Apache-2.0
// The tables of the shadow's keys and their registration.
#include "SmartControl_shadow.h"

#include <iterator>

#include "SmartControl_command.h"
#include "SmartControl_log.h"
#include "SmartControl_model.h"
#include "SmartControl_shadow_rules.h"
#include "SmartControl_shadow_text.h"
#include "SmartControl_text.h"
#include "tqdev_sdk_kernel.h"

namespace {

// Writable: the host service updates their bookkeeping fields.

tqDevSDK_Shadow_Service_S g_astService[] = {
    {"InterconnectionRule", tqDevSDK_Shadow_Service_Type_Status, /*usResetReportAll*/ 0, /*usVersion*/ 0,
     /*usMsg_seq*/ 0, /*usNeedReport*/ 1, ParseSync_SmartControl_Rules, GenJson_SmartControl_Rules_Proc},
};

// Indexed by SMART_CONTROL_SHADOW_STATUS_TYPE_E.
tqDevSDK_Shadow_Service_S_v3 g_astServiceV3[] = {
    {{'S', 'c', 'e', 'n', 'e', 'L', 'i', 'n', 'k'},
     CenPlt2PuParseJsonSetLinkRuleReq,
     Pu2CenPltMakeJsonLinkRuleReq},
    {{'L', 'o', 'c', 'a', 'l', 'L', 'i', 'n', 'k'},
     CenPlt2PuParseJsonSetAiRuleReq,
     Pu2CenPltMakeJsonAiRuleReq},
};
static_assert(SMART_CONTROL_SCENE_RULE_REQ == 0 && SMART_CONTROL_AI_RULE_REQ == 1);

// Built for each call, so that a new sub-serial is used from the next call on.
tqDevSDK_Shadow_Res_t MakeResource() {
    tqDevSDK_Shadow_Res_t resource{};
    const char *serial = TextOrEmpty(tqdev_sdk_kernel_getdevinfo_bykey("dev_subserial"));
    memcpy(resource.dev_serial, serial, strnlen(serial, sizeof resource.dev_serial - 1));
    memcpy(resource.res_type, kResourceType, strlen(kResourceType));
    resource.local_index = 1;
    return resource;
}

} // namespace

int SmartControl_Shadow_InitService(int32_t resetReportAll) {
    g_astService[0].usResetReportAll = static_cast<UINT16>(resetReportAll);
    tqDevSDK_Shadow_DomainReg_S reg{};
    reg.usNum = std::size(g_astService);
    reg.pstSrvList = g_astService;
    const int result = tqDevSDK_Shadow_DomainReg(kSmartControlDomain, &reg);
    if (result != 0) {
        Fail("Failed to register SmartControl shadow service.");
    }
    return result;
}

int SmartControl_Shadow_FnitService() {
    const int result = tqDevSDK_Shadow_DomainDereg(kSmartControlDomain);
    if (result != 0) {
        Fail("Failed to deregister SmartControl shadow service.");
    }
    return result;
}

int SmartControl_ShadowV3_InitService() {
    const tqDevSDK_Shadow_Res_t resource = MakeResource();
    tqDevSDK_Shadow_DomainReg_V3_S reg{};
    reg.num = std::size(g_astServiceV3);
    reg.business = g_astServiceV3;
    return tqDevSDK_Shadow_DomainReg_v3(&resource, kModelDomain, &reg) == 0 ? 0 : -1;
}

int SmartControl_ShadowV3_FiniService() {
    const tqDevSDK_Shadow_Res_t resource = MakeResource();
    return tqDevSDK_Shadow_DomainDereg_v3(&resource, kModelDomain) == 0 ? 0 : -1;
}

int smart_control_shadow_push_status(int push_type) {
    const auto index = static_cast<unsigned>(push_type);
    if (index >= std::size(g_astServiceV3)) {
        return -1;
    }
    const tqDevSDK_Shadow_Res_t resource = MakeResource();
    return tqDevSDK_Shadow_PushStatus_v3(&resource, kModelDomain, &g_astServiceV3[index], 0);
}
