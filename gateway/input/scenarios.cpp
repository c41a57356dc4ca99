// SPDX-License-Identifier: Apache-2.0
// Scenarios, each in a process of its own, and the report on all.
#include "input/scenarios.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <pugixml.hpp>

#include "input/script.h"
#include "output/printable.h"
#include "process.h"
#include "recording/file_replacement.h"
#include "status_thread.h"

namespace tqgateway {
namespace {

using std::chrono::steady_clock;

constexpr char kPlayed = '\0'; // behind the failures that a scenario's process tells, before an error

struct Verdict {
    std::string file;
    double seconds = 0;
    std::string failures; ///< What the scenario found wrong, line by line.
    std::string error;    ///< Why the scenario was not played to its end.

    bool Passed() const { return failures.empty() && error.empty(); }
};

// ---- The process of a scenario. ----

void PlayScenario(const Options &options, const std::string &file, const Script::Failed &failed) {
    FileDescriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.Get() < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    const FileDescriptor stop = OpenStopSignals();
    StdoutCapture captured;
    Causes causes;
    Output output(captured, {&causes});
    Application application(options.application);
    Gateway gateway(LoadWith(options.module, application), output, options.session);
    const StatusThread status(gateway, options.status_interval);
    Script script(gateway, causes, stop.Get(), "", failed);
    script.Play(std::move(fd), file);
    if (application.Misuses() > 0) {
        failed(file + ": the application did something wrong");
    }
    if (script.Stopped()) {
        throw std::runtime_error("stopped by a signal");
    }
}

/// Tells what fails, and at the end whether that is all.
int TellScenario(const Options &options, const std::string &file, int fd) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    LineWriter verdict(fd, [] {});
    std::string error;
    try {
        PlayScenario(options, file, [&](const std::string &what) { verdict.Write(what); });
    } catch (const std::system_error &failure) {
        error = file + ": " + failure.code().message();
    } catch (const std::exception &failure) {
        error = file + ": " + failure.what();
    }
    verdict.Write(kPlayed + error);
    return verdict.Error() == 0 ? EXIT_SUCCESS : kExitFailed;
}

// ---- The process of all. ----

std::string ReadAll(int fd) {
    std::string text;
    char part[4096];
    for (ssize_t got = 0; (got = read(fd, part, sizeof part)) != 0;) {
        if (got > 0) {
            text.append(part, static_cast<std::size_t>(got));
        } else if (errno != EINTR) {
            break;
        }
    }
    return text;
}

std::string WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        return std::string("was ended by a signal: ") + strsignal(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "ended with code " + std::to_string(WEXITSTATUS(status));
}

Verdict RunScenario(const Options &options, const std::string &file) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const FileDescriptor told(ends[0]);
    FileDescriptor tells(ends[1]);
    const auto start = steady_clock::now();
    fflush(stdout); // not to be printed twice
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid == 0) {
        exit(TellScenario(options, file, tells.Get()));
    }
    tells = FileDescriptor();

    Verdict verdict;
    verdict.file = file;
    std::string told_text = ReadAll(told.Get());
    const std::string end = WaitFor(pid);
    verdict.seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    if (const std::size_t played = told_text.rfind(kPlayed); played != std::string::npos) {
        verdict.error = told_text.substr(played + 1, told_text.size() - played - 2);
        told_text.resize(played);
    } else if (end.empty()) {
        verdict.error = file + ": the process ended before the scenario";
    }
    if (!end.empty()) {
        verdict.error = file + ": the process " + end;
    }
    verdict.failures = std::move(told_text);
    return verdict;
}

std::string SecondsText(double seconds) {
    char text[32];
    snprintf(text, sizeof text, "%.3f", seconds);
    return text;
}

void Print(const Verdict &verdict) {
    printf("%s  %s  %s s\n", verdict.Passed() ? "ok  " : "FAIL", Printable(verdict.file).c_str(),
           SecondsText(verdict.seconds).c_str());
    std::istringstream lines(verdict.failures + verdict.error);
    for (std::string line; std::getline(lines, line);) {
        printf("      %s\n", Printable(line).c_str());
    }
    fflush(stdout);
}

/// The text with what XML cannot hold replaced.
std::string XmlSafe(const std::string &text) {
    constexpr const char *kReplacement = "\xef\xbf\xbd";
    std::string safe;
    for (const char c : AsText(Json::parse(Dump(text)))) { // without what is not UTF-8
        const bool allowed = static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t';
        safe += allowed ? std::string(1, c) : kReplacement;
    }
    for (const char *noncharacter : {"\xef\xbf\xbe", "\xef\xbf\xbf"}) {
        for (std::size_t at = 0; (at = safe.find(noncharacter, at)) != std::string::npos;) {
            safe.replace(at, strlen(noncharacter), kReplacement);
        }
    }
    return safe;
}

void AddProblem(pugi::xml_node test, const char *kind, const std::string &text) {
    if (!text.empty()) {
        pugi::xml_node problem = test.append_child(kind);
        problem.append_attribute("message") = XmlSafe(text.substr(0, text.find('\n'))).c_str();
        problem.text() = XmlSafe(text).c_str();
    }
}

/// The report in the form that build servers read.
std::string JunitReport(const std::vector<Verdict> &verdicts) {
    pugi::xml_document document;
    pugi::xml_node suite = document.append_child("testsuites").append_child("testsuite");
    int failures = 0;
    int errors = 0;
    double seconds = 0;
    for (const Verdict &verdict : verdicts) {
        pugi::xml_node test = suite.append_child("testcase");
        test.append_attribute("name") = XmlSafe(verdict.file).c_str();
        test.append_attribute("classname") = "scenario";
        test.append_attribute("time") = SecondsText(verdict.seconds).c_str();
        AddProblem(test, "failure", verdict.failures);
        AddProblem(test, "error", verdict.error);
        failures += verdict.failures.empty() ? 0 : 1;
        errors += verdict.error.empty() ? 0 : 1;
        seconds += verdict.seconds;
    }
    suite.append_attribute("name") = "tq_gateway";
    suite.append_attribute("tests") = static_cast<unsigned>(verdicts.size());
    suite.append_attribute("failures") = failures;
    suite.append_attribute("errors") = errors;
    suite.append_attribute("time") = SecondsText(seconds).c_str();
    std::ostringstream text;
    document.save(text, "  ");
    return text.str();
}

} // namespace

int RunScenarios(const Options &options) {
    const auto report = options.junit.empty() ? nullptr : std::make_unique<FileReplacement>(options.junit);
    std::vector<Verdict> verdicts;
    std::size_t failed = 0;
    for (const std::string &file : options.scenarios) {
        verdicts.push_back(RunScenario(options, file));
        Print(verdicts.back());
        failed += verdicts.back().Passed() ? 0 : 1;
    }
    if (report) {
        report->Replace(JunitReport(verdicts));
    }
    if (failed > 0) {
        Say(std::to_string(failed) + " of " + std::to_string(verdicts.size()) + " scenarios failed");
    }
    return failed > 0 ? kExitFailed : EXIT_SUCCESS;
}

} // namespace tqgateway
