#include "engine/compile/photometry.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace Lumora::engine {

namespace {

constexpr std::size_t kMaxBytes = 32u << 20;
constexpr std::size_t kMaxAngles = 8192;

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (isSpace(s.front()) || s.front() == '\0')) s.remove_prefix(1);
    while (!s.empty() && (isSpace(s.back()) || s.back() == '\0')) s.remove_suffix(1);
    return s;
}

double toNumber(std::string_view token) {
    if (token.starts_with('+')) token.remove_prefix(1);
    double v = 0.0;
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), v);
    if (error != std::errc() || end != token.data() + token.size() || !std::isfinite(v) || std::abs(v) > 1e15) {
        throw ImageFault("it has something in place of a number: \"" + std::string(token.substr(0, 24)) + "\"");
    }
    return v;
}

std::size_t toCount(double v, const char* what) {
    if (!(v >= 1.0) || v > static_cast<double>(kMaxAngles) || v != std::floor(v)) {
        throw ImageFault(std::string("its number of ") + what + " is out of range");
    }
    return static_cast<std::size_t>(v);
}

/// Lines, with any kind of line end.
class Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) {}
    bool next(std::string_view& line) {
        if (rest_.empty()) return false;
        const std::size_t end = rest_.find_first_of("\r\n");
        line = trimmed(rest_.substr(0, end));
        if (end == std::string_view::npos) {
            rest_ = {};
            return true;
        }
        const bool pair = rest_[end] == '\r' && end + 1 < rest_.size() && rest_[end + 1] == '\n';
        rest_.remove_prefix(end + (pair ? 2 : 1));
        return true;
    }
    std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

/// Numbers between blanks and commas.
class Numbers {
public:
    explicit Numbers(std::string_view text) : rest_(text) {}
    double next() {
        const auto separates = [](char c) { return isSpace(c) || c == ','; };
        while (!rest_.empty() && separates(rest_.front())) rest_.remove_prefix(1);
        if (rest_.empty()) throw ImageFault("it ends too early");
        std::size_t n = 0;
        while (n < rest_.size() && !separates(rest_[n])) ++n;
        const double v = toNumber(rest_.substr(0, n));
        rest_.remove_prefix(n);
        return v;
    }
    std::vector<float> take(std::size_t count) {
        // Every number needs a character and a blank: what cannot be there is refused before memory is taken.
        if (count > rest_.size()) throw ImageFault("it ends too early");
        std::vector<float> v(count);
        for (float& x : v) x = static_cast<float>(next());
        return v;
    }
    void skip(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) next();
    }

private:
    std::string_view rest_;
};

void checkAngles(const std::vector<float>& angles, float low, float high, const char* what) {
    for (std::size_t i = 0; i < angles.size(); ++i) {
        const bool ascending = i == 0 || angles[i] > angles[i - 1];
        if (!ascending || angles[i] < low - 0.01f || angles[i] > high + 0.01f) {
            throw ImageFault(std::string("its ") + what + " angles are out of order or out of range");
        }
    }
}

void checkIntensities(std::vector<float>& values) {
    bool any = false;
    for (float& v : values) {
        v = std::max(v, 0.0f);
        any = any || v > 0.0f;
    }
    if (!any) throw ImageFault("it has no light in any direction");
}

/// Index of the angle below, and how far it is to the next.
std::size_t locate(const std::vector<float>& angles, float a, float& fraction) {
    const auto it = std::upper_bound(angles.begin(), angles.end(), a);
    const auto i = static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, it - angles.begin() - 1));
    if (i + 1 >= angles.size()) {
        fraction = 0.0f;
        return angles.size() - 1;
    }
    fraction = clamp01((a - angles[i]) / (angles[i + 1] - angles[i]));
    return i;
}

/// Completes half planes that were measured for a part of the turn only; the last plane closes the circle.
void complete(Photometry& p) {
    std::vector<float>& h = p.horizontal;
    const std::size_t rows = p.vertical.size();
    if (h.size() == 1) return;
    const auto plane = [&](std::size_t i) {
        const auto first = p.intensity.begin() + static_cast<std::ptrdiff_t>(i * rows);
        return std::vector<float>(first, first + static_cast<std::ptrdiff_t>(rows));
    };
    const auto append = [&](float angle, const std::vector<float>& values) {
        h.push_back(angle);
        p.intensity.insert(p.intensity.end(), values.begin(), values.end());
    };
    const auto near = [](float a, float b) { return std::abs(a - b) < 0.01f; };
    const auto mirrorAbout = [&](float angle) {
        for (std::size_t i = h.size() - 1; i-- > 0;) append(2.0f * angle - h[i], plane(i));
    };
    if (near(h.front(), 90.0f) && near(h.back(), 270.0f)) {
        // The other half lies around zero; the list is turned to begin there.
        mirrorAbout(270.0f);
        Photometry turned = p;
        turned.horizontal.clear();
        turned.intensity.clear();
        for (int pass = 0; pass < 2; ++pass) {
            for (std::size_t i = 0; i + 1 < h.size(); ++i) {
                if ((h[i] >= 359.99f) != (pass == 0)) continue;
                turned.horizontal.push_back(pass == 0 ? h[i] - 360.0f : h[i]);
                const std::vector<float> values = plane(i);
                turned.intensity.insert(turned.intensity.end(), values.begin(), values.end());
            }
        }
        p = std::move(turned);
        if (!near(p.horizontal.front(), 0.0f)) throw ImageFault("its horizontal angles do not close a circle");
        append(360.0f, plane(0));
        return;
    }
    if (!near(h.front(), 0.0f)) throw ImageFault("its horizontal angles do not begin at zero");
    if (near(h.back(), 90.0f)) mirrorAbout(90.0f);
    if (near(h.back(), 180.0f)) mirrorAbout(180.0f);
    if (h.back() < 359.99f) {
        if (h.back() < 180.0f) throw ImageFault("its horizontal angles do not close a circle");
        append(360.0f, plane(0));
    }
}

bool startsWith(std::string_view line, std::string_view word) {
    return line.size() >= word.size() && std::equal(word.begin(), word.end(), line.begin(), [](char a, char b) {
               return a == std::toupper(static_cast<unsigned char>(b));
           });
}

DecodedImage decodeIes(FileBytes file) {
    return photometricImage(parseIes({reinterpret_cast<const char*>(file.data()), file.size()}));
}
DecodedImage decodeEulumdat(FileBytes file) {
    return photometricImage(parseEulumdat({reinterpret_cast<const char*>(file.data()), file.size()}));
}

}  // namespace

float Photometry::towards(Float3 d) const {
    constexpr float kToDegrees = 180.0f / kPi;
    const Float3 n = normalize(d);
    float h, v;
    if (axes == Axes::C) {
        v = std::acos(std::clamp(-n.y, -1.0f, 1.0f)) * kToDegrees;
        h = std::atan2(-n.z, n.x) * kToDegrees;
        if (h < 0.0f) h += 360.0f;
    } else if (axes == Axes::B) {
        h = std::asin(std::clamp(n.x, -1.0f, 1.0f)) * kToDegrees;
        v = std::atan2(-n.z, -n.y) * kToDegrees;
    } else {
        h = std::atan2(n.x, -n.y) * kToDegrees;
        v = std::asin(std::clamp(-n.z, -1.0f, 1.0f)) * kToDegrees;
    }
    if (mirrored) h = std::abs(h);
    constexpr float kSlack = 0.01f;
    if (v < vertical.front() - kSlack || v > vertical.back() + kSlack) return 0.0f;
    if (horizontal.size() > 1 && (h < horizontal.front() - kSlack || h > horizontal.back() + kSlack)) return 0.0f;
    float fh, fv;
    const std::size_t i = locate(horizontal, h, fh), j = locate(vertical, v, fv), rows = vertical.size();
    const std::size_t i1 = std::min(i + 1, horizontal.size() - 1), j1 = std::min(j + 1, rows - 1);
    return lerp(lerp(intensity[i * rows + j], intensity[i * rows + j1], fv),
                lerp(intensity[i1 * rows + j], intensity[i1 * rows + j1], fv), fh);
}

Photometry parseIes(std::string_view text) {
    if (text.size() > kMaxBytes) throw ImageFault("it is too large for a photometric file");
    Lines lines(text);
    std::string_view line;
    do {
        if (!lines.next(line)) throw ImageFault("it has no line of tilt, which every LM-63 file has");
    } while (!startsWith(line, "TILT"));
    const std::size_t equals = line.find('=');
    const std::string_view tilt = equals == std::string_view::npos ? "" : trimmed(line.substr(equals + 1));
    Numbers numbers(lines.rest());
    if (startsWith(tilt, "INCLUDE")) {
        numbers.next();
        numbers.skip(2 * toCount(numbers.next(), "tilt angles"));
    }
    numbers.skip(3);  // lamps, lumens of each, multiplier: only the shape counts
    Photometry p;
    const std::size_t verticals = toCount(numbers.next(), "vertical angles");
    const std::size_t horizontals = toCount(numbers.next(), "horizontal angles");
    const double type = numbers.next();
    numbers.skip(1 + 3 + 3);  // unit and size of the opening, ballast and power
    if (type == 1.0) {
        p.axes = Photometry::Axes::C;
    } else if (type == 2.0) {
        p.axes = Photometry::Axes::B;
    } else if (type == 3.0) {
        p.axes = Photometry::Axes::A;
    } else {
        throw ImageFault("its photometric type is none of 1, 2 and 3");
    }
    p.vertical = numbers.take(verticals);
    p.horizontal = numbers.take(horizontals);
    p.intensity = numbers.take(verticals * horizontals);
    checkIntensities(p.intensity);
    const bool c = p.axes == Photometry::Axes::C;
    checkAngles(p.vertical, c ? 0.0f : -90.0f, c ? 180.0f : 90.0f, "vertical");
    checkAngles(p.horizontal, c ? 0.0f : -180.0f, c ? 360.0f : 180.0f, "horizontal");
    if (c) {
        complete(p);
    } else {
        p.mirrored = p.horizontal.front() > -0.01f;
    }
    return p;
}

Photometry parseEulumdat(std::string_view text) {
    if (text.size() > kMaxBytes) throw ImageFault("it is too large for a photometric file");
    Lines lines(text);
    const auto line = [&] {
        std::string_view l;
        if (!lines.next(l)) throw ImageFault("it ends too early");
        return l;
    };
    const auto number = [&] {
        std::string token(line());
        std::replace(token.begin(), token.end(), ',', '.');  // decimal commas occur
        return toNumber(token);
    };
    const auto skip = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) line();
    };
    const auto take = [&](std::size_t count) {
        if (count > lines.rest().size()) throw ImageFault("it ends too early");
        std::vector<float> v(count);
        for (float& x : v) x = static_cast<float>(number());
        return v;
    };
    skip(2);  // maker, kind of source
    const double symmetry = number();
    const std::size_t planes = toCount(number(), "planes");
    skip(1);
    const std::size_t rows = toCount(number(), "angles in a plane");
    skip(19);  // distance of angles, names, sizes, flux fractions, factor, tilt
    const double sets = number();
    if (!(sets >= 0.0) || sets > 1000.0) throw ImageFault("its number of lamp sets is out of range");
    skip(6 * static_cast<std::size_t>(sets) + 10);  // lamps, then ratios by room
    const std::vector<float> angles = take(planes);
    Photometry p;
    p.vertical = take(rows);
    checkAngles(p.vertical, 0.0f, 180.0f, "vertical");
    checkAngles(angles, 0.0f, 360.0f, "plane");
    std::size_t first = 0, count = planes;
    if (symmetry == 1.0) {
        count = 1;
    } else if (symmetry == 2.0) {
        count = planes / 2 + 1;
    } else if (symmetry == 3.0) {
        first = 3 * planes / 4;
        count = planes / 2 + 1;
    } else if (symmetry == 4.0) {
        count = planes / 4 + 1;
    } else if (symmetry != 0.0) {
        throw ImageFault("its kind of symmetry is out of range");
    }
    if (count > planes || (symmetry >= 2.0 && planes % 4 != 0)) {
        throw ImageFault("its number of planes does not suit its symmetry");
    }
    const std::vector<float> values = take(count * rows);
    const auto put = [&](float angle, std::size_t k) {
        p.horizontal.push_back(angle);
        const auto from = values.begin() + static_cast<std::ptrdiff_t>(k * rows);
        p.intensity.insert(p.intensity.end(), from, from + static_cast<std::ptrdiff_t>(rows));
    };
    if (symmetry == 3.0) {
        // Given from C 270 over C 0 to C 90; the other half mirrors it.
        for (std::size_t k = 0; k <= planes; ++k) {
            const std::size_t plane = k % planes, offset = (plane + planes - first) % planes;
            const std::size_t source = offset <= planes / 2 ? offset : planes - offset;
            put(k == planes ? 360.0f : angles[plane], source);
        }
    } else {
        for (std::size_t k = 0; k < count; ++k) put(angles[k], k);
        complete(p);
    }
    checkIntensities(p.intensity);
    checkAngles(p.horizontal, 0.0f, 360.0f, "plane");
    return p;
}

const ImageDecoder* photometricDecoder(const std::string& path) {
    static constexpr ImageDecoder kIes{"IES", decodeIes}, kEulumdat{"EULUMDAT", decodeEulumdat};
    if (path.size() < 4) return nullptr;
    std::string ending = path.substr(path.size() - 4);
    for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ending == ".ies" ? &kIes : ending == ".ldt" ? &kEulumdat : nullptr;
}

DecodedImage photometricImage(const Photometry& photometry) {
    DecodedImage image;
    // Lamps that are the same all around need a single column.
    image.width = photometry.axes == Photometry::Axes::C && photometry.horizontal.size() == 1 ? 1 : 360;
    image.height = 360;
    image.channels = 1;
    image.format = PixelFormat::Float;
    image.linear = true;
    image.allocate();
    auto* pixels = reinterpret_cast<float*>(image.pixels.get());
    const float scale = 1.0f / *std::max_element(photometry.intensity.begin(), photometry.intensity.end());
    for (std::uint32_t y = 0; y < image.height; ++y) {
        const float theta = kPi * (static_cast<float>(y) + 0.5f) / static_cast<float>(image.height);
        for (std::uint32_t x = 0; x < image.width; ++x) {
            const float u = (static_cast<float>(x) + 0.5f) / static_cast<float>(image.width);
            const float phi = (u - 0.5f) * 2.0f * kPi;
            const Float3 d = {std::sin(theta) * std::sin(phi), std::cos(theta), -std::sin(theta) * std::cos(phi)};
            pixels[std::size_t{y} * image.width + x] = photometry.towards(d) * scale;
        }
    }
    return image;
}

}  // namespace Lumora::engine
