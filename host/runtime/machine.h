// Facts that the application settles at its start.
#pragma once

#include "host/sdk/plugin.h"

namespace host {

void setAppType(AppType type);

}  // namespace host
