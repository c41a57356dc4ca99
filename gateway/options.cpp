// SPDX-License-Identifier: Apache-2.0
// The command line, its help, and what is wrong with an option.
#include "options.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <regex>

#include <CLI/CLI.hpp>

#include "names.h"

namespace tqgateway {
namespace {

constexpr const char *kDescription = "Runs the smart control module between a platform and a virtual hub.\n"
                                     "Takes JSON Lines and shows every message that crosses.";

constexpr const char *kFooter = R"(Examples:
  A script, and lines from a pipe or the keyboard:
    tq_gateway --script tour.jsonl
    echo '{"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{}}}' | tq_gateway --json
    echo '{"report":"event","channel":1,"value":5}' | tq_gateway --text --log error
  A platform behind an MQTT broker; lines go to tq/HUB1/down, answers come from tq/HUB1/up:
    tq_gateway --mqtt localhost --serial HUB1
    tq_gateway --mqtt broker.example:8883 --ca-file ca.pem --serial HUB1 --user hub --password-file secret
    mosquitto_sub -t 'tq/HUB1/#' -v
    mosquitto_pub -t tq/HUB1/down -q 1 -m '{"status_pass":true}'
  What happened, kept and compared; the first and the last of these record the tour anew:
    tq_gateway --script gateway/scenarios/tour.jsonl --record gateway/scenarios/tour.recorded.jsonl
    tq_gateway replay gateway/scenarios/tour.recorded.jsonl
    tq_gateway replay --update gateway/scenarios/tour.recorded.jsonl

Exit codes:
  0  ended: by the end of the input, SIGINT, SIGTERM or the reader of the output; a replay without difference
  1  failed: the module cannot be loaded, output cannot be written, a replay differs
  2  wrong options, or a file that cannot be read

SIGINT (Ctrl-C) and SIGTERM stop the module first, then the program.)";

constexpr std::size_t kLongestSerial = 64;
constexpr int kPlainPort = 1883;
constexpr int kTlsPort = 8883;

/// What is wrong with a serial; empty for a good one. It becomes part of topics.
std::string CheckSerial(const std::string &serial) {
    const bool plain = std::all_of(serial.begin(), serial.end(), [](unsigned char c) {
        return c < 0x80 && (std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.' || c == ':');
    });
    return plain && !serial.empty() && serial.size() <= kLongestSerial
               ? std::string()
               : "expected up to 64 letters, digits, '-', '_', '.' and ':'";
}

/// Reads HOST, HOST:PORT, [ADDRESS] or [ADDRESS]:PORT; port 0 where none is given. Empty when all is well.
std::string ReadBroker(const std::string &text, MqttOptions &mqtt) {
    static const std::regex kBroker(R"((?:([^:[\]]+)|\[([^[\]]+)\])(?::([0-9]{1,5}))?)");
    std::smatch match;
    if (std::regex_match(text, match, kBroker)) {
        mqtt.host = match[1].matched ? match[1] : match[2];
        mqtt.port = match[3].matched ? std::stoi(match[3]) : 0;
        if (mqtt.port <= 65535 && (mqtt.port > 0 || !match[3].matched)) {
            return {};
        }
    }
    return "expected HOST or HOST:PORT, an IPv6 address in brackets";
}

void AddMqtt(CLI::App &app, MqttOptions &mqtt) {
    auto *broker = app.add_option_function<std::string>(
        "--mqtt", [](const std::string &) {}, "Take lines from a broker instead, and send them there, too");
    broker->type_name("HOST[:PORT]")
        ->check([&mqtt](const std::string &text) { return ReadBroker(text, mqtt); }, "");
    auto *serial =
        app.add_option("--serial", mqtt.serial, "The name that sets this gateway apart on the broker")
            ->type_name("NAME")
            ->check(CheckSerial, "")
            ->needs(broker);
    broker->needs(serial);
    auto *user =
        app.add_option("--user", mqtt.user, "Log on to the broker as NAME")->type_name("NAME")->needs(broker);
    app.add_option("--password-file", mqtt.password_file, "The password is the first line of FILE")
        ->type_name("FILE")
        ->needs(user);
    app.add_option("--ca-file", mqtt.ca_file, "Use TLS, and trust the certificates in FILE")
        ->type_name("FILE")
        ->needs(broker);
    app.add_option("--mqtt-queue", mqtt.queue,
                   "Keep up to N lines while the link is down, by default 1000; then drop the oldest")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000).description(""))
        ->needs(broker);
}

} // namespace

std::optional<int> ReadOptions(int argc, char **argv, Options &options) {
    std::map<std::string, int> levels;
    for (const NamedNumber &level : kLogLevels) {
        levels[level.name] = level.number;
    }
    CLI::App app(kDescription, "tq_gateway");
    app.footer(kFooter);
    auto *text = app.add_flag("--text", options.text, "Show a timeline; the default on a terminal");
    app.add_flag("--json", options.json, "Show JSON Lines; the default elsewhere")->excludes(text);
    app.add_option("--log", options.session.log,
                   "Show SDK log lines up to LEVEL: non (the default), error, warning, debug, info or 0 to 4")
        ->type_name("LEVEL")
        ->transform(CLI::CheckedTransformer(levels, CLI::ignore_case).description(""));
    auto *script =
        app.add_option("--script", options.script, "Read lines from FILE instead of the standard input")
            ->type_name("FILE");
    auto *module = app.add_option("--module", options.module,
                                  "The module to load; by default the one beside the program")
                       ->type_name("PATH");
    app.add_flag("--reset-report-all", options.session.reset_report_all,
                 "Have the linkage rules reported at start");
    auto *interval =
        app.add_option("--status-interval", options.status_interval, "Run a status pass every SECONDS")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.001, 1e6).description(""));
    app.add_option(
           "--record", options.record,
           "Write all that goes in and out to FILE; not with --status-interval, which has its own order")
        ->type_name("FILE")
        ->excludes(interval);
    MqttOptions mqtt;
    AddMqtt(app, mqtt);
    app.get_option("--mqtt")->excludes(script);

    auto *replay = app.add_subcommand("replay", "Feed a recording's inputs again and compare the outputs");
    replay->add_option("FILE", options.replay, "What --record wrote")->required();
    replay->add_flag("--update", options.replay_update,
                     "Write FILE anew with what comes out, instead of comparing; comments stay");
    for (CLI::Option *option : app.get_options()) {
        if (option != module && option != app.get_help_ptr()) {
            replay->excludes(option);
        }
    }

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kExitUsage;
    }
    if (app.count("--mqtt") > 0) {
        mqtt.port = mqtt.port > 0 ? mqtt.port : mqtt.ca_file.empty() ? kPlainPort : kTlsPort;
        options.mqtt = mqtt;
    }
    return std::nullopt;
}

} // namespace tqgateway
