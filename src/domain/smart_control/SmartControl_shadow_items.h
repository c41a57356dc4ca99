// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_shadow_items.h
/// The status items of the scene rules and the AI rules.
#ifndef SMARTCONTROL_SHADOW_ITEMS_H
#define SMARTCONTROL_SHADOW_ITEMS_H

#include "SmartControl_func_status.h"
#include "SmartControl_rows.h"

/// Both items, in order of registration.
Rows<StatusItem> RuleTextItems();

#endif
