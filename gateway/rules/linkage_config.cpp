// SPDX-License-Identifier: Apache-2.0
// The configuration: one line for each member.
#include "rules/linkage_config.h"

#include <cstring>
#include <limits>
#include <regex>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "input/read_file.h"
#include "lines/names.h"

namespace tqgateway {
namespace {

constexpr NamedNumber kWeekdays[] = {{"Monday", 0}, {"Tuesday", 1},  {"Wednesday", 2}, {"Thursday", 3},
                                     {"Friday", 4}, {"Saturday", 5}, {"Sunday", 6}};

constexpr NamedNumber kHows[] = {{"any", TQDEVSDK_LINKAGE_HOW_ANY}, {"all", TQDEVSDK_LINKAGE_HOW_ALL}};

LinkageConfig Defaults() {
    LinkageConfig config;
    config.engine.usRunningMax = 64;
    config.engine.usMemberMax = 64;
    config.engine.usFiredMax = 256;
    config.engine.usHeldMax = 256;
    config.engine.ucChainMax = 4;
    return config;
}

/// A whole number from `low` that fits the field, which stays as it is when the member is absent.
template <typename Number>
void ReadFrom(std::int64_t low, ObjectReader &v, const char *key, Number &field) {
    if (const Json *value = v.Find(key)) {
        field = static_cast<Number>(ReadWhole(*value, v.Path(key), low, std::numeric_limits<Number>::max()));
    }
}

void ReadSerial(ObjectReader &v, char (&field)[32]) {
    if (v.Find("serial") == nullptr) {
        return;
    }
    const std::string serial = v.Text("serial", sizeof field - 1);
    if (serial.empty()) {
        throw LineError(v.Path("serial") + ": expected a text that is not empty");
    }
    memset(field, 0, sizeof field);
    serial.copy(field, sizeof field);
}

tqDevSDK_Linkage_How_S ReadHow(ObjectReader &v, const std::string &condition) {
    static const std::regex kNumber("0|[1-9][0-9]{0,4}");
    if (!std::regex_match(condition, kNumber) || std::stoi(condition) > UINT16_MAX) {
        throw LineError(v.Path(condition.c_str()) + ": expected a condition, 0 to 65535, as the name");
    }
    const std::string how = v.Text(condition.c_str(), SIZE_MAX);
    return {static_cast<UINT16>(std::stoi(condition)),
            static_cast<UINT8>(RowNamed(how, v.Path(condition.c_str()), kHows).number)};
}

void ReadConditions(ObjectReader &v, tqDevSDK_Linkage_Config_S &config) {
    const Json *conditions = v.Find("condition");
    if (conditions == nullptr) {
        return;
    }
    ObjectReader reader(*conditions, v.Path("condition"));
    if (conditions->size() > std::size(config.astHow)) {
        throw LineError(v.Path("condition") + ": expected at most " +
                        std::to_string(std::size(config.astHow)));
    }
    config.usHowNum = 0;
    for (const auto &member : conditions->items()) {
        config.astHow[config.usHowNum++] = ReadHow(reader, member.key());
    }
}

} // namespace

LinkageConfig ReadLinkageConfig(ObjectReader v, const LinkageConfig *present) {
    LinkageConfig config = present != nullptr ? *present : Defaults();
    tqDevSDK_Linkage_Config_S &engine = config.engine;
    if (present == nullptr) {
        v.Get("delay_unit_ms");
        v.Get("day_1");
    }
    ReadSerial(v, engine.acSerial);
    ReadFrom(1, v, "delay_unit_ms", engine.uiDelayUnitMs);
    if (v.Find("day_1") != nullptr) {
        config.day_1 = RowNamed(v.Text("day_1", SIZE_MAX), v.Path("day_1"), kWeekdays).number;
    }
    ReadConditions(v, engine);
    ReadFrom(0, v, "all_window_ms", engine.uiAllWindowMs);
    ReadFrom(0, v, "cooldown_ms", engine.uiCooldownMs);
    ReadFrom(0, v, "running_max", engine.usRunningMax);
    ReadFrom(0, v, "member_max", engine.usMemberMax);
    ReadFrom(1, v, "fired_max", engine.usFiredMax); // what is not traced would not be shown
    ReadFrom(1, v, "held_max", engine.usHeldMax);
    ReadFrom(0, v, "chain_max", engine.ucChainMax);
    if (const Json *open = v.Find("period_end_open")) {
        engine.ucPeriodEndOpen = ReadBool(*open, v.Path("period_end_open")) ? 1 : 0;
    }
    if (const Json *result = v.Find("auto_done")) {
        config.auto_done =
            result->is_null() ? std::nullopt : std::optional(ReadResult(*result, v.Path("auto_done")));
    }
    v.Done();
    return config;
}

int ReadResult(const Json &value, const std::string &path) {
    if (value == "cannot") {
        return TQDEVSDK_LINKAGE_CANNOT;
    }
    try {
        return static_cast<int>(ReadWhole(value, path, 0, UINT8_MAX));
    } catch (const LineError &error) {
        throw LineError(std::string(error.what()) + " or \"cannot\"");
    }
}

Json ReadLinkageFile(const std::string &file) {
    const std::string text = ReadFile(file);
    if (text.empty()) {
        throw std::invalid_argument(file + ": is empty");
    }
    try {
        Json config = ParseJson(text);
        ReadLinkageConfig(ObjectReader(config, ""), nullptr);
        return config;
    } catch (const LineError &error) {
        throw std::invalid_argument(file + ": " + error.what());
    }
}

} // namespace tqgateway
