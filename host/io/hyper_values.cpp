// Values and chunks of a HyperFile.
#include <array>
#include <cstring>

#include "host/io/hyper_file.h"
#include "host/io/hyper_impl.h"
#include "host/io/private_data.h"
#include "host/model/unknown_data.h"
#include "host/runtime/plugin_registry.h"
#include "host/sdk/base_list.h"
#include "host/sdk/custom_types.h"
#include "host/sdk/node_data.h"

namespace host {
namespace {

/// The byte in front of each value.
enum Mark : UChar {
    kBool = 1,
    kInt32,
    kInt64,
    kFloat,
    kVector,
    kMatrix,
    kString,
    kFilename,
    kTime,
    kData,
    kContainer,
    kBytes,
    kRest,
    kChunk = 0xC5
};

/// Containers and compound values deeper than this are damage.
constexpr int kMaximumDepth = 100;
/// Chunks in chunks: a file that nests deeper would exhaust the reader's stack.
constexpr std::size_t kMaximumChunks = 400;

constexpr Int64 kLengthBytes = 8;

struct DepthGuard {
    explicit DepthGuard(int& depth) : depth_(depth) { ++depth_; }
    ~DepthGuard() { --depth_; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

private:
    int& depth_;
};

template <typename File, typename T>
Bool writeMarked(File& file, Mark mark, const T& value) {
    UChar bytes[1 + sizeof(T)];
    bytes[0] = mark;
    std::memcpy(bytes + 1, &value, sizeof(T));
    return file.write(bytes, sizeof bytes);
}

template <typename File>
Bool expect(File& file, Mark mark) {
    UChar found = 0;
    return file.read(&found, 1) && (found == mark || file.fail(FileError::Corrupt));
}

template <typename File, typename T>
Bool readMarked(File& file, Mark mark, T* value) {
    return expect(file, mark) && file.read(value, sizeof(T));
}

template <typename File>
Bool writeText(File& file, Mark mark, const std::string& text) {
    return writeMarked(file, mark, static_cast<Int64>(text.size())) &&
           file.write(text.data(), static_cast<Int64>(text.size()));
}

template <typename File>
Bool readText(File& file, Mark mark, std::string* text) {
    Int64 bytes = 0;
    if (!readMarked(file, mark, &bytes)) return false;
    if (bytes < 0 || bytes > file.end() - file.position) return file.fail(FileError::Corrupt);
    text->resize(static_cast<std::size_t>(bytes));
    return file.read(text->data(), bytes);
}

std::unique_ptr<CustomDataType> makeCustom(Int32 type) {
    switch (type) {
        case CUSTOMDATATYPE_GRADIENT:
            return std::make_unique<Gradient>();
        case CUSTOMDATATYPE_INEXCLUDE_LIST:
            return std::make_unique<InExcludeData>();
        case CUSTOMDATATYPE_BYTES:
            return std::make_unique<ByteData>();
        default:
            break;
    }
    if (auto made = makeRegisteredDataType(type)) return made;
    return std::make_unique<UnknownData>(type);
}

Int32 levelOf(const CustomDataType& value) {
    if (const auto* unknown = dynamic_cast<const UnknownData*>(&value)) return unknown->GetLevel();
    const PluginInfo* info = FindPlugin(value.GetTypeId());
    return info ? info->level : 0;
}

}  // namespace

Bool HyperFile::WriteChunkStart(Int32 id, Int32 level) {
    Impl& s = *impl_;
    if (s.ends.size() >= kMaximumChunks)
        return s.fail(FileError::Other, "The data are nested too deeply to be written.");
    const Bool good = writeMarked(s, kChunk, id) && s.write(&level, sizeof level);
    s.ends.push_back(s.written());
    const Int64 length = 0;
    return good && s.write(&length, kLengthBytes);
}

Bool HyperFile::WriteChunkEnd() {
    Impl& s = *impl_;
    if (s.ends.empty()) return s.fail(FileError::Other);
    const Int64 place = s.ends.back();
    s.ends.pop_back();
    return s.error == FileError::None && s.patch(place, static_cast<UInt64>(s.written() - place - kLengthBytes));
}

Bool HyperFile::ReadChunkStart(Int32* id, Int32* level) {
    Impl& s = *impl_;
    if (s.error != FileError::None || s.position == s.end()) return false;
    Int64 length = 0;
    if (!readMarked(s, kChunk, id) || !s.read(level, sizeof *level) || !s.read(&length, kLengthBytes)) return false;
    if (length < 0 || length > s.end() - s.position || s.ends.size() >= kMaximumChunks)
        return s.fail(FileError::Corrupt);
    s.ends.push_back(s.position + length);
    return true;
}

Bool HyperFile::ReadChunkEnd() {
    Impl& s = *impl_;
    if (s.error != FileError::None) return false;
    if (s.ends.empty()) return s.fail(FileError::Corrupt);
    s.position = s.ends.back();
    s.ends.pop_back();
    return true;
}

Bool HyperFile::WriteBool(Bool v) {
    return writeMarked(*impl_, kBool, static_cast<UChar>(v));
}
Bool HyperFile::WriteInt32(Int32 v) {
    return writeMarked(*impl_, kInt32, v);
}
Bool HyperFile::WriteInt64(Int64 v) {
    return writeMarked(*impl_, kInt64, v);
}
Bool HyperFile::WriteFloat(Float v) {
    return writeMarked(*impl_, kFloat, v);
}
Bool HyperFile::WriteVector(const Vector& v) {
    return writeMarked(*impl_, kVector, v);
}
Bool HyperFile::WriteMatrix(const Matrix& v) {
    return writeMarked(*impl_, kMatrix, v);
}
Bool HyperFile::WriteString(const String& v) {
    return writeText(*impl_, kString, v.str());
}
Bool HyperFile::WriteFilename(const Filename& v) {
    return writeText(*impl_, kFilename, v.str());
}
Bool HyperFile::WriteTime(const BaseTime& v) {
    return writeMarked(*impl_, kTime, std::array<Float, 2>{v.GetNumerator(), v.GetDenominator()});
}
Bool HyperFile::WriteBytes(const void* data, Int64 bytes) {
    return bytes >= 0 && writeMarked(*impl_, kBytes, bytes) && impl_->write(data, bytes);
}
Bool HyperFile::WriteRest(const std::vector<UChar>& v) {
    return impl_->write(v.data(), static_cast<Int64>(v.size()));
}

Bool HyperFile::WriteData(const GeData& v) {
    const DataType type = v.GetType();
    if (!writeMarked(*impl_, kData, static_cast<Int32>(type))) return false;
    switch (type) {
        case DataType::Nil:
            return true;
        case DataType::Int:
            return WriteInt64(v.GetInt64());
        case DataType::Float:
            return WriteFloat(v.GetFloat());
        case DataType::Vector:
            return WriteVector(v.GetVector());
        case DataType::Matrix:
            return WriteMatrix(v.GetMatrix());
        case DataType::String:
            return WriteString(v.GetString());
        case DataType::Filename:
            return WriteFilename(v.GetFilename());
        case DataType::Time:
            return WriteTime(v.GetTime());
        case DataType::Container:
            return WriteContainer(*v.GetContainer());
        case DataType::Link:
            return WriteInt64(static_cast<Int64>(v.GetBaseLink()->GetGUID()));
        case DataType::Custom: {
            const CustomDataType& value = *v.GetCustomOfAnyType();
            return WriteChunkStart(value.GetTypeId(), levelOf(value)) && value.Write(*this) && WriteChunkEnd();
        }
    }
    return false;
}

Bool HyperFile::WriteContainer(const BaseContainer& v) {
    const DepthGuard guard(impl_->depth);
    if (impl_->depth > kMaximumDepth) {
        return impl_->fail(FileError::Other, "Containers are nested too deeply to be written.");
    }
    if (!writeMarked(*impl_, kContainer, std::array<Int32, 2>{v.GetId(), v.GetCount()})) return false;
    for (Int32 i = 0; i < v.GetCount(); ++i) {
        if (!WriteInt32(v.GetIndexId(i)) || !WriteData(v.GetIndexData(i))) return false;
    }
    return true;
}

Bool HyperFile::ReadBool(Bool* v) {
    UChar value = 0;
    if (!readMarked(*impl_, kBool, &value)) return false;
    *v = value != 0;
    return true;
}
Bool HyperFile::ReadInt32(Int32* v) {
    return readMarked(*impl_, kInt32, v);
}
Bool HyperFile::ReadInt64(Int64* v) {
    return readMarked(*impl_, kInt64, v);
}
Bool HyperFile::ReadFloat(Float* v) {
    return readMarked(*impl_, kFloat, v);
}
Bool HyperFile::ReadVector(Vector* v) {
    return readMarked(*impl_, kVector, v);
}
Bool HyperFile::ReadMatrix(Matrix* v) {
    return readMarked(*impl_, kMatrix, v);
}

Bool HyperFile::ReadString(String* v) {
    std::string text;
    if (!readText(*impl_, kString, &text)) return false;
    *v = String(std::move(text));
    return true;
}

Bool HyperFile::ReadFilename(Filename* v) {
    std::string text;
    if (!readText(*impl_, kFilename, &text)) return false;
    *v = Filename(std::move(text));
    return true;
}

Bool HyperFile::ReadTime(BaseTime* v) {
    std::array<Float, 2> fraction{};
    if (!readMarked(*impl_, kTime, &fraction)) return false;
    *v = BaseTime(fraction[0], fraction[1]);
    return true;
}

Bool HyperFile::ReadByteCount(Int64* bytes) {
    if (!readMarked(*impl_, kBytes, bytes)) return false;
    return (*bytes >= 0 && *bytes <= impl_->end() - impl_->position) || impl_->fail(FileError::Corrupt);
}

Bool HyperFile::ReadRaw(void* data, Int64 bytes) {
    return impl_->read(data, bytes);
}

Bool HyperFile::ReadBytes(std::vector<UChar>* v, Int64 limit) {
    Int64 bytes = 0;
    if (!ReadByteCount(&bytes)) return false;
    if (bytes > limit) return impl_->fail(FileError::TooLarge);
    v->resize(static_cast<std::size_t>(bytes));
    return impl_->read(v->data(), bytes);
}

Bool HyperFile::ReadRest(std::vector<UChar>* v) {
    if (impl_->error != FileError::None) return false;
    v->resize(static_cast<std::size_t>(GetRemaining()));
    return impl_->read(v->data(), static_cast<Int64>(v->size()));
}

namespace {

/// Reads one value with the given reader and boxes it.
template <typename T>
Bool readInto(HyperFile& file, Bool (HyperFile::*read)(T*), GeData* data) {
    T value{};
    if (!(file.*read)(&value)) return false;
    *data = GeData(value);
    return true;
}

}  // namespace

Bool HyperFile::ReadData(GeData* v) {
    const DepthGuard guard(impl_->depth);
    if (impl_->depth > 2 * kMaximumDepth) return impl_->fail(FileError::Corrupt);
    Int32 type = 0;
    if (!readMarked(*impl_, kData, &type)) return false;
    switch (static_cast<DataType>(type)) {
        case DataType::Nil:
            *v = GeData();
            return true;
        case DataType::Int:
            return readInto<Int64>(*this, &HyperFile::ReadInt64, v);
        case DataType::Float:
            return readInto<Float>(*this, &HyperFile::ReadFloat, v);
        case DataType::Vector:
            return readInto<Vector>(*this, &HyperFile::ReadVector, v);
        case DataType::Matrix:
            return readInto<Matrix>(*this, &HyperFile::ReadMatrix, v);
        case DataType::String:
            return readInto<String>(*this, &HyperFile::ReadString, v);
        case DataType::Filename:
            return readInto<Filename>(*this, &HyperFile::ReadFilename, v);
        case DataType::Time:
            return readInto<BaseTime>(*this, &HyperFile::ReadTime, v);
        case DataType::Container: {
            BaseContainer container;
            if (!ReadContainer(&container)) return false;
            *v = GeData(container);
            return true;
        }
        case DataType::Link: {
            Int64 guid = 0;
            if (!ReadInt64(&guid)) return false;
            BaseLink link;
            link.SetUnresolved(static_cast<UInt64>(guid));
            *v = GeData(link);
            return true;
        }
        case DataType::Custom: {
            Int32 id = 0, level = 0;
            if (!ReadChunkStart(&id, &level)) return impl_->fail(FileError::Corrupt);
            std::shared_ptr<CustomDataType> value = makeCustom(id);
            if (!value->Read(*this, level) || !ReadChunkEnd()) return impl_->fail(FileError::Corrupt);
            *v = GeData(std::shared_ptr<const CustomDataType>(std::move(value)));
            return true;
        }
    }
    return impl_->fail(FileError::Corrupt);
}

Bool HyperFile::ReadContainer(BaseContainer* v, Bool flush) {
    const DepthGuard guard(impl_->depth);
    if (impl_->depth > 2 * kMaximumDepth) return impl_->fail(FileError::Corrupt);
    std::array<Int32, 2> head{};
    if (!readMarked(*impl_, kContainer, &head)) return false;
    BaseContainer read(head[0]);
    if (head[1] < 0) return impl_->fail(FileError::Corrupt);
    for (Int32 i = 0; i < head[1]; ++i) {
        Int32 id = 0;
        GeData value;
        if (!ReadInt32(&id) || !ReadData(&value)) return false;
        read.InsData(id, std::move(value));
    }
    if (flush) {
        *v = std::move(read);
    } else {
        v->Merge(read);
    }
    return true;
}

std::vector<UChar> privateBytes(const BaseList2D& node) {
    const NodeData* data = node.GetNodeData();
    HyperFile file;
    if (!data || !file.OpenMemory(0) || !data->Write(&node, file) || !file.Close()) return {};
    const auto& bytes = file.Bytes();
    return {bytes.begin() + kHyperHeaderBytes, bytes.end() - kHyperTrailerBytes};
}

}  // namespace host
