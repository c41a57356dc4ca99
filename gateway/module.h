// SPDX-License-Identifier: Apache-2.0
/// @file module.h  The smart control module, opened as a host process opens it.
#ifndef TQGATEWAY_MODULE_H
#define TQGATEWAY_MODULE_H

#include <exception>
#include <string>

#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

class Application;

/// The public functions of the loaded module, and the application that uses them.
struct Module {
    decltype(&tqDevSDK_SmartControl_init) init;
    decltype(&tqDevSDK_SmartControl_fini) fini;
    decltype(&tqDevSDK_SmartControl_Msg2Server) msg_to_server;
    decltype(&tqDevSDK_SmartControl_PushDclog) push_dclog;
    Application *application; ///< Null: the virtual hub.
};

/// Calls what a callback does: no exception may pass through the module's frames, and what does not fit into
/// memory has failed with -1.
template <typename Function>
int Guarded(Function function) noexcept {
    try {
        return function();
    } catch (const std::exception &) {
        return -1;
    }
}

/// Loads the module for the rest of the process: the SDK kernel keeps pointers into it. Throws
/// std::runtime_error. A name without a slash is looked up beside the program.
Module LoadModule(const std::string &path);

} // namespace tqgateway

#endif
