// SPDX-License-Identifier: Apache-2.0
/// @file module.h  The smart control module, opened as a host process opens it.
#ifndef TQGATEWAY_MODULE_H
#define TQGATEWAY_MODULE_H

#include <string>

#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

/// The public functions of the loaded module.
struct Module {
    decltype(&tqDevSDK_SmartControl_init) init;
    decltype(&tqDevSDK_SmartControl_fini) fini;
    decltype(&tqDevSDK_SmartControl_Msg2Server) msg_to_server;
    decltype(&tqDevSDK_SmartControl_PushDclog) push_dclog;
};

/// Loads the module for the rest of the process: the SDK kernel keeps pointers into it. Throws
/// std::runtime_error. A name without a slash is looked up beside the program.
Module LoadModule(const std::string &path);

} // namespace tqgateway

#endif
