// SPDX-License-Identifier: Apache-2.0
// The topics, and their three forms: for a terminal, for the documents, for a manual page.
#include "lines/reference.h"

#include <algorithm>
#include <iterator>
#include <set>

#include <nlohmann/json.hpp>

#include "input/script.h"
#include "lines/lines.h"

namespace tqgateway {
namespace {

constexpr std::size_t kNearest = 3; // topics named for one that is none

constexpr LineField kIdFields[] = {{kId, "any JSON, which those lines have as it is written here"}};
constexpr const char *kIdSamples[] = {R"({"status_pass":true,"id":"pass-7"})"};

Topic MakeTopic(const char *name, const char *summary, Rows<LineField> fields, Rows<const char *> samples) {
    Topic topic{name, name, summary, {}, {}, {samples.begin(), samples.end()}, nullptr};
    std::transform(fields.begin(), fields.end(), std::back_inserter(topic.fields),
                   [](const LineField &field) {
                       return FieldHelp{field.name, field.takes};
                   });
    return topic;
}

std::string Listed(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::string Padded(std::string text, std::size_t columns) {
    text.resize(std::max(text.size(), columns), ' ');
    return text;
}

std::string TopicText(const Topic &topic) {
    std::size_t columns = 0;
    for (const FieldHelp &field : topic.fields) {
        columns = std::max(columns, field.name.size());
    }
    std::string text = topic.heading + ": " + topic.summary + "\n\n";
    for (const FieldHelp &field : topic.fields) {
        text += "  " + Padded(field.name, columns) + "  " + field.takes + '\n';
    }
    if (!topic.names.empty()) {
        text += "\n" + topic.name + " takes " + Listed(topic.names) + '\n';
    }
    for (const std::string &sample : topic.samples) {
        text += (&sample == &topic.samples.front() ? "\nFor example:\n  " : "  ") + sample + '\n';
    }
    return text;
}

std::string Overview() {
    std::string text = "Lines (\"help NAME\" tells more):\n\n";
    for (const Topic &topic : Topics()) {
        text += "  " + Padded(topic.heading, 26) + topic.summary + '\n';
    }
    return text + R"(
In short: a name, its value and members, for which the line is shown that they become.
  set device_screen_overtime 30
  command 20034 body.delay=0 body.channelNo=1 body.params={}
  report event value=7
  online
)";
}

} // namespace

std::vector<Topic> Topics() {
    std::vector<Topic> topics;
    for (const LineKind &kind : LineKinds()) {
        Topic topic = MakeTopic(kind.key, kind.summary, kind.fields, kind.samples);
        topic.kind = &kind;
        if (kind.names != nullptr) {
            topic.names = kind.names();
        }
        topics.push_back(std::move(topic));
        if (std::string(kind.key) == "report") {
            for (ReportHelp &report : DescribeReports()) {
                topics.push_back({report.name,
                                  "report " + report.name,
                                  std::move(report.summary),
                                  std::move(report.fields),
                                  {},
                                  {std::move(report.sample)},
                                  &kind});
            }
        }
    }
    topics.push_back(MakeTopic(kId, "A member of any line, which all lines that it causes have, too.",
                               kIdFields, kIdSamples));
    for (const Script::Kind &kind : Script::Kinds()) {
        topics.push_back(MakeTopic(kind.key, kind.summary, kind.fields, kind.samples));
    }
    return topics;
}

const Topic *FindTopic(const std::vector<Topic> &topics, const std::string &name) {
    for (const auto member : {&Topic::heading, &Topic::name}) {
        const auto found = std::find_if(topics.begin(), topics.end(),
                                        [&](const Topic &topic) { return topic.*member == name; });
        if (found != topics.end()) {
            return &*found;
        }
    }
    return nullptr;
}

std::string HelpText(const std::string &name) {
    if (name.empty()) {
        return Overview();
    }
    const std::vector<Topic> topics = Topics();
    if (const Topic *topic = FindTopic(topics, name)) {
        return TopicText(*topic);
    }
    std::set<std::string> names; // of which a line and a report may share one
    std::transform(topics.begin(), topics.end(), std::inserter(names, names.end()),
                   [](const Topic &topic) { return topic.name; });
    throw LineError("help: " + Expected(name, {names.begin(), names.end()}, kNearest));
}

std::string HelpMarkdown() {
    std::string text;
    for (const Topic &topic : Topics()) {
        text += "### " + topic.heading + "\n\n" + topic.summary + "\n\n| member | takes |\n|---|---|\n";
        for (const FieldHelp &field : topic.fields) {
            text += "| `" + field.name + "` | " + field.takes + " |\n";
        }
        if (!topic.names.empty()) {
            text += "\nIt takes " + Listed(topic.names) + ".\n";
        }
        if (!topic.samples.empty()) {
            text += "\n```json\n";
            for (const std::string &sample : topic.samples) {
                text += sample + '\n';
            }
            text += "```\n";
        }
        text += '\n';
    }
    return text;
}

Json HelpJson() {
    Json all = Json::array();
    for (const Topic &topic : Topics()) {
        if (topic.kind == nullptr) {
            continue; // no line that can be sent
        }
        Json fields = Json::array();
        for (const FieldHelp &field : topic.fields) {
            fields.push_back({{"name", field.name}, {"takes", field.takes}});
        }
        all.push_back({{"heading", topic.heading},
                       {"summary", topic.summary},
                       {"fields", fields},
                       {"samples", topic.samples},
                       {"key", topic.kind->key},
                       {"from", topic.kind->from},
                       {"to", topic.kind->to},
                       {"label", topic.kind->label}});
    }
    return all;
}

std::string Roff(const std::string &text) {
    std::string roff;
    bool begins = true;
    for (const char c : text) {
        roff += c == '\\'                           ? "\\e"
                : c == '-'                          ? "\\-"
                : begins && (c == '.' || c == '\'') ? std::string("\\&") + c
                                                    : std::string(1, c);
        begins = c == '\n';
    }
    return roff;
}

std::string HelpRoff() {
    std::string text;
    for (const Topic &topic : Topics()) {
        text += ".SS " + Roff(topic.heading) + '\n' + Roff(topic.summary) + '\n';
        for (const FieldHelp &field : topic.fields) {
            text += ".TP\n.B " + Roff(field.name) + '\n' + Roff(field.takes) + '\n';
        }
        if (!topic.names.empty()) {
            text += ".PP\nIt takes " + Roff(Listed(topic.names)) + ".\n";
        }
        if (!topic.samples.empty()) {
            text += ".PP\n.nf\n";
            for (const std::string &sample : topic.samples) {
                text += Roff(sample) + '\n';
            }
            text += ".fi\n";
        }
    }
    return text;
}

} // namespace tqgateway
