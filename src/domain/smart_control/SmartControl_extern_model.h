// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_extern_model.h
/// The module's place in the model layer: its domain, and what arrives for it.
#ifndef SMARTCONTROL_EXTERN_MODEL_H
#define SMARTCONTROL_EXTERN_MODEL_H

/// Registers the model domain; a refusal is logged.
void SmartControl_extern_model_init(void);

/// Removes the model domain; the host's result, logged when it is not 0.
int SmartControl_extern_model_fini(void);

#endif
