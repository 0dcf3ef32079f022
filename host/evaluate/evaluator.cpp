#include "host/evaluate/evaluator.h"

#include <cmath>
#include <exception>
#include <vector>

#include "host/evaluate/primitives.h"
#include "host/model/list_access.h"
#include "host/sdk/log.h"
#include "host/sdk/node_data.h"
#include "host/sdk/plugin.h"

namespace host {

namespace {

// Rotation, position and scale of one object, gathered from its tracks and written as one matrix: setting them one by
// one would take angles out of a half-made matrix.
struct Placement {
    Vector position, rotation, scale;
    explicit Placement(const BaseObject& object)
        : position(object.GetAbsPos()), rotation(object.GetAbsRot()), scale(object.GetAbsScale()) {}

    Vector* part(Int32 id) {
        switch (id) {
            case ID_BASEOBJECT_REL_POSITION:
                return &position;
            case ID_BASEOBJECT_REL_ROTATION:
                return &rotation;
            case ID_BASEOBJECT_REL_SCALE:
                return &scale;
            default:
                return nullptr;
        }
    }
    Matrix matrix() const {
        Matrix m = HPBToMatrix(rotation) * MatrixScale(scale);
        m.off = position;
        return m;
    }
};

Bool isFinite(const Matrix& m) {
    const Vector sum = m.off + m.v1 + m.v2 + m.v3;
    return std::isfinite(sum.x + sum.y + sum.z);
}

void setPart(Vector* vector, Int32 component, const GeData& value) {
    switch (component) {
        case kVectorX:
            vector->x = value.GetFloat(vector->x);
            break;
        case kVectorY:
            vector->y = value.GetFloat(vector->y);
            break;
        case kVectorZ:
            vector->z = value.GetFloat(vector->z);
            break;
        default:
            *vector = value.GetVector(*vector);
    }
}

// Tracks of an object's placement. The others are left to animateParameters.
void animatePlacement(BaseObject& object, const BaseTime& time) {
    Placement placement(object);
    Matrix whole = object.GetMl();
    Bool parts = false;
    for (const BaseTrack* track = object.GetFirstTrack(); track; track = static_cast<BaseTrack*>(track->GetNext())) {
        const DescID& id = track->GetParameterID();
        if (track->GetKeys().empty()) continue;
        if (Vector* part = placement.part(id.id)) {
            setPart(part, id.component, track->GetValue(time));
            parts = true;
        } else if (id.id == ID_BASEOBJECT_REL_MATRIX) {
            whole = track->GetValue(time).GetMatrix(whole);
        }
    }
    const Matrix target = parts ? placement.matrix() : whole;
    if (isFinite(target) && !(target == object.GetMl())) object.SetMl(target);
}

void animateParameters(BaseList2D& node, const BaseTime& time) {
    for (const BaseTrack* track = node.GetFirstTrack(); track; track = static_cast<BaseTrack*>(track->GetNext())) {
        const DescID& id = track->GetParameterID();
        const Bool placing = node.GetFamily() == NodeFamily::Object && id.id >= ID_BASEOBJECT_REL_POSITION &&
                             id.id <= ID_BASEOBJECT_REL_MATRIX && id.id != ID_BASEOBJECT_GENERATOR_FLAG;
        if (placing || track->GetKeys().empty()) continue;
        const GeData value = track->GetValue(time);
        GeData now;
        if (node.GetParameter(id, now) && now == value) continue;
        node.SetParameter(id, value);
    }
}

UInt64 mixed(UInt64 x) {  // the finaliser of splitmix64 (S. Vigna)
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

// What a cache is made from, as a sum of change counters: never 0, which stands for "no cache was made yet".
UInt32 cacheSource(const BaseObject& object) {
    UInt32 sum = object.GetDirty(DIRTYFLAGS_DATA) + 1;
    if (isPrimitive(object.GetType())) {
        const BaseTag* phong = object.GetTag(Tphong);
        sum += phong ? phong->GetDirty(DIRTYFLAGS_DATA) + 1 : 0;
    } else {  // a plug-in's generator may look at everything that hangs on it
        for (const BaseTag* tag = object.GetFirstTag(); tag; tag = tag->GetNext()) {
            sum += tag->GetDirty(DIRTYFLAGS_DATA) + 1;
        }
        for (const BaseObject* child = object.GetDown(); child; child = child->GetNext()) {
            sum += child->GetHDirty(HDIRTYFLAGS_ALL) + 1;
        }
    }
    return sum == 0 ? 1 : sum;
}

BaseObject* callGenerator(ObjectData& data, BaseObject& object, const BaseDocument& document) {
    try {
        return data.GetVirtualObjects(&object, &document);
    } catch (const std::exception& e) {
        GeConsoleOut("Error: \"" + object.GetName() + "\" could not be evaluated: " + e.what());
        return nullptr;
    }
}

}  // namespace

void Evaluator::animate() {
    const BaseTime time = document_.GetTime();
    std::vector<BaseList2D*> nodes;
    ListAccess::gatherDocument(document_, false, nodes);
    for (BaseList2D* node : nodes) {
        if (!node->GetFirstTrack() || node->GetFamily() == NodeFamily::Track) continue;
        if (node->GetFamily() == NodeFamily::Object) animatePlacement(static_cast<BaseObject&>(*node), time);
        animateParameters(*node, time);
    }
}

void Evaluator::adoptCache(BaseObject& object, BaseObject* cache) {
    ListAccess::setCache(object, Branch::Cache, cache);
    if (!cache) return;
    std::vector<BaseList2D*> nodes;
    ListAccess::gather(*cache, false, nodes);
    UInt64 number = 0;
    for (BaseList2D* node : nodes) {
        // The same thing in every rebuild and in every copy of the document.
        ListAccess::setGuid(*node, mixed(object.GetGUID() + 0x9E3779B97F4A7C15ULL * ++number));
        // A new object counts from 0; whoever compares sums with those of the one before must see a change.
        if (node->GetFamily() == NodeFamily::Object) static_cast<BaseObject*>(node)->dirtyData_ += object.dirtyCache_;
    }
}

void Evaluator::updateCache(BaseObject& object) {
    auto* data = dynamic_cast<ObjectData*>(object.GetNodeData());
    if (!data) return;
    const UInt32 source = cacheSource(object);
    if (object.cacheBuiltAt_ == source) return;
    BaseObject* cache = object.GetDeformMode() ? callGenerator(*data, object, document_) : nullptr;
    if (cache || object.GetCache()) {
        ++built_;
        adoptCache(object, cache);
    }
    // Read again: a generator may have changed parameters of its own.
    object.cacheBuiltAt_ = cacheSource(object);
}

void Evaluator::buildCaches() {
    std::vector<BaseObject*> waiting;
    std::vector<BaseObject*> order;  // parents before children
    for (BaseObject* object = document_.GetFirstObject(); object; object = object->GetNext()) waiting.push_back(object);
    while (!waiting.empty()) {
        BaseObject* object = waiting.back();
        waiting.pop_back();
        order.push_back(object);
        for (BaseObject* child = object->GetDown(); child; child = child->GetNext()) waiting.push_back(child);
    }
    // Children first: a generator may use what they evaluate to.
    for (auto object = order.rbegin(); object != order.rend(); ++object) updateCache(**object);
}

Bool BaseDocument::ExecutePasses(Bool animation, Bool /*expressions*/, Bool caches) {
    Evaluator evaluator(*this);
    if (animation) evaluator.animate();
    if (caches) evaluator.buildCaches();
    return true;
}

}  // namespace host
