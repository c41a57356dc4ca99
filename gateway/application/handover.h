// SPDX-License-Identifier: Apache-2.0
/// @file handover.h  Memory that the application hands over and the module will free.
#ifndef TQGATEWAY_APPLICATION_HANDOVER_H
#define TQGATEWAY_APPLICATION_HANDOVER_H

#include <cstddef>
#include <map>
#include <string>

#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {

/// One hand-over. Each function looks at all that the module would free, reads nothing of what is no good,
/// and gives what is wrong first; empty when all is well.
class HandOver {
public:
    std::string Rules(const tqDevSDK_SmartControl_ConfigRules *rules);
    std::string Text(const char *text);

    void Accept();        ///< The blocks are the module's from now on.
    void Release() const; ///< Frees the blocks that were found good, in the module's place.

private:
    std::string Block(const std::string &name, const void *block, std::size_t size);
    std::string RuleUnits(const std::string &path, const tqDevSDK_SmartControl_ConfigRules_ValueUnit &unit);

    std::map<const char *, std::size_t> blocks_; ///< By address, with their sizes.
};

} // namespace tqgateway

#endif
