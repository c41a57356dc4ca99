// SPDX-License-Identifier: Apache-2.0
/// @file bench.h
/// What is measured: cases, each with contestants that do the same work, and what a run found.
#ifndef BENCH_H
#define BENCH_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tqDevSDK_SmartControl_def.h"

// ---- Cases (messages, rules, peers) ----

/// One way to handle a message.
struct Contestant {
    const char *name;                           ///< "module", "floor", "host" or a peer.
    std::function<void()> run;                  ///< Handles one message.
    std::function<void(unsigned)> prepare = {}; ///< Before that many messages; not measured.
};
using Contestants = std::vector<Contestant>;

/// Contestants that do the same work.
struct Case {
    std::string name;
    double limit;   ///< Module to floor, at most; 0: none is set.
    unsigned rules; ///< Size of a rule set; 0 for the other messages.
    std::function<Contestants()> set_up;
    double nlohmann = 0; ///< nlohmann/json to module, at least; 0: none is set.
};
using Cases = std::vector<Case>;

/// All cases in the order of the tables.
Cases MessageCases();
Cases RuleCases();

// ---- Around the module (application) ----

/// What the device application does; empty: it accepts a message, and answers no query.
extern std::function<void(const tqDevSDK_SmartControl_msg_to_dev &)> g_on_message;
extern std::function<int(tqDevSDK_SmartControl_runtime_info &)> g_on_query;

/// Initialises the module in the stand-in host, with the log off.
void InitModule();

/// Shows the text that a contestant made; the empty host shows what the module sent. Nothing happens but
/// while the contestants are compared.
void Show(const char *text);
bool Showing();

/// Runs every contestant once. The texts that they show have to be equal, as JSON values or as texts; a
/// contestant without a text is not compared.
void Compare(const Contestants &contestants);

/// Ends the program when something that is measured did not happen.
void Need(bool happened, const char *what);

// ---- Measuring, in a process of its own for each case (time, memory) ----

using Figures = std::map<std::string, double>;

/// Makes the heap alike for whoever is measured next: it never gives memory back and maps only the largest
/// blocks by themselves; what was freed is joined. Without that, the order in which one contestant freed its
/// small blocks moves the next one's times by half.
void FixHeap();

/// What one program finds out about each contestant: "ns" and, in cases with a floor, "ratio" to it, or
/// "allocations" and "peak" (bytes); all for one message.
std::vector<Figures> Measure(const Contestants &contestants);

// ---- Reporting (report) ----

/// Figures by contestant.
using Measured = std::map<std::string, Figures>;
/// The same for each case.
using Results = std::map<std::string, Measured>;

/// Whether a case is beyond a limit that it sets.
bool IsBroken(const Case &item, const Measured &measured);

void PrintMessages(const Results &results);
void PrintRules(const Results &results);
bool WritePlot(const char *path, const Results &results);

#endif
