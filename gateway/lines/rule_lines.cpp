// SPDX-License-Identifier: Apache-2.0
// Lines to the rule engine: one function each.
#include "lines/rule_lines.h"

#include <nlohmann/json.hpp>

#include "gateway.h"
#include "lines/names.h"
#include "rules/rules.h"

namespace tqgateway {
namespace {

constexpr NamedNumber kRings[] = {{"fired", TQDEVSDK_LINKAGE_RING_FIRED},
                                  {"held", TQDEVSDK_LINKAGE_RING_HELD}};

struct CausedEvent {
    RuleEvent event;
    std::uint64_t token; ///< Of the action that caused it; 0: none did.
};

CausedEvent ReadCausedEvent(ObjectReader &line, const char *key) {
    ObjectReader event(line.Get(key), key);
    line.Done();
    UINT32 token = 0;
    event.Whole("token", token);
    return {ReadEvent(std::move(event)), token};
}

} // namespace

std::optional<int> Linkage(const Parts &parts, ObjectReader &line) {
    const Json &config = line.Get("linkage");
    line.Done();
    parts.rules.Configure(config);
    return std::nullopt;
}

std::optional<int> Event(const Parts &parts, ObjectReader &line) {
    const CausedEvent caused = ReadCausedEvent(line, "event");
    parts.rules.Event(caused.event, caused.token);
    return std::nullopt;
}

std::optional<int> Explain(const Parts &parts, ObjectReader &line) {
    const CausedEvent caused = ReadCausedEvent(line, "explain");
    parts.rules.Explain(caused.event, caused.token);
    return std::nullopt;
}

std::optional<int> Members(const Parts &parts, ObjectReader &line) {
    const Json &object = line.Get("members");
    const ObjectReader reader(object, "members");
    line.Done();
    std::vector<std::pair<std::string, bool>> members;
    for (const auto &[serial, reachable] : object.items()) {
        if (!reachable.is_boolean()) {
            throw LineError(reader.Path(serial.c_str()) + ": expected true or false");
        }
        ReadText(serial, reader.Path(serial.c_str()), sizeof(RuleEvent::acDevId));
        members.emplace_back(serial, reachable.get<bool>());
    }
    parts.rules.SetMembers(members);
    return std::nullopt;
}

std::optional<int> Done(const Parts &parts, ObjectReader &line) {
    ObjectReader done(line.Get("done"), "done");
    line.Done();
    const auto token = done.Whole<UINT32>("token");
    const int result = ReadResult(done.Get("result"), done.Path("result"));
    done.Done();
    parts.rules.Done(token, result);
    return std::nullopt;
}

std::optional<int> Trace(const Parts &parts, ObjectReader &line) {
    const int ring = RowNamed(line.Text("trace", SIZE_MAX), "trace", kRings).number;
    line.Done();
    parts.rules.ShowTrace(ring);
    return std::nullopt;
}

std::vector<std::string> TraceNames() {
    return NamesOf(kRings);
}

std::optional<int> Now(const Parts &parts, ObjectReader &line) {
    const bool known = !line.Get("now").is_null();
    const auto civil = known ? std::optional(ReadCivil(AsText(line.Get("now")), "now")) : std::nullopt;
    line.Done();
    parts.rules.SetTime(civil);
    return std::nullopt;
}

std::optional<int> Advance(const Parts &parts, ObjectReader &line) {
    const std::string span = AsText(line.Get("advance"));
    const bool to_next = span == "next";
    const std::uint64_t ms = to_next ? 0 : ReadSpan(span, "advance");
    line.Done();
    parts.rules.Advance(to_next ? parts.rules.UntilNext() : ms);
    return std::nullopt;
}

std::optional<int> ReportStatistics(const Parts &parts, ObjectReader &line) {
    if (line.Get("report") != "dclog" || line.Get("from") != "linkage") {
        throw LineError("from: expected \"linkage\", of a report \"dclog\"");
    }
    line.Done();
    return parts.rules.PostStatistics();
}

} // namespace tqgateway
