// SPDX-License-Identifier: Apache-2.0
// Registration with the kernel, and what the kernel tells besides commands.
#include "SmartControl_extern.h"

#include "SmartControl_command.h"
#include "SmartControl_enum.h"
#include "SmartControl_extern_command.h"
#include "SmartControl_extern_model.h"
#include "SmartControl_log.h"
#include "SmartControl_text.h"
#include "SmartControl_xml_proc_settings.h"
#include "tqDevSDK_Common_Module.h"
#include "tqdev_sdk_kernel.h"

namespace {

void SmartControl_extend_start_cb(void * /*pUser*/) {
    tqdev_debug(LOG_DEBUG, "SmartControl_extend_start_cb\n");
}

void SmartControl_extend_stop_cb(void * /*pUser*/) {
    tqdev_debug(LOG_DEBUG, "SmartControl_extend_stop_cb\n");
}

void SmartControl_extend_event_cb(const tqdev_sdk_kernel_event *event, void * /*pUser*/) {
    if (event == nullptr) {
        return;
    }
    const int type = NumberOf(event->event_type);
    tqdev_debug(LOG_DEBUG, "SmartControl_extend_event type %d\n", type);
    if (type != sdk_kernel_event_online && type != sdk_kernel_event_switchover) {
        return;
    }
    // A platform that was out of reach may have missed the settings.
    for (const Setting &setting : Settings()) {
        tqDevSDK_report_set_force_report(setting.status);
    }
}

int LoadExtension() {
    tqdev_sdk_kernel_extend extend{};
    extend.domain_id = kSmartControlDomain;
    extend.tqdev_sdk_kernel_extend_start = SmartControl_extend_start_cb;
    extend.tqdev_sdk_kernel_extend_stop = SmartControl_extend_stop_cb;
    extend.tqdev_sdk_kernel_extend_data_route = SmartControl_extend_data_route_cb;
    extend.tqdev_sdk_kernel_extend_event = SmartControl_extend_event_cb;
    CopyText(extend.extend_module_name, "smart_control");
    CopyText(extend.extend_module_version, kReportVersion);
    return tqdev_sdk_kernel_extend_load(&extend);
}

void RedirectKeys() {
    tqDevSDK_Common_Module_Redirect_S redirect{};
    redirect.uiCmdId = kCenPlt2PuSetKeyValueReq;
    redirect.uiDomainId = kSmartControlDomain;
    for (const Setting &setting : Settings()) {
        CopyText(redirect.acKey, setting.key);
        if (tqDevSDK_Common_Module_RedirectReg(&redirect) != 0) {
            tqdev_debug(LOG_ERROR, "SmartControl failed to register type: key of %s.\n", setting.key);
        }
    }
}

} // namespace

int SmartControl_extern_init() {
    tqdev_debug(LOG_DEBUG, "SmartControl_extern_init\n");
    if (LoadExtension() != 0) {
        Fail("Failed to extend load of smart control module!");
        return -1;
    }
    SmartControl_extern_model_init();
    RedirectKeys();
    return 0;
}

int SmartControl_extern_fini() {
    return SmartControl_extern_model_fini();
}
