#include "plugin/core/scene_collector.h"

#include <algorithm>
#include <iterator>

#include "plugin/core/ids.h"
#include "plugin/core/session.h"

namespace lumora {

namespace {

// Object types of the host that the routing knows beside those of the host's own headers.
enum : Int32 {
    OBJ_HAIR = 1017305,
    OBJ_THINKING_PARTICLES = 1001414,
    OBJ_PARTICLE_GEOMETRY = 1028886,
    TAG_HAIR_MATERIAL = 1017729,
};
/// Parameter of the instance, light and generator objects: "Enabled".
constexpr Int32 kEnabled = ID_BASEOBJECT_GENERATOR_FLAG;
constexpr Int32 kHairGeometry = 1031;
constexpr Int32 kHairMaterialLink = 1000;

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

/// Whether the engine has geometry of its own for the object: what its cache holds serves the host's views. A floor is
/// infinite, which the polygons of its cache are not; packages are placed one by one or not at all.
bool hasEngineGeometry(Int32 type, Int32 slot) {
    return type == Ofloor || (slot > 0 && (type == ID_LUMORA_PROXY || type == ID_LUMORA_PACKAGE_LOADER));
}

class Walk {
public:
    Walk(BaseDocument* document, SceneCollections& collections, const CollectOptions& options)
        : document_(document), collections_(collections), options_(options) {}

    CollectResult run() {
        static const SceneObjectInfo kNothingSaid;
        Int32 index = 0;
        for (BaseObject* object = document_->GetFirstObject(); object; object = object->GetNext()) {
            object->SetBit(BIT_EXPORTED);
            collectObject(kNothingSaid, object, nullptr, index++, 0);
        }
        return result_;
    }

private:
    /// The record of a depth. It lasts until the next object of that depth.
    SceneObjectInfo& recordAt(std::size_t depth) {
        if (depth == collections_.branch.size()) collections_.branch.emplace_back();
        return collections_.branch[depth];
    }

    /// `parent` holds what the parent said. `generator`: the record of the object whose cache this one is the top of,
    /// or null.
    void collectObject(const SceneObjectInfo& parent, BaseObject* object, const SceneObjectInfo* generator, Int32 index,
                       std::size_t depth) {
        ++result_.objects;
        // Nearly half of a walk is waiting for the memory of tags: those of the next object come meanwhile.
        if (const BaseObject* next = object->GetNext()) __builtin_prefetch(next->GetFirstTag());
        SceneObjectInfo& record = recordAt(depth);
        record = parent;
        if (generator) {
            record.inHiddenGenerator = record.inHiddenGenerator || !generator->renderVisible;
            if (!record.generator) record.generator = generator->object;
        }
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
        if (hasEngineGeometry(object->GetType(), record.meshGroupSlot)) evaluated = nullptr;
        if (evaluated) {
            collectObject(record, evaluated, &record, child++, depth + 1);
        } else {
            record.hierarchyOffset += object->GetMl().off;
            if (record.renderVisible && !record.inHiddenGenerator && !record.isControlObject) routeLeaf(record, object);
        }
        for (BaseObject* down = object->GetDown(); down; down = down->GetNext())
            collectObject(record, down, nullptr, child++, depth + 1);
    }

    RecordList& slotOf(const SceneObjectInfo& record) {
        return collections_.meshSlots[static_cast<std::size_t>(record.meshGroupSlot)];
    }

    BaseMaterial* hairMaterialOf(const BaseObject* object) const {
        const BaseTag* tag = object->GetTag(TAG_HAIR_MATERIAL);
        BaseList2D* material = tag ? tag->GetDataInstance()->GetLink(kHairMaterialLink, document_) : nullptr;
        return material && material->GetFamily() == NodeFamily::Material ? static_cast<BaseMaterial*>(material)
                                                                         : nullptr;
    }

    void routeSplinesAndHair(SceneObjectInfo& record, BaseObject* object) {
        if (!record.renderVisible) return;
        const BaseContainer* data = object->GetDataInstance();
        const bool spline = object->GetType() == Oline && record.hairSpline && !object->GetBit(BIT_IN_SPLINE_USE);
        const bool hair =
            object->GetType() == OBJ_HAIR && data->GetBool(kEnabled, true) && data->GetInt32(kHairGeometry) == 0;
        if (!spline && !hair) return;
        if (hair && !record.hairMaterial) record.hairMaterial = hairMaterialOf(object);
        collections_.hairObjects.push_back(record);
        if (options_.forCheck && record.meshGroupSlot > 0) slotOf(record).push_back(record);
    }

    void routeSources(const SceneObjectInfo& record, BaseObject* object) {
        const auto* row = std::ranges::find(kSourceTypes, object->GetType(), &SourceType::type);
        if (row == std::end(kSourceTypes) || !record.renderVisible) return;
        if (!object->GetDataInstance()->GetBool(kEnabled, true)) return;
        if (row->always || record.particleMode != 0) collections_.particleSources.push_back(record);
    }

    void routeLeaf(const SceneObjectInfo& record, BaseObject* object) {
        const BaseContainer* data = object->GetDataInstance();
        switch (object->GetType()) {
            case Opolygon:
                slotOf(record).push_back(record);
                break;
            case ID_LUMORA_PROXY:
            case ID_LUMORA_PACKAGE_LOADER:
                if (record.meshGroupSlot > 0) slotOf(record).push_back(record);
                break;
            case Ofloor: {
                // A plane has no place in a mesh of polygons: it is always sent by itself.
                const Int32 slot = std::max(record.meshGroupSlot, 1);
                collections_.meshSlots[static_cast<std::size_t>(slot)].push_back(record);
                collections_.meshSlots[static_cast<std::size_t>(slot)].back().meshGroupSlot = slot;
                break;
            }
            case Oinstance:
                if (data->GetBool(kEnabled, true)) collections_.instances.push_back(record);
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
