// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_shadow_rules_json.h
/// The mapping between linkage rules and their JSON form.
#ifndef SMARTCONTROL_SHADOW_RULES_JSON_H
#define SMARTCONTROL_SHADOW_RULES_JSON_H

#include "SmartControl_json.h"

/// Reads a whole rule set into a zeroed record. False, logged, when anything required is missing; the record
/// then holds what was read so far. Either way the caller releases it with Free_ConfigRules.
bool ReadConfigRules(const bscJSON *root, tqDevSDK_SmartControl_ConfigRules &rules);

/// Writes a whole rule set into an empty array. False, logged, when there is no memory.
bool WriteConfigRules(bscJSON *root, const tqDevSDK_SmartControl_ConfigRules &rules);

#endif
