#include "plugin/core/command_line.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "plugin/core/log.h"
#include "plugin/core/session.h"

namespace lumora {

namespace {

bool isOption(const char* argument) {
    return argument && argument[0] == '-';
}

Int32 number(const std::vector<std::string>& values, std::size_t i) {
    return i < values.size() ? static_cast<Int32>(std::strtol(values[i].c_str(), nullptr, 10)) : 0;
}

/// The arguments behind argv[i] up to the next option, taken out of argv.
std::vector<std::string> takeValues(CommandLineArgs& arguments, Int32 i, std::size_t most) {
    std::vector<std::string> values;
    for (Int32 k = i + 1; k < arguments.argc && values.size() < most; ++k) {
        if (!arguments.argv[k] || isOption(arguments.argv[k])) break;
        values.emplace_back(arguments.argv[k]);
        arguments.argv[k] = nullptr;
    }
    return values;
}

bool takeExport(lumoraLive& session, const std::vector<std::string>& values) {
    if (values.empty() || values.front().empty()) return false;
    PendingExport& request = session.exportRequest;
    request = {true, String(values.front()), number(values, 1), number(values, 2), number(values, 3)};
    logLine("Export Lpak:" + request.name + "  start:" + String::IntToString(request.start) +
            "  end:" + String::IntToString(request.end) + "  step:" + String::IntToString(request.step));
    return true;
}

}  // namespace

bool parseCommandLine(lumoraLive& session, CommandLineArgs& arguments) {
    bool consumed = false;
    for (Int32 i = 0; i < arguments.argc; ++i) {
        const char* argument = arguments.argv[i];
        if (!argument) continue;
        if (std::strcmp(argument, "-lumoraGPU") == 0 && session.engineReady) {
            arguments.argv[i] = nullptr;
            const std::vector<std::string> values = takeValues(arguments, i, 1);
            applyDeviceOption(session.devices, values.empty() ? std::string() : values.front());
            consumed = true;
        } else if (std::strcmp(argument, "-exportLPAK") == 0) {
            arguments.argv[i] = nullptr;
            consumed |= takeExport(session, takeValues(arguments, i, static_cast<std::size_t>(arguments.argc)));
        }
    }
    return consumed;
}

}  // namespace lumora
