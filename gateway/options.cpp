// SPDX-License-Identifier: Apache-2.0
// The command line, its help, and what is wrong with an option.
#include "options.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <regex>

#include <CLI/CLI.hpp>

#include "lines/names.h"
#include "lines/reference.h"
#include "process.h"

namespace tqgateway {
namespace {

constexpr const char *kDescription = "Runs the smart control module between a platform and a virtual hub.\n"
                                     "Takes JSON Lines and shows every message that crosses.";

constexpr const char *kFooter = R"(Examples:
  A script, and lines from a pipe or the keyboard:
    tq_gateway --script tour.jsonl
    echo '{"command":20034,"seq":7,"body":{"delay":0,"channelNo":1,"params":{}}}' | tq_gateway --json
    echo '{"report":"event","channel":1,"value":5}' | tq_gateway --text --log error
  A platform behind an MQTT broker; lines go to tq/HUB1/down, what the device sends comes from tq/HUB1/up:
    tq_gateway --mqtt localhost --serial HUB1
    tq_gateway --mqtt broker.example:8883 --ca-file ca.pem --serial HUB1 --user hub --password-file secret
    mosquitto_sub -t 'tq/HUB1/#' -v
    mosquitto_pub -t tq/HUB1/down -q 1 -m '{"status_pass":true}'
  A page in the browser that shows it all; the address with its token is said at start:
    tq_gateway --http 8080
  What happened, kept and compared; the first and the last of these record the tour anew:
    tq_gateway --no-time --script gateway/scenarios/tour.jsonl --record gateway/scenarios/tour.recorded.jsonl
    tq_gateway replay gateway/scenarios/tour.recorded.jsonl
    tq_gateway replay --update gateway/scenarios/tour.recorded.jsonl
  Scenarios, as docs/messages.md shows them:
    tq_gateway test gateway/scenarios/*.scenario.jsonl --junit report.xml

  Your own device application, a shared library, in the place of the virtual hub:
    tq_gateway --application libpanel.so --configuration 80 --text

  What is wrong with linkage rules, before a device gets them:
    tq_gateway check rules.json
    tq_gateway check --linkage linkage.json --devices devices.json --json rules.json

  Rules that the hub carries out, and what an event would do to each of them:
    tq_gateway --text --script gateway/scenarios/evening.jsonl
    tq_gateway explain rules.json --at 2026-11-21T23:30 --event \
        '{"deviceId":"SENSOR001","domain":1100,"cmdId":5,"channelNo":1,"value":1}'

  What the lines are:
    tq_gateway help
    tq_gateway help command

Exit codes:
  0  ended: by the end of the input, SIGINT, SIGTERM or the reader of the output; a replay without difference
  1  failed: the module or the application cannot be loaded or started, or the application did something
     wrong; output cannot be written, or its reader missed lines; the broker was never reached, or lines
     that had arrived from it were not carried out; a replay differs; a scenario fails
  2  wrong options, or a file that cannot be read
  3  a line of the script was refused, or what the script expects did not come
A check ends with 0 when it finds nothing above a note, 1 when it does, 2 when it cannot be carried out, and 3 when the
module makes something else of a value than the check says.

SIGINT (Ctrl-C) and SIGTERM stop the module first, then the program.)";

constexpr std::size_t kLongestSerial = 64;
constexpr std::size_t kLongestPrefix = 200;
constexpr int kPlainPort = 1883;
constexpr int kTlsPort = 8883;

/// Whether a text consists of letters, digits and the marks given. It becomes part of topics.
bool IsPlain(const std::string &text, const std::string &marks) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](unsigned char c) {
        return c < 0x80 && (std::isalnum(c) != 0 || marks.find(static_cast<char>(c)) != std::string::npos);
    });
}

/// What is wrong with a serial; empty for a good one.
std::string CheckSerial(const std::string &serial) {
    return IsPlain(serial, "-_.:") && serial.size() <= kLongestSerial
               ? std::string()
               : "expected up to 64 letters, digits, '-', '_', '.' and ':'";
}

/// The same for a prefix of topics.
std::string CheckPrefix(const std::string &prefix) {
    return IsPlain(prefix, "-_.:/") && prefix.size() <= kLongestPrefix
               ? std::string()
               : "expected up to 200 letters, digits, '-', '_', '.', ':' and '/'";
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

/// Reads PORT, ADDRESS:PORT or [ADDRESS]:PORT. Empty when all is well.
std::string ReadListening(const std::string &text, HttpOptions &http) {
    static const std::regex kListening(R"((?:(?:([0-9.]+)|\[([0-9a-fA-F:.]+)\]):)?([0-9]{1,5}))");
    std::smatch match;
    if (!std::regex_match(text, match, kListening) || std::stoi(match[3]) > UINT16_MAX) {
        return "expected PORT or ADDRESS:PORT, the address in numbers, an IPv6 address in brackets";
    }
    http.port = static_cast<std::uint16_t>(std::stoi(match[3]));
    for (const auto &address : {match[1], match[2]}) {
        http.address = address.matched ? address.str() : http.address;
    }
    return {};
}

void AddTls(CLI::App &app, CLI::Option *broker, MqttOptions &mqtt) {
    auto *authority = app.add_option("--ca-file", mqtt.ca_file, "Use TLS, and trust the certificates in FILE")
                          ->type_name("FILE")
                          ->needs(broker);
    auto *certificate =
        app.add_option("--cert-file", mqtt.cert_file, "Show the broker the client certificate in FILE")
            ->type_name("FILE")
            ->needs(authority);
    auto *key = app.add_option("--key-file", mqtt.key_file, "The certificate's key, without a passphrase")
                    ->type_name("FILE")
                    ->needs(certificate);
    certificate->needs(key);
}

void AddSession(CLI::App &app, CLI::Option *broker, MqttOptions &mqtt) {
    const auto seconds = [](int low, int high) { return CLI::Range(low, high).description(""); };
    app.add_option("--session", mqtt.session,
                   "The broker keeps what arrives meanwhile for SECONDS without a link, by default 300; "
                   "0: every link begins anew")
        ->type_name("SECONDS")
        ->check(seconds(0, 31'536'000))
        ->needs(broker);
    app.add_option_function<int>(
           "--keepalive", [&mqtt](int value) { mqtt.keepalive = std::chrono::seconds(value); },
           "Ask for a sign of life after SECONDS of silence, by default 10, and wait for it as long")
        ->type_name("SECONDS")
        ->check(seconds(5, 65'535))
        ->needs(broker);
    app.add_option_function<int>(
           "--connect-timeout", [&mqtt](int value) { mqtt.connect_timeout = std::chrono::seconds(value); },
           "Give an attempt to connect up after SECONDS, by default 10")
        ->type_name("SECONDS")
        ->check(seconds(1, 3'600))
        ->needs(broker);
    app.add_flag(
           "--mqtt-3", mqtt.version_3,
           "Speak MQTT 3.1.1, where a broker does not know 5; it then keeps the session as long as it likes")
        ->needs(broker);
}

void AddMqtt(CLI::App &app, CLI::Option *serial, MqttOptions &mqtt) {
    auto *broker = app.add_option_function<std::string>(
        "--mqtt", [](const std::string &) {}, "Take lines from a broker instead, and send them there, too");
    broker->type_name("HOST[:PORT]")
        ->check([&mqtt](const std::string &text) { return ReadBroker(text, mqtt); }, "")
        ->needs(serial);
    auto *user =
        app.add_option("--user", mqtt.user, "Log on to the broker as NAME")->type_name("NAME")->needs(broker);
    app.add_option("--password-file", mqtt.password_file, "The password is the first line of FILE")
        ->type_name("FILE")
        ->needs(user);
    AddTls(app, broker, mqtt);
    AddSession(app, broker, mqtt);
    app.add_option("--topic-prefix", mqtt.prefix, "Begin all topics with PREFIX instead of tq")
        ->type_name("PREFIX")
        ->check(CheckPrefix, "")
        ->needs(broker);
    app.add_flag("--mqtt-log", mqtt.log_topic, "Send log lines, too, to tq/SERIAL/log")->needs(broker);
    app.add_option("--mqtt-queue", mqtt.queue,
                   "Keep up to N lines while the link is down, by default 1000; then drop the oldest")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000).description(""))
        ->needs(broker);
}

/// Of the program's options, leaves a subcommand these, before and behind its name.
void AllowOnly(CLI::App &app, CLI::App &subcommand, const std::vector<std::string> &names) {
    subcommand.fallthrough();
    for (CLI::Option *option : app.get_options()) {
        const bool allowed = option == app.get_help_ptr() ||
                             std::find(names.begin(), names.end(), option->get_name()) != names.end();
        if (!allowed) {
            subcommand.excludes(option);
        }
    }
}

/// The application's options, which all commands take.
void AddApplication(CLI::App &app, ApplicationOptions &options) {
    auto *application =
        app.add_option(
               "--application", options.path,
               "Load the device application in the shared library PATH, in the place of the virtual hub")
            ->type_name("PATH");
    app.add_option("--configuration", options.configuration, "Start the application with TEXT")
        ->type_name("TEXT")
        ->needs(application);
    app.add_option("--callback-limit", options.callback_limit,
                   "Tell when a callback of it takes longer than MS, by default 200")
        ->type_name("MS")
        ->check(CLI::Range(1, 3600000).description(""))
        ->needs(application);
}

CLI::App *AddCheck(CLI::App &app, CheckOptions &check) {
    CLI::App *command = app.add_subcommand("check", "Say everything that is wrong with linkage rules");
    command
        ->add_option("FILE", check.files,
                     "A rule value, or lines or a recording that have some; - is the standard input")
        ->required();
    command->add_flag("--json", check.json, "Show findings as JSON Lines");
    command
        ->add_option("--linkage", check.linkage,
                     "What the fields of rules mean: the configuration of the linkage")
        ->type_name("FILE");
    command->add_option("--devices", check.devices, "The serials that there are, as a JSON array")
        ->type_name("FILE");
    command->add_option("--effects", check.effects, "Which action makes which event happen, as a JSON array")
        ->type_name("FILE");
    return command;
}

CLI::App &AddExplain(CLI::App &app, ExplainOptions &explain) {
    CLI::App *command =
        app.add_subcommand("explain", "Tell for each rule whether an event would fire it, or why not");
    command
        ->add_option("FILE", explain.file, "A rule value, as the platform sends it; - is the standard input")
        ->required();
    command->add_option("--event", explain.event, "The event: deviceId, domain, cmdId, channelNo and value")
        ->type_name("JSON")
        ->required();
    command->add_option("--at", explain.at, "The local time, such as 2026-11-21T23:30")
        ->type_name("TIME")
        ->required();
    command
        ->add_option("--linkage", explain.linkage,
                     "What the rules' fields mean: the configuration of the engine")
        ->type_name("FILE");
    command->add_flag("--json", explain.json, "Show JSON Lines");
    return *command;
}

/// Reads a level by name, in any case, or by number. Throws CLI::ValidationError.
int ReadLevel(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const NamedNumber &level : kLogLevels) {
        if (text == level.name || text == std::to_string(level.number)) {
            return level.number;
        }
    }
    throw CLI::ValidationError("--log", "expected non, error, warning, debug, info or 0 to 4");
}

// ---- What is wrong, in plain words. ----

constexpr std::size_t kNearest = 3; // options or commands shown for one that is none

struct Wording {
    const char *from;
    const char *to;
};

constexpr Wording kWordings[] = {
    {R"((.*) excludes (.*))", "$1: not together with $2"},
    {R"((.*) requires (.*))", "$1: not without $2"},
    {R"((.*): Value .* not in range (.*) to (.*))", "$1: expected a number from $2 to $3"},
    {R"((.*): 1 required (.*) missing)", "$1: $2 is missing behind it"},
    {R"((.*): At Most 1 required but received .*)", "$1: expected once"},
    {R"((.*) is required)", "$1 is missing"},
};

template <typename Named>
std::vector<std::string> NamesOf(const std::vector<Named *> &rows) {
    std::vector<std::string> names;
    std::transform(rows.begin(), rows.end(), std::back_inserter(names),
                   [](const Named *row) { return row->get_name(); });
    return names;
}

/// What is wrong with the first argument that nothing takes.
std::string UnexpectedInPlainWords(const std::string &argument, const CLI::App &app) {
    const bool option = argument.front() == '-';
    const std::string name = option ? argument.substr(0, argument.find('=')) : argument;
    const std::vector<std::string> names =
        option ? NamesOf(app.get_options()) : NamesOf(app.get_subcommands({}));
    const std::vector<CLI::App *> commands = app.get_subcommands();
    if (option && std::find(names.begin(), names.end(), name) != names.end()) {
        return name + ": not behind the command";
    }
    if (!option && !commands.empty()) {
        return name + ": not expected with " + commands.front()->get_name();
    }
    return name + (option ? ": no such option, " : ": no such command, ") + Expected(name, names, kNearest);
}

std::string InPlainWords(const CLI::ParseError &error, const CLI::App &app) {
    if (dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr) {
        return UnexpectedInPlainWords(app.remaining(true).front(), app);
    }
    std::string text = error.what();
    for (const Wording &wording : kWordings) {
        text = std::regex_replace(text, std::regex(wording.from), wording.to);
    }
    for (const char *idle_digits : {R"((\.\d*?)0+\b)", R"(\.(?!\d))"}) { // of 0.001000 and 1000000.000000
        text = std::regex_replace(text, std::regex(idle_digits), "$1");
    }
    return text;
}

// ---- Help. ----

/// What an application or a command takes, for the manual page.
std::string OptionsRoff(const CLI::App &app) {
    std::string text;
    for (const CLI::Option *option : app.get_options()) {
        const std::string type = option->get_positional() ? "" : option->get_type_name();
        text += ".TP\n.B " + Roff(option->get_name(true, true) + (type.empty() ? "" : ' ' + type)) + '\n' +
                Roff(option->get_description()) + '\n';
    }
    return text;
}

std::string ManPage(const CLI::App &app) {
    std::string page = ".\\\" Made by: tq_gateway help --man\n.TH TQ_GATEWAY 1\n.SH NAME\ntq_gateway \\- run "
                       "the smart control module on a desk\n.SH SYNOPSIS\n.B tq_gateway\n[OPTIONS]\n";
    std::string commands;
    for (const CLI::App *command : app.get_subcommands({})) {
        page += ".br\n.B tq_gateway " + command->get_name() + '\n';
        page += "[OPTIONS]";
        for (const CLI::Option *option : command->get_options()) {
            if (option->get_positional()) {
                const std::string name = option->get_name(true);
                page += option->get_required() ? ' ' + name : " [" + name + ']';
                page += option->get_expected_max() > 1 ? "..." : "";
            }
        }
        page += '\n';
        commands += ".SS " + command->get_name() + '\n' + Roff(command->get_description()) + '\n' +
                    OptionsRoff(*command);
    }
    page += ".SH DESCRIPTION\n" + Roff(app.get_description()) + "\n.SH OPTIONS\n" + OptionsRoff(app) +
            ".SH COMMANDS\n" + commands;
    return page + ".SH NOTES\n.nf\n" + Roff(app.get_footer()) + "\n.fi\n.SH LINES\n" + HelpRoff();
}

struct Help {
    std::string topic;
    bool markdown = false;
    bool man = false;
};

CLI::App *AddHelp(CLI::App &app, Help &help) {
    auto *command = app.add_subcommand("help", "Tell which lines there are, or all about one");
    command->add_option("NAME", help.topic, "A line's key, what a report reports, or id");
    command->add_flag("--markdown", help.markdown, "All, for the documents");
    command->add_flag("--man", help.man, "The manual page");
    return command;
}

int ShowHelp(const Help &help, const CLI::App &app) {
    try {
        const std::string text = help.markdown ? HelpMarkdown()
                                 : help.man    ? ManPage(app)
                                               : HelpText(help.topic);
        fputs(text.c_str(), stdout);
        return EXIT_SUCCESS;
    } catch (const LineError &error) {
        Say(error.what());
        return kExitUsage;
    }
}

} // namespace

std::optional<int> ReadOptions(int argc, char **argv, Options &options) {
    CLI::App app(kDescription, "tq_gateway");
    app.footer(kFooter);
    app.set_version_flag("--version", "tq_gateway " TQ_VERSION, "Print the version and exit");
    auto *text = app.add_flag("--text", options.text, "Show a timeline; the default on a terminal");
    auto *json =
        app.add_flag("--json", options.json, "Show JSON Lines; the default elsewhere")->excludes(text);
    app.add_flag("--quiet", options.quiet, "Show nothing, where others see it: a broker, a recording")
        ->excludes(text)
        ->excludes(json);
    app.add_option_function<std::string>(
           "--log", [&](const std::string &level) { options.session.log = ReadLevel(level); },
           "Show SDK log lines up to LEVEL: non (the default), error, warning, debug, info or 0 to 4")
        ->type_name("LEVEL");
    app.add_option("--script", options.script,
                   "Read lines from FILE instead of the standard input, or before those of the broker")
        ->type_name("FILE");
    app.add_option("--module", options.module, "The module to load; by default the one beside the program")
        ->type_name("PATH");
    AddApplication(app, options.application);
    app.add_flag("--reset-report-all", options.session.reset_report_all,
                 "Have the linkage rules reported at start")
        ->excludes(app.get_option("--application"));
    app.add_flag("--explain-refusals", options.session.explain_refusals,
                 "Say what is wrong with linkage rules that are refused");
    auto *interval =
        app.add_option("--status-interval", options.status_interval, "Run a status pass every SECONDS")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.001, 1e6).description(""));
    app.add_option(
           "--record", options.record,
           "Write all that goes in and out to FILE; not with --status-interval, which has its own order")
        ->type_name("FILE")
        ->excludes(interval);
    auto *time = app.add_flag_callback(
        "--time", [&options] { options.time = true; },
        "Have each line out carry its time; by default a timeline and a recording do");
    app.add_flag_callback(
           "--no-time", [&options] { options.time = false; }, "Have none carry it")
        ->excludes(time);
    auto *serial = app.add_option("--serial", options.session.serial,
                                  "The device's serial, which also sets this gateway apart on a broker")
                       ->type_name("NAME")
                       ->check(CheckSerial, "");
    app.add_option("--linkage", options.linkage,
                   "Carry out the rules that the hub takes; FILE has what a linkage line has")
        ->type_name("FILE")
        ->excludes(app.get_option("--application"));
    HttpOptions http;
    app.add_option_function<std::string>(
           "--http", [](const std::string &) {},
           "Serve a page that shows it all, until a signal, at 127.0.0.1 or ADDRESS; 0 is a free port")
        ->type_name("[ADDRESS:]PORT")
        ->check([&http](const std::string &where) { return ReadListening(where, http); }, "");
    MqttOptions mqtt;
    AddMqtt(app, serial, mqtt);

    auto *replay = app.add_subcommand("replay", "Feed a recording's inputs again and compare the outputs");
    replay->add_option("FILE", options.replay, "What --record wrote")->required();
    replay->add_flag("--paced", options.replay_paced, "Keep the distances in time between the inputs");
    replay->add_flag("--update", options.replay_update,
                     "Write FILE anew with what comes out, instead of comparing; comments stay");
    AllowOnly(app, *replay, {"--module", "--application", "--configuration", "--callback-limit"});

    auto *test = app.add_subcommand("test", "Run scenarios: scripts that say what they expect");
    test->add_option("FILE", options.scenarios, "Scripts, each of which is played from a fresh start")
        ->required();
    test->add_option("--junit", options.junit, "Write a report to FILE, as build servers read it")
        ->type_name("FILE");
    AllowOnly(app, *test,
              {"--module", "--log", "--reset-report-all", "--explain-refusals", "--status-interval",
               "--application", "--configuration", "--callback-limit"});
    AllowOnly(app, *AddCheck(app, options.check), {"--module"});
    AllowOnly(app, AddExplain(app, options.explain), {"--module"});
    Help help;
    const CLI::App *helping = AddHelp(app, help);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == EXIT_SUCCESS) { // help and the version
            return app.exit(error);
        }
        Say(InPlainWords(error, app) + "\nRun it with --help for more.");
        return kExitUsage;
    }
    if (helping->parsed()) {
        return ShowHelp(help, app);
    }
    if (app.count("--mqtt") > 0) {
        mqtt.port = mqtt.port > 0 ? mqtt.port : mqtt.ca_file.empty() ? kPlainPort : kTlsPort;
        mqtt.serial = options.session.serial;
        mqtt.timed = options.time.value_or(false);
        options.mqtt = mqtt;
    }
    if (app.count("--http") > 0) {
        options.http = http;
    }
    return std::nullopt;
}

} // namespace tqgateway
