#include "engine/graph/journal.h"

#include <functional>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "engine/graph/item.h"

namespace Lumora {

namespace engine {

bool journalOn = false;

namespace {

struct Key {
    JournalKind kind;
    const ApiItem* item;
    int id;
    unsigned pinIndex;
    friend bool operator==(const Key&, const Key&) = default;
};

struct KeyHash {
    std::size_t operator()(const Key& key) const {
        const std::size_t place = static_cast<std::size_t>(key.kind) * 8191 +
                                  static_cast<std::size_t>(key.id) * 131071 +
                                  static_cast<std::size_t>(key.pinIndex) * 524287;
        return std::hash<const void*>()(key.item) ^ (place * 0x9E3779B97F4A7C15ull);
    }
};

std::unordered_map<Key, std::size_t, KeyHash> places;
std::vector<JournalEntry> entries;

}  // namespace

void journalAdd(JournalKind kind, const ApiItem* item, NodeType type, int id, unsigned pinIndex) {
    const auto [found, added] = places.try_emplace({kind, item, id, pinIndex}, entries.size());
    if (added) {
        entries.push_back({kind, item, type, id, pinIndex, 0});
    }
    ++entries[found->second].count;
}

}  // namespace engine

void ApiWriteJournal::enable(bool on) {
    const std::lock_guard guard(engine::graphLock());
    engine::journalOn = on;
}

bool ApiWriteJournal::enabled() {
    const std::lock_guard guard(engine::graphLock());
    return engine::journalOn;
}

void ApiWriteJournal::reset() {
    const std::lock_guard guard(engine::graphLock());
    engine::places.clear();
    engine::entries.clear();
}

std::size_t ApiWriteJournal::count(JournalKind kind, const ApiItem* item, int id) {
    const std::lock_guard guard(engine::graphLock());
    std::size_t sum = 0;
    for (const JournalEntry& entry : engine::entries) {
        if (entry.kind == kind && (!item || entry.item == item) && (id == kAnyId || entry.id == id)) {
            sum += entry.count;
        }
    }
    return sum;
}

std::size_t ApiWriteJournal::total() {
    const std::lock_guard guard(engine::graphLock());
    std::size_t sum = 0;
    for (const JournalEntry& entry : engine::entries) {
        sum += entry.kind == JOURNAL_EVALUATE ? 0 : entry.count;
    }
    return sum;
}

std::size_t ApiWriteJournal::entryCount() {
    const std::lock_guard guard(engine::graphLock());
    return engine::entries.size();
}

JournalEntry ApiWriteJournal::entry(std::size_t index) {
    const std::lock_guard guard(engine::graphLock());
    return index < engine::entries.size() ? engine::entries[index] : JournalEntry{};
}

}  // namespace Lumora
