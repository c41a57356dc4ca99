// SPDX-License-Identifier: Apache-2.0
/// @file tqdev_host.h
/// The control side of the stand-in host SDK, for whoever plays the platform: deliver what the platform
/// sends, observe what the device sends, set the state of the device, make host functions fail.
///
/// There is one host per process. All functions may be called from several threads at once, and from
/// the module's callbacks. Calls into the module run on the caller's thread, and no lock is held but that of
/// the status-report service, which asks one item at a time: StatusPass and StatusReset wait for one that
/// runs on another thread, so an item's callback must not wait for such a thread.
///
/// The SDK's functions refuse null records and null names: the result is -1, or null where they return a
/// pointer, and nothing is observed. A null body or value is an empty one.
#ifndef TQDEV_HOST_H
#define TQDEV_HOST_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tqDevSDK_Common_Module.h"
#include "tqDevSDK_Shadow.h"
#include "tqDevSDK_report_status.h"
#include "tq_model.h"
#include "tqdev_dclog.h"
#include "tqdev_sdk_kernel.h"

namespace tqhost {

// ---- What the device side does, in order. Records and texts are copies. ----

/// A registration or its removal, a forced report: a call that changes what the host knows.
struct Call {
    std::string function;
    std::string arguments; ///< What tells the call apart, separated by blanks.
    int result;
};

/// A message on the command channel that the kernel accepted; the pointers of the record are null.
struct CommandMessage {
    tqdev_sdk_kernel_pubmsg record;
    std::string body;
};

/// A message past the model layer that the kernel accepted; the pointer of the record is null.
struct RawModelMessage {
    tqdev_sdk_kernel_pubmsg_v3 record;
    std::string body;
};

/// An answer to a model request, accepted; the pointers of the records are null.
struct ModelReply {
    tq_basic_info info;
    tq_model_msg message;
    std::optional<std::string> text; ///< The message's text, when it had one.
    tq_err_info error;
    tq_msg_attr attributes;
};

/// A model report, accepted.
struct ModelReport {
    tq_basic_info info;
    std::string text;
    int option;
    tq_msg_attr attributes;
};

/// A value that a generate callback wrote, now the reported one.
struct ShadowReport {
    std::string key;
    UINT32 version;
    UINT8 reset_type;
    tqDevSDK_Shadow_data_type_t type;
    std::string text;
};

/// A record of the data-collection log, accepted.
struct DclogRecord {
    tqDevSDK_DCLog_DeliverParam_S record;
};

/// A line of the log at or below the level set, without its newline.
struct LogLine {
    int level;
    std::string text;
    bool ended; ///< False when the line came without a newline.
};

using Observation = std::variant<Call, CommandMessage, RawModelMessage, ModelReply, ModelReport, ShadowReport,
                                 DclogRecord, LogLine>;

/// An observation in words, on one line but for the texts in it, which are as they are: what it is, then
/// the fields that tell it apart, as "command 20035 seq 7 response 1 v1.0.0 {…}", types as their numbers. A
/// call has its result when that is not 0. Fields that all messages of a kind have alike are left out.
std::string Describe(const Observation &observation);

/// Called once for each observation, one at a time, on the thread that caused it. It must not call into
/// the host or the module.
using Observer = std::function<void(const Observation &)>;

/// Sets the observer; an empty one ends the observation.
void Observe(Observer observer);

// ---- The host itself. ----

/// Forgets all registrations, values, settings and failures, as in a fresh process. The observer stays.
void Reset();

/// Shows log lines up to this LOG_DEBUG_LEVEL; LOG_NON, the default, shows none.
void SetLogLevel(int level);

constexpr int kAlways = -1;

/// Whether the host has a function of this name that can be made to fail.
bool CanFail(const std::string &function);

/// Makes the named host function fail the next `times` times with `code`, without doing anything.
/// kAlways fails it until the next Fail for it; 0 times, or code 0, ends a failure. Functions that
/// return a pointer fail with null. False when the function cannot fail.
bool Fail(const std::string &function, int code, int times = kAlways);

/// Sets a text of the device information; nothing removes it, and the host then gives null for it. A
/// fresh host knows "dev_subserial", "dev_type" and "dev_firmwareversion".
void SetDeviceInfo(const std::string &key, const std::optional<std::string> &text);

void SetSleepStatus(int status);    ///< 0, the default: awake.
void SetDclogEnabled(bool enabled); ///< LAN linkage records are collected; true by default.

// ---- Kernel. ----

struct PlatformCommand {
    int domain = 7000;
    int command = 0;
    UINT32 seq = 0;
    std::optional<std::string> body; ///< Without one the module gets a null text.
    std::string version = "v1.0.0";
};

/// Calls start, or stop, of every loaded extension.
void StartExtensions();
void StopExtensions();

/// Routes a command to the extension of its domain; false when there is none.
bool DeliverCommand(const PlatformCommand &command);

/// Tells every loaded extension about an event.
void DeliverEvent(sdk_kernel_event_type type);

/// The loaded extension of a domain, for calls that DeliverCommand would not make.
std::optional<tqdev_sdk_kernel_extend> Extension(int domain);

/// The redirection of a configuration key.
std::optional<tqDevSDK_Common_Module_Redirect_S> Redirection(const std::string &key);

// ---- Model layer. ----

struct ModelMessage {
    std::string domain = "TQLink";
    std::string identifier;
    tq_model_type type = tq_service;
    std::string msg_type = "operate";
    std::string resource_id = "1";
    std::string resource_type = "Video";
    UINT32 seq = 0;
    tq_json_type value_type = model_data_type_object;
    std::optional<std::string> text; ///< Given to the module for string, array and object types only.
    int status = 200;                ///< Of a reply.
};

/// Routes a request, or a reply to a report; the router's result, nothing without a registered domain.
std::optional<int> DeliverModelRequest(const ModelMessage &message);
std::optional<int> DeliverModelReply(const ModelMessage &message);

/// The registered routers of a domain.
std::optional<tq_domain_reg> ModelDomain(const std::string &domain);

// ---- Status-report service. ----

/// Asks every registered item, in order of registration. A forced item is asked, then reported with 1;
/// another is reported with 0 when it has changed. An item that answers -1 is logged and keeps its
/// force; one whose report fails is logged and reported again at the next pass.
void StatusPass();

/// Resets one item; its result, nothing when the key is not registered.
std::optional<int> StatusReset(int key);

/// The registered items in order, with `force_flag` as it stands.
std::vector<tqDevSDK_report_status_info> StatusItems();

// ---- Shadow service, both generations. ----

struct ShadowValue {
    std::string desired;
    UINT32 desired_version = 0; ///< Counts the changes of the desired value.
    std::string reported;       ///< The last good one.
    UINT32 reported_version = 0;
    UINT32 reports = 0; ///< Counts the reports; 0: `reported` is not set yet.
};

/// Bytes that a generated value may have; 64 MiB by default and at most. The device writes into a buffer of
/// 64 MiB whatever is set, so a value that is too long within these is refused, not a crash.
constexpr std::size_t kShadowCapacity = std::size_t{64} << 20;
void SetShadowCapacity(std::size_t bytes);

/// Sets the desired value of a key. A value that is new, or that the device did not accept before, is
/// delivered; the callback's result, 0 when nothing was to be done, nothing for an unknown key. Array
/// and object texts are delivered with their type, others as string.
std::optional<int> ShadowDesire(const std::string &key, const std::string &text);

/// Asks the device for its value and reports it; the callback's result, -1 for a value beyond the
/// capacity, nothing for an unknown key. A failure is logged and leaves the reported value.
std::optional<int> ShadowGet(const std::string &key);

/// Asks for all values that a registration with `usResetReportAll` owes.
void ShadowReportOwed();

/// What the service knows of a key; nothing for an unknown key.
std::optional<ShadowValue> Shadow(const std::string &key);

/// The registered entries of a key, for calls that the service would not make; null when unknown.
const tqDevSDK_Shadow_Service_S *ShadowService(const std::string &key);
const tqDevSDK_Shadow_Service_S_v3 *ShadowServiceV3(const std::string &key);

} // namespace tqhost

#endif
