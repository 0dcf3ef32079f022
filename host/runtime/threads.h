// Inside of threads and clocks.
#pragma once

#include "host/sdk/thread.h"

namespace host {

/// Makes the calling thread the main thread.
void adoptMainThread();
/// Processors that the host's parallel work uses; 0: all that the process may run on. Limits TBB until called again.
void setThreadCount(Int32 count);

}  // namespace host
