// What a host material is by its numbers: how often it changed, what it contains, what it becomes in the engine.
#pragma once

#include <vector>

#include "plugin/materials/mat_link.h"

namespace lumora {

/// Sum of an element's change counters: moves when anything of it may have changed.
UInt32 dirtySum(const BaseList2D& element);

/// Elements that a walk has been to. Keeps its memory: a walk of a known size allocates nothing.
class VisitedElements {
public:
    void clear();
    /// False when it was there before.
    bool insert(const BaseList2D* element);

private:
    void grow();
    std::vector<const BaseList2D*> slots_;  ///< open addressing, a power of two
    std::size_t count_ = 0;
};

/// Adds the element's parameters, with those of everything that it links, to the sums. What the plug-in itself keeps in
/// a material is no content, nor is a name. Circles of links end.
void addContent(const BaseList2D& element, ContentHash& hash, VisitedElements& visited);
ContentHash hashParameters(const BaseList2D& element);

/// Change counters of what the material depends on beside itself: objects that give a projection their place, and those
/// that instance colours are read from. 0 when it depends on nothing.
UInt32 dependencySum(const MatLink& link, const BaseMaterial& material, const BaseDocument& document);

/// The engine material that stands for a host material.
NodeType matNodeType(const BaseMaterial& material);

}  // namespace lumora
