// The engine's log: lines with a level, handed to the registered procedures.
#pragma once

#include "engine/api/api_log_manager.h"

namespace Lumora::engine {

/// Writes one line, formatted as by printf. Any thread.
__attribute__((format(printf, 2, 3))) void logLine(LogLevel level, const char* format, ...);

/// Takes all procedures away; at the end of the engine.
void clearLogProcedures();

}  // namespace Lumora::engine
