// The main thread's event queue.
//
// Posts come from any thread and wait in order. An event that equals a waiting one is dropped: what counts is that the
// message comes after the post. deliver() runs on the main thread; what is posted meanwhile waits for the next call.
#pragma once

#include <functional>

#include "host/sdk/thread.h"

namespace host {

/// Delivers what waits now, and the timers that are due. False when there was nothing. Nested calls do nothing.
Bool deliverEvents();
/// Returns when something was posted, a timer is due or the time is over, whichever is first.
void waitForEvents(Float seconds);
/// Drops what waits and forgets the timers.
void resetEvents();

/// Sends a core message at once to every message receiver and listener. Main thread.
void sendCoreMessage(Int32 id, UInt64 argument1 = 0, UInt64 argument2 = 0);

/// The host's own receivers (windows): called after the message plug-ins, until removed.
using CoreListener = std::function<void(Int32 id, const BaseContainer& message)>;
Int32 addCoreListener(CoreListener listener);
void removeCoreListener(Int32 number);

}  // namespace host
