// Photometric files: what they read as, and that no file brings the program down.
#include "engine/compile/photometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace Lumora::engine::test {
namespace {

/// An LM-63 file of type C (or another) with the given angles and intensities.
std::string ies(const std::string& horizontal, int horizontals, const std::string& values, int type = 1,
                const std::string& vertical = "0 45 90", int verticals = 3) {
    return "IESNA:LM-63-2002\r\n[TEST] 1\r\n[MANUFAC] none\r\nTILT=NONE\r\n1 1000 1.0 " + std::to_string(verticals) +
           " " + std::to_string(horizontals) + " " + std::to_string(type) + " 2 0.1 0.1 0\r\n1.0 1.0 20\r\n" +
           vertical + "\r\n" + horizontal + "\r\n" + values + "\r\n";
}

/// A EULUMDAT file of eight planes and three angles.
std::string ldt(int symmetry, const std::vector<float>& values, int planes = 8, int sets = 1) {
    std::string s = "Maker\r\n1\r\n" + std::to_string(symmetry) + "\r\n" + std::to_string(planes) +
                    "\r\n45\r\n3\r\n45\r\nreport\r\nlamp\r\n12\r\nfile\r\ntoday\r\n";
    for (int i = 0; i < 13; ++i) s += "100\r\n";  // sizes, fractions, factor, tilt
    s += std::to_string(sets) + "\r\n";
    for (int i = 0; i < 6 * sets; ++i) s += i % 6 == 1 ? "LED\r\n" : "1\r\n";
    for (int i = 0; i < 10; ++i) s += "0.5\r\n";
    for (int i = 0; i < planes; ++i) s += std::to_string(i * 360 / planes) + "\r\n";
    s += "0\r\n45\r\n90,0\r\n";
    for (const float v : values) s += std::to_string(v) + "\r\n";
    return s;
}

/// Direction at angle C around and gamma from straight down.
Float3 at(float c, float gamma) {
    const float a = c * kPi / 180.0f, g = gamma * kPi / 180.0f;
    return {std::sin(g) * std::cos(a), -std::cos(g), -std::sin(g) * std::sin(a)};
}

struct Probe {
    float c, gamma, expected;
};

TEST(Photometry, FilesReadAsMeasured) {
    struct Case {
        const char* name;
        Photometry photometry;
        std::vector<Probe> probes;
    };
    std::vector<float> perPlane;  // one number for each plane, the same at all its angles
    for (int i = 0; i < 8; ++i) perPlane.insert(perPlane.end(), 3, static_cast<float>(10 * (i + 1)));
    const std::vector<float> five(perPlane.begin(), perPlane.begin() + 15), three(five.begin(), five.begin() + 9);
    const std::vector<Case> cases = {
        {"the same all around",
         parseIes(ies("0", 1, "100 60 0")),
         {{0, 0, 100}, {123, 45, 60}, {300, 22.5f, 80}, {40, 67.5f, 30}, {0, 120, 0}, {0, 180, 0}}},
        {"a quarter",
         parseIes(ies("0 90", 2, "10 10 10, 30 30 30")),
         {{0, 45, 10}, {90, 45, 30}, {45, 10, 20}, {135, 45, 20}, {180, 45, 10}, {270, 45, 30}, {315, 45, 20}}},
        {"a half",
         parseIes(ies("0 90 180", 3, "10 10 10 30 30 30 50 50 50")),
         {{0, 45, 10}, {90, 45, 30}, {180, 45, 50}, {270, 45, 30}, {225, 45, 40}}},
        {"the other half",
         parseIes(ies("90 180 270", 3, "10 10 10 30 30 30 50 50 50")),
         {{90, 45, 10}, {180, 45, 30}, {270, 45, 50}, {0, 45, 30}, {45, 45, 20}, {315, 45, 40}}},
        {"a whole turn",
         parseIes(ies("0 90 180 270 360", 5, "1 1 1 2 2 2 3 3 3 4 4 4 1 1 1")),
         {{0, 45, 1}, {90, 45, 2}, {180, 45, 3}, {270, 45, 4}, {315, 45, 2.5f}}},
        {"a turn that is not closed",
         parseIes(ies("0 120 240", 3, "1 1 1 2 2 2 3 3 3")),
         {{0, 45, 1}, {240, 45, 3}, {300, 45, 2}}},
        {"type B, both ways",
         parseIes(ies("-90 0 90", 3, "0 0 0 0 10 0 0 0 0", 2, "-90 0 90")),
         {{0, 0, 10}, {0, 45, 5}, {180, 45, 5}, {90, 45, 5}}},
        {"type A, mirrored",
         parseIes(ies("0 90", 2, "0 10 0 0 0 0", 3, "-90 0 90")),
         {{0, 0, 10}, {0, 45, 5}, {180, 45, 5}, {90, 45, 5}}},
        {"no header, tilt included",
         parseIes("TILT=INCLUDE\n1\n2\n0 90\n1 1\n1 1000 1 2 1 1 1 0 0 0 1 1 10\n0 180\n0\n4 8\n"),
         {{0, 0, 4}, {0, 180, 8}, {77, 90, 6}}},
        {"ldt without symmetry", parseEulumdat(ldt(0, perPlane)), {{0, 30, 10}, {315, 30, 80}, {337.5f, 30, 45}}},
        {"ldt all around", parseEulumdat(ldt(1, {9, 6, 3})), {{0, 0, 9}, {200, 45, 6}, {30, 67.5f, 4.5f}}},
        {"ldt about C 0", parseEulumdat(ldt(2, five)), {{0, 30, 10}, {180, 30, 50}, {270, 30, 30}, {315, 30, 20}}},
        {"ldt about C 90",
         parseEulumdat(ldt(3, five)),
         {{270, 30, 10}, {0, 30, 30}, {180, 30, 30}, {90, 30, 50}, {45, 30, 40}, {135, 30, 40}, {225, 30, 20}}},
        {"ldt both", parseEulumdat(ldt(4, three)), {{0, 30, 10}, {90, 30, 30}, {180, 30, 10}, {135, 30, 20}}},
        {"ldt of several lamps", parseEulumdat(ldt(1, {9, 6, 3}, 8, 3)), {{0, 0, 9}}},
    };
    for (const Case& c : cases) {
        for (const Probe& p : c.probes) {
            EXPECT_NEAR(c.photometry.towards(at(p.c, p.gamma)), p.expected, 0.01f)
                << c.name << " at C " << p.c << ", gamma " << p.gamma;
        }
    }
}

TEST(Photometry, ThePictureLooksDownAtItsLowerEdge) {
    const DecodedImage image = photometricImage(parseIes(ies("0 90 180 270 360", 5, "9 1 1 9 2 2 9 3 3 9 4 4 9 1 1")));
    const auto* pixels = reinterpret_cast<const float*>(image.pixels.get());
    const auto pixel = [&](float u, float v) {
        const auto x = static_cast<std::uint32_t>(u * static_cast<float>(image.width));
        const auto y = static_cast<std::uint32_t>((1.0f - v) * static_cast<float>(image.height));
        return pixels[y * image.width + x];
    };
    EXPECT_NEAR(pixel(0.3f, 0.001f), 1.0f, 0.02f);          // straight down, the largest
    EXPECT_EQ(pixel(0.3f, 0.9f), 0.0f);                     // nothing upwards
    EXPECT_NEAR(pixel(0.75f, 0.25f), 1.0f / 9.0f, 0.03f);   // C 0: +x
    EXPECT_NEAR(pixel(0.5f, 0.25f), 2.0f / 9.0f, 0.03f);    // C 90: -z
    EXPECT_NEAR(pixel(0.25f, 0.25f), 3.0f / 9.0f, 0.03f);   // C 180: -x
    EXPECT_NEAR(pixel(0.999f, 0.25f), 4.0f / 9.0f, 0.03f);  // C 270: +z
    EXPECT_EQ(photometricImage(parseEulumdat(ldt(1, {9, 6, 3}))).width, 1u);
}

TEST(Photometry, WhatIsNoDistributionIsRefusedWithASentence) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "no line of tilt"},
        {"IESNA:LM-63-2002\n", "no line of tilt"},
        {"TILT=NONE\n1 2 3", "ends too early"},
        {ies("0", 1, "100 60"), "ends too early"},
        {ies("0", 1, "100 sixty 0"), "in place of a number"},
        {ies("0", 1, "100 nan 0"), "in place of a number"},
        {ies("0", 1, "100 1e400 0"), "in place of a number"},
        {ies("0", 1, "0 0 0"), "no light"},
        {ies("0", 1, "100 60 0", 7), "photometric type"},
        {ies("0", 1, "100 60 0", 1, "0 90 45"), "vertical angles"},
        {ies("0", 1, "100 60 0", 1, "0 90 270"), "vertical angles"},
        {ies("0 20", 2, "1 1 1 1 1 1"), "do not close a circle"},
        {ies("30 90", 2, "1 1 1 1 1 1"), "do not begin at zero"},
        {ies("0", 1, "1", 1, "0", 2000000000), "number of vertical angles"},
        {ies("0", 1, "1", 1, "0", -1), "number of vertical angles"},
        {ies("0", 8000, "1", 1, "0", 8000), "ends too early"},
    };
    for (const auto& [text, reason] : cases) {
        try {
            parseIes(text);
            ADD_FAILURE() << reason;
        } catch (const ImageFault& e) {
            EXPECT_NE(std::string(e.what()).find(reason), std::string::npos) << e.what();
        }
    }
    const std::vector<std::string> bad = {"",
                                          "a\nb\nc",
                                          ldt(7, {1, 2, 3}),
                                          ldt(2, {1, 2, 3}),
                                          ldt(4, {1, 2, 3, 4, 5, 6}, 6),
                                          ldt(1, {0, 0, 0}),
                                          ldt(0, {1, 2, 3}, 2000000)};
    for (const std::string& text : bad) EXPECT_THROW(parseEulumdat(text), ImageFault);
}

TEST(Photometry, DamagedFilesAreReadOrRefused) {
    std::mt19937 random(7);
    const std::vector<std::string> files = {ies("0 90", 2, "10 10 10, 30 30 30"), ldt(3, std::vector<float>(15, 4.0f))};
    for (int i = 0; i < 6000; ++i) {
        std::string text = files[static_cast<std::size_t>(i % 2)];
        if (i % 3 == 0) text.resize(random() % text.size());
        for (unsigned k = random() % 4; k > 0 && !text.empty(); --k) {
            text[random() % text.size()] = i % 5 ? "0123456789-. \n,e"[random() % 16] : static_cast<char>(random());
        }
        try {
            const Photometry p = i % 2 ? parseEulumdat(text) : parseIes(text);
            for (const Float3 d : {Float3{0, -1, 0}, Float3{1, 0, 0}, Float3{-0.3f, 0.4f, 0.5f}}) {
                EXPECT_TRUE(std::isfinite(p.towards(d)));
            }
        } catch (const ImageFault&) {
        }
    }
}

}  // namespace
}  // namespace Lumora::engine::test
