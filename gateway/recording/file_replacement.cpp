// SPDX-License-Identifier: Apache-2.0
// Writing beside a file, under a lock, and taking its place.
#include "recording/file_replacement.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "process.h"

namespace tqgateway {
namespace {

constexpr mode_t kMode = 0644;

std::invalid_argument CannotReplace(const std::string &file) {
    return std::invalid_argument(file + ": " + strerror(errno));
}

/// Where all links lead. A file that is not there yet is where its name says.
std::string Resolved(const std::string &file) {
    char path[PATH_MAX];
    return realpath(file.c_str(), path) == nullptr ? file : path;
}

bool IsFileOf(const struct stat &status, const std::string &file) {
    struct stat named {};
    return stat(file.c_str(), &named) == 0 && named.st_dev == status.st_dev &&
           named.st_ino == status.st_ino && !S_ISCHR(named.st_mode);
}

/// A new name is lost with the power unless its folder is written, too. Some file systems cannot.
void SyncFolderOf(const std::string &file) {
    const std::size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash + 1);
    const FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    fsync(opened.Get());
}

} // namespace

bool IsSameFile(int fd, const std::string &file) {
    struct stat status {};
    return fstat(fd, &status) == 0 && IsFileOf(status, file);
}

bool IsSameFile(const std::string &other, const std::string &file) {
    struct stat status {};
    return stat(other.c_str(), &status) == 0 && IsFileOf(status, file);
}

bool AreOneFile(int fd, int other) {
    struct stat one {};
    struct stat two {};
    return fstat(fd, &one) == 0 && fstat(other, &two) == 0 && S_ISREG(one.st_mode) &&
           one.st_dev == two.st_dev && one.st_ino == two.st_ino;
}

FileReplacement::FileReplacement(const std::string &file) : target_(Resolved(file)) {
    struct stat status {};
    const bool exists = stat(target_.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        fd_ = FileDescriptor(open(target_.c_str(), O_WRONLY | O_CLOEXEC));
        if (Fd() < 0 || fcntl(Fd(), F_SETFL, O_NONBLOCK) != 0) {
            throw CannotReplace(file);
        }
        return;
    }
    if (exists) {
        locked_ = FileDescriptor(open(target_.c_str(), O_WRONLY | O_CLOEXEC));
        if (locked_.Get() < 0) {
            throw CannotReplace(file);
        }
        Lock(locked_.Get());
    }
    OpenPart();
    part_ = target_ + ".part";
    if (exists) {
        fchmod(Fd(), status.st_mode & 07777);
    }
}

void FileReplacement::Lock(int fd) const {
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        throw errno == EWOULDBLOCK ? std::invalid_argument(target_ + ": is being written by another process")
                                   : CannotReplace(target_);
    }
}

void FileReplacement::OpenPart() {
    const std::string part = target_ + ".part";
    const std::string cut = target_ + ".cut";
    for (;;) {
        fd_ = FileDescriptor(open(part.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kMode));
        if (Fd() < 0) {
            throw CannotReplace(part);
        }
        Lock(Fd());
        struct stat status {};
        if (fstat(Fd(), &status) != 0) {
            throw CannotReplace(part);
        }
        if (!IsFileOf(status, part)) {
            continue; // it took its place between the opening and the lock
        }
        if (status.st_size == 0) {
            return;
        }
        if (rename(part.c_str(), cut.c_str()) != 0) {
            throw CannotReplace(part);
        }
        Say(std::string(part)
                .append(" was left behind by a process that was killed; it is now ")
                .append(cut));
    }
}

FileReplacement::~FileReplacement() {
    if (!part_.empty() && !keep_) {
        unlink(part_.c_str());
    }
}

void FileReplacement::Commit() {
    if (part_.empty()) {
        return;
    }
    if (fsync(Fd()) != 0 || rename(part_.c_str(), target_.c_str()) != 0) {
        throw std::runtime_error(part_ + ": " + strerror(errno));
    }
    SyncFolderOf(target_);
    part_.clear();
}

void FileReplacement::Replace(const std::string &text) {
    for (std::size_t done = 0; done < text.size();) {
        pollfd ready = {Fd(), POLLOUT, 0};
        poll(&ready, 1, -1);
        const ssize_t written = write(Fd(), text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            throw std::runtime_error(Place() + ": " + strerror(errno));
        }
        done += written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    Commit();
}

} // namespace tqgateway
