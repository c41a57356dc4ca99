// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_extern.h
/// The module's place in the host: kernel extension, model domain, redirected keys.
#ifndef SMARTCONTROL_EXTERN_H
#define SMARTCONTROL_EXTERN_H

/// Loads the kernel extension, registers the model domain and redirects the setting keys. 0, or -1 when
/// the kernel refused the extension, and nothing else was registered. The other refusals are logged and
/// change nothing.
int SmartControl_extern_init(void);

/// Removes the model domain; the host's result. The kernel extension stays loaded.
int SmartControl_extern_fini(void);

#endif
