// Pictures that the program writes.
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <csignal>

#include "tests/app/program.h"

namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::run;
using test::RunOptions;
using test::ScratchFolder;

const std::string kCornell = std::string(LUMORA_EXAMPLES) + "/cornell/cornell.gltf";

struct Picture {
    int width = 0, height = 0, channels = 0;
    bool isFloat = false;
    std::vector<float> values;

    float largest() const { return values.empty() ? 0 : *std::max_element(values.begin(), values.end()); }
    /// Mean of one channel over the left or right half.
    double half(int channel, bool right) const {
        double sum = 0;
        for (int y = 0; y < height; ++y)
            for (int x = right ? width / 2 : 0; x < (right ? width : width / 2); ++x)
                sum += values[static_cast<std::size_t>((y * width + x) * channels + channel)];
        return sum / (width / 2 * height);
    }
};

Picture readPicture(const std::string& file) {
    Picture picture;
    const auto input = OIIO::ImageInput::open(file);
    if (!input) return picture;
    const OIIO::ImageSpec& facts = input->spec();
    picture = {facts.width, facts.height, facts.nchannels, facts.format == OIIO::TypeDesc::FLOAT, {}};
    picture.values.resize(static_cast<std::size_t>(facts.width) * facts.height * facts.nchannels);
    if (!input->read_image(0, 0, 0, facts.nchannels, OIIO::TypeDesc::FLOAT, picture.values.data())) return {};
    return picture;
}

TEST(Render, WritesEveryFormatInTheSizeAskedFor) {
    const ScratchFolder folder;
    for (const std::string suffix : {"png", "jpg", "tif", "exr"}) {
        const std::string file = folder / ("a." + suffix);
        const Outcome outcome = run({"render", kCornell, "-o", file, "--size", "32x24", "--samples", "16"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_NE(outcome.out.find(file), std::string::npos) << "it says where the picture is: " << outcome.out;
        const Picture picture = readPicture(file);
        EXPECT_EQ(picture.width, 32) << suffix;
        EXPECT_EQ(picture.height, 24) << suffix;
        ASSERT_GE(picture.channels, 3) << suffix;
        EXPECT_EQ(picture.isFloat, suffix == "exr");
        // The red wall is on the left and the green one on the right.
        EXPECT_GT(picture.half(0, false), picture.half(0, true)) << suffix;
        EXPECT_GT(picture.half(1, true), picture.half(1, false)) << suffix;
        // The lamp in the ceiling is in the picture: only linear floats can hold how bright it is.
        if (suffix == "exr")
            EXPECT_GT(picture.largest(), 2.0F);
        else
            EXPECT_GT(picture.largest(), 0.9F) << suffix;
    }
}

// A wall with a texture on its left and another on its right half, seen from the front by the camera that is made up.
TEST(Render, TexturesOfEveryFormatReachThePictureAndBrokenOnesAreNamed) {
    const ScratchFolder folder;
    std::vector<unsigned char> blue;
    for (int i = 0; i < 64; ++i) blue.insert(blue.end(), {30, 30, 220});
    folder.write("wall.obj",
                 "mtllib wall.mtl\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                 "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\nv 2 1 0\n"
                 "usemtl left\nf 1/1 2/2 3/3 4/4\nusemtl right\nf 2/1 5/2 6/3 3/4\n");
    for (const std::string name :
         {"a.png", "a.jpg", "a.exr", "a.hdr", "a.tga", "a.tif", "a.bmp", "broken.tif", "broken.png"}) {
        const std::string file = folder / name;
        const bool broken = name.starts_with("broken");
        if (broken) {
            folder.write(name, name == "broken.tif" ? std::string("II*\0\x08\0\0\0", 8) : "\x89PNG\r\n\x1a\n");
        } else {
            const auto output = OIIO::ImageOutput::create(file);
            ASSERT_TRUE(output && output->open(file, OIIO::ImageSpec(8, 8, 3, OIIO::TypeDesc::UINT8))) << name;
            ASSERT_TRUE(output->write_image(OIIO::TypeDesc::UINT8, blue.data()) && output->close()) << name;
        }
        folder.write("wall.mtl", "newmtl left\nKd 1 1 1\nmap_Kd " + name + "\nnewmtl right\nKd 1 1 1\n");
        const std::string made = folder / "made.exr";
        const Outcome outcome = run({"render", folder / "wall.obj", "-o", made, "--size", "40x20", "--samples", "32"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(outcome.err.find(name) != std::string::npos, broken) << outcome.err;
        const Picture picture = readPicture(made);
        ASSERT_EQ(picture.width, 40) << name;
        const auto blueness = [&](int x) {
            const auto at = static_cast<std::size_t>((10 * picture.width + x) * picture.channels);
            return picture.values[at + 2] / std::max(picture.values[at], 1e-6F);
        };
        // The wall fills the middle of the picture; which half is the left one is the framing camera's choice.
        const float most = std::max(blueness(17), blueness(22));
        if (broken)
            EXPECT_LT(most, 3) << name;
        else
            EXPECT_GT(most, 4) << name;
    }
}

TEST(Render, DefaultOutputLiesInTheCurrentFolder) {
    const ScratchFolder folder;
    RunOptions options;
    options.directory = folder.path();
    const Outcome outcome = run({"render", kCornell, "--size", "16x16", "--samples", "1", "--quiet"}, options);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(readPicture(folder / "cornell.png").width, 16);
}

TEST(Render, TheNumberOfThreadsDoesNotChangeThePicture) {
    const ScratchFolder folder;
    for (const std::string suffix : {"png", "exr"}) {
        std::vector<float> values[2];
        for (const int i : {0, 1}) {
            const std::string file = folder / (std::to_string(i) + "." + suffix);
            ASSERT_EQ(
                run({"render", kCornell, "-o", file, "--size", "61x47", "--samples", "9", "--threads", i ? "2" : "1"})
                    .exitCode,
                0);
            values[i] = readPicture(file).values;
        }
        EXPECT_FALSE(values[0].empty());
        EXPECT_TRUE(values[0] == values[1]) << suffix;
    }
}

TEST(Render, DirectLightIsLessThanAllLight) {
    const ScratchFolder folder;
    double sums[2] = {};
    for (const int direct : {0, 1}) {
        const std::string file = folder / "a.exr";
        ASSERT_EQ(run({"render", kCornell, "-o", file, "--size", "24x24", "--samples", "64", "--kernel",
                       direct ? "direct" : "path"})
                      .exitCode,
                  0);
        for (const float value : readPicture(file).values) sums[direct] += std::min(value, 1.0F);
    }
    EXPECT_GT(sums[1], 0);
    EXPECT_LT(sums[1], 0.95 * sums[0]);
}

TEST(Render, ChannelsRegionsAndAllKernels) {
    const ScratchFolder folder;
    const Outcome names = run({"render", "--list", "channels"});
    EXPECT_EQ(std::count(names.out.begin(), names.out.end(), '\n'), 25) << names.out;
    const auto picture = [&](const std::vector<std::string>& more, const char* samples = "16") {
        const std::string file = folder / "a.exr";
        std::vector<std::string> arguments = {"render", kCornell, "-o", file, "--size", "32x24", "--samples", samples};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return readPicture(file);
    };
    const auto at = [](const Picture& p, int x, int y) {
        return p.values[static_cast<std::size_t>((y * p.width + x) * p.channels)];
    };
    // The back wall is further away than the floor in front of it, and faces the camera.
    const Picture depth = picture({"--pass", "depth"}), normals = picture({"--pass", "geometric-normals"});
    ASSERT_EQ(depth.width, 32);
    EXPECT_GT(at(depth, 16, 4), 1.05F * at(depth, 16, 22));
    EXPECT_NEAR(std::abs(normals.values[static_cast<std::size_t>((9 * 32 + 20) * normals.channels + 2)]), 1.0F, 1e-3F);

    const Picture whole = picture({}), part = picture({"--region", "8,6,10,12"});
    for (int y = 0; y < 24; ++y) {
        for (int x = 0; x < 32; ++x) {
            const bool inside = x >= 8 && x < 18 && y >= 6 && y < 18;
            EXPECT_EQ(at(part, x, y), inside ? at(whole, x, y) : 0.0F) << x << ',' << y;
        }
    }
    const Picture chains = picture({"--kernel", "pmc"}, "128");
    EXPECT_NEAR(chains.half(0, false) / whole.half(0, false), 1.0, 0.2);
}

TEST(Render, AScenesOwnWantsAreMadeUpForAndSaid) {
    const ScratchFolder folder;
    // A quad without material, a camera or a light, and far from the origin.
    const std::string scene = folder.write("quad.obj", "v 1000 0 0\nv 1001 0 0\nv 1001 1 0\nv 1000 1 0\nf 1 2 3 4\n");
    const std::string file = folder / "a.exr";
    const Outcome outcome = run({"render", scene, "-o", file, "--size", "32x8", "--samples", "16"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("no camera"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("no lights"), std::string::npos) << outcome.err;
    // The middle shows the quad, the picture's sides the sky.
    const Picture picture = readPicture(file);
    ASSERT_EQ(picture.width, 32);
    const auto at = [&](int x) { return picture.values[static_cast<std::size_t>((4 * 32 + x) * picture.channels)]; };
    EXPECT_GT(at(16), 0.05F);
    EXPECT_GT(std::abs(at(16) - at(0)), 0.02F);
}

TEST(Render, TheSoftSkyShowsShapesAndBurnsNothingOut) {
    const ScratchFolder folder;
    // The inside corner of a white and a default box would look flat under an even sky.
    const std::string scene =
        folder.write("box.obj",
                     "mtllib box.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\nv 1 0 1\nv 1 1 1\nv 0 1 1\n"
                     "usemtl white\nf 5 6 7 8\nf 2 1 4 3\nf 1 5 8 4\nf 6 2 3 7\nf 8 7 3 4\nf 1 2 6 5\n");
    folder.write("box.mtl", "newmtl white\nKd 1 1 1\n");
    const std::string file = folder / "a.exr";
    const Outcome outcome = run({"render", scene, "-o", file, "--size", "48x48", "--samples", "64"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const Picture picture = readPicture(file);
    ASSERT_EQ(picture.width, 48);
    const auto around = [&](int x, int y) {
        double sum = 0;
        for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx)
                sum += picture.values[static_cast<std::size_t>(((y + dy) * 48 + x + dx) * picture.channels)];
        return sum / 25;
    };
    const double top = around(24, 12), left = around(16, 27), right = around(35, 27), sky = around(3, 24);
    for (const double a : {top, left, right}) {
        EXPECT_LT(a, 1.05);
        EXPECT_GT(a, 0.2);
        EXPECT_GT(std::abs(a - sky), 0.03) << "it stands out from the background";
    }
    EXPECT_GT(top, 1.05 * right);
    EXPECT_GT(left, 1.05 * right);
}

TEST(Render, AnInterruptWritesWhatThereIs) {
    const ScratchFolder folder;
    for (const int signal : {SIGINT, SIGTERM}) {
        const std::string file = folder / ("a" + std::to_string(signal) + ".png");
        RunOptions options;
        options.signalOn = [signal](const std::string& err) {
            return err.find(" of 1000000 samples") != std::string::npos ? signal : 0;
        };
        const Outcome outcome =
            run({"render", kCornell, "-o", file, "--size", "32x32", "--samples", "1000000"}, options);
        EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
        EXPECT_NE(outcome.err.find("nterrupted"), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find(file), std::string::npos) << outcome.err;
        EXPECT_GT(readPicture(file).largest(), 0.1F);
    }
}

TEST(Render, ResponseAndExposureChangeThePictureAndTheirNamesArePrinted) {
    const ScratchFolder folder;
    const Outcome names = run({"render", "--list", "responses"});
    EXPECT_EQ(names.exitCode, 0) << names.err;
    EXPECT_EQ(std::count(names.out.begin(), names.out.end(), '\n'), 58) << names.out;
    EXPECT_NE(names.out.find("\nLinear\nsRGB\n"), std::string::npos) << names.out;
    EXPECT_EQ(run({"render", "--list", "kernels"}).out, "info\ndirect\npath\npmc\n");
    const auto mean = [&](const std::vector<std::string>& more) {
        const std::string file = folder / "a.png";
        std::vector<std::string> arguments = {"render", kCornell, "-o", file, "--size", "32x24", "--samples", "16"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        const Picture picture = readPicture(file);
        return picture.half(1, false) + picture.half(1, true);
    };
    const double plain = mean({}), bright = mean({"--exposure", "2"});
    EXPECT_NEAR(mean({"--response", "sRGB"}), plain, 1e-9);
    EXPECT_LT(mean({"--response", "Linear"}), 0.9 * plain);
    EXPECT_GT(bright, 1.1 * plain);
    EXPECT_NEAR(mean({"--set", "Ci.exposure=2"}), bright, 1e-9) << "the flag sets the same value as its key";
}

TEST(Render, DenoiseTakesTheNoiseOutOfTheFinishedPicture) {
    const ScratchFolder folder;
    // How much neighbours differ: mostly noise at so few samples.
    const auto roughness = [&](const std::vector<std::string>& more) {
        const std::string file = folder / "a.png";
        std::vector<std::string> arguments = {"render", kCornell, "-o", file, "--size", "64x48", "--samples", "8"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        const Picture picture = readPicture(file);
        double sum = 0;
        for (std::size_t i = static_cast<std::size_t>(picture.channels); i < picture.values.size(); ++i)
            sum += std::abs(picture.values[i] - picture.values[i - static_cast<std::size_t>(picture.channels)]);
        return sum;
    };
    const double noisy = roughness({}), clean = roughness({"--denoise"});
    EXPECT_LT(clean, 0.75 * noisy);
    EXPECT_NEAR(roughness({"--set", "denoise=1"}), clean, 0.01 * clean);
}

}  // namespace
