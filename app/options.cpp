#include "app/options.h"

#include <charconv>

#include "app/failure.h"

namespace app {
namespace {

/// The whole text as a number of pixels; 0 when it is none.
int parseLength(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

}  // namespace

PictureSize parseSize(const std::string& text) {
    const std::size_t cross = text.find_first_of("xX");
    PictureSize size;
    if (cross != std::string::npos) {
        size.width = parseLength(std::string_view(text).substr(0, cross));
        size.height = parseLength(std::string_view(text).substr(cross + 1));
    }
    const auto allowed = [](int length) { return length >= 1 && length <= kMaxPictureSize; };
    if (!allowed(size.width) || !allowed(size.height))
        throw Failure(kExitUsage, "--size " + text +
                                      ": the size must be WIDTHxHEIGHT, such as 1280x720, each from 1 to " +
                                      std::to_string(kMaxPictureSize) + ".");
    return size;
}

PictureRegion parseRegion(const std::string& text) {
    int numbers[4] = {};
    std::size_t count = 0;
    const char *at = text.data(), *end = at + text.size();
    while (count < 4) {
        const auto [after, error] = std::from_chars(at, end, numbers[count]);
        if (error != std::errc()) break;
        ++count;
        at = after;
        if (count == 4 || at == end || *at != ',') break;
        ++at;
    }
    const auto [x, y, width, height] = numbers;
    const bool inside = x >= 0 && y >= 0 && width >= 1 && height >= 1 && x < kMaxPictureSize && y < kMaxPictureSize &&
                        width <= kMaxPictureSize && height <= kMaxPictureSize;
    if (count < 4 || at != end || !inside)
        throw Failure(kExitUsage, "--region " + text +
                                      ": the region must be X,Y,WIDTH,HEIGHT in pixels from the upper left corner, "
                                      "such as 100,50,320,200.");
    return {x, y, width, height};
}

std::pair<std::string, std::string> parseSetting(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw Failure(kExitUsage, "--set " + text + ": a setting must be KEY=VALUE.");
    return {text.substr(0, equals), text.substr(equals + 1)};
}

}  // namespace app
