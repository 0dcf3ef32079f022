// lumora render: a document becomes a picture file.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "app/failure.h"
#include "app/interrupt.h"
#include "app/options.h"
#include "app/output_file.h"
#include "app/progress.h"
#include "app/render_job.h"
#include "app/renderer.h"
#include "app/scene_tree.h"
#include "app/session.h"
#include "app/soft_sky.h"
#include "app/terminal.h"
#include "host/sdk/render.h"

namespace app {
namespace {

using host::BaseDocument;
using host::BaseObject;

void chooseCamera(BaseDocument& document, const std::string& name) {
    std::string known;
    for (BaseObject* object = document.GetFirstObject(); object; object = nextInTree(object)) {
        if (object->GetType() != host::Ocamera) continue;
        if (object->GetName().str() == name) {
            document.GetActiveBaseDraw()->SetSceneCamera(object);
            return;
        }
        known += std::string(known.empty() ? "" : ", ") + "\"" + object->GetName().str() + "\"";
    }
    throw Failure(kExitUsage, "There is no camera \"" + name + "\"; " +
                                  (known.empty() ? "the scene has none." : "the scene has " + known + "."));
}

/// Goes to the frame and makes it the only one of the render data.
void chooseFrame(BaseDocument& document, host::BaseContainer& renderData, const std::optional<int>& frame) {
    const host::Int32 fps = document.GetFps();
    if (frame) {
        const host::Int64 first = document.GetMinTime().GetFrame(fps), last = document.GetMaxTime().GetFrame(fps);
        if (*frame < first || *frame > last)
            throw Failure(kExitUsage, "Frame " + std::to_string(*frame) + " is out of range: the scene has frames " +
                                          std::to_string(first) + " to " + std::to_string(last) + ".");
        document.SetTime(host::BaseTime::FromFrame(*frame, fps));
        document.ExecutePasses(true, true, true);
    }
    renderData.SetTime(host::RDATA_FRAMEFROM, document.GetTime());
    renderData.SetTime(host::RDATA_FRAMETO, document.GetTime());
}

PictureSize chooseSize(host::BaseContainer& renderData, const std::optional<PictureSize>& asked) {
    PictureSize size = asked.value_or(
        PictureSize{renderData.GetInt32(host::RDATA_XRES, 1280), renderData.GetInt32(host::RDATA_YRES, 720)});
    if (size.width < 1 || size.height < 1 || size.width > kMaxPictureSize || size.height > kMaxPictureSize)
        throw Failure(kExitFailure, "The scene asks for a picture of " + std::to_string(size.width) + "x" +
                                        std::to_string(size.height) + "; --size chooses another size.");
    renderData.SetInt32(host::RDATA_XRES, size.width);
    renderData.SetInt32(host::RDATA_YRES, size.height);
    return size;
}

void applySettings(Renderer& renderer, const Options& options, const PictureFormat& format) {
    if (!options.preset.empty()) renderer.applyPreset(options.preset);
    if (!options.pass.empty()) {
        // Channels have a kernel of their own; another one would be left aside in silence.
        if (!options.kernel.empty() && options.kernel != "info")
            throw Failure(kExitUsage, "--pass shows an info channel; --kernel " + options.kernel + " cannot.");
        renderer.set("channel", options.pass);
        renderer.set("kernel", "info");
    }
    if (!options.kernel.empty()) renderer.set("kernel", options.kernel);
    if (options.samples) renderer.set("samples", std::to_string(*options.samples));
    renderer.set("depth", format.linear ? "2" : "0");
    if (!options.response.empty()) renderer.set("response", options.response);
    if (options.exposure) renderer.set("exposure", std::to_string(*options.exposure));
    if (options.denoise) renderer.set("denoise", "1");
    for (const auto& [key, value] : options.settings) renderer.set(key, value);
}

/// What --list prints, a word a line.
int printChoices(const Options& options) {
    for (const ListRow& row : kLists) {
        if (options.list != row.name) continue;
        Session session(options);
        for (const std::string& word : Renderer::choices(session, row.key))
            std::printf("%s\n", terminal::printable(word).c_str());
    }
    return kExitOk;
}

void chooseRegion(Renderer& renderer, const PictureRegion& region, PictureSize size) {
    const int right = region.x + region.width, bottom = region.y + region.height;
    if (right > size.width || bottom > size.height)
        throw Failure(kExitUsage, "The region ends at " + std::to_string(right) + "," + std::to_string(bottom) +
                                      ", beyond the picture's " + std::to_string(size.width) + "x" +
                                      std::to_string(size.height) + ".");
    const auto share = [](int at, int of) { return std::to_string(static_cast<double>(at) / of); };
    renderer.set("region.left", share(region.x, size.width));
    renderer.set("region.top", share(region.y, size.height));
    renderer.set("region.right", share(right, size.width));
    renderer.set("region.bottom", share(bottom, size.height));
}

const char* describe(host::RenderResult result) {
    switch (result) {
        case host::RenderResult::OutOfMemory:
            return "There is not enough memory for the render.";
        case host::RenderResult::NoRenderer:
            return "No renderer is loaded.";
        case host::RenderResult::SaveError:
            return "The renderer could not write a file.";
        default:
            return "The render failed.";
    }
}

/// Renders until done or interrupted, showing progress. The main thread delivers events meanwhile.
void runJob(host::Application& application, RenderJob& job, Progress& progress) {
    constexpr host::Float kLookEvery = 0.1;  // seconds
    if (!job.start()) throw Failure(kExitFailure, "The render thread could not be started.");
    const auto over = [&] { return job.done() || interrupted(); };
    while (!application.runUntil(over, kLookEvery)) progress.update(job.fraction(), job.status());
    if (job.done()) return;
    job.stop();
    application.runUntil([&] { return job.done(); }, -1);
}

}  // namespace

int renderCommand(const Options& options) {
    if (!options.list.empty()) return printChoices(options);
    if (options.scene.empty()) throw Failure(kExitUsage, "SCENE is required. See lumora render --help.");
    const std::string output = options.output.empty() ? defaultOutput(options.scene, ".png") : options.output;
    const PictureFormat& format = pictureFormat(output);
    checkWritable(output);
    if (options.size) checkMemory(*options.size);

    Session session(options);
    BaseDocument& document = session.open(options.scene);
    Renderer renderer(session, document);
    if (session.imported()) renderer.setImportDefaults();
    applySettings(renderer, options, format);
    if (!options.camera.empty()) chooseCamera(document, options.camera);
    const LightSources light = findLight(document);
    if (!options.quiet && !light.any()) terminal::print("The scene has no lights; a soft sky lights it.");
    if (light.wantsSky()) addSoftSky(document);

    host::BaseContainer renderData = document.GetActiveRenderData()->GetData();
    const PictureSize size = chooseSize(renderData, options.size);
    if (options.region) chooseRegion(renderer, *options.region, size);
    chooseFrame(document, renderData, options.frame);
    session.frameFor(static_cast<double>(size.width) / size.height);
    if (!options.quiet && session.imported() && !document.GetActiveBaseDraw()->GetSceneCamera(&document))
        terminal::print("The scene has no camera; the picture frames all of it.");
    checkMemory(size);
    const int samples = std::atoi(renderer.value("samples").c_str());

    host::MultipassBitmap pictures(size.width, size.height);
    RenderJob job(document, renderData, pictures);
    Progress progress(options.quiet, samples);
    runJob(session.application(), job, progress);
    const double seconds = progress.finish();

    const bool stopped = interrupted() && job.result() != host::RenderResult::Ok;
    if (job.result() != host::RenderResult::Ok && !stopped)
        throw Failure(kExitFailure, job.error().empty() ? describe(job.result()) : job.error());
    if (stopped && !job.hasPicture())
        throw Failure(kExitInterrupted, "Interrupted before the first sample; no picture was written.");

    writePicture(*pictures.GetBeauty(), output);
    const std::string path = std::filesystem::absolute(output).lexically_normal().string();
    if (stopped) {
        terminal::print("Interrupted at " + std::to_string(std::lround(job.fraction() * samples)) + " of " +
                        std::to_string(samples) + " samples; what was rendered is in " + path);
        return kExitInterrupted;
    }
    if (!options.quiet) {
        terminal::print(std::to_string(size.width) + "x" + std::to_string(size.height) + ", " +
                        std::to_string(samples) + " samples in " + formatDuration(seconds) + ", " +
                        formatRate(seconds > 0 ? samples / seconds * size.width * size.height : 0) +
                        " pixel samples/s");
        std::printf("%s\n", path.c_str());
    }
    return kExitOk;
}

}  // namespace app
