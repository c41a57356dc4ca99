// SPDX-License-Identifier: Apache-2.0
// The life of the module object, and the registration of all status items.
#include "SmartControl_func.h"

#include "SmartControl_func_object.h"
#include "SmartControl_func_status.h"
#include "SmartControl_log.h"
#include "SmartControl_rows.h"
#include "SmartControl_shadow_items.h"
#include "SmartControl_xml_proc_settings.h"

namespace {

void Register(const Rows<StatusItem> &items) {
    for (const StatusItem &item : items) {
        tqDevSDK_report_status_info info{};
        info.status_value = static_cast<UINT32>(item.key);
        info.status_is_changed = item.is_changed;
        info.report_status = item.report;
        info.status_reset = item.reset;
        if (tqDevSDK_report_status_register(&info) != 0) {
            tqdev_debug(LOG_ERROR, "Failed to register status item:%u\n", info.status_value);
        }
    }
}

void Unregister(const Rows<StatusItem> &items) {
    for (const StatusItem &item : items) {
        tqDevSDK_report_status_info info{};
        info.status_value = static_cast<UINT32>(item.key);
        tqDevSDK_report_status_unregister(&info);
    }
}

} // namespace

void SmartControl_user_init(const tqDevSDK_SmartControl_callback *cb) {
    if (SmartControl_is_inited()) {
        tqdev_debug(LOG_INFO, "Already inited.\n");
        return;
    }
    g_stSmartCntl_Obj.stCb = *cb;
    tqDevSDK_report_status_init(&g_stSmartCntl_Obj.stCb);
    Register(SettingItems());
    Register(RuleTextItems());
    g_stSmartCntl_Obj.iInit_flag = 1;
}

void SmartControl_user_fini() {
    if (!SmartControl_is_inited()) {
        tqdev_debug(LOG_WARNING, "Smart Control Module has not been inited.\n");
        return;
    }
    Unregister(SettingItems());
    Unregister(RuleTextItems());
    tqDevSDK_report_status_fini();
    g_stSmartCntl_Obj = {};
}
