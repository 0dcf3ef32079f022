// Undo of a document.
//
// A step is a list of records; undoing applies them backwards, redoing forwards. Applying a record takes the state that
// it replaces, so that the same record serves both ways:
//
//   presence   of an element that was made (New) or deleted (Delete): it is taken out or put back where it was
//   change     of an element, with its tags, shaders and tracks, and (Change) everything below it: contents are copied
//              back into the same nodes, lists are put back into order
//
// Elements stay the same objects as long as their code does not free them: an element that AddUndo(Delete) announced is
// kept by the step, also through the Free functions.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "host/sdk/document.h"

namespace host {

class UndoStack {
public:
    explicit UndoStack(BaseDocument& document);
    ~UndoStack();
    UndoStack(const UndoStack&) = delete;
    UndoStack& operator=(const UndoStack&) = delete;

    Bool start();
    Bool add(UndoType type, BaseList2D* element);
    Bool end();
    Bool undo();
    Bool redo();
    void flush();
    Int32 undoCount() const { return static_cast<Int32>(undo_.size()); }
    Int32 redoCount() const { return static_cast<Int32>(redo_.size()); }

    class Record {
    public:
        virtual ~Record() = default;
        virtual void apply(BaseDocument& document, Bool undoing) = 0;
    };

private:
    using Step = std::vector<std::unique_ptr<Record>>;
    /// Newest steps; older ones are dropped.
    static constexpr std::size_t kMaximumSteps = 200;

    BaseDocument& document_;
    std::deque<Step> undo_, redo_;
    Step open_;
    int depth_ = 0;  ///< of StartUndo calls
};

}  // namespace host
