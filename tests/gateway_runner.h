// SPDX-License-Identifier: Apache-2.0
/// @file gateway_runner.h  Programs that tests start, feed and wait for.
#ifndef GATEWAY_RUNNER_H
#define GATEWAY_RUNNER_H

#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using Lines = std::vector<std::string>;

inline std::string Joined(const Lines &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += line + '\n';
    }
    return text;
}

inline Lines Split(const std::string &text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline std::string Contents(const std::string &file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline bool Contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

inline pid_t Start(const std::string &command, int in, int out) {
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c", ("PATH=$PATH:/usr/sbin; exec " + command).c_str(), nullptr);
        _exit(127);
    }
    return pid;
}

/// The exit code; -1 for a program that a signal ended.
inline int Wait(pid_t pid) {
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Outcome {
    Lines lines;
    int code;
};

/// Runs a program on an input of any size, to its end.
inline Outcome RunProgram(const std::string &command, const std::string &input) {
    const int in = memfd_create("in", MFD_CLOEXEC);
    const int out = memfd_create("out", MFD_CLOEXEC);
    EXPECT_EQ(write(in, input.data(), input.size()), static_cast<ssize_t>(input.size()));
    lseek(in, 0, SEEK_SET);
    const int code = Wait(Start(command, in, out));
    std::string text(static_cast<std::size_t>(lseek(out, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(out, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(in);
    close(out);
    return {Split(text), code};
}

inline Outcome RunGateway(const std::string &arguments, const std::string &input) {
    return RunProgram(std::string(TQ_GATEWAY) + ' ' + arguments, input);
}

/// A program that runs beside the test, which reads what it prints. It does not outlive the object.
class Program {
public:
    explicit Program(const std::string &command) {
        int out[2] = {-1, -1};
        EXPECT_EQ(pipe2(in_, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        pid_ = Start(command + " 2>&1", in_[0], out[1]);
        close(out[1]);
        out_ = out[0];
    }

    ~Program() {
        if (pid_ > 0) {
            End(SIGKILL);
        }
        CloseOutput();
        close(in_[0]);
        close(in_[1]);
    }

    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    void Say(const std::string &text) const { EXPECT_EQ(write(in_[1], text.data(), text.size()), static_cast<ssize_t>(text.size())); }

    /// Waits until it prints a line with this in it, after those it waited for before; the line.
    std::string Await(const std::string &part) {
        const auto start = std::chrono::steady_clock::now();
        for (;;) {
            const std::size_t found = printed_.find(part, awaited_);
            const std::size_t end = printed_.find('\n', found);
            if (found != std::string::npos && end != std::string::npos) {
                const std::size_t begin = printed_.rfind('\n', found) + 1;
                awaited_ = end + 1;
                return printed_.substr(begin, end - begin);
            }
            char text[4096];
            const bool patient = std::chrono::steady_clock::now() - start < kPatience;
            const ssize_t got = patient && Readable(out_) ? read(out_, text, sizeof text) : 0;
            if (got <= 0) {
                ADD_FAILURE() << "waited in vain for: " << part << "\nafter: " << printed_;
                return {};
            }
            printed_.append(text, static_cast<std::size_t>(got));
        }
    }

    /// Sends a signal and waits for the end; the exit code.
    int End(int signal) {
        kill(pid_, signal);
        return WaitForEnd();
    }

    /// Waits for it to end by itself; the exit code.
    int WaitForEnd() {
        const int handle = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
        if (!Readable(handle)) {
            ADD_FAILURE() << "does not end";
            kill(pid_, SIGKILL);
        }
        close(handle);
        return Wait(std::exchange(pid_, -1));
    }

    /// Has it read its settings again.
    void Reload() const { kill(pid_, SIGHUP); }

    void CloseOutput() { close(std::exchange(out_, -1)); }

    pid_t Pid() const { return pid_; }

    /// All that it has printed until it was last waited for.
    const std::string &Printed() const { return printed_; }

private:
    static constexpr std::chrono::milliseconds kPatience{60'000}; // emulation is slow

    /// Waits until there is something to read; false when that takes too long.
    static bool Readable(int fd) {
        pollfd waiting = {fd, POLLIN, 0};
        return poll(&waiting, 1, static_cast<int>(kPatience.count())) == 1;
    }

    pid_t pid_ = -1;
    int in_[2] = {-1, -1};
    int out_ = -1;
    std::string printed_;
    std::size_t awaited_ = 0;
};

/// A folder for a test's files, gone with it.
class Folder {
public:
    Folder() { EXPECT_NE(mkdtemp(path_.data()), nullptr); }
    ~Folder() { RunProgram("rm -r " + path_, ""); }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string Path(const std::string &name) const { return path_ + '/' + name; }

private:
    std::string path_ = "/tmp/tq_gateway_test.XXXXXX";
};

#endif
