#pragma once

#include <syslog.h>

#include <cstddef>
#include <string_view>

namespace vexobase {

/// The name under which a source file logs: its file name without folders and extension.
template <std::size_t N>
struct LogSource {
    char name[N] = {};

    consteval explicit LogSource(const char (&path)[N]) {
        std::string_view stem(path, N - 1);
        if (const auto slash = stem.rfind('/'); slash != stem.npos) {
            stem.remove_prefix(slash + 1);
        }
        stem = stem.substr(0, stem.find('.'));
        for (std::size_t i = 0; i < stem.size(); ++i) {
            name[i] = stem[i];
        }
    }
};

}  // namespace vexobase

/// A class that is spread over several files logs under the name of the first: the others define
/// VEXO_LOG_SOURCE, the name as a string literal, before they include this header.
#ifndef VEXO_LOG_SOURCE
#define VEXO_LOG_SOURCE __FILE__
#endif

/// Logs one line to syslog as "SOURCE:LINE message". `format` is a printf literal.
#define VEXO_LOG(priority, format, ...) \
    VEXO_LOG_AT(__LINE__, priority, format __VA_OPT__(, ) __VA_ARGS__)

/// The same for messages whose line number is part of the appliance's message catalogue: support
/// tools look them up by source and number, so the number stays when the code above it moves.
#define VEXO_LOG_AT(line, priority, format, ...)                                                  \
    do {                                                                                          \
        static constexpr ::vexobase::LogSource vexoLogSource{VEXO_LOG_SOURCE};                    \
        ::syslog(priority, "%s:%d " format, vexoLogSource.name, line __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)
