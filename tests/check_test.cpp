// SPDX-License-Identifier: Apache-2.0
// tq_gateway check: what it finds, where, and that the module agrees; whatever it says of a value, it compares with
// what the module makes of it, and ends with 3 when these differ.
#include <ctime>
#include <fstream>
#include <map>
#include <set>
#include <tuple>

#include "check/check.h"
#include "gateway_runner.h"

namespace {

const std::string kEvent = R"({"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":4})";
const std::string kAction = R"({"domain":5,"cmdId":6,"deviceId":"A","channelNo":7,"params":{"value1":8,"value2":9},"delay":10})";
const std::string kRule = R"({"id":1,"userId":"U","name":"N","enable":1,"weekdays":["1","3","7"],"startTime":"07:05","endTime":"n6:30",)"
                          R"("rule":{"condition":0,"events":[)" +
                          kEvent + R"(],"actions":[)" + kAction + "]}}";
const std::string kValue = R"([{"Type":"Global","channel":2,"status":[)" + kRule + "]}]";

constexpr const char *kLinkage =
    R"({"serial":"HUB","delay_unit_ms":1000,"day_1":"Monday","condition":{"0":"any","1":"all"},"member_max":8,"period_end_open":false})";
constexpr const char *kDevices = R"(["E","A"])";
// The action 1/1 makes the event 1/2 happen with its first value, on the same channel and device.
constexpr const char *kEffects = R"([{"action":{"domain":1,"cmdId":1},"event":{"domain":1,"cmdId":2,"value":"value1"}},)"
                                 R"({"action":{"domain":1,"cmdId":7,"deviceId":"A","channelNo":3,"params":{"value1":8}},)"
                                 R"("event":{"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":4}}])";

std::string Replaced(std::string text, const std::string &from, const std::string &to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::string ReplacedAll(std::string text, const std::string &from, const std::string &to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// A text as a value of a line, whatever is in it.
std::string AsJsonText(const std::string &text) {
    std::string quoted;
    for (const char c : text) {
        char escaped[8];
        snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
        quoted += c == '"' || c == '\\' || static_cast<unsigned char>(c) < ' ' ? escaped : std::string(1, c);
    }
    return '"' + quoted + '"';
}

std::string Array(int count, const std::string &element) {
    std::string array = "[";
    for (int i = 0; i < count; ++i) {
        array += element + ',';
    }
    array.back() = ']';
    return array;
}

// ---- More rules ----

const std::string kOther = Replaced(kRule, R"("id":1)", R"("id":2)");
const std::string kDimmer = Replaced(kOther, R"("value2":9)", R"("value2":5)"); // sends something else

std::string Two(const std::string &second) { return kRule + ',' + second; }

std::string On(const std::string &days, const std::string &start, const std::string &end) {
    return Replaced(Replaced(Replaced(kDimmer, R"(["1","3","7"])", days), "07:05", start), "n6:30", end);
}

/// The rule with a further event of another channel; all are to have happened.
std::string All(const std::string &rule, int value) {
    const std::string more =
        Replaced(Replaced(kEvent, R"("channelNo":3)", R"("channelNo":4)"), R"("value":4)", R"("value":)" + std::to_string(value));
    return Replaced(Replaced(rule, kEvent, kEvent + ',' + more), R"("condition":0)", R"("condition":1)");
}

/// A rule that, when a switch has one value, gives it another.
std::string Switching(int id, int from, int to) {
    return Replaced(Replaced(Replaced(kRule, R"("id":1)", R"("id":)" + std::to_string(id)), R"("value":4)", R"("value":)" + std::to_string(from)),
                    kAction, R"({"domain":1,"cmdId":1,"deviceId":"E","channelNo":3,"params":{"value1":)" + std::to_string(to) + R"(},"delay":0})");
}

std::string Conflict(const std::string &moment) {
    return "conflict $2/rule/actions/0/params: sends 8, 5, and at the same event rule 1 \"N\" ($) sends 8, 9, for example on " + moment +
           ": the device does both, one after the other";
}

/// A kind of mistake: the value with `from` replaced by `to`, and what is said of it. In that, $ stands for the rule,
/// $e for its event, $a for its action, and $2 for a second rule.
struct Row {
    std::string from, to;
    Lines findings;
};

const std::string kRefused = ": the whole value is refused";

const Row kRows[] = {
    // ---- Nothing wrong ----
    {"", "", {}},
    // ---- Refused ----
    {kValue, "{}", {"refused: an object where an array is expected" + kRefused}},
    {kValue, "[]", {"refused: no unit is left in it" + kRefused}},
    {kValue, "[7]", {"refused /0: a number where an object is expected" + kRefused}},
    {kValue, "", {"refused: not JSON: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal" + kRefused}},
    {kValue, "[1,]", {"refused: not JSON: syntax error while parsing value - unexpected ']'; expected '[', '{', or a literal" + kRefused}},
    {kValue, std::string(1001, '['), {"refused: not JSON: nested deeper than 1000 levels" + kRefused}},
    {R"("channel":2,)", "", {R"(refused /0: "channel" is missing)" + kRefused}},
    {R"("status":[)",
     R"("stat":[)",
     {R"(refused /0: "status" is missing)" + kRefused, "changed /0/stat: not a key of the rules: the device does not hold it"}},
    {R"("status":[)" + kRule + "]", R"("status":{})", {"refused /0/status: an object where an array is expected" + kRefused}},
    {R"("id":1,)", "", {R"(refused $: "id" is missing)" + kRefused}},
    {R"("userId":"U",)", "", {R"(refused $: "userId" is missing)" + kRefused}},
    {R"("name":"N",)", "", {R"(refused $: "name" is missing)" + kRefused}},
    {R"("enable":1,)", "", {R"(refused $: "enable" is missing)" + kRefused}},
    {R"("weekdays":["1","3","7"],)", "", {R"(refused $: "weekdays" is missing)" + kRefused}},
    {R"(["1","3","7"])", R"("1")", {"refused $/weekdays: a text where an array is expected" + kRefused}},
    {R"("startTime":"07:05",)", "", {R"(refused $: "startTime" is missing)" + kRefused}},
    {R"("endTime":"n6:30",)", "", {R"(refused $: "endTime" is missing)" + kRefused}},
    {R"("rule":{"condition":0)",
     R"("Rules":{"condition":0)",
     {R"(refused $: "rule" is missing)" + kRefused, "changed $/Rules: not a key of the rules: the device does not hold it"}},
    {R"("rule":{"condition":0,"events":[)" + kEvent + R"(],"actions":[)" + kAction + "]}",
     R"("rule":[])",
     {"refused $/rule: an array where an object is expected" + kRefused}},
    {R"("condition":0,)", "", {R"(refused $/rule: "condition" is missing)" + kRefused}},
    {R"("events":[)" + kEvent + "],", "", {R"(refused $/rule: "events" is missing)" + kRefused}},
    {"[" + kEvent + "]", "{}", {"refused $/rule/events: an object where an array is expected" + kRefused}},
    {R"(,"actions":[)" + kAction + "]", "", {R"(refused $/rule: "actions" is missing)" + kRefused}},
    {R"("actions":[)" + kAction + "]", R"("actions":null)", {"refused $/rule/actions: null where an array is expected" + kRefused}},
    {R"("domain":1,)", "", {R"(refused $e: "domain" is missing)" + kRefused}},
    {R"("cmdId":2,)", "", {R"(refused $e: "cmdId" is missing)" + kRefused}},
    {R"("deviceId":"E",)", "", {R"(refused $e: "deviceId" is missing)" + kRefused}},
    {R"("channelNo":3,)", "", {R"(refused $e: "channelNo" is missing)" + kRefused}},
    {R"(,"value":4)", "", {R"(refused $e: "value" is missing)" + kRefused}},
    {R"("domain":5,)", "", {R"(refused $a: "domain" is missing)" + kRefused}},
    {R"("cmdId":6,)", "", {R"(refused $a: "cmdId" is missing)" + kRefused}},
    {R"("deviceId":"A",)", "", {R"(refused $a: "deviceId" is missing)" + kRefused}},
    {R"("channelNo":7,)", "", {R"(refused $a: "channelNo" is missing)" + kRefused}},
    {R"("delay":10)",
     R"("delays":10)",
     {R"(refused $a: "delay" is missing)" + kRefused, "changed $a/delays: not a key of the rules: the device does not hold it"}},
    {R"("params":{"value1":8,"value2":9})", R"("params":[8,9])", {"refused $a/params: an array where an object is expected" + kRefused}},
    {R"("params":{"value1":8,"value2":9},)", "", {R"(refused $a: "params" is missing)" + kRefused}},
    {kEvent, "5", {"refused $e: a number where an object is expected" + kRefused}},
    {kRule,
     R"({"status":1})",
     {R"(refused $: "id" is missing)" + kRefused, R"(refused $: "userId" is missing)" + kRefused, R"(refused $: "name" is missing)" + kRefused,
      R"(refused $: "enable" is missing)" + kRefused, R"(refused $: "weekdays" is missing)" + kRefused,
      R"(refused $: "startTime" is missing)" + kRefused, R"(refused $: "endTime" is missing)" + kRefused,
      R"(refused $: "rule" is missing)" + kRefused, "changed $/status: not a key of the rules: the device does not hold it"}},
    // ---- Changed: numbers ----
    {R"("channel":2)", R"("channel":256)", {"changed /0/channel: 256 does not fit into 8 bits: the device holds 0, the rules of another channel"}},
    {R"("channel":2)", R"("channel":-1)", {"changed /0/channel: -1 is negative: the device holds 255, the rules of another channel"}},
    {R"("id":1)",
     R"("id":2147483648)",
     {"changed $/id: 2147483648 is above 2147483647, the largest number that is read: the device holds 2147483647, another rule in every report"}},
    {R"("id":1)", R"("id":1.5)", {"changed $/id: 1.5 has a fraction: the device holds 1, another rule in every report"}},
    {R"("id":1)", R"("id":"1")", {"changed $/id: a text where a number is read: the device holds 0, another rule in every report"}},
    {R"("id":1)", R"("id":true)", {"changed $/id: true where a number is read: the device holds 1, another rule in every report"}},
    {R"("id":1)", R"("id":-1)", {"changed $/id: -1 is negative: the device holds 4294967295, another rule in every report"}},
    {R"("id":1)", R"("id":-3e9)", {"changed $/id: -3e+09 is negative: the device holds 2147483648, another rule in every report"}},
    {R"("id":1)",
     R"("id":1e400)",
     {"changed $/id: inf is above 2147483647, the largest number that is read: the device holds 2147483647, another rule in every report",
      "note: not JSON: number overflow parsing '1e400'; the module reads it all the same, others may not"}},
    {R"("id":1)", R"("id":1.0)", {}},
    {R"("id":1)", R"("id":2147483647)", {}},
    {R"("enable":1)", R"("enable":255)", {}},
    {R"("enable":1)",
     R"("enable":256)",
     {"changed $/enable: 256 does not fit into 8 bits: the device holds 0, where 0 is off and all else on",
      "note $/enable: disabled: the rule never fires"}},
    {R"("condition":0)",
     R"("condition":65536)",
     {"changed $/rule/condition: 65536 does not fit into 16 bits: the device holds 0, events that combine in another way"}},
    {R"("domain":1)", R"("domain":null)", {"changed $e/domain: null where a number is read: the device holds 0, an event of another domain"}},
    {R"("cmdId":2)", R"("cmdId":[])", {"changed $e/cmdId: an array where a number is read: the device holds 0, another event"}},
    {R"("channelNo":3)",
     R"("channelNo":259)",
     {"changed $e/channelNo: 259 does not fit into 8 bits: the device holds 3, the event of another channel"}},
    {R"("value":4)", R"("value":65540)", {"changed $e/value: 65540 does not fit into 16 bits: the device holds 4, another value to wait for"}},
    {R"("domain":5)",
     R"("domain":4294967295)",
     {"changed $a/domain: 4294967295 is above 2147483647, the largest number that is read: the device holds 2147483647, a command of another "
      "domain"}},
    {R"("cmdId":6)", R"("cmdId":-6)", {"changed $a/cmdId: -6 is negative: the device holds 4294967290, another command"}},
    {R"("channelNo":7)",
     R"("channelNo":263)",
     {"changed $a/channelNo: 263 does not fit into 8 bits: the device holds 7, a command to another channel"}},
    {R"("delay":10)",
     R"("delay":4294967295)",
     {"changed $a/delay: 4294967295 is above 2147483647, the largest number that is read: the device holds 2147483647, another delay"}},
    {R"("value2":9)",
     R"("value2":70000)",
     {"changed $a/params/value2: 70000 does not fit into 16 bits: the device holds 4464, another value in the command"}},
    // ---- Changed: texts ----
    {R"("Type":"Global")",
     R"("Type":"global")",
     {R"(changed /0/Type: "global" is not "Global": the unit is not global, and the device reports no type)"}},
    {R"("Type":"Global")", R"("Type":1)", {R"(changed /0/Type: 1 is not "Global": the unit is not global, and the device reports no type)"}},
    {R"("Type":"Global",)", "", {}},
    {R"("userId":"U")",
     R"("userId":")" + std::string(64, 'u') + R"(")",
     {R"(changed $/userId: 64 bytes, of which 63 are kept: the device holds ")" + std::string(63, 'u') + R"(", another user)"}},
    {R"("userId":"U")", R"("userId":")" + std::string(63, 'u') + R"(")", {}},
    {R"("name":"N")",
     R"("name":")" + std::string(64, 'n') + R"(")",
     {R"(changed $/name: 64 bytes, of which 63 are kept: the device holds ")" + std::string(63, 'n') + R"(", another name)"}},
    {R"("name":"N")", R"("name":5)", {"changed $/name: a number where a text is read: the device holds an empty one, another name"}},
    {R"("deviceId":"E")",
     R"("deviceId":")" + std::string(32, 'e') + R"(")",
     {R"(changed $e/deviceId: 32 bytes, of which 31 are kept: the device holds ")" + std::string(31, 'e') +
          R"(", the event of another device or of none)",
      "never $e/deviceId: not among the devices: the event never comes"}},
    {R"("deviceId":"A")",
     R"("deviceId":")" + std::string(32, 'a') + R"(")",
     {R"(changed $a/deviceId: 32 bytes, of which 31 are kept: the device holds ")" + std::string(31, 'a') +
          R"(", a command to another device or to none)",
      "never $a/deviceId: not among the devices: the action is never carried out"}},
    {R"("name":"N")", R"("name":"N\u0000M")", {"changed $/name: a NUL within a text, which ends there for the device"}},
    {R"("name")", R"("name\u0000x")", {"changed $/name: a NUL within a text, which ends there for the device"}},
    // ---- Changed: keys ----
    {R"("id":1)", R"("Id":1)", {R"(changed $/Id: read as "id", which is how the device reports it)"}},
    {R"("id":1)", R"("id":1,"ID":2)", {"changed $/ID: the key for the second time: only the first counts"}},
    {R"("id":1)", R"("id":1,"id":1)", {"changed $/id: the key for the second time: only the first counts"}},
    {R"("id":1)", R"("id":1,"note":"x")", {"changed $/note: not a key of the rules: the device does not hold it"}},
    {R"("channel":2)", R"("channel":2,"a/b~c":0)", {"changed /0/a~1b~0c: not a key of the rules: the device does not hold it"}},
    {R"("value1")", R"("VALUE1")", {R"(changed $a/params/VALUE1: read as "value1", which is how the device reports it)"}},
    {R"("value2":9)", R"("value3":9)", {R"(changed $a/params/value3: behind a gap, "value2" being missing: the device does not hold it)"}},
    {R"("value2":9)", R"("value17":9)", {R"(changed $a/params/value17: not one of "value1" to "value16": the device does not hold it)"}},
    {R"("value2":9)", R"("value1":9)", {"changed $a/params/value1: the key for the second time: only the first counts"}},
    // ---- Changed: days and times ----
    {R"(["1","3","7"])", R"(["3","1","7"])", {"changed $/weekdays: days twice or out of order: the device holds and reports 1 3 7"}},
    {R"(["1","3","7"])", R"(["1","1"])", {"changed $/weekdays: days twice or out of order: the device holds and reports 1"}},
    {R"(["1","3","7"])",
     R"(["1",3,"07","8","0","65538","2nd"])",
     {R"(changed $/weekdays/1: 3 sets no day: days are the texts "1" to "7")",
      R"(changed $/weekdays/2: "07" is read as day 7: days are the texts "1" to "7")",
      R"(changed $/weekdays/3: "8" sets no day: days are the texts "1" to "7")",
      R"(changed $/weekdays/4: "0" sets no day: days are the texts "1" to "7")",
      R"(changed $/weekdays/5: "65538" is read as day 2: days are the texts "1" to "7")",
      R"(changed $/weekdays/6: "2nd" is read as day 2: days are the texts "1" to "7")"}},
    {R"("07:05")", R"("7:5")", {}},
    {R"("07:05")", R"("007:05")", {}},
    {R"("07:05")", R"("07:05:00")", {R"(changed $/startTime: "07:05:00" is not a time and nothing else: the device holds 07:05)"}},
    {R"("07:05")", R"(" 7:05")", {R"(changed $/startTime: " 7:05" is not a time and nothing else: the device holds 07:05)"}},
    {R"("07:05")", R"("seven")", {R"(changed $/startTime: "seven" is not a time and nothing else: the device holds 00:00)"}},
    {R"("07:05")", R"("7")", {R"(changed $/startTime: "7" is not a time and nothing else: the device holds 07:00)"}},
    {R"("07:05")", "705", {"changed $/startTime: a number where a time is read: the device holds 00:00"}},
    {R"("n6:30")",
     R"("6:30n")",
     {R"(changed $/endTime: "6:30n" has an n elsewhere than in front, so that no time is found: the device holds n00:00)"}},
    {R"("n6:30")", R"("n6:30n")", {R"(changed $/endTime: "n6:30n" is not a time and nothing else: the device holds n06:30)"}},
    {R"("n6:30")", R"("nn6:30")", {R"(changed $/endTime: "nn6:30" is not a time and nothing else: the device holds n00:00)"}},
    {R"("n6:30")",
     R"("n2147483648:00")",
     {R"(changed $/endTime: "n2147483648:00" is not a time and nothing else: the device holds n2147483647:00)",
      "never $/endTime: 2147483647:00 is no time of a day: the rule never fires"}},
    // ---- Never ----
    {R"(["1","3","7"])", "[]", {"never $/weekdays: no day is set: the rule never fires"}},
    {R"("n6:30")", R"("07:04")", {"never $/endTime: not after the start, 07:05: the rule never fires; an n in front puts the end on the next day"}},
    {R"("07:05")", R"("24:01")", {"never $/startTime: 24:01 is no time of a day: the rule never fires"}},
    {R"("n6:30")", R"("23:60")", {"never $/endTime: 23:60 is no time of a day: the rule never fires"}},
    {R"("07:05")", R"("-1:00")", {"never $/startTime: -1:00 is no time of a day: the rule never fires"}},
    {R"("n6:30")", R"("24:00")", {}},
    {"[" + kEvent + "]", "[]", {"never $/rule/events: no event: the rule never fires"}},
    {R"("condition":0,"events":[)" + kEvent,
     R"("condition":2,"events":[)" + kEvent + R"(,{"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":5})",
     {"never $/rule/condition: neither any nor all: the linkage configuration does not map 2, and the rule never fires"}},
    {R"("condition":0,"events":[)" + kEvent,
     R"("condition":1,"events":[)" + kEvent + R"(,{"domain":1,"cmdId":2,"deviceId":"E","channelNo":3,"value":5})",
     {"never $/rule/events/1/value: all events count, and another wants the same to be 4: the rule never fires"}},
    {R"("condition":0,"events":[)" + kEvent,
     R"("condition":1,"events":[)" + kEvent + R"(,{"domain":1,"cmdId":2,"deviceId":"E","channelNo":4,"value":4})",
     {}},
    {R"("condition":0)", R"("condition":2)", {}},
    {R"("deviceId":"E")", R"("deviceId":"X")", {"never $e/deviceId: not among the devices: the event never comes"}},
    {R"("deviceId":"A")", R"("deviceId":"X")", {"never $a/deviceId: not among the devices: the action is never carried out"}},
    {R"("deviceId":"A")", R"("deviceId":"HUB")", {}},
    // ---- Notes ----
    {R"("enable":1)", R"("enable":0)", {"note $/enable: disabled: the rule never fires"}},
    {"[" + kAction + "]", "[]", {"note $/rule/actions: no action: the rule does nothing"}},
    {R"("n6:30")", R"("07:05")", {"note $/endTime: the period is one minute long"}},
    {R"("channel":2)",
     R"("channel":02)",
     {"note: not JSON: syntax error while parsing object - unexpected number literal; expected '}'; the module reads it all the same, others may "
      "not"}},
    {R"("name":"N")",
     "\"name\":\"a\tb\"",
     {R"(note: not JSON: syntax error while parsing value - invalid string: control character U+0009 (HT) must be escaped to \u0009 or \t; the module reads it all the same, others may not)"}},
    {kValue, "\xef\xbb\xbf\v" + kValue, {"note: not JSON: a byte order mark in front; the module reads it all the same, others may not"}},
    {kValue,
     "\x01" + kValue,
     {"note: not JSON: syntax error while parsing value - invalid literal; the module reads it all the same, others may not"}},
    {kValue, kValue + " x", {"changed: more text behind the value: the device does not get it"}},
    {kValue, kValue + "\n\n", {}},

    // ---- Counts ----
    {kValue,
     Array(65536, R"({"channel":1,"status":[]})"),
     {"refused: no unit is left in it" + kRefused, "changed: 65536 elements, counted in 16 bits: the device holds none"}},
    {kValue, Array(65537, R"({"channel":1,"status":[]})"), {"changed: 65537 elements, counted in 16 bits: the device holds the first 1"}},
    {"[" + kRule + "]", Array(65536, "1"), {"changed /0/status: 65536 elements, counted in 16 bits: the device holds none"}},
    {"[" + kRule + "]",
     "[" + kRule + ',' + Array(65536, "1").substr(1),
     {"changed /0/status: 65537 elements, counted in 16 bits: the device holds the first 1"}},
    {"[" + kEvent + "]",
     "[" + kEvent + ',' + Array(65536, "1").substr(1),
     {"changed $/rule/events: 65537 elements, counted in 16 bits: the device holds the first 1"}},
    {"[" + kAction + "]",
     Array(65536, "1"),
     {"changed $/rule/actions: 65536 elements, counted in 16 bits: the device holds none", "note $/rule/actions: no action: the rule does nothing"}},
    // ---- Two rules ----
    {kRule, Two(kOther), {"note $2: does the same as rule 1 \"N\" ($)"}},
    {kRule, Two(Replaced(kDimmer, R"("id":2)", R"("id":1)")), {"note $2/id: the same id as rule 1 \"N\" ($)", Conflict("day 1 at 00:00")}},
    {kRule, Two(kDimmer), {Conflict("day 1 at 00:00")}},
    {kRule, Two(Replaced(kDimmer, R"("value1":8,"value2":5)", "")), {ReplacedAll(Conflict("day 1 at 00:00"), "sends 8, 5", "sends no value")}},
    {kRule, Two(Replaced(kDimmer, R"("delay":10)", R"("delay":11)")), {}},
    {kRule, Two(Replaced(kDimmer, R"("value":4)", R"("value":5)")), {}},
    {kRule, Two(Replaced(kDimmer, R"("channelNo":7)", R"("channelNo":8)")), {}},
    {kRule, Two(Replaced(kDimmer, R"("enable":1)", R"("enable":0)")), {"note $2/enable: disabled: the rule never fires"}},
    {kRule, Two(On(R"(["5"])", "00:00", "n24:00")), {}},
    {kRule, Two(On(R"(["6"])", "23:59", "n07:05")), {Conflict("day 7 at 07:05")}},
    {kRule, Two(On(R"(["6"])", "23:59", "n07:04")), {}},
    {kRule, Two(On(R"(["2"])", "06:30", "06:40")), {Conflict("day 2 at 06:30")}},
    {kRule, Two(On(R"(["2"])", "06:31", "06:40")), {}},
    {kRule, Two(On(R"(["1"])", "06:30", "07:00")), {Conflict("day 1 at 06:30")}}, // what day 7 began goes on
    // All events count: each wants another last value of the third event, then only one of them.
    {kRule, All(kRule, 1) + ',' + All(kDimmer, 2), {}},
    {kRule, All(kRule, 1) + ',' + All(kDimmer, 1), {Conflict("day 1 at 00:00")}},
    {kRule, All(kRule, 1) + ',' + kDimmer, {Conflict("day 1 at 00:00")}},
    {kRule,
     All(kRule, 1) + ',' + Replaced(All(kRule, 2), R"("id":1)", R"("id":3)") + ',' + All(kDimmer, 2),
     {ReplacedAll(ReplacedAll(Conflict("day 1 at 00:00"), "$2", "/0/status/2"), "rule 1 \"N\" ($)", "rule 3 \"N\" (/0/status/1)")}},
    // ---- Loops: the action 1/1 makes the event 1/2 happen with its first value ----
    {kRule, Switching(1, 4, 4), {"loop $a: makes an event happen that sets off this rule again"}},
    {kRule, Switching(1, 4, 5), {}},
    {kRule,
     Switching(1, 4, 5) + ',' + Switching(2, 5, 4),
     {"loop $2/rule/actions/0: makes an event happen that sets off rule 1 \"N\" ($), and then this rule again"}},
    {kRule, Switching(1, 4, 5) + ',' + Switching(2, 5, 6), {}},
    {kRule,
     Switching(1, 4, 5) + ',' + Switching(2, 5, 6) + ',' + Switching(3, 6, 7) + ',' + Switching(4, 7, 8) + ',' + Switching(5, 8, 9) + ',' +
         Switching(6, 9, 4),
     {"loop /0/status/5/rule/actions/0: makes an event happen that sets off rule 1 \"N\" ($), then rule 2 \"N\" ($2), then rule 3 \"N\" "
      "(/0/status/2) "
      "and 2 more, and then this rule again"}},
    {kRule,
     Switching(1, 4, 5) + ',' + Replaced(Switching(2, 5, 4), R"("enable":1)", R"("enable":0)"),
     {"note $2/enable: disabled: the rule never fires"}},
    // Never active together; but a delay brings them together.
    {kRule, Switching(1, 4, 5) + ',' + Replaced(Switching(2, 5, 4), R"(["1","3","7"])", R"(["5"])"), {}},
    {kRule,
     Replaced(Switching(1, 4, 5), R"("delay":0)", R"("delay":1)") + ',' +
         Replaced(Replaced(Switching(2, 5, 4), R"(["1","3","7"])", R"(["5"])"), R"("delay":0)", R"("delay":1)"),
     {"loop $2/rule/actions/0: makes an event happen that sets off rule 1 \"N\" ($), and then this rule again"}},
    // An effect that wants a device, a channel and a value, and names those of the event.
    {kAction,
     Replaced(kAction, R"("domain":5,"cmdId":6,"deviceId":"A","channelNo":7)", R"("domain":1,"cmdId":7,"deviceId":"A","channelNo":3)"),
     {"loop $a: makes an event happen that sets off this rule again"}},
    {kAction, Replaced(kAction, R"("domain":5,"cmdId":6,"deviceId":"A","channelNo":7)", R"("domain":1,"cmdId":7,"deviceId":"A","channelNo":4)"), {}},
    {kAction, Replaced(kAction, R"("domain":5,"cmdId":6,"deviceId":"A","channelNo":7)", R"("domain":1,"cmdId":7,"deviceId":"E","channelNo":3)"), {}},
    {kAction, R"({"domain":1,"cmdId":7,"deviceId":"A","channelNo":3,"params":{"value1":7},"delay":0})", {}},
};

/// The files of the options, and the options.
class Options {
public:
    Options() {
        std::ofstream(folder_.Path("linkage")) << kLinkage;
        std::ofstream(folder_.Path("devices")) << kDevices;
        std::ofstream(folder_.Path("effects")) << kEffects;
    }
    std::string All() const {
        return "--linkage " + folder_.Path("linkage") + " --devices " + folder_.Path("devices") + " --effects " + folder_.Path("effects");
    }

    /// The path of a new file.
    std::string File(const std::string &name, const std::string &contents) const {
        std::ofstream(folder_.Path(name)) << contents;
        return folder_.Path(name);
    }

private:
    Folder folder_;
};

TEST(Check, FindsEveryMistakeAndTheModuleAgrees) {
    const Options options;
    std::string input;
    for (const Row &row : kRows) {
        input += R"({"shadow":"InterconnectionRule","value":)" + AsJsonText(Replaced(kValue, row.from, row.to)) + "}\n";
    }
    const Outcome outcome = RunGateway("check " + options.All() + " - 2>&1", input);
    EXPECT_EQ(outcome.code, 1);
    std::map<std::size_t, Lines> found; // by row
    for (const std::string &line : outcome.lines) {
        const std::size_t begin = line.find(": ");
        ASSERT_EQ(line.rfind("<stdin>:", 0), 0U) << line;
        found[std::stoul(line.substr(8)) - 1].push_back(line.substr(begin + 2));
    }
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        const Row &row = kRows[i];
        SCOPED_TRACE(row.from.substr(0, 500) + " => " + row.to.substr(0, 500));
        std::string expected = Joined(row.findings);
        for (const auto &[mark, pointer] :
             {std::pair("$e", "$/rule/events/0"), {"$a", "$/rule/actions/0"}, {"$2", "/0/status/1"}, {"$", "/0/status/0"}}) {
            expected = ReplacedAll(expected, mark, pointer);
        }
        EXPECT_EQ(Joined(found[i]), expected);
    }
}

TEST(Check, KnowsLessWhenLessIsGiven) {
    const Options options;
    const auto run = [&](const std::string &arguments, const std::string &value) {
        return Joined(RunGateway("check " + arguments + " - 2>&1", value).lines);
    };
    const std::string unmapped = Replaced(All(kRule, 1), R"("condition":1)", R"("condition":2)");
    const std::string value = Replaced(kValue, kRule, Replaced(unmapped + ',' + Switching(2, 4, 4), R"("deviceId":"E")", R"("deviceId":"X")"));
    EXPECT_EQ(run("", value), "");
    EXPECT_EQ(run("--devices " + options.File("none", R"(["E"])"), Replaced(kValue, R"("deviceId":"E")", R"("deviceId":"HUB")")),
              "<stdin>:1:212: never /0/status/0/rule/events/0/deviceId: not among the devices: the event never comes\n"
              "<stdin>:1:288: never /0/status/0/rule/actions/0/deviceId: not among the devices: the action is never carried out\n");
    const std::string open = options.File("open", Replaced(kLinkage, "false", "true"));
    EXPECT_EQ(
        run("--linkage " + open, Replaced(kValue, R"("n6:30")", R"("07:05")")),
        "<stdin>:1:139: never /0/status/0/endTime: not after the start, 07:05: the rule never fires; an n in front puts the end on the next day\n");
    EXPECT_EQ(run("--linkage " + open, Replaced(kValue, R"("n6:30")", R"("07:06")")),
              "<stdin>:1:139: note /0/status/0/endTime: the period is one minute long\n");
}

TEST(Check, SaysWhere) {
    const Options options;
    const std::string mistakes = R"([{"channel":1},
  {"channel":300,
   "no":[{"a":1},"]}\\\"" ],
   "status":[{}, 5]}] more)";
    const std::string file = options.File("value", mistakes);
    EXPECT_EQ(Joined(RunGateway("check " + file, "").lines), ReplacedAll(R"(F:1:2: refused /0: "status" is missing: the whole value is refused
F:2:14: changed /1/channel: 300 does not fit into 8 bits: the device holds 44, the rules of another channel
F:3:4: changed /1/no: not a key of the rules: the device does not hold it
F:4:14: refused /1/status/0: "id" is missing: the whole value is refused
F:4:14: refused /1/status/0: "userId" is missing: the whole value is refused
F:4:14: refused /1/status/0: "name" is missing: the whole value is refused
F:4:14: refused /1/status/0: "enable" is missing: the whole value is refused
F:4:14: refused /1/status/0: "weekdays" is missing: the whole value is refused
F:4:14: refused /1/status/0: "startTime" is missing: the whole value is refused
F:4:14: refused /1/status/0: "endTime" is missing: the whole value is refused
F:4:14: refused /1/status/0: "rule" is missing: the whole value is refused
F:4:18: refused /1/status/1: a number where an object is expected: the whole value is refused
F:4:23: changed: more text behind the value: the device does not get it
)",
                                                                         "F:", file + ':'));
    EXPECT_EQ(
        Joined(RunGateway("check --json -", "[\n 7]").lines),
        R"({"file":"<stdin>","line":2,"column":2,"class":"refused","pointer":"/0","text":"a number where an object is expected: the whole value is refused"})"
        "\n");
    EXPECT_EQ(Joined(RunGateway("check -", "[\"\\q\"\n,\t1]").lines), "<stdin>:1:3: refused: not JSON: syntax error while parsing value - invalid "
                                                                      "string: forbidden character after backslash: the whole value is refused\n");
    EXPECT_EQ(Joined(RunGateway("check -", R"([{"channel":1,"status":[],"\u001b[31m)"
                                           "\xff"
                                           R"(":1}])")
                         .lines),
              "<stdin>:1:27: changed /0/\\u001b[31m\xef\xbf\xbd: not a key of the rules: the device does not hold it\n"
              "<stdin>:1:38: note: not JSON: syntax error while parsing object key - invalid string: ill-formed UTF-8 byte; the module reads it all "
              "the same, others may not\n");
}

TEST(Check, TakesLinesAndRecordings) {
    const Options options;
    const std::string bad = R"([{"channel":300,"status":[]}])";
    const std::string shadow = R"({"shadow":"InterconnectionRule", "value":)";
    const std::string finding = ": changed /0/channel: 300 does not fit into 8 bits: the device holds 44, the rules of another channel\n";
    const auto run = [&](const std::string &input, int code) {
        const Outcome outcome = RunGateway("check - 2>&1", input);
        EXPECT_EQ(outcome.code, code) << input;
        return Joined(outcome.lines);
    };
    EXPECT_EQ(run("# InterconnectionRule\n\n{\"status_pass\":true}\n" + shadow + bad + "}\n{\"shadow\":\"SceneLink\",\"value\":" + bad + "}\n" +
                      shadow + R"("[{\"channel\":300,\"status\":[]}]"})",
                  1),
              "<stdin>:4:54" + finding + "<stdin>:6:42" + finding);
    EXPECT_EQ(run(shadow + bad + '}', 1), "<stdin>:1:54" + finding);
    EXPECT_EQ(run("{\"session\":{}}\n{\"in\":" + shadow + bad + "}}\n{\"out\":" + shadow + bad + "}}\n", 1), "<stdin>:2:60" + finding);
    EXPECT_EQ(run("{\"status_pass\":true}\n" + shadow + "[}\n", 2),
              "tq_gateway: <stdin>:2:43: not JSON: syntax error while parsing value - unexpected '}'; expected '[', '{', or a literal\n");
    // The lines behind one that cannot be read are checked, and all that the gateway takes can be.
    EXPECT_EQ(run(shadow + "[}\n" + shadow + R"([{"channel":1e400,"status":[]}]})", 2),
              "tq_gateway: <stdin>:1:43: not JSON: syntax error while parsing value - unexpected '}'; expected '[', '{', or a literal\n"
              "<stdin>:2:54: changed /0/channel: inf is above 2147483647, the largest number that is read: the device holds 255, the rules of "
              "another channel\n"
              "<stdin>:2:58: note: not JSON: number overflow parsing '1e400'; the module reads it all the same, others may not\n");
    for (const char *none : {"# none\n", "{\"status_pass\":true}\n", "{\"out\":{}}"}) {
        EXPECT_EQ(run(none, 2), "tq_gateway: <stdin>: no line gives the device rules\n");
    }
}

TEST(Check, ExitCodeTellsTheWorst) {
    const Options options;
    const std::string good = options.File("good", kValue);
    const std::string noted = options.File("noted", Replaced(kValue, R"("enable":1)", R"("enable":0)"));
    const std::string bad = options.File("bad", "[]");
    const std::pair<std::string, int> rows[] = {
        {good, 0},
        {good + ' ' + noted, 0},
        {good + ' ' + bad + ' ' + good, 1},
        {"/nowhere " + bad, 2},
        {"/", 2},
        {"", 2},
        {"- -", 2},
        {"--no-such-option " + good, 2},
        {"--linkage /nowhere " + good, 2},
        {"--linkage " + options.File("l1", Replaced(kLinkage, "any", "some")) + ' ' + good, 2},
        {"--linkage " + options.File("l2", Replaced(kLinkage, R"("day_1":"Monday",)", "")) + ' ' + good, 2},
        {"--linkage " + options.File("l3", Replaced(kLinkage, R"("0":)", R"("65536":)")) + ' ' + good, 2},
        {"--linkage " + options.File("l4", Replaced(kLinkage, "period", "periods")) + ' ' + good, 2},
        {"--devices " + options.File("d1", R"({"E":1})") + ' ' + good, 2},
        {"--devices " + options.File("d2", "[1]") + ' ' + good, 2},
        {"--effects " + options.File("e1", ReplacedAll(kEffects, "value1", "value17")) + ' ' + good, 2},
        {"--effects " + options.File("e2", ReplacedAll(kEffects, "event", "events")) + ' ' + good, 2},
        {bad + " >/dev/full", 2},
    };
    for (const auto &[arguments, code] : rows) {
        EXPECT_EQ(RunGateway("check " + arguments + " 2>/dev/null", "").code, code) << arguments;
    }
    const std::string odd = options.File("\033[31m", "[]");
    EXPECT_EQ(Joined(RunGateway("check '" + odd + "'", "").lines),
              odd.substr(0, odd.rfind('/')) + "/\\u001b[31m:1:1: refused: no unit is left in it: the whole value is refused\n");
    EXPECT_EQ(RunGateway("--module /nowhere check " + good + " 2>&1", "").code, 2);
    const Outcome outcome = RunGateway("--module " TQ_REFUSING_MODULE " check " + good + " 2>&1", "");
    EXPECT_EQ(outcome.code, 3);
    EXPECT_EQ(Joined(outcome.lines),
              "tq_gateway: " + good + ":1: internal error: the module's result is -1, but the check finds no reason to refuse the value\n");
}

// ---- Large sets ----

/// A set of so many rules that are all alike and all good, each with a device, a lamp and a value of its own.
std::vector<std::string> ManyRules(int count) {
    std::vector<std::string> rules;
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        rules.push_back(
            Replaced(Replaced(Replaced(kRule, R"("id":1)", R"("id":)" + number), R"("E")", "\"E" + number + '"'), R"("A")", "\"A" + number + '"'));
    }
    return rules;
}

std::string ValueOf(const std::vector<std::string> &rules) {
    std::string value = kValue.substr(0, kValue.find(kRule));
    for (const std::string &rule : rules) {
        value += rule + ',';
    }
    value.back() = ']';
    return value + "}]";
}

/// The class and the place of each finding.
std::set<std::string> Places(const std::vector<std::string> &rules, const tqgateway::Surroundings &surroundings = {}) {
    std::set<std::string> places;
    for (const tqgateway::Finding &finding : tqgateway::CheckRules(ValueOf(rules), surroundings)) {
        EXPECT_TRUE(places.insert(tqgateway::Name(finding.what) + (' ' + finding.pointer)).second) << finding.text;
    }
    return places;
}

constexpr int kMany = 6000;

TEST(CheckMany, FindsMistakesOfEachRuleAndNothingElse) {
    const std::tuple<const char *, const char *, const char *> mistakes[] = {
        {R"("name":"N",)", "", "refused "},
        {R"("channelNo":3)", R"("channelNo":300)", "changed /rule/events/0/channelNo"},
        {R"("value2":9)", R"("value3":9)", "changed /rule/actions/0/params/value3"},
        {R"(["1","3","7"])", "[]", "never /weekdays"},
        {R"("n6:30")", R"("6:30")", "never /endTime"},
        {R"("enable":1)", R"("enable":0)", "note /enable"},
    };
    std::vector<std::string> rules = ManyRules(kMany);
    std::set<std::string> expected;
    for (std::size_t i = 7; i < rules.size(); i += 101) {
        const auto &[from, to, place] = mistakes[i % std::size(mistakes)];
        rules[i] = Replaced(rules[i], from, to);
        const std::string name = place;
        expected.insert(name.substr(0, name.find(' ') + 1) + "/0/status/" + std::to_string(i) + name.substr(name.find(' ') + 1));
    }
    EXPECT_EQ(Places(rules), expected);
}

TEST(CheckMany, FindsConflictsAndNothingElse) {
    // Ten rules on each lamp at the same event, an hour each; some reach into the next one's hour.
    std::vector<std::string> rules = ManyRules(kMany);
    std::set<std::string> expected;
    for (std::size_t i = 0; i < rules.size(); ++i) {
        const std::size_t hour = 10 + i % 10;
        const bool late = i % 370 == 5;
        rules[i] = Replaced(ReplacedAll(rules[i], 'A' + std::to_string(i), 'A' + std::to_string(i / 10)), 'E' + std::to_string(i), "E");
        rules[i] = Replaced(Replaced(rules[i], "07:05", std::to_string(hour) + ":00"), "n6:30",
                            late ? std::to_string(hour + 1) + ":00" : std::to_string(hour) + ":59");
        rules[i] = Replaced(rules[i], R"("value1":8)", R"("value1":)" + std::to_string(i % 10));
        if (late) {
            expected.insert("conflict /0/status/" + std::to_string(i + 1) + "/rule/actions/0/params");
        }
    }
    EXPECT_EQ(Places(rules), expected);
}

TEST(CheckMany, FindsLoopsAndNothingElse) {
    // Each rule sets off the next, but every 50th nothing, or one of those that lead to it.
    std::vector<std::string> rules;
    std::set<std::string> expected;
    for (int i = 0; i < kMany; ++i) {
        const bool last = i % 50 == 49;
        const bool back = last && i % 150 == 49;
        rules.push_back(Switching(i, i, back ? i - i % 50 : last ? 60000 : i + 1));
        if (back) {
            expected.insert("loop /0/status/" + std::to_string(i) + "/rule/actions/0");
        }
    }
    tqgateway::Surroundings surroundings;
    surroundings.effects = tqgateway::ReadEffects(kEffects);
    EXPECT_EQ(Places(rules, surroundings), expected);
}

TEST(CheckMany, SaysWhenItHasNotLookedAtAll) {
    // Each rule meets all others at one event, and none of them.
    std::vector<std::string> rules;
    for (int i = 0; i < 8000; ++i) {
        rules.push_back(
            All(Replaced(Replaced(kRule, R"("id":1)", R"("id":)" + std::to_string(i)), R"("value1":8)", R"("value1":)" + std::to_string(i)), i));
    }
    tqgateway::Surroundings surroundings;
    surroundings.linkage = tqgateway::ReadLinkageMeaning(kLinkage);
    const std::vector<tqgateway::Finding> findings = tqgateway::CheckRules(ValueOf(rules), surroundings);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].text, "too many rules are alike in events and actions to find all conflicts");
    rules.resize(1000);
    EXPECT_EQ(Places(rules, surroundings), std::set<std::string>());
}

TEST(CheckMany, CostGrowsWithTheRules) {
    const auto time_of = [](const std::vector<std::string> &rules) {
        const std::string value = ValueOf(rules);
        const std::clock_t start = std::clock();
        EXPECT_EQ(tqgateway::CheckRules(value).size(), 0U);
        return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    };
    const double eighth = time_of(ManyRules(8191));
    const double all = time_of(ManyRules(65535));
    EXPECT_LT(all, 8 * 4 * eighth) << "eight times as many";
    if (TQ_TIMED) {
        EXPECT_LT(time_of(ManyRules(10000)), 1.0);
        EXPECT_LT(all, 10.0);
    }
}

} // namespace
