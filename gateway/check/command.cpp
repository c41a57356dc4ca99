// SPDX-License-Identifier: Apache-2.0
// tq_gateway check: finds rule values in files, checks them and holds the result against the module.
#include "check/command.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "check/tree.h"
#include "input/read_file.h"
#include "lines/lines.h"
#include "module.h"
#include "options.h"
#include "output/printable.h"
#include "process.h"
#include "rules/rules.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

// ---- The module ----

/// A device that takes every rule set, and reports the last.
class Device {
public:
    struct Outcome {
        int result;
        std::optional<std::string> written; ///< None when the module refused, or has no room for the text.
    };

    explicit Device(const std::string &module) : module_(LoadModule(module)) {
        const tqDevSDK_SmartControl_init_info info = {{Receive, Answer}, 0};
        if (const int result = module_.init(&info); result != 0) {
            throw std::runtime_error("the module could not be initialised: " + std::to_string(result));
        }
        service_ = tqhost::ShadowService(kRulesKey);
    }
    ~Device() { module_.fini(); }
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    /// Has the host deliver a value, as the cloud's values are.
    Outcome Give(const std::string &text) const {
        const int result = tqhost::ShadowDesire(kRulesKey, text).value();
        return {result, result == 0 ? Written() : std::nullopt};
    }

private:
    static int Receive(tqDevSDK_SmartControl_msg_to_dev *message) {
        g_rules = CopyRules(*reinterpret_cast<tqDevSDK_SmartControl_ConfigRules *>(message->data));
        return 0;
    }

    static int Answer(tqDevSDK_SmartControl_runtime_info *info) {
        info->data = reinterpret_cast<char *>(CopyRules(*g_rules).release());
        return 0;
    }

    std::optional<std::string> Written() const {
        const std::unique_ptr<char[]> buffer(new char[tqhost::kShadowCapacity]);
        tqDevSDK_Shadow_value_t value{};
        value.value = buffer.get();
        tqDevSDK_Shadow_GenValue_Param_S param{};
        const int result = service_->gen_value_JsStr(&value, &param);
        return result == 0
                   ? std::optional<std::string>({buffer.get(), static_cast<std::size_t>(value.length)})
                   : std::nullopt;
    }

    static RuleSet g_rules; ///< The callbacks carry no context.

    Module module_;
    const tqDevSDK_Shadow_Service_S *service_;
};

RuleSet Device::g_rules;

// ---- Values in files ----

/// A rule value, and where its text stands in its file.
struct RuleValue {
    std::string text;
    std::size_t line, column; ///< Of its beginning.
    bool verbatim;            ///< The file has it as it is, not as a text within a line.
};

std::vector<std::string> LinesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// Whether an object is a line of the gateway or of a recording.
bool IsLine(const cJSON *object) {
    const auto has = [&](const char *key) {
        return cJSON_GetObjectItemCaseSensitive(object, key) != nullptr;
    };
    const Rows<LineKind> kinds = LineKinds();
    return has("session") || has("in") || has("out") ||
           std::any_of(kinds.begin(), kinds.end(), [&](const LineKind &kind) { return has(kind.key); });
}

/// Whether a file holds lines of the gateway or a recording, not a rule value.
bool HoldsLines(const std::string &text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin != std::string::npos && text[begin] == '#') {
        return true;
    }
    const ParsedText first = ParseText(text);
    if (first.tree != nullptr) {
        return cJSON_IsObject(first.tree.get()) != 0 &&
               (first.more != std::string::npos || IsLine(first.tree.get()));
    }
    // The first line may be a broken one.
    const std::vector<std::string> lines = LinesOf(text);
    return std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
        return line[0] == '{' && IsLine(ParseText(line).tree.get());
    });
}

/// The value of a line that gives the device rules; none for any other line.
const cJSON *ShadowValue(const cJSON *line) {
    const cJSON *const recorded = cJSON_GetObjectItemCaseSensitive(line, "in");
    const cJSON *const given = recorded != nullptr ? recorded : line;
    const cJSON *const key = cJSON_GetObjectItemCaseSensitive(given, "shadow");
    const bool is_rules = cJSON_IsString(key) != 0 && strcmp(key->valuestring, kRulesKey) == 0;
    return is_rules ? cJSON_GetObjectItemCaseSensitive(given, "value") : nullptr;
}

/// Where and why the gateway would not take a line; empty when it would.
std::string Unreadable(const std::string &line, const ParsedText &parsed) {
    try {
        ParseJson(line);
        if (parsed.tree != nullptr) {
            return {};
        }
    } catch (const LineError &error) {
        if (parsed.tree != nullptr) {
            return std::string("1: ") + error.what();
        }
    }
    const SyntaxFault fault = FindFault(line, parsed).value();
    return std::to_string(fault.offset + 1) + ": not JSON: " + fault.text;
}

/// What a file has for the device.
struct Found {
    std::vector<RuleValue> values;
    std::vector<std::string> unreadable; ///< Lines that might have some: where and why.
};

Found FindInLines(const std::string &text) {
    Found found;
    std::size_t number = 0;
    for (const std::string &line : LinesOf(text)) {
        ++number;
        if (line.find(kRulesKey) == std::string::npos || line[0] == '#') {
            continue;
        }
        const ParsedText parsed = ParseText(line);
        if (const std::string reason = Unreadable(line, parsed); !reason.empty()) {
            found.unreadable.push_back(std::to_string(number) + ':' + reason);
            continue;
        }
        const cJSON *const value = ShadowValue(parsed.tree.get());
        if (value == nullptr) {
            continue;
        }
        VisitPlaces(line, parsed, [&](const cJSON *node, const Place &place, const std::string &) {
            if (node == value) {
                const bool is_text = cJSON_IsString(value) != 0;
                found.values.push_back(
                    {is_text ? value->valuestring : line.substr(place.begin, place.end - place.begin), number,
                     place.begin + 1, !is_text});
            }
        });
    }
    return found;
}

Found FindRules(const std::string &text) {
    return HoldsLines(text) ? FindInLines(text) : Found{{{text, 1, 1, true}}, {}};
}

// ---- Findings ----

/// A finding of a value as one of its file.
Finding InFile(Finding finding, const RuleValue &value) {
    finding.column = !value.verbatim     ? value.column
                     : finding.line == 1 ? finding.column + value.column - 1
                                         : finding.column;
    finding.line = value.verbatim ? finding.line + value.line - 1 : value.line;
    return finding;
}

class Check {
public:
    explicit Check(const CheckOptions &options) : options_(options), device_(options.module) {
        const auto read = [](const std::string &file, auto parse) {
            const std::string text = ReadFile(file);
            try {
                return parse(text);
            } catch (const std::invalid_argument &error) {
                throw std::invalid_argument(file + ": " + error.what());
            }
        };
        if (!options.linkage.empty()) {
            surroundings_.linkage = read(options.linkage, ReadLinkageMeaning);
        }
        if (!options.devices.empty()) {
            surroundings_.devices = read(options.devices, ReadDevices);
        }
        if (!options.effects.empty()) {
            surroundings_.effects = read(options.effects, ReadEffects);
        }
    }

    int Run() {
        int code = EXIT_SUCCESS;
        for (const std::string &file : options_.files) {
            code = std::max(code, CheckFile(file));
        }
        return code;
    }

private:
    int CheckFile(const std::string &file) {
        const std::string name = ShownName(file);
        try {
            const Found found = FindRules(ReadRulesFile(file));
            if (found.values.empty() && found.unreadable.empty()) {
                throw std::invalid_argument(name + ": no line gives the device rules");
            }
            for (const std::string &reason : found.unreadable) {
                Say(std::string(name).append(":").append(reason));
            }
            int code = found.unreadable.empty() ? EXIT_SUCCESS : kExitUsage;
            for (const RuleValue &value : found.values) {
                code = std::max(code, CheckValue(value, name));
            }
            return code;
        } catch (const std::invalid_argument &error) {
            Say(error.what());
        }
        return kExitUsage;
    }

    int CheckValue(const RuleValue &value, const std::string &file) {
        const std::vector<Finding> findings = CheckRules(value.text, surroundings_);
        int code = EXIT_SUCCESS;
        for (const Finding &finding : findings) {
            Print(InFile(finding, value), file);
            code = finding.what != FindingClass::note ? kExitFindings : code;
        }
        const Device::Outcome outcome = device_.Give(value.text);
        if (outcome.result == 0 && !outcome.written) {
            Say(file + ": too many rules for the device to report them; what it holds was not compared");
        }
        const std::string difference = Disagreement(value.text, findings, outcome.result, outcome.written);
        if (difference.empty()) {
            return code;
        }
        Say(file + ':' + std::to_string(value.line) + ": internal error: " + difference);
        return kExitDisagrees;
    }

    void Print(const Finding &finding, const std::string &file) const {
        std::string line;
        if (options_.json) {
            Json json = {{"file", file}};
            json.update(ToJson(finding));
            line = Dump(json);
        } else {
            line = ToText(finding, file);
        }
        puts(line.c_str());
    }

    const CheckOptions &options_;
    const Device device_;
    Surroundings surroundings_;
};

} // namespace

int RunCheck(const CheckOptions &options) {
    try {
        if (std::count(options.files.begin(), options.files.end(), kStandardInput) > 1) {
            throw std::invalid_argument("-: the standard input can be read once only");
        }
        const int code = Check(options).Run();
        const bool flushed = fflush(stdout) == 0;
        if (flushed && ferror(stdout) == 0) { // what failed before is not told again
            return code;
        }
        Say(std::string("standard output: ") + (flushed ? "not all could be written" : strerror(errno)));
        return std::max(code, kExitUsage);
    } catch (const std::exception &error) {
        Say(error.what());
        return kExitUsage;
    }
}

std::string ToText(const Finding &finding, const std::string &file) {
    // Without what a terminal would not show, and without the quotation marks.
    const std::string pointer = Dump(finding.pointer);
    return Printable(file) + ':' + std::to_string(finding.line) + ':' + std::to_string(finding.column) +
           ": " + Name(finding.what) +
           (finding.pointer.empty() ? "" : ' ' + pointer.substr(1, pointer.size() - 2)) + ": " + finding.text;
}

Json ToJson(const Finding &finding) {
    return {{"line", finding.line},
            {"column", finding.column},
            {"class", Name(finding.what)},
            {"pointer", finding.pointer},
            {"text", finding.text}};
}

} // namespace tqgateway
