// SPDX-License-Identifier: Apache-2.0
// Device actions: reads a request, hands it to the application, writes the response.
#include "SmartControl_func_action.h"

#include "SmartControl_func_object.h"
#include "SmartControl_json.h"

namespace {

struct AttrDelete {
    void operator()(DoAction_Common_Attr_S *attr) const { DoAction_FreeCommonAttr(attr); }
};
using Attr = std::unique_ptr<DoAction_Common_Attr_S, AttrDelete>;

void *AllocateZeroed(std::size_t size) {
    void *memory = calloc(1, size);
    if (memory == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to malloc mem, size=%u\n", static_cast<unsigned>(size));
    }
    return memory;
}

// Writes {"result": n}, cut to the buffer; on failure logs the text of the step that failed.
bool FillResult(char *buffer, UINT32 size, int result, const char *create_failure,
                const char *print_failure) {
    const JsonTree root(bscJSON_CreateObject());
    if (root == nullptr || !WriteItem(root.get(), "result", result)) {
        return Fail(create_failure);
    }
    const JsonText text(bscJSON_Print(root.get()));
    if (text == nullptr) {
        return Fail(print_failure);
    }
    if (size > 0) {
        const std::size_t length = strnlen(text.get(), size - 1);
        memcpy(buffer, text.get(), length);
        buffer[length] = '\0';
    }
    return true;
}

// A device action that carries the common attributes.
struct Action {
    const char *name; // in the log
    std::optional<int> (*deliver)(const DoAction_Common_Attr_S &attr);
};

std::optional<int> DeliverCapture(const DoAction_Common_Attr_S &attr) {
    tqDevSDK_SmartControl_device_capture_info record{};
    record.channel = attr.uiChannel;
    record.delay = attr.uiDelay;
    CopyText(record.relation_id, attr.pcExtra);
    record.uiValueNum = attr.uiValueNum;
    memcpy(record.auiValue, attr.auiValue, sizeof record.auiValue);
    return SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CAPTURE_PIC, record);
}

std::optional<int> DeliverVideo(const DoAction_Common_Attr_S &attr) {
    tqDevSDK_SmartControl_Action_Common_S record{attr.uiChannel, attr.uiDelay};
    return SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_VIDEO, record);
}

std::optional<int> DeliverPicAndVideo(const DoAction_Common_Attr_S &attr) {
    tqDevSDK_SmartControl_Action_Pic_And_Video_S record{};
    record.stComm = {attr.uiChannel, attr.uiDelay};
    CopyText(record.relation_id, attr.pcExtra);
    return SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_PIC_AND_VIDEO, record);
}

std::optional<int> DeliverSleep(const DoAction_Common_Attr_S &attr) {
    // The value is one little-endian word over the whole record.
    const UINT32 value = attr.auiValue[0];
    tqDevSDK_SmartControl_Action_Sleep_S record{
        static_cast<UINT8>(value),
        {static_cast<UINT8>(value >> 8), static_cast<UINT8>(value >> 16), static_cast<UINT8>(value >> 24)}};
    return SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_SLEEP, record);
}

constexpr Action kCapture{"pic", DeliverCapture};
constexpr Action kVideo{"video", DeliverVideo};
constexpr Action kPicAndVideo{"pic&&video", DeliverPicAndVideo};
constexpr Action kSleep{"sleep", DeliverSleep};

// True when the device was called; its verdict never reaches the platform.
bool Perform(const Action &action, const bscJSON *root) {
    DoAction_Common_Attr_S *parsed = nullptr;
    if (DoAction_ParseCommonAttr(root, &parsed) != 0) {
        tqdev_debug(LOG_ERROR, "Failed to parse common attr of %s action.\n", action.name);
        return false;
    }
    const Attr attr(parsed);
    return action.deliver(*attr).has_value();
}

int HandleAction(const Action &action, const char *req, char *rsp, UINT32 rsp_size) {
    const JsonTree root(bscJSON_Parse(req));
    if (root == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to cJSON_Parse:%s\n", TextOrEmpty(req));
        return -1;
    }
    const int result = FillCommonResp(rsp, rsp_size, Perform(action, root.get()) ? 0 : -1);
    if (result != 0) {
        Fail("Failed to fill response message.");
    }
    return result;
}

} // namespace

int DoAction_ParseCommonAttr(const bscJSON *root, DoAction_Common_Attr_S **out) {
    Attr attr(static_cast<DoAction_Common_Attr_S *>(AllocateZeroed(sizeof(DoAction_Common_Attr_S))));
    if (attr == nullptr) {
        return -1;
    }
    Members members(root);
    const char *extra = TextOf(members.Find("extendValue"));
    const std::size_t extra_size = strlen(extra) + 1;
    attr->pcExtra = static_cast<char *>(AllocateZeroed(extra_size));
    if (attr->pcExtra == nullptr) {
        return -1;
    }
    memcpy(attr->pcExtra, extra, extra_size);

    if (!ReadItem(members, "delay", attr->uiDelay) || !ReadItem(members, "channelNo", attr->uiChannel)) {
        return -1;
    }
    const bscJSON *params = members.Find("params");
    if (!IsObject(params)) {
        Fail("Item is invalid:params");
        return -1;
    }
    attr->uiValueNum = ReadValues(params, attr->auiValue);
    *out = attr.release();
    return 0;
}

void DoAction_FreeCommonAttr(DoAction_Common_Attr_S *attr) {
    if (attr != nullptr) {
        free(attr->pcExtra);
        free(attr);
    }
}

int FillCommonResp(char *buffer, UINT32 size, int result) {
    return FillResult(buffer, size, result, "Failed to cJson create", "Failed to cJson print") ? 0 : -1;
}

int SetDevCaptureReq(const char *req, char *rsp, UINT32 rsp_size) {
    if (req != nullptr) {
        tqdev_debug(LOG_DEBUG, "[SetDevCaptureReq]:%s\n", req);
    }
    return HandleAction(kCapture, req, rsp, rsp_size);
}

int SetDevVideoReq(const char *req, char *rsp, UINT32 rsp_size) {
    return HandleAction(kVideo, req, rsp, rsp_size);
}

int SetDevPicAndVideoReq(const char *req, char *rsp, UINT32 rsp_size) {
    return HandleAction(kPicAndVideo, req, rsp, rsp_size);
}

int SetDevSleepReq(const char *req, char *rsp, UINT32 rsp_size) {
    return HandleAction(kSleep, req, rsp, rsp_size);
}

int SetChimeAlarmAction(const char *req, char *rsp, UINT32 rsp_size) {
    // The response comes first and is sent only when all that follows succeeds.
    constexpr const char *kNoResponse = "Failed to bscJSON_CreateObject.";
    if (!FillResult(rsp, rsp_size, 0, kNoResponse, kNoResponse)) {
        return -1;
    }
    if (!SmartControl_is_inited()) {
        tqdev_debug(LOG_WARNING, "Smart Control module has not been inited.\n");
        return -1;
    }
    if (req == nullptr) {
        Fail("NULL input param!");
        return -1;
    }
    const JsonTree root(bscJSON_Parse(req));
    if (root == nullptr) {
        tqdev_debug(LOG_ERROR, "Failed to bscJSON_Parse:%s\n", req);
        return -1;
    }

    tqDevSDK_SmartControl_SetChimeAlarmAction record{};
    Members members(root.get());
    CopyText(record.acDevId, TextOf(members.Find("deviceId")));
    if (!ReadItem(members, "eventId", record.uiEventId) ||
        !ReadItem(members, "channelNo", record.uiChannel)) {
        return -1;
    }
    const bscJSON *params = members.Find("params");
    if (!IsObject(params)) {
        Fail("Failed to find item:params");
        return -1;
    }
    record.uiValueNum = ReadValues(params, record.ausValue);

    if (SendToDevice(TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_CHIME_ALARM_ACTION, record) != 0) {
        Fail("Failed to seng msg to app while setting chime alarm action.");
        return -1;
    }
    return 0;
}
