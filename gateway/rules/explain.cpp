// SPDX-License-Identifier: Apache-2.0
// A session of four lines: the configuration, the time, the rules, the question.
#include "rules/explain.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "check/command.h"
#include "gateway.h"
#include "input/read_file.h"
#include "output/timeline.h"
#include "process.h"
#include "rules/linkage_config.h"
#include "rules/rules.h"

namespace tqgateway {
namespace {

/// Keeps what is said of rules, and whether they were refused.
class Answers : public Sink {
public:
    void Show(const Json &line, Moment) override {
        if (line.contains("linkage")) {
            verdicts.push_back(line);
        } else if (line.contains("result") && !line["result"].is_null()) {
            refused = line["result"] != 0;
        }
    }
    void Echo(Input, const Json &, const std::string &, Moment) override {}
    void Heading(const std::string &) override {}

    std::vector<Json> verdicts;
    bool refused = false;
};

/// What most platforms mean.
Json UsualLinkage() {
    return {{"delay_unit_ms", 1000}, {"day_1", "Monday"}, {"condition", {{"0", "any"}, {"1", "all"}}}};
}

/// The event of an option; it is whole.
Json ReadEventOption(const std::string &text) {
    try {
        Json event = ParseJson(text);
        ReadEvent(ObjectReader(event, ""));
        return event;
    } catch (const LineError &error) {
        throw std::invalid_argument(std::string("--event: ") + error.what());
    }
}

void CheckTime(const std::string &text) {
    try {
        ReadCivil(text, "--at");
    } catch (const LineError &error) {
        throw std::invalid_argument(error.what());
    }
}

std::string WhyRefused(const std::string &file, const std::string &rules) {
    std::string why;
    for (const Finding &finding : CheckRules(rules)) {
        why += '\n' + ToText(finding, file);
    }
    return file + ": these rules are refused" + why;
}

/// What the lines of a session say; the rules are to be known. Throws std::runtime_error when they
/// are refused.
std::vector<Json> Ask(const Module &module, StdoutCapture &captured, const ExplainOptions &options,
                      const Json &linkage, const std::string &rules, const Json &event) {
    Answers answers;
    Output output(captured, {&answers});
    Session session;
    Gateway gateway(module, output, session);
    const auto take = [&gateway](const Json &line) { gateway.Take(Dump(line)); };
    take({{"linkage", linkage}});
    take({{"now", options.at}});
    take({{"shadow", "InterconnectionRule"}, {"value", rules}});
    if (answers.refused) {
        throw std::runtime_error(WhyRefused(ShownName(options.file), rules));
    }
    answers.verdicts.clear();
    take({{"explain", event}});
    return answers.verdicts;
}

void ShowAll(const std::vector<Json> &lines, const ExplainOptions &options, int fd) {
    LineWriter writer(fd, [] {}); // an error is looked for at the end
    const auto write = [&writer](std::string line) { writer.Write(std::move(line)); };
    const bool terminal = isatty(fd) != 0;
    const auto shown = options.json ? MakeJsonLines(write, false)
                                    : MakeTimeline(write, terminal && getenv("NO_COLOR") == nullptr, false);
    for (const Json &line : lines) {
        shown->Show(line, {});
    }
    if (writer.Error() != 0 && writer.Error() != EPIPE) {
        throw std::runtime_error(std::string("standard output: ") + strerror(writer.Error()));
    }
}

} // namespace

int Explain(const ExplainOptions &options, const Module &module) {
    CheckTime(options.at);
    const Json event = ReadEventOption(options.event);
    const Json linkage = options.linkage.empty() ? UsualLinkage() : ReadLinkageFile(options.linkage);
    StdoutCapture captured;
    const std::vector<Json> verdicts =
        Ask(module, captured, options, linkage, ReadRulesFile(options.file), event);
    if (options.linkage.empty()) {
        Say("taken for granted: day 1 is Monday, condition 0 is any, 1 is all; --linkage FILE says "
            "otherwise");
    }
    ShowAll(verdicts, options, captured.Terminal());
    return EXIT_SUCCESS;
}

} // namespace tqgateway
