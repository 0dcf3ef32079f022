// Counts what was really written into the engine's nodes.
//
// A setter that is given the value that is there writes nothing and is not counted. Off at start; a test or a benchmark
// switches it on, makes an edit, and asks what the edit cost.
#pragma once

#include <cstddef>

#include "engine/api/api_item.h"

namespace Lumora {

enum JournalKind : int {
    JOURNAL_PIN = 0,    ///< a pin's value was written
    JOURNAL_ATTRIBUTE,  ///< an attribute was written
    JOURNAL_CONNECT,    ///< a pin was connected or emptied
    JOURNAL_CREATE,     ///< an item was made by the caller
    JOURNAL_DESTROY,    ///< an item was destroyed, one for each, what it owned included
    JOURNAL_EVALUATE,   ///< an item was evaluated on demand
};

struct JournalEntry {
    JournalKind kind{};
    const ApiItem* item = nullptr;  ///< may be gone by now: for comparing only
    NodeType nodeType{};            ///< NT_UNKNOWN for a graph
    int id = 0;                     ///< pin or attribute; 0 for kinds without one, and for dynamic pins
    unsigned pinIndex = 0;          ///< for pins and connections
    unsigned count = 0;             ///< times since the last reset
};

class ApiWriteJournal {
public:
    static constexpr int kAnyId = -1;

    LUMORA_API static void enable(bool on);
    LUMORA_API static bool enabled();
    /// Forgets everything counted so far.
    LUMORA_API static void reset();

    /// Number of writes of a kind: of one item or of all (null), of one pin or attribute or of all (kAnyId).
    LUMORA_API static std::size_t count(JournalKind kind, const ApiItem* item = nullptr, int id = kAnyId);
    /// Everything but evaluations.
    LUMORA_API static std::size_t total();

    /// What was counted, in the order of the first write of each entry.
    LUMORA_API static std::size_t entryCount();
    LUMORA_API static JournalEntry entry(std::size_t index);
};

}  // namespace Lumora
