#include <gtest/gtest.h>

#include <random>

#include "tests/host/model/document_dump.h"
#include "tests/host/model/sample_document.h"

namespace host {
namespace {

using test::DocumentDump;
using test::DocumentPtr;

struct UndoStep {
    explicit UndoStep(BaseDocument& d) : document(d) { document.StartUndo(); }
    ~UndoStep() { document.EndUndo(); }
    BaseDocument& document;
};

std::vector<BaseObject*> objectsOf(const BaseDocument& document) {
    std::vector<BaseList2D*> nodes;
    ListAccess::gatherDocument(document, false, nodes);
    std::vector<BaseObject*> objects;
    for (BaseList2D* node : nodes) {
        if (node->GetFamily() == NodeFamily::Object) objects.push_back(static_cast<BaseObject*>(node));
    }
    return objects;
}

/// One random edit inside a step, announced as it must be.
void edit(BaseDocument& document, std::mt19937& random) {
    const auto objects = objectsOf(document);
    BaseObject* object = objects.empty() ? nullptr : objects[random() % objects.size()];
    BaseObject* target = objects.empty() ? nullptr : objects[random() % objects.size()];
    switch (object ? random() % 10 : 0) {
        case 0: {
            BaseObject* fresh = random() % 2 ? BaseObject::Alloc(Ocube) : test::makeStrip(2);
            document.InsertObject(fresh, random() % 2 ? target : nullptr);
            document.AddUndo(UNDOTYPE_NEW, fresh);
            break;
        }
        case 1:
            document.AddUndo(UNDOTYPE_DELETE, object);
            if (random() % 2) {
                object->Remove();
            } else {
                BaseObject::Free(object);
            }
            break;
        case 2:
        case 3:
            document.AddUndo(UNDOTYPE_CHANGE_SMALL, object);
            object->SetAbsPos(Vector(random() % 100, 0, 0));
            object->SetName("n" + String::IntToString(random() % 100));
            object->SetParameter(PRIM_CUBE_SUBX, GeData(Int32(random() % 10)));
            break;
        case 4:
            document.AddUndo(UNDOTYPE_CHANGE_SMALL, object);
            object->MakeTag(Ttexture)->SetParameter(TEXTURETAG_TILESX, GeData(Float(random() % 9)));
            break;
        case 5:
            document.AddUndo(UNDOTYPE_CHANGE_SMALL, object);
            object->KillTag(Ttexture);  // freed without an announcement of its own
            break;
        case 6:
            document.AddUndo(UNDOTYPE_CHANGE, object);
            for (BaseObject* child = object->GetDown(); child; child = child->GetNext()) child->SetAbsPos({0, 7, 0});
            if (object->GetDown()) object->GetDownLast()->InsertUnder(object);
            break;
        case 7:  // moved within the tree
            document.AddUndo(UNDOTYPE_CHANGE_SMALL, object);
            object->InsertUnder(target);
            break;
        case 8:
            if (PolygonObject* mesh = ToPoly(object)) {
                document.AddUndo(UNDOTYPE_CHANGE_SMALL, mesh);
                mesh->ResizeObject(4 + random() % 4, 1);
                mesh->GetPolygonW()[0] = CPolygon(0, 1, 2, 3);
            }
            break;
        default:
            document.AddUndo(UNDOTYPE_CHANGE_SMALL, &document);
            document.SetFps(24 + static_cast<Int32>(random() % 5));
    }
}

TEST(Undo, StormOfEditsComesBackExactly) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        DocumentPtr document = test::newDocument();
        std::vector<std::string> states{DocumentDump::of(*document)};
        std::size_t at = 0;
        for (int step = 0; step < 150; ++step) {
            const unsigned choice = random() % 10;
            if (choice < 5) {
                {
                    const UndoStep outer(*document);
                    for (unsigned i = 0; i <= random() % 3; ++i) {
                        const UndoStep inner(*document);
                        edit(*document, random);
                    }
                }
                if (document->GetUndoCount() == static_cast<Int32>(at)) continue;  // nothing was announced
                states.resize(at + 1);
                states.push_back(DocumentDump::of(*document));
                ++at;
            } else if (choice < 8) {
                ASSERT_EQ(document->DoUndo(), at > 0);
                if (at > 0) --at;
            } else {
                ASSERT_EQ(document->DoRedo(), at + 1 < states.size());
                if (at + 1 < states.size()) ++at;
            }
            ASSERT_EQ(DocumentDump::of(*document), states[at]) << "after step " << step;
            ASSERT_EQ(document->GetUndoCount(), static_cast<Int32>(at));
        }
        while (document->DoUndo()) --at;
        EXPECT_EQ(DocumentDump::of(*document), states[0]);
        while (document->DoRedo()) ++at;
        EXPECT_EQ(DocumentDump::of(*document), states.back());
    }
}

TEST(Undo, ElementsStayTheSameObjects) {
    DocumentPtr document = test::makeSampleDocument();
    BaseObject* mesh = document->SearchObject("Mesh");
    BaseTag* texture = mesh->GetTag(Ttexture);
    BaseMaterial* material = document->GetFirstMaterial();
    const std::string before = DocumentDump::of(*document);
    {
        const UndoStep step(*document);
        document->AddUndo(UNDOTYPE_DELETE, mesh);
        BaseObject* gone = mesh;
        BaseObject::Free(gone);
        EXPECT_EQ(gone, nullptr);
        document->AddUndo(UNDOTYPE_DELETE, material);
        material->Remove();
    }
    EXPECT_EQ(document->SearchObject("Mesh"), nullptr);
    EXPECT_EQ(document->GetFirstObject()->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, document.get()), nullptr);
    ASSERT_TRUE(document->DoUndo());
    EXPECT_EQ(document->SearchObject("Mesh"), mesh);
    EXPECT_EQ(mesh->GetTag(Ttexture), texture);
    EXPECT_EQ(static_cast<TextureTag*>(texture)->GetMaterial(), material);
    EXPECT_EQ(DocumentDump::of(*document), before);

    // A change comes back in place, and only what differs counts.
    {
        const UndoStep step(*document);
        document->AddUndo(UNDOTYPE_CHANGE, mesh);
        mesh->SetAbsPos({7, 7, 7});
    }
    const UInt32 data = mesh->GetDirty(DIRTYFLAGS_DATA), matrix = mesh->GetDirty(DIRTYFLAGS_MATRIX),
                 tags = mesh->GetHDirty(HDIRTYFLAGS_TAG);
    ASSERT_TRUE(document->DoUndo());
    EXPECT_EQ(mesh->GetTag(Ttexture), texture);
    EXPECT_EQ(mesh->GetDirty(DIRTYFLAGS_DATA), data) << "undoing a move resends no points";
    EXPECT_EQ(mesh->GetHDirty(HDIRTYFLAGS_TAG), tags);
    EXPECT_GT(mesh->GetDirty(DIRTYFLAGS_MATRIX), matrix);
    EXPECT_EQ(document->GetRedoCount(), 1);
    {
        const UndoStep step(*document);
        document->AddUndo(UNDOTYPE_CHANGE_SMALL, mesh);
    }
    EXPECT_EQ(document->GetRedoCount(), 0) << "a new edit ends what could be redone";
    EXPECT_FALSE(document->AddUndo(UNDOTYPE_CHANGE, mesh)) << "outside a step";
    document->StartUndo();
    EXPECT_FALSE(document->DoUndo()) << "inside a step";
    document->EndUndo();
    document->FlushUndoBuffer();
    EXPECT_FALSE(document->DoUndo());
}

TEST(Undo, StepsBeyondTheLimitFreeWhatTheyHeld) {
    DocumentPtr document = test::newDocument();
    std::vector<BaseLink> links;
    for (int i = 0; i < 300; ++i) {
        BaseObject* object = BaseObject::Alloc(Onull);
        document->AppendObject(object);
        links.emplace_back(object);
        const UndoStep step(*document);
        document->AddUndo(UNDOTYPE_DELETE, object);
        object->Remove();
    }
    EXPECT_EQ(document->GetUndoCount(), 200);
    EXPECT_EQ(links.front().ForceGetLink(), nullptr);
    EXPECT_NE(links.back().ForceGetLink(), nullptr);
    document->FlushUndoBuffer();
    EXPECT_EQ(links.back().ForceGetLink(), nullptr);
}

}  // namespace
}  // namespace host
