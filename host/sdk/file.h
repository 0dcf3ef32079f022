// Files: HyperFile, the host's chunked binary format, and the folders that the host knows.
#pragma once

#include <memory>
#include <type_traits>
#include <vector>

#include "host/sdk/ge_data.h"

namespace host {

enum class FileMode : Int32 { Read = 1, Write = 2 };
enum class FileError : Int32 {
    None = 0,
    NotFound,
    NoAccess,
    Corrupt,
    WrongIdent,
    NewerVersion,
    TooLarge,
    DiskFull,
    Other
};

/// A stream of typed values in nested, skippable chunks. Little endian. Writing goes to a temporary file beside the
/// target, which replaces it when Close succeeds: a file is written whole or not at all. Reading checks every length
/// against what is left, so a broken file gives an error and never a huge allocation.
class HOST_API HyperFile {
public:
    HyperFile();
    ~HyperFile();  ///< without Close: a file being written is dropped
    HyperFile(const HyperFile&) = delete;
    HyperFile& operator=(const HyperFile&) = delete;

    /// `ident` names the kind of file; reading a file of another kind fails with WrongIdent.
    /// `version` is what a writer writes, and the newest that a reader knows.
    Bool Open(Int32 ident, const Filename& file, FileMode mode, Int32 version = 1);
    /// In memory instead of in a file.
    Bool OpenMemory(Int32 ident, std::vector<UChar> bytes, Int32 version = 1);  ///< for reading
    Bool OpenMemory(Int32 ident, Int32 version = 1);                            ///< for writing; Bytes() after Close
    /// An open descriptor, which stays open: reading takes all that comes until its end, at most `limit` bytes; writing
    /// starts where it stands and happens at Close.
    Bool OpenDescriptor(Int32 ident, int descriptor, FileMode mode, Int32 version = 1, Int64 limit = Int64(1) << 40);
    Bool Close();  ///< false when anything failed since Open
    const std::vector<UChar>& Bytes() const;
    FileError GetError() const;
    String GetErrorText() const;
    Int32 GetFileVersion() const;  ///< that the file was written with
    /// Gives up with this error and a sentence that replaces the usual one.
    Bool Fail(FileError error, const String& sentence = {});
    Int64 GetRemaining() const;  ///< bytes that the innermost open chunk has left for reading

    /// Chunks: readers that do not know an id skip it. Every start needs its end.
    Bool WriteChunkStart(Int32 id, Int32 level);
    Bool WriteChunkEnd();
    /// False at the end of the enclosing chunk (then GetError() is None) or on an error.
    Bool ReadChunkStart(Int32* id, Int32* level);
    Bool ReadChunkEnd();  ///< skips what was not read

    Bool WriteBool(Bool v);
    Bool WriteInt32(Int32 v);
    Bool WriteInt64(Int64 v);
    Bool WriteFloat(Float v);
    Bool WriteVector(const Vector& v);
    Bool WriteMatrix(const Matrix& v);
    Bool WriteString(const String& v);
    Bool WriteFilename(const Filename& v);
    Bool WriteTime(const BaseTime& v);
    Bool WriteData(const GeData& v);
    Bool WriteContainer(const BaseContainer& v);
    Bool WriteBytes(const void* data, Int64 bytes);  ///< with its length

    Bool ReadBool(Bool* v);
    Bool ReadInt32(Int32* v);
    Bool ReadInt64(Int64* v);
    Bool ReadFloat(Float* v);
    Bool ReadVector(Vector* v);
    Bool ReadMatrix(Matrix* v);
    Bool ReadString(String* v);
    Bool ReadFilename(Filename* v);
    Bool ReadTime(BaseTime* v);
    Bool ReadData(GeData* v);
    Bool ReadContainer(BaseContainer* v, Bool flush = true);
    /// Length first; at most `limit` bytes are accepted.
    Bool ReadBytes(std::vector<UChar>* v, Int64 limit = Int64(1) << 40);
    /// What is left of the innermost chunk, as it stands; WriteRest puts it into another chunk.
    Bool ReadRest(std::vector<UChar>* v);
    Bool WriteRest(const std::vector<UChar>& v);
    template <typename T>
    Bool WriteArray(const std::vector<T>& v) {
        static_assert(std::is_trivially_copyable_v<T>);
        return WriteBytes(v.data(), static_cast<Int64>(v.size() * sizeof(T)));
    }
    /// An array of trivially copyable elements; false when the length does not divide.
    template <typename T>
    Bool ReadArray(std::vector<T>* v) {
        static_assert(std::is_trivially_copyable_v<T>);
        Int64 bytes = 0;
        if (!ReadByteCount(&bytes) || bytes % static_cast<Int64>(sizeof(T)) != 0) return Fail(FileError::Corrupt);
        v->resize(static_cast<std::size_t>(bytes) / sizeof(T));
        return ReadRaw(v->data(), bytes);
    }

private:
    Bool ReadByteCount(Int64* bytes);  ///< checked against what is left in the chunk
    Bool ReadRaw(void* data, Int64 bytes);
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

enum class HostPath : Int32 {
    Application = 1,  ///< of the executable
    Preferences = 2,
    Resource = 3,
    Plugins = 4,
    Write = 8,  ///< for scratch files; below the preferences
};
HOST_API Filename GeGetC4DPath(HostPath which);
inline Filename GeGetStartupWritePath() {
    return GeGetC4DPath(HostPath::Write);
}

HOST_API Bool GeFExist(const Filename& file);
HOST_API Bool GeFCreateDir(const Filename& folder);  ///< with its parents
HOST_API Bool GeFKill(const Filename& file);         ///< a file, or a folder with its content

/// Full path of an image that a document names: the file as it stands, beside the document, in its `tex` folder, then
/// `suggested`. False and an empty result when none exists.
HOST_API Bool GenerateTexturePath(const Filename& documentPath, const Filename& file, const Filename& suggested,
                                  Filename* result);

// Containers of plug-ins that last: kept in the preferences folder, read at start, written at change.
HOST_API BaseContainer* GetWorldPluginData(Int32 id);  ///< null when none was ever set
HOST_API Bool SetWorldPluginData(Int32 id, const BaseContainer& data, Bool merge = false);

}  // namespace host
