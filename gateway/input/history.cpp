// SPDX-License-Identifier: Apache-2.0
// One line each; a file that grew long is cut when it is read.
#include "input/history.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include "file_descriptor.h"

namespace tqgateway {
namespace {

constexpr std::size_t kKept = 1000;

std::string StateFolder() {
    const char *state = getenv("XDG_STATE_HOME");
    const char *home = getenv("HOME");
    if (state != nullptr && *state == '/') {
        return state;
    }
    return home == nullptr || *home == '\0' ? std::string() : std::string(home) + "/.local/state";
}

/// False when not all could be written, such as on a full disk.
bool WriteAll(const std::string &path, int flags, const std::string &text) {
    const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600));
    return file.Get() >= 0 &&
           write(file.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

} // namespace

HistoryFile::HistoryFile() {
    const std::string state = StateFolder();
    std::error_code error;
    if (!state.empty()) {
        std::filesystem::create_directories(state + "/tq_gateway", error);
        path_ = state + "/tq_gateway/history";
    }
}

std::vector<std::string> HistoryFile::Read() const {
    std::vector<std::string> lines;
    std::ifstream stream(path_);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    if (lines.size() <= kKept) {
        return lines;
    }
    const bool long_file = lines.size() > 2 * kKept;
    lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(kKept));
    if (long_file) {
        std::string text;
        for (const std::string &line : lines) {
            text += line + '\n';
        }
        const std::string shorter = path_ + ".new";
        std::error_code error;
        if (WriteAll(shorter, O_TRUNC, text)) {
            std::filesystem::rename(shorter, path_, error);
        } else {
            std::filesystem::remove(shorter, error);
        }
    }
    return lines;
}

void HistoryFile::Append(const std::string &line) const {
    if (!path_.empty()) {
        WriteAll(path_, O_APPEND, line + '\n');
    }
}

} // namespace tqgateway
