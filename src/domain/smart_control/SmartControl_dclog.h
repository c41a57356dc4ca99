// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_dclog.h
/// LAN linkage records for the host's data-collection log.
#ifndef SMARTCONTROL_DCLOG_H
#define SMARTCONTROL_DCLOG_H

#include "tqDevSDK_SmartControl_def.h"

/// Posts one record: 0 posted or not wanted by the host, -1 null record or unknown system name, else the
/// host's code.
int SmartContDCLog_PushEntireDCLog(const tqDevSDK_SmartControl_DCLogParam_S *param);

#endif
