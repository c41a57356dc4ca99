// SPDX-License-Identifier: Apache-2.0
// A session of four lines: the configuration, the time, the rules, the question.
#include "explain.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "linkage_config.h"
#include "process.h"
#include "timeline.h"
#include "tqdev_debug.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

/// Keeps what is said of rules, and why a line failed.
class Answers : public Sink {
public:
    void Show(const Json &line) override {
        if (line.contains("linkage")) {
            verdicts.push_back(line);
        } else if (line.contains("log")) {
            log.push_back(AsText(line["text"]));
        } else if (line.contains("error")) {
            error = AsText(line["error"]);
        } else if (line.contains("result") && !line["result"].is_null()) {
            refused = line["result"] != 0;
        }
    }
    void Echo(Input, const Json &) override {}
    void Heading(const std::string &) override {}

    std::vector<Json> verdicts;
    std::vector<std::string> log;
    std::string error;
    bool refused = false;
};

std::string ReadFile(const std::string &file) {
    std::ifstream stream(file);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream) {
        throw std::invalid_argument(file + ": " + strerror(errno));
    }
    return text;
}

Json UsualLinkage() {
    Say("Taken for granted: day 1 is Monday, condition 0 is any, 1 is all. --linkage FILE says otherwise.");
    return {{"delay_unit_ms", 1000}, {"day_1", "Monday"}, {"condition", {{"0", "any"}, {"1", "all"}}}};
}

/// Has a line taken; what `option` gave is at fault when it is not understood.
void Take(Gateway &gateway, const Answers &answers, const Json &line, const std::string &option) {
    gateway.Take(Dump(line));
    if (!answers.error.empty()) {
        throw std::invalid_argument(option + ": " + answers.error);
    }
}

void ShowAll(const std::vector<Json> &lines, const ExplainOptions &options, int fd) {
    LineWriter writer(fd, RequestStop);
    const bool terminal = isatty(fd) != 0;
    const auto shown = options.json ? MakeJsonLines(writer)
                                    : MakeTimeline(writer, terminal && getenv("NO_COLOR") == nullptr);
    for (const Json &line : lines) {
        shown->Show(line);
    }
    if (writer.Error() != 0 && writer.Error() != EPIPE) {
        throw std::runtime_error(std::string("standard output: ") + strerror(writer.Error()));
    }
}

} // namespace

int Explain(const ExplainOptions &options, const Module &module) {
    const std::string rules = ReadFile(options.file);
    const Json linkage = options.linkage.empty() ? UsualLinkage() : ReadLinkageFile(options.linkage);
    Json event;
    try {
        event = ParseJson(options.event);
    } catch (const LineError &error) {
        throw std::invalid_argument(std::string("--event: ") + error.what());
    }

    StdoutCapture captured;
    Answers answers;
    {
        Output output(captured, {&answers});
        tqhost::SetLogLevel(LOG_ERROR);
        Gateway gateway(module, output, false);
        Take(gateway, answers, {{"linkage", linkage}}, options.linkage);
        Take(gateway, answers, {{"now", options.at}}, "--at");
        answers.log.clear();
        Take(gateway, answers, {{"shadow", "InterconnectionRule"}, {"value", rules}}, options.file);
        if (answers.refused) {
            std::string why = options.file + ": the module refuses these rules";
            for (const std::string &line : answers.log) {
                why += "\n  " + line;
            }
            throw std::runtime_error(why);
        }
        answers.verdicts.clear();
        Take(gateway, answers, {{"explain", event}}, "--event");
    }
    ShowAll(answers.verdicts, options, captured.Terminal());
    return EXIT_SUCCESS;
}

} // namespace tqgateway
