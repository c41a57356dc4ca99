// SPDX-License-Identifier: Apache-2.0
/// @file replay.h  Plays recordings again.
#ifndef TQGATEWAY_RECORDING_REPLAY_H
#define TQGATEWAY_RECORDING_REPLAY_H

#include <string>

#include "module.h"

namespace tqgateway {

/// Feeds a recording's inputs to a gateway of its own and compares what comes out, times aside. Empty when
/// all is equal, else the first difference for a person to read. `paced` keeps the distances in time between
/// the inputs. Throws std::invalid_argument for a file that holds no recording, an event that nobody
/// understands included, and when times are wanted that it does not have; std::runtime_error when the module
/// cannot be initialised.
std::string Replay(const std::string &file, const Module &module, bool paced);

/// Feeds a recording's inputs likewise, and writes the file anew with the inputs, their times and the
/// comments as they are, and what comes out, without times. Throws as Replay does, and std::runtime_error
/// when the file cannot be written; in any case it stays as it was then.
void RecordAnew(const std::string &file, const Module &module, bool paced);

} // namespace tqgateway

#endif
