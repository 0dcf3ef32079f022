#include "host/io/import/gltf_file.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace host::importer {
namespace fs = std::filesystem;
namespace {

constexpr UInt32 kGlbMagic = 0x46546C67, kJsonChunk = 0x4E4F534A, kBinaryChunk = 0x004E4942;

std::vector<UChar> readWhole(const std::string& path, const std::string& what) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    std::FILE* file = error ? nullptr : std::fopen(path.c_str(), "rb");
    if (!file) throw ImportError(what + " cannot be read");
    std::vector<UChar> bytes(size);
    const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    if (read != size) throw ImportError(what + " cannot be read to its end");
    return bytes;
}

UInt32 word(const std::vector<UChar>& bytes, std::size_t at) {
    UInt32 value;
    std::memcpy(&value, bytes.data() + at, 4);
    return value;
}

[[noreturn]] void wrongType(const char* name, const char* wanted) {
    throw ImportError(std::string("\"") + name + "\" is not " + wanted);
}

int hexDigit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

}  // namespace

const Json* member(const Json& object, const char* name) {
    if (!object.is_object()) return nullptr;
    const auto it = object.find(name);
    return it == object.end() ? nullptr : &*it;
}

Int64 intOr(const Json& object, const char* name, Int64 fallback) {
    const Json* value = member(object, name);
    if (!value) return fallback;
    if (value->is_number_integer()) return value->get<Int64>();
    // Some writers print whole numbers as 3.0.
    if (value->is_number_float()) {
        const Float number = value->get<Float>();
        if (std::abs(number) < 9e15 && number == std::floor(number)) return static_cast<Int64>(number);
    }
    wrongType(name, "a whole number");
}

Float floatOr(const Json& object, const char* name, Float fallback) {
    const Json* value = member(object, name);
    if (!value) return fallback;
    if (!value->is_number()) wrongType(name, "a number");
    return value->get<Float>();
}

bool boolOr(const Json& object, const char* name, bool fallback) {
    const Json* value = member(object, name);
    if (!value) return fallback;
    if (!value->is_boolean()) wrongType(name, "true or false");
    return value->get<bool>();
}

std::string textOr(const Json& object, const char* name, const std::string& fallback) {
    const Json* value = member(object, name);
    if (!value) return fallback;
    if (!value->is_string()) wrongType(name, "a text");
    return value->get<std::string>();
}

std::vector<Float> floatsOf(const Json& object, const char* name, std::size_t count) {
    const Json* value = member(object, name);
    if (!value) return {};
    if (!value->is_array() || value->size() < count) wrongType(name, "a list of enough numbers");
    std::vector<Float> numbers;
    for (std::size_t i = 0; i < count; ++i) {
        if (!(*value)[i].is_number()) wrongType(name, "a list of numbers");
        numbers.push_back((*value)[i].get<Float>());
    }
    return numbers;
}

const Json* extension(const Json& object, const char* name) {
    const Json* all = member(object, "extensions");
    const Json* one = all ? member(*all, name) : nullptr;
    return one && one->is_object() ? one : nullptr;
}

std::string decodePercent(const std::string& uri) {
    std::string out;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        if (uri[i] == '%' && i + 2 < uri.size() && hexDigit(uri[i + 1]) >= 0 && hexDigit(uri[i + 2]) >= 0) {
            const int value = hexDigit(uri[i + 1]) * 16 + hexDigit(uri[i + 2]);
            if (value != 0) out += static_cast<char>(value);
            i += 2;
        } else {
            out += uri[i];
        }
    }
    return out;
}

std::optional<std::vector<UChar>> decodeDataUri(const std::string& uri) {
    if (!uri.starts_with("data:")) return std::nullopt;
    const std::size_t comma = uri.find(',');
    if (comma == std::string::npos) throw ImportError("a data URI has no data");
    std::vector<UChar> bytes;
    if (uri.substr(0, comma).find(";base64") == std::string::npos) {
        const std::string text = decodePercent(uri.substr(comma + 1));
        bytes.assign(text.begin(), text.end());
        return bytes;
    }
    static const std::array<signed char, 256> digits = [] {
        std::array<signed char, 256> table;
        table.fill(-1);
        const char* letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(letters[i])] = static_cast<signed char>(i);
        table['-'] = 62;
        table['_'] = 63;
        return table;
    }();
    bytes.reserve((uri.size() - comma) / 4 * 3);
    UInt32 bits = 0;
    int held = 0;
    for (std::size_t i = comma + 1; i < uri.size(); ++i) {
        const char c = uri[i];
        if (c == '=') break;
        if (c == '\n' || c == '\r' || c == ' ' || c == '\t') continue;
        const int digit = digits[static_cast<unsigned char>(c)];
        if (digit < 0) throw ImportError("the base64 text of a data URI is broken");
        bits = (bits << 6) | static_cast<UInt32>(digit);
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes.push_back(static_cast<UChar>(bits >> held));
        }
    }
    return bytes;
}

GltfFile::GltfFile(const Filename& file, Context& context) : file_(file), context_(context) {
    std::vector<UChar> bytes = readWhole(file.str(), "the file");
    if (bytes.size() >= 4 && word(bytes, 0) == kGlbMagic) {
        readGlb(std::move(bytes));
    } else {
        const std::size_t mark = bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF ? 3 : 0;
        root_ = Json::parse(bytes.begin() + static_cast<std::ptrdiff_t>(mark), bytes.end(), nullptr, false, true);
    }
    if (root_.is_discarded()) throw ImportError("its JSON text is broken");
    if (!root_.is_object() || !member(root_, "asset")) throw ImportError("it is not a glTF file");
    const std::string version = textOr(*member(root_, "asset"), "version", "");
    if (!version.starts_with("2.")) throw ImportError("it is glTF " + cleanName(version) + ", only 2.0 is read");
}

void GltfFile::readGlb(std::vector<UChar> bytes) {
    if (bytes.size() < 20) throw ImportError("the file ends within its header");
    if (word(bytes, 4) != 2) throw ImportError("it is glTF " + std::to_string(word(bytes, 4)) + ", only 2.0 is read");
    if (word(bytes, 8) > bytes.size())
        throw ImportError("the file is cut off: it has " + std::to_string(bytes.size()) + " of " +
                          std::to_string(word(bytes, 8)) + " bytes");
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::size_t length = word(bytes, at), type = word(bytes, at + 4);
        at += 8;
        if (length > bytes.size() - at) throw ImportError("the file ends within a chunk");
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = begin + static_cast<std::ptrdiff_t>(length);
        if (type == kJsonChunk && root_.is_null()) {
            root_ = Json::parse(begin, end, nullptr, false, true);
        } else if (type == kBinaryChunk && !hasChunk_) {
            glbChunk_.assign(begin, end);
            hasChunk_ = true;
        }
        at += (length + 3) / 4 * 4;
    }
}

const Json& GltfFile::at(const char* array, Int64 index) const {
    const Json* list = member(root_, array);
    if (!list || !list->is_array() || index < 0 || static_cast<std::size_t>(index) >= list->size())
        throw ImportError(std::string("it refers to ") + array + "[" + std::to_string(index) +
                          "], which does not exist");
    const Json& element = (*list)[static_cast<std::size_t>(index)];
    if (!element.is_object())
        throw ImportError(std::string(array) + "[" + std::to_string(index) + "] is not an object");
    return element;
}

std::size_t GltfFile::count(const char* array) const {
    const Json* list = member(root_, array);
    return list && list->is_array() ? list->size() : 0;
}

const std::vector<UChar>& GltfFile::buffer(Int64 index) {
    if (const auto known = buffers_.find(index); known != buffers_.end()) return known->second;
    const Json& json = at("buffers", index);
    const std::string uri = textOr(json, "uri", "");
    const auto length = static_cast<std::size_t>(std::max<Int64>(0, intOr(json, "byteLength", 0)));
    const std::string name = "buffer " + std::to_string(index);
    std::vector<UChar> bytes;
    if (uri.empty()) {
        if (index != 0 || !hasChunk_) throw ImportError(name + " has no data");
        bytes = std::move(glbChunk_);
        hasChunk_ = false;
    } else if (auto data = decodeDataUri(uri)) {
        bytes = std::move(*data);
    } else {
        const std::string path = decodePercent(uri);
        const fs::path relative = fs::path(path).lexically_normal();
        if (relative.is_absolute() || path.find("://") != std::string::npos || *relative.begin() == "..")
            throw ImportError("the buffer file \"" + cleanName(path) + "\" lies outside the scene's folder");
        const std::string full = (fs::path(file_.GetDirectory().str()) / relative).string();
        std::error_code error;
        if (!fs::is_regular_file(full, error))
            throw ImportError("the buffer file \"" + cleanName(path) + "\" is missing");
        bytes = readWhole(full, "the buffer file \"" + cleanName(path) + "\"");
    }
    if (bytes.size() < length)
        throw ImportError(name + " is cut off: it has " + std::to_string(bytes.size()) + " of " +
                          std::to_string(length) + " bytes");
    return buffers_[index] = std::move(bytes);
}

std::span<const UChar> GltfFile::view(Int64 index) {
    const Json& json = at("bufferViews", index);
    if (extension(json, "EXT_meshopt_compression") &&
        extension(at("buffers", intOr(json, "buffer", -1)), "EXT_meshopt_compression") &&
        textOr(at("buffers", intOr(json, "buffer", -1)), "uri", "").empty())
        throw ImportError("its data is compressed with EXT_meshopt_compression, which cannot be read");
    const std::vector<UChar>& bytes = buffer(intOr(json, "buffer", -1));
    const Int64 offset = intOr(json, "byteOffset", 0), length = intOr(json, "byteLength", -1);
    const auto size = static_cast<Int64>(bytes.size());
    if (offset < 0 || length < 0 || offset > size || length > size - offset)
        throw ImportError("bufferViews[" + std::to_string(index) + "] reaches past the end of its buffer");
    return std::span(bytes).subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
}

}  // namespace host::importer
