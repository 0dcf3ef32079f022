#include "engine/film/lut.h"

#include <OpenColorIO/OpenColorIO.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <mutex>

namespace Lumora::engine {

namespace ocio = OCIO_NAMESPACE;

namespace {

/// A table of 129 steps, the most that is read, takes some 60 MB of text.
constexpr std::uintmax_t kLargestFile = 96u << 20;

std::string firstLine(const std::string& text) {
    const std::string line = text.substr(0, text.find('\n'));
    return line.substr(0, 200);
}

bool isCube(const std::filesystem::path& path) {
    std::string suffix = path.extension().string();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return suffix == ".cube";
}

}  // namespace

struct Lut::Impl {
    ocio::ConstCPUProcessorRcPtr processor;
};

Lut::Lut(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Lut::~Lut() = default;

std::shared_ptr<const Lut> Lut::load(const std::string& file, std::string& error) {
    const auto fail = [&](const std::string& why) {
        error = "The LUT " + file + " is left out: " + why + ".";
        return nullptr;
    };
    try {
        std::error_code code;
        const std::filesystem::path path = std::filesystem::absolute(file, code);
        if (code || !std::filesystem::is_regular_file(path, code)) return fail("there is no such file");
        if (!isCube(path)) return fail("only .cube files are read");
        const std::uintmax_t size = std::filesystem::file_size(path, code);
        if (code || size > kLargestFile)
            return fail("its " + std::to_string(size >> 20) + " MB are more than the " +
                        std::to_string(kLargestFile >> 20) + " MB that are read");

        static std::mutex lock;  // the library's cache of files is one for the process
        const std::lock_guard guard(lock);
        ocio::SetLoggingLevel(ocio::LOGGING_LEVEL_NONE);
        ocio::ClearAllCaches();  // the file may have changed
        const ocio::FileTransformRcPtr transform = ocio::FileTransform::Create();
        transform->setSrc(path.string().c_str());
        transform->setInterpolation(ocio::INTERP_BEST);
        auto impl = std::make_unique<Impl>();
        impl->processor = ocio::Config::CreateRaw()->getProcessor(transform)->getDefaultCPUProcessor();
        return std::shared_ptr<const Lut>(new Lut(std::move(impl)));
    } catch (const std::bad_alloc&) {
        return fail("there is not enough memory for it");
    } catch (const std::exception& e) {
        return fail("it is no table that can be read (" + firstLine(e.what()) + ")");
    }
}

void Lut::apply(float* rgba, std::size_t pixels) const {
    ocio::PackedImageDesc image(rgba, static_cast<long>(pixels), 1, ocio::CHANNEL_ORDERING_RGBA);
    impl_->processor->apply(image);
    for (std::size_t i = 0; i < 4 * pixels; ++i) {
        if (!std::isfinite(rgba[i])) rgba[i] = 0.0f;
    }
}

}  // namespace Lumora::engine
