// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_scene.h
/// Manual scenes.
#ifndef SMARTCONTROL_FUNC_SCENE_H
#define SMARTCONTROL_FUNC_SCENE_H

/// Serves "ExecManualScene": 0, -1 for a bad request or without memory, else the application's code. `*reply`
/// receives a heap text, also when a request is bad, which the caller frees, and null without memory; a null
/// `json` leaves it alone.
int ReportManualScene(const char *json, int len, char **reply);

#endif
