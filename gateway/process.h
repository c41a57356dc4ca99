// SPDX-License-Identifier: Apache-2.0
/// @file process.h  The gateway as a process: standard streams, signals, words for its user.
#ifndef TQGATEWAY_PROCESS_H
#define TQGATEWAY_PROCESS_H

#include <string>

#include "file_descriptor.h"

namespace tqgateway {

/// Keeps files opened later out of the places of standard streams that the caller closed.
void OpenStandardStreams();

/// Becomes readable at SIGINT and SIGTERM, which then do nothing else, in any thread. To be called before
/// any thread starts. A stream whose reader is gone fails from then on, instead of ending the process.
FileDescriptor OpenStopSignals();

/// A file that has reached the limit on its size fails from now on, instead of ending the process.
void FailBeyondFileSize();

/// Stops the program as a signal from outside would.
void RequestStop();

/// Says something on the standard error, on lines of its own, as a terminal may show it.
void Say(const std::string &what);

} // namespace tqgateway

#endif
