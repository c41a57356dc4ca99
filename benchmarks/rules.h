// SPDX-License-Identifier: Apache-2.0
/// @file rules.h
/// Rule sets, and the mapping between them and their JSON form as one would write it with other libraries.
#ifndef BENCH_RULES_H
#define BENCH_RULES_H

#include <cstddef>

#include "tqDevSDK_SmartControl_def.h"

using Rules = tqDevSDK_SmartControl_ConfigRules;
using Unit = tqDevSDK_SmartControl_ConfigRules_ValueUnit;
using Rule = tqDevSDK_SmartControl_ConfigRules_RuleUnit;
using Event = tqDevSDK_SmartControl_ConfigRule_Events;
using Action = tqDevSDK_SmartControl_ConfigRule_Actions;

/// A set on the heap with all its arrays freed.
void FreeRules(Rules *rules);

/// What the application does with a set that is lent to it.
void Receive(const Rules &rules);

/// Reads a text into records, hands these to Receive and frees them.
void NlohmannParse(const char *text);
void RapidParse(const char *text);

/// Writes the set as formatted text into the buffer and frees it; the length of the text.
std::size_t NlohmannGenerate(Rules *rules, char *buffer);
std::size_t RapidGenerate(Rules *rules, char *buffer);

#endif
