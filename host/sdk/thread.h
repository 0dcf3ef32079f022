// Threads, time and the main thread's event queue.
#pragma once

#include <memory>

#include "host/sdk/ge_data.h"

namespace host {

class BaseDraw;

enum class ThreadPriority : Int32 { Normal = 0, Above = 1000, Below = 1001, Lowest = 1002 };

/// A thread of a plug-in. Derive, start, end. End must have been called before the destructor.
class HOST_API C4DThread {
public:
    C4DThread();
    virtual ~C4DThread();
    C4DThread(const C4DThread&) = delete;
    C4DThread& operator=(const C4DThread&) = delete;

    virtual void Main() = 0;
    virtual const char* GetThreadName() = 0;
    /// True: the work of Main should stop although nobody called End.
    virtual Bool TestDBreak() { return false; }

    Bool Start(ThreadPriority priority = ThreadPriority::Normal);
    /// Asks Main to stop; with wait returns when it has.
    void End(Bool wait = true);
    Bool IsRunning() const;
    void Wait();
    /// To be polled by Main.
    Bool TestBreak();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

HOST_API Bool GeIsMainThread();
HOST_API void GeSleep(Int32 milliseconds);
HOST_API Float GeGetMilliSeconds();        ///< monotonic, since the host's start
HOST_API Int32 GeGetTimer();               ///< the same, whole
HOST_API Int32 GeGetCurrentThreadCount();  ///< processors that the host's parallel work uses

// Events. Every call may come from any thread; delivery is on the main thread, in order.

/// Arguments of a core message stand in its container.
inline constexpr Int32 BFM_CORE_PAR1 = fourCC('M', 'c', 'i', '1'), BFM_CORE_PAR2 = fourCC('M', 'c', 'i', '2');

enum CoreMessageId : Int32 {
    EVMSG_CHANGE = 604,  ///< the document changed
    EVMSG_DOCUMENTRECALCULATED = fourCC('d', 'r', 'c', 'l'),
    EVMSG_MATERIALSELECTION = fourCC('m', 's', 'e', 'l'),
    EVMSG_TIMECHANGED = fourCC('t', 'i', 'm', 'e'),
    EVMSG_TIMER = fourCC('t', 'i', 'c', 'k'),  ///< a message plug-in's own timer
    EVMSG_ACTIVEDOCUMENT = fourCC('a', 'd', 'o', 'c'),
};

/// Posts a core message to every message plug-in and dialog. Several posts of one id with equal arguments that wait at
/// once are delivered once.
HOST_API void SpecialEventAdd(Int32 id, UInt64 argument1 = 0, UInt64 argument2 = 0);
/// Tells that the document changed: caches are built, views redrawn, EVMSG_CHANGE delivered. Calls that wait at once
/// become one.
HOST_API void EventAdd(Int32 flags = 0);
/// Redraws the views now: runs the scene hooks. Main thread.
HOST_API Bool DrawViews(Int32 flags = 0, BaseDraw* view = nullptr);

}  // namespace host
