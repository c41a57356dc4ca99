// SPDX-License-Identifier: Apache-2.0
/// @file file_descriptor.h  Owns a file descriptor.
#ifndef TQGATEWAY_FILE_DESCRIPTOR_H
#define TQGATEWAY_FILE_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace tqgateway {

/// Closes its descriptor at its end. Moved from, or made of a failed call's -1, it owns none.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    int Get() const { return fd_; } ///< Negative for none.

private:
    int fd_;
};

} // namespace tqgateway

#endif
