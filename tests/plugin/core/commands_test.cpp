// The commands: what they insert, what they refuse, and that none harms a session in any state.
#include "plugin/core/commands.h"

#include "plugin/core/create_objects.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/materials/unused_materials.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class CommandsTest : public PluginTest {
protected:
    BaseDocument* openEmpty() {
        BaseDocument* document = BaseDocument::Alloc();
        InsertBaseDocument(document);
        SetActiveDocument(document);
        return document;
    }
};

TEST_F(CommandsTest, CreationInsertsSelectsAndIsUndone) {
    BaseDocument* document = openEmpty();
    const struct {
        const char* keyword;
        Int32 type, tag;
        Int32 parameter, value;
    } rows[] = {
        {"daylight", Olight, ID_LUMORA_DAYLIGHT_TAG, LIGHT_TYPE, 3},
        {"arealight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, 8},
        {"tarealight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, 8},
        {"ieslight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, 8},
        {"ToonDirect", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, 3},
        {"ToonOmni", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, 0},
        {"camera", Ocamera, ID_LUMORA_CAMERA_TAG, 0, 0},
        {"env", Osky, ID_LUMORA_ENVIRONMENT_TAG, 0, 0},
        {"env2", Osky, ID_LUMORA_ENVIRONMENT_TAG, 0, 0},
        {"scatter", ID_LUMORA_SCATTER_OBJECT, 0, 0, 0},
        {"fogvolume", ID_LUMORA_VOLUME_OBJECT, 0, 10031, 1},
        {"vdbvolume", ID_LUMORA_VOLUME_OBJECT, 0, 10031, 2},
        {"diffuse", ID_LUMORA_MATERIAL, 0, 2509, 2510},
        {"glossy", ID_LUMORA_MATERIAL, 0, 2509, 2511},
        {"specular", ID_LUMORA_MATERIAL, 0, 2509, 2513},
        {"metal", ID_LUMORA_MATERIAL, 0, 2509, 2514},
        {"toon", ID_LUMORA_MATERIAL, 0, 2509, 2515},
        {"univ", ID_LUMORA_MATERIAL, 0, 2509, 2516},
        {"mix", ID_LUMORA_MIX_MATERIAL, 0, 0, 0},
        {"blend", ID_LUMORA_BLEND_MATERIAL, 0, 0, 0},
        {"portal", ID_LUMORA_PORTAL, 0, 0, 0},
    };
    for (const auto& row : rows) {
        document->SetActiveObject(nullptr);
        const Int32 steps = document->GetUndoCount();
        BaseList2D* made = createByKeyword(*document, row.keyword);
        ASSERT_NE(made, nullptr) << row.keyword;
        EXPECT_EQ(made->GetType(), row.type) << row.keyword;
        EXPECT_EQ(made->GetDocument(), document) << row.keyword;
        if (row.parameter) {
            EXPECT_EQ(made->GetDataInstance()->GetInt32(row.parameter), row.value) << row.keyword;
        }
        if (made->IsInstanceOf(Obase)) {
            EXPECT_EQ(document->GetActiveObject(), made) << row.keyword;
            if (row.tag) {
                EXPECT_NE(static_cast<BaseObject*>(made)->GetTag(row.tag), nullptr) << row.keyword;
            }
        } else {
            EXPECT_EQ(document->GetActiveMaterial(), made) << row.keyword;
        }
        EXPECT_EQ(document->GetUndoCount(), steps + 1) << row.keyword;
        ASSERT_TRUE(document->DoUndo()) << row.keyword;
        EXPECT_EQ(document->GetFirstObject(), nullptr) << row.keyword;
        EXPECT_EQ(document->GetFirstMaterial(), nullptr) << row.keyword;
    }
    EXPECT_EQ(createByKeyword(*document, "teapot"), nullptr);
}

TEST_F(CommandsTest, TargettedLightLooksAtTheSelectedObjectAndRefusesALight) {
    BaseDocument* document = openEmpty();
    BaseObject* cube = BaseObject::Alloc(Ocube);
    cube->SetAbsPos(Vector(300, 0, 600));
    document->AppendObject(cube);
    document->ExecutePasses(true, true, true);
    document->SetActiveObject(cube);
    auto* light = static_cast<BaseObject*>(createByKeyword(*document, "tarealight"));
    ASSERT_NE(light, nullptr);
    EXPECT_NEAR(light->GetMg().off.x, 0.66 * 300, 1e-9);
    EXPECT_NEAR(light->GetMg().off.z, 0.66 * 600, 1e-9);
    const BaseObject* target = document->SearchObject("LightTarget");
    ASSERT_NE(target, nullptr);
    EXPECT_NEAR(Dot(light->GetMg().v3, (target->GetMg().off - light->GetMg().off).GetNormalized()), 1.0, 1e-9);
    EXPECT_GT(light->GetMg().Determinant(), 0);

    EXPECT_EQ(createByKeyword(*document, "tarealight"), nullptr) << "the light is selected now";
    EXPECT_EQ(consoleCount("Don't select a Light for targetting!"), 1);
    EXPECT_EQ(document->GetActiveObject(), light);
}

TEST_F(CommandsTest, EnvironmentAndLightPresetsHoldTheirShaders) {
    BaseDocument* document = openEmpty();
    const auto linked = [](BaseList2D* node, Int32 id) {
        return node ? node->GetDataInstance()->GetLink(id) : nullptr;
    };
    auto* sky = static_cast<BaseObject*>(createByKeyword(*document, "env"));
    BaseList2D* grey = linked(sky->GetTag(ID_LUMORA_ENVIRONMENT_TAG), 1150);
    ASSERT_NE(grey, nullptr);
    EXPECT_EQ(grey->GetDataInstance()->GetVector(1200), Vector(0.9));
    sky = static_cast<BaseObject*>(createByKeyword(*document, "env2"));
    BaseList2D* image = linked(sky->GetTag(ID_LUMORA_ENVIRONMENT_TAG), 1150);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetType(), ID_LUMORA_IMAGE_TEXTURE);
    EXPECT_NE(linked(image, 1111), nullptr);
    auto* light = static_cast<BaseObject*>(createByKeyword(*document, "ieslight"));
    BaseList2D* file = linked(light->GetTag(ID_LUMORA_LIGHT_TAG), 1154);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetDataInstance()->GetFilename(1100).str(), "filename.ies");
    EXPECT_EQ(linked(file, 1111)->GetDataInstance()->GetFloat(1369), 90.0);
}

TEST_F(CommandsTest, UnusedMaterialsGoInOneStepAndMixedOnesStay) {
    BaseDocument* document = openEmpty();
    const auto material = [&](const char* name, Int32 type = Mmaterial) {
        BaseMaterial* made = BaseMaterial::Alloc(type);
        made->SetName(name);
        document->InsertMaterial(made);
        return made;
    };
    BaseMaterial* first = material("first");
    BaseMaterial* inner = material("inner", ID_LUMORA_MIX_MATERIAL);
    BaseMaterial* outer = material("outer", ID_LUMORA_MIX_MATERIAL);
    material("alone");
    material("alone too");
    outer->SetParameter(1271, GeData(inner));
    inner->SetParameter(1272, GeData(first));
    inner->SetParameter(1271, GeData(outer));  // round and round
    BaseObject* parent = BaseObject::Alloc(Onull);
    BaseObject* cube = BaseObject::Alloc(Ocube);
    document->AppendObject(parent);
    document->AppendObject(cube, parent);
    TextureTag* tag = TextureTag::Alloc();
    tag->SetMaterial(outer);
    cube->InsertTag(tag);

    EXPECT_EQ(removeUnusedMaterials(*document), 2);
    EXPECT_EQ(document->SearchMaterial("alone"), nullptr);
    EXPECT_NE(document->SearchMaterial("first"), nullptr);
    EXPECT_EQ(removeUnusedMaterials(*document), 0);
    ASSERT_TRUE(document->DoUndo());
    EXPECT_NE(document->SearchMaterial("alone"), nullptr);
    EXPECT_NE(document->SearchMaterial("alone too"), nullptr);
}

TEST_F(CommandsTest, EveryCommandInEveryState) {
    const auto callAll = [this](const char* what) {
        for (const CommandRow* row : commandRows()) {
            EXPECT_TRUE(CallCommand(row->id)) << what << " " << row->name;
            app->processEvents();
            ASSERT_TRUE(waitFor([&] { return !live().sendBusy; })) << what << " " << row->name;
        }
        CallCommand(ID_LUMORA_SESSION);
        app->processEvents();
    };
    callAll("without a document");
    BaseDocument* document = makeLitCube();
    startLive(document);
    for (const LiveState state : {LiveState::NotInit, LiveState::Ready, LiveState::Idle, LiveState::Exporting,
                                  LiveState::Rendering, LiveState::Finished, LiveState::FinalEnded}) {
        live().setState(state);
        callAll(stateWord(state));
        live().setState(LiveState::Idle);
    }
    live().finalRender = true;
    callAll("final render");
    EXPECT_EQ(consoleCount("You can't use the MatVault while Lumora is rendering in Picture Viewer!"), 1);
    live().finalRender = false;
    globals().renderFailed = globals().renderError = true;
    callAll("failed");
    startLive(document);
}

TEST_F(CommandsTest, BenchmarkLogsATimeForEachOfItsRows) {
    EXPECT_TRUE(CallCommand(1031194));
    EXPECT_EQ(consoleCount("Lumora test, size:100000"), 1);
    EXPECT_GE(consoleCount(" ms"), 6);
}

TEST_F(CommandsTest, WithoutAWindowTheLogSaysSo) {
    for (const Int32 command : {1031193, 1031195, 1033872, 1035275, 1033896, 1033870}) {
        const int before = consoleCount("Lumora has no window for the ");
        EXPECT_TRUE(CallCommand(command));
        app->processEvents();
        EXPECT_EQ(consoleCount("Lumora has no window for the "), before + 1) << command;
    }
}

}  // namespace
}  // namespace lumora::test
