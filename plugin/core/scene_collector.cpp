#include "plugin/core/scene_collector.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "plugin/core/ids.h"
#include "plugin/core/session.h"

namespace lumora {

namespace {

// Object types of the host that the routing knows beside those of the host's own headers.
enum : Int32 {
    OBJ_HAIR = 1017305,
    OBJ_THINKING_PARTICLES = 1001414,
    OBJ_PARTICLE_GEOMETRY = 1028886,
};
/// Parameter of the instance, light and generator objects: "Enabled".
constexpr Int32 kEnabled = ID_BASEOBJECT_GENERATOR_FLAG;
constexpr Int32 kHairGeometry = 1031;

/// Objects whose points become places of instances.
struct SourceType {
    Int32 type;
    bool always = false;  ///< else when the object tag asks for it
};
constexpr SourceType kSourceTypes[] = {
    {ID_LUMORA_SCATTER_OBJECT, true}, {1041085}, {1027133}, {Oparticle}, {1028114}, {1035500},
};
/// Generators whose clones have colours and ids of their own.
constexpr Int32 kMographGenerators[] = {1018544, 1018791, 1019268, 1018957, 1036557};

/// Objects whose trees are not one rigid piece.
bool movesInPieces(Int32 type) {
    return type == OBJ_THINKING_PARTICLES || type == Oparticle || type == OBJ_PARTICLE_GEOMETRY;
}

class Walk {
public:
    Walk(BaseDocument* document, SceneCollections& collections, const CollectOptions& options)
        : document_(document), collections_(collections), options_(options) {}

    CollectResult run() {
        Int32 index = 0;
        for (BaseObject* object = document_->GetFirstObject(); object; object = object->GetNext()) {
            object->SetBit(BIT_EXPORTED);
            collectObject(SceneObjectInfo{}, object, nullptr, index++);
        }
        return result_;
    }

private:
    /// `record` holds what the parent said. `generator`: the object whose cache this one is the top of, or null.
    void collectObject(SceneObjectInfo record, BaseObject* object, const SceneObjectInfo* generator, Int32 index) {
        ++result_.objects;
        readObjectPlace(record, object, generator);
        readObjectTags(document_, object, record, options_.tags);
        readObjectTagSums(record, object);
        if (!layerRenders(object)) record.renderVisible = false;
        if (object->GetBit(BIT_CONTROL_OBJECT)) record.isControlObject = true;
        if (options_.instancePaths) record.instancePath += String::IntToString(index) + ".";
        if (movesInPieces(object->GetType())) record.singleTransform = false;
        if (record.needsLayer) collections_.slotNeedsLayerMap[static_cast<std::size_t>(record.meshGroupSlot)] = true;
        if (std::ranges::find(kMographGenerators, object->GetType()) != std::end(kMographGenerators))
            collections_.mographObjects.push_back(record);
        routeSplinesAndHair(record, object);
        routeSources(record, object);

        Int32 child = 0;
        BaseObject* evaluated = object->GetDeformCache() ? object->GetDeformCache() : object->GetCache();
        if (object->GetType() == Ofloor) evaluated = nullptr;  // infinite, which the polygons of its cache are not
        if (evaluated) {
            SceneObjectInfo inCache = record;
            inCache.inHiddenGenerator = inCache.inHiddenGenerator || !record.renderVisible;
            if (!inCache.generator) inCache.generator = object;
            collectObject(std::move(inCache), evaluated, &record, 0);
            ++child;
        } else {
            record.hierarchyOffset += object->GetMl().off;
            if (record.renderVisible && !record.inHiddenGenerator && !record.isControlObject)
                routeLeaf(record, object, object->GetDown() == nullptr);
        }
        for (BaseObject* down = object->GetDown(); down; down = down->GetNext())
            collectObject(record, down, nullptr, child++);
    }

    void routeSplinesAndHair(const SceneObjectInfo& record, BaseObject* object) {
        if (!record.renderVisible) return;
        const BaseContainer* data = object->GetDataInstance();
        const bool spline = object->GetType() == Oline && record.hairSpline && !object->GetBit(BIT_IN_SPLINE_USE);
        const bool hair =
            object->GetType() == OBJ_HAIR && data->GetBool(kEnabled, true) && data->GetInt32(kHairGeometry) == 0;
        if (spline || hair) collections_.hairObjects.push_back(record);
    }

    void routeSources(const SceneObjectInfo& record, BaseObject* object) {
        const auto* row = std::ranges::find(kSourceTypes, object->GetType(), &SourceType::type);
        if (row == std::end(kSourceTypes) || !record.renderVisible) return;
        if (!object->GetDataInstance()->GetBool(kEnabled, true)) return;
        if (row->always || record.particleMode != 0) collections_.particleSources.push_back(record);
    }

    /// `last`: nobody needs the record after this.
    static void put(std::vector<SceneObjectInfo>& list, SceneObjectInfo& record, bool last) {
        if (last)
            list.push_back(std::move(record));
        else
            list.push_back(record);
    }

    void routeLeaf(SceneObjectInfo& record, BaseObject* object, bool last) {
        const BaseContainer* data = object->GetDataInstance();
        switch (object->GetType()) {
            case Opolygon:
                put(collections_.meshSlots[static_cast<std::size_t>(record.meshGroupSlot)], record, last);
                break;
            case Ofloor: {
                // A plane has no place in a mesh of polygons: it is always sent by itself.
                const Int32 slot = std::max(record.meshGroupSlot, 1);
                collections_.meshSlots[static_cast<std::size_t>(slot)].push_back(record);
                collections_.meshSlots[static_cast<std::size_t>(slot)].back().meshGroupSlot = slot;
                break;
            }
            case Oinstance:
                if (data->GetBool(kEnabled, true)) put(collections_.instances, record, last);
                break;
            case Olight:
                if (data->GetBool(kEnabled, true)) routeLight(record, object);
                break;
            case Osky:
                collections_.skyObjects.push_back(record);
                break;
            case Obackground:
                result_.background = object;
                break;
            case Oforeground:
                result_.foreground = object;
                break;
            default:
                break;
        }
    }

    void routeLight(const SceneObjectInfo& record, const BaseObject* object) {
        const bool tagged = object->GetTag(ID_LUMORA_LIGHT_TAG) != nullptr;
        switch (object->GetDataInstance()->GetInt32(LIGHT_TYPE)) {
            case LIGHT_TYPE_AREA:
                collections_.lights.push_back(record);
                break;
            case LIGHT_TYPE_OMNI:
                if (tagged) collections_.lights.push_back(record);
                break;
            case LIGHT_TYPE_DISTANT:
                (tagged ? collections_.lights : collections_.sunLights).push_back(record);
                break;
            default:
                break;
        }
    }

    BaseDocument* document_;
    SceneCollections& collections_;
    const CollectOptions& options_;
    CollectResult result_;
};

}  // namespace

void readObjectPlace(SceneObjectInfo& record, BaseObject* object, const SceneObjectInfo* generator) {
    record.object = object;
    record.parentObject = generator ? generator->object : nullptr;
    record.globalMatrix = record.globalMatrix * object->GetMl();
    record.guid = object->GetGUID() + (generator ? generator->object->GetGUID() : 0);
    record.uniqueIp = object->GetUniqueIP() + (generator ? generator->uniqueIp : 0);
    record.dirty.data = 2 * object->GetDirty(DIRTYFLAGS_DATA) + object->GetDirty(DIRTYFLAGS_CACHE) +
                        object->GetHDirty(HDIRTYFLAGS_TAG) + (generator ? generator->dirty.data : 0);
    record.dirty.matrix = object->GetDirty(DIRTYFLAGS_MATRIX);
}

void readObjectTagSums(SceneObjectInfo& record, const BaseObject* object) {
    record.dirty.tags = object->GetDirty(DIRTYFLAGS_DESCENDANTS) + record.tagDirtySum;
    record.dirty.hierarchy = object->GetDirty(DIRTYFLAGS_CACHE);
    if (record.mainTextureTag) record.dirty.hierarchy += record.mainTextureTag->GetDirty(DIRTYFLAGS_ALL);
    record.dirty.poly = record.materialDirtySum;
}

bool layerRenders(const BaseObject* object) {
    const LayerObject* layer = object->GetLayerObject();
    return !layer || layer->GetDataInstance()->GetBool(ID_LAYER_RENDER, true);
}

CollectResult collectScene(BaseDocument* document, SceneCollections& collections, const CollectOptions& options) {
    collections.clear();
    return Walk(document, collections, options).run();
}

}  // namespace lumora
