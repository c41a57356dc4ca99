// SPDX-License-Identifier: Apache-2.0
/// @file check.h
/// Says everything that is wrong with a linkage rule value before a device sees it.
///
/// The module takes a whole value or nothing, and makes what it takes fit: numbers keep their low bits, texts
/// are cut, what it does not know is left out. Here every such place is told, with the value before and
/// after, and what the rules that result can and cannot do.
#ifndef TQGATEWAY_CHECK_CHECK_H
#define TQGATEWAY_CHECK_CHECK_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tqgateway {

enum class FindingClass {
    refused,  ///< The module refuses the value, and the device keeps the rules that it has.
    changed,  ///< What the device holds is not what was sent.
    never,    ///< Something that never happens: a rule that never fires, an action never carried out.
    conflict, ///< Two rules that fire at the same moment with different values for the same command.
    loop,     ///< Rules that set each other off.
    note,     ///< Nothing wrong, but perhaps not meant.
};

/// The name of a class, as findings are shown with.
const char *Name(FindingClass what);

struct Finding {
    FindingClass what;
    std::size_t offset;  ///< Where in the text, in bytes.
    std::size_t line;    ///< The same as a line, from 1, and
    std::size_t column;  ///< a byte in it, from 1.
    std::string pointer; ///< The place as a JSON pointer; empty for the value as a whole.
    std::string text;    ///< What is wrong, and what it means.
};

/// What the device application makes of the rules' fields.
struct LinkageMeaning {
    std::string serial;            ///< The device's own.
    std::map<int, bool> condition; ///< Known values of `condition`: true when all events count, not any.
    bool period_end_open = false;  ///< The end's minute does not belong to the period.
};

/// An action that makes an event happen. What is not set is as the action has it, whatever that is.
struct Effect {
    std::uint32_t action_domain, action_command;
    std::optional<std::string> action_serial;
    std::optional<std::uint8_t> action_channel;
    std::map<unsigned, std::uint16_t> params; ///< Values that the action must have, value1 being 1.

    std::uint32_t event_domain, event_command;
    std::optional<std::string> event_serial;
    std::optional<std::uint8_t> event_channel;
    std::uint16_t value; ///< Of the event; unless it is a value of the action:
    unsigned param = 0;  ///< Which one, value1 being 1; 0: none.
};

/// What is known around the rules. Without it, less is found.
struct Surroundings {
    std::optional<LinkageMeaning> linkage;
    std::optional<std::set<std::string>> devices; ///< The serials that there are.
    std::vector<Effect> effects;
};

/// All findings of a rule value, in the order of the text.
///
/// The text is what the shadow carries, up to its first NUL. There is a finding of class `refused` exactly
/// when the module refuses the value, and one of class `changed` exactly when the rules that the device then
/// holds, written again, differ from it: the padding of hours and minutes and the order of keys aside.
///
/// Takes about two seconds for 65,535 rules, and memory in proportion to the text. To compare rules with each
/// other it takes at most 100 million steps; a note says so when these did not do.
std::vector<Finding> CheckRules(const std::string &value, const Surroundings &surroundings = {});

/// Reads what is known around the rules from JSON texts; each throws std::invalid_argument, which names what
/// is wrong.
///
/// `linkage` is the gateway's configuration of the linkage library, `devices` an array of serials, `effects`
/// an array of `{"action":{"domain":1,"cmdId":2,"deviceId":"A","channelNo":1,"params":{"value1":1}},
/// "event":{"domain":1,"cmdId":3,"deviceId":"A","channelNo":1,"value":1}}`. In an effect, `deviceId`,
/// `channelNo` and `params` may be left out, and the event's value may be "value1" to "value16".
LinkageMeaning ReadLinkageMeaning(const std::string &text);
std::set<std::string> ReadDevices(const std::string &text);
std::vector<Effect> ReadEffects(const std::string &text);

/// Compares findings with what the module made of the value: the result of its parse callback, and where that
/// was 0, the rules that the device then held, written again by the module. Empty when they agree, else the
/// difference.
std::string Disagreement(const std::string &value, const std::vector<Finding> &findings, int result,
                         const std::optional<std::string> &written);

} // namespace tqgateway

#endif
