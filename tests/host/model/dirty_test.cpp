// What an edit costs: which counters rise, and which must not.
#include <gtest/gtest.h>

#include <functional>

#include "tests/host/model/sample_document.h"

namespace host {
namespace {

using test::DocumentPtr;

constexpr UInt32 kDirty[] = {DIRTYFLAGS_DATA, DIRTYFLAGS_MATRIX, DIRTYFLAGS_CACHE, DIRTYFLAGS_DESCENDANTS,
                             DIRTYFLAGS_SELECT};
constexpr UInt32 kHDirty[] = {HDIRTYFLAGS_OBJECT,  HDIRTYFLAGS_OBJECT_MATRIX, HDIRTYFLAGS_OBJECT_HIERARCHY,
                              HDIRTYFLAGS_TAG,     HDIRTYFLAGS_SHADER,        HDIRTYFLAGS_MATERIAL,
                              HDIRTYFLAGS_SETTINGS};

/// The flags whose counters differ between two readings of an element.
struct Reading {
    std::array<UInt32, std::size(kDirty)> own{};
    std::array<UInt32, std::size(kHDirty)> branch{};

    explicit Reading(const BaseList2D* node) {
        for (std::size_t i = 0; i < own.size(); ++i) own[i] = node->GetDirty(kDirty[i]);
        for (std::size_t i = 0; i < branch.size(); ++i) branch[i] = node->GetHDirty(kHDirty[i]);
    }
    UInt32 ownRisen(const Reading& before) const {
        UInt32 flags = 0;
        for (std::size_t i = 0; i < own.size(); ++i) {
            if (own[i] != before.own[i]) flags |= kDirty[i];
            EXPECT_GE(own[i], before.own[i]);
        }
        return flags;
    }
    UInt32 branchRisen(const Reading& before) const {
        UInt32 flags = 0;
        for (std::size_t i = 0; i < branch.size(); ++i) {
            if (branch[i] != before.branch[i]) flags |= kHDirty[i];
            EXPECT_GE(branch[i], before.branch[i]);
        }
        return flags;
    }
};

class Dirty : public testing::Test {
protected:
    void SetUp() override {
        parent = BaseObject::Alloc(Onull);
        document->AppendObject(parent);
        child = BaseObject::Alloc(Ocube);
        child->InsertUnder(parent);
        other = test::makeStrip(2);
        other->InsertUnderLast(parent);
        material = BaseMaterial::Alloc(Mmaterial);
        document->InsertMaterial(material);
        shader = BaseShader::Alloc(Xcolor);
        material->InsertShader(shader);
        tag = static_cast<TextureTag*>(child->MakeTag(Ttexture));
        layer = LayerObject::Alloc();
        document->InsertLayer(layer);
    }
    DocumentPtr document = test::newDocument();
    BaseObject *parent, *child;
    PolygonObject* other;
    BaseMaterial* material;
    BaseShader* shader;
    TextureTag* tag;
    LayerObject* layer;
};

TEST_F(Dirty, EachEditRaisesItsCountersAndNoOthers) {
    struct Row {
        const char* name;
        std::function<void()> edit;
        UInt32 childOwn, childBranch, parentOwn, parentBranch, documentBranch, materialBranch;
    };
    const Row rows[] = {
        {"move",
         [&] {
             child->SetAbsPos({1, 2, 3});
         },
         DIRTYFLAGS_MATRIX, HDIRTYFLAGS_OBJECT_MATRIX, 0, HDIRTYFLAGS_OBJECT_MATRIX, HDIRTYFLAGS_OBJECT_MATRIX, 0},
        {"move to where it is",
         [&] {
             child->SetAbsPos({1, 2, 3});
         },
         0, 0, 0, 0, 0, 0},
        {"same global matrix", [&] { child->SetMg(child->GetMg()); }, 0, 0, 0, 0, 0, 0},
        {"move the parent",
         [&] {
             parent->SetAbsPos({5, 0, 0});
         },
         0, 0, DIRTYFLAGS_MATRIX, HDIRTYFLAGS_OBJECT_MATRIX, HDIRTYFLAGS_OBJECT_MATRIX, 0},
        {"parameter", [&] { child->SetParameter(PRIM_CUBE_SUBX, GeData(4)); }, DIRTYFLAGS_DATA, HDIRTYFLAGS_OBJECT, 0,
         HDIRTYFLAGS_OBJECT, HDIRTYFLAGS_OBJECT, 0},
        {"equal parameter", [&] { child->SetParameter(PRIM_CUBE_SUBX, GeData(4)); }, 0, 0, 0, 0, 0, 0},
        {"equal parameter of another kind", [&] { child->SetParameter(PRIM_CUBE_SUBX, GeData(4.0)); }, 0, 0, 0, 0, 0,
         0},
        {"container", [&] { child->GetDataInstance()->SetInt32(PRIM_CUBE_SUBY, 9); }, DIRTYFLAGS_DATA,
         HDIRTYFLAGS_OBJECT, 0, HDIRTYFLAGS_OBJECT, HDIRTYFLAGS_OBJECT, 0},
        {"whole container", [&] { child->SetData(child->GetData()); }, 0, 0, 0, 0, 0, 0},
        {"rename", [&] { child->SetName("renamed"); }, DIRTYFLAGS_SELECT, 0, 0, 0, 0, 0},
        {"select", [&] { document->SetActiveObject(child); }, DIRTYFLAGS_SELECT, 0, 0, 0, 0, 0},
        {"layer", [&] { child->SetLayerObject(layer); }, DIRTYFLAGS_SELECT, 0, 0, 0, 0, 0},
        {"tag value", [&] { tag->SetParameter(TEXTURETAG_TILESX, GeData(2.0)); }, DIRTYFLAGS_DESCENDANTS,
         HDIRTYFLAGS_TAG, DIRTYFLAGS_DESCENDANTS, HDIRTYFLAGS_TAG, HDIRTYFLAGS_TAG, 0},
        {"new tag", [&] { child->MakeTag(Tphong); }, DIRTYFLAGS_DESCENDANTS, HDIRTYFLAGS_TAG, DIRTYFLAGS_DESCENDANTS,
         HDIRTYFLAGS_TAG, HDIRTYFLAGS_TAG, 0},
        {"same phong", [&] { child->SetPhong(true, true, 0.6981317007977318); }, 0, 0, 0, 0, 0, 0},
        {"kill tag", [&] { child->KillTag(Tphong); }, DIRTYFLAGS_DESCENDANTS, HDIRTYFLAGS_TAG, DIRTYFLAGS_DESCENDANTS,
         HDIRTYFLAGS_TAG, HDIRTYFLAGS_TAG, 0},
        {"points", [&] { other->SetDirty(DIRTYFLAGS_DATA); }, 0, 0, 0, HDIRTYFLAGS_OBJECT, HDIRTYFLAGS_OBJECT, 0},
        {"material", [&] { material->SetParameter(MATERIAL_COLOR_COLOR, GeData(Vector(0.1))); }, 0, 0, 0, 0,
         HDIRTYFLAGS_MATERIAL, HDIRTYFLAGS_MATERIAL},
        {"shader", [&] { shader->SetParameter(COLORSHADER_BRIGHTNESS, GeData(0.5)); }, 0, 0, 0, 0, HDIRTYFLAGS_SHADER,
         HDIRTYFLAGS_SHADER},
        {"lay the material on", [&] { tag->SetMaterial(material); }, DIRTYFLAGS_DESCENDANTS, HDIRTYFLAGS_TAG,
         DIRTYFLAGS_DESCENDANTS, HDIRTYFLAGS_TAG, HDIRTYFLAGS_TAG, 0},
        {"lay it on again", [&] { tag->SetMaterial(material); }, 0, 0, 0, 0, 0, 0},
        {"settings", [&] { document->GetActiveRenderData()->GetDataInstance()->SetInt32(RDATA_XRES, 3); }, 0, 0, 0, 0,
         HDIRTYFLAGS_SETTINGS, 0},
        {"time", [&] { document->SetTime(BaseTime(1.0)); }, 0, 0, 0, 0, 0, 0},
        {"reorder", [&] { other->InsertBefore(child); }, 0, 0, DIRTYFLAGS_CACHE,
         HDIRTYFLAGS_OBJECT | HDIRTYFLAGS_OBJECT_MATRIX | HDIRTYFLAGS_OBJECT_HIERARCHY,
         HDIRTYFLAGS_OBJECT | HDIRTYFLAGS_OBJECT_HIERARCHY, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Reading c(child), p(parent), d(document.get()), m(material);
        row.edit();
        const Reading c2(child), p2(parent), d2(document.get()), m2(material);
        EXPECT_EQ(c2.ownRisen(c), row.childOwn);
        EXPECT_EQ(c2.branchRisen(c), row.childBranch);
        EXPECT_EQ(p2.ownRisen(p), row.parentOwn);
        // Coming and going may raise more kinds, never fewer.
        const UInt32 extra = std::string(row.name) == "reorder" ? UInt32{HDIRTYFLAGS_OBJECT_MATRIX} : 0u;
        EXPECT_EQ(p2.branchRisen(p) | extra, row.parentBranch | extra);
        EXPECT_EQ(d2.branchRisen(d) & ~extra, row.documentBranch);
        EXPECT_EQ(m2.branchRisen(m), row.materialBranch);
    }
}

TEST_F(Dirty, SumsNeverFallWhenBranchesGo) {
    child->SetAbsPos({1, 1, 1});
    for (int i = 0; i < 5; ++i) child->SetParameter(PRIM_CUBE_SUBX, GeData(10 + i));
    const Reading d(document.get()), p(parent);
    child->Remove();
    const Reading d2(document.get()), p2(parent);
    EXPECT_NE(d2.branchRisen(d), 0u);
    EXPECT_NE(p2.branchRisen(p), 0u);
    BaseObject::Free(child);
    const Reading d3(document.get());
    EXPECT_EQ(d3.branchRisen(d2), 0u) << "freeing a loose object is nobody's change";
    BaseObject* fresh = BaseObject::Alloc(Onull);
    fresh->InsertUnder(parent);
    EXPECT_NE(Reading(document.get()).branchRisen(d3), 0u);
}

TEST_F(Dirty, CameraLensIsOneFact) {
    BaseObject* camera = BaseObject::Alloc(Ocamera);
    document->AppendObject(camera);
    camera->SetParameter(CAMERA_FOCUS, GeData(18.0));
    EXPECT_NEAR(camera->GetDataInstance()->GetFloat(CAMERAOBJECT_FOV), kPi / 2, 1e-12);
    camera->SetParameter(CAMERAOBJECT_FOV, GeData(0.92729521800161219));
    EXPECT_NEAR(camera->GetDataInstance()->GetFloat(CAMERA_FOCUS), 36, 1e-9);
    camera->SetParameter(DescID(ID_BASEOBJECT_REL_POSITION, kVectorY), GeData(4.0));
    EXPECT_EQ(camera->GetAbsPos(), Vector(0, 4, 0));
    GeData value;
    EXPECT_FALSE(camera->GetParameter(DescID(CAMERA_FOCUS, kVectorX), value));
}

}  // namespace
}  // namespace host
