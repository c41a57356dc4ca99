// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_xml_proc_settings.h
/// The device settings that the platform sets and is told of: one row for each.
#ifndef SMARTCONTROL_XML_PROC_SETTINGS_H
#define SMARTCONTROL_XML_PROC_SETTINGS_H

#include "SmartControl_func_status.h"
#include "SmartControl_rows.h"

struct SettingKind;

/// All that sets one setting apart. A new number setting is a cache and a row.
struct Setting {
    const char *key;  ///< In XML, both ways, and of the redirection.
    const char *name; ///< In the log.
    TQDEVSDK_REPORT_STATUS_E status;
    TQDEVSDK_SMART_CONTROL_MSG_TO_DEV_TYPE_E message; ///< Takes a new value.
    TQDEVSDK_SMART_CONTROL_RUNTIME_INFO_TYPE_E query; ///< Gives the current one.
    const SettingKind *kind;                          ///< A number, or the day/night record.
    void *cache; ///< The value seen last, which is the one reported; a record of that kind.
};

/// All settings, in order of registration.
Rows<Setting> Settings();

/// Their status items, in the same order.
Rows<StatusItem> SettingItems();

/// The setting of a key; null for an unknown key.
const Setting *FindSetting(const char *key);

/// Hands a value, given as text, to the application. False, logged, when the text is bad or the application
/// refuses the value.
bool SetValue(const Setting &setting, const char *text);

#endif
