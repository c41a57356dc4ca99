// SPDX-License-Identifier: Apache-2.0
/// @file script.h  Scripts: lines for a gateway, and lines that check what came of them.
///
/// A line that checks causes no line of its own.
#ifndef TQGATEWAY_INPUT_SCRIPT_H
#define TQGATEWAY_INPUT_SCRIPT_H

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "file_descriptor.h"
#include "gateway.h"
#include "input/line_source.h"
#include "lines/lines.h"
#include "output/output.h"

namespace tqgateway {

/// True when a value has all that the pattern has: of objects the members, of arrays the elements, each in
/// its place, of others the value.
bool Matches(const Json &pattern, const Json &value);

/// What came out since the last input, on any thread. Each line can be expected once.
class Causes : public Sink {
public:
    Causes(); ///< Throws std::system_error.

    void Show(const Json &line, Moment when) override;
    void Echo(Input, const Json &, const std::string &, Moment) override {}
    void Heading(const std::string &) override {}

    void Begin(); ///< What comes from now on belongs to the next input.
    void End();   ///< Nobody expects anything any more.

    bool Take(const Json &pattern); ///< Takes the first line that matches; false for none.
    std::vector<Json> Left() const; ///< The lines that nobody has expected.
    bool HasLeft(bool (*kind)(const Json &line)) const;

    /// Readable, for 8 bytes, when there are more lines since Take found none.
    int WakeFd() const { return wake_.Get(); }

private:
    const FileDescriptor wake_;
    mutable std::mutex mutex_;
    bool ended_ = false;
    bool awaited_ = false;
    std::vector<Json> lines_;
};

/// Plays a script: feeds a gateway and checks what comes out.
class Script {
public:
    /// Called with the place and the words for each line that was refused without being expected to be, and
    /// for each expectation that was not met; beyond the first line the text is indented.
    using Failed = std::function<void(const std::string &what)>;

    /// `causes` is shown what the gateway shows. `stop_fd` becomes readable when playing is to end. `record`
    /// names the file that is recorded into meanwhile, empty for none.
    Script(Gateway &gateway, Causes &causes, int stop_fd, std::string record, Failed failed);

    /// Plays a file from a descriptor to its end. Throws std::system_error when it cannot be read to its end,
    /// std::invalid_argument when it includes what is recorded into.
    void Play(FileDescriptor fd, const std::string &file);

    /// True when playing ended because it was to.
    bool Stopped() const;

    /// A kind of line that only scripts understand, and what explains it.
    struct Kind {
        const char *key;
        void (Script::*carry_out)(ObjectReader &line);
        const char *summary;
        Rows<LineField> fields; ///< The key first.
        Rows<const char *> samples;
    };
    static Rows<Kind> Kinds() { return kKinds; }

    /// The kind of a line; null for one that all understand, or none.
    static const Kind *KindOf(const Json &line);

private:
    struct Reading {
        std::string file;
        FileDescriptor fd;
        LineSource source;
    };
    static const Kind kKinds[4];

    void Take(const std::string &text);
    void Refuse(const std::string &reason);

    void Expect(ObjectReader &line);
    void Wait(ObjectReader &line);
    void Sleep(ObjectReader &line);
    void Include(ObjectReader &line);

    void PlayFile(FileDescriptor fd, const std::string &file);
    void BeginInput(const std::string &text);
    void EndInput();
    bool WakesBefore(std::chrono::steady_clock::time_point deadline);
    std::string Place() const;
    void Missing(const std::string &expected, const std::string &how);

    Gateway &gateway_;
    Causes &causes_;
    const int stop_fd_;
    const std::string record_;
    const Failed failed_;
    std::deque<Reading> files_; ///< Each includes the next.
    std::string input_ = "the start";
    std::string input_place_;
};

} // namespace tqgateway

#endif
