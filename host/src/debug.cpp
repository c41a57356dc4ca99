// SPDX-License-Identifier: Apache-2.0
// The SDK log.
#include "tqdev_debug.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "host_state.h"

static std::atomic<int> g_log_level{LOG_NON};

void tqhost::SetLogLevel(int level) {
    g_log_level = level;
}

void tqdev_debug(int level, const char *format, ...) {
    const int shown = g_log_level.load(std::memory_order_relaxed);
    if (shown <= LOG_NON || level > shown) {
        return;
    }

    char *line = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&line, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }

    const std::unique_ptr<char, decltype(&free)> owner(line, &free);
    std::string text(line, static_cast<std::size_t>(length));
    const bool ended = !text.empty() && text.back() == '\n';
    if (ended) {
        text.pop_back();
    }
    tqhost::Notify(tqhost::LogLine{level, std::move(text), ended});
}
