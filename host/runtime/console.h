// Where console lines and status texts go: the log file of the preferences folder, and the running program's sinks.
#pragma once

#include <functional>

#include "host/sdk/log.h"

namespace host {

struct ConsoleSinks {
    std::function<void(const String&)> console;
    std::function<void(const String&)> status;
};

/// The log file turns over at this size: the full one is kept under ".old", one generation.
inline constexpr Int64 kLogFileLimit = Int64(4) << 20;

/// From here on lines reach the sinks and the file; an empty name: no file. Lines before are dropped.
void openConsole(ConsoleSinks sinks, const Filename& logFile);
void closeConsole();

}  // namespace host
