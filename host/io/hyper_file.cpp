#include "host/io/hyper_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "host/io/hyper_checksum.h"
#include "host/io/hyper_impl.h"

namespace host {
namespace {

constexpr UChar kMagic[8] = {'L', 'U', 'M', 'H', 'Y', 'P', 0x1A, '\n'};
constexpr Int32 kLayout = 1;
constexpr std::size_t kBufferBytes = std::size_t(4) << 20;

template <typename T>
void put(UChar* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

template <typename T>
T get(const UChar* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

Bool writeFully(int descriptor, const UChar* data, std::size_t bytes, Int64 offset, Bool seekable) {
    while (bytes > 0) {
        const ssize_t done =
            seekable ? ::pwrite(descriptor, data, bytes, static_cast<off_t>(offset)) : ::write(descriptor, data, bytes);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) {
            if (done == 0) errno = ENOSPC;
            return false;
        }
        data += done;
        bytes -= static_cast<std::size_t>(done);
        offset += done;
    }
    return true;
}

FileError errorOf(int code) {
    switch (code) {
        case ENOENT:
        case ENOTDIR:
            return FileError::NotFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
            return FileError::NoAccess;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return FileError::DiskFull;
        default:
            return FileError::Other;
    }
}

}  // namespace

void sealHyperFile(std::vector<UChar>& bytes) {
    const std::size_t content = bytes.size() - static_cast<std::size_t>(kHyperTrailerBytes);
    HyperChecksum checksum;
    checksum.add(bytes.data(), content);
    put<UInt64>(bytes.data() + content, checksum.value());
    put<UInt64>(bytes.data() + content + 8, bytes.size());
}

HyperFile::Impl::~Impl() {
    if (mapped != nullptr) ::munmap(mapped, static_cast<std::size_t>(mappedBytes));
    if (ownsDescriptor && descriptor >= 0) ::close(descriptor);
    if (!temporary.empty()) ::unlink(temporary.c_str());
}

Bool HyperFile::Impl::fail(FileError code, std::string sentence) {
    if (error == FileError::None) {
        error = code;
        text = std::move(sentence);
    }
    return false;
}

Bool HyperFile::Impl::failSystem(int code) {
    const FileError kind = errorOf(code);
    return fail(kind, kind == FileError::Other || kind == FileError::NoAccess
                          ? "\"" + name + "\": " + std::strerror(code) + "."
                          : std::string());
}

Bool HyperFile::Impl::flush() {
    if (error != FileError::None) return false;
    if (inMemory || buffer.empty()) return true;
    if (!writeFully(descriptor, buffer.data(), buffer.size(), base + flushed, true)) return failSystem(errno);
    flushed += static_cast<Int64>(buffer.size());
    buffer.clear();
    return true;
}

Bool HyperFile::Impl::write(const void* data, Int64 bytes) {
    if (error != FileError::None) return false;
    if (mode != Mode::Write) return fail(FileError::Other);
    const auto* first = static_cast<const UChar*>(data);
    const auto count = static_cast<std::size_t>(bytes);
    if (inMemory || buffer.size() + count <= kBufferBytes) {
        buffer.insert(buffer.end(), first, first + count);
        return true;
    }
    if (!flush()) return false;
    if (count < kBufferBytes / 2) {
        buffer.insert(buffer.end(), first, first + count);
        return true;
    }
    if (!writeFully(descriptor, first, count, base + flushed, true)) return failSystem(errno);
    flushed += bytes;
    return true;
}

Bool HyperFile::Impl::patch(Int64 position, UInt64 value) {
    UChar bytes[8];
    put(bytes, value);
    for (int i = 0; i < 8; ++i) {
        const Int64 at = position + i;
        if (at >= flushed) {
            buffer[static_cast<std::size_t>(at - flushed)] = bytes[i];
        } else if (!writeFully(descriptor, bytes + i, 1, base + at, true)) {
            return failSystem(errno);
        }
    }
    return true;
}

Bool HyperFile::Impl::read(void* data, Int64 bytes) {
    if (error != FileError::None) return false;
    if (mode != Mode::Read || bytes < 0 || bytes > end() - position) return fail(FileError::Corrupt);
    if (bytes > 0) std::memcpy(data, content + position, static_cast<std::size_t>(bytes));
    position += bytes;
    return true;
}

Bool HyperFile::Impl::startWriting(Int32 ident, Int32 version) {
    mode = Mode::Write;
    fileVersion = version;
    UChar header[kHyperHeaderBytes] = {};
    std::memcpy(header, kMagic, sizeof kMagic);
    put(header + 8, ident);
    put(header + 12, version);
    put(header + 16, kLayout);
    return write(header, sizeof header);
}

Bool HyperFile::Impl::finishWriting() {
    if (!ends.empty()) return fail(FileError::Other, "A chunk was left open.");
    if (inMemory) {
        buffer.resize(buffer.size() + static_cast<std::size_t>(kHyperTrailerBytes));
        sealHyperFile(buffer);
        if (descriptor < 0) return true;
        if (!writeFully(descriptor, buffer.data(), buffer.size(), 0, false)) return failSystem(errno);
        return true;
    }
    if (!flush()) return false;
    HyperChecksum checksum;
    std::vector<UChar> block(std::size_t(1) << 20);
    for (Int64 at = 0; at < flushed;) {
        const auto want = static_cast<std::size_t>(std::min<Int64>(static_cast<Int64>(block.size()), flushed - at));
        std::size_t have = 0;
        while (have < want) {
            const ssize_t got = ::pread(descriptor, block.data() + have, want - have,
                                        static_cast<off_t>(base + at + static_cast<Int64>(have)));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return failSystem(got == 0 ? EIO : errno);
            have += static_cast<std::size_t>(got);
        }
        checksum.add(block.data(), have);
        at += static_cast<Int64>(have);
    }
    UChar trailer[kHyperTrailerBytes];
    put<UInt64>(trailer, checksum.value());
    put<UInt64>(trailer + 8, static_cast<UInt64>(flushed + kHyperTrailerBytes));
    if (!writeFully(descriptor, trailer, sizeof trailer, base + flushed, true)) return failSystem(errno);
    return temporary.empty() || putInPlace();
}

/// The finished temporary file replaces the target. Both are on one file system, so that this is one step.
Bool HyperFile::Impl::putInPlace() {
    if (::fsync(descriptor) != 0) return failSystem(errno);
    ::close(descriptor);
    descriptor = -1;
    if (::rename(temporary.c_str(), target.c_str()) != 0) return failSystem(errno);
    temporary.clear();
    // The new directory entry must last as well; a file system that cannot say so is no error.
    const auto slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : target.substr(0, slash + 1);
    const int directory = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        ::fsync(directory);
        ::close(directory);
    }
    return true;
}

Bool HyperFile::Impl::startReading(Int32 ident, Int32 version) {
    mode = Mode::Read;
    if (contentBytes < kHyperHeaderBytes + kHyperTrailerBytes || std::memcmp(content, kMagic, sizeof kMagic) != 0) {
        return fail(contentBytes >= 8 && std::memcmp(content, kMagic, sizeof kMagic) == 0 ? FileError::Corrupt
                                                                                          : FileError::WrongIdent);
    }
    if (get<Int32>(content + 8) != ident) return fail(FileError::WrongIdent);
    fileVersion = get<Int32>(content + 12);
    const Int32 layout = get<Int32>(content + 16);
    const Int64 body = contentBytes - kHyperTrailerBytes;
    HyperChecksum checksum;
    checksum.add(content, static_cast<std::size_t>(body));
    if (get<UInt64>(content + body) != checksum.value() ||
        get<UInt64>(content + body + 8) != static_cast<UInt64>(contentBytes))
        return fail(FileError::Corrupt);
    if (fileVersion > version || layout > kLayout) {
        return fail(FileError::NewerVersion, "\"" + name + "\" has version " + std::to_string(fileVersion) +
                                                 " of its format; this program reads versions up to " +
                                                 std::to_string(version) + ".");
    }
    position = kHyperHeaderBytes;
    contentBytes = body;
    return true;
}

Bool HyperFile::Impl::map(int fd, Int64 limit) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) return failSystem(errno);
    if (S_ISDIR(status.st_mode)) return fail(FileError::NoAccess, "\"" + name + "\" is a folder.");
    if (S_ISREG(status.st_mode)) {
        const Int64 start = std::max<Int64>(0, ::lseek(fd, 0, SEEK_CUR));
        const Int64 bytes = status.st_size - start;
        if (bytes > limit) return fail(FileError::TooLarge);
        if (bytes <= 0) return fail(FileError::WrongIdent, "\"" + name + "\" is empty.");
        mappedBytes = status.st_size;
        mapped = ::mmap(nullptr, static_cast<std::size_t>(mappedBytes), PROT_READ, MAP_PRIVATE, fd, 0);
        if (mapped == MAP_FAILED) {
            mapped = nullptr;
            return failSystem(errno);
        }
        content = static_cast<const UChar*>(mapped) + start;
        contentBytes = bytes;
        return true;
    }
    std::size_t have = 0;
    while (true) {
        if (owned.size() - have < (std::size_t(1) << 16)) owned.resize(std::max<std::size_t>(1 << 17, have * 2));
        const ssize_t got = ::read(fd, owned.data() + have, owned.size() - have);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return failSystem(errno);
        if (got == 0) break;
        have += static_cast<std::size_t>(got);
        if (static_cast<Int64>(have) > limit) return fail(FileError::TooLarge);
    }
    owned.resize(have);
    content = owned.data();
    contentBytes = static_cast<Int64>(have);
    return true;
}

HyperFile::HyperFile() : impl_(std::make_unique<Impl>()) {}
HyperFile::~HyperFile() = default;

Bool HyperFile::Open(Int32 ident, const Filename& file, FileMode mode, Int32 version) {
    impl_ = std::make_unique<Impl>();
    Impl& s = *impl_;
    s.name = file.str();
    if (mode == FileMode::Read) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) return s.failSystem(errno);
        const Bool good = s.map(fd, Int64(1) << 50);
        ::close(fd);
        return good && s.startReading(ident, version);
    }
    // A link is followed, so that the file behind it is replaced and not the link.
    std::unique_ptr<char, decltype(&std::free)> real(::realpath(file.c_str(), nullptr), &std::free);
    s.target = real ? real.get() : file.str();
    struct stat status {};
    const Bool exists = ::stat(s.target.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        return s.fail(FileError::NoAccess,
                      "\"" + s.name + (S_ISDIR(status.st_mode) ? "\" is a folder." : "\" is no ordinary file."));
    }
    if (exists && ::access(s.target.c_str(), W_OK) != 0) return s.failSystem(errno);
    static std::atomic<UInt32> counter{0};
    const auto slash = s.target.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    const std::string temporary = s.target.substr(0, start) + "." + s.target.substr(start) + "." +
                                  std::to_string(::getpid()) + "." + std::to_string(counter++) + ".tmp";
    s.descriptor = ::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (s.descriptor < 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return s.fail(FileError::NotFound, "The folder of \"" + s.name + "\" does not exist.");
        }
        return s.failSystem(errno);
    }
    s.temporary = temporary;
    s.ownsDescriptor = true;
    s.inMemory = false;
    if (exists) static_cast<void>(::fchmod(s.descriptor, status.st_mode & 07777));
    return s.startWriting(ident, version);
}

Bool HyperFile::OpenMemory(Int32 ident, std::vector<UChar> bytes, Int32 version) {
    impl_ = std::make_unique<Impl>();
    impl_->name = "memory";
    impl_->owned = std::move(bytes);
    impl_->content = impl_->owned.data();
    impl_->contentBytes = static_cast<Int64>(impl_->owned.size());
    return impl_->startReading(ident, version);
}

Bool HyperFile::OpenMemory(Int32 ident, Int32 version) {
    impl_ = std::make_unique<Impl>();
    impl_->name = "memory";
    return impl_->startWriting(ident, version);
}

Bool HyperFile::OpenDescriptor(Int32 ident, int descriptor, FileMode mode, Int32 version, Int64 limit) {
    impl_ = std::make_unique<Impl>();
    Impl& s = *impl_;
    s.name = "stream";
    if (mode == FileMode::Read) return s.map(descriptor, limit) && s.startReading(ident, version);
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return s.failSystem(errno);
    s.descriptor = descriptor;
    const int access = ::fcntl(descriptor, F_GETFL) & O_ACCMODE;
    // A file that can be read back is written as it comes; a pipe gets everything at the end.
    if (S_ISREG(status.st_mode) && access == O_RDWR) {
        s.inMemory = false;
        s.base = std::max<Int64>(0, ::lseek(descriptor, 0, SEEK_CUR));
    }
    return s.startWriting(ident, version);
}

Bool HyperFile::Close() {
    Impl& s = *impl_;
    if (s.error != FileError::None || s.mode == Impl::Mode::None) return false;
    const Bool good = s.mode == Impl::Mode::Read || s.finishWriting();
    if (good && s.mode == Impl::Mode::Write && s.inMemory && s.descriptor < 0) s.owned = std::move(s.buffer);
    if (s.ownsDescriptor && s.descriptor >= 0) {
        ::close(s.descriptor);
        s.descriptor = -1;
    }
    s.mode = Impl::Mode::None;
    return good;
}

const std::vector<UChar>& HyperFile::Bytes() const {
    return impl_->owned;
}

FileError HyperFile::GetError() const {
    return impl_->error;
}

Int32 HyperFile::GetFileVersion() const {
    return impl_->fileVersion;
}

Int64 HyperFile::GetRemaining() const {
    return impl_->mode == Impl::Mode::Read ? impl_->end() - impl_->position : 0;
}

String HyperFile::GetErrorText() const {
    if (!impl_->text.empty()) return impl_->text;
    const std::string name = "\"" + impl_->name + "\"";
    switch (impl_->error) {
        case FileError::None:
            return {};
        case FileError::NotFound:
            return name + " does not exist.";
        case FileError::NoAccess:
            return name + " cannot be opened.";
        case FileError::Corrupt:
            return name + " is damaged or cut short.";
        case FileError::WrongIdent:
            return name + " is not a file of this kind.";
        case FileError::NewerVersion:
            return name + " was written by a newer version.";
        case FileError::TooLarge:
            return name + " is too large.";
        case FileError::DiskFull:
            return "There is not enough room on the disk for " + name + ".";
        case FileError::Other:
            break;
    }
    return name + " could not be read or written.";
}

Bool HyperFile::Fail(FileError error, const String& sentence) {
    return impl_->fail(error, sentence.str());
}

}  // namespace host
