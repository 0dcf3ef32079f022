// Text and paths.
#include "host/sdk/string.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <system_error>

namespace host {
namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string_view trim(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r\n\f\v";
    const auto first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

template <typename T>
T parse(std::string_view text, Bool* ok) {
    text = trim(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool good = !text.empty() && error == std::errc() && end == text.data() + text.size();
    if (ok) *ok = good;
    return good ? value : T{};
}

/// Position of the dot of the suffix; npos without one. A leading dot makes a hidden file, not a suffix.
std::size_t suffixDot(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    const auto dot = path.rfind('.');
    return dot == std::string::npos || dot <= start ? std::string::npos : dot;
}

}  // namespace

String String::IntToString(Int64 value) {
    return String(std::to_string(value));
}

String String::HexToString(UInt64 value) {
    std::array<char, 20> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, 16).ptr;
    return String(std::string(text.data(), end));
}

String String::FloatToString(Float value, Int32 decimals) {
    if (!std::isfinite(value)) return std::isnan(value) ? "nan" : value > 0 ? "inf" : "-inf";
    std::array<char, 400> text{};  // the largest number has 309 digits before the point
    const int places = decimals < 0 ? 6 : std::min(decimals, 60);
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, places).ptr;
    std::string result(text.data(), end);
    if (decimals < 0) {
        result.erase(result.find_last_not_of('0') + 1);
        if (result.back() == '.') result.pop_back();
        if (result == "-0") result = "0";
    }
    return String(std::move(result));
}

Int String::Find(const String& what, Int from) const {
    if (from < 0) from = 0;
    const auto found = text_.find(what.text_, static_cast<std::size_t>(from));
    return found == std::string::npos ? -1 : static_cast<Int>(found);
}

Int String::FindLast(const String& what) const {
    const auto found = text_.rfind(what.text_);
    return found == std::string::npos ? -1 : static_cast<Int>(found);
}

String String::SubStr(Int start, Int count) const {
    const Int length = GetLength();
    start = std::clamp<Int>(start, 0, length);
    count = std::clamp<Int>(count, 0, length - start);
    return String(text_.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
}

String String::ToLower() const {
    std::string text = text_;
    std::transform(text.begin(), text.end(), text.begin(), lower);
    return String(std::move(text));
}

String String::ToUpper() const {
    std::string text = text_;
    std::transform(text.begin(), text.end(), text.begin(), upper);
    return String(std::move(text));
}

Bool String::BeginsWith(const String& s) const {
    return text_.starts_with(s.text_);
}

Bool String::EndsWith(const String& s) const {
    return text_.ends_with(s.text_);
}

String String::Trimmed() const {
    return String(trim(text_));
}

Int64 String::ToInt(Bool* ok) const {
    return parse<Int64>(text_, ok);
}

Float String::ToFloat(Bool* ok) const {
    return parse<Float>(text_, ok);
}

String Filename::GetFileString() const {
    const auto slash = path_.rfind('/');
    return String(slash == std::string::npos ? path_ : path_.substr(slash + 1));
}

Filename Filename::GetDirectory() const {
    const auto slash = path_.rfind('/');
    if (slash == std::string::npos) return {};
    return Filename(path_.substr(0, slash == 0 ? 1 : slash));
}

String Filename::GetSuffix() const {
    const auto dot = suffixDot(path_);
    return dot == std::string::npos ? String() : String(path_.substr(dot + 1));
}

Bool Filename::CheckSuffix(const String& suffix) const {
    return GetSuffix().ToLower() == suffix.ToLower();
}

void Filename::SetSuffix(const String& suffix) {
    ClearSuffix();
    if (suffix.Content()) path_ += "." + suffix.str();
}

void Filename::ClearSuffix() {
    const auto dot = suffixDot(path_);
    if (dot != std::string::npos) path_.erase(dot);
}

Bool Filename::Exists() const {
    std::error_code error;
    return !path_.empty() && std::filesystem::exists(path_, error);
}

Filename Filename::operator+(const Filename& name) const {
    if (path_.empty()) return name;
    if (name.path_.empty()) return *this;
    const bool left = path_.back() == '/', right = name.path_.front() == '/';
    if (left && right) return Filename(path_ + name.path_.substr(1));
    return Filename(left || right ? path_ + name.path_ : path_ + "/" + name.path_);
}

}  // namespace host
