#include "host/runtime/events.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <tuple>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/document.h"
#include "host/sdk/log.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

enum class EventKind : UChar { Core, DocumentChanged };

struct Event {
    EventKind kind = EventKind::Core;
    Int32 id = 0;
    UInt64 argument1 = 0, argument2 = 0;
    friend auto operator<=>(const Event&, const Event&) = default;
};

struct Timer {
    Clock::time_point due;
    bool running = false;
};

struct Queue {
    std::mutex lock;
    std::condition_variable posted;
    std::deque<Event> waiting;
    std::set<Event> present;  // what `waiting` holds

    // Main thread only.
    bool delivering = false;
    std::map<Int32, Timer> timers;  // by the receiver's plug-in id
    std::map<Int32, CoreListener> listeners;
    Int32 nextListener = 1;
};

Queue& queue() {
    static Queue instance;
    return instance;
}

void post(const Event& event) {
    Queue& q = queue();
    {
        const std::scoped_lock guard(q.lock);
        if (!q.present.insert(event).second) return;
        q.waiting.push_back(event);
    }
    q.posted.notify_all();
}

void tell(const Registration& entry, Int32 id, const BaseContainer& message) {
    const PluginScope scope(entry.owner);
    try {
        entry.receiver->CoreMessage(id, message);
    } catch (const std::exception& e) {
        GeConsoleOut("\"" + entry.info.name + "\" failed on a core message: " + e.what());
    }
}

// Caches, views, then everyone else: a receiver of EVMSG_CHANGE sees an evaluated document.
void documentChanged() {
    if (BaseDocument* document = GetActiveDocument()) {
        document->ExecutePasses(true, true, true);
        DrawViews();
    }
    sendCoreMessage(EVMSG_CHANGE);
}

Timer& timerOf(Queue& q, const Registration& entry) {
    const auto [place, isNew] = q.timers.try_emplace(entry.info.id);
    Timer& timer = place->second;
    if (isNew || !timer.running) {
        const PluginScope scope(entry.owner);
        const Int32 interval = entry.receiver->GetTimer();
        timer.running = interval > 0;
        timer.due = Clock::now() + std::chrono::milliseconds(std::max(interval, 0));
    }
    return timer;
}

Bool deliverTimers(Queue& q) {
    Bool any = false;
    for (const Registration* entry : registrationsOf(PluginKind::Message)) {
        Timer& timer = timerOf(q, *entry);
        if (!timer.running || timer.due > Clock::now()) continue;
        any = true;
        tell(*entry, EVMSG_TIMER, BaseContainer(EVMSG_TIMER));
        timer.running = false;  // asked again: the interval may have changed, and starts when the receiver is done
        timerOf(q, *entry);
    }
    return any;
}

}  // namespace

void sendCoreMessage(Int32 id, UInt64 argument1, UInt64 argument2) {
    BaseContainer message(id);
    message.SetInt64(BFM_CORE_PAR1, static_cast<Int64>(argument1));
    message.SetInt64(BFM_CORE_PAR2, static_cast<Int64>(argument2));
    for (const Registration* entry : registrationsOf(PluginKind::Message)) tell(*entry, id, message);
    const auto listeners = queue().listeners;  // a listener may remove itself
    for (const auto& [number, listener] : listeners) {
        if (queue().listeners.contains(number)) listener(id, message);
    }
}

Bool deliverEvents() {
    Queue& q = queue();
    if (q.delivering) return false;
    q.delivering = true;
    std::size_t left = 0;
    {
        const std::scoped_lock guard(q.lock);
        left = q.waiting.size();
    }
    Bool any = left > 0;
    for (; left > 0; --left) {
        Event event;
        {
            const std::scoped_lock guard(q.lock);
            if (q.waiting.empty()) break;  // reset by a receiver
            event = q.waiting.front();
            q.waiting.pop_front();
            q.present.erase(event);
        }
        if (event.kind == EventKind::DocumentChanged) {
            documentChanged();
        } else {
            sendCoreMessage(event.id, event.argument1, event.argument2);
        }
    }
    any = deliverTimers(q) || any;
    q.delivering = false;
    return any;
}

void waitForEvents(Float seconds) {
    Queue& q = queue();
    auto until = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<Float>(seconds));
    for (const auto& [id, timer] : q.timers) {
        if (timer.running) until = std::min(until, timer.due);
    }
    std::unique_lock guard(q.lock);
    q.posted.wait_until(guard, until, [&q] { return !q.waiting.empty(); });
}

void resetEvents() {
    Queue& q = queue();
    const std::scoped_lock guard(q.lock);
    q.waiting.clear();
    q.present.clear();
    q.timers.clear();
}

Int32 addCoreListener(CoreListener listener) {
    Queue& q = queue();
    q.listeners[q.nextListener] = std::move(listener);
    return q.nextListener++;
}

void removeCoreListener(Int32 number) {
    queue().listeners.erase(number);
}

void SpecialEventAdd(Int32 id, UInt64 argument1, UInt64 argument2) {
    post({EventKind::Core, id, argument1, argument2});
}

void EventAdd(Int32) {
    post({EventKind::DocumentChanged});
}

}  // namespace host
