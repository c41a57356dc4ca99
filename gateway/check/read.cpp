// SPDX-License-Identifier: Apache-2.0
// Reads a rule value as the module does. One row for each key says where its value goes; the type and the
// width of that field decide how it is read and what is said of a value that does not fit.
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>
#include <variant>

#include <strings.h>

#include "SmartControl_text.h"
#include "check/rules.h"

namespace tqgateway {
namespace {

struct HeldUnit : Held<Unit> {
    std::string pointer;
};

// ---- Words ----

std::string ShortNumber(double number) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

/// What a value is, with its article.
std::string Kind(const cJSON *item) {
    switch (item->type & 0xFF) {
    case cJSON_Number:
        return "a number";
    case cJSON_String:
        return "a text";
    case cJSON_Array:
        return "an array";
    case cJSON_Object:
        return "an object";
    case cJSON_NULL:
        return "null";
    default:
        return cJSON_IsTrue(item) ? "true" : "false";
    }
}

std::string TextOf(const cJSON *item) {
    return cJSON_IsString(item) ? item->valuestring : "";
}

/// The value itself where it can be told in a word.
std::string Shown(const cJSON *item) {
    return cJSON_IsString(item)   ? Quoted(item->valuestring)
           : cJSON_IsNumber(item) ? ShortNumber(item->valuedouble)
                                  : Kind(item);
}

/// What keeps a value out of an unsigned field of so many bits.
std::string WhyNot(const cJSON *item, int bits) {
    const double number = item->valuedouble;
    if (!cJSON_IsNumber(item)) {
        return Kind(item) + " where a number is read";
    }
    if (number != std::trunc(number)) {
        return ShortNumber(number) + " has a fraction";
    }
    if (number > INT32_MAX) {
        return ShortNumber(number) + " is above 2147483647, the largest number that is read";
    }
    if (number < 0) {
        return ShortNumber(number) + " is negative";
    }
    return ShortNumber(number) + " does not fit into " + std::to_string(bits) + " bits";
}

// ---- Rows ----

class Reader;

/// A key of an object, and the field or the function that takes its value.
template <typename H>
struct Row {
    using Record = decltype(H::record);
    const char *key;
    std::variant<UINT8 Record::*, UINT16 Record::*, UINT32 Record::*, char (Record::*)[32],
                 char (Record::*)[64], void (Reader::*)(const cJSON *item, H &held)>
        target;
    const char *means; ///< What it means when the field does not hold what was sent.
    bool required = true;
};

class Reader {
public:
    Reader(Remarks &remarks, HeldRules &rules) : remarks_(remarks), rules_(rules) {}

    void Root(const cJSON *root);

private:
    void Remark(const cJSON *node, FindingClass what, std::string text, bool at_key = false) {
        remarks_.push_back({node, at_key, what, std::move(text)});
        refused_ = refused_ || what == FindingClass::refused;
    }
    void Refuse(const cJSON *node, const std::string &text) {
        Remark(node, FindingClass::refused, text + ": the whole value is refused");
    }
    void Change(const cJSON *node, std::string text) { Remark(node, FindingClass::changed, std::move(text)); }
    void ChangeKey(const cJSON *node, std::string text) {
        Remark(node, FindingClass::changed, std::move(text), true);
    }

    bool ExpectObject(const cJSON *node);
    bool ExpectArray(const cJSON *node);
    void CheckKey(const cJSON *member, const char *key, const cJSON *&found);

    template <typename H, std::size_t N>
    void Object(const cJSON *object, const Row<H> (&rows)[N], H &held);
    template <typename H, typename Field>
    void Read(const cJSON *item, const Row<H> &row, Field decltype(H::record)::*field, H &held);
    template <typename H>
    void Read(const cJSON *item, const Row<H> &, void (Reader::*read)(const cJSON *, H &), H &held) {
        (this->*read)(item, held);
    }

    template <typename Field>
    void Value(const cJSON *item, const char *means, Field &field);
    template <std::size_t N>
    void Value(const cJSON *item, const char *means, char (&field)[N]);

    template <typename Take>
    void Elements(const cJSON *array, Take take);

    void Type(const cJSON *item, HeldUnit &unit);
    void Status(const cJSON *item, HeldUnit &unit);
    void Weekdays(const cJSON *item, HeldRule &rule);
    void StartTime(const cJSON *item, HeldRule &rule);
    void EndTime(const cJSON *item, HeldRule &rule);
    void ExpectTime(const cJSON *item, const char *mark, UINT32 hour, UINT32 minute);
    void Trigger(const cJSON *item, HeldRule &rule);
    void Events(const cJSON *item, HeldRule &rule);
    void Actions(const cJSON *item, HeldRule &rule);
    void Params(const cJSON *item, Held<Action> &action);

    static const Row<HeldUnit> kUnit[3];
    static const Row<HeldRule> kRule[8];
    static const Row<HeldRule> kTrigger[3];
    static const Row<Held<Event>> kEvent[5];
    static const Row<Held<Action>> kAction[6];

    Remarks &remarks_;
    HeldRules &rules_;
    bool refused_ = false; ///< Since the rule began that is being read.
};

const Row<HeldUnit> Reader::kUnit[] = {
    {"Type", &Reader::Type, "", false},
    {"channel", &Unit::ucChannel, "the rules of another channel"},
    {"status", &Reader::Status, ""},
};

const Row<HeldRule> Reader::kRule[] = {
    {"id", &Rule::uiRuleId, "another rule in every report"},
    {"userId", &Rule::acUserId, "another user"},
    {"name", &Rule::acRuleName, "another name"},
    {"enable", &Rule::ucEnable, "where 0 is off and all else on"},
    {"weekdays", &Reader::Weekdays, ""},
    {"startTime", &Reader::StartTime, ""},
    {"endTime", &Reader::EndTime, ""},
    {"rule", &Reader::Trigger, ""},
};

const Row<HeldRule> Reader::kTrigger[] = {
    {"condition", &Rule::usCondition, "events that combine in another way"},
    {"events", &Reader::Events, ""},
    {"actions", &Reader::Actions, ""},
};

const Row<Held<Event>> Reader::kEvent[] = {
    {"domain", &Event::uiDomain, "an event of another domain"},
    {"cmdId", &Event::uiCmdId, "another event"},
    {"deviceId", &Event::acDevId, "the event of another device or of none"},
    {"channelNo", &Event::ucChannel, "the event of another channel"},
    {"value", &Event::usValue, "another value to wait for"},
};

const Row<Held<Action>> Reader::kAction[] = {
    {"domain", &Action::uiDomain, "a command of another domain"},
    {"cmdId", &Action::uiCmdId, "another command"},
    {"deviceId", &Action::acDevId, "a command to another device or to none"},
    {"channelNo", &Action::ucChannel, "a command to another channel"},
    {"delay", &Action::uiDelay, "another delay"},
    {"params", &Reader::Params, ""},
};

constexpr const char *kParamMeans = "another value in the command";

// ---- Objects and their members ----

bool Reader::ExpectObject(const cJSON *node) {
    if (!cJSON_IsObject(node)) {
        Refuse(node, Kind(node) + " where an object is expected");
    }
    return cJSON_IsObject(node) != 0;
}

bool Reader::ExpectArray(const cJSON *node) {
    if (!cJSON_IsArray(node)) {
        Refuse(node, Kind(node) + " where an array is expected");
    }
    return cJSON_IsArray(node) != 0;
}

/// Notes a member under the key that it is read as, null for none.
void Reader::CheckKey(const cJSON *member, const char *key, const cJSON *&found) {
    if (found != nullptr) {
        ChangeKey(member, "the key for the second time: only the first counts");
        return;
    }
    found = member;
    if (strcmp(member->string, key) != 0) {
        ChangeKey(member, "read as " + Quoted(key) + ", which is how the device reports it");
    }
}

template <typename H, std::size_t N>
void Reader::Object(const cJSON *object, const Row<H> (&rows)[N], H &held) {
    held.node = object;
    if (!ExpectObject(object)) {
        return;
    }
    std::array<const cJSON *, N> found{};
    for (const cJSON *member = object->child; member != nullptr; member = member->next) {
        const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Row<H> &candidate) {
            return strcasecmp(candidate.key, member->string) == 0;
        });
        if (row == std::end(rows)) {
            ChangeKey(member, "not a key of the rules: the device does not hold it");
            continue;
        }
        CheckKey(member, row->key, found[static_cast<std::size_t>(row - rows)]);
    }
    for (std::size_t i = 0; i < N; ++i) {
        if (found[i] != nullptr) {
            std::visit([&](auto target) { Read(found[i], rows[i], target, held); }, rows[i].target);
        } else if (rows[i].required) {
            Refuse(object, Quoted(rows[i].key) + " is missing");
        }
    }
}

template <typename H, typename Field>
void Reader::Read(const cJSON *item, const Row<H> &row, Field decltype(H::record)::*field, H &held) {
    Value(item, row.means, held.record.*field);
}

template <typename Field>
void Reader::Value(const cJSON *item, const char *means, Field &field) {
    field = static_cast<Field>(item->valueint);
    if (!cJSON_IsNumber(item) || item->valuedouble != static_cast<double>(field)) {
        Change(item, WhyNot(item, std::numeric_limits<Field>::digits) + ": the device holds " +
                         std::to_string(field) + ", " + means);
    }
}

template <std::size_t N>
void Reader::Value(const cJSON *item, const char *means, char (&field)[N]) {
    const std::string text = TextOf(item);
    CopyText(field, text.c_str());
    if (!cJSON_IsString(item)) {
        Change(item, Kind(item) + " where a text is read: the device holds an empty one, " + means);
    } else if (text != field) {
        Change(item, std::to_string(text.size()) + " bytes, of which " + std::to_string(N - 1) +
                         " are kept: the device holds " + Quoted(field) + ", " + means);
    }
}

/// Takes as many elements as a 16-bit count has.
template <typename Take>
void Reader::Elements(const cJSON *array, Take take) {
    const int size = cJSON_GetArraySize(array);
    const auto count = static_cast<UINT16>(size);
    if (count != size) {
        Change(array, std::to_string(size) + " elements, counted in 16 bits: the device holds " +
                          (count == 0 ? "none" : "the first " + std::to_string(count)));
    }
    const cJSON *element = array->child;
    for (UINT16 i = 0; i < count; ++i, element = element->next) {
        take(element, i);
    }
}

// ---- Values that take more than a field ----

void Reader::Root(const cJSON *root) {
    if (!ExpectArray(root)) {
        return;
    }
    if (static_cast<UINT16>(cJSON_GetArraySize(root)) == 0) {
        Refuse(root, "no unit is left in it");
    }
    Elements(root, [this](const cJSON *element, int index) {
        HeldUnit unit{};
        unit.pointer = '/' + std::to_string(index);
        Object(element, kUnit, unit);
    });
}

void Reader::Type(const cJSON *item, HeldUnit & /*unit*/) {
    if (TextOf(item) != "Global") {
        Change(item,
               Shown(item) + " is not \"Global\": the unit is not global, and the device reports no type");
    }
}

void Reader::Status(const cJSON *item, HeldUnit &unit) {
    if (!ExpectArray(item)) {
        return;
    }
    Elements(item, [&](const cJSON *element, int index) {
        const bool refused_before = std::exchange(refused_, false);
        HeldRule rule{};
        rule.pointer = unit.pointer + '/' + item->string + '/' + std::to_string(index);
        Object(element, kRule, rule);
        rule.complete = !refused_;
        refused_ = refused_ || refused_before;
        rules_.push_back(std::move(rule));
    });
}

void Reader::Weekdays(const cJSON *item, HeldRule &rule) {
    if (!ExpectArray(item)) {
        return;
    }
    bool told = false;
    int last = 0;
    bool ascending = true;
    for (const cJSON *element = item->child; element != nullptr; element = element->next) {
        const std::string text = TextOf(element);
        const auto day = static_cast<UINT16>(static_cast<UINT32>(ParseSigned(text.c_str())));
        const bool sets = day >= 1 && day <= std::size(rule.record.aucWeekDaysEn);
        if (sets) {
            rule.record.aucWeekDaysEn[day - 1] = 1;
        }
        if (!sets || text != std::to_string(day)) {
            told = true;
            Change(element, Shown(element) +
                                (sets ? " is read as day " + std::to_string(day) : " sets no day") +
                                ": days are the texts \"1\" to \"7\"");
        }
        ascending = ascending && day > last;
        last = day;
    }
    if (!told && !ascending) {
        std::string days;
        for (std::size_t i = 0; i < std::size(rule.record.aucWeekDaysEn); ++i) {
            if (rule.record.aucWeekDaysEn[i] != 0) {
                days += ' ' + std::to_string(i + 1);
            }
        }
        Change(item, "days twice or out of order: the device holds and reports" + days);
    }
}

/// Remarks a time that the device reports otherwise.
void Reader::ExpectTime(const cJSON *item, const char *mark, UINT32 hour, UINT32 minute) {
    const std::string held = mark + Time(hour, minute);
    const std::string text = TextOf(item);
    if (!cJSON_IsString(item)) {
        Change(item, Kind(item) + " where a time is read: the device holds " + held);
    } else if (WithoutPadding(text) != WithoutPadding(held)) {
        const bool misplaced = mark[0] != '\0' && text[0] != 'n';
        Change(item, Quoted(text) +
                         (misplaced ? " has an n elsewhere than in front, so that no time is found"
                                    : " is not a time and nothing else") +
                         ": the device holds " + held);
    }
}

void Reader::StartTime(const cJSON *item, HeldRule &rule) {
    ParseHourMinute(TextOf(item).c_str(), rule.record.uiStart_hour, rule.record.uiStart_min);
    ExpectTime(item, "", rule.record.uiStart_hour, rule.record.uiStart_min);
}

void Reader::EndTime(const cJSON *item, HeldRule &rule) {
    const std::string text = TextOf(item);
    rule.record.ucIsCrossDay = text.find('n') != std::string::npos ? 1 : 0;
    if (rule.record.ucIsCrossDay == 0 || text[0] == 'n') {
        ParseHourMinute(text.c_str() + rule.record.ucIsCrossDay, rule.record.uiEnd_hour,
                        rule.record.uiEnd_min);
    }
    ExpectTime(item, rule.record.ucIsCrossDay != 0 ? "n" : "", rule.record.uiEnd_hour, rule.record.uiEnd_min);
}

void Reader::Trigger(const cJSON *item, HeldRule &rule) {
    const cJSON *const node = rule.node;
    Object(item, kTrigger, rule);
    rule.node = node;
}

void Reader::Events(const cJSON *item, HeldRule &rule) {
    if (ExpectArray(item)) {
        Elements(item,
                 [&](const cJSON *element, int) { Object(element, kEvent, rule.events.emplace_back()); });
    }
}

void Reader::Actions(const cJSON *item, HeldRule &rule) {
    if (ExpectArray(item)) {
        Elements(item,
                 [&](const cJSON *element, int) { Object(element, kAction, rule.actions.emplace_back()); });
    }
}

void Reader::Params(const cJSON *item, Held<Action> &action) {
    if (!ExpectObject(item)) {
        return;
    }
    constexpr std::size_t kMost = std::extent_v<decltype(Action::ausValue)>;
    std::array<const cJSON *, kMost> found{};
    for (const cJSON *member = item->child; member != nullptr; member = member->next) {
        std::size_t i = 0;
        std::string key;
        do {
            key = "value" + std::to_string(i + 1);
        } while (strcasecmp(member->string, key.c_str()) != 0 && ++i < kMost);
        if (i < kMost) {
            CheckKey(member, key.c_str(), found[i]);
        } else {
            ChangeKey(member, "not one of \"value1\" to \"value16\": the device does not hold it");
        }
    }
    UINT8 &count = action.record.ucValueNum;
    for (; count < kMost && found[count] != nullptr; ++count) {
        Value(found[count], kParamMeans, action.record.ausValue[count]);
    }
    for (std::size_t i = count; i < kMost; ++i) {
        if (found[i] != nullptr) {
            ChangeKey(found[i], "behind a gap, \"value" + std::to_string(count + 1) +
                                    "\" being missing: the device does not hold it");
        }
    }
}

} // namespace

std::string Time(UINT32 hour, UINT32 minute) {
    char text[32];
    snprintf(text, sizeof text, "%02d:%02d", static_cast<int>(hour), static_cast<int>(minute));
    return text;
}

std::string WithoutPadding(const std::string &time) {
    const auto is_digit = [&](std::size_t i) { return i < time.size() && time[i] >= '0' && time[i] <= '9'; };
    std::string bare;
    bool in_number = false; // behind its first digit that counts
    for (std::size_t i = 0; i < time.size(); ++i) {
        in_number = is_digit(i) && (in_number || time[i] != '0' || !is_digit(i + 1));
        if (in_number || !is_digit(i)) {
            bare += time[i];
        }
    }
    return bare;
}

HeldRules ReadHeldRules(const cJSON *root, Remarks &remarks) {
    HeldRules rules;
    Reader(remarks, rules).Root(root);
    return rules;
}

} // namespace tqgateway
