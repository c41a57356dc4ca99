// SPDX-License-Identifier: Apache-2.0
/// @file file_replacement.h  A file that is there whole or not at all.
#ifndef TQGATEWAY_RECORDING_FILE_REPLACEMENT_H
#define TQGATEWAY_RECORDING_FILE_REPLACEMENT_H

#include <string>

#include "file_descriptor.h"

namespace tqgateway {

/// True when a descriptor is of the file of that name. Character devices are never: what is written to a
/// terminal does not come back.
bool IsSameFile(int fd, const std::string &file);
bool IsSameFile(const std::string &other, const std::string &file);

/// True when two descriptors are of one regular file.
bool AreOneFile(int fd, int other);

/// Writes FILE.part beside FILE, which becomes FILE when all is written; until then FILE stays as it was.
/// Both are locked meanwhile, so that one process at a time replaces FILE, by whatever name. A FILE.part that
/// was left behind by a process that was killed becomes FILE.cut. What is no regular file, such as a pipe, is
/// written itself, once it has a reader.
class FileReplacement {
public:
    /// Throws std::invalid_argument, which names the file, when it cannot be replaced or somebody does so.
    explicit FileReplacement(const std::string &file);

    /// Removes FILE.part, unless it is committed or to be kept.
    ~FileReplacement();

    FileReplacement(const FileReplacement &) = delete;
    FileReplacement &operator=(const FileReplacement &) = delete;

    int Fd() const { return fd_.Get(); } ///< To write to; a pipe or a device does not block.

    /// From now on, what was written stays in FILE.part if it cannot be committed.
    void Keep() { keep_ = true; }
    bool IsKept() const { return keep_; }

    /// Makes FILE what was written, durably. Throws std::runtime_error; then FILE is as it was.
    void Commit();

    /// Writes a text and commits it. Throws likewise.
    void Replace(const std::string &text);

    /// Where that is which was written: FILE.part, or FILE once it is committed or when it is no regular
    /// file.
    const std::string &Place() const { return part_.empty() ? target_ : part_; }

private:
    void OpenPart();
    void Lock(int fd) const;

    std::string target_; ///< The file itself, where FILE is a link to it.
    std::string part_;   ///< Empty: none, or none any more.
    bool keep_ = false;
    FileDescriptor locked_; ///< The file as it was, if it was there.
    FileDescriptor fd_;
};

} // namespace tqgateway

#endif
