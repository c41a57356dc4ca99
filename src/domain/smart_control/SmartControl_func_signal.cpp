// SPDX-License-Identifier: Apache-2.0
// Asks the application how well it hears its chimes and the router, and answers the platform.
#include "SmartControl_func_signal.h"

#include <cstdio>

#include "SmartControl_bus_platform.h"
#include "SmartControl_command.h"
#include "SmartControl_func_object.h"
#include "SmartControl_json.h"

namespace {

using Entry = tqDevSDK_Smartcontrol_ap_signal_result;

using Entries = std::unique_ptr<Entry[], MemoryFree>;

// `len` of the query on every build: the size of its record on the 32-bit target.
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

bool WriteEntry(bscJSON *object, const char *type, const char (&name)[64], int signal) {
    return WriteItem(object, "type", type) && WriteField(object, "name", name) &&
           WriteItem(object, "signal", signal);
}

// Appends an entry, unless it is a chime that was not heard; false without memory.
bool AppendEntry(bscJSON *array, const Entry &entry) {
    if (entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Chime && entry.iSignalStrength < 1) {
        return true;
    }
    bscJSON *object = AppendItem(array, JsonTree(bscJSON_CreateObject()));
    if (object == nullptr) {
        return false;
    }
    return entry.iDevType == tqDevSDK_SmartControl_Ap_DevType_Route
               ? WriteEntry(object, "router", entry.unInfo.stRoute.acSSID, entry.iSignalStrength)
               : WriteEntry(object, "chime", entry.unInfo.stChime.acDevSerial, entry.iSignalStrength);
}

// False without memory.
bool WriteAnswer(bscJSON *root, const Entry *entries, int count) {
    if (!WriteItem(root, "result", 0)) {
        return false;
    }
    bscJSON *array = AttachItem(root, "response", JsonTree(bscJSON_CreateArray()));
    if (array == nullptr) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        if (!AppendEntry(array, entries[i])) {
            return false;
        }
    }
    return true;
}

// Every query ends with 0, answered or not.
int GiveUp() {
    Fail("No memory for a signal query.");
    return 0;
}

} // namespace

int QueryChimeSignalReq(const char *req, int /*req_len*/, UINT32 seq) {
    printf("[QueryChimeSignalReq_Input]%s\n", TextOrEmpty(req));

    const JsonTree root(bscJSON_Parse(req));
    if (root == nullptr) {
        return 0;
    }
    const JsonTree response(bscJSON_CreateObject());
    if (response == nullptr) {
        return GiveUp();
    }

    // One entry for each chime, and the last one for the router.
    const bscJSON *list = bscJSON_GetObjectItem(root.get(), "macList");
    const bscJSON *chimes = IsArray(list) ? list : nullptr;
    const int count = (chimes != nullptr ? bscJSON_GetArraySize(chimes) : 0) + 1;
    const Entries entries(static_cast<Entry *>(calloc(static_cast<std::size_t>(count), sizeof(Entry))));
    if (entries == nullptr) {
        return GiveUp();
    }
    ReadChimes(chimes, entries.get());
    entries[static_cast<std::size_t>(count - 1)].iDevType = tqDevSDK_SmartControl_Ap_DevType_Route;

    tqDevSDK_Smartcontrol_ap_signal_info info{count, entries.get()};
    if (!Ask(TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_GET_AP_SIGNAL_WITH_MAC, info, kSignalInfoLen).has_value()) {
        return 0;
    }
    // The application may have shortened the list, but not lengthened or replaced it.
    if (!WriteAnswer(response.get(), entries.get(), std::clamp(info.num, 0, count))) {
        return GiveUp();
    }
    const JsonText text(bscJSON_Print(response.get()));
    if (text == nullptr) {
        return GiveUp();
    }
    SmartControl_send_msg_to_platform(text.get(), kPu2CenPlt2PuQueryChimeSignalRsp, kReplyVersion, 1, seq);
    return 0;
}
