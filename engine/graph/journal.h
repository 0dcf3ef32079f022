// The write journal's writing side.
#pragma once

#include "engine/api/write_journal.h"

namespace Lumora::engine {

extern bool journalOn;  ///< read and written under the graph's lock

void journalAdd(JournalKind kind, const ApiItem* item, NodeType type, int id, unsigned pinIndex);

/// Costs one test while the journal is off. Under the graph's lock.
inline void journal(JournalKind kind, const ApiItem* item, NodeType type, int id = 0, unsigned pinIndex = 0) {
    if (journalOn) {
        journalAdd(kind, item, type, id, pinIndex);
    }
}

}  // namespace Lumora::engine
