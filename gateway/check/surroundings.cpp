// SPDX-License-Identifier: Apache-2.0
// Reads what is known around the rules.
#include <iterator>

#include <nlohmann/json.hpp>

#include "check/check.h"
#include "lines/json.h"
#include "rules/linkage_config.h"
#include "tqDevSDK_SmartControl_def.h"

namespace tqgateway {
namespace {

constexpr int kValueMax = TQDEVSDK_SMART_CONTROL_ACTION_VALUE_MAX;

/// What `read` makes of a JSON text, its errors as the caller expects them.
template <typename Read>
auto ReadFrom(const std::string &text, Read read) {
    try {
        return read(ParseJson(text));
    } catch (const LineError &error) {
        throw std::invalid_argument(error.what());
    }
}

/// Calls `read` for each element of an array, with the name of its place.
template <typename Read>
void ForEach(const Json &array, const std::string &path, Read read) {
    if (!array.is_array()) {
        throw LineError(path + (path.empty() ? "" : ": ") + "expected an array");
    }
    for (std::size_t i = 0; i < array.size(); ++i) {
        read(array[i], path + '[' + std::to_string(i) + ']');
    }
}

/// The number of "value1" to "value16"; 0 for another name.
unsigned ParamNumber(const std::string &name) {
    for (int i = 1; i <= kValueMax; ++i) {
        if (name == "value" + std::to_string(i)) {
            return static_cast<unsigned>(i);
        }
    }
    return 0;
}

template <typename Number>
std::optional<Number> OptionalWhole(ObjectReader &reader, const char *key) {
    return reader.Find(key) == nullptr ? std::nullopt : std::optional(reader.Whole<Number>(key));
}

std::optional<std::string> OptionalSerial(ObjectReader &reader) {
    return reader.Find("deviceId") == nullptr
               ? std::nullopt
               : std::optional(
                     reader.Text("deviceId", sizeof(tqDevSDK_SmartControl_ConfigRule_Events::acDevId) - 1));
}

Effect ReadEffect(const Json &json, const std::string &path) {
    Effect effect{};
    ObjectReader reader(json, path);
    ObjectReader action(reader.Get("action"), reader.Path("action"));
    effect.action_domain = action.Whole<std::uint32_t>("domain");
    effect.action_command = action.Whole<std::uint32_t>("cmdId");
    effect.action_serial = OptionalSerial(action);
    effect.action_channel = OptionalWhole<std::uint8_t>(action, "channelNo");
    if (const Json *params = action.Find("params")) {
        ObjectReader values(*params, action.Path("params"));
        for (const auto &member : params->items()) {
            const unsigned param = ParamNumber(member.key());
            if (param == 0) {
                throw LineError(values.Path(member.key().c_str()) + ": unknown field");
            }
            effect.params[param] = values.Whole<std::uint16_t>(member.key().c_str());
        }
    }
    action.Done();

    ObjectReader event(reader.Get("event"), reader.Path("event"));
    effect.event_domain = event.Whole<std::uint32_t>("domain");
    effect.event_command = event.Whole<std::uint32_t>("cmdId");
    effect.event_serial = OptionalSerial(event);
    effect.event_channel = OptionalWhole<std::uint8_t>(event, "channelNo");
    const Json &value = event.Get("value");
    effect.param = value.is_string() ? ParamNumber(value.get<std::string>()) : 0;
    if (effect.param == 0) {
        effect.value = event.Whole<std::uint16_t>("value");
    }
    event.Done();
    reader.Done();
    return effect;
}

} // namespace

LinkageMeaning ReadLinkageMeaning(const std::string &text) {
    return ReadFrom(text, [](const Json &json) {
        const tqDevSDK_Linkage_Config_S config = ReadLinkageConfig(ObjectReader(json, ""), nullptr).engine;
        LinkageMeaning meaning{config.acSerial, {}, config.ucPeriodEndOpen != 0};
        for (std::size_t i = 0; i < config.usHowNum; ++i) {
            meaning.condition[config.astHow[i].usCondition] =
                config.astHow[i].ucHow == TQDEVSDK_LINKAGE_HOW_ALL;
        }
        return meaning;
    });
}

std::set<std::string> ReadDevices(const std::string &text) {
    return ReadFrom(text, [](const Json &json) {
        std::set<std::string> serials;
        ForEach(json, "", [&](const Json &serial, const std::string &path) {
            serials.insert(ReadText(serial, path, SIZE_MAX));
        });
        return serials;
    });
}

std::vector<Effect> ReadEffects(const std::string &text) {
    return ReadFrom(text, [](const Json &json) {
        std::vector<Effect> effects;
        ForEach(json, "", [&](const Json &effect, const std::string &path) {
            effects.push_back(ReadEffect(effect, path));
        });
        return effects;
    });
}

} // namespace tqgateway
