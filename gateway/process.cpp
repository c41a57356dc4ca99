// SPDX-License-Identifier: Apache-2.0
// What the gateway asks of the operating system for the process as a whole.
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "output/printable.h"

namespace tqgateway {

void OpenStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    close(fd);
}

void FailBeyondFileSize() {
    signal(SIGXFSZ, SIG_IGN);
}

FileDescriptor OpenStopSignals() {
    signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    FileDescriptor stop(signalfd(-1, &signals, SFD_CLOEXEC));
    if (stop.Get() < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    return stop;
}

void RequestStop() {
    kill(getpid(), SIGTERM);
}

void Say(const std::string &what) {
    std::string shown = "tq_gateway: ";
    for (std::size_t begin = 0; begin <= what.size();) {
        const std::size_t end = std::min(what.find('\n', begin), what.size());
        shown += Printable(std::string_view(what).substr(begin, end - begin)) + '\n';
        begin = end + 1;
    }
    fputs(shown.c_str(), stderr);
}

} // namespace tqgateway
