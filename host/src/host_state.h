// SPDX-License-Identifier: Apache-2.0
/// @file host_state.h
/// What the host knows, and the few things that all its sources do with it.
///
/// One mutex guards the state. It is held for short copies only, never while a callback of the module
/// or the observer runs, so callbacks may call back into the host.
#ifndef HOST_STATE_H
#define HOST_STATE_H

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tqdev_host.h"

namespace tqhost {

/// A host function that can be made to fail, and how it fails.
struct Failure {
    const char *function;
    int code;  ///< 0: it does not fail.
    int times; ///< Failures left, or kAlways.
};

struct StatusItem {
    tqDevSDK_report_status_info info;
    bool due; ///< The last report failed.
};

/// How a key was registered, in either generation; the entry of the other one is null.
struct ShadowKey {
    std::string key;
    std::string owner; ///< The registration that the key came with.
    std::string domain;
    tqDevSDK_Shadow_Res_t resource;
    tqDevSDK_Shadow_Service_S *service;
    tqDevSDK_Shadow_Service_S_v3 *service_v3;
    tqDevSDK_Shadow_ParseSync parse;
    tqDevSDK_Shadow_GenValue generate;
    bool reset_report_all;
};

struct ShadowEntry {
    ShadowKey key;
    ShadowValue value;
    bool accepted; ///< The device took the desired value.
    bool owed;     ///< The registration asked for a report, which is still to come.
};

struct State {
    std::array<Failure, 21> failures{{
        {"tqdev_sdk_kernel_extend_load", 0, 0},
        {"tqdev_sdk_kernel_send", 0, 0},
        {"tqdev_sdk_kernel_send_v3", 0, 0},
        {"tqdev_sdk_kernel_getdevinfo_bykey", 0, 0},
        {"tq_model_domain_reg", 0, 0},
        {"tq_model_domain_dereg", 0, 0},
        {"tq_model_reply_to_das", 0, 0},
        {"tq_model_send_to_platform", 0, 0},
        {"tqDevSDK_Common_Module_RedirectReg", 0, 0},
        {"tqDevSDK_Shadow_DomainReg", 0, 0},
        {"tqDevSDK_Shadow_DomainDereg", 0, 0},
        {"tqDevSDK_Shadow_DomainReg_v3", 0, 0},
        {"tqDevSDK_Shadow_DomainDereg_v3", 0, 0},
        {"tqDevSDK_Shadow_PushStatus_v3", 0, 0},
        {"tqDevSDK_report_status_init", 0, 0},
        {"tqDevSDK_report_status_register", 0, 0},
        {"tqDevSDK_report_status_unregister", 0, 0},
        {"tqDevSDK_report_status_fini", 0, 0},
        {"tqDevSDK_report_set_force_report", 0, 0},
        {"tqdev_dclog_Report", 0, 0},
        {"tqdev_dclog_DeregisterMod", 0, 0},
    }};
    /// The texts are literals or live in the pool of SetDeviceInfo, never in here.
    std::map<std::string, const char *> device_info{
        {"dev_subserial", "TQ00000001"}, {"dev_type", "TQ-HUB"}, {"dev_firmwareversion", "V1.2.3"}};
    int sleep_status = 0;
    bool dclog_enabled = true;
    std::vector<tqdev_sdk_kernel_extend> extensions;
    std::vector<tqDevSDK_Common_Module_Redirect_S> redirections;
    std::vector<tq_domain_reg> model_domains;
    std::vector<StatusItem> status_items;
    std::vector<ShadowEntry> shadow_entries;
    std::size_t shadow_capacity = kShadowCapacity;
};

/// The state, locked while the object lives.
class Locked {
public:
    Locked();
    State *operator->() const { return state_; }
    State &operator*() const { return *state_; }

private:
    std::lock_guard<std::mutex> lock_;
    State *state_;
};

/// Shows an observation to the observer. Not to be called with the state locked.
void Notify(const Observation &observation);

/// The code with which this call of the function is to fail; 0 when it is not.
int TakeFailure(const char *function);

/// Carries out a call that is observed: `apply` changes the state and gives the result, unless the call
/// is to fail.
template <typename Apply>
int ObservedCall(const char *function, const std::string &arguments, Apply apply) {
    int result = TakeFailure(function);
    if (result == 0) {
        const Locked state;
        result = apply(*state);
    }
    Notify(Call{function, arguments, result});
    return result;
}

/// The first record that matches, or null.
template <typename Record, typename Match>
Record *Find(std::vector<Record> &records, Match match) {
    const auto found = std::find_if(records.begin(), records.end(), match);
    return found == records.end() ? nullptr : &*found;
}

/// Puts a record in the place of the first that matches, or behind all others.
template <typename Record, typename Match>
void Put(std::vector<Record> &records, Match match, const Record &record) {
    if (Record *found = Find(records, match)) {
        *found = record;
        return;
    }
    records.push_back(record);
}

/// Removes all records that match; 0, or -1 when there is none.
template <typename Record, typename Match>
int Remove(std::vector<Record> &records, Match match) {
    const auto end = std::remove_if(records.begin(), records.end(), match);
    if (end == records.end()) {
        return -1;
    }
    records.erase(end, records.end());
    return 0;
}

/// The text of a fixed-width field, terminated or not.
template <typename Char, std::size_t N>
std::string FieldText(const Char (&field)[N]) {
    static_assert(sizeof(Char) == 1, "texts are bytes");
    const char *text = reinterpret_cast<const char *>(field);
    return {text, strnlen(text, N)};
}

/// Writes a text, cut if need be, into a zeroed field.
template <std::size_t N>
void SetField(char (&field)[N], const std::string &text) {
    text.copy(field, N - 1);
}

/// A NUL-terminated copy without a spare byte, so that sanitizers notice whoever reads on.
std::unique_ptr<char[]> ExactCopy(const std::string &text);

} // namespace tqhost

#endif
