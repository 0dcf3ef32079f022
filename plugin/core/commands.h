// The plug-in's commands, each one row of a table.
#pragma once

#include <vector>

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// One command. Names that are a number are taken from the string table.
struct CommandRow {
    Int32 id;
    const char* name;
    Int32 nameId;      ///< in the string table; 0: `name` stands
    const char* help;  ///< empty: the name
    const char* icon;
    void (*run)(lumoraLive& session, BaseDocument* document);
    const char* failure = "";  ///< what the log says when it cannot be registered
};

/// Every command but the session's own, in the order of registration.
std::vector<const CommandRow*> commandRows();

/// Turns the document's host materials into the plug-in's own. Main thread.
void convertMaterialsOf(BaseDocument* document);

/// Commands that open dialogs; registered before the others.
void registerDialogCommands(const GeResource& texts);
/// All others, in the order of their table.
void registerCommands(const GeResource& texts);

}  // namespace lumora
