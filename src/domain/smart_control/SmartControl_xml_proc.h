// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_xml_proc.h
/// The exchange in which the platform sets a device setting, in XML.
///
/// This source and the one of the settings alone are built with exceptions, because the XML class reports a
/// lack of memory with std::bad_alloc. Each entry catches and logs it: the result is then -1, and nothing is
/// sent.
#ifndef SMARTCONTROL_XML_PROC_H
#define SMARTCONTROL_XML_PROC_H

#include "tqdev_sdk_types.h"

/// Handles a set-key-value message: hands the setting to the application, has it reported again, answers
/// with a result. `ucIsReq` 1 asks for an answer. The sender's result, -1 when nothing was sent.
int SmartControl_BusPlatform_XmlHandle_ReqAndRsp(int iRspCmd, UINT8 ucIsReq, UINT32 uiMsgSeq,
                                                 const char *acStrBuf);

#endif
