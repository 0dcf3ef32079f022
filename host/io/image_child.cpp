// Images of unproven formats are decoded in a child process, which hands the pixels over in shared memory.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <new>

#include "host/io/image_codec.h"
#include "host/runtime/child_process.h"

namespace host {

namespace {

constexpr const char* kJobName = "decode-image";
constexpr UInt32 kMagic = 0x4C496D31;

struct Header {
    UInt32 magic = kMagic;
    Int32 width = 0, height = 0, format = 0;
};

Bool writeAll(const void* data, std::size_t bytes) {
    const char* at = static_cast<const char*>(data);
    while (bytes > 0) {
        const ssize_t wrote = write(kChildOutputFd, at, bytes);
        if (wrote <= 0) return false;
        at += wrote;
        bytes -= static_cast<std::size_t>(wrote);
    }
    return true;
}

int decodeJob(const std::vector<std::string>& arguments) {
    if (arguments.size() != 1) return 2;
    ImageData image;
    const ImageStatus status = decodeImage(Filename(arguments[0]), &image);
    if (status.result == ImageResult::NoMemory) return kChildOutOfMemory;
    if (!status.ok()) {
        // The sentence is what the parent passes on, the code its kind.
        std::fprintf(stderr, "%s", status.error.c_str());
        return 10 + static_cast<int>(status.result);
    }
    const Header header{kMagic, image.width, image.height, static_cast<Int32>(image.format)};
    return writeAll(&header, sizeof header) && writeAll(image.pixels.data(), image.pixels.size()) ? 0 : 1;
}

[[maybe_unused]] const bool registered = registerChildJob(kJobName, decodeJob);

// What comes from the child is checked like a file from a stranger.
Bool takeImage(int fd, ImageData* image) {
    struct stat status {};
    Header header;
    if (fstat(fd, &status) != 0 || pread(fd, &header, sizeof header, 0) != static_cast<ssize_t>(sizeof header)) {
        return false;
    }
    if (header.magic != kMagic || header.width < 1 || header.width > kMaxImageSide || header.height < 1 ||
        header.height > kMaxImageSide || header.format < 0 ||
        header.format > static_cast<Int32>(PixelFormat::GrayFloat)) {
        return false;
    }
    image->width = header.width;
    image->height = header.height;
    image->format = static_cast<PixelFormat>(header.format);
    const UInt64 bytes = imageBytes(header.width, header.height, image->format);
    if (bytes > kMaxImageBytes || static_cast<UInt64>(status.st_size) != bytes + sizeof header) return false;
    image->pixels.resize(bytes);
    for (UInt64 done = 0; done < bytes;) {
        const ssize_t got =
            pread(fd, image->pixels.data() + done, bytes - done, static_cast<off_t>(done + sizeof header));
        if (got <= 0) return false;
        done += static_cast<UInt64>(got);
    }
    return true;
}

}  // namespace

ImageStatus decodeImageInChild(const Filename& file, ImageData* image) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file.str(), error)) {
        return {ImageResult::NotFound, file.str() + ": there is no such image file"};
    }
    const int fd = memfd_create("lumora-image", MFD_CLOEXEC);
    if (fd < 0) return {ImageResult::NoMemory, file.str() + ": there is no shared memory to read it into"};
    ChildLimits limits;
    limits.memoryBytes = static_cast<Int64>(3 * kMaxImageBytes);  // the pixels, the library's own copy, and the program
    limits.cpuSeconds = 60;
    limits.wallSeconds = 120;
    limits.fileBytes = static_cast<Int64>(kMaxImageBytes + sizeof(Header));
    const ChildResult child = runInChild(kJobName, {file.str()}, limits, fd);
    ImageStatus status;
    if (child.ok()) {
        try {
            if (!takeImage(fd, image)) {
                status = {ImageResult::WrongFormat, file.str() + ": its reader gave no picture"};
            }
        } catch (const std::bad_alloc&) {
            status = {ImageResult::NoMemory, file.str() + ": there is not enough memory for it"};
        }
    } else if (child.end == ChildEnd::Exited && child.exitCode > 10 &&
               child.exitCode <= 10 + static_cast<int>(ImageResult::WriteFailed)) {
        status = {static_cast<ImageResult>(child.exitCode - 10), child.output};
    } else {
        status = {child.exitCode == kChildOutOfMemory ? ImageResult::NoMemory : ImageResult::WrongFormat,
                  file.str() + ": its reader " + child.error};
    }
    close(fd);
    return status;
}

}  // namespace host
