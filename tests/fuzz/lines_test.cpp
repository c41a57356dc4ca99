// SPDX-License-Identifier: Apache-2.0
// Mutated lines through the gateway: every one is answered or skipped, everything that comes out is JSON, and the
// recording replays. Runs for TQ_FUZZ_SECONDS, 2 unless set; a failing round keeps its lines and says where.
#include <cstdlib>
#include <filesystem>
#include <random>

#include <nlohmann/json.hpp>

#include "gateway_runner.h"

namespace {

constexpr std::size_t kLinesOfRound = 300;

const std::string kTokens[] = {"1e400",      "-1e400",
                               "4294967296", "-1",
                               "1.10",       "12345678901234567890123",
                               "null",       "true",
                               "\"\"",       "{}",
                               "[]",         "[[[[",
                               "{\"a\":",    "\\ud800",
                               "\\u0000",    "\\u009b",
                               "\xc2\x9b",   "\xe2\x80\xae",
                               "\xff",       "\xed\xa0\x80",
                               "\x1b[2J",    "\r",
                               "\t",         std::string("\0", 1),
                               "#",          ",",
                               ":",          "\"",
                               "\\",         "\"seq\":1",
                               "\"body\":2"};

/// Lines to begin with: the tour, the samples of the reference, the recorded contract.
Lines Seeds() {
    Lines seeds = Split(Contents(TQ_SCENARIOS "/tour.jsonl"));
    for (const std::string &line : RunGateway("help --markdown", "").lines) {
        if (line.rfind("{\"", 0) == 0) {
            seeds.push_back(line);
        }
    }
    for (const auto &file : std::filesystem::directory_iterator(TQ_CONTRACT)) {
        for (const std::string &line : Split(Contents(file.path()))) {
            if (line.rfind("{\"in\":{", 0) == 0) {
                seeds.push_back(line.substr(6, line.size() - 7));
            }
        }
    }
    return seeds;
}

class Mutator {
public:
    Mutator(Lines seeds, unsigned seed) : seeds_(std::move(seeds)), random_(seed) {}

    std::string Line() {
        std::string line = Pick(seeds_);
        for (std::size_t i = Below(4); i > 0; --i) {
            Change(line);
        }
        for (char &c : line) {
            c = c == '\n' ? ' ' : c;
        }
        return line;
    }

private:
    void Change(std::string &line) {
        const std::size_t at = Below(line.size() + 1);
        const std::size_t length = Below(std::min<std::size_t>(line.size() - at, 40) + 1);
        switch (Below(5)) {
        case 0:
            line.replace(at, length, kTokens[Below(std::size(kTokens))]);
            break;
        case 1:
            line.erase(at, length);
            break;
        case 2:
            line.insert(at, line.substr(at, length));
            break;
        case 3:
            line.replace(at, length, 1, static_cast<char>(Below(256)));
            break;
        default:
            const std::string &other = Pick(seeds_);
            line.replace(at, std::string::npos, other.substr(Below(other.size() + 1)));
        }
    }

    std::size_t Below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }
    const std::string &Pick(const Lines &lines) { return lines[Below(lines.size())]; }

    const Lines seeds_;
    std::mt19937 random_;
};

/// Whether a line is to be answered.
bool IsAsked(const std::string &line) {
    const std::size_t begin = line.find_first_not_of(" \t\r");
    return begin != std::string::npos && line[begin] != '#';
}

bool IsAnswer(const std::string &line) { return line.rfind("{\"result\":", 0) == 0 || line.rfind("{\"error\":", 0) == 0; }

void PlayRound(const Lines &lines, const std::string &record) {
    const Outcome outcome = RunGateway("--json --record " + record, Joined(lines));
    EXPECT_EQ(outcome.code, 0);
    for (const std::string &line : outcome.lines) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
    EXPECT_EQ(std::count_if(outcome.lines.begin(), outcome.lines.end(), IsAnswer), std::count_if(lines.begin(), lines.end(), IsAsked));
    const Outcome replay = RunGateway("replay " + record + " 2>&1", "");
    EXPECT_EQ(replay.code, 0) << Joined(replay.lines);
}

TEST(FuzzLines, AreAnsweredInJsonAndReplay) {
    const char *given = getenv("TQ_FUZZ_SECONDS");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(given == nullptr ? 2 : atoi(given));
    const unsigned seed = given == nullptr ? 1 : std::random_device()();
    Mutator mutator(Seeds(), seed);
    const Folder folder;
    std::size_t count = 0;
    do {
        Lines lines = {R"({"now":"2026-11-20T23:30:00"})"}; // what waits for the machine's time does not replay
        while (lines.size() < kLinesOfRound) {
            lines.push_back(mutator.Line());
        }
        PlayRound(lines, folder.Path("session.jsonl"));
        count += lines.size();
        if (HasFailure()) {
            const std::string kept = testing::TempDir() + "/fuzz_lines.jsonl";
            std::ofstream(kept) << Joined(lines);
            FAIL() << "seed " << seed << "; the lines are in " << kept;
        }
    } while (std::chrono::steady_clock::now() < end);
    RecordProperty("lines", static_cast<int>(count));
    printf("Fuzzing lines: %zu answered or skipped, replayed alike\n", count);
}

} // namespace
