#include "host/io/import/embedded_images.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <string_view>

#include "host/sdk/custom_types.h"
#include "host/sdk/file.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Members of one image's container.
enum : Int32 { kImageName = 1, kImageBytes = 2 };

/// FNV-1a, 64 bit, over words and the rest: a name for content, not a defence.
UInt64 hashOf(std::span<const UChar> bytes) {
    UInt64 hash = 0xcbf29ce484222325ull ^ bytes.size();
    std::size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        UInt64 word;
        std::memcpy(&word, bytes.data() + i, 8);
        hash = (hash ^ word) * 0x100000001b3ull;
        hash ^= hash >> 29;
    }
    for (; i < bytes.size(); ++i) hash = (hash ^ bytes[i]) * 0x100000001b3ull;
    return hash;
}

const char* suffixOf(std::span<const UChar> bytes) {
    const auto starts = [&](std::string_view magic, std::size_t at = 0) {
        return bytes.size() >= at + magic.size() && std::memcmp(bytes.data() + at, magic.data(), magic.size()) == 0;
    };
    if (starts("\x89PNG")) return "png";
    if (starts("\xFF\xD8\xFF")) return "jpg";
    if (starts("RIFF") && starts("WEBP", 8)) return "webp";
    if (starts("\xABKTX 20")) return "ktx2";
    if (starts("DDS ")) return "dds";
    if (starts("BM")) return "bmp";
    if (starts("GIF8")) return "gif";
    if (starts("8BPS")) return "psd";
    if (starts("II*") || starts("MM")) return "tif";
    if (starts("\x76\x2F\x31\x01")) return "exr";
    if (starts("#?RADIANCE") || starts("#?RGBE")) return "hdr";
    return "tga";  // the one common format without a mark at its beginning
}

const ByteData* bytesOf(const BaseContainer& image) {
    const GeData* data = image.FindData(kImageBytes);
    return data ? static_cast<const ByteData*>(data->GetCustom(CUSTOMDATATYPE_BYTES)) : nullptr;
}

/// A name that came from a file must stay one plain name in our folder.
bool isPlainName(const std::string& name) {
    return !name.empty() && name.size() < 200 && name.find('/') == std::string::npos && name[0] != '.';
}

bool writeWhole(const fs::path& path, const std::vector<UChar>& bytes) {
    std::error_code error;
    if (fs::file_size(path, error) == bytes.size() && !error) return true;
    const fs::path partial = path.string() + ".part";
    std::FILE* file = std::fopen(partial.c_str(), "wb");
    if (!file) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !written) {
        fs::remove(partial, error);
        return false;
    }
    fs::rename(partial, path, error);
    return !error;
}

void visitShaderList(BaseShader* shader, const std::function<void(BaseShader&)>& visit) {
    for (; shader; shader = shader->GetNext()) {
        visit(*shader);
        visitShaderList(shader->GetFirstShader(), visit);
        visitShaderList(shader->GetDown(), visit);
    }
}

}  // namespace

namespace importer {

Filename addEmbeddedImage(BaseContainer& images, std::span<const UChar> bytes, const std::string& name) {
    std::string file;
    for (const char c : name.substr(0, 60))
        file += (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ? c : '_';
    std::array<char, 32> hash{};
    std::snprintf(hash.data(), hash.size(), "%016llx", static_cast<unsigned long long>(hashOf(bytes)));
    file = (file.empty() ? std::string("image") : file) + "-" + hash.data() + "." + suffixOf(bytes);
    for (Int32 i = 0; i < images.GetCount(); ++i)
        if (const BaseContainer* image = images.GetIndexData(i).GetContainer())
            if (image->GetString(kImageName).str() == file) return Filename(file);
    auto data = std::make_shared<ByteData>();
    data->bytes.assign(bytes.begin(), bytes.end());
    BaseContainer image;
    image.SetString(kImageName, String(file));
    image.SetData(kImageBytes, GeData(std::shared_ptr<const CustomDataType>(std::move(data))));
    images.SetContainer(images.GetCount() + 1, image);
    return Filename(file);
}

}  // namespace importer

void visitShaders(BaseDocument& document, const std::function<void(BaseShader&)>& visit) {
    for (BaseMaterial* m = document.GetFirstMaterial(); m; m = m->GetNext())
        visitShaderList(m->GetFirstShader(), visit);
    BaseObject* object = document.GetFirstObject();
    while (object) {
        visitShaderList(object->GetFirstShader(), visit);
        for (BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext())
            visitShaderList(tag->GetFirstShader(), visit);
        if (object->GetDown()) {
            object = object->GetDown();
            continue;
        }
        while (object && !object->GetNext()) object = object->GetUp();
        if (object) object = object->GetNext();
    }
}

Bool materialiseEmbeddedImages(BaseDocument& document, String* error) {
    const BaseContainer* images = document.GetDataInstance()->GetContainerInstance(DOCUMENT_EMBEDDED_IMAGES);
    if (!images) return true;
    const Filename folder = GeGetStartupWritePath() + Filename("images");
    Bool good = GeFCreateDir(folder);
    if (!good && error) *error = "The folder " + folder.GetString() + " cannot be made.";
    std::set<std::string> names;
    for (Int32 i = 0; i < images->GetCount(); ++i) {
        const BaseContainer* image = images->GetIndexData(i).GetContainer();
        const ByteData* data = image ? bytesOf(*image) : nullptr;
        const std::string name = image ? image->GetString(kImageName).str() : std::string();
        if (!data || !isPlainName(name)) continue;
        names.insert(name);
        const Filename path = folder + Filename(name);
        if (good && !writeWhole(path.str(), data->bytes)) {
            good = false;
            if (error) *error = "The image file " + path.GetString() + " cannot be written.";
        }
    }
    visitShaders(document, [&](BaseShader& shader) {
        if (shader.GetType() != Xbitmap) return;
        const Filename file = shader.GetDataInstance()->GetFilename(BITMAPSHADER_FILENAME);
        const std::string name = file.GetFileString().str();
        if (!names.contains(name)) return;
        const Filename path = folder + Filename(name);
        if (!(file == path)) shader.GetDataInstance()->SetFilename(BITMAPSHADER_FILENAME, path);
    });
    return good;
}

}  // namespace host
