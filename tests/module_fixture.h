// SPDX-License-Identifier: Apache-2.0
/// @file module_fixture.h
/// The module between a recording host and a device application that the test plays.
#ifndef MODULE_FIXTURE_H
#define MODULE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_host.h"

using Lines = std::vector<std::string>;

/// A JSON text as the module prints it: parsed and printed formatted.
std::string Printed(const std::string &json);

/// Text without a terminator that fills a field of this width.
template <std::size_t N>
void Fill(char (&field)[N], char with) {
    memset(field, with, N);
}

template <std::size_t N>
void Set(char (&field)[N], const std::string &text) {
    ASSERT_LT(text.size(), N);
    memcpy(field, text.c_str(), text.size() + 1);
}

/// A heap text as the application hands it over.
char *HeapText(const std::string &text);

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

    /// The whole log since the last take.
    Lines TakeWholeLog();

    /// The records of the data-collection log since the last take.
    std::vector<tqDevSDK_DCLog_DeliverParam_S> TakeDclog();

    /// The platform sends a command.
    void Command(int command, const std::optional<std::string> &body, UINT32 seq = 7);

    /// What a command leaves: answers, then the log.
    struct Outcome {
        Lines sent;
        Lines log;
        bool operator==(const Outcome &other) const { return sent == other.sent && log == other.log; }
        friend std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
            return out << "sent " << testing::PrintToString(outcome.sent) << " log " << testing::PrintToString(outcome.log);
        }
    };
    Outcome AfterCommand(int command, const std::optional<std::string> &body, UINT32 seq = 7);

    /// The application reports.
    int Report(int type, const void *record);

    /// The only message that the application received since the last call, as the record that it must be;
    /// the length must be that of the record, unless given.
    template <typename Record>
    Record Received(int type, int len = static_cast<int>(sizeof(Record))) {
        Record record{};
        EXPECT_EQ(received_.size(), 1U) << "messages to the application";
        for (const Message &message : std::exchange(received_, {})) {
            EXPECT_EQ(std::tuple(message.type, message.len, message.bytes.size()), std::tuple(type, len, sizeof record));
            memcpy(&record, message.bytes.data(), std::min(sizeof record, message.bytes.size()));
        }
        return record;
    }

    /// How many messages the application received since the last call of Received.
    std::size_t ReceivedCount() const { return received_.size(); }

    // The application. By default it accepts and remembers everything, and has no answer to a query.
    int recv_result = 0;
    std::function<void(const tqDevSDK_SmartControl_msg_to_dev &)> on_message;
    std::function<int(tqDevSDK_SmartControl_runtime_info &)> on_query;

    tqDevSDK_SmartControl_init_info init_info{};

private:
    struct Message {
        int type;
        int len;
        std::vector<char> bytes;
    };

    static int RecvMsg(tqDevSDK_SmartControl_msg_to_dev *msg);
    static int OnGetRuntimeInfo(tqDevSDK_SmartControl_runtime_info *info);
    void Record(const tqhost::Observation &observation);

    static ModuleTest *current_;
    std::mutex mutex_;
    Lines done_;
    Lines log_;
    std::vector<tqDevSDK_DCLog_DeliverParam_S> dclog_;
    std::vector<Message> received_;
};

#endif
