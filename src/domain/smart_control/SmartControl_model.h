// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_model.h
/// Where the module stands in the model: its domain and its resource.
#ifndef SMARTCONTROL_MODEL_H
#define SMARTCONTROL_MODEL_H

constexpr const char *kModelDomain = "TQLink";
constexpr const char *kResourceType = "Video";

#endif
