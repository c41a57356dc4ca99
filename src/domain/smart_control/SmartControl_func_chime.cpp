// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func.h"

namespace {

using Entry = tqDevSDK_Smartcontrol_ap_signal_result;

struct EntriesFree {
    void operator()(Entry *entries) const { free(entries); }
};

// Size of the query record on the target, where the contract counts its pointer.
constexpr int kSignalInfoLen = 8;

void ReadChimes(const bscJSON *chimes, Entry *entries) {
    for (const bscJSON *chime = chimes != nullptr ? chimes->child : nullptr; chime != nullptr;
         chime = chime->next, ++entries) {
        Members members(chime);
        entries->iDevType = tqDevSDK_SmartControl_Ap_DevType_Chime;
        CopyText(entries->unInfo.stChime.acDevSerial, TextOf(members.Find("deviceSerial")));
        CopyText(entries->unInfo.stChime.acMac, TextOf(members.Find("mac")));
    }
}

// Appends what was heard; false without memory.
bool WriteEntry(bscJSON *array, const Entry &entry) {
    if (entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Chime && entry.iSignalStrength < 1) {
        return true;
    }
    bscJSON *object = AppendItem(array, JsonTree(bscJSON_CreateObject()));
    if (object == nullptr) {
        return false;
    }
    if (entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Route) {
        WriteItem(object, "type", "router");
        WriteItem(object, "name", entry.unInfo.stRoute.acSSID);
    } else {
        WriteItem(object, "type", "chime");
        WriteItem(object, "name", entry.unInfo.stChime.acDevSerial);
    }
    WriteItem(object, "signal", entry.iSignalStrength);
    return true;
}

} // namespace

int QueryChimeSignalReq(const char *req, int /*req_len*/, UINT32 seq) {
    printf("[QueryChimeSignalReq_Input]%s\n", TextOrEmpty(req));

    const JsonTree root(bscJSON_Parse(req));
    const JsonTree response(root != nullptr ? bscJSON_CreateObject() : nullptr);
    if (response == nullptr) {
        return 0;
    }
    const auto on_get_runtime_info = SmartControl_get_callback()->on_get_runtime_info;
    if (on_get_runtime_info == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL cb func of getting runtime info.\n");
        return 0;
    }

    // One entry for each chime, and the last one for the router.
    const bscJSON *list = bscJSON_GetObjectItem(root.get(), "macList");
    const bscJSON *chimes = IsArray(list) ? list : nullptr;
    const int count = (chimes != nullptr ? bscJSON_GetArraySize(chimes) : 0) + 1;
    const std::unique_ptr<Entry, EntriesFree> entries(
        static_cast<Entry *>(calloc(static_cast<std::size_t>(count), sizeof(Entry))));
    if (entries == nullptr) {
        return 0;
    }
    ReadChimes(chimes, entries.get());
    entries.get()[count - 1].iDevType = tqDevSDK_SmartControl_Ap_DevType_Route;

    tqDevSDK_Smartcontrol_ap_signal_info info{count, entries.get()};
    tqDevSDK_SmartControl_runtime_info query{TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC,
                                             reinterpret_cast<char *>(&info), kSignalInfoLen};
    on_get_runtime_info(&query);

    WriteItem(response.get(), "result", 0);
    JsonTree array(bscJSON_CreateArray());
    if (array == nullptr) {
        return 0;
    }
    // The application may have shortened the list, but not lengthened or replaced it.
    const int reported = std::min(info.num, count);
    for (int i = 0; i < reported; ++i) {
        if (!WriteEntry(array.get(), entries.get()[i])) {
            return 0;
        }
    }
    AttachItem(response.get(), "response", std::move(array));

    const JsonText text(bscJSON_Print(response.get()));
    if (text != nullptr) {
        SmartControl_send_msg_to_platform(text.get(), kPu2CenPlt2PuQueryChimeSignalRsp, kReplyVersion, 1,
                                          seq);
    }
    return 0;
}
