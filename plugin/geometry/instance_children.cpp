#include "plugin/geometry/instance_children.h"

#include <algorithm>
#include <unordered_map>

#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/scene_collector.h"
#include "plugin/geometry/object_tags.h"

namespace lumora {

namespace {

// Instances of instances multiply. Past these a base is cut off, with a line in the log.
constexpr std::size_t kMaxDepth = 64, kMaxPlacements = 1'000'000;

class ChildCollector {
public:
    ChildCollector(BaseDocument* doc, std::vector<InstanceChild>& children) : doc_(doc), children_(children) {}

    void collect(BaseObject* base) {
        SceneObjectInfo info;
        info.renderVisible = true;
        // Tags of what the base stands under are seen as well.
        info.hasRestrictions = base->GetUp() != nullptr;
        enter(base, std::move(info));
        if (circle_) logLine(base->GetName() + " is among its own instances; they are left out there.");
        if (cut_) logLine(base->GetName() + " holds too many instances of instances; the rest is left out.");
    }

private:
    /// What an instance shows: the base itself, where it stands replaced by where the instance stands, and whether the
    /// base hides itself replaced by whether the instance does.
    void enter(BaseObject* base, SceneObjectInfo info) {
        if (std::find(open_.begin(), open_.end(), base) != open_.end()) {
            circle_ = true;
            return;
        }
        if (open_.size() >= kMaxDepth) {
            cut_ = true;
            return;
        }
        open_.push_back(base);
        info.generator = nullptr;
        visit(base, std::move(info), nullptr, true);
        open_.pop_back();
    }

    /// `record` holds what the parent said. `generator`: the object whose cache this one is the top of, or null.
    void visit(BaseObject* object, SceneObjectInfo record, const SceneObjectInfo* generator, bool isBase) {
        if (cut_ || sendBroken()) return;
        const bool visible = record.renderVisible;
        const Matrix parent = record.globalMatrix;
        readObjectPlace(record, object, generator);
        if (isBase) record.globalMatrix = parent;
        readObjectTags(doc_, object, record);
        readObjectTagSums(record, object);
        if (isBase && record.opacity != 0.0) record.renderVisible = visible;
        if (!layerRenders(object)) record.renderVisible = false;

        BaseObject* evaluated = object->GetDeformCache() ? object->GetDeformCache() : object->GetCache();
        if (evaluated) {
            SceneObjectInfo inCache = record;
            inCache.inHiddenGenerator = inCache.inHiddenGenerator || !record.renderVisible;
            if (!inCache.generator) inCache.generator = object;
            visit(evaluated, std::move(inCache), &record, false);
        } else {
            record.hierarchyOffset += object->GetMl().off;
            const bool shown = record.renderVisible && !record.inHiddenGenerator &&
                               !object->GetBit(BIT_CONTROL_OBJECT | BIT_IN_SPLINE_USE) &&
                               (isBase || object->GetEditorMode() != VisibilityMode::Off);
            if (shown) showLeaf(object, record);
        }
        for (BaseObject* child = object->GetDown(); child; child = child->GetNext())
            visit(child, record, nullptr, false);
    }

    void showLeaf(BaseObject* object, const SceneObjectInfo& record) {
        if (object->GetType() == Opolygon) {
            place(record);
        } else if (object->GetType() == Oinstance && object->GetDeformMode()) {
            if (BaseObject* inner = instanceBase(*object, doc_)) enter(inner, record);
        }
    }

    void place(const SceneObjectInfo& record) {
        if (placements_ >= kMaxPlacements) {
            cut_ = true;
            return;
        }
        ++placements_;
        const auto [it, isNew] = known_.try_emplace(record.object, children_.size());
        if (isNew) children_.push_back({record, {}});
        children_[it->second].placements.push_back(record.globalMatrix);
    }

    BaseDocument* doc_;
    std::vector<InstanceChild>& children_;
    std::vector<const BaseObject*> open_;  ///< bases on the way down
    std::unordered_map<const BaseObject*, std::size_t> known_;
    std::size_t placements_ = 0;
    bool circle_ = false, cut_ = false;
};

}  // namespace

BaseObject* instanceBase(const BaseObject& instance, const BaseDocument* doc) {
    BaseList2D* target = instance.GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, doc);
    return target && target->IsInstanceOf(Obase) ? static_cast<BaseObject*>(target) : nullptr;
}

void collectInstanceChildren(BaseDocument* doc, BaseObject* base, std::vector<InstanceChild>& children) {
    children.clear();
    ChildCollector(doc, children).collect(base);
}

}  // namespace lumora
