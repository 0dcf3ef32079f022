#include "engine/graph/log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace Lumora {

namespace engine {

namespace {

using Procedure = void (*)(const char*);

struct LogState {
    std::recursive_mutex lock;  // recursive: a procedure may call into the engine, which may log
    std::vector<Procedure> procedures;
    std::atomic<int> level{LOGLEVEL_WARNINGS};
};

LogState& state() {
    static LogState instance;
    return instance;
}

}  // namespace

void logLine(LogLevel level, const char* format, ...) {
    LogState& log = state();
    if (level > log.level.load(std::memory_order_relaxed)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(line.data(), line.size() + 1, format, again);
    va_end(again);

    const std::lock_guard guard(log.lock);
    for (const Procedure procedure : std::vector<Procedure>(log.procedures)) {
        procedure(line.c_str());
    }
}

void clearLogProcedures() {
    const std::lock_guard guard(state().lock);
    state().procedures.clear();
}

}  // namespace engine

bool ApiLogManager::registerLogCallbackProc(void (*callback)(const char*)) {
    engine::LogState& log = engine::state();
    const std::lock_guard guard(log.lock);
    if (!callback || std::find(log.procedures.begin(), log.procedures.end(), callback) != log.procedures.end()) {
        return false;
    }
    log.procedures.push_back(callback);
    return true;
}

bool ApiLogManager::unregisterLogCallbackProc(void (*callback)(const char*)) {
    engine::LogState& log = engine::state();
    const std::lock_guard guard(log.lock);
    return std::erase(log.procedures, callback) != 0;
}

void ApiLogManager::openLumoraLogWindow() {
    engine::logLine(LOGLEVEL_WARNINGS, "The engine has no log window; register a log procedure to see its lines.");
}

void ApiLogManager::setLogLevel(LogLevel level) {
    engine::state().level = level;
}

LogLevel ApiLogManager::logLevel() {
    return static_cast<LogLevel>(engine::state().level.load());
}

}  // namespace Lumora
