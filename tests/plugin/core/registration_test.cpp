// What the plug-in registers: that it is there, complete, and that a node of each class lives as a node should.
#include <gtest/gtest.h>

#include <set>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/host_sdk.h"
#include "plugin/core/commands.h"
#include "plugin/core/ids.h"
#include "plugin/core/node_graph_data.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class RegistrationTest : public PluginTest {};

constexpr PluginKind kNodeKinds[] = {PluginKind::Object, PluginKind::Tag, PluginKind::Material, PluginKind::Shader,
                                     PluginKind::VideoPost};

std::vector<Int32> idsOf(PluginKind kind) {
    std::vector<Int32> ids;
    for (const Registration* entry : registrationsOf(kind)) ids.push_back(entry->info.id);
    return ids;
}

TEST_F(RegistrationTest, ClassesAreRegisteredInTheirOrder) {
    using K = PluginKind;
    const struct {
        K kind;
        std::size_t count;
        Int32 first, last;
    } rows[] = {
        {K::SceneHook, 1, 1030798, 1030798},
        {K::VideoPost, 1, 1029525, 1029525},
        {K::Material, 5, 1029622, 1040075},
        {K::Tag, 5, 1029524, 1029603},
        {K::Shader, 43, 1029504, 1040143},
        {K::CustomGui, 3, 1030680, 1030909},
        {K::Object, 2, 1035792, 1035961},
        {K::CustomDataType, 1, 1037965, 1037965},
        {K::Preference, 0, 0, 0},
    };
    for (const auto& row : rows) {
        const std::vector<Int32> ids = idsOf(row.kind);
        EXPECT_EQ(ids.size(), row.count) << static_cast<int>(row.kind);
        if (ids.empty() || ids.size() != row.count) continue;
        EXPECT_EQ(ids.front(), row.first);
        EXPECT_EQ(ids.back(), row.last);
    }
    EXPECT_EQ(FindPlugin(1031901)->flags, 0x20000000) << "a displacement is made by materials only";
    EXPECT_GE(FindPlugin(1029501)->previewScene.GetString().Find("scene/Stairs.c4d"), 0);
    EXPECT_EQ(FindPlugin(1030798)->name.str(), "Lumora Render");
}

TEST_F(RegistrationTest, EverythingShownHasANameOfItsOwnAndAnIconThatCanBeRead) {
    std::set<std::string> names;
    for (const PluginKind kind : kNodeKinds)
        for (const Registration* entry : registrationsOf(kind)) {
            EXPECT_TRUE(entry->info.name.Content()) << entry->info.id;
            EXPECT_TRUE(names.insert(entry->info.name.str()).second) << entry->info.name.c_str();
        }
    EXPECT_EQ(idsOf(PluginKind::Command).size(), commandRows().size() + 1);
    std::set<std::string> icons{"mixMat-icon.png", "blend-icon.png"};
    for (const PluginKind kind : {PluginKind::Command, PluginKind::Tag, PluginKind::Object})
        for (const Registration* entry : registrationsOf(kind)) {
            EXPECT_TRUE(entry->info.icon.Content()) << entry->info.name.c_str();
            icons.insert(entry->info.icon.str());
            if (kind == PluginKind::Command) {
                EXPECT_TRUE(entry->info.help.Content()) << entry->info.name.c_str();
            }
        }
    for (const std::string& icon : icons) {
        const Filename file = Filename(LUMORA_TEST_PLUGIN_DIR "/res") + Filename(icon);
        EXPECT_TRUE(GeFExist(file)) << icon;
        if (!file.CheckSuffix("png")) continue;  // the others are decoded in a child of the program
        BaseBitmap bitmap;
        EXPECT_EQ(bitmap.Init(file), ImageResult::Ok) << icon;
        EXPECT_GE(bitmap.GetWidth(), 16) << icon;
    }
}

BaseList2D* makeNode(PluginKind kind, Int32 id, BaseDocument& document, BaseObject& owner, BaseMaterial& shaders) {
    switch (kind) {
        case PluginKind::Object: {
            BaseObject* object = BaseObject::Alloc(id);
            if (object) document.AppendObject(object);
            return object;
        }
        case PluginKind::Tag:
            return owner.MakeTag(id);
        case PluginKind::Material: {
            BaseMaterial* material = BaseMaterial::Alloc(id);
            if (material) document.InsertMaterial(material);
            return material;
        }
        case PluginKind::Shader: {
            BaseShader* shader = BaseShader::Alloc(id);
            if (shader) shaders.InsertShader(shader);
            return shader;
        }
        case PluginKind::VideoPost: {
            BaseVideoPost* post = BaseVideoPost::Alloc(id);
            if (post) document.GetActiveRenderData()->InsertVideoPost(post);
            return post;
        }
        default:
            return nullptr;
    }
}

TEST_F(RegistrationTest, EveryClassIsCreatedClonedSavedAndLoaded) {
    BaseDocument* document = BaseDocument::Alloc();
    BaseObject* owner = BaseObject::Alloc(Onull);
    document->AppendObject(owner);
    BaseMaterial* shaders = BaseMaterial::Alloc(Mmaterial);
    document->InsertMaterial(shaders);
    constexpr Int32 kOwnId = 77001;
    std::vector<std::pair<UInt64, BaseContainer>> made;
    for (const PluginKind kind : kNodeKinds)
        for (const Int32 id : idsOf(kind)) {
            BaseList2D* node = makeNode(kind, id, *document, *owner, *shaders);
            ASSERT_NE(node, nullptr) << id;
            ASSERT_NE(node->GetNodeData(), nullptr) << id;
            node->GetDataInstance()->SetInt32(kOwnId, id);
            made.emplace_back(node->GetGUID(), node->GetData());
        }
    const auto expectSame = [&](const BaseDocument& other, const char* what) {
        for (const auto& [guid, data] : made) {
            const BaseList2D* node = other.FindByGUID(guid);
            ASSERT_NE(node, nullptr) << what << " " << data.GetInt32(kOwnId);
            EXPECT_EQ(node->GetType(), data.GetInt32(kOwnId)) << what;
            EXPECT_TRUE(node->GetData() == data) << what << " " << data.GetInt32(kOwnId);
        }
    };
    BaseDocument* clone = document->CloneDocument();
    expectSame(*clone, "clone");
    ScratchFolder folder;
    const Filename file = folder.path() + "all.lumdoc";
    String error;
    ASSERT_TRUE(SaveDocument(document, file, &error)) << error.c_str();
    BaseDocument* loaded = LoadDocument(file, &error);
    ASSERT_NE(loaded, nullptr) << error.c_str();
    expectSame(*loaded, "file");
    for (BaseDocument* each : {document, clone, loaded}) BaseDocument::Free(each);
}

TEST_F(RegistrationTest, NewNodesHaveTheirDefaults) {
    BaseObject* object = BaseObject::Alloc(Onull);
    const struct {
        Int32 tag, id;
        double value;
    } rows[] = {
        {1029603, 1280, 1},    {1029603, 1281, 1},     {1029603, 1299, 20},   {1029603, 1326, 1328},
        {1029603, 1338, 1},    {1029526, 1151, 100},   {1029526, 1152, 6500}, {1029526, 1172, 0},
        {1029526, 1165, 1},    {1029643, 1158, 10},    {1029643, 1159, 1},    {1029643, 1160, 0},
        {1029754, 1230, 2.2},  {1029754, 1233, 1},     {1029524, 1457, 2.8},  {1029524, 1419, 1},
        {1029524, 1473, 1e10}, {1029524, 1414, 0.065}, {1029524, 1474, 6},    {1029524, 1525, 0.01},
    };
    for (const auto& row : rows) {
        const BaseTag* tag = object->GetTag(row.tag);
        if (!tag) tag = object->MakeTag(row.tag);
        ASSERT_TRUE(tag->GetDataInstance()->Has(row.id)) << row.tag << " " << row.id;
        EXPECT_DOUBLE_EQ(tag->GetDataInstance()->GetFloat(row.id), row.value) << row.tag << " " << row.id;
    }
    BaseObject::Free(object);
    BaseMaterial* material = BaseMaterial::Alloc(1029501);
    EXPECT_EQ(material->GetDataInstance()->GetInt32(2509), 2510);
    EXPECT_EQ(material->GetDataInstance()->GetVector(2515), Vector(0.9));
    EXPECT_TRUE(material->GetDataInstance()->GetBool(2614));
    EXPECT_FALSE(material->GetDataInstance()->GetBool(2700));
    BaseMaterial::Free(material);
}

TEST_F(RegistrationTest, NodeGraphDataIsCopiedAndComparedByContent) {
    std::unique_ptr<CustomDataType> made = makeRegisteredDataType(kNodeGraphDataType);
    auto* boxes = dynamic_cast<NodeGraphData*>(made.get());
    ASSERT_NE(boxes, nullptr);
    boxes->boxes.SetVector(3, Vector(1, 2, 3));
    const std::unique_ptr<CustomDataType> copy = boxes->Clone(nullptr);
    EXPECT_TRUE(copy->Equals(*boxes));
    HyperFile out;
    ASSERT_TRUE(out.OpenMemory(1) && boxes->Write(out) && out.Close());
    NodeGraphData read;
    HyperFile in;
    ASSERT_TRUE(in.OpenMemory(1, out.Bytes()) && read.Read(in, 0));
    EXPECT_TRUE(read.Equals(*boxes));
    boxes->boxes.SetInt32(4, 1);
    EXPECT_FALSE(copy->Equals(*boxes));
}

}  // namespace
}  // namespace lumora::test
