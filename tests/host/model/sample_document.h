// A document that holds one of everything, with links forwards and backwards.
#pragma once

#include <memory>

#include "host/sdk/custom_types.h"
#include "host/sdk/document.h"

namespace host::test {

struct FreeDocument {
    void operator()(BaseDocument* document) const { BaseDocument::Free(document); }
};
using DocumentPtr = std::unique_ptr<BaseDocument, FreeDocument>;

inline DocumentPtr newDocument() {
    return DocumentPtr(BaseDocument::Alloc());
}

/// A strip of `polygons` quads in the xz plane.
inline PolygonObject* makeStrip(Int32 polygons) {
    PolygonObject* mesh = PolygonObject::Alloc(2 * (polygons + 1), polygons);
    for (Int32 i = 0; i <= polygons; ++i) {
        mesh->GetPointW()[2 * i] = Vector(i, 0, 0);
        mesh->GetPointW()[2 * i + 1] = Vector(i, 0, 1);
    }
    for (Int32 i = 0; i < polygons; ++i) {
        mesh->GetPolygonW()[i] = CPolygon(2 * i, 2 * i + 1, 2 * i + 3, 2 * i + 2);
    }
    mesh->SetDirty(DIRTYFLAGS_DATA);
    return mesh;
}

inline constexpr Int32 kUserGradient = 5001, kUserList = 5002, kUserBytes = 5003, kUserContainer = 5004,
                       kUserLink = 5005, kUserTime = 5006;

inline DocumentPtr makeSampleDocument() {
    DocumentPtr document = newDocument();
    BaseDocument& d = *document;
    d.SetFps(25);
    d.SetTime(BaseTime::FromFrame(7, 25));
    d.SetUnitScale(0.5);

    LayerObject* layer = LayerObject::Alloc();
    layer->SetName("Layer");
    d.InsertLayer(layer);
    LayerObject* inner = LayerObject::Alloc();
    inner->InsertUnder(layer);

    // The first object links to the last one, which stands later in every walk.
    BaseObject* instance = BaseObject::Alloc(Oinstance);
    d.AppendObject(instance);
    BaseObject* parent = BaseObject::Alloc(Onull);
    parent->SetName("Parent");
    parent->SetLayerObject(inner);
    parent->SetAbsRot({0.3, -0.2, 0.1});
    d.AppendObject(parent);
    PolygonObject* mesh = makeStrip(3);
    mesh->SetName("Mesh");
    const UChar id[] = {1, 2, 3, 250};
    mesh->AddUniqueID(77, id, sizeof id);
    mesh->InsertUnderLast(parent);
    BaseObject* camera = BaseObject::Alloc(Ocamera);
    camera->InsertUnderLast(parent);
    LineObject* line = LineObject::Alloc(5);
    line->Segments() = {2, 3};
    line->SetClosed(true);
    d.AppendObject(line);
    d.AppendObject(BaseObject::Alloc(Ocube));
    instance->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, mesh);

    BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
    d.InsertMaterial(material);
    BaseShader* bitmap = BaseShader::Alloc(Xbitmap);
    bitmap->GetDataInstance()->SetFilename(BITMAPSHADER_FILENAME, Filename("tex/wood.png"));
    material->InsertShader(bitmap);
    BaseShader* nested = BaseShader::Alloc(Xcolor);
    bitmap->InsertShader(nested);
    material->GetDataInstance()->SetLink(MATERIAL_COLOR_SHADER, bitmap);

    auto* texture = static_cast<TextureTag*>(mesh->MakeTag(Ttexture));
    texture->SetMaterial(material);
    auto* uvw = static_cast<UVWTag*>(mesh->MakeTag(Tuvw));
    uvw->Set(1, {{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}});
    auto* normals = static_cast<NormalTag*>(mesh->MakeTag(Tnormal));
    normals->Data()[2][3] = {0, 1, 0};
    auto* selection = static_cast<SelectionTag*>(mesh->MakeTag(Tpolygonselection));
    selection->GetBaseSelect()->Select(0, 0);
    selection->GetBaseSelect()->Select(2, 2);
    static_cast<VertexTag*>(mesh->MakeTag(Tvertexmap))->Data()[3] = 0.5f;
    static_cast<VertexTag*>(mesh->MakeTag(Tvertexcolor))->Data()[5] = 0.25f;
    mesh->SetPhong(true, true, 0.7);

    BaseContainer& user = *parent->GetDataInstance();
    auto gradient = std::make_shared<Gradient>();
    gradient->knots = {{Vector(0.1, 0.2, 0.3), 1, 0.25, 0.5, Gradient::Interpolation::Step}};
    user.Set(kUserGradient, std::shared_ptr<const CustomDataType>(gradient));
    auto list = std::make_shared<InExcludeData>();
    list->entries = {{GeData(mesh), 3}, {GeData(material), 0}};
    user.Set(kUserList, std::shared_ptr<const CustomDataType>(list));
    auto bytes = std::make_shared<ByteData>();
    bytes->bytes = {9, 8, 7};
    user.Set(kUserBytes, std::shared_ptr<const CustomDataType>(bytes));
    BaseContainer deep(11);
    deep.SetLink(1, camera);
    BaseContainer deeper(12);
    deeper.SetLink(2, mesh);
    deeper.SetMatrix(3, MatrixMove({1, 2, 3}));
    deep.SetContainer(4, deeper);
    user.SetContainer(kUserContainer, deep);
    user.SetLink(kUserLink, layer);
    user.SetTime(kUserTime, BaseTime(1, 3));

    BaseTrack* track = BaseTrack::Alloc(DescID(ID_BASEOBJECT_REL_POSITION, kVectorY));
    track->SetKey({BaseTime(0.0), GeData(1.0), BaseTrack::Interpolation::Spline, 0.5, 0.25});
    track->SetKey({BaseTime(2.0), GeData(5.0)});
    mesh->InsertTrack(track);

    RenderData* settings = d.GetActiveRenderData();
    settings->GetDataInstance()->SetInt32(RDATA_XRES, 640);
    d.InsertRenderData(RenderData::Alloc());
    d.GetActiveBaseDraw()->SetSceneCamera(camera);
    d.GetActiveBaseDraw()->SetFrame(0, 0, 319, 239);
    d.GetActiveBaseDraw()->GetEditorCamera()->SetAbsPos({1, 2, 3});
    d.SetActiveObject(mesh);
    d.SetActiveMaterial(material);
    return document;
}

}  // namespace host::test
