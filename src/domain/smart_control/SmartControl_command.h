// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_command.h
/// What the module writes on the command channel: domain, versions, command ids.
#ifndef SMARTCONTROL_COMMAND_H
#define SMARTCONTROL_COMMAND_H

#include "tqdev_sdk_types.h"

constexpr UINT16 kSmartControlDomain = 7000;

/// Version of replies to platform requests and of XML status reports.
constexpr const char *kReplyVersion = "v1.0.0";
/// Version of the kernel extension and of version-2 reports.
constexpr const char *kReportVersion = "V2.0.0";

/// Ids of the domain: `kCenPlt2Pu…` platform to device, `kPu2CenPlt…` device to platform. The id of a
/// response is that of its request plus one.
enum SmartControl_CommandId {
    kPu2CenPltReportEventReq = 19986,
    kPu2CenPltReportEventRsp = 19987,
    kPu2CenPltReportActionResultReq = 19988,
    kPu2CenPltReportActionResultRsp = 19989,
    kPu2CenPltReportUndoneActionsReq = 19990,
    kPu2CenPltReportUndoneActionsRsp = 19991,
    kPu2CenPltReportCenterDeviceReq = 19992,
    kPu2CenPltReportCenterDeviceRsp = 19993,
    kPu2CenPltPriorityRankingReq = 19994,
    kPu2CenPltPriorityRankingRsp = 19995,
    kCenPlt2PuSetDevCaptureReq = 20034,
    kCenPlt2PuSetDevCaptureRsp = 20035,
    kCenPlt2PuSetDevVideoReq = 20036,
    kCenPlt2PuSetDevVideoRsp = 20037,
    kCenPlt2PuSetDevCaptureAndVideoReq = 20038,
    kCenPlt2PuSetDevCaptureAndVideoRsp = 20039,
    kCenPlt2PuSetDevSleepReq = 20040,
    kCenPlt2PuSetDevSleepRsp = 20041,
    kPu2CenPlt2PuQueryChimeSignalReq = 20058,
    kPu2CenPlt2PuQueryChimeSignalRsp = 20059,
    kCenPlt2PuSetChimeAlarmReq = 20064,
    kCenPlt2PuSetChimeAlarmRsp = 20065
};

/// Ids of the key-value exchange, whose bodies are XML.
enum SmartControl_KeyValueCommandId {
    kPu2CenPltReportKeyValueReq = 12382,
    kCenPlt2PuSetKeyValueReq = 18829,
    kCenPlt2PuSetKeyValueRsp = 18830
};

#endif
