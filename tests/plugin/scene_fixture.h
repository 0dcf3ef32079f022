// Small documents, and what the plug-in made of them in the engine.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "engine/api/delayload.h"
#include "engine/api/lumora_api.h"
#include "plugin/core/globals.h"
#include "plugin/geometry/object_tags.h"
#include "plugin/materials/material_generation.h"
#include "plugin/materials/material_manager.h"

namespace lumora::test {

/// An empty document in an empty project.
class SceneTest : public testing::Test {
protected:
    SceneTest() : doc(BaseDocument::Alloc()) {
        std::string error;
        if (!Lumora::loadEngineLibrary(LUMORA_TEST_PLUGIN_DIR "/Libs300", &error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::abort();
        }
        resetGlobals();
        ApiProjectManager::resetProject();
        Lumora::ApiWriteJournal::enable(true);
        Lumora::ApiWriteJournal::reset();
        materials.setDocument(doc, nullptr);
    }
    ~SceneTest() override {
        materials.clearAll();
        Lumora::ApiWriteJournal::enable(false);
        ApiProjectManager::resetProject();
        BaseDocument::Free(doc);
    }

    template <typename T>
    T* add(T* object, BaseObject* parent = nullptr) {
        doc->AppendObject(object, parent);
        return object;
    }
    BaseObject* addNull(const char* name, BaseObject* parent = nullptr) {
        BaseObject* object = BaseObject::Alloc(Onull);
        object->SetName(name);
        return add(object, parent);
    }

    /// A triangle (0,0,0) (0,1,0) (1,0,0) and beside it a quad (2,0,0) (2,1,0) (3,1,0) (3,0,0); both face -z.
    PolygonObject* addTriangleAndQuad(BaseObject* parent = nullptr) {
        PolygonObject* object = PolygonObject::Alloc(7, 2);
        object->Points() = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {3, 1, 0}, {3, 0, 0}};
        object->Polygons() = {CPolygon(0, 1, 2), CPolygon(3, 4, 5, 6)};
        object->SetName("Shapes");
        return add(object, parent);
    }
    /// UVs of corner c of polygon p: (p + c / 10, c / 100, 0.5).
    static UVWTag* addUvs(PolygonObject* object) {
        const Int32 count = object->GetPolygonCount();
        UVWTag* tag = UVWTag::Alloc(count);
        for (Int32 p = 0; p < count; ++p) {
            const auto at = [p](Float c) { return Vector(p + c / 10, c / 100, 0.5); };
            tag->Set(p, {at(0), at(1), at(2), at(3)});
        }
        object->InsertTag(tag, lastTag(object));
        return tag;
    }
    static BaseTag* lastTag(const BaseObject* object) {
        BaseTag* last = object->GetFirstTag();
        while (last && last->GetNext()) last = last->GetNext();
        return last;
    }
    static TextureTag* addTexture(BaseObject* object, BaseMaterial* material, const char* selection = "",
                                  Int32 projection = P_UVW) {
        TextureTag* tag = TextureTag::Alloc();
        tag->SetMaterial(material);
        tag->GetDataInstance()->SetInt32(TEXTURETAG_PROJECTION, projection);
        tag->GetDataInstance()->SetString(TEXTURETAG_RESTRICTION, selection);
        object->InsertTag(tag, lastTag(object));
        return tag;
    }
    static void addSelection(BaseObject* object, const char* name, Int32 first, Int32 last) {
        SelectionTag* tag = SelectionTag::Alloc(Tpolygonselection);
        tag->SetName(name);
        tag->GetBaseSelect()->Select(first, last);
        object->InsertTag(tag, lastTag(object));
    }

    BaseMaterial* addMaterial(const char* name, const Vector& colour = Vector(0.5)) {
        BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
        material->SetName(name);
        BaseContainer& d = *material->GetDataInstance();
        d.SetBool(MATERIAL_USE_COLOR, true);
        d.SetVector(MATERIAL_COLOR_COLOR, colour);
        d.SetFloat(MATERIAL_COLOR_BRIGHTNESS, 1.0);
        for (Int32 channel : {MATERIAL_USE_LUMINANCE, MATERIAL_USE_TRANSPARENCY, MATERIAL_USE_REFLECTION,
                              MATERIAL_USE_BUMP, MATERIAL_USE_ALPHA, MATERIAL_USE_NORMAL})
            d.SetBool(channel, false);
        doc->InsertMaterial(material);
        return material;
    }
    MatLink* generate(BaseMaterial* material) {
        MatLink* link = materials.findLinkByMaterial(material);
        if (!link) link = materials.createMatLink(material);
        generateMaterial(materials, material, link);
        return link;
    }

    SceneObjectInfo record(BaseObject* object) {
        SceneObjectInfo info;
        info.object = object;
        info.globalMatrix = object->GetMg();
        readObjectTags(doc, object, info);
        return info;
    }

    static std::size_t writes() { return Lumora::ApiWriteJournal::total(); }

    BaseDocument* doc;
    MatManager materials{"matMngr"};
};

inline std::vector<int> ints(const ApiNode* node, AttributeId id) {
    const auto a = node->getIntArray(id);
    return {a.begin(), a.end()};
}
inline std::vector<Float3> vectors(const ApiNode* node, AttributeId id) {
    const auto a = node->getFloat3Array(id);
    return {a.begin(), a.end()};
}
inline void expectNear(const Float3& got, const Float3& wanted, float tolerance, const char* what) {
    EXPECT_NEAR(got.x, wanted.x, tolerance) << what << " x";
    EXPECT_NEAR(got.y, wanted.y, tolerance) << what << " y";
    EXPECT_NEAR(got.z, wanted.z, tolerance) << what << " z";
}

}  // namespace lumora::test
