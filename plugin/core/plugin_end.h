// Shut-down.
#pragma once

namespace lumora {

/// Ends the send that runs, takes the callbacks away, frees everything and ends the engine. Once: later calls do
/// nothing until resetPluginEnd().
void endPluginActivity();
void resetPluginEnd();

}  // namespace lumora
