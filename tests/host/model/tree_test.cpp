// Lists, trees, links and copies.
#include <gtest/gtest.h>

#include <random>

#include "host/model/list_access.h"
#include "host/runtime/plugin_registry.h"
#include "tests/host/model/document_dump.h"
#include "tests/host/model/sample_document.h"

namespace host {
namespace {

using test::DocumentDump;
using test::DocumentPtr;

/// Every chain closed in both directions, every owner right, every node found by its GUID and none else.
void checkTree(const BaseDocument& document) {
    std::vector<BaseList2D*> nodes;
    ListAccess::gatherDocument(document, false, nodes);
    for (BaseList2D* node : nodes) {
        EXPECT_EQ(node->GetDocument(), &document);
        EXPECT_EQ(document.FindByGUID(node->GetGUID()), node);
        if (node->GetNext()) {
            EXPECT_EQ(node->GetNext()->GetPred(), node);
        }
        if (node->GetPred()) {
            EXPECT_EQ(node->GetPred()->GetNext(), node);
        }
        BaseList2D* last = nullptr;
        for (BaseList2D* child = node->GetDown(); child; child = child->GetNext()) {
            EXPECT_EQ(child->GetUp(), node);
            last = child;
        }
        EXPECT_EQ(node->GetDownLast(), last);
    }
}

TEST(Tree, RandomMovesKeepItWhole) {
    DocumentPtr document = test::newDocument();
    std::vector<BaseObject*> objects;
    for (int i = 0; i < 40; ++i) {
        objects.push_back(BaseObject::Alloc(Onull));
        document->AppendObject(objects.back());
    }
    std::mt19937 random(1);
    for (int step = 0; step < 4000; ++step) {
        BaseObject* a = objects[random() % objects.size()];
        BaseObject* b = objects[random() % objects.size()];
        switch (random() % 6) {
            case 0:
                a->InsertUnder(b);
                break;
            case 1:
                a->InsertUnderLast(b);
                break;
            case 2:
                a->InsertBefore(b);
                break;
            case 3:
                a->InsertAfter(b);
                break;
            case 4:
                document->AppendObject(a);
                break;
            default:
                document->InsertObject(a);
        }
        if (step % 100 == 0) checkTree(*document);
    }
    std::vector<BaseList2D*> nodes;
    ListAccess::gatherDocument(*document, false, nodes);
    EXPECT_EQ(std::count_if(nodes.begin(), nodes.end(),
                            [](const BaseList2D* n) { return n->GetFamily() == NodeFamily::Object; }),
              40)
        << "nothing was lost in a loop of its own";
}

TEST(Tree, NothingGoesBelowItself) {
    DocumentPtr document = test::newDocument();
    BaseObject *a = BaseObject::Alloc(Onull), *b = BaseObject::Alloc(Onull);
    document->AppendObject(a);
    b->InsertUnder(a);
    const std::string before = DocumentDump::of(*document);
    a->InsertUnder(b);
    a->InsertUnderLast(a);
    a->InsertAfter(b);
    EXPECT_EQ(DocumentDump::of(*document), before);
}

TEST(Tree, DeepChainsAreCopiedSummedAndFreedWithoutRecursion) {
    constexpr int kDepth = 100000;
    DocumentPtr document = test::newDocument();
    BaseObject* bottom = nullptr;
    for (int i = 0; i < kDepth; ++i) {
        BaseObject* object = BaseObject::Alloc(Onull);
        if (bottom) {
            object->InsertUnder(bottom);
        } else {
            document->AppendObject(object);
        }
        bottom = object;
    }
    BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
    BaseList2D* owner = material;
    for (int i = 0; i < kDepth; ++i) {
        BaseShader* shader = BaseShader::Alloc(Xcolor);
        owner->InsertShader(shader);
        owner = shader;
    }
    document->InsertMaterial(material);
    bottom->SetName("bottom");
    EXPECT_EQ(document->SearchObject("bottom"), bottom);
    const UInt32 sum = document->GetHDirty(HDIRTYFLAGS_ALL);
    bottom->SetAbsPos({1, 0, 0});
    EXPECT_EQ(document->GetHDirty(HDIRTYFLAGS_ALL), sum + 1);
    EXPECT_NEAR(bottom->GetMg().off.x, 1, 0);
    DocumentPtr clone(document->CloneDocument());
    EXPECT_NE(clone->SearchObject("bottom"), nullptr);
    BaseObject* top = document->GetFirstObject();
    top->Remove();
    EXPECT_EQ(document->FindByGUID(bottom->GetGUID()), nullptr);
    BaseObject::Free(top);
}

TEST(Links, EmptyThemselvesAndFollowCopies) {
    DocumentPtr document = test::makeSampleDocument();
    BaseObject* mesh = document->SearchObject("Mesh");
    BaseObject* parent = document->SearchObject("Parent");
    BaseObject* instance = document->GetFirstObject();
    BaseLink link(mesh), again = link;
    EXPECT_EQ(link.GetLink(document.get()), mesh);

    DocumentPtr clone(document->CloneDocument());
    BaseObject* meshCopy = clone->SearchObject("Mesh");
    ASSERT_NE(meshCopy, nullptr);
    EXPECT_NE(meshCopy, mesh);
    EXPECT_EQ(link.GetLink(clone.get()), meshCopy) << "the counterpart in the copy";
    EXPECT_EQ(BaseLink(meshCopy).GetLink(document.get()), mesh) << "and back";
    EXPECT_EQ(clone->GetFirstObject()->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK), meshCopy);
    const BaseContainer& user = *clone->SearchObject("Parent")->GetDataInstance();
    const auto* list =
        dynamic_cast<const InExcludeData*>(user.FindData(test::kUserList)->GetCustom(CUSTOMDATATYPE_INEXCLUDE_LIST));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->entries[0].link.GetLink(), meshCopy) << "in a list of links";
    EXPECT_EQ(user.GetContainerInstance(test::kUserContainer)->GetContainerInstance(4)->GetLink(2), meshCopy)
        << "two containers deep";
    EXPECT_EQ(static_cast<TextureTag*>(meshCopy->GetTag(Ttexture))->GetMaterial(), clone->GetFirstMaterial());
    EXPECT_EQ(clone->GetFirstMaterial()->GetShader(MATERIAL_COLOR_SHADER), clone->GetFirstMaterial()->GetFirstShader());
    EXPECT_EQ(clone->GetActiveObject(), meshCopy);
    EXPECT_EQ(clone->GetActiveBaseDraw()->GetSceneCamera(clone.get())->GetDocument(), clone.get());

    // A copy within the document: new identity, links inside the branch follow, others stay.
    auto* copy = static_cast<BaseObject*>(parent->GetClone(COPYFLAGS_NONE));
    document->AppendObject(copy);
    EXPECT_NE(copy->GetGUID(), parent->GetGUID());
    EXPECT_EQ(copy->GetDataInstance()->GetContainerInstance(test::kUserContainer)->GetContainerInstance(4)->GetLink(2),
              copy->GetDown());
    EXPECT_EQ(static_cast<TextureTag*>(copy->GetDown()->GetTag(Ttexture))->GetMaterial(), document->GetFirstMaterial());
    auto* twin = static_cast<BaseObject*>(instance->GetClone(COPYFLAGS_KEEP_GUID));
    document->AppendObject(twin);
    EXPECT_NE(twin->GetGUID(), instance->GetGUID()) << "no two elements of a document have one GUID";
    EXPECT_EQ(document->FindByGUID(instance->GetGUID()), instance);

    mesh->Remove();
    EXPECT_EQ(link.GetLink(document.get()), nullptr) << "it stands in no document";
    EXPECT_EQ(link.ForceGetLink(), mesh);
    BaseObject::Free(mesh);
    EXPECT_EQ(again.ForceGetLink(), nullptr);
    EXPECT_EQ(again.GetLink(clone.get()), meshCopy);
    EXPECT_EQ(instance->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK), nullptr);
    checkTree(*document);
    checkTree(*clone);
}

TEST(Clone, HoldsEverythingAndSharesNothing) {
    DocumentPtr document = test::makeSampleDocument();
    const std::string before = DocumentDump::of(*document);
    DocumentPtr clone(document->CloneDocument());
    EXPECT_EQ(DocumentDump::of(*clone), before);
    EXPECT_EQ(clone->GetHDirty(HDIRTYFLAGS_ALL), document->GetHDirty(HDIRTYFLAGS_ALL))
        << "equal sums mean equal content";
    auto* mesh = static_cast<PolygonObject*>(clone->SearchObject("Mesh"));
    mesh->GetPointW()[0] = {9, 9, 9};
    mesh->GetFirstTag()->SetName("changed");
    clone->GetFirstMaterial()->SetParameter(MATERIAL_COLOR_COLOR, GeData(Vector(0.5)));
    EXPECT_EQ(DocumentDump::of(*document), before);
    document.reset();
    EXPECT_EQ(clone->GetFirstObject()->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK), mesh);
}

TEST(Cache, BelongsToItsGeneratorAndNotToTheTree) {
    DocumentPtr document = test::newDocument();
    BaseObject* generator = BaseObject::Alloc(Onull);
    document->AppendObject(generator);
    generator->SetAbsPos({10, 0, 0});
    PolygonObject* cache = test::makeStrip(1);
    BaseObject* part = BaseObject::Alloc(Onull);
    part->InsertUnder(cache);
    part->SetAbsPos({1, 0, 0});
    const UInt32 data = generator->GetDirty(DIRTYFLAGS_DATA), built = generator->GetDirty(DIRTYFLAGS_CACHE);
    ListAccess::setCache(*generator, Branch::Cache, cache);
    EXPECT_EQ(generator->GetCache(), cache);
    EXPECT_EQ(cache->GetCacheParent(), generator);
    EXPECT_EQ(part->GetCacheParent(), nullptr);
    EXPECT_EQ(part->GetMg().off, Vector(11, 0, 0));
    EXPECT_NE(part->GetUniqueIP(), cache->GetUniqueIP());
    EXPECT_EQ(document->FindByGUID(cache->GetGUID()), nullptr);
    EXPECT_EQ(BaseLink(part).GetLink(document.get()), part) << "links to parts of a cache hold while it stands";
    EXPECT_EQ(generator->GetDirty(DIRTYFLAGS_DATA), data);
    EXPECT_NE(generator->GetDirty(DIRTYFLAGS_CACHE), built);
    const BaseLink link(part);
    const UInt32 branch = document->GetHDirty(HDIRTYFLAGS_OBJECT);
    ListAccess::setCache(*generator, Branch::Cache, test::makeStrip(2));
    EXPECT_EQ(link.ForceGetLink(), nullptr);
    EXPECT_EQ(document->GetHDirty(HDIRTYFLAGS_OBJECT), branch) << "a rebuilt cache is no edit of the objects";
    DocumentPtr clone(document->CloneDocument());
    EXPECT_EQ(clone->GetFirstObject()->GetCache(), nullptr);
    BaseObject* taken = generator->GetCache();
    taken->Remove();
    EXPECT_EQ(generator->GetCache(), nullptr);
    document->AppendObject(taken);
    EXPECT_EQ(document->FindByGUID(taken->GetGUID()), taken) << "a cache that was taken out is an object like others";
    checkTree(*document);
}

TEST(Document, AlwaysHasRenderDataAndKnowsItsCounterparts) {
    DocumentPtr document = test::newDocument();
    RenderData* first = document->GetActiveRenderData();
    ASSERT_NE(first, nullptr);
    first->Remove();
    delete first;
    EXPECT_NE(document->GetActiveRenderData(), nullptr);
    EXPECT_EQ(document->GetActiveRenderData(), document->GetFirstRenderData());
    for (const Int32 type : {0, 123456789, Int32(Tuvw), Int32(Mmaterial)}) EXPECT_EQ(BaseObject::Alloc(type), nullptr);
    EXPECT_EQ(BaseTag::Alloc(Ocube), nullptr);
    EXPECT_EQ(SelectionTag::Alloc(Tuvw), nullptr);
}

}  // namespace
}  // namespace host
