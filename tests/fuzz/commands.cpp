// SPDX-License-Identifier: Apache-2.0
// Commands: the first byte selects the command, the rest is its body.
#include "harness.h"

namespace {

constexpr UINT32 kSeq = 4294967295;

// An action is answered with what became of it, when the body is JSON.
void CheckAction(const tqhost::CommandMessage *answer) {
    if (answer == nullptr) {
        Check(g_application.received == 0, "an action without an answer does not reach the device");
    } else {
        Check(ResultIn(answer->body) == (g_application.received == 1 ? 0 : -1), "the answer is the outcome");
    }
}

void CheckChime(const tqhost::CommandMessage *answer) {
    const bool done = g_application.received == 1 && g_application.accepts;
    Check((answer != nullptr) == done, "a chime is answered when it sounds");
    Check(!done || ResultIn(answer->body) == 0, "the answer of a chime is 0");
}

void CheckSignals(const tqhost::CommandMessage *answer) {
    Check(g_application.received == 0, "a query tells the device nothing");
    Check(answer == nullptr || ResultIn(answer->body) == 0, "the answer of a query is 0");
}

void CheckSetting(const tqhost::CommandMessage *answer) { Check(answer != nullptr, "a setting is answered whatever it is"); }

struct Row {
    int command;
    void (*check)(const tqhost::CommandMessage *answer);
};

constexpr Row kRows[] = {
    {20034, CheckAction}, {20036, CheckAction},  {20038, CheckAction},  {20040, CheckAction},
    {20064, CheckChime},  {20058, CheckSignals}, {18829, CheckSetting},
};

} // namespace

void Run(Input &input) {
    const Row &row = input.Select(kRows);
    tqhost::PlatformCommand command;
    command.command = row.command;
    command.seq = kSeq;
    command.body = input.TakeText();
    Check(tqhost::DeliverCommand(command), "the module takes commands");

    const auto &answers = g_sent<tqhost::CommandMessage>;
    Check(g_application.received <= 1 && answers.size() <= 1, "one command, one message, one answer");
    for (const auto &[record, body] : answers) {
        Check(record.msg_command_id == static_cast<UINT32>(row.command) + 1 && record.msg_seq == kSeq && record.msg_response == 1,
              "an answer belongs to its request");
    }
    row.check(answers.empty() ? nullptr : &answers[0]);
}
