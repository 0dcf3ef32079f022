#include "tests/plugin/support/plugin_test.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "plugin/core/ids.h"
#include "plugin/core/singletons.h"

namespace lumora::test {

ScratchFolder::ScratchFolder() {
    static int number = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("lumora_test_" + std::to_string(getpid()) + "_" + std::to_string(number++));
    std::filesystem::create_directories(path_);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void PluginTest::start(const std::string& pluginDirectory) {
    ApplicationOptions options;
    options.preferences = preferences.path();
    options.loadPlugins = false;
    options.console = [this](const String& line) {
        const std::lock_guard guard(consoleLock_);
        if (std::getenv("LUMORA_TEST_CONSOLE")) std::cerr << line.str() << "\n";
        console_.push_back(line.str());
    };
    options.status = [this](const String& text) {
        if (onStatus) onStatus(text);
    };
    app = std::make_unique<Application>(options);
    ASSERT_TRUE(app->startPlugin(&c4d_main, Filename(pluginDirectory)));
}

void PluginTest::end() {
    if (app) app->end();
    app.reset();
}

lumoraLive& PluginTest::live() const {
    return *session();
}

bool PluginTest::waitFor(const std::function<bool()>& condition, double seconds) {
    return app->runUntil(condition, seconds);
}

void PluginTest::startLive(BaseDocument* document, int width, int height) {
    if (GetActiveDocument() != document) {
        InsertBaseDocument(document);
        SetActiveDocument(document);
    }
    BaseContainer* data = document->GetActiveRenderData()->GetDataInstance();
    data->SetInt32(RDATA_XRES, width);
    data->SetInt32(RDATA_YRES, height);
    live().renderWidth = width;
    live().renderHeight = height;
    SpecialEventAdd(MSG_START_RENDER);
    ASSERT_TRUE(waitFor([&] {
        return live().renderEnabled &&
               (live().state() == LiveState::Rendering || live().state() == LiveState::Finished);
    })) << "state "
        << static_cast<int>(live().state()) << " " << live().engineError.c_str();
}

ApiNode* PluginTest::mainGroup() const {
    const ApiNode* target = Lumora::ApiRenderEngine::getRenderTargetNode();
    return target ? target->inputNode(Lumora::P_RENDER_GEOMETRY) : nullptr;
}

int PluginTest::consoleCount(const std::string& text) const {
    const std::lock_guard guard(consoleLock_);
    int count = 0;
    for (const std::string& line : console_) count += line.find(text) != std::string::npos ? 1 : 0;
    return count;
}

BaseDocument* makeLitCube(double emission) {
    BaseDocument* document = BaseDocument::Alloc();
    BaseObject* cube = BaseObject::Alloc(Ocube);
    cube->SetName("Cube");
    document->AppendObject(cube);

    BaseObject* lamp = BaseObject::Alloc(Oplane);
    lamp->SetName("Lamp");
    lamp->SetAbsPos(Vector(0, 400, 0));
    lamp->SetParameter(PRIM_PLANE_SUBW, GeData(1));
    lamp->SetParameter(PRIM_PLANE_SUBH, GeData(1));
    document->AppendObject(lamp);
    BaseMaterial* glow = BaseMaterial::Alloc(Mmaterial);
    glow->SetName("Glow");
    glow->SetParameter(MATERIAL_USE_LUMINANCE, GeData(true));
    glow->SetParameter(MATERIAL_LUMINANCE_COLOR, GeData(Vector(1, 1, 1)));
    glow->SetParameter(MATERIAL_LUMINANCE_BRIGHTNESS, GeData(emission));
    document->InsertMaterial(glow);
    TextureTag* tag = TextureTag::Alloc();
    tag->SetMaterial(glow);
    lamp->InsertTag(tag);

    BaseObject* camera = BaseObject::Alloc(Ocamera);
    camera->SetName("Camera");
    camera->SetAbsPos(Vector(0, 150, -700));
    document->AppendObject(camera);
    document->GetActiveBaseDraw()->SetSceneCamera(camera);
    document->ExecutePasses(true, true, true);
    return document;
}

String setRendererSetting(Application& app, BaseDocument* document, const char* key, const char* value) {
    RendererSettingsCall call;
    call.renderer = ID_LUMORA_VP_RENDERER;
    call.document = document;
    call.key = key;
    call.value = value;
    EXPECT_TRUE(app.sendMessage(C4DPL_RENDERER_SETTINGS, &call));
    return call.error;
}

}  // namespace lumora::test
