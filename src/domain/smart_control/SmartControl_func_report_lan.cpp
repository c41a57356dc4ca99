// SPDX-License-Identifier: Apache-2.0
// Reports of the LAN center and its members, in both forms.
#include "SmartControl_command.h"
#include "SmartControl_func_report.h"
#include "SmartControl_func_report_send.h"

namespace {

using Center = tqDevSDK_SmartControl_ReportLanCentor;
using Member = tqDevSDK_SmartControl_LanDevice;

bool IsThere(const Center *center) {
    return center != nullptr || Fail("NULL input param.");
}

bool WriteMembers(bscJSON *root, const char *key, const Center &center,
                  bool (*write)(bscJSON *object, const Member &member)) {
    bscJSON *members = AttachArray(root, key, "Failed to cJSON_CreateArray.");
    if (members == nullptr) {
        return false;
    }
    const UINT32 count = center.pLanDevice != nullptr ? center.uiLanDeviceNum : 0;
    for (UINT32 i = 0; i < count; ++i) {
        bscJSON *object = AppendObject(members, "Failed to cJSON_CreateObject for array.");
        if (object == nullptr || !write(object, center.pLanDevice[i])) {
            return false;
        }
    }
    return true;
}

// The two forms have no key in common but "extend", whose value differs.

bool WriteMember(bscJSON *object, const Member &member) {
    return WriteField(object, "deviceSerial", member.acDeviceId);
}

bool WriteCenter(bscJSON *root, const Center &center) {
    return WriteField(root, "centerDeviceSerial", center.acCenterDeviceId) &&
           WriteItem(root, "enable", center.uiEnable) && WriteItem(root, "extend", "1") &&
           WriteMembers(root, "devList", center, WriteMember);
}

bool WriteMemberV3(bscJSON *object, const Member &member) {
    return WriteField(object, "serialNumber", member.acDeviceId) &&
           WriteItem(object, "softwareVersion", member.uiVersion);
}

bool WriteCenterV3(bscJSON *root, const Center &center) {
    return WriteField(root, "centerSerialNumber", center.acCenterDeviceId) &&
           WriteItem(root, "sceneVersion", center.uiVersion) && WriteItem(root, "enabled", center.uiEnable) &&
           WriteField(root, "extend", center.acExtend) &&
           WriteMembers(root, "DevList", center, WriteMemberV3);
}

constexpr ReportKind<CommandWay, Center> kCenterReport{{"the LAN center", kPu2CenPltReportCenterDeviceReq,
                                                        kPu2CenPltReportCenterDeviceReq,
                                                        "Report lan centor info to Plt: "},
                                                       IsThere,
                                                       WriteCenter};

constexpr ReportKind<ModelWay, Center> kCenterReportV3{
    MakeModelWay("the LAN center, version 3", tq_event, "ReportNetTopology", "report",
                 "Failed to send msg to platform_v3 for reporting center status.", nullptr),
    IsThere, WriteCenterV3};

} // namespace

int ReportLanCentorToPlt(const tqDevSDK_SmartControl_ReportLanCentor *center) {
    return SendReport(kCenterReport, center);
}

int ReportLanCentorToPltV3(const tqDevSDK_SmartControl_ReportLanCentor *center) {
    return SendReport(kCenterReportV3, center);
}
