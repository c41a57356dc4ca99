// SPDX-License-Identifier: Apache-2.0
// Files as a whole, and why one cannot be read.
#include "input/read_file.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include "file_descriptor.h"

namespace tqgateway {
namespace {

std::string ReadAll(int fd, const std::string &name) {
    std::string text;
    char part[65536];
    for (;;) {
        const ssize_t got = fd < 0 ? -1 : read(fd, part, sizeof part);
        if (got == 0) {
            return text;
        }
        if (got > 0) {
            text.append(part, static_cast<std::size_t>(got));
        } else if (fd < 0 || errno != EINTR) {
            throw std::invalid_argument(name + ": " + strerror(errno));
        }
    }
}

} // namespace

std::string ReadFile(const std::string &file) {
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    return ReadAll(opened.Get(), file);
}

std::string ReadRulesFile(const std::string &file) {
    return file == kStandardInput ? ReadAll(STDIN_FILENO, ShownName(file)) : ReadFile(file);
}

std::string ShownName(const std::string &file) {
    return file == kStandardInput ? "<stdin>" : file;
}

} // namespace tqgateway
