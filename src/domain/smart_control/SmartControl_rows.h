// SPDX-License-Identifier: Apache-2.0
/// @file SmartControl_rows.h
/// A table that one source holds and others walk.
#ifndef SMARTCONTROL_ROWS_H
#define SMARTCONTROL_ROWS_H

#include <cstddef>

template <typename Row>
class Rows {
public:
    template <std::size_t N>
    constexpr explicit Rows(const Row (&rows)[N]) : begin_(rows), end_(rows + N) {}

    const Row *begin() const { return begin_; }
    const Row *end() const { return end_; }

private:
    const Row *begin_;
    const Row *end_;
};

#endif
