// SPDX-License-Identifier: Apache-2.0
// Loading the module, from beside the program or from anywhere.
#include "module.h"

#include <stdexcept>

#include <dlfcn.h>

#include "tqdev_host.h"

namespace tqgateway {
namespace {

template <typename Function>
void Resolve(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
        throw std::runtime_error(dlerror());
    }
}

} // namespace

// What the module is built to fill is what its host has.
static_assert(TQ_SHADOW_VALUE_CAPACITY > 0 && TQ_SHADOW_VALUE_CAPACITY <= tqhost::kShadowCapacity);

Module LoadModule(const std::string &path) {
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    Module module{};
    Resolve(library, "tqDevSDK_SmartControl_init", module.init);
    Resolve(library, "tqDevSDK_SmartControl_fini", module.fini);
    Resolve(library, "tqDevSDK_SmartControl_Msg2Server", module.msg_to_server);
    Resolve(library, "tqDevSDK_SmartControl_PushDclog", module.push_dclog);
    return module;
}

} // namespace tqgateway
