// SPDX-License-Identifier: Apache-2.0
/// @file module_fixture.h
/// The module between a recording host and a device application that the test plays.
#ifndef MODULE_FIXTURE_H
#define MODULE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_host.h"

using Lines = std::vector<std::string>;

// Commands of the platform. An answer's id is its request's plus one.
constexpr int kCapture = 20034, kVideo = 20036, kPicAndVideo = 20038, kSleep = 20040, kSignalQuery = 20058, kChimeAlarm = 20064, kSetKeyValue = 18829;

/// A JSON text as the module prints it: parsed and printed formatted.
std::string Printed(const std::string &json);

/// The element so many times, separated by commas.
std::string Repeated(const std::string &element, int count);

template <std::size_t N>
void Set(char (&field)[N], const std::string &text) {
    ASSERT_LT(text.size(), N);
    memcpy(field, text.c_str(), text.size() + 1);
}

/// Gives an enumeration field a number that its type does not know.
template <typename Enumeration>
void SetUnknown(Enumeration &field) {
    constexpr int kUnknown = 16;
    static_assert(sizeof field == sizeof kUnknown);
    memcpy(&field, &kUnknown, sizeof field);
}

template <typename Record>
std::string Bytes(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

class ModuleTest : public testing::Test {
protected:
    ModuleTest();
    ~ModuleTest() override;

    /// A fresh host and an initialised module, nothing recorded yet. The test ends with fini.
    void SetUp() override;

    int Init(int reset_report_all = 0);

    /// What the device side did since the last take, in words (tqhost::Describe).
    Lines Take();

    /// The log since the last take, "error: text" and so on, without the lines that every command leaves
    /// ("R:…", "s:…", "rsp msg:…").
    Lines TakeLog();

    /// The platform sends a command with sequence number 7; returns what the module prints on the standard output.
    std::string Command(int command, const std::optional<std::string> &body);

    /// What a command leaves: answers, then the log.
    struct Outcome {
        Lines sent;
        Lines log;
        bool operator==(const Outcome &other) const { return sent == other.sent && log == other.log; }
        friend std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
            return out << "sent " << testing::PrintToString(outcome.sent) << " log " << testing::PrintToString(outcome.log);
        }
    };
    Outcome AfterCommand(int command, const std::optional<std::string> &body);

    /// The application reports.
    int Report(int type, const void *record);

    /// The registered status item of a TQDEVSDK_REPORT_STATUS_E.
    static tqDevSDK_report_status_info StatusItem(int key);

    /// The messages to the application since the last take: type, and as many bytes of the record as the length
    /// says. AI rules are taken without bytes: their length is that of the text that the record points to.
    using Messages = std::vector<std::pair<int, std::string>>;
    Messages TakeReceived();

    // The application. By default it accepts and remembers everything, and has no answer to a query.
    std::function<void(const tqDevSDK_SmartControl_msg_to_dev &)> on_message;
    std::function<int(tqDevSDK_SmartControl_runtime_info &)> on_query;

    tqDevSDK_SmartControl_init_info init_info{};

private:
    static int RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg);
    static int OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info);
    void Record(const tqhost::Observation &observation);

    static ModuleTest *current_;
    std::mutex mutex_;
    Lines done_;
    Lines log_;
    Messages received_;
};

#endif
