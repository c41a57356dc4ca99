// SPDX-License-Identifier: Apache-2.0
// Traces and reasons in words.
#include <cstdarg>
#include <cstdio>

#include "Linkage_engine.h"

namespace {

// A text that is cut where its room ends.
class Text {
public:
    Text(char *text, std::size_t size) : text_(text), size_(size) {}

    __attribute__((format(printf, 2, 3))) void Add(const char *format, ...) {
        const std::size_t at = length_ < size_ ? length_ : size_;
        va_list arguments;
        va_start(arguments, format);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it was started
        length_ += static_cast<std::size_t>(vsnprintf(text_ + at, size_ - at, format, arguments));
        va_end(arguments);
    }
    std::size_t Length() const { return length_; }

private:
    char *text_;
    std::size_t size_;
    std::size_t length_ = 0;
};

void AddTime(Text &text, UINT32 minute) {
    const UINT32 hour = Sixtieth(minute);
    text.Add("%02u:%02u", hour, minute - hour * 60);
}

// A period as rules are written: an end on the next day stands behind an n.
void AddPeriod(Text &text, UINT32 period) {
    const UINT32 end = period & 0xFFFF;
    const bool next_day = end > kMinutesOfDay;
    AddTime(text, period >> 16);
    text.Add(next_day ? " to n" : " to ");
    AddTime(text, next_day ? end - kMinutesOfDay : end);
}

void AddDays(Text &text, UINT32 wanted, UINT32 got) {
    if (wanted == 0) {
        text.Add("no day is set");
        return;
    }
    text.Add("day %u is not among", got);
    for (unsigned day = 0; day < 7; ++day) {
        if ((wanted >> day & 1U) != 0) {
            text.Add(" %u", day + 1);
        }
    }
}

// What became of the rule, before the verdict says why.
const char *PrefixOf(UINT8 verdict) {
    if (verdict >= TQDEVSDK_LINKAGE_VERDICT_OTHER_DOMAIN && verdict < TQDEVSDK_LINKAGE_VERDICT_MAX) {
        return "misses: ";
    }
    const bool held = verdict >= TQDEVSDK_LINKAGE_VERDICT_VALUE && verdict <= TQDEVSDK_LINKAGE_VERDICT_CHAIN;
    return held ? "held: " : "";
}

void AddVerdict(Text &text, const Trace &entry) {
    const unsigned item = entry.usItem + 1U;
    const unsigned wanted = entry.uiWanted;
    const unsigned got = entry.uiGot;
    switch (entry.ucVerdict) {
    case TQDEVSDK_LINKAGE_VERDICT_NONE:
        return text.Add("saw no event");
    case TQDEVSDK_LINKAGE_VERDICT_VALUE:
        return text.Add("event %u has value %u, not %u", item, got, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_DISABLED:
        return text.Add("it is disabled");
    case TQDEVSDK_LINKAGE_VERDICT_PERIOD_INVALID:
        return text.Add("%02u:%02u is no time of day", got >> 16, got & 0xFFFF);
    case TQDEVSDK_LINKAGE_VERDICT_PERIOD_EMPTY:
        text.Add("the period ");
        AddPeriod(text, wanted);
        return text.Add(" is empty");
    case TQDEVSDK_LINKAGE_VERDICT_CLOCK_NOT_SET:
        return text.Add("the clock is not set");
    case TQDEVSDK_LINKAGE_VERDICT_PERIOD:
        AddTime(text, got);
        text.Add(" is not within ");
        return AddPeriod(text, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_DAY:
        return AddDays(text, wanted, got);
    case TQDEVSDK_LINKAGE_VERDICT_CONDITION:
        return text.Add("condition %u is not configured", got);
    case TQDEVSDK_LINKAGE_VERDICT_NEVER_SEEN:
        return text.Add("event %u was not seen yet", item);
    case TQDEVSDK_LINKAGE_VERDICT_OTHER_VALUE:
        return text.Add("event %u has value %u, not %u", item, got, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_TOO_OLD:
        return text.Add("event %u is %u ms old, more than %u", item, got, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_COOLDOWN:
        return text.Add("it fired %u ms ago and rests %u", got, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_CHAIN:
        return text.Add("%u rules are before it in the chain, more than %u", got, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_FIRED:
        return text.Add("fired: event %u has value %u", item, got);
    case TQDEVSDK_LINKAGE_VERDICT_DELAYED:
        return text.Add("action %u waits %u ms", item, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_RUN:
        return text.Add("action %u runs", item);
    case TQDEVSDK_LINKAGE_VERDICT_RESULT:
        return text.Add("action %u ended with result %u", item, got);
    case TQDEVSDK_LINKAGE_VERDICT_UNDONE:
        return text.Add("action %u undone: its device %s", item, got == 0 ? "is not reachable" : "cannot");
    case TQDEVSDK_LINKAGE_VERDICT_QUEUE_FULL:
        return text.Add("action %u undone: %u wait or run", item, wanted);
    case TQDEVSDK_LINKAGE_VERDICT_DROPPED:
        return text.Add("action %u dropped: new rules do not have it", item);
    case TQDEVSDK_LINKAGE_VERDICT_OTHER_DOMAIN:
        return text.Add("event %u has domain %u, not %u", item, wanted, got);
    case TQDEVSDK_LINKAGE_VERDICT_OTHER_COMMAND:
        return text.Add("event %u has command %u, not %u", item, wanted, got);
    case TQDEVSDK_LINKAGE_VERDICT_OTHER_CHANNEL:
        return text.Add("event %u has channel %u, not %u", item, wanted, got);
    default:
        return text.Add("unknown verdict %u", static_cast<unsigned>(entry.ucVerdict));
    }
}

} // namespace

LINKAGE_EXPORT int tqDevSDK_Linkage_TraceText(tqDevSDK_Linkage *engine, const tqDevSDK_Linkage_Trace_S *entry,
                                              char *text, size_t size) {
    if (engine == nullptr) {
        return -1;
    }
    if (entry == nullptr || text == nullptr) {
        return Fail(*engine, TQDEVSDK_LINKAGE_REASON_NULL);
    }
    const Set &set = *engine->set;
    const UINT32 index = FindRule(set, entry->uiRuleId);
    Text words(text, size);
    words.Add("rule %u ", static_cast<unsigned>(entry->uiRuleId));
    if (index != kNone) {
        words.Add("\"%.*s\" ", static_cast<int>(sizeof set.rules[index].name), set.rules[index].name);
    }
    words.Add("%s", PrefixOf(entry->ucVerdict));
    AddVerdict(words, *entry);
    return static_cast<int>(words.Length());
}

LINKAGE_EXPORT const char *tqDevSDK_Linkage_ReasonText(int reason) {
    // One behind the other: a table of pointers would have to be relocated.
    static const char texts[] = "nothing failed\0"
                                "an argument is null\0"
                                "a serial is empty, or a member's is the own one\0"
                                "the unit of delays is missing\0"
                                "the meaning of a condition is unknown, or there are more than 8\0"
                                "a condition is mapped twice\0"
                                "the second of the day or the day is out of range\0"
                                "no action has this token\0"
                                "the result is neither 0 to 255 nor CANNOT\0"
                                "an action has more than 16 values\0"
                                "there is not enough memory\0"
                                "as many members are reachable as the configuration allows\0"
                                "more actions wait or run than the configuration allows\0"
                                "effects have to be pulled first\0"
                                "there is no such trace\0"
                                "the rule set is too large\0"
                                "unknown reason";
    const bool known = reason >= 0 && reason < TQDEVSDK_LINKAGE_REASON_MAX;
    const char *text = texts;
    for (int skip = known ? reason : TQDEVSDK_LINKAGE_REASON_MAX; skip > 0; --skip) {
        text += strlen(text) + 1;
    }
    return text;
}
