// SPDX-License-Identifier: Apache-2.0
/// @file gateway.h  One gateway: the module between a platform and a device application, driven by lines.
#ifndef TQGATEWAY_GATEWAY_H
#define TQGATEWAY_GATEWAY_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "file_descriptor.h"
#include "hub.h"
#include "link/link_faults.h"
#include "module.h"
#include "output/output.h"
#include "rules/rule_engine.h"

namespace tqgateway {

/// The settings of a session that change what comes out.
struct Session {
    int log = 0; ///< LOG_DEBUG_LEVEL
    bool reset_report_all = false;
    std::string serial;            ///< Of the device; empty: the host's own.
    bool explain_refusals = false; ///< Check linkage rules that are refused.
};

/// What a line's handler works on.
struct Parts {
    const Session &session;
    const Module &module;
    Output &output;
    Hub &hub;
    const SetLinkFaults &set_link_faults;
    RuleEngine &rules;
};

/// Lines, from whatever they come, go in one by one; everything goes out through `output`. There can be
/// one gateway at a time.
class Gateway {
public:
    /// Prepares the host for the session, has the module initialised, by its application or for the virtual
    /// hub, and starts its extension. Throws std::runtime_error with the result when that fails.
    Gateway(const Module &module, Output &output, const Session &session);

    /// Stops the extension and the module.
    ~Gateway();

    Gateway(const Gateway &) = delete;
    Gateway &operator=(const Gateway &) = delete;

    /// Takes a line. Blank lines and comments cause nothing; any other is closed by a result or an error.
    /// All that it causes carries its id, if it has one.
    void Take(const std::string &line);

    /// Takes an event of the gateway's own, a line that nobody sent: no result closes it. Throws LineError
    /// when it is not understood.
    void TakeEvent(const Json &event);

    /// Has lines that change the faults of a link change those of this one.
    void UseLink(SetLinkFaults set_faults) { set_link_faults_ = std::move(set_faults); }

    /// Closes a line that could not be taken.
    void Refuse(const std::string &reason);

    /// Has `carry_out` called by CarryOutDue while `fd` is readable.
    void Attend(int fd, std::function<void()> carry_out);

    /// Readable when something is due, by the machine's time or for who is attended to, which CarryOutDue is
    /// to be called for.
    int DueFd() const { return due_.Get(); }
    void CarryOutDue();

    /// One pass of the status-report service, on any thread.
    void StatusPass();

private:
    void Begin();
    void Finish() noexcept;
    void TakeJson(const Json &line, const std::string &text);
    void ShowError(const std::string &reason);

    Session session_;
    Module module_;
    Output &output_;
    struct Attended {
        int fd;
        std::function<void()> carry_out;
    };
    FileDescriptor due_;
    std::vector<Attended> attended_;
    RuleEngine rules_;
    Hub hub_;
    SetLinkFaults set_link_faults_ = [](const LinkFaults &) {};
    const Parts parts_{session_, module_, output_, hub_, set_link_faults_, rules_};
};

} // namespace tqgateway

#endif
