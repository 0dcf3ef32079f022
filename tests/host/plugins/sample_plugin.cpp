// A plug-in that says in the console what it is told, and registers one command.
#include "host/sdk/host_sdk.h"

namespace {

using namespace host;

const char* const kName = SAMPLE_NAME;

class Command final : public CommandData {
    Bool Execute(BaseDocument*) override {
        GeConsoleOut(String(kName) + " command in " + GeGetPluginPath().GetFileString());
        return true;
    }
} command;

Bool start() {
    GeResource texts;
    if (texts.Init())
        GeConsoleOut(String(kName) + " texts " + texts.Load(1) + "|" + texts.Load(2) + "|" + texts.Load(3));
    RegisterCommandPlugin(1000 + SAMPLE_PRIORITY, kName, 0, "", "", &command);
    return SAMPLE_STARTS;
}

Bool message(Int32 id, void* data) {
    if (id == C4DPL_PRIORITY) {
        *static_cast<Int32*>(data) = SAMPLE_PRIORITY;
        return true;
    }
    GeConsoleOut(String(kName) + " message " + String::IntToString(id));
    if (id != C4DPL_COMMANDLINEARGS) return false;
    auto& arguments = *static_cast<CommandLineArgs*>(data);
    Bool taken = false;
    for (Int32 i = 0; i < arguments.argc; ++i) {
        if (!arguments.argv[i] || String(arguments.argv[i]) != String("-") + kName) continue;
        arguments.argv[i] = nullptr;
        taken = true;
    }
    return taken;
}

}  // namespace

extern "C" HOST_API bool c4d_main(PluginCall* call) {
    switch (call->action) {
        case PluginAction::Start:
            GeConsoleOut(String(kName) + " start");
            return start();
        case PluginAction::Message:
            return message(call->messageId, call->messageData);
        case PluginAction::End:
            GeConsoleOut(String(kName) + " end");
            return true;
    }
    return false;
}
