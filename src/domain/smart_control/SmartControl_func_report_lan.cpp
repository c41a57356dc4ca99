// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_command.h"
#include "SmartControl_func.h"
#include "SmartControl_func_report.h"

namespace {

constexpr CommandReport kLanCentorReport{kPu2CenPltReportCenterDeviceReq, kPu2CenPltReportCenterDeviceReq,
                                         "Report lan centor info to Plt: "};
constexpr ModelReport kLanCentorReportV3 =
    MakeModelReport(tq_event, "ReportNetTopology", "report",
                    "Failed to send msg to platform_v3 for reporting center status.", nullptr);

using Center = tqDevSDK_SmartControl_ReportLanCentor;
using Member = tqDevSDK_SmartControl_LanDevice;

// The two forms have no key in common but "extend", whose value differs.

void WriteCenter(bscJSON *root, const Center &center) {
    WriteItem(root, "centerDeviceSerial", center.acCenterDeviceId);
    WriteItem(root, "enable", center.uiEnable);
    WriteItem(root, "extend", "1");
}

void WriteMember(bscJSON *object, const Member &member) {
    WriteItem(object, "deviceSerial", member.acDeviceId);
}

void WriteCenterV3(bscJSON *root, const Center &center) {
    WriteItem(root, "centerSerialNumber", center.acCenterDeviceId);
    WriteItem(root, "sceneVersion", center.uiVersion);
    WriteItem(root, "enabled", center.uiEnable);
    WriteItem(root, "extend", center.acExtend);
}

void WriteMemberV3(bscJSON *object, const Member &member) {
    WriteItem(object, "serialNumber", member.acDeviceId);
    WriteItem(object, "softwareVersion", member.uiVersion);
}

struct Form {
    void (*write_center)(bscJSON *root, const Center &center);
    const char *members_key;
    void (*write_member)(bscJSON *object, const Member &member);
};

constexpr Form kForm{WriteCenter, "devList", WriteMember};
constexpr Form kFormV3{WriteCenterV3, "DevList", WriteMemberV3};

// The report's tree; null when it could not be built.
JsonTree BuildCenter(const Form &form, const Center *center) {
    if (center == nullptr) {
        tqdev_debug(LOG_ERROR, "NULL input param.\n");
        return nullptr;
    }
    JsonTree root = CreateReportObject();
    if (root == nullptr) {
        return nullptr;
    }
    form.write_center(root.get(), *center);

    JsonTree members = CreateReportArray("Failed to cJSON_CreateArray.");
    if (members == nullptr) {
        return nullptr;
    }
    const UINT32 count = center->pLanDevice != nullptr ? center->uiLanDeviceNum : 0;
    for (UINT32 i = 0; i < count; ++i) {
        bscJSON *object = AppendReportObject(members.get(), "Failed to cJSON_CreateObject for array.");
        if (object == nullptr) {
            return nullptr;
        }
        form.write_member(object, center->pLanDevice[i]);
    }
    AttachItem(root.get(), form.members_key, std::move(members));
    return root;
}

} // namespace

int ReportLanCentorToPlt(const tqDevSDK_SmartControl_ReportLanCentor *center) {
    const JsonTree root = BuildCenter(kForm, center);
    return root != nullptr ? SendReport(kLanCentorReport, root.get()) : -1;
}

int ReportLanCentorToPltV3(const tqDevSDK_SmartControl_ReportLanCentor *center) {
    const JsonTree root = BuildCenter(kFormV3, center);
    return root != nullptr ? SendReport(kLanCentorReportV3, root.get()) : -1;
}
