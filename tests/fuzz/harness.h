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

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tqDevSDK_SmartControl_def.h"
#include "tqdev_host.h"

/// Ends the run as a find unless `holds`.
void Check(bool holds, const char *what);

template <std::size_t... N>
void CheckEnds(const char (&...texts)[N]) {
    Check((... && (memchr(texts, '\0', N) != nullptr)), "every text ends within its field");
}

/// The input, read from front to end; what is missing is zero.
class Input {
public:
    explicit Input(std::string_view bytes) : rest_(bytes), scene_(Take<uint8_t>()) {}

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
        const std::size_t size = std::min(sizeof record, rest_.size());
        memset(&record, 0, sizeof record);
        memcpy(&record, rest_.data(), size);
        rest_.remove_prefix(size);
        return record;
    }

    /// The next bytes as a text, which ends at the first NUL.
    std::string TakeText(std::size_t limit = SIZE_MAX) {
        const std::string_view text = rest_.substr(0, limit);
        rest_.remove_prefix(text.size());
        return std::string(text.substr(0, text.find('\0')));
    }

private:
    std::string_view rest_;
    uint8_t scene_;
};

/// The records of an array, whoever owns it.
template <typename Record>
class Range {
public:
    Range(Record *first, std::size_t count) : first_(first), end_(first + count) {}
    Record *begin() const { return first_; }
    Record *end() const { return end_; }

private:
    Record *first_, *end_;
};

/// What the application was given and gives back; forgotten before each input.
struct Application {
    bool accepts = true;
    int received = 0;                          ///< Messages.
    tqDevSDK_SmartControl_ConfigRules rules{}; ///< Its arrays are these:
    std::vector<std::vector<char>> arrays;
    std::optional<std::string> texts[2]; ///< Scene rules, AI rules.
    UINT32 numbers[4] = {};              ///< Overtime, video time, auto-rouse, lightness.
    tqDevSDK_SmartControl_msg_IcrDss_S icr_dss{};
};
extern Application g_application;

/// What the device side did, by kind; emptied before each input.
template <typename Kind>
inline std::vector<Kind> g_sent;

/// The member "result" of a JSON text, which must be JSON; nothing without that member.
std::optional<int> ResultIn(const std::string &json);

/// Gives a parse callback a value; its result.
int Give(tqDevSDK_Shadow_ParseSync parse, tqDevSDK_Shadow_data_type_t type, std::string text);

/// What a generate callback, which must succeed, writes to the buffer.
std::string Get(tqDevSDK_Shadow_GenValue generate, tqDevSDK_Shadow_data_type_t type, std::vector<char> &buffer);

/// The target.
void Run(Input &input);

#endif
