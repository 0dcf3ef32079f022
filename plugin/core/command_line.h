// The options that the plug-in takes from the host's command line.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// "-lumoraGPU" list and "-exportLPAK" name start end step. Consumed entries of argv become null. True when an option
/// was taken.
bool parseCommandLine(lumoraLive& session, CommandLineArgs& arguments);

}  // namespace lumora
