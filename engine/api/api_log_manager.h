// The engine's log.
#pragma once

#include "engine/api/types.h"

namespace Lumora {

enum LogLevel : int {
    LOGLEVEL_ERRORS = 0,
    LOGLEVEL_WARNINGS = 1,  ///< the level at start
    LOGLEVEL_INFO = 2,
    LOGLEVEL_DEBUG = 3,
};

class ApiLogManager {
public:
    /// Every line of the log goes to each registered procedure, without a line end, from any thread, one line at a
    /// time. A procedure must not register or unregister. False when it is null or registered already.
    LUMORA_API static bool registerLogCallbackProc(void (*callback)(const char*));
    /// False when it was not registered. After the return it is not called any more.
    LUMORA_API static bool unregisterLogCallbackProc(void (*callback)(const char*));
    /// The engine has no window of its own: writes a line to the log.
    LUMORA_API static void openLumoraLogWindow();

    /// Lines above this level are not written.
    LUMORA_API static void setLogLevel(LogLevel level);
    LUMORA_API static LogLevel logLevel();
};

}  // namespace Lumora
