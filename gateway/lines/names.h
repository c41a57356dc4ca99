// SPDX-License-Identifier: Apache-2.0
/// @file names.h  Names that lines and options give to numbers, and tables whose rows have a `name`.
#ifndef TQGATEWAY_LINES_NAMES_H
#define TQGATEWAY_LINES_NAMES_H

#include <algorithm>
#include <iterator>
#include <string>

#include <nlohmann/json.hpp>

#include "lines/json.h"
#include "tq_model.h"
#include "tqdev_debug.h"

namespace tqgateway {

struct NamedNumber {
    const char *name;
    int number;
};

constexpr NamedNumber kModelTypes[] = {
    {"event", tq_event}, {"attribute", tq_attribute}, {"service", tq_service}};

constexpr NamedNumber kLogLevels[] = {{"non", LOG_NON},
                                      {"error", LOG_ERROR},
                                      {"warning", LOG_WARNING},
                                      {"debug", LOG_DEBUG},
                                      {"info", LOG_INFO}};

/// The names of all rows.
template <typename Row, std::size_t N>
std::vector<std::string> NamesOf(const Row (&rows)[N]) {
    std::vector<std::string> names;
    std::transform(std::begin(rows), std::end(rows), std::back_inserter(names),
                   [](const Row &row) { return row.name; });
    return names;
}

/// The row with this name. Throws LineError, which lists all names, when there is none.
template <typename Row, std::size_t N>
const Row &RowNamed(const std::string &name, const std::string &path, const Row (&rows)[N]) {
    const auto found =
        std::find_if(std::begin(rows), std::end(rows), [&](const Row &row) { return name == row.name; });
    if (found == std::end(rows)) {
        throw LineError(path + ": " + Expected(name, NamesOf(rows)));
    }
    return *found;
}

/// The name of a number; one that has none stays a number.
template <std::size_t N>
Json NameOf(int number, const NamedNumber (&rows)[N]) {
    const auto found = std::find_if(std::begin(rows), std::end(rows),
                                    [&](const NamedNumber &row) { return row.number == number; });
    return found == std::end(rows) ? Json(number) : Json(found->name);
}

} // namespace tqgateway

#endif
