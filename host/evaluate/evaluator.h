// Evaluation of a document: animation, then the caches that are out of date.
#pragma once

#include "host/sdk/document.h"

namespace host {

/// What BaseDocument::ExecutePasses runs. A friend of the objects, whose caches it owns the making of.
class Evaluator {
public:
    explicit Evaluator(BaseDocument& document) : document_(document) {}

    /// Sets what tracks give at the document's time, on objects, tags, materials, shaders and layers. Values that are
    /// there already are left alone, so that nothing becomes dirty.
    void animate();
    /// Builds the caches of generators whose parameters, tags or children changed since, and drops those of generators
    /// that are switched off. The caches of all others stay as they are, and so do their change counters.
    void buildCaches();

    /// Number of caches that buildCaches made so far.
    Int32 cachesBuilt() const { return built_; }

private:
    void updateCache(BaseObject& object);
    void adoptCache(BaseObject& object, BaseObject* cache);

    BaseDocument& document_;
    Int32 built_ = 0;
};

}  // namespace host
