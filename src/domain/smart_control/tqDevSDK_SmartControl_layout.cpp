// SPDX-License-Identifier: Apache-2.0
// The record layouts that the device application and the host library are built against. Records without
// pointers are the same on every build; the others are as given here on the 32-bit target.
#include <cstddef>

#include "tqDevSDK_Common_Module.h"
#include "tqDevSDK_Shadow.h"
#include "tqDevSDK_SmartControl_def.h"
#include "tqDevSDK_report_status.h"
#include "tq_model.h"
#include "tqdev_dclog.h"
#include "tqdev_sdk_kernel.h"

#define SIZE(record, size)            static_assert(sizeof(record) == (size))
#define OFFSET(record, field, offset) static_assert(offsetof(record, field) == (offset))
#define WIDTH(record, field, width)   static_assert(sizeof(record::field) == (width))

// ---- Device application ----

SIZE(tqDevSDK_SmartControl_SetChimeAlarmAction, 76);
OFFSET(tqDevSDK_SmartControl_SetChimeAlarmAction, uiEventId, 32);
OFFSET(tqDevSDK_SmartControl_SetChimeAlarmAction, ausValue, 44);
SIZE(tqDevSDK_SmartControl_device_capture_info, 140);
OFFSET(tqDevSDK_SmartControl_device_capture_info, relation_id, 8);
OFFSET(tqDevSDK_SmartControl_device_capture_info, uiValueNum, 72);
OFFSET(tqDevSDK_SmartControl_device_capture_info, auiValue, 76);
SIZE(tqDevSDK_SmartControl_Action_Common_S, 8);
SIZE(tqDevSDK_SmartControl_Action_Pic_And_Video_S, 72);
OFFSET(tqDevSDK_SmartControl_Action_Pic_And_Video_S, relation_id, 8);
SIZE(tqDevSDK_SmartControl_Action_Sleep_S, 4);
SIZE(tqDevSDK_SmartControl_ManualScene_S, 4);
SIZE(tqDevSDK_Smartcontrol_ap_signal_result, 104);
OFFSET(tqDevSDK_Smartcontrol_ap_signal_result, unInfo.stChime.acMac, 8);
OFFSET(tqDevSDK_Smartcontrol_ap_signal_result, unInfo.stChime.acDevSerial, 40);
OFFSET(tqDevSDK_Smartcontrol_ap_signal_result, unInfo.stRoute.acSSID, 8);
SIZE(tqDevSDK_SmartControl_msg_IcrDss_S, 12);
OFFSET(tqDevSDK_SmartControl_msg_IcrDss_S, ucSensitivity, 1);
OFFSET(tqDevSDK_SmartControl_msg_IcrDss_S, autoTime.begin, 4);
OFFSET(tqDevSDK_SmartControl_msg_IcrDss_S, autoTime.end, 8);
SIZE(tqDevSDK_SmartControl_ConfigRule_Events, 44);
OFFSET(tqDevSDK_SmartControl_ConfigRule_Events, ucChannel, 40);
OFFSET(tqDevSDK_SmartControl_ConfigRule_Events, usValue, 42);
SIZE(tqDevSDK_SmartControl_ConfigRule_Actions, 80);
OFFSET(tqDevSDK_SmartControl_ConfigRule_Actions, ucValueNum, 41);
OFFSET(tqDevSDK_SmartControl_ConfigRule_Actions, ausValue, 42);
OFFSET(tqDevSDK_SmartControl_ConfigRule_Actions, uiDelay, 76);
SIZE(tqDevSDK_SmartControl_Event, 8);
SIZE(tqDevSDK_SmartControl_Info_ActionResult, 52);
OFFSET(tqDevSDK_SmartControl_Info_ActionResult, uiChannelNo, 36);
OFFSET(tqDevSDK_SmartControl_Info_ActionResult, ucResult, 48);
SIZE(tqDevSDK_SmartControl_UndoneActions_S, 136);
OFFSET(tqDevSDK_SmartControl_UndoneActions_S, acExtendVal, 8);
OFFSET(tqDevSDK_SmartControl_UndoneActions_S, astUndoneActs, 136);
SIZE(tqDevSDK_SmartControl_OtapBaseInfo_S, 260);
OFFSET(tqDevSDK_SmartControl_OtapBaseInfo_S, acResourceId, 36);
OFFSET(tqDevSDK_SmartControl_OtapBaseInfo_S, acDomain, 100);
OFFSET(tqDevSDK_SmartControl_OtapBaseInfo_S, acSerial, 228);
SIZE(tqDevSDK_SmartControl_LanDevice, 40);
SIZE(tqDevSDK_SmartControl_DCLog_LanLinkRunEvt_S, 96);
SIZE(tqDevSDK_SmartControl_DCLog_LanLinkNetPara_S, 164);
SIZE(tqDevSDK_SmartControl_DCLog_LanLinkCentStatis_S, 40);
SIZE(tqDevSDK_SmartControl_DCLog_LanLinkMembStatis_S, 20);
SIZE(tqDevSDK_SmartControl_DCLog_LanLinkCommStatis_S, 8);
SIZE(tqDevSDK_SmartControl_DCLogParam_S, 280);
OFFSET(tqDevSDK_SmartControl_DCLogParam_S, acDevId, 80);
OFFSET(tqDevSDK_SmartControl_DCLogParam_S, unPrivPara, 116);

// ---- Host SDK ----

SIZE(tqDevSDK_DCLog_LanLinkageParam_S, 376);
OFFSET(tqDevSDK_DCLog_LanLinkageParam_S, acFwVer, 144);
OFFSET(tqDevSDK_DCLog_LanLinkageParam_S, unPrivPara, 212);
SIZE(tqDevSDK_DCLog_Param_Payload_U, 544);
SIZE(tqDevSDK_DCLog_DeliverParam_S, 552);
OFFSET(tqDevSDK_DCLog_DeliverParam_S, unParam, 8);
SIZE(tqDevSDK_Common_Module_Redirect_S, 40);
SIZE(tqDevSDK_Shadow_Res_t, 138);
SIZE(tq_msg_attr, 76);
SIZE(tq_err_info, 292);

// Texts and short numbers, which the sizes do not tell apart, or only on the 32-bit target.
WIDTH(tqdev_sdk_kernel_pubmsg, msg_response, 1);
WIDTH(tqdev_sdk_kernel_pubmsg, command_ver, 32);
WIDTH(tqdev_sdk_kernel_pubmsg, msg_compress, 16);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, msg_response, 1);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, resource_id, 64);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, resource_type, 64);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, module, 16);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, method, 128);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, msg_type, 64);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, sub_serial, 72);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, ext_msg, 128);
WIDTH(tqdev_sdk_kernel_pubmsg_v3, msg_compress, 16);
WIDTH(tqdev_sdk_kernel_submsg, command_ver, 32);
WIDTH(tqdev_sdk_kernel_submsg, msg_compress, 16);
WIDTH(tqdev_sdk_kernel_extend, domain_id, 2);
WIDTH(tqdev_sdk_kernel_extend, extend_module_name, 32);
WIDTH(tqdev_sdk_kernel_extend, extend_module_version, 32);
WIDTH(tq_basic_info, resource_id, 64);
WIDTH(tq_basic_info, resource_type, 64);
WIDTH(tq_basic_info, domain, 64);
WIDTH(tq_basic_info, identifier, 64);
WIDTH(tq_basic_info, subserial, 72);
WIDTH(tq_msg_attr, msg_type, 64);
WIDTH(tq_err_info, err_code, 32);
WIDTH(tq_err_info, err_msg, 256);
WIDTH(tq_domain_reg, domain, 64);
WIDTH(tq_domain_reg, identifier, 64);

#if UINTPTR_MAX == UINT32_MAX
SIZE(tqDevSDK_SmartControl_msg_to_dev, 12);
SIZE(tqDevSDK_SmartControl_runtime_info, 12);
SIZE(tqDevSDK_SmartControl_init_info, 12);
SIZE(tqDevSDK_Smartcontrol_ap_signal_info, 8);
SIZE(tqDevSDK_SmartControl_ConfigRules_RuleUnit, 176);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, ucEnable, 132);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, uiStart_hour, 140);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, usCondition, 156);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, usEvents_Num, 162);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, pstEvents, 164);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, usActions_Num, 168);
OFFSET(tqDevSDK_SmartControl_ConfigRules_RuleUnit, pstActions, 172);
SIZE(tqDevSDK_SmartControl_ConfigRules_ValueUnit, 12);
OFFSET(tqDevSDK_SmartControl_ConfigRules_ValueUnit, usNum, 4);
OFFSET(tqDevSDK_SmartControl_ConfigRules_ValueUnit, pstRuleUnit, 8);
SIZE(tqDevSDK_SmartControl_ConfigRules, 12);
OFFSET(tqDevSDK_SmartControl_ConfigRules, usNum, 4);
SIZE(tqDevSDK_SmartControl_Rule_S, 8);
SIZE(tqDevSDK_SmartControl_Msg2Server_S, 12);
SIZE(tqDevSDK_SmartControl_OtapBody_S, 12);
SIZE(tqDevSDK_SmartControl_OtapMsg_S, 272);
OFFSET(tqDevSDK_SmartControl_UndoneActions_V3_S, pstActions, 4);
OFFSET(tqDevSDK_SmartControl_UndoneSceneList_S, uiNum, 272);
OFFSET(tqDevSDK_SmartControl_UndoneSceneList_S, uiSceneList, 276);
SIZE(tqDevSDK_SmartControl_ReportLanCentor, 112);
OFFSET(tqDevSDK_SmartControl_ReportLanCentor, uiEnable, 100);
OFFSET(tqDevSDK_SmartControl_ReportLanCentor, pLanDevice, 108);
SIZE(tqDevSDK_SmartControl_DclogMsg_S, 12);

SIZE(tqdev_sdk_kernel_pubmsg, 84);
OFFSET(tqdev_sdk_kernel_pubmsg, msg_body, 12);
OFFSET(tqdev_sdk_kernel_pubmsg, command_ver, 36);
SIZE(tqdev_sdk_kernel_pubmsg_v3, 572);
OFFSET(tqdev_sdk_kernel_pubmsg_v3, msg_body, 16);
OFFSET(tqdev_sdk_kernel_pubmsg_v3, ext_msg, 428);
SIZE(tqdev_sdk_kernel_submsg, 72);
OFFSET(tqdev_sdk_kernel_submsg, command_ver, 20);
SIZE(tqdev_sdk_kernel_event, 12);
SIZE(tqdev_sdk_kernel_extend, 88);
OFFSET(tqdev_sdk_kernel_extend, pUser, 20);
SIZE(tq_basic_info, 340);
SIZE(tq_model_msg, 16);
OFFSET(tq_model_msg, value, 8);
SIZE(tq_domain_reg, 140);
SIZE(tqDevSDK_report_status_info, 24);
SIZE(tqDevSDK_Shadow_value_t, 16);
SIZE(tqDevSDK_Shadow_ParseSync_Param_S, 12);
SIZE(tqDevSDK_Shadow_GenValue_Param_S, 20);
SIZE(tqDevSDK_Shadow_Service_S, 88);
OFFSET(tqDevSDK_Shadow_Service_S, usVersion, 68);
OFFSET(tqDevSDK_Shadow_Service_S, parse_sync, 80);
SIZE(tqDevSDK_Shadow_DomainReg_S, 268);
SIZE(tqDevSDK_Shadow_Service_S_v3, 72);
SIZE(tqDevSDK_Shadow_DomainReg_V3_S, 8);
#endif
