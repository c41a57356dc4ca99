// SPDX-License-Identifier: Apache-2.0
/// @file harness.h
/// What the fuzz targets share: the module between a host whose messages are recorded and an application
/// that keeps what it is given and gives it back.
///
/// The first byte of every input sets the scene. Its low five bits select a row of the target's table,
/// 'A' and 'a' the first; 0x20, set in lower-case letters, shows the log; 0x40, set in all letters, has
/// the application accept what it is given. A target defines Run and checks there what must hold.
#ifndef FUZZ_HARNESS_H
#define FUZZ_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_host.h"

/// Ends the run as a find unless `holds`.
void Check(bool holds, const char *what);

template <std::size_t N>
void CheckEnds(const char (&text)[N]) {
    Check(memchr(text, '\0', N) != nullptr, "every text ends within its field");
}

/// The input, read from front to end; what is missing is zero.
class Input {
public:
    Input(const uint8_t *data, std::size_t size) : data_(data), size_(size), scene_(Take<uint8_t>()) {}

    bool ShowsLog() const { return (scene_ & 0x20U) != 0; }
    bool Accepts() const { return (scene_ & 0x40U) != 0; }

    template <typename Row, std::size_t N>
    const Row &Select(const Row (&rows)[N]) const {
        return rows[((scene_ - 'A') & 0x1FU) % N];
    }

    /// The next bytes as they are: texts in a record need not end.
    template <typename Record>
    Record Take() {
        Record record;
        memset(&record, 0, sizeof record);
        memcpy(&record, data_, size_ < sizeof record ? size_ : sizeof record);
        Skip(sizeof record);
        return record;
    }

    /// The next bytes as a text, which ends at the first NUL.
    std::string TakeText(std::size_t limit = SIZE_MAX) {
        const std::size_t bytes = size_ < limit ? size_ : limit;
        const char *text = reinterpret_cast<const char *>(data_);
        std::string taken(text, strnlen(text, bytes));
        Skip(bytes);
        return taken;
    }

private:
    void Skip(std::size_t bytes) {
        bytes = size_ < bytes ? size_ : bytes;
        data_ += bytes;
        size_ -= bytes;
    }

    const uint8_t *data_;
    std::size_t size_;
    uint8_t scene_;
};

// ---- The rule set that the application keeps ----

struct Rule {
    tqDevSDK_SmartControl_ConfigRules_RuleUnit record;
    std::vector<tqDevSDK_SmartControl_ConfigRule_Events> events;
    std::vector<tqDevSDK_SmartControl_ConfigRule_Actions> actions;
};

struct Unit {
    tqDevSDK_SmartControl_ConfigRules_ValueUnit record;
    std::vector<Rule> rules;
};

/// Forgotten before each input.
struct Application {
    bool accepts = true;
    int received = 0; ///< Messages.
    std::vector<Unit> rules;
    std::optional<std::string> scene_rules;
    std::optional<std::string> ai_rules;
    UINT32 numbers[4] = {}; ///< Overtime, video time, auto-rouse, lightness.
    tqDevSDK_SmartControl_msg_IcrDss_S icr_dss{};
};
extern Application g_application;

/// What went out; emptied before each input.
struct Sent {
    std::vector<tqhost::CommandMessage> commands;
    std::vector<tqhost::ModelReply> replies;
    std::vector<tqhost::ModelReport> reports;
    std::vector<tqDevSDK_DCLog_DeliverParam_S> records;
};
extern Sent g_sent;

/// The member "result" of a JSON text, which must be JSON; nothing without that member.
std::optional<int> ResultIn(const std::string &json);

/// The target.
void Run(Input &input);

#endif
