// Makes nodes of any type: the built-in ones from one table, those of plug-ins through their registration.
#pragma once

#include <memory>

#include "host/sdk/document.h"
#include "host/sdk/node_data.h"

namespace host {

/// One built-in type.
struct NodeType {
    Int32 type;
    NodeFamily family;
    const char* name;
    const Description* description;
    BaseList2D* (*allocate)(Int32 type);
};

class NodeFactory {
public:
    /// Null for a type that is not built in.
    static const NodeType* builtIn(NodeFamily family, Int32 type);
    static Bool isKnown(NodeFamily family, Int32 type);

    /// A loose node with its defaults; null for an unknown type. `loading`: a file's or an original's values follow.
    static BaseList2D* make(NodeFamily family, Int32 type, Bool loading = false);
    /// The same for types that may be unknown: those become nodes that only keep their data.
    static BaseList2D* makeOrKeep(NodeFamily family, Int32 type);
    /// Gives the node the mind of its type, when the type has one.
    static void giveData(BaseList2D& node, Bool loading);

    static const Description* descriptionOf(NodeFamily family, Int32 type);
    static String nameOf(NodeFamily family, Int32 type);
    /// Base type of a family (Obase, Tbase, ...); 0 for families without one.
    static Int32 baseOf(NodeFamily family);

private:
    static BaseList2D* shell(NodeFamily family, Int32 type);
    static const NodeType* table(std::size_t* count);
};

}  // namespace host
