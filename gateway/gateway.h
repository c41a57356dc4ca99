// SPDX-License-Identifier: Apache-2.0
/// @file gateway.h  One gateway: the module between a platform and a virtual hub, driven by lines.
#ifndef TQGATEWAY_GATEWAY_H
#define TQGATEWAY_GATEWAY_H

#include <optional>
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

/// Carries out one line; what it causes is shown meanwhile. The result of the call, nothing where it
/// returns nothing. Throws LineError when the line is not understood; nothing was done then.
std::optional<int> CarryOut(const Parts &parts, const Json &line);

/// Lines, from whatever they come, go in one by one; everything goes out through `output`. There can be
/// one gateway per process.
class Gateway {
public:
    Gateway(const Module &module, Output &output);
    ~Gateway();
    Gateway(const Gateway &) = delete;
    Gateway &operator=(const Gateway &) = delete;

    /// Initialises the module and starts its extension; the result of init, then nothing is started.
    int Start(bool reset_report_all);

    /// Stops the extension and the module.
    void Stop();

    /// Takes a line. Blank lines and comments cause nothing; any other is closed by a result or an error.
    void Take(const std::string &line);

    /// Takes an event of the gateway's own, a line that nobody sent: no result closes it.
    void TakeEvent(const Json &event);

    /// Closes a line that could not be taken.
    void Refuse(const std::string &reason);

    /// One pass of the status-report service, on any thread.
    void StatusPass();

private:
    void ShowError(const std::string &reason);

    Module module_;
    Output &output_;
    Hub hub_;
    const Parts parts_{module_, hub_};
};

} // namespace tqgateway

#endif
