// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_export.h
/// Marks the few functions that the library exports; smart_control.map lists them too.
#ifndef SMARTCONTROL_EXPORT_H
#define SMARTCONTROL_EXPORT_H

#define SMARTCONTROL_EXPORT __attribute__((visibility("default")))

#endif
