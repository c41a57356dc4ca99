// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_func_signal.h
/// The query of signal strengths.
#ifndef SMARTCONTROL_FUNC_SIGNAL_H
#define SMARTCONTROL_FUNC_SIGNAL_H

#include "tqdev_sdk_types.h"

/// Serves the query of how well the chimes and the router are heard, and answers it itself; always 0. A
/// request that is not JSON is not answered, nor is one without a callback or without memory for the answer.
int QueryChimeSignalReq(const char *req, int req_len, UINT32 seq);

#endif
