// SPDX-License-Identifier: Apache-2.0
/// @file gateway.h  One gateway: the module between a platform and a virtual hub, driven by lines.
#ifndef TQGATEWAY_GATEWAY_H
#define TQGATEWAY_GATEWAY_H

#include <string>

#include "hub.h"
#include "module.h"
#include "output.h"

namespace tqgateway {

/// What a line's handler works on.
struct Parts {
    const Module &module;
    Hub &hub;
};

/// Lines, from whatever they come, go in one by one; everything goes out through `output`. There can be
/// one gateway at a time.
class Gateway {
public:
    /// Initialises the module and starts its extension. Throws std::runtime_error with the module's result
    /// when it cannot be initialised.
    Gateway(const Module &module, Output &output, bool reset_report_all);

    /// Stops the extension and the module.
    ~Gateway();

    Gateway(const Gateway &) = delete;
    Gateway &operator=(const Gateway &) = delete;

    /// Takes a line. Blank lines and comments cause nothing; any other is closed by a result or an error.
    void Take(const std::string &line);

    /// Takes an event of the gateway's own, a line that nobody sent: no result closes it. Throws LineError
    /// when it is not understood.
    void TakeEvent(const Json &event);

    /// Closes a line that could not be taken.
    void Refuse(const std::string &reason);

    /// One pass of the status-report service, on any thread.
    void StatusPass();

private:
    void Finish() noexcept;
    void ShowError(const std::string &reason);

    Module module_;
    Output &output_;
    Hub hub_;
    const Parts parts_{module_, hub_};
};

} // namespace tqgateway

#endif
