// Text of the host, and paths.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "host/sdk/types.h"

namespace host {

/// Immutable-by-habit text, UTF-8 inside. Positions and lengths count bytes.
class HOST_API String {
public:
    String() = default;
    String(const char* text) : text_(text ? text : "") {}
    String(std::string text) : text_(std::move(text)) {}
    explicit String(std::string_view text) : text_(text) {}

    static String IntToString(Int64 value);
    static String HexToString(UInt64 value);
    /// Fixed notation. decimals < 0: as many as needed, up to six, without trailing zeros.
    static String FloatToString(Float value, Int32 decimals = -1);

    Bool IsEmpty() const { return text_.empty(); }
    Bool Content() const { return !text_.empty(); }
    Int GetLength() const { return static_cast<Int>(text_.size()); }
    const char* c_str() const { return text_.c_str(); }
    const std::string& str() const { return text_; }

    String operator+(const String& s) const { return String(text_ + s.text_); }
    String& operator+=(const String& s) {
        text_ += s.text_;
        return *this;
    }
    friend String operator+(const char* a, const String& b) { return String(a) + b; }
    friend bool operator==(const String&, const String&) = default;
    friend auto operator<=>(const String&, const String&) = default;

    /// -1 when not found.
    Int Find(const String& what, Int from = 0) const;
    Int FindLast(const String& what) const;
    String SubStr(Int start, Int count) const;
    String ToLower() const;  ///< ASCII letters only
    String ToUpper() const;
    Bool BeginsWith(const String& s) const;
    Bool EndsWith(const String& s) const;
    String Trimmed() const;

    /// 0 for text that is no number; *ok tells.
    Int64 ToInt(Bool* ok = nullptr) const;
    Float ToFloat(Bool* ok = nullptr) const;

private:
    std::string text_;
};

/// A path of a file or folder, UTF-8, forward slashes.
class HOST_API Filename {
public:
    Filename() = default;
    Filename(const char* path) : path_(path ? path : "") {}
    Filename(const String& path) : path_(path.str()) {}
    Filename(std::string path) : path_(std::move(path)) {}

    Bool IsEmpty() const { return path_.empty(); }
    Bool Content() const { return !path_.empty(); }
    const char* c_str() const { return path_.c_str(); }
    const std::string& str() const { return path_; }
    String GetString() const { return String(path_); }

    /// "/a/b.png": file string "b.png", directory "/a", suffix "png".
    String GetFileString() const;
    Filename GetDirectory() const;
    String GetSuffix() const;
    Bool CheckSuffix(const String& suffix) const;  ///< without regard to case
    void SetSuffix(const String& suffix);
    void ClearSuffix();
    Bool IsAbsolute() const { return !path_.empty() && path_.front() == '/'; }
    Bool Exists() const;

    /// Joins with one slash between; an empty left side gives the right side.
    Filename operator+(const Filename& name) const;
    friend bool operator==(const Filename&, const Filename&) = default;

private:
    std::string path_;
};

}  // namespace host
