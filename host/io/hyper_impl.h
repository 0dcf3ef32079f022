// State of an open HyperFile.
#pragma once

#include <string>
#include <vector>

#include "host/sdk/file.h"

namespace host {

struct HyperFile::Impl {
    enum class Mode : UChar { None, Read, Write };

    ~Impl();
    /// Keep the first error; always false.
    Bool fail(FileError code, std::string sentence = {});
    Bool failSystem(int code);

    Bool write(const void* data, Int64 bytes);
    Bool patch(Int64 position, UInt64 value);  ///< eight bytes that were written before
    Bool flush();
    Int64 written() const { return flushed + static_cast<Int64>(buffer.size()); }
    Bool startWriting(Int32 ident, Int32 version);
    Bool finishWriting();
    Bool putInPlace();

    Bool map(int fd, Int64 limit);
    Bool startReading(Int32 ident, Int32 version);
    Bool read(void* data, Int64 bytes);
    Int64 end() const { return ends.empty() ? contentBytes : ends.back(); }

    Mode mode = Mode::None;
    FileError error = FileError::None;
    std::string text, name;
    Int32 fileVersion = 0;
    int depth = 0;            ///< of containers and compound values inside one another
    std::vector<Int64> ends;  ///< reading: ends of the open chunks; writing: where their lengths stand

    // Writing: what is not in the file yet, or everything.
    std::vector<UChar> buffer;
    Bool inMemory = true;
    int descriptor = -1;
    Bool ownsDescriptor = false;
    Int64 base = 0, flushed = 0;
    std::string target, temporary;

    // Reading, and what was written in memory.
    const UChar* content = nullptr;
    Int64 contentBytes = 0, position = 0;
    std::vector<UChar> owned;
    void* mapped = nullptr;
    Int64 mappedBytes = 0;
};

}  // namespace host
