#include "tools/node_pictures/strips.h"

#include <cstdio>
#include <iterator>

namespace pictures {

std::string number(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    return text;
}

std::vector<Column> over(const Recipe& recipe, PinId pin, const std::vector<float>& values) {
    std::vector<Column> columns;
    for (const float value : values) columns.push_back({number(value), with(recipe, {{pin, value}})});
    return columns;
}

std::vector<Column> overInt(const Recipe& recipe, PinId pin, const std::vector<int>& values) {
    std::vector<Column> columns;
    for (const int value : values) columns.push_back({std::to_string(value), with(recipe, {{pin, value}})});
    return columns;
}

std::vector<Column> offOn(const Recipe& recipe, PinId pin) {
    return {{"off", with(recipe, {{pin, false}})}, {"on", with(recipe, {{pin, true}})}};
}

std::string pathInDocs(const Strip& strip) {
    return std::string("images/nodes/") + strip.name + ".jpg";
}

std::span<const Strip> allStrips() {
    static const std::vector<Strip> all = [] {
        std::vector<Strip> list;
        for (const auto part : {materialStrips, surfaceStrips, textureStrips, projectionStrips, lightStrips}) {
            std::vector<Strip> strips = part();
            list.insert(list.end(), std::move_iterator(strips.begin()), std::move_iterator(strips.end()));
        }
        return list;
    }();
    return all;
}

}  // namespace pictures
